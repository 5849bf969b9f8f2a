// Zstandard frames as the encoder makes them: which block, literals and tables it chooses when.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "core/codec/zstd_builder.h"
#include "core/codec/zstd_frame_view.h"
#include "qor/core/codec/zstd_sections.h"
#include "support/test_files.h"

namespace qor::test {
namespace {

using zstd::BlockType;
using zstd::BlockView;
using zstd::encoded;
using zstd::frameOf;
using zstd::FrameView;
using zstd::LiteralsType;
using zstd::SequenceView;
using zstd::TableMode;

constexpr std::size_t kBlock = 128 * 1024;
constexpr std::size_t kWindow = 2 * 1024 * 1024;

const std::string kSentence =
    "It was the best of times, it was the worst of times, it was the age of wisdom, it was the age of foolishness, "
    "it was the epoch of belief, it was the epoch of incredulity";

// Bytes below `values`, each as likely as the others.
std::string noise(std::size_t size, unsigned values = 256, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % values);
    return bytes;
}

// Words in an order without a pattern: both literals and matches.
std::string text(std::size_t size, unsigned seed = 1) {
    static const char* const kWords[] = {"the ",  "of ",   "rain ", "sea ",   "wind ", "under ", "over ", "stone ",
                                         "light", "ness ", "and ",  "again ", "time ", "bird ",  "s, ",   "old "};
    std::mt19937 random(seed);
    std::string bytes;
    while (bytes.size() < size) {
        bytes += kWords[random() % 16];
        if (random() % 4 == 0) bytes += static_cast<char>('a' + random() % 26);
    }
    bytes.resize(size);
    return bytes;
}

// Bytes of which some are commoner than others, in an order without a pattern.
std::string letters(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % 128 & random() % 128);
    return bytes;
}

std::string repeated(const std::string& part, std::size_t times) {
    std::string bytes;
    while (times-- > 0) bytes += part;
    return bytes;
}

// The one block of content that fits in one.
BlockView blockOf(const std::string& content) {
    const FrameView frame = frameOf(encoded(content));
    EXPECT_EQ(frame.blocks.size(), 1u);
    EXPECT_EQ(frame.contentSize, content.size());
    return frame.blocks[0];
}

TEST(ZstdEncodeGolden, Empty) { EXPECT_EQ(Bytes{encoded("")}, "28 b5 2f fd 24 00 01 00 00 99 e9 d8 51"_bytes); }

TEST(ZstdEncodeGolden, OneByte) { EXPECT_EQ(Bytes{encoded("a")}, "28 b5 2f fd 24 01 09 00 00 61 5b 6e 8c a9"_bytes); }

TEST(ZstdEncodeGolden, OneMatch) {
    EXPECT_EQ(Bytes{encoded(repeated("abc", 12) + "!")},
              "28 b5 2f fd 24 25 55 00 00 20 61 62 63 21 01 00 8e 6e 08 80 b6 be 2f"_bytes);
}

TEST(ZstdEncodeGolden, OneRun) {
    EXPECT_EQ(Bytes{encoded(std::string(1000, 'a'))}, "28 b5 2f fd 64 e8 02 43 1f 00 61 23 42 da 2e"_bytes);
}

TEST(ZstdEncodeFrame, SaysItsContentSizeInOneTwoFourBytes) {
    const struct {
        std::size_t size;
        std::size_t header;
    } kRows[] = {{0, 6}, {1, 6}, {255, 6}, {256, 7}, {65'791, 7}, {65'792, 9}, {kWindow, 9}, {kWindow + 1, 10}};
    for (const auto& row : kRows) {
        const FrameView frame = frameOf(encoded(std::string(row.size, 'a')));
        EXPECT_EQ(frame.contentSize, row.size);
        EXPECT_EQ(frame.headerSize, row.header) << row.size;
    }
}

