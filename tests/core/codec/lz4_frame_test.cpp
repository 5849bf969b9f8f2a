// lz4_frame.h: frames byte by byte, every form that other encoders give them, and every reason to refuse one.
#include "qor/core/codec/lz4_frame.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/codec/lz4_contents.h"
#include "qor/core/codec/xxhash.h"
#include "support/test_files.h"

namespace qor::test {
namespace {

using namespace std::string_literals;

namespace lz4 = impl::lz4;

template <typename T>
std::string number(T value) {
    unsigned char bytes[sizeof(T)];
    impl::store(bytes, value);
    return {reinterpret_cast<const char*>(bytes), sizeof(T)};
}

// The flags of a frame and the codes of its largest block.
constexpr unsigned kVersion = 0x40;
constexpr unsigned kIndependent = 0x20;
constexpr unsigned kBlockChecksums = 0x10;
constexpr unsigned kContentSize = 0x08;
constexpr unsigned kContentChecksum = 0x04;
constexpr unsigned k64KiB = 0x40;
constexpr unsigned k256KiB = 0x50;

// A frame put together part by part, right or wrong. Checksums fit the parts unless something else is said.
class Frame {
 public:
    Frame(unsigned frameFlags, unsigned blockSize, std::optional<std::uint64_t> contentSize = {}) : flags(frameFlags) {
        std::string descriptor = {static_cast<char>(flags), static_cast<char>(blockSize)};
        if (contentSize) descriptor += number(*contentSize);
        raw = number(std::uint32_t{0x184D2204}) + descriptor;
        raw += static_cast<char>(impl::xxh32(view(descriptor)) >> 8);
    }

    Frame& block(std::string_view data, std::uint32_t mark = 0) {
        raw += number(static_cast<std::uint32_t>(data.size()) | mark);
        raw += data;
        if ((flags & kBlockChecksums) != 0) raw += number(impl::xxh32(view(data)));
        return *this;
    }
    Frame& stored(std::string_view data) { return block(data, 0x80000000); }
    Frame& bytes(std::string_view more) {
        raw += more;
        return *this;
    }

    std::string end(std::string_view content) {
        raw += number(std::uint32_t{0});
        if ((flags & kContentChecksum) != 0) raw += number(impl::xxh32(view(content)));
        return raw;
    }

