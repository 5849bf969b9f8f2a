// compress and decompress: what goes in comes out, and anything else comes out empty. The formats themselves have their
// tests in codec/.
#include "qor/core/compression.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>

namespace qor::test {
namespace {

using ByteVector = ds::Vector<unsigned char>;
using namespace std::literals;

constexpr Compression kKinds[] = {Compression::Lz4, Compression::Zlib, Compression::Zstd};

ByteVector bytesOf(std::string_view text) {
    ByteVector bytes;
    bytes.resize(text.size());
    std::copy(text.begin(), text.end(), bytes.begin());
    return bytes;
}
std::string textOf(const ByteVector& bytes) { return {bytes.begin(), bytes.end()}; }

ByteVector compressed(std::string_view text, bool asText, Compression kind) {
    const ByteVector bytes = bytesOf(text);
    return compress(bytes.data(), bytes.size(), asText, kind);
}

// Words, which repeat, and numbers, which hardly do.
std::string someText(std::size_t size) {
    std::string text;
    std::uint32_t state = 1;
    while (text.size() < size) {
        state = state * 1664525 + 1013904223;
        text += state >> 31 ? "a point of the outline at " : "the next arc begins with ";
        text += std::to_string(state >> 12) + '\n';
    }
    text.resize(size);
    return text;
}

// ---- There and back -------------------------------------------------------------------------------------------------

class Kinds : public ::testing::TestWithParam<std::tuple<Compression, bool>> {
 protected:
    Compression kind() const { return std::get<0>(GetParam()); }
    bool asText() const { return std::get<1>(GetParam()); }
    void comesBack(std::string_view text) {
        const ByteVector payload = compressed(text, asText(), kind());
        EXPECT_FALSE(payload.isEmpty()) << text.size();
        EXPECT_TRUE(textOf(decompress(payload, asText(), text.size())) == text) << text.size();
    }
};

TEST_P(Kinds, GiveBackOneByte) { comesBack("a"); }
TEST_P(Kinds, GiveBackMoreThanAMebibyte) { comesBack(someText(1048577)); }
TEST_P(Kinds, GiveBackEverySize) {
    const std::string text = someText(300);
    for (std::size_t size = 1; size <= text.size(); ++size) comesBack(text.substr(0, size));
}

TEST_P(Kinds, MakeSmallerWhatRepeats) {
    EXPECT_LT(compressed(std::string(100'000, 'a'), asText(), kind()).size(), 1000u);
}

TEST_P(Kinds, MakeTheSamePayloadTwice) {
    const std::string text = someText(50'000);
    EXPECT_EQ(compressed(text, asText(), kind()), compressed(text, asText(), kind()));
}

TEST_P(Kinds, GiveNothingForAnotherSize) {
    const std::string text = someText(1000);
    const ByteVector payload = compressed(text, asText(), kind());
    for (const unsigned long size : {0ul, 1ul, 999ul, 1001ul, 2000ul, 1000000ul, ~0ul}) {
        EXPECT_TRUE(decompress(payload, asText(), size).isEmpty()) << size;
    }
}

TEST_P(Kinds, GiveNothingForAPayloadThatIsCut) {
    const std::string text = someText(200);
    const ByteVector payload = compressed(text, asText(), kind());
    for (std::size_t size = 0; size < payload.size(); ++size) {
        ByteVector cut = payload;
        cut.resize(size);
        EXPECT_TRUE(decompress(cut, asText(), text.size()).isEmpty()) << size;
    }
}

TEST_P(Kinds, GiveNothingForAPayloadWithMoreBehindIt) {
    ByteVector payload = compressed("a payload and a byte", asText(), kind());
    payload.append(0);
    EXPECT_TRUE(decompress(payload, asText(), 20).isEmpty());
    for (int i = 0; i < 3; ++i) payload.append('A');
    EXPECT_TRUE(decompress(payload, asText(), 20).isEmpty());
}

TEST_P(Kinds, GiveNothingWithTheOtherFlag) {
    const ByteVector payload = compressed(someText(100), asText(), kind());
    EXPECT_TRUE(decompress(payload, !asText(), 100).isEmpty());
}

TEST_P(Kinds, GiveBackNoMoreArrayThanTheyNeed) {
    const ByteVector payload = compressed(std::string(1'000'000, 'a'), asText(), kind());
    EXPECT_LE(payload.capacity(), 2 * payload.size());
    EXPECT_EQ(decompress(payload, asText(), 1'000'000).size(), 1'000'000u);
}

TEST(Compression, GivesBackAnArrayThatIsLessThanHalfFull) {
    std::string noise;
    std::uint32_t state = 1;
    while (noise.size() < 30000) noise += static_cast<char>('a' + ((state = state * 1664525 + 1013904223) >> 29));
    for (const Compression kind : {Compression::Zlib, Compression::Zstd}) {  // 3 bits of each 8
        const ByteVector payload = compressed(noise, false, kind);
        EXPECT_GT(payload.size(), noise.size() / 3);
        EXPECT_EQ(payload.capacity(), payload.size());
    }
}

std::string nameOf(const ::testing::TestParamInfo<std::tuple<Compression, bool>>& one) {
    const auto [kind, asText] = one.param;
    const char* const name = kind == Compression::Lz4 ? "Lz4" : kind == Compression::Zlib ? "Zlib" : "Zstd";
    return std::string(name) + (asText ? "AsText" : "");
}
INSTANTIATE_TEST_SUITE_P(Every, Kinds, ::testing::Combine(::testing::ValuesIn(kKinds), ::testing::Bool()), nameOf);

// ---- The payloads ---------------------------------------------------------------------------------------------------

TEST(Payload, SaysItsKindInItsFirstBytes) {
    const auto begins = [](Compression kind) { return textOf(compressed("abc", false, kind)).substr(0, 4); };
    EXPECT_EQ(begins(Compression::Lz4), "\x04\x22\x4D\x18");
    EXPECT_EQ(begins(Compression::Zlib).substr(0, 2), "\x78\x9C");
    EXPECT_EQ(begins(Compression::Zstd), "\x28\xB5\x2F\xFD");
}

TEST(Payload, AsTextIsTheSameStreamInBase64) {
    EXPECT_EQ(textOf(compressed("a", false, Compression::Zlib)), "\x78\x9c\x4b\x04\x00\x00\x62\x00\x62"s);
    EXPECT_EQ(textOf(compressed("a", true, Compression::Zlib)), "eJxLBAAAYgBi");
    for (const Compression kind : kKinds) {
        const std::string text = textOf(compressed(someText(1000), true, kind));
        EXPECT_EQ(text.size() % 4, 0u);
        EXPECT_EQ(text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="),
                  std::string::npos);
    }
}

TEST(Payload, OfNoKindIsNone) {
    EXPECT_TRUE(compressed("abc", false, Compression::None).isEmpty());
    EXPECT_TRUE(compressed("abc", true, static_cast<Compression>(4)).isEmpty());
    EXPECT_TRUE(compressed("abc", false, static_cast<Compression>(255)).isEmpty());
}

TEST(Payload, OfNoBytesIsNone) {
    const unsigned char byte = 0;
    for (const Compression kind : kKinds) {
        EXPECT_TRUE(compress(&byte, 0, false, kind).isEmpty());
        EXPECT_TRUE(compress(nullptr, 10, false, kind).isEmpty());
    }
}

TEST(Payload, OfNoStreamAtAllGivesNothing) {
    for (const std::string_view payload : {"", "a", "eJ", "abcd", "\x28\xB5\x2F", "\x04\x22\x4D", "x", "\x78\x9d..."}) {
        EXPECT_TRUE(decompress(bytesOf(payload), false, 1).isEmpty()) << payload;
        EXPECT_TRUE(decompress(bytesOf(payload), true, 1).isEmpty()) << payload;
    }
}

}  // namespace
}  // namespace qor::test
