// Zstandard frames, put together by hand: what the decoder makes of them, and every reason for which it refuses one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "core/codec/zstd_builder.h"
#include "core/codec/zstd_frame_view.h"
#include "qor/core/codec/fse.h"
#include "qor/core/codec/zstd_tables.h"

namespace qor::test::zstd {
namespace {

constexpr std::size_t kKiB = 1024;
constexpr std::size_t kLargestBlock = 128 * kKiB;

const std::string kSentence =
    "It was the best of times, it was the worst of times, it was the age of wisdom, it was the age of foolishness, it "
    "was the epoch of belief, it was the epoch of incredulity";

const std::string kFrameOfNothing = "28 b5 2f fd 24 00 01 00 00 99 e9 d8 51"_bytes.raw;
const std::string kFrameOfALetter = "28 b5 2f fd 24 01 09 00 00 61 5b 6e 8c a9"_bytes.raw;
const std::string kFrameOfAPattern = "28 b5 2f fd 24 25 55 00 00 20 61 62 63 21 01 00 8e 6e 08 80 b6 be 2f"_bytes.raw;
const std::string kFrameOfARun = "28 b5 2f fd 64 e8 02 4d 00 00 10 61 61 01 00 e3 2b 80 05 23 42 da 2e"_bytes.raw;
const std::string kFrameOfASentence =
    "28 b5 2f fd 24 a9 7d 02 00 f2 44 0f 12 a0 bb 01 44 12 83 65 44 22 d3 7c ab f4 bf 1b fd df 1a af"
    "15 b5 82 8c 28 4d 54 84 e3 b9 3f 64 17 32 aa c3 8a 76 33 6d 61 75 cf 3d 1a c1 d6 e9 01 63 d2 7e"
    "ee 9b 71 1c 4f 9f 85 7b 87 05 00 3f 95 ca 95 dc b9 f4 f7 09 c6 0d cf 31 b9 b6 2a e4"_bytes.raw;

std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    for (; times > 0; --times) all += text;
    return all;
}

// ---- Frames

TEST(ZstdFrame, OfNothing) { EXPECT_EQ(decoded(kFrameOfNothing, 0), ""); }

TEST(ZstdFrame, OfARawBlock) { EXPECT_EQ(decoded(kFrameOfALetter, 1), "a"); }

TEST(ZstdFrame, OfSequences) { EXPECT_EQ(decoded(kFrameOfAPattern, 37), repeated("abc", 12) + "!"); }

TEST(ZstdFrame, OfAMatchThatOverlapsItself) { EXPECT_EQ(decoded(kFrameOfARun, 1000), std::string(1000, 'a')); }

TEST(ZstdFrame, OfHuffmanCodedLiterals) { EXPECT_EQ(decoded(kFrameOfASentence, 169), kSentence); }

TEST(ZstdFrame, IsRecognisedByItsFirstFourBytes) {
    const auto recognised = [](const std::string& bytes) {
        const std::vector<unsigned char> payload(bytes.begin(), bytes.end());
        return impl::zstd::recognises(payload);
    };
    EXPECT_TRUE(recognised("28 b5 2f fd"_bytes.raw));
    EXPECT_FALSE(recognised("28 b5 2f"_bytes.raw));
    EXPECT_FALSE(recognised("28 b5 2f fe 00"_bytes.raw));
    EXPECT_FALSE(recognised(""));
}

TEST(ZstdFrame, MayHaveNeitherContentSizeNorChecksum) {
    EXPECT_EQ(decoded(header() + rawBlock("abc"), 3), "abc");
    EXPECT_EQ(decoded(header() + rawBlock("abc"), 2), std::nullopt);
    EXPECT_EQ(decoded(header() + rawBlock("abc"), 4), std::nullopt);
}

// The size of the field is told by the descriptor's two highest bits and by its single-segment bit.
TEST(ZstdFrame, MayGiveItsContentSizeInEveryWidth) {
    const std::string text(300, 'x');
    const auto frame = [&](const std::string& bytes) { return "28 b5 2f fd"_bytes.raw + bytes + rawBlock(text); };
    EXPECT_EQ(decoded("28 b5 2f fd 20 02"_bytes.raw + rawBlock("xy"), 2), "xy");
    EXPECT_EQ(decoded(frame("60 2c 00"_bytes.raw), 300), text);
    EXPECT_EQ(decoded(frame("a0 2c 01 00 00"_bytes.raw), 300), text);
    EXPECT_EQ(decoded(frame("e0 2c 01 00 00 00 00 00 00"_bytes.raw), 300), text);
    EXPECT_EQ(decoded(frame("40 00 2c 00"_bytes.raw), 300), text);
    EXPECT_EQ(decoded(frame("80 00 2c 01 00 00"_bytes.raw), 300), text);
    EXPECT_EQ(decoded(frame("c0 00 2c 01 00 00 00 00 00 00"_bytes.raw), 300), text);
}

TEST(ZstdFrame, MayUseTheUnusedBit) { EXPECT_EQ(decoded(header("10"_bytes.raw) + rawBlock("abc"), 3), "abc"); }

TEST(ZstdFrame, MayNameTheDictionaryThatIsNone) {
    EXPECT_EQ(decoded(header("03"_bytes.raw) + "00 00 00 00"_bytes.raw + rawBlock("abc"), 3), "abc");
}

TEST(ZstdFrame, MayHaveEmptyBlocks) {
    const std::string frame = header() + rawBlock("", Last::No) + rawBlock("ab", Last::No) +
                              runBlock('c', 0, Last::No) + compressedBlock(rawLiterals("") + kNoSequences, Last::No) +
                              rawBlock("");
    EXPECT_EQ(decoded(frame, 2), "ab");
}

TEST(ZstdFrame, MayEndInARunBlock) {
    EXPECT_EQ(decoded(header() + rawBlock("a", Last::No) + runBlock('b', 5), 6), "abbbbb");
}

// ---- Literals

TEST(ZstdLiterals, StandRawInHeadersOfThreeSizes) {
    for (const std::size_t size : std::initializer_list<std::size_t>{0, 1, 31}) {
        const std::string text(size, 'r');
        EXPECT_EQ(decoded(frameOfLiterals(number(size << 3, 1) + text), size), text);
    }
    const std::string text(4095, 'r');
    EXPECT_EQ(decoded(frameOfLiterals(number(4095u << 4 | 1u << 2, 2) + text), 4095), text);
    EXPECT_EQ(decoded(frameOfLiterals(rawLiterals(text)), 4095), text);
}

TEST(ZstdLiterals, RunInHeadersOfThreeSizes) {
    EXPECT_EQ(decoded(frameOfLiterals(number(31u << 3 | 1, 1) + "x"), 31), std::string(31, 'x'));
    EXPECT_EQ(decoded(frameOfLiterals(number(4095u << 4 | 1u << 2 | 1, 2) + "x"), 4095), std::string(4095, 'x'));
    EXPECT_EQ(decoded(frameOfLiterals(runLiterals('x', kLargestBlock)), kLargestBlock),
              std::string(kLargestBlock, 'x'));
}

// A tree of 'a' in one bit and 'b' in one: 97 symbols without weight, then 1, and the last one's is implied.
const std::string kTreeOfAAndB = number(127 + 98, 1) + std::string(48, '\0') + "\x01";
const Bits kA = {0, 1};
const Bits kB = {1, 1};

TEST(ZstdLiterals, InOneStream) {
    const std::string frame = frameOfLiterals(oneStream(2, 5, kTreeOfAAndB + backward({kA, kB, kB, kA, kB})));
    EXPECT_EQ(decoded(frame, 5), "abbab");
}

std::string four(const std::string& one, const std::string& two, const std::string& three, const std::string& last) {
    return number(one.size(), 2) + number(two.size(), 2) + number(three.size(), 2) + one + two + three + last;
}

TEST(ZstdLiterals, InFourStreams) {
    const std::string streams = four(backward({kA, kA}), backward({kA, kB}), backward({kB, kA}), backward({kB}));
    EXPECT_EQ(decoded(frameOfLiterals(fourStreams(2, 7, kTreeOfAAndB + streams)), 7), "aaabbab");
}

TEST(ZstdLiterals, InFourStreamsTheLastOfThemEmpty) {
    const std::string streams = four(backward({kA, kA}), backward({kA, kB}), backward({kB, kA}), backward({}));
    EXPECT_EQ(decoded(frameOfLiterals(fourStreams(2, 6, kTreeOfAAndB + streams)), 6), "aaabba");
}

TEST(ZstdLiterals, WithTheTreeOfAnEarlierBlock) {
    const std::string frame =
        header() + compressedBlock(oneStream(2, 2, kTreeOfAAndB + backward({kA, kB})) + kNoSequences, Last::No) +
        rawBlock("-", Last::No) + compressedBlock(rawLiterals("-") + kNoSequences, Last::No) +
        compressedBlock(oneStream(3, 3, backward({kB, kB, kA})) + kNoSequences);
    EXPECT_EQ(decoded(frame, 7), "ab--bba");
}

// ---- Sequences

// Modes: all three tables as they are by default; their start states come first, 6, 5 and 6 bits.
const std::string kDefaultTables(1, '\0');

// All three tables of one symbol each, so that the bit stream holds extra bits alone.
std::string runTables(int literalLengthCode, int offsetCode, int matchLengthCode) {
    return number(1u << 6 | 1u << 4 | 1u << 2, 1) + number(static_cast<unsigned>(literalLengthCode), 1) +
           number(static_cast<unsigned>(offsetCode), 1) + number(static_cast<unsigned>(matchLengthCode), 1);
}

// As many sequences, each of 1 literal (unless another code is given), by tables of one symbol.
std::string sequences(std::size_t count, int offsetCode, int matchLengthCode, const std::vector<Bits>& bits,
                      int literalLengthCode = 1) {
    const std::string header = count < 128 ? number(count, 1) : number((count >> 8) + 128, 1) + number(count & 255, 1);
    return header + runTables(literalLengthCode, offsetCode, matchLengthCode) + backward(bits);
}

TEST(ZstdSequences, AreCountedInOneByteOrTwoOrThree) {
    const auto frame = [](const std::string& count, std::size_t n) {
        // Offset value 1: the first repeat offset, which starts as 1.
        return frameOf(rawLiterals(std::string(n, 'a')), count + runTables(1, 0, 0) + backward({}));
    };
    EXPECT_EQ(decoded(frame("7f"_bytes.raw, 127), 4 * 127), std::string(4 * 127, 'a'));
    EXPECT_EQ(decoded(frame("80 7f"_bytes.raw, 127), 4 * 127), std::string(4 * 127, 'a')) << "longer than needed";
    EXPECT_EQ(decoded(frame("81 02"_bytes.raw, 258), 4 * 258), std::string(4 * 258, 'a'));
    EXPECT_EQ(decoded(frame("fe ff"_bytes.raw, 0x7EFF), 4 * 0x7EFF), std::string(4 * 0x7EFF, 'a'));
    EXPECT_EQ(decoded(frame("ff 01 00"_bytes.raw, 0x7F01), 4 * 0x7F01), std::string(4 * 0x7F01, 'a'));
    EXPECT_EQ(decoded(frame("ff 00 01"_bytes.raw, 0x8000), 4 * 0x8000), std::string(4 * 0x8000, 'a'));
}

TEST(ZstdSequences, MayBeNoneInTwoBytes) {
    EXPECT_EQ(decoded(frameOf(rawLiterals("abc"), "80 00"_bytes.raw), 3), "abc");
}

TEST(ZstdSequences, LeaveTheirLastLiteralsBehind) {
    EXPECT_EQ(decoded(frameOf(rawLiterals("abc"), sequences(1, 0, 0, {})), 6), "aaaabc");
}

// RFC 8878, 3.1.1.5. After an offset of 5, 6 and 7 each, r1 to r3 are 7, 6, 5; then comes a value of 1 to 3, with and
// without literals, then r1 to r3 as they are then.
TEST(ZstdSequences, ChooseRepeatOffsets) {
    struct Row {
        std::uint32_t value;
        int literals;
        std::uint32_t used, r1, r2, r3;
    };
    const Row kRows[] = {
        {1, 1, 7, 7, 6, 5},                      // the first
        {2, 1, 6, 6, 7, 5},                      // the second, which comes first now
        {3, 1, 5, 5, 7, 6},                      // the third
        {1, 0, 6, 6, 7, 5},                      // without literals each is the next one
        {2, 0, 5, 5, 7, 6}, {3, 0, 6, 6, 7, 6},  // and the third is the first less 1
        {9, 0, 6, 6, 7, 6},                      // an offset: 3 more than it
    };
    for (const Row& row : kRows) {
        // Blocks of one sequence each, so that each may have tables of its own.
        std::string frame = header();
        std::string expected;
        const auto add = [&](std::uint32_t value, int literals, std::uint32_t offset) {
            int code = 0;
            while (value >> code > 1) ++code;
            const std::string text =
                std::string("0123456789abcdefghijkl").substr(expected.size() % 12, literals == 0 ? 0 : 8);
            frame +=
                compressedBlock(rawLiterals(text) + number(1, 1) + runTables(static_cast<int>(text.size()), code, 0) +
                                    backward({{value - (1u << code), code}}),
                                Last::No);
            expected += text;
            for (int i = 0; i < 3; ++i) expected += expected[expected.size() - offset];
        };
        add(5 + 3, 1, 5);
        add(6 + 3, 1, 6);
        add(7 + 3, 1, 7);
        add(row.value, row.literals, row.used);
        add(1, 1, row.r1);
        add(2, 1, row.r2);
        add(3, 1, row.r3);
        frame += rawBlock("");
        EXPECT_EQ(decoded(frame, expected.size()), expected) << "value " << row.value << ", literals " << row.literals;
    }
}

TEST(ZstdSequences, RepeatAnyOffsetAtAnyLength) {
    for (std::size_t offset = 1; offset <= 40; ++offset) {
        std::string start;
        for (std::size_t i = 0; i < offset; ++i) start += static_cast<char>('0' + i);
        for (std::uint32_t length = 3; length <= 34; ++length) {
            int code = 0;
            while ((offset + 3) >> code > 1) ++code;
            const std::string block = rawLiterals("") + number(1, 1) +
                                      runTables(0, code, static_cast<int>(length - 3)) +
                                      backward({{static_cast<std::uint32_t>(offset + 3) - (1u << code), code}});
            std::string expected = start;
            for (std::size_t i = 0; i < length; ++i) expected += expected[expected.size() - offset];
            // Once at the end of the result, and once with room behind it.
            const std::string frame = header() + rawBlock(start, Last::No);
            EXPECT_EQ(decoded(frame + compressedBlock(block), expected.size()), expected);
            EXPECT_EQ(decoded(frame + compressedBlock(block, Last::No) + runBlock('.', 99), expected.size() + 99),
                      expected + std::string(99, '.'));
        }
    }
}

TEST(ZstdSequences, HaveLengthsOfEveryCode) {
    for (int code = 0; code < impl::zstd::kLiteralLengthSymbols; ++code) {
        const auto [base, extra] = impl::zstd::kLiteralLengthCodes[code];
        for (const std::uint32_t bits : {0u, (1u << extra) - 1}) {
            const std::size_t length = base + bits;
            if (length + 3 > kLargestBlock) continue;
            const std::string frame = header() + rawBlock("x", Last::No) +
                                      compressedBlock(runLiterals('y', length) + number(1, 1) + runTables(code, 2, 0) +
                                                      backward({{0, 2}, {bits, extra}}));
            EXPECT_EQ(decoded(frame, length + 4), "x" + std::string(length, 'y') + std::string(3, length ? 'y' : 'x'));
        }
    }
    for (int code = 0; code < impl::zstd::kMatchLengthSymbols; ++code) {
        const auto [base, extra] = impl::zstd::kMatchLengthCodes[code];
        for (const std::uint32_t bits : {0u, (1u << extra) - 1}) {
            const std::size_t length = base + bits;
            if (length + 1 > kLargestBlock) continue;
            const std::string frame = frameOf(rawLiterals("x"), sequences(1, 0, code, {{bits, extra}}));
            EXPECT_EQ(decoded(frame, length + 1), std::string(length + 1, 'x'));
        }
    }
}

// The only row of a symbol in a default table; the moves there take all bits of a state.
std::uint32_t rowOf(const impl::fse::Distribution& distribution, int symbol) {
    int found = 0;
    impl::fse::forEachRow(distribution, [&](int row, int each, int, int) {
        if (each == symbol) found = row;
    });
    return static_cast<std::uint32_t>(found);
}

// The states of an offset of 17 bits, a match length of 16 and a literal length of 15 in the default tables, and what
// bits follow.
std::string longSequence(std::initializer_list<Bits> more) {
    using namespace impl::zstd;
    std::vector<Bits> bits = {
        {rowOf(kDefaultLiteralLengths, 34), 6}, {rowOf(kDefaultOffsets, 17), 5}, {rowOf(kDefaultMatchLengths, 52), 6}};
    bits.insert(bits.end(), more);
    return backward(bits);
}

// Those bits, and 17 to move on to the next sequence.
TEST(ZstdSequences, MayTakeMoreBitsThanAWordHolds) {
    const Bits noLiterals = {0, 6};  // row 0 is of the symbol 0 in both tables
    const Bits matchOfThree = {0, 6};
    const Bits offset = {rowOf(impl::zstd::kDefaultOffsets, 17), 5};
    const std::string bits = longSequence({{1000, 17}, {1, 16}, {2, 15}, noLiterals, matchOfThree, offset, {5, 17}});
    const std::string start = repeated("0123456789abc", 2 * kLargestBlock / 13 + 1).substr(0, 2 * kLargestBlock);
    const std::string frame = header("00"_bytes.raw, "48"_bytes.raw) +
                              rawBlock(start.substr(0, kLargestBlock), Last::No) +
                              rawBlock(start.substr(kLargestBlock), Last::No) +
                              compressedBlock(runLiterals('x', 32768 + 2) + "02"_bytes.raw + kDefaultTables + bits);
    std::string expected = start + std::string(32768 + 2, 'x');
    expected += expected.substr(expected.size() - (131072 + 1000 - 3), 65539 + 1);
    expected += expected.substr(expected.size() - (131072 + 5 - 3), 3);
    EXPECT_TRUE(decoded(frame, expected.size()) == expected);
}

TEST(ZstdSequences, RepeatTheTablesOfTheLastBlockThatHadAny) {
    const std::string again = number(1, 1) + number(3u << 6 | 3u << 4 | 3u << 2, 1);
    const std::string frame = header() + compressedBlock(rawLiterals("ab") + sequences(1, 0, 0, {}), Last::No) +
                              compressedBlock(rawLiterals("-") + kNoSequences, Last::No) + rawBlock("-", Last::No) +
                              compressedBlock(rawLiterals("cd") + again + backward({}), Last::No) +
                              compressedBlock(rawLiterals("ef") + again + backward({}));
    EXPECT_EQ(decoded(frame, 17), "aaaab--ccccdeeeef");
}

// ---- Frames that are refused

struct Damaged {
    std::string why;
    std::string good;  // what the frame would have to be
    std::uint64_t size;
    std::string bad;
    std::optional<std::uint64_t> claimed = std::nullopt;  // of the bad one, if it is another
};

std::vector<Damaged> damagedHeadersAndBlocks() {
    // It could be 128 KiB, for all that its header says.
    const std::string emptyBlock = compressedBlock(rawLiterals("") + kNoSequences);
    return {
        // The frame's header.
        {"another magic number", header() + rawBlock("abc"), 3, "28 b5 2f fe 00 38"_bytes.raw + rawBlock("abc")},
        {"the reserved bit is set", header() + rawBlock("abc"), 3, header("08"_bytes.raw) + rawBlock("abc")},
        {"a dictionary of 1 byte", header("01"_bytes.raw) + "00"_bytes.raw + rawBlock("abc"), 3,
         header("01"_bytes.raw) + "01"_bytes.raw + rawBlock("abc")},
        {"a dictionary of 2 bytes", header("02"_bytes.raw) + "00 00"_bytes.raw + rawBlock("abc"), 3,
         header("02"_bytes.raw) + "00 01"_bytes.raw + rawBlock("abc")},
        {"a dictionary of 4 bytes", header("03"_bytes.raw) + "00 00 00 00"_bytes.raw + rawBlock("abc"), 3,
         header("03"_bytes.raw) + "00 00 00 01"_bytes.raw + rawBlock("abc")},
        {"a window of 4 GiB", header("00"_bytes.raw, "af"_bytes.raw) + rawBlock("abc"), 3,
         header("00"_bytes.raw, "b0"_bytes.raw) + rawBlock("abc")},
        {"another content size than the caller's", "28 b5 2f fd 20 03"_bytes.raw + rawBlock("abc"), 3,
         "28 b5 2f fd 20 04"_bytes.raw + rawBlock("abc")},

        // Blocks.
        {"a block of the reserved type", header() + block(0, 3, "abc"), 3, header() + block(3, 3, "abc")},
        {"a raw block of 128 KiB + 1", header() + rawBlock(std::string(kLargestBlock, 'x')), kLargestBlock,
         header() + rawBlock(std::string(kLargestBlock + 1, 'x')), kLargestBlock + 1},
        {"a run of 128 KiB + 1", header() + runBlock('x', kLargestBlock), kLargestBlock,
         header() + runBlock('x', kLargestBlock + 1), kLargestBlock + 1},
        {"a raw block larger than a small window",
         header("00"_bytes.raw, "00"_bytes.raw) + rawBlock(std::string(1024, 'x')), 1024,
         header("00"_bytes.raw, "00"_bytes.raw) + rawBlock(std::string(1025, 'x')), 1025},
        {"a raw block larger than a window of 1 KiB and an eighth",
         header("00"_bytes.raw, "01"_bytes.raw) + rawBlock(std::string(1152, 'x')), 1152,
         header("00"_bytes.raw, "01"_bytes.raw) + rawBlock(std::string(1153, 'x')), 1153},
        {"a compressed block of 128 KiB + 1 bytes of data",
         frameOfLiterals(rawLiterals(std::string(kLargestBlock - 4, 'x'))), kLargestBlock - 4,
         frameOfLiterals(rawLiterals(std::string(kLargestBlock - 3, 'x'))), kLargestBlock - 3},
        {"a compressed block of 128 KiB + 1 bytes of content",
         header() + rawBlock("x", Last::No) +
             compressedBlock(runLiterals('x', kLargestBlock - 3) + sequences(1, 0, 0, {}), Last::No) + emptyBlock,
         kLargestBlock + 1,
         header() + rawBlock("x", Last::No) +
             compressedBlock(runLiterals('x', kLargestBlock - 3) + sequences(1, 0, 1, {}), Last::No) + emptyBlock,
         kLargestBlock + 2},
        {"a compressed block of more content than a window of 1 KiB, behind which all of it comes again",
         header("00"_bytes.raw, "00"_bytes.raw) +
             compressedBlock(rawLiterals("x") + sequences(1, 0, 45, {{508, 9}}), Last::No) + runBlock('x', 76),
         1100,
         header("00"_bytes.raw, "00"_bytes.raw) +
             compressedBlock(rawLiterals("x") + sequences(1, 0, 46, {{0, 10}}), Last::No) +
             runBlock('x', 1000, Last::No) + runBlock('x', 100)},
        {"no last block", header() + rawBlock("ab", Last::No) + rawBlock("c"), 3,
         header() + rawBlock("ab", Last::No) + rawBlock("c", Last::No)},
        {"a block behind the last one", header() + rawBlock("ab", Last::No) + rawBlock("c"), 3,
         header() + rawBlock("ab") + rawBlock("c")},
        {"no block at all", header() + rawBlock(""), 0, header()},
        {"a block that ends behind the frame", header() + block(0, 3, "abc"), 3, header() + block(0, 4, "abc")},
        {"less content than the caller's size", frameOfLiterals(rawLiterals("abc")), 3,
         frameOfLiterals(rawLiterals("abc")), 4},
        {"a raw block of more content than the caller's size", header() + rawBlock("abc", Last::No) + rawBlock(""), 3,
         header() + rawBlock("abc", Last::No) + rawBlock("d"), 3},
        {"neither a magic number nor a header", header() + rawBlock(""), 0, rawBlock("")},
        {"more literals than the caller's size", frameOfLiterals(rawLiterals("abc")), 3,
         frameOfLiterals(rawLiterals("abc")), 2},
        {"bytes after the frame", header() + rawBlock("abc"), 3, header() + rawBlock("abc") + '\0'},
        {"bytes after the checksum", kFrameOfALetter, 1, kFrameOfALetter + '\0'},
        {"no checksum", kFrameOfALetter, 1, kFrameOfALetter.substr(0, 10)},
        {"a wrong checksum", kFrameOfALetter, 1, kFrameOfALetter.substr(0, 13) + "\xA8"},
    };
}

std::vector<Damaged> damagedLiterals() {
    return {
        {"an empty block", frameOfLiterals(rawLiterals("")), 0, header() + compressedBlock("")},
        {"literals that end behind the block", frameOfLiterals(rawLiterals("abc")), 3,
         header() + compressedBlock(rawLiterals("abc").substr(0, 5))},
        {"no sequences section", frameOfLiterals(rawLiterals("abc")), 3,
         header() + compressedBlock(rawLiterals("abc"))},
        {"a run without its byte", frameOfLiterals(runLiterals('x', 3)), 3,
         header() + compressedBlock(runLiterals('x', 3).substr(0, 3))},
        {"a literals header cut short", frameOfLiterals(runLiterals('x', 3)), 3,
         header() + compressedBlock(runLiterals('x', 3).substr(0, 2))},
        {"128 KiB + 1 literals", frameOfLiterals(runLiterals('x', kLargestBlock)), kLargestBlock,
         frameOfLiterals(runLiterals('x', kLargestBlock + 1)), kLargestBlock + 1},
        {"the tree of an earlier block where there is none",
         frameOfLiterals(oneStream(2, 2, kTreeOfAAndB + backward({kA, kB}))), 2,
         frameOfLiterals(oneStream(3, 2, backward({kA, kB})))},
    };
}

std::vector<Damaged> damagedTrees() {
    // Trees: the weights of a few symbols from 0 on, 4 bits each, and a stream of as many zeros as leaves the first
    // symbol twice.
    const auto tree = [](const std::string& weights, int bits) {
        return frameOfLiterals(oneStream(2, 2, weights + backward({{0, bits}, {0, bits}})));
    };
    const std::string three = tree("81 11"_bytes.raw, 2);  // 1 and 1, the last is 2: 2 bits, 2 bits, 1 bit
    return {
        {"no tree", three, 2, frameOfLiterals(oneStream(2, 2, ""))},
        {"no tree, though there are no literals either", frameOfLiterals(oneStream(2, 0, kTreeOfAAndB + backward({}))),
         0, frameOfLiterals(oneStream(2, 0, ""))},
        {"weights cut short", three, 2, frameOfLiterals(oneStream(2, 2, "83 11"_bytes.raw))},
        {"weights that are all 0", three, 2, tree("81 00"_bytes.raw, 0)},
        {"weights that are all 0, where another tree would have a stream", three, 2,
         frameOfLiterals(oneStream(2, 8, "81 00 01"_bytes.raw)), 8},
        {"weights that no power of two completes", tree("81 12"_bytes.raw, 2), 2, tree("81 13"_bytes.raw, 3)},
        {"no symbol of weight 1", tree("80 10"_bytes.raw, 1), 2, tree("80 20"_bytes.raw, 1)},
        {"code words of 12 bits", tree("8a 11 23 45 67 89 a0"_bytes.raw, 11), 2,
         tree("8b 11 23 45 67 89 ab"_bytes.raw, 12)},
        {"a weight of 12", tree("8a 11 23 45 67 89 a0"_bytes.raw, 11), 2, tree("8a 11 23 45 67 89 c0"_bytes.raw, 11)},
    };
}

std::vector<Damaged> damagedCodedWeights() {
    // Coded weights: a distribution, then the backward stream of two states. Half of the rows are of weight 0 and half
    // of weight 1, and each move takes 1 bit; row 3 is of weight 1 and leads to row 0, which is of weight 0 and leads
    // to itself. So these weights are 1 and as many zeros as there are bits and one more; 1 is implied for the last
    // symbol.
    const auto coded = [](const std::string& weights) {
        return frameOfLiterals(oneStream(2, 2, number(weights.size(), 1) + weights + backward({kA, kB})));
    };
    const auto weights = [&](std::size_t zeros) {
        std::vector<Bits> bits = {{3, 5}, {0, 5}};
        bits.insert(bits.end(), zeros, Bits{0, 1});
        return coded(forward({{0, 4}, {17, 5}, {31, 5}}) + backward(bits));
    };
    // Shares of 8 for the weights 0 and 1, 16 for the last: no weight of it occurs.
    const auto withLargest = [&](std::initializer_list<Bits> shares) {
        return coded(forward(shares) + backward({{24, 5}, {0, 5}}));
    };
    const std::string untilEleven = withLargest({{0, 4}, {9, 5}, {9, 5}, {1, 4}, {3, 2}, {3, 2}, {2, 2}, {31, 5}});
    const std::string untilTwelve =
        withLargest({{0, 4}, {9, 5}, {9, 5}, {1, 4}, {3, 2}, {3, 2}, {3, 2}, {0, 2}, {31, 5}});
    const std::string halves = forward({{0, 4}, {17, 5}, {31, 5}});
    return {
        {"256 coded weights", weights(253), 2, weights(254)},
        {"257 coded weights", weights(253), 2, weights(255)},
        {"coded weights of which one is 12", untilEleven, 2, untilTwelve},
        {"coded weights of accuracy 7", coded(forward({{1, 4}, {33, 6}, {63, 6}}) + backward({{32, 6}, {0, 6}})), 2,
         coded(forward({{2, 4}, {65, 7}, {127, 7}}) + backward({{64, 7}, {0, 7}}))},
        {"coded weights of one symbol", weights(0), 2, coded(forward({{0, 4}, {63, 6}}) + backward({{3, 5}, {0, 5}}))},
        {"coded weights without bits", weights(0), 2, coded(halves)},
        {"coded weights whose bits end in a zero byte", weights(0), 2,
         coded(halves + backward({{3, 5}, {0, 5}}) + '\0')},
        {"coded weights whose bits end within the second start state", weights(0), 2,
         coded(halves + backward({{3, 5}, {0, 4}}))},
        {"coded weights whose bits end within the start states", weights(0), 2,
         "28 b5 2f fd 00 00 55 00 00 72 80 01 04 20 7e 1f 02 aa 00"_bytes.raw, 7},
        {"coded weights that end behind the literals", weights(0), 2,
         frameOfLiterals(oneStream(2, 2, "05"_bytes.raw + halves + backward({{3, 5}, {0, 5}})))},
    };
}

std::vector<Damaged> damagedStreams() {
    // Literals of one bit each, in one stream or in four.
    const auto one = [](const std::string& stream) { return frameOfLiterals(oneStream(2, 2, kTreeOfAAndB + stream)); };
    const auto fourOf = [](std::size_t count, const std::string& streams) {
        return frameOfLiterals(fourStreams(2, count, kTreeOfAAndB + streams));
    };
    const std::string ab = backward({kA, kB});
    const std::string a = backward({kA});
    return {
        {"a stream that is empty", one(ab), 2, one("")},
        {"a stream that ends in a zero byte", one(ab), 2, one(ab + '\0')},
        {"a stream with a bit left over", one(ab), 2, one(backward({kA, kB, kA}))},
        {"a stream with a byte left over", one(ab), 2, one("x" + ab)},
        {"a stream with a bit missing", one(ab), 2, one(a)},
        {"four streams of fewer than 6 literals", fourOf(6, four(ab, ab, ab, backward({}))), 6,
         fourOf(3, four(a, a, a, backward({}))), 3},
        {"four streams without the sizes", fourOf(8, four(ab, ab, ab, ab)), 8,
         fourOf(8, four(ab, ab, ab, ab).substr(0, 5))},
        {"sizes of streams that are more than there is", fourOf(8, four(ab, ab, ab, ab)), 8,
         fourOf(8, "01 00 01 00 03 00"_bytes.raw + ab + ab + ab + ab)},
        {"sizes of streams that leave nothing for the fourth", fourOf(8, four(ab, ab, ab, ab)), 8,
         fourOf(8, four(ab, ab, ab, ""))},
        {"the first of four streams with a bit left over", fourOf(8, four(ab, ab, ab, ab)), 8,
         fourOf(8, four(backward({kA, kB, kA}), ab, ab, ab))},
        {"the last of four streams with a bit missing", fourOf(8, four(ab, ab, ab, ab)), 8,
         fourOf(8, four(ab, ab, ab, a))},
    };
}

std::vector<Damaged> damagedSequences() {
    // Sequences: 1 literal and a match of 3 at the first repeat offset, which starts as 1.
    const auto with = [](const std::string& section) { return frameOf(rawLiterals("ab"), section); };
    const std::string aaaab = with("01"_bytes.raw + runTables(1, 0, 0) + backward({}));
    const auto then = [&](const std::string& section) {
        return header() + compressedBlock(rawLiterals("ab") + sequences(1, 0, 0, {}), Last::No) +
               compressedBlock(rawLiterals("ab") + section);
    };
    // An offset, then the first repeat offset less 1.
    const auto becomesOneLess = [](std::uint32_t offset) {
        return header() +
               compressedBlock(rawLiterals("abc") + "01 54 03 02 00"_bytes.raw + backward({{offset - 1, 2}}),
                               Last::No) +
               compressedBlock(rawLiterals("") + "01 54 00 01 00"_bytes.raw + backward({{1, 1}}));
    };
    // A window of 1 KiB, and 2 KiB of content before the match.
    const auto beyond = [](std::uint32_t offset) {
        return header("00"_bytes.raw, "00"_bytes.raw) + runBlock('x', 1024, Last::No) + runBlock('y', 1024, Last::No) +
               compressedBlock(rawLiterals("") + "01 54 00 0a 00"_bytes.raw + backward({{offset + 3 - 1024, 10}}));
    };
    return {
        {"a count of two bytes cut short", with("80 00"_bytes.raw), 2, with("80"_bytes.raw)},
        {"a count of three bytes cut short",
         frameOf(rawLiterals(std::string(0x7F00, 'a')), "ff 00 00"_bytes.raw + runTables(1, 0, 0) + backward({})),
         4 * 0x7F00, frameOf(rawLiterals(std::string(0x7F00, 'a')), "ff 00"_bytes.raw), 0x7F00},
        {"bytes behind a count of 0", with("00"_bytes.raw), 2, with("00 00"_bytes.raw)},
        {"bytes behind a count of 0 in two bytes", with("80 00"_bytes.raw), 2, with("80 00 00"_bytes.raw)},
        {"no modes", aaaab, 5, with("01"_bytes.raw)},
        {"a reserved bit of the modes", aaaab, 5, with("01 55 01 00 00 01"_bytes.raw)},
        {"the other reserved bit of the modes", aaaab, 5, with("01 56 01 00 00 01"_bytes.raw)},
        {"the last literal length table where there is none", then("01 d4 00 00 01"_bytes.raw), 10,
         with("01 d4 00 00 01"_bytes.raw), 5},
        {"the last offset table where there is none", then("01 74 01 00 01"_bytes.raw), 10,
         with("01 74 01 00 01"_bytes.raw), 5},
        {"the last match length table where there is none", then("01 5c 01 00 01"_bytes.raw), 10,
         with("01 5c 01 00 01"_bytes.raw), 5},
        {"a run of a literal length code that there is not",
         frameOf(runLiterals('x', 65536), "01 54 23 00 00"_bytes.raw + backward({{0, 16}})), 65539,
         frameOf(runLiterals('x', 65536), "01 54 24 00 00"_bytes.raw + backward({{0, 16}}))},
        {"a run of an offset code that there is not", aaaab, 5, with("01 54 01 20 00"_bytes.raw + backward({{0, 32}}))},
        {"a run of a match length code that there is not", with("01 54 01 00 34"_bytes.raw + backward({{0, 16}})),
         65541, with("01 54 01 00 35"_bytes.raw + backward({{0, 16}}))},
        {"a run without its symbol", aaaab, 5, with("01 54 01 00"_bytes.raw)},
        {"no bits", aaaab, 5, with("01 54 01 00 00"_bytes.raw)},
        {"bits that end in a zero byte", aaaab, 5, with("01 54 01 00 00 00"_bytes.raw)},
        {"a bit left over", aaaab, 5, with("01 54 01 00 00"_bytes.raw + backward({{0, 1}}))},
        {"a byte left over", aaaab, 5, with("01 54 01 00 00"_bytes.raw + backward({{0, 8}}))},
        {"a bit missing", with("01 54 01 02 00"_bytes.raw + backward({{0, 2}})), 5,
         with("01 54 01 02 00"_bytes.raw + backward({{0, 1}}))},
        {"more bits missing than there are bytes before them",
         header() + runBlock('x', 9, Last::No) +
             compressedBlock(rawLiterals("") + "81 2c 54 00 02 00"_bytes.raw +
                             backward(std::vector<Bits>(300, Bits{0, 2}))),
         909,
         header() + runBlock('x', 9, Last::No) +
             compressedBlock(rawLiterals("") + "81 2c 54 00 02 00"_bytes.raw + backward({{0, 2}}))},
        {"bits that end within an offset before long lengths", aaaab, 5,
         with("01"_bytes.raw + kDefaultTables + longSequence({{1, 1}}))},
        {"bits that end behind an offset before long lengths", aaaab, 5,
         with("01"_bytes.raw + kDefaultTables + longSequence({{1000, 17}}))},
        {"more literals in sequences than there are", aaaab, 5, with("01 54 03 00 00"_bytes.raw + backward({})), 6},
        {"an offset to before the content", with("01 54 01 02 00"_bytes.raw + backward({{0, 2}})), 5,
         with("01 54 01 02 00"_bytes.raw + backward({{1, 2}}))},
        {"an offset of 0 by way of the first repeat offset", becomesOneLess(2), 9, becomesOneLess(1)},
        {"the second repeat offset at the start", aaaab, 5, with("01 54 01 01 00"_bytes.raw + backward({{0, 1}}))},
        {"the third repeat offset at the start", aaaab, 5, with("01 54 01 01 00"_bytes.raw + backward({{1, 1}}))},
        {"an offset beyond the window", beyond(1024), 2051, beyond(1025)},
        {"a repeat offset that becomes 0", aaaab, 5, "28 b5 2f fd 00 00 45 00 00 08 00 02 00 2f 43 0b ae"_bytes.raw,
         11},
    };
}

std::vector<Damaged> damagedCompressedBlocks() {
    std::vector<Damaged> all;
    for (const auto& part :
         {damagedLiterals(), damagedTrees(), damagedCodedWeights(), damagedStreams(), damagedSequences()}) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::vector<Damaged> damagedFrames() {
    std::vector<Damaged> all = damagedHeadersAndBlocks();
    const std::vector<Damaged> others = damagedCompressedBlocks();
    all.insert(all.end(), others.begin(), others.end());
    return all;
}

TEST(ZstdDamage, IsRefusedForItsReasonAlone) {
    for (const Damaged& row : damagedFrames()) {
        EXPECT_NE(decoded(row.good, row.size), std::nullopt) << "the frame without: " << row.why;
        EXPECT_EQ(decoded(row.bad, row.claimed.value_or(row.size)), std::nullopt) << row.why;
    }
}

// A decoder that took a part for the whole would give the literals, or what came before the damage.
TEST(ZstdDamage, IsRefusedWhateverSizeIsClaimed) {
    for (const Damaged& row : damagedFrames()) {
        if (row.why.find("the caller's size") != row.why.npos) continue;  // the claim is what is wrong
        for (std::uint64_t claimed = 0; claimed < 64; ++claimed) {
            EXPECT_EQ(decoded(row.bad, claimed), std::nullopt) << row.why << ", " << claimed << " bytes claimed";
        }
    }
}

// The same frame with other blocks around its own: one before them that gives a tree and tables, and one behind them.
std::string amidOthers(const std::string& frame) {
    const std::string before =
        compressedBlock(oneStream(2, 2, kTreeOfAAndB + backward({kA, kB})) + sequences(1, 0, 0, {}), Last::No);
    const std::size_t start = header().size();
    std::string all = frame.substr(0, start) + before + frame.substr(start);
    std::size_t last = start;
    for (auto header = view::number(all, last, 3); header % 2 == 0; header = view::number(all, last, 3)) {
        last += 3 + ((header >> 1 & 3) == 1 ? 1 : header >> 3);
    }
    all[last] = static_cast<char>(all[last] & ~1);
    return all + rawBlock("abc");
}

// A decoder that went on with the tree or the tables of an earlier block, or left out the block that is damaged, would
// give what the others hold.
TEST(ZstdDamage, IsRefusedBetweenBlocksThatAreWhole) {
    for (const Damaged& row : damagedCompressedBlocks()) {
        const auto mentions = [&row](const char* words) { return row.why.find(words) != row.why.npos; };
        if (mentions("where there is none") || mentions("at the start") || mentions("repeat offset") ||
            mentions("to before the content"))
            continue;  // none of which is wrong behind another block
        EXPECT_NE(decoded(amidOthers(row.good), row.size + 8), std::nullopt) << "the frame without: " << row.why;
        for (std::uint64_t claimed = 0; claimed < 64; ++claimed) {
            EXPECT_EQ(decoded(amidOthers(row.bad), claimed), std::nullopt)
                << row.why << ", " << claimed << " bytes claimed";
        }
    }
}

// What a damaged frame may still be: unused bits may have any value, and then the content is what it was.
TEST(ZstdDamage, OfAnyOneBitNeverChangesTheContent) {
    const std::pair<std::string, std::string> kFrames[] = {{kFrameOfNothing, ""},
                                                           {kFrameOfALetter, "a"},
                                                           {kFrameOfAPattern, repeated("abc", 12) + "!"},
                                                           {kFrameOfARun, std::string(1000, 'a')},
                                                           {kFrameOfASentence, kSentence}};
    for (const auto& [frame, content] : kFrames) {
        for (std::size_t bit = 0; bit < 8 * frame.size(); ++bit) {
            std::string bad = frame;
            bad[bit / 8] = static_cast<char>(bad[bit / 8] ^ 1 << (bit % 8));
            for (const Loops loops : {Loops::Fast, Loops::Plain}) {
                const auto got = decoded(bad, content.size(), loops);
                EXPECT_TRUE(!got || *got == content) << "bit " << bit << " of the frame of " << content;
            }
        }
    }
}

TEST(ZstdDamage, AFrameCutShortIsRefused) {
    for (const Damaged& row : damagedFrames()) {
        const std::size_t most = std::min<std::size_t>(row.good.size(), 300);
        for (std::size_t size = 0; size < most; ++size) {
            EXPECT_EQ(decoded(row.good.substr(0, size), row.size), std::nullopt) << size << " bytes of " << row.why;
        }
    }
}

// Whatever the bytes, nothing outside the buffers is touched; a sanitizer looks on.
TEST(ZstdDamage, OfManyBitsIsHarmless) {
    std::mt19937 random(80211);
    int stillDecoded = 0;
    for (const Damaged& row : damagedFrames()) {
        if (row.good.size() > 1000) continue;
        for (int i = 0; i < 200; ++i) {
            std::string bad = row.good;
            for (auto n = 1 + random() % 3; n > 0; --n) {
                const std::size_t bit = random() % (8 * bad.size());
                bad[bit / 8] = static_cast<char>(bad[bit / 8] ^ 1 << (bit % 8));
            }
            const auto fast = decoded(bad, row.size, Loops::Fast);
            EXPECT_EQ(fast, decoded(bad, row.size, Loops::Plain)) << row.why;
            stillDecoded += fast.has_value();
        }
    }
    EXPECT_GT(stillDecoded, 0);
}

}  // namespace
}  // namespace qor::test::zstd