 private:
    unsigned flags;
    std::string raw;
};

// The blocks of "abc" twelve times and "!", and of what repeats the three bytes before it eleven times.
const std::string kAbc =
    "\x3f"
    "abc\x03\0\x0a\x50"
    "cabc!"s;
const std::string kAbcContent = "abcabcabcabcabcabcabcabcabcabcabcabc!";

struct Golden {
    std::string content;
    Bytes frame;
};

TEST(Lz4Frame, FramesThatOthersMadeAreRead) {
    const Golden kFrames[] = {
        {"", "04 22 4d 18 64 40 a7 00 00 00 00 05 5d cc 02"_bytes},
        {"a", "04 22 4d 18 6c 40 01 00 00 00 00 00 00 00 49 01 00 00 80 61 00 00 00 00 56 74 0d 55"_bytes},
        {kAbcContent,
         "04 22 4d 18 6c 40 25 00 00 00 00 00 00 00 fc 0d 00 00 00 3f 61 62 63 03 00 0a 50 63 61 62 63 21"
         "00 00 00 00 0f de 40 f5"_bytes},
        {std::string(1000, 'a'),
         "04 22 4d 18 6c 40 e8 03 00 00 00 00 00 00 96 0e 00 00 00 1f 61 01 00 ff ff ff d2 50"
         "61 61 61 61 61 00 00 00 00 86 2b e8 37"_bytes},
    };
    for (const auto& [content, frame] : kFrames) EXPECT_EQ(decodedFrame(frame.raw, content.size()), content);
}

// So that payloads are the same in every version and on every host.
TEST(Lz4Frame, FramesAreMadeByteForByte) {
    const Golden kFrames[] = {
        {"", "04 22 4d 18 4c 40 00 00 00 00 00 00 00 00 f3 00 00 00 00 05 5d cc 02"_bytes},
        {"a", "04 22 4d 18 4c 40 01 00 00 00 00 00 00 00 df 01 00 00 80 61 00 00 00 00 56 74 0d 55"_bytes},
        {kAbcContent,
         "04 22 4d 18 4c 40 25 00 00 00 00 00 00 00 73 0d 00 00 00 3f 61 62 63 03 00 0a 50 63 61 62 63 21"
         "00 00 00 00 0f de 40 f5"_bytes},
        {std::string(1000, 'a'),
         "04 22 4d 18 4c 40 e8 03 00 00 00 00 00 00 ef 0e 00 00 00 1f 61 01 00 ff ff ff d2 50"
         "61 61 61 61 61 00 00 00 00 86 2b e8 37"_bytes},
    };
    for (const auto& [content, frame] : kFrames) {
        EXPECT_EQ(Bytes{encodedFrame(content)}, frame);
        EXPECT_EQ(decodedFrame(frame.raw, content.size()), content);
    }
}

TEST(Lz4Frame, AFrameIsKnownByItsFirstFourBytes) {
    const auto recognised = [](std::string_view bytes) { return lz4::recognises(view(ownBytes(bytes))); };
    EXPECT_TRUE(recognised("04 22 4d 18"_bytes.raw));
    EXPECT_FALSE(recognised("04 22 4d"_bytes.raw));
    EXPECT_FALSE(recognised("05 22 4d 18 64 40 a7"_bytes.raw));
    EXPECT_FALSE(recognised(""));
}

TEST(Lz4Frame, ContentOfEverySizeComesBack) {
    for (std::size_t size = 0; size <= 300; ++size) {
        for (const auto& [name, content] : contentsOf(size)) {
            SCOPED_TRACE(::testing::Message() << size << " bytes of " << name);
            ASSERT_EQ(decodedFrame(encodedFrame(content), size), content);
        }
    }
}

TEST(Lz4Frame, ContentAroundTheBlockSizesComesBack) {
    for (const std::size_t edge : std::initializer_list<std::size_t>{0x10000, 0x20000, 0x40000, 0x100000, 0x400000}) {
        for (const std::size_t size : std::initializer_list<std::size_t>{edge - 1, edge, edge + 1}) {
            for (const auto& [name, content] : contentsOf(size)) {
                SCOPED_TRACE(::testing::Message() << size << " bytes of " << name);
                ASSERT_TRUE(decodedFrame(encodedFrame(content), size) == content);
            }
        }
    }
}

TEST(Lz4Frame, NoiseGrowsByTheFrameAlone) {
    for (const std::size_t size :
         std::initializer_list<std::size_t>{1, 13, 100, 65'533, 65'534, 65'535, 65'536, 1'000'000, 4'194'304}) {
        EXPECT_EQ(encodedFrame(noise(size)).size(), 15 + 4 + size + 8) << size;
    }
    EXPECT_EQ(encodedFrame(noise(4'194'305)).size(), 15 + 4 + 4'194'304 + 4 + 1 + 8);
}

TEST(Lz4Frame, NoiseBesideTextLeavesTheTextSmall) {
    const std::string content = noise(5'000'000) + text(5'000'000);
    EXPECT_LT(encodedFrame(content).size(), 9'000'000u);
    EXPECT_TRUE(decodedFrame(encodedFrame(content), content.size()) == content);
}

// Frames in every form that the flags allow, of blocks of every kind.
TEST(Lz4Frame, EveryCombinationOfFlagsIsRead) {
    const std::string content = kAbcContent + "stored" + kAbcContent + "last";
    for (unsigned flags = 0; flags < 16; ++flags) {
        for (unsigned code = 4; code <= 7; ++code) {
            SCOPED_TRACE(::testing::Message() << "flags " << flags << ", block size code " << code);
            const bool sized = (flags << 2 & kContentSize) != 0;
            Frame frame(kVersion | flags << 2, code << 4, sized ? std::optional(content.size()) : std::nullopt);
            frame.block(kAbc).stored("stored").stored("").block(std::string(1, '\0')).block(kAbc).stored("last");
            const std::string payload = frame.end(content);
            EXPECT_EQ(decodedFrame(payload, content.size()), content);
            EXPECT_EQ(decodedFrame(payload, content.size() - 1), std::nullopt) << "one byte less is expected";
            EXPECT_EQ(decodedFrame(payload, content.size() + 1), std::nullopt) << "one byte more is expected";
        }
    }
}

TEST(Lz4Frame, AFrameMayHaveNoBlocks) {
    EXPECT_EQ(decodedFrame(Frame(kVersion, k64KiB).end(""), 0), "");
    EXPECT_EQ(decodedFrame(Frame(kVersion, k64KiB).stored("").stored("").end(""), 0), "");
    EXPECT_EQ(decodedFrame(Frame(kVersion, k64KiB).end(""), 1), std::nullopt);
}

TEST(Lz4Frame, AMatchInALinkedBlockReachesAcrossTheBlocksBeforeIt) {
    // "x", then twenty bytes from the first of the three blocks before.
    const std::string match =
        "\x1f"
        "x\x16\0\x01\x30"
        "end"s;
    const std::string content =
        "0123456789abcdefghij"
        "!"
        "x"
        "0123456789abcdefghij"
        "end";
    const auto blocks = [&](Frame frame) { return frame.stored("0123456789abcdefghij").stored("!").block(match); };
    EXPECT_EQ(decodedFrame(blocks({kVersion | kContentChecksum, k64KiB}).end(content), content.size()), content);
    EXPECT_EQ(decodedFrame(blocks({kVersion | kContentChecksum | kIndependent, k64KiB}).end(content), content.size()),
              std::nullopt);
}

TEST(Lz4Frame, EachBlockMayHoldTheLargestSizeAndNoMore) {
    const auto run = [](std::size_t size) {  // "a", its repetition, and five literals
        const std::size_t more = size - 6 - 19;
        return "\x1f"
               "a\x01\0"s +
               std::string(more / 255, '\xff') + static_cast<char>(more % 255) +
               "\x50"
               "aaaaa";
    };
    for (const unsigned code : {4u, 5u, 6u, 7u}) {
        const std::size_t most = std::size_t{1} << (8 + 2 * code);
        for (const std::size_t size : std::initializer_list<std::size_t>{most, most + 1}) {
            const std::string content(size, 'a');
            const bool fits = size == most;
            const std::string payload = Frame(kVersion, code << 4).block(run(size)).stored("!").end("");
            EXPECT_EQ(decodedFrame(payload, size + 1) == content + "!", fits) << "code " << code << ", " << size;
            const std::string storedPayload = Frame(kVersion, code << 4).stored(content).stored("!").end("");
            EXPECT_EQ(decodedFrame(storedPayload, size + 1) == content + "!", fits) << "stored, code " << code;
        }
    }
}

struct RefusedFrame {
    std::string payload;
    std::uint64_t size;
    std::string_view reason;
};

TEST(Lz4Frame, DamagedFramesAreRefused) {
    constexpr unsigned kOurs = kVersion | kContentSize | kContentChecksum;
    const std::string& content = kAbcContent;
    const std::size_t size = content.size();
    const std::string whole = Frame(kOurs, k64KiB, size).block(kAbc).end(content);
    ASSERT_EQ(decodedFrame(whole, size), content) << "what the rows are damaged from";
    const auto damaged = [&](std::size_t at) {
        std::string payload = whole;
        payload[at] = static_cast<char>(payload[at] ^ 1);
        return payload;
    };
    const auto withHeader = [&](unsigned flags, unsigned blockSize) {
        return Frame(flags, blockSize, size).block(kAbc).end(content);
    };
    const RefusedFrame kRefused[] = {
        {"", size, "nothing"},
        {damaged(0), size, "another magic"},
        {withHeader(kOurs & ~kVersion, k64KiB), size, "version 0"},
        {withHeader(kOurs | 0x80, k64KiB), size, "version 3"},
        {withHeader((kOurs & ~kVersion) | 0x80, k64KiB), size, "version 2"},
        {withHeader(kOurs | 0x02, k64KiB), size, "the reserved flag"},
        {Frame(kOurs | 0x01, k64KiB, size).block(kAbc).end(content), size, "a dictionary's flag"},
        {"04 22 4d 18 4d 40 25 00 00 00 00 00 00 00 01 00 00 00"_bytes.raw +
             static_cast<char>(impl::xxh32(view("4d 40 25 00 00 00 00 00 00 00 01 00 00 00"_bytes.raw)) >> 8) +
             whole.substr(15),
         size, "a dictionary"},
        {withHeader(kOurs, k64KiB | 0x80), size, "the reserved bit above the block size"},
        {withHeader(kOurs, k64KiB | 0x01), size, "the lowest reserved bit below the block size"},
        {withHeader(kOurs, k64KiB | 0x08), size, "the highest reserved bit below the block size"},
        {withHeader(kOurs, 0x00), size, "block size code 0"},
        {withHeader(kOurs, 0x30), size, "block size code 3"},
        {damaged(14), size, "a wrong header checksum"},
        {Frame(kOurs, k64KiB, size + 1).block(kAbc).end(content), size, "a content size that is not the expected one"},
        {Frame(kOurs, k64KiB, size + 1).block(kAbc).end(content), size + 1, "a content size above the content's"},
        {Frame(kOurs, k64KiB, size - 1).block(kAbc).end(content), size - 1, "a content size below the content's"},
        {Frame(kOurs, k64KiB, size).stored(content.substr(1)).end(content.substr(1)), size, "stored, one byte short"},
        {Frame(kOurs, k64KiB, size).stored(content + "!").end(content + "!"), size, "stored, one byte too many"},
        {Frame(kOurs, k64KiB, size).block(kAbc).stored("!").end(content + "!"), size, "a block too many"},
        {Frame(kOurs, k64KiB, size).bytes("0e 00 00 00"_bytes.raw).bytes(kAbc).end(content), size,
         "a block's size that takes in part of the end mark"},
        {Frame(kOurs, k64KiB, size).bytes("ff ff 00 00"_bytes.raw).bytes(kAbc).end(content), size,
         "a block's size beyond the payload"},
        {Frame(kOurs, k64KiB, size).bytes("ff ff ff ff"_bytes.raw).bytes(content).end(content), size,
         "a stored block's size beyond the payload"},
        {Frame(kVersion, k64KiB).block("\xf0" + std::string(256, '\xff') + "\xf1" + std::string(65'536, 'a')).end(""),
         65'536, "a block of the largest content, whose data are more"},
        {Frame(kVersion, k64KiB).stored(std::string(65'537, 'a')).end(""), 65'537, "a stored block above the maximum"},
        {Frame(kOurs, k64KiB, size)
             .block("\x1f"
                    "a\x02\0\x0d\x50"
                    "aaaaa"s)
             .end(content),
         size, "a match before the content"},
        {Frame(kOurs, k256KiB, size)
             .stored(content.substr(0, 25))
             .block("\x03\x1a\0\x50"
                    "abc!!"s)
             .end(content),
         size, "a match of a linked block before the content"},
        {whole.substr(0, whole.size() - 8), size, "neither end mark nor checksum"},
        {Frame(kVersion, k64KiB).block(kAbc).bytes("").end("").substr(0, 7 + 4 + 13), size, "no end mark"},
        {whole.substr(0, whole.size() - 4), size, "no content checksum"},
        {damaged(whole.size() - 1), size, "a wrong content checksum"},
        {whole + '\0', size, "a byte after the end"},
        {Frame(kVersion, k64KiB).block(kAbc).end("") + '\0', size, "a byte after the end mark"},
        {whole + whole, size * 2, "a second frame"},
        {Frame(kVersion | kContentSize, k64KiB, size * 2).block(kAbc).end("") + whole, size * 2,
         "a second frame that makes up the size"},
        {"50 2a 4d 18 00 00 00 00"_bytes.raw + whole, size, "a skippable frame in front"},
        {whole + "50 2a 4d 18 00 00 00 00"_bytes.raw, size, "a skippable frame behind"},
        {"02 21 4c 18"_bytes.raw + whole.substr(15), size, "a frame of the format before this one"},
    };
    for (const auto& [payload, claimed, reason] : kRefused) {
        EXPECT_EQ(decodedFrame(payload, claimed), std::nullopt) << reason;
    }
}

TEST(Lz4Frame, AWrongBlockChecksumIsRefused) {
    for (const std::string& frame : {Frame(kVersion | kBlockChecksums, k64KiB).block(kAbc).end(""),
                                     Frame(kVersion | kBlockChecksums, k64KiB).stored(kAbcContent).end("")}) {
        EXPECT_EQ(decodedFrame(frame, kAbcContent.size()), kAbcContent);
        for (std::size_t i = 5; i <= 8; ++i) {
            std::string changed = frame;
            changed[frame.size() - i] = static_cast<char>(changed[frame.size() - i] ^ 0x40);
            EXPECT_EQ(decodedFrame(changed, kAbcContent.size()), std::nullopt) << i << " from the end";
        }
    }
}

std::vector<Content> smallFrames() {
    std::vector<Content> frames;
    for (const auto& [name, content] : contentsOf(150)) frames.push_back({content, encodedFrame(content)});
    Frame frame(kVersion | kBlockChecksums | kContentChecksum, k64KiB);
    frames.push_back({kAbcContent + "stored" + kAbcContent,
                      frame.block(kAbc).stored("stored").block(kAbc).end(kAbcContent + "stored" + kAbcContent)});
    return frames;
}

TEST(Lz4Frame, EveryPrefixIsRefused) {
    for (const auto& [content, frame] : smallFrames()) {
        for (std::size_t size = 0; size < frame.size(); ++size) {
            ASSERT_EQ(decodedFrame(frame.substr(0, size), content.size()), std::nullopt) << size << " bytes";
        }
    }
}

// A change that is not noticed has changed nothing: the low half of a block's last token, say, is the length of a match
// that is not there, and a run of equal bytes is the same at any offset.
TEST(Lz4Frame, NoChangedBitChangesTheContent) {
    for (const auto& [content, frame] : smallFrames()) {
        for (std::size_t bit = 0; bit < frame.size() * 8; ++bit) {
            std::string changed = frame;
            changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ 1 << bit % 8);
            const auto restored = decodedFrame(changed, content.size());
            if (restored) {
                ASSERT_EQ(restored, content) << "byte " << bit / 8 << ", bit " << bit % 8;
            }
        }
    }
}

TEST(Lz4Frame, ASizeThatThePayloadCannotHoldTakesNoMemory) {
    constexpr std::uint64_t kClaimed = std::uint64_t{1} << 60;
    const std::string payload = Frame(kVersion | kContentSize, k64KiB, kClaimed).block(kAbc).end("");
    ASSERT_LE(payload.size(), 40u);
    ds::Vector<unsigned char> content;
    EXPECT_FALSE(lz4::decode(view(payload), kClaimed, content));
    EXPECT_EQ(content.capacity(), 0u);

    // What the block's size allows is tighter than 255 to 1.
    const std::string long64KiB = Frame(kVersion, k64KiB).block(std::string(1000, '\xff')).end("");
    EXPECT_FALSE(lz4::decode(view(long64KiB), 65'537, content));
    EXPECT_EQ(content.capacity(), 0u);
}

TEST(Lz4Frame, MemoryGrowsWithWhatIsProduced) {
    // A thousand blocks that may hold 64 KiB each, of which the second is damaged: 65 million bytes are not taken.
    Frame frame(kVersion, k64KiB);
    for (int i = 0; i < 1000; ++i) frame.block(i == 1 ? std::string(300, '\0') : std::string(300, '\xff'));
    ds::Vector<unsigned char> content;
    const std::string payload = frame.end("");
    EXPECT_FALSE(lz4::decode(view(payload), 65'000'000, content));
    EXPECT_LE(content.capacity(), payload.size() + 0x100000);
}

TEST(Lz4Frame, ContentThatGrowsManyTimesItsPayloadComesBack) {
    for (const std::size_t size : std::initializer_list<std::size_t>{2'000'000, 10'000'000, 50'000'000}) {
        const std::string content = std::string(size / 2, 'a') + "!" + std::string(size / 2, 'b');
        const std::string payload = encodedFrame(content);
        EXPECT_LT(payload.size(), size / 200);
        EXPECT_TRUE(decodedFrame(payload, content.size()) == content) << size;
    }
}

}  // namespace
}  // namespace qor::test
