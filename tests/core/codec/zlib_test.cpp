#include "qor/core/codec/zlib.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "core/codec/deflate_stream.h"
#include "qor/core/codec/adler32.h"
#include "support/test_files.h"

namespace qor::impl::zlib {
namespace {

using test::operator""_bytes;
using test::DeflateStream;
using Payload = test::Bytes;

const std::string kSentence =
    "It was the best of times, it was the worst of times, it was the age of wisdom, it was the age of foolishness, it "
    "was "
    "the epoch of belief, it was the epoch of incredulity";

Bytes bytesOf(std::string_view text) { return {reinterpret_cast<const unsigned char*>(text.data()), text.size()}; }

Payload encoded(std::string_view content) {
    ds::Vector<unsigned char> payload;
    EXPECT_TRUE(encode(bytesOf(content), payload));
    return {std::string(payload.begin(), payload.end())};
}

bool decodes(const Payload& payload, std::string_view content) {
    // In memory of its own, so that a step beyond the end is noticed.
    const std::vector<unsigned char> exact(payload.raw.begin(), payload.raw.end());
    ds::Vector<unsigned char> result;
    return decode(exact, content.size(), result) &&
           std::string_view(reinterpret_cast<char*>(result.data()), result.size()) == content;
}

bool isRefused(const Payload& payload, std::uint64_t size) {
    const std::vector<unsigned char> exact(payload.raw.begin(), payload.raw.end());
    ds::Vector<unsigned char> result;
    return !decode(exact, size, result);
}

// A payload around a stream, with the Adler-32 of the content that it is to have.
Payload wrapped(unsigned header, const std::string& stream, std::string_view content) {
    const std::uint32_t check = adler32(bytesOf(content));
    std::string raw{static_cast<char>(header >> 8), static_cast<char>(header)};
    raw += stream;
    for (int shift = 24; shift >= 0; shift -= 8) raw += static_cast<char>(check >> shift);
    return {raw};
}

TEST(Zlib, DecodesKnownPayloads) {
    std::string abc;
    for (int i = 0; i < 12; ++i) abc += "abc";
    EXPECT_TRUE(decodes("78 9c 03 00 00 00 00 01"_bytes, ""));
    EXPECT_TRUE(decodes("78 9c 4b 04 00 00 62 00 62"_bytes, "a"));
    EXPECT_TRUE(decodes("78 9c 4b 4c 4a 4e 24 84 14 01 0c f9 0d ea"_bytes, abc + "!"));
    EXPECT_TRUE(decodes("78 da 4b 4c 1c 05 a3 60 14 0c 77 00 00 f9 d8 7a f8"_bytes, std::string(1000, 'a')));
    EXPECT_TRUE(decodes("78 01 01 03 00 fc ff 61 62 63 02 4d 01 27"_bytes, "abc"));
    EXPECT_TRUE(
        decodes("78 da 75 cb db 0d 80 20 0c 46 e1 55 3a 80 8b 38 06 97 1f 69 02 d4 d0 1a e2 f6 86 27 63 82 cf df"
                "39 bb d1 70 4a 96 41 1e 6a 24 89 8c 2b 74 23 7e 65 48 ff 23 77 60 c2 60 8d 52 57 92 44 0a 6b 6e"
                "d0 ef 88 53 42 9e 81 47 61 a4 b5 71 0b 1d f1 2a 6c f7 03 8d f2 3b 8d"_bytes,
                kSentence));
}

TEST(Zlib, EncodesToKnownPayloads) {
    EXPECT_EQ(encoded(""), "78 9c 03 00 00 00 00 01"_bytes);
    EXPECT_EQ(encoded("a"), "78 9c 4b 04 00 00 62 00 62"_bytes);
}

TEST(Zlib, RecognisesItsFirstBytes) {
    const auto recognised = [](const Payload& payload) { return recognises(bytesOf(payload.raw)); };
    for (const auto& usual : {"78 01"_bytes, "78 5E"_bytes, "78 9C"_bytes, "78 DA"_bytes, "08 1D"_bytes}) {
        EXPECT_TRUE(recognised(usual)) << usual;
    }
    EXPECT_FALSE(recognised(""_bytes));
    EXPECT_FALSE(recognised("78"_bytes));
    EXPECT_FALSE(recognised("78 9D"_bytes)) << "no multiple of 31";
    EXPECT_FALSE(recognised("77 85"_bytes)) << "another method";
    EXPECT_FALSE(recognised("88 1C"_bytes)) << "a window of 64 KiB";
    EXPECT_FALSE(recognised("04 22 4D 18"_bytes)) << "an LZ4 frame";
    EXPECT_FALSE(recognised("28 B5 2F FD"_bytes)) << "a Zstandard frame";
}

TEST(Zlib, ReadsAnyEffortAndAnyWindow) {
    const std::string stream = DeflateStream().stored(true, "abc").bytes;
    for (const unsigned header :
         {0x7801u, 0x785Eu, 0x789Cu, 0x78DAu, 0x081Du, 0x1819u, 0x2815u, 0x3811u, 0x480Du, 0x5809u, 0x6805u}) {
        EXPECT_TRUE(decodes(wrapped(header, stream, "abc"), "abc")) << std::hex << header;
    }
}

// Each row is refused for its reason alone: the rest of the payload is sound.
struct Damage {
    const char* reason;
    Payload payload;
    std::uint64_t size;
};

TEST(Zlib, RefusesWhatIsDamaged) {
    const std::string abc = DeflateStream().stored(true, "abc").bytes;
    const std::string from257 = DeflateStream()
                                    .stored(false, std::string(300, 'a'))
                                    .block(true, 1)
                                    .symbol(257)
                                    .distance(16)
                                    .number(0, 7)
                                    .symbol(256)
                                    .bytes;
    ASSERT_TRUE(decodes(wrapped(0x789C, abc, "abc"), "abc"));
    ASSERT_TRUE(decodes(wrapped(0x789C, from257, std::string(303, 'a')), std::string(303, 'a')));
    ASSERT_TRUE(decodes(wrapped(0x1819, from257, std::string(303, 'a')), std::string(303, 'a')));

    const Damage rows[] = {
        {"another method than DEFLATE", wrapped(0x7985, abc, "abc"), 3},
        {"a window of 64 KiB", wrapped(0x881C, abc, "abc"), 3},
        {"a header that is no multiple of 31", wrapped(0x789D, abc, "abc"), 3},
        {"a preset dictionary", wrapped(0x78BB, abc, "abc"), 3},
        {"a preset dictionary and its checksum", wrapped(0x78BB, "\x02\x4D\x01\x27" + abc, "abc"), 3},
        {"a distance beyond the header's window", wrapped(0x081D, from257, std::string(303, 'a')), 303},
        {"another Adler-32", wrapped(0x789C, abc, "abd"), 3},
        {"an Adler-32 with its low byte first", {"\x78\x9C" + abc + "\x27\x01\x4D\x02"}, 3},
        {"a byte between the stream and the Adler-32", wrapped(0x789C, abc + "\x02", "abc"), 3},
        {"a byte behind the Adler-32", {wrapped(0x789C, abc, "abc").raw + '\x02'}, 3},
        {"the payload twice", {wrapped(0x789C, abc, "abc").raw + wrapped(0x789C, abc, "abc").raw}, 3},
        {"a byte less than claimed", wrapped(0x789C, abc, "abc"), 4},
        {"a byte more than claimed", wrapped(0x789C, abc, "abc"), 2},
        {"a header alone", "78 9C"_bytes, 0},
        {"an Adler-32 without a stream", "78 9C 00 00 00 01"_bytes, 0},
    };
    for (const Damage& row : rows) EXPECT_TRUE(isRefused(row.payload, row.size)) << row.reason;
}

// Small payloads of every type of block.
std::vector<std::pair<Payload, std::string>> smallPayloads() {
    std::vector<std::pair<Payload, std::string>> all;
    const std::string text = kSentence + kSentence.substr(3, 40) + std::string(20, 'z');
    for (const std::string& content :
         {std::string("a"), std::string(1000, 'a'), text, std::string("\xFF\x01\x80\x33\x7A", 5)}) {
        all.emplace_back(encoded(content), content);
    }
    all.emplace_back(wrapped(0x789C, DeflateStream().stored(false, "abc").stored(true, "def").bytes, "abcdef"),
                     "abcdef");
    return all;
}

TEST(Zlib, RefusesEveryTruncation) {
    for (const auto& [payload, content] : smallPayloads()) {
        ASSERT_TRUE(decodes(payload, content));
        for (std::size_t n = 0; n < payload.raw.size(); ++n) {
            EXPECT_TRUE(isRefused({payload.raw.substr(0, n)}, content.size())) << n << " of " << payload;
        }
    }
}

TEST(Zlib, NeverTakesADamagedPayloadForAnother) {
    for (const auto& [payload, content] : smallPayloads()) {
        for (std::size_t bit = 0; bit < 8 * payload.raw.size(); ++bit) {
            Payload damaged = payload;
            damaged.raw[bit / 8] ^= static_cast<char>(1 << bit % 8);
            // A bit that says nothing (the effort, with the check of the header, needs two; the rest of a last byte) is
            // the only one that may differ.
            ds::Vector<unsigned char> result;
            if (decode(bytesOf(damaged.raw), content.size(), result)) {
                EXPECT_EQ(std::string(result.begin(), result.end()), content) << "bit " << bit << " of " << payload;
            }
        }
    }
}

TEST(Zlib, MemoryGrowsWithWhatIsProduced) {
    Payload payload = wrapped(0x789C, DeflateStream().stored(true, "abcdefghijklmnopqrstuvwxyzabc").bytes, "");
    ASSERT_EQ(payload.raw.size(), 40u);
    ds::Vector<unsigned char> result;
    EXPECT_FALSE(decode(bytesOf(payload.raw), std::uint64_t{1} << 40, result));
    EXPECT_LE(result.capacity(), std::size_t{2} << 20);
}

TEST(Zlib, ABombStopsAtTheClaimedSize) {
    const Payload payload = encoded(std::string(50 << 20, '\0'));
    ds::Vector<unsigned char> result;
    EXPECT_FALSE(decode(bytesOf(payload.raw), 1000, result));
    EXPECT_LE(result.capacity(), 1000u);
}

TEST(Zlib, AByteOfPayloadHoldsNoMoreThanTheBound) {
    const std::string content(50 << 20, '\0');
    const Payload payload = encoded(content);
    EXPECT_LE(content.size(), payload.raw.size() * kMaxExpansion);
    EXPECT_GE(content.size(), payload.raw.size() * (kMaxExpansion - 100));
    EXPECT_TRUE(decodes(payload, content));
}

TEST(Zlib, IncompressibleContentGrowsByTheStoredBlocksAndTheWrapper) {
    std::string content;
    std::uint32_t state = 1;
    for (int i = 0; i < 200000; ++i) content += static_cast<char>((state = state * 1664525u + 1013904223u) >> 24);
    EXPECT_EQ(encoded(content).raw.size(), content.size() + 2 + 4 * 5 + 4);
    EXPECT_TRUE(decodes(encoded(content), content));
}

}  // namespace
}  // namespace qor::impl::zlib