TEST(ZstdEncodeFrame, SaysLargeContentSizesInFourOrEightBytes) {
    const struct {
        std::uint64_t size;
        Bytes header;
    } kRows[] = {{kWindow, "28 b5 2f fd a4 00 00 20 00"_bytes},
                 {kWindow + 1, "28 b5 2f fd 84 58 01 00 20 00"_bytes},
                 {0xFFFFFFFF, "28 b5 2f fd 84 58 ff ff ff ff"_bytes},
                 {0x100000000, "28 b5 2f fd c4 58 00 00 00 00 01 00 00 00"_bytes},
                 {0x1122334455667788, "28 b5 2f fd c4 58 88 77 66 55 44 33 22 11"_bytes}};
    for (const auto& row : kRows) {
        unsigned char header[impl::zstd::kLargestFrameHeader];
        unsigned char* const end = impl::zstd::writeFrameHeader(row.size, header);
        EXPECT_EQ(Bytes{std::string(std::begin(header), end)}, row.header) << row.size;
    }
}

TEST(ZstdEncodeFrame, IsASingleSegmentUpToTheWindow) {
    EXPECT_TRUE(frameOf(encoded(std::string(kWindow, 'a'))).isSingleSegment);
}

TEST(ZstdEncodeFrame, HasAWindowOfTwoMebibytesBeyond) {
    const FrameView frame = frameOf(encoded(std::string(kWindow + 1, 'a')));
    EXPECT_FALSE(frame.isSingleSegment);
    EXPECT_EQ(frame.window, kWindow);
}

TEST(ZstdEncodeBlocks, AreOfAtMost128KibibytesAndOnlyTheLastSaysSo) {
    const FrameView frame = frameOf(encoded(noise(2 * kBlock + 1)));
    ASSERT_EQ(frame.blocks.size(), 3u);
    EXPECT_EQ(frame.blocks[0].size, kBlock);
    EXPECT_EQ(frame.blocks[1].size, kBlock);
    EXPECT_EQ(frame.blocks[2].size, 1u);
    EXPECT_FALSE(frame.blocks[0].isLast);
    EXPECT_FALSE(frame.blocks[1].isLast);
    EXPECT_TRUE(frame.blocks[2].isLast);
}

TEST(ZstdEncodeBlocks, AFullBlockAtTheEndIsTheLast) {
    EXPECT_EQ(frameOf(encoded(noise(kBlock))).blocks.size(), 1u);
    EXPECT_EQ(frameOf(encoded(noise(2 * kBlock))).blocks.size(), 2u);
}

TEST(ZstdEncodeBlocks, NoiseIsStoredRaw) {
    const BlockView block = blockOf(noise(5000));
    EXPECT_EQ(block.type, BlockType::Raw);
    EXPECT_EQ(block.data, noise(5000));
}

TEST(ZstdEncodeBlocks, EqualBytesAreARun) {
    const BlockView block = blockOf(std::string(kBlock, 'x'));
    EXPECT_EQ(block.type, BlockType::Run);
    EXPECT_EQ(block.size, kBlock);
    EXPECT_EQ(block.data, "x");
}

TEST(ZstdEncodeBlocks, ARunIsNotTheFirstOfSeveral) {
    const FrameView frame = frameOf(encoded(std::string(3 * kBlock, 'x')));
    ASSERT_EQ(frame.blocks.size(), 3u);
    EXPECT_EQ(frame.blocks[0].type, BlockType::Compressed);
    EXPECT_EQ(frame.blocks[1].type, BlockType::Run);
    EXPECT_EQ(frame.blocks[2].type, BlockType::Run);
}

TEST(ZstdEncodeBlocks, ContentThatHardlyShrinksIsStoredRaw) {
    // One match of 8 bytes in 5,000 saves less than a 256th.
    const std::string bytes = noise(4992);
    EXPECT_EQ(blockOf(bytes + bytes.substr(100, 8)).type, BlockType::Raw);
    EXPECT_EQ(blockOf(bytes + bytes.substr(100, 80)).type, BlockType::Compressed);
}

