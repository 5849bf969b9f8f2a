// Zstandard's sequences: decoding.
//
// A section is a count, three tables, and a backward bit stream. The stream holds the start states of the three tables
// and then, for each sequence, the extra bits of its offset, match length and literal length and the bits that move the
// states on: literal length, match length, offset.
#include "qor/core/codec/zstd_sequences.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <span>

#include "qor/core/codec/backward_bits.h"
#include "qor/core/codec/bmi2.h"

namespace qor::impl::zstd {
namespace {

// An offset code above 1 always stands for an offset, so its base is less here by the values that choose repeat
// offsets.
consteval auto offsetOrChoiceCodes() {
    std::array<Code, kOffsetSymbols> codes;
    for (int i = 0; i < kOffsetSymbols; ++i) {
        const auto [base, extraBits] = offsetCode(i);
        codes[static_cast<std::size_t>(i)] = {i > 1 ? base - kRepeatOffsets : base, extraBits};
    }
    return codes;
}
constexpr auto kOffsetOrChoiceCodes = offsetOrChoiceCodes();

using Codes = std::span<const Code>;

constexpr void fillRows(const fse::Distribution& distribution, Codes codes, SequenceRow* rows) {
    fse::forEachRow(distribution, [=](int row, int symbol, int bits, int baseline) {
        const Code code = codes[static_cast<std::size_t>(symbol)];
        rows[row] = {static_cast<std::uint16_t>(baseline), static_cast<std::uint8_t>(bits), code.extraBits, code.base};
    });
}

template <int accuracy>
consteval std::array<SequenceRow, 1 << accuracy> rowsOf(const fse::Distribution& distribution, Codes codes) {
    std::array<SequenceRow, 1 << accuracy> rows = {};
    fillRows(distribution, codes, rows.data());
    return rows;
}

constexpr auto kDefaultLiteralLengthRows =
    rowsOf<kDefaultLiteralLengths.accuracy>(kDefaultLiteralLengths, kLiteralLengthCodes);
constexpr auto kDefaultOffsetRows = rowsOf<kDefaultOffsets.accuracy>(kDefaultOffsets, kOffsetOrChoiceCodes);
constexpr auto kDefaultMatchLengthRows = rowsOf<kDefaultMatchLengths.accuracy>(kDefaultMatchLengths, kMatchLengthCodes);

// Reads what `mode` says of a table from the start of `in`, and moves `in` on.
template <int largestAccuracy, std::size_t defaultSize>
bool readTable(TableMode mode, Bytes& in, const std::array<SequenceRow, defaultSize>& byDefault, Codes codes,
               DecodingTable<largestAccuracy>& table) {
    switch (mode) {
        case TableMode::Default:
            std::copy(byDefault.begin(), byDefault.end(), table.rows);
            table.accuracy = std::countr_zero(defaultSize);
            break;
        case TableMode::Run: {
            if (in.empty() || in[0] >= codes.size()) return false;
            const Code code = codes[in[0]];
            table.rows[0] = {0, 0, code.extraBits, code.base};
            table.accuracy = 0;
            in = in.subspan(1);
            break;
        }
        case TableMode::Described: {
            fse::Distribution distribution;
            const std::size_t size =
                fse::readDistribution(in, largestAccuracy, static_cast<int>(codes.size()), distribution);
            if (size == 0) return false;
            fillRows(distribution, codes, table.rows);
            table.accuracy = distribution.accuracy;
            in = in.subspan(size);
            break;
        }
        case TableMode::Repeat:
            return table.isGiven;
    }
    table.isGiven = true;
    return true;
}

// 3.1.1.3.2.1, "Number_of_Sequences". Moves `in` on.
bool readCount(Bytes& in, std::size_t& count) {
    if (in.empty()) return false;
    const std::size_t size = in[0] < 128 ? 1 : in[0] < 255 ? 2 : 3;
    if (in.size() < size) return false;
    if (size == 1) {
        count = in[0];
    } else if (size == 2) {
        count = (in[0] - std::size_t{128}) * 256 + in[1];
    } else {
        count = in[1] + std::size_t{in[2]} * 256 + 0x7F00;
    }
    in = in.subspan(size);
    return true;
}

// A sequence that is known to fit: literals to `to`, and behind them the match that begins `offset` before itself.

inline void copyExactly(unsigned char* to, const unsigned char* literals, std::size_t literalLength, std::size_t offset,
                        std::size_t matchLength) {
    if (literalLength > 0) std::memcpy(to, literals, literalLength);
    repeat(to + literalLength, offset, matchLength);
}

// With kWildSlack more bytes to write and to read. Most literals are 16 at most and most matches 32, so that much is
// copied before either length is looked at; a copy too many costs less than a branch that cannot be foretold.
inline void copyWildly(unsigned char* to, const unsigned char* literals, std::size_t literalLength, std::size_t offset,
                       std::size_t matchLength) {
    copy16(to, literals);
    if (literalLength > 16) copyWild(to + 16, literals + 16, literalLength - 16);
    to += literalLength;
    if (offset >= 32) [[likely]] {
        copy16(to, to - offset);
        copy16(to + 16, to + 16 - offset);
        if (matchLength > 32) copyWild(to + 32, to + 32 - offset, matchLength - 32);
    } else {
        repeatWild(to, offset, matchLength);
    }
}

// The literals behind the last sequence.
bool appendLiterals(const Literals& literals, Output& output) {
    const std::size_t n = literals.left();
    if (n > static_cast<std::size_t>(output.result.end() - output.at)) return false;
    if (n > 0) std::memcpy(output.at, literals.at, n);
    output.at += n;
    return true;
}

}  // namespace

bool SequenceDecoder::execute(Bytes section, Literals literals, Output& output, Loops loops) {
    std::size_t count;
    if (!readCount(section, count)) return false;
    if (count == 0) return section.empty() && appendLiterals(literals, output);
    if (!readTables(section)) return false;
    const bool isExecuted = loops == Loops::Fast && hasBmi2() ? executeAllWithBmi2(count, section, literals, output)
                                                              : executeAll(count, section, literals, output, loops);
    return isExecuted && appendLiterals(literals, output);
}

// 3.1.1.3.2.1, "Symbol_Compression_Modes", and the tables.
bool SequenceDecoder::readTables(Bytes& in) {
    if (in.empty()) return false;
    const unsigned modes = in[0];
    if (modes % 4 != 0) return false;  // reserved
    in = in.subspan(1);
    const auto mode = [modes](int shift) { return static_cast<TableMode>(modes >> shift & 3); };
    return readTable(mode(6), in, kDefaultLiteralLengthRows, kLiteralLengthCodes, literalLengths) &&
           readTable(mode(4), in, kDefaultOffsetRows, kOffsetOrChoiceCodes, offsets) &&
           readTable(mode(2), in, kDefaultMatchLengthRows, kMatchLengthCodes, matchLengths);
}

QOR_FOR_BMI2 bool SequenceDecoder::executeAllWithBmi2(std::size_t count, Bytes stream, Literals& literals,
                                                      Output& output) {
    return executeAll(count, stream, literals, output, Loops::Fast);
}

// Decodes each sequence and executes it at once; a processor overlaps the copying with decoding the next. Both loops
// are this one: a sequence is copied wildly where there is room, and exactly near the end of the result.
inline bool SequenceDecoder::executeAll(std::size_t count, Bytes stream, Literals& literals, Output& output,
                                        Loops loops) {
    // The moves of the three states take 26 bits at most. So one refill does for a sequence with up to this many extra
    // bits, and nearly all have fewer.
    constexpr unsigned kFewExtraBits =
        BackwardBits::kRefilled - kLiteralLengthAccuracy - kMatchLengthAccuracy - kOffsetAccuracy;

    BackwardBits bits;
    if (!bits.open(stream)) return false;
    std::uint64_t literalLengthState = bits.take(static_cast<unsigned>(literalLengths.accuracy));
    std::uint64_t offsetState = bits.take(static_cast<unsigned>(offsets.accuracy));
    std::uint64_t matchLengthState = bits.take(static_cast<unsigned>(matchLengths.accuracy));
    RepeatOffsets repeats = repeatOffsets;

    // Positions in the literals and in the output, which is compared with its window, are numbers: a sum of one of them
    // and of lengths that no one has looked at yet does not overflow.
    const std::size_t literalCount = literals.left();
    std::size_t literalsUsed = 0;
    unsigned char* const begin = output.result.begin();
    auto produced = static_cast<std::size_t>(output.at - begin);
    const auto room = static_cast<std::size_t>(output.result.end() - begin);
    const std::size_t wildRoom = loops == Loops::Fast && room >= kWildSlack ? room - kWildSlack : 0;
    const unsigned char* const from = literals.at;
    const std::uint64_t window = output.window;

    do {
        if (!bits.refill()) return false;
        const SequenceRow& l = literalLengths[literalLengthState];
        const SequenceRow& o = offsets[offsetState];
        const SequenceRow& m = matchLengths[matchLengthState];

        std::uint32_t offset = o.base + static_cast<std::uint32_t>(bits.take(o.extraBits));
        if (o.extraBits > 1) {
            repeats.add(offset);
        } else {
            // Without literals before it, the value of a repeat offset means the next one.
            offset = repeats.choose(offset + (l.base == 0 ? 1 : 0));
            if (offset == 0) return false;
        }

        // Most lengths are short and have no extra bits, which is worth a branch.
        std::size_t matchLength = m.base;
        std::size_t literalLength = l.base;
        const unsigned lengthBits = l.extraBits + m.extraBits;
        if (o.extraBits + lengthBits > kFewExtraBits) {
            if (!bits.refill()) return false;
            matchLength += bits.take(m.extraBits);
            literalLength += bits.take(l.extraBits);
            if (!bits.refill()) return false;
        } else if (lengthBits > 0) {
            matchLength += bits.take(m.extraBits);
            literalLength += bits.take(l.extraBits);
        }

        // The states move on before anything is copied, so that the rows need not be kept while it is.
        if (--count > 0) {
            literalLengthState = l.nextBaseline + bits.take(l.nextBits);
            matchLengthState = m.nextBaseline + bits.take(m.nextBits);
            offsetState = o.nextBaseline + bits.take(o.nextBits);
        }

        const std::size_t match = produced + literalLength;
        const std::size_t after = match + matchLength;
        if (offset > window || literalsUsed + literalLength > literalCount) return false;
        if (offset > match) [[unlikely]] {
            if (after > room) return false;
            if (literalLength > 0) std::memcpy(begin + produced, from + literalsUsed, literalLength);
            if (!output.result.repeatFar(begin + match, offset, matchLength)) return false;
        } else if (after <= wildRoom) [[likely]] {
            copyWildly(begin + produced, from + literalsUsed, literalLength, offset, matchLength);
        } else {
            if (after > room) return false;
            copyExactly(begin + produced, from + literalsUsed, literalLength, offset, matchLength);
        }
        literalsUsed += literalLength;
        produced = after;
    } while (count > 0);

    repeatOffsets = repeats;
    literals.at += literalsUsed;
    output.at = begin + produced;
    return bits.isAtStart();
}

}  // namespace qor::impl::zstd
