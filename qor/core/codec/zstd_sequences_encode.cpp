// Zstandard: encoding the sequences section (RFC 8878, 3.1.1.3.2).
#include <algorithm>
#include <bit>

#include "qor/core/codec/bits.h"
#include "qor/core/codec/zstd_sections.h"

namespace qor::impl::zstd {
namespace {

// What the three codes differ in.
struct Kind {
    SequenceTable byDefault;
    int largestAccuracy;
};

constexpr SequenceTable ready(const fse::Distribution& distribution) {
    return {distribution, fse::EncodingTable(distribution)};
}

constexpr Kind kLiteralLengths = {ready(kDefaultLiteralLengths), kLiteralLengthAccuracy};
constexpr Kind kOffsets = {ready(kDefaultOffsets), kOffsetAccuracy};
constexpr Kind kMatchLengths = {ready(kDefaultMatchLengths), kMatchLengthAccuracy};

// What is written before the limit is looked at: the number of sequences, the modes, three descriptions, one sequence,
// and what a flush stores beyond its end.
static_assert(3 + 1 + 3 * fse::kMostDescriptionBytes + 10 + 8 <= kSequencesSlack);

// 0 to 127 in one byte, to 0x7EFF in two, then in three.
unsigned char* writeCount(std::size_t n, unsigned char* to) {
    if (n < 128) {
        *to++ = static_cast<unsigned char>(n);
    } else if (n < 0x7F00) {
        *to++ = static_cast<unsigned char>(128 + (n >> 8));
        *to++ = static_cast<unsigned char>(n);
    } else {
        *to++ = 255;
        store(to, static_cast<std::uint16_t>(n - 0x7F00));
        to += 2;
    }
    return to;
}

// Gives a table in the cheapest of the four ways: as it is by default, as it was in the last block, as a run of one
// symbol, or by a description. `table` becomes that one; what has to be written is written.
TableMode giveTable(const Kind& kind, fse::Counts counts, std::size_t total, bool mayRepeat, SequenceTable& table,
                    unsigned char*& to) {
    while (counts.back() == 0) counts = counts.first(counts.size() - 1);
    const auto distinct = std::count_if(counts.begin(), counts.end(), [](std::uint32_t n) { return n != 0; });
    const bool isRun = distinct == 1;
    fse::Distribution own;
    unsigned char* ownEnd = to + 1;
    if (isRun) {
        own.symbols = static_cast<int>(counts.size());
        own.shares[counts.size() - 1] = 1;
        *to = static_cast<unsigned char>(counts.size() - 1);
    } else {
        own =
            fse::distributionOf(counts, fse::suitableAccuracy(total, static_cast<int>(distinct), kind.largestAccuracy));
        ownEnd = fse::writeDistribution(own, to);
    }

    const std::uint64_t ownCost = fse::cost(own, counts) + static_cast<std::uint64_t>(ownEnd - to) * 8 * fse::kBit;
    const std::uint64_t defaultCost = fse::cost(kind.byDefault.distribution, counts);
    const std::uint64_t repeatCost = mayRepeat ? fse::cost(table.distribution, counts) : fse::kImpossible;
    if (ownCost < std::min(defaultCost, repeatCost)) {
        table = ready(own);
        to = ownEnd;
        return isRun ? TableMode::Run : TableMode::Described;
    }
    if (repeatCost <= defaultCost) return TableMode::Repeat;
    table = kind.byDefault;
    return TableMode::Default;
}

}  // namespace

unsigned char* encodeSequences(const Block& block, const BlockCounts& counts, SequenceTables& tables, unsigned char* to,
                               const unsigned char* limit) {
    const std::span<const Sequence> sequences = block.sequences;
    const std::span<const SequenceCodes> codes = block.codes;
    to = writeCount(sequences.size(), to);
    if (sequences.empty()) return to;

    unsigned char* const modes = to++;
    const auto give = [&](const Kind& kind, fse::Counts kindCounts, SequenceTable& table) {
        return static_cast<unsigned>(giveTable(kind, kindCounts, sequences.size(), tables.areGiven, table, to));
    };
    const unsigned literalMode = give(kLiteralLengths, counts.literalLengths, tables.literalLengths);
    const unsigned offsetMode = give(kOffsets, counts.offsets, tables.offsets);
    const unsigned matchMode = give(kMatchLengths, counts.matchLengths, tables.matchLengths);
    *modes = static_cast<unsigned char>(literalMode << 6 | offsetMode << 4 | matchMode << 2);
    tables.areGiven = true;

    const fse::EncodingTable& literalTable = tables.literalLengths.table;
    const fse::EncodingTable& offsetTable = tables.offsets.table;
    const fse::EncodingTable& matchTable = tables.matchLengths.table;
    BitWriter out(to);
    // The three states write 26 bits at most, and more than 30 extra bits, which do not fit beside them, are rare.
    // There are never too many of these alone: 16 for each length would be more than a block holds.
    const auto addExtraBits = [&](std::size_t i) {
        const unsigned literalBits = kLiteralLengthCodes[codes[i].literals].extraBits;
        const unsigned matchBits = kMatchLengthCodes[codes[i].length].extraBits;
        const unsigned offsetBits = codes[i].offset;
        if (literalBits + matchBits + offsetBits > BitWriter::kMostBits - 26) out.flush();
        out.addLow(sequences[i].literals, literalBits);
        out.addLow(sequences[i].length - kMinMatch, matchBits);
        out.addLow(codes[i].offsetValue, offsetBits);
        out.flush();
    };
    std::size_t i = sequences.size() - 1;
    std::uint32_t literalState = literalTable.start(codes[i].literals);
    std::uint32_t offsetState = offsetTable.start(codes[i].offset);
    std::uint32_t matchState = matchTable.start(codes[i].length);
    addExtraBits(i);
    while (i > 0) {
        --i;
        if (out.at > limit) return nullptr;
        offsetTable.encode(offsetState, codes[i].offset, out);
        matchTable.encode(matchState, codes[i].length, out);
        literalTable.encode(literalState, codes[i].literals, out);
        addExtraBits(i);
    }
    matchTable.finish(matchState, out);
    offsetTable.finish(offsetState, out);
    literalTable.finish(literalState, out);
    unsigned char* const end = out.close();
    return end > limit ? nullptr : end;
}

}  // namespace qor::impl::zstd