TEST(ZstdEncodeBlocks, NoiseGrowsOnlyByTheFraming) {
    for (const std::size_t size : {0u, 1u, 2u, 10u, 255u, 256u, 1000u, 65'791u, 65'792u, 131'071u, 131'072u, 131'073u,
                                   500'000u, 2'097'152u, 2'097'153u}) {
        const std::string payload = encoded(noise(size));
        const std::size_t header = frameOf(payload).headerSize;
        const std::size_t blocks = std::max<std::size_t>(1, (size + kBlock - 1) / kBlock);
        EXPECT_EQ(payload.size(), header + 3 * blocks + size + 4) << size;
    }
}

TEST(ZstdEncodeBlocks, NothingGrowsByMore) {
    for (std::size_t size = 0; size <= 300; ++size) {
        for (const unsigned values : {1u, 2u, 3u, 5u, 10u, 50u, 256u}) {
            const std::string payload = encoded(noise(size, values));
            EXPECT_LE(payload.size(), frameOf(payload).headerSize + 3 + size + 4) << size << ' ' << values;
        }
    }
}

TEST(ZstdEncodeBlocks, AreCutWhereTheirKindChanges) {
    // Letters, noise and letters, in one piece of 128 KiB.
    const FrameView frame = frameOf(encoded(text(40'000) + noise(40'000) + text(40'000, 2)));
    EXPECT_EQ(frame.blocks.front().type, BlockType::Compressed);
    EXPECT_EQ(frame.blocks.back().type, BlockType::Compressed);
    std::size_t raw = 0;
    for (const BlockView& block : frame.blocks) raw += block.type == BlockType::Raw ? block.size : 0;
    EXPECT_NEAR(static_cast<double>(raw), 40'000, 500);
}

TEST(ZstdEncodeBlocks, AreCutBeforeNoiseAtTheEnd) {
    const FrameView frame = frameOf(encoded(text(40'000) + noise(40'000)));
    EXPECT_EQ(frame.blocks.back().type, BlockType::Raw);
    EXPECT_NEAR(static_cast<double>(frame.blocks.back().size), 40'000, 20);
}

TEST(ZstdEncodeBlocks, AreWholeWhereItDoesNot) {
    const std::string more = noise(kBlock, 256, 2);
    std::string bytes = noise(kBlock);
    for (std::size_t i = 0; i < kBlock; ++i) bytes[i] = static_cast<char>(bytes[i] & more[i]);
    EXPECT_EQ(blockOf(bytes).type, BlockType::Compressed);
}

TEST(ZstdEncodeLiterals, FewAreRaw) {
    const BlockView block = blockOf(noise(31) + std::string(1000, 'a'));
    EXPECT_EQ(block.literals, LiteralsType::Raw);
    EXPECT_LT(block.literalCount, 40u);
}

TEST(ZstdEncodeLiterals, EquallyCommonOnesAreRaw) {
    // Each of the 256 bytes equally often, in an order without a pattern, and then something that repeats.
    std::string bytes;
    for (int i = 0; i < 2560; ++i) bytes += static_cast<char>(i);
    std::shuffle(bytes.begin(), bytes.end(), std::mt19937(1));
    const BlockView block = blockOf(bytes + bytes);
    EXPECT_EQ(block.type, BlockType::Compressed);
    EXPECT_EQ(block.literals, LiteralsType::Raw);
}

// The literals section of these literals alone.
Bytes literalsSection(const std::string& literals) {
    using namespace impl::zstd;
    const std::vector<unsigned char> bytes(literals.begin(), literals.end());
    const BlockCounts counts = countBlock({bytes, bytes, {}, {}}, {1, 4, 8});
    LiteralCode code;
    std::vector<unsigned char> section(bytes.size() + kLiteralsHeader + 8);
    const unsigned char* const end = encodeLiterals(bytes, counts, code, section.data());
    return {std::string(section.begin(), section.begin() + (end - section.data()))};
}

TEST(ZstdEncodeLiterals, AreARunIfThereIsButOneByte) {
    EXPECT_EQ(literalsSection(std::string(32, 'x')), "05 02 78"_bytes);
    EXPECT_EQ(literalsSection(std::string(4095, 'x')), "f5 ff 78"_bytes);
    EXPECT_EQ(literalsSection(std::string(4096, 'x')), "0d 00 01 78"_bytes);
    EXPECT_EQ(literalsSection(std::string(131'072, 'x')), "0d 00 20 78"_bytes);
}

TEST(ZstdEncodeLiterals, RawOnesSayHowManyInOneTwoOrThreeBytes) {
    EXPECT_EQ(literalsSection(""), "00"_bytes);
    EXPECT_EQ(literalsSection("ab"), "10 61 62"_bytes);
    EXPECT_EQ(literalsSection(noise(31)), (Bytes{"\xf8" + noise(31)}));
    EXPECT_EQ(literalsSection(noise(32)), (Bytes{std::string("\x04\x02") + noise(32)}));
    EXPECT_EQ(literalsSection(noise(4095)), (Bytes{"\xf4\xff" + noise(4095)}));
    EXPECT_EQ(literalsSection(noise(4096)), (Bytes{std::string("\x0c\x00\x01", 3) + noise(4096)}));
}

TEST(ZstdEncodeLiterals, AreOneStreamBelow256AndFourFromThere) {
    // Two values, too many to be found again in matches of length 4.
    for (const std::size_t size : {100u, 20'000u}) {
        std::string bytes = noise(size, 100);
        for (char& byte : bytes) byte = static_cast<char>(byte < 50 ? 'a' : byte < 75 ? 'b' : byte);
        const BlockView block = blockOf(bytes);
        EXPECT_EQ(block.literals, LiteralsType::Huffman) << size;
        EXPECT_EQ(block.streams, block.literalCount < 256 ? 1 : 4) << block.literalCount;
    }
}

TEST(ZstdEncodeLiterals, ATreeOfFewSymbolsIsDirect) {
    // 0 to 5, some more often than others.
    std::string bytes = noise(3000, 12);
    for (char& byte : bytes) byte = static_cast<char>(byte < 6 ? 0 : byte - 6);
    const BlockView block = blockOf(bytes);
    EXPECT_EQ(block.literals, LiteralsType::Huffman);
    EXPECT_EQ(block.treeByte, 127 + 5);  // the last of the six weights follows from the others
}

TEST(ZstdEncodeLiterals, ATreeOfTwoSymbolsHasOneWeight) {
    const std::string section = literalsSection(noise(300, 2)).raw;
    EXPECT_EQ(Bytes{section.substr(3, 2)}, "80 10"_bytes);  // 127 + 1, and the weight 1 in the high half
}

TEST(ZstdEncodeLiterals, ATreeOfManySymbolsIsInFse) {
    const BlockView block = blockOf(text(3000));
    EXPECT_EQ(block.literals, LiteralsType::Huffman);
    EXPECT_LT(block.treeByte, 128);
}

TEST(ZstdEncodeLiterals, TheSameTreeServesBlocksOfTheSameKind) {
    const FrameView frame = frameOf(encoded(letters(2 * kBlock - 120'000, 1)));
    ASSERT_EQ(frame.blocks.size(), 2u);
    EXPECT_EQ(frame.blocks[0].literals, LiteralsType::Huffman);
    EXPECT_EQ(frame.blocks[1].literals, LiteralsType::SameTree);
}

TEST(ZstdEncodeLiterals, ATreeThatLacksASymbolIsNotUsedAgain) {
    std::string bytes = letters(kBlock + 2000, 1);
    bytes.back() = '\xff';
    const FrameView frame = frameOf(encoded(bytes));
    ASSERT_EQ(frame.blocks.size(), 2u);
    EXPECT_EQ(frame.blocks[1].literals, LiteralsType::Huffman);
}

TEST(ZstdEncodeLiterals, ATreeThatNoBlockGaveIsNotUsedAgain) {
    // The first block is noise with a few letters, and stored raw; only the second has a tree to give.
    const FrameView frame = frameOf(encoded(noise(kBlock) + letters(kBlock, 1) + letters(5000, 2)));
    ASSERT_EQ(frame.blocks.size(), 3u);
    EXPECT_EQ(frame.blocks[0].type, BlockType::Raw);
    EXPECT_EQ(frame.blocks[1].literals, LiteralsType::Huffman);
    EXPECT_EQ(frame.blocks[2].literals, LiteralsType::SameTree);
}

TEST(ZstdEncodeLiterals, ATreeOutlivesABlockStoredRaw) {
    const FrameView frame = frameOf(encoded(letters(kBlock, 1) + noise(kBlock) + letters(5000, 2)));
    ASSERT_EQ(frame.blocks.size(), 3u);
    EXPECT_EQ(frame.blocks[1].type, BlockType::Raw);
    EXPECT_EQ(frame.blocks[2].literals, LiteralsType::SameTree);
}

TEST(ZstdEncodeSequences, ThereMayBeNone) {
    std::string bytes = noise(400, 100);
    for (char& byte : bytes) byte = static_cast<char>(byte < 50 ? 'a' + byte % 8 : byte);
    const BlockView block = blockOf(bytes);
    EXPECT_EQ(block.type, BlockType::Compressed);
    EXPECT_EQ(block.sequenceCount, 0u);
}

TEST(ZstdEncodeSequences, FewUseTheDefaultTables) {
    const BlockView block = blockOf(kSentence);
    EXPECT_GT(block.sequenceCount, 3u);
    EXPECT_EQ(block.literalLengths, TableMode::Default);
    EXPECT_EQ(block.offsets, TableMode::Default);
    EXPECT_EQ(block.matchLengths, TableMode::Default);
}

TEST(ZstdEncodeSequences, ManyDescribeTheirTables) {
    const BlockView block = blockOf(text(50'000));
    EXPECT_EQ(block.literalLengths, TableMode::Described);
    EXPECT_EQ(block.offsets, TableMode::Described);
    EXPECT_EQ(block.matchLengths, TableMode::Described);
}

TEST(ZstdEncodeSequences, LaterBlocksOfTheSameKindRepeatTables) {
    // The last block is short, so that no table is worth describing again.
    const FrameView frame = frameOf(encoded(text(kBlock + 3000)));
    EXPECT_EQ(frame.blocks.front().matchLengths, TableMode::Described);
    EXPECT_EQ(frame.blocks.back().literalLengths, TableMode::Repeat);
    EXPECT_EQ(frame.blocks.back().offsets, TableMode::Repeat);
    EXPECT_EQ(frame.blocks.back().matchLengths, TableMode::Repeat);
}

TEST(ZstdEncodeSequences, ATableOfOneCodeIsARun) {
    using namespace impl::zstd;
    const std::vector<Sequence> sequences(300, Sequence{5, 10, 100});
    std::vector<SequenceCodes> codes(sequences.size());
    const Block block = {{}, {}, sequences, codes};
    const BlockCounts counts = countBlock(block, {100, 4, 8});
    SequenceTables tables;
    std::vector<unsigned char> section(1000);
    const unsigned char* const end = encodeSequences(block, counts, tables, section.data(), section.data() + 100);
    // 300 sequences, three runs: literal length 5, offset value 1 (code 0), match length 10 (code 7); no bits at all.
    EXPECT_EQ((Bytes{std::string(section.begin(), section.begin() + (end - section.data()))}),
              "81 2c 54 05 00 07 01"_bytes);
}

TEST(ZstdEncodeSequences, AreCountedInOneTwoOrThreeBytes) {
    using namespace impl::zstd;
    const struct {
        std::size_t count;
        Bytes bytes;
    } kRows[] = {{0, "00"_bytes},  // and behind all others how their tables are given
                 {1, "01 00"_bytes},
                 {127, "7f 64"_bytes},
                 {128, "80 80 64"_bytes},
                 {255, "80 ff 64"_bytes},
                 {256, "81 00 64"_bytes},
                 {0x7EFF, "fe ff 64"_bytes},
                 {0x7F00, "ff 00 00 64"_bytes},
                 {0x7F01, "ff 01 00 64"_bytes},
                 {0x8000, "ff 00 01 64"_bytes}};
    for (const auto& row : kRows) {
        const std::vector<Sequence> sequences(row.count, Sequence{1, 4, 100});
        std::vector<SequenceCodes> codes(row.count);
        const Block block = {{}, {}, sequences, codes};
        const BlockCounts counts = countBlock(block, {1, 4, 8});
        SequenceTables tables;
        std::vector<unsigned char> section(200'000);
        encodeSequences(block, counts, tables, section.data(), section.data() + 150'000);
        EXPECT_EQ(
            (Bytes{std::string(section.begin(), section.begin() + static_cast<std::ptrdiff_t>(row.bytes.raw.size()))}),
            row.bytes);
    }
}

TEST(ZstdEncodeSequences, GiveUpAtTheLimit) {
    using namespace impl::zstd;
    std::mt19937 random(1);
    std::vector<Sequence> sequences(1000);
    for (Sequence& each : sequences) {
        each = {static_cast<std::uint32_t>(random() % 100), 4 + static_cast<std::uint32_t>(random() % 100),
                1 + static_cast<std::uint32_t>(random() % 100'000)};
    }
    std::vector<SequenceCodes> codes(sequences.size());
    const Block block = {{}, {}, sequences, codes};
    const BlockCounts counts = countBlock(block, {1, 4, 8});
    const auto encode = [&](std::size_t limit) {
        SequenceTables tables;
        std::vector<unsigned char> section(limit + kSequencesSlack);
        const unsigned char* const end = encodeSequences(block, counts, tables, section.data(), section.data() + limit);
        return end ? static_cast<std::size_t>(end - section.data()) : 0;
    };
    const std::size_t size = encode(10'000);
    EXPECT_GT(size, 1000u);
    EXPECT_EQ(encode(size), size);
    for (std::size_t limit = 0; limit < size; limit += limit < 300 ? 1 : 97) EXPECT_EQ(encode(limit), 0u) << limit;
    EXPECT_EQ(encode(size - 1), 0u);
}

TEST(ZstdEncodeOffsets, AMatchAtTheLastDistanceIsARepeat) {
    // Two rows that differ in their middle byte.
    const std::string row = noise(100);
    std::string other = row;
    other[50] = static_cast<char>(other[50] + 1);
    const BlockView block = blockOf(row + other);
    EXPECT_EQ(block.sequences, (std::vector<SequenceView>{{100, 50, 100 + 3}, {1, 49, 1}}));
}

TEST(ZstdEncodeOffsets, AMatchAtTheDistanceBeforeThatRightAfterAMatchIsARepeatToo) {
    // After a repetition at 100 one at 300, and then at 100 again, without literals.
    const std::string a = noise(300);
    std::string content = a;
    content += content.substr(content.size() - 100, 40);
    content += content.substr(content.size() - 300, 40);
    content += content.substr(content.size() - 100, 40);
    const BlockView block = blockOf(content);
    ASSERT_EQ(block.sequences.size(), 3u);
    EXPECT_EQ(block.sequences[0].offsetValue, 100u + 3);
    EXPECT_EQ(block.sequences[1].offsetValue, 300u + 3);
    EXPECT_EQ(block.sequences[2], (SequenceView{0, block.sequences[2].length, 1}));
}

TEST(ZstdEncodeOffsets, TheThirdLastDistanceIsFoundAsARepeat) {
    std::string content = noise(400);
    const auto repeat = [&](std::size_t offset) {
        content += noise(1, 256, static_cast<unsigned>(content.size()));
        content += content.substr(content.size() - offset, 40);
    };
    repeat(100);
    repeat(200);
    repeat(350);
    repeat(100);
    const BlockView block = blockOf(content);
    ASSERT_EQ(block.sequences.size(), 4u);
    EXPECT_EQ(block.sequences[3].offsetValue, 3u);
}

TEST(ZstdEncodeOffsets, RepeatsCarryOverFromBlockToBlock) {
    // Rows of 1,000 bytes of which one differs each time: matches at distance 1,000, before and after the block's end.
    const std::string row = noise(1000);
    std::string content;
    for (std::size_t i = 0; i < 200; ++i) {
        content += row;
        content[content.size() - 1 - i] = static_cast<char>(content[content.size() - 1 - i] + 1);
    }
    const FrameView frame = frameOf(encoded(content));
    ASSERT_EQ(frame.blocks.size(), 2u);
    EXPECT_EQ(frame.blocks[1].sequences.at(0).offsetValue, 1u);
}

TEST(ZstdEncodeOffsets, ARawBlockLeavesThemAsTheyWere) {
    // The first block has matches in it that are not worth their bytes. One at the same distance follows in the next.
    std::string raw = noise(kBlock);
    for (std::size_t at = 6000; at <= 60'000; at += 6000) raw.replace(at, 30, raw.substr(at - 5000, 30));
    const FrameView frame = frameOf(encoded(raw + raw.substr(raw.size() - 5000, 200)));
    ASSERT_EQ(frame.blocks.size(), 2u);
    EXPECT_EQ(frame.blocks[0].type, BlockType::Raw);
    EXPECT_EQ(frame.blocks[1].sequences.at(0).offsetValue, 5000u + 3);
}

TEST(ZstdEncodeOffsets, ARawPartOfABlockLeavesThemAsTheyWereToo) {
    // Matches at one distance; at another, and so seldom that they are not worth their bytes; at that one again.
    std::string content = noise(3000);
    unsigned seed = 2;
    const auto add = [&](std::size_t times, std::size_t literals, unsigned values, std::size_t distance,
                         std::size_t length) {
        while (times-- > 0) {
            content += noise(literals, values, seed++);
            content += content.substr(content.size() - distance, length);
        }
    };
    add(500, 4, 16, 3000, 16);
    add(15, 2000, 256, 3100, 6);
    add(500, 4, 16, 3100, 16);
    const std::string payload = encoded(content);
    const std::vector<BlockView> blocks = frameOf(payload).blocks;
    const auto raw = std::ranges::find(blocks, BlockType::Raw, &BlockView::type);
    ASSERT_TRUE(raw != blocks.begin() && raw != blocks.end() && raw + 1 != blocks.end());
    EXPECT_EQ(zstd::decoded(payload, content.size()), content);
}

TEST(ZstdEncodeOffsets, LiteralRunsOfMoreThan65535BytesKeepTheirLength) {
    const std::string bytes = noise(70'000);
    const BlockView block = blockOf(bytes + bytes.substr(0, 61'072));
    ASSERT_EQ(block.sequences.size(), 1u);
    EXPECT_EQ(block.sequences[0], (SequenceView{70'000, 61'072, 70'000 + 3}));
}

TEST(ZstdEncodeOffsets, MatchesOfMoreThan65538BytesKeepTheirLength) {
    const std::string bytes = noise(50'000);
    const BlockView block = blockOf(bytes + bytes + bytes.substr(0, 31'072));
    ASSERT_EQ(block.sequences.size(), 1u);
    EXPECT_EQ(block.sequences[0], (SequenceView{50'000, 81'072, 50'000 + 3}));
}

TEST(ZstdEncodeOffsets, ReachNoFurtherThanTheWindow) {
    // The same 1,000 bytes a little inside the window, and a little outside.
    const std::string row = noise(1000);
    for (const bool isInside : {true, false}) {
        std::string content = row + std::string(kWindow - (isInside ? 3000 : 500), 'x') + row;
        const FrameView frame = frameOf(encoded(content));
        std::uint32_t furthest = 0;
        for (const BlockView& block : frame.blocks) {
            for (const SequenceView& each : block.sequences) furthest = std::max(furthest, each.offsetValue);
        }
        EXPECT_LE(furthest, kWindow + 3);
        EXPECT_EQ(furthest > 1'000'000, isInside);
    }
}

TEST(ZstdEncode, EqualContentMakesEqualPayloads) { EXPECT_EQ(encoded(text(200'000)), encoded(text(200'000))); }

}  // namespace
}  // namespace qor::test
