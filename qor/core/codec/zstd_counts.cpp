// Zstandard, encoding: the codes of literals and sequences, and how often each occurs.
#include <algorithm>
#include <bit>

#include "qor/core/codec/zstd_sections.h"

namespace qor::impl::zstd {
namespace {

// Lengths have codes of their own at first; from some length on, one for each power of two.
constexpr std::uint32_t kLiteralCodesInTable = 64;
constexpr std::uint32_t kMatchCodesInTable = 128;

// The codes of the first `size` lengths from `base` on.
template <std::size_t size>
consteval auto codesOf(std::span<const Code> codes, std::uint32_t base) {
    std::array<unsigned char, size> table{};
    std::size_t code = 0;
    for (std::size_t i = 0; i < size; ++i) {
        while (code + 1 < codes.size() && codes[code + 1].base <= base + i) ++code;
        table[i] = static_cast<unsigned char>(code);
    }
    return table;
}
constexpr auto kLiteralCodeOf = codesOf<kLiteralCodesInTable>(kLiteralLengthCodes, 0);
constexpr auto kMatchCodeOf = codesOf<kMatchCodesInTable>(kMatchLengthCodes, kMinMatch);

unsigned log2Of(std::uint32_t n) { return static_cast<unsigned>(std::bit_width(n)) - 1; }

unsigned char literalLengthCode(std::uint32_t length) {
    return length < kLiteralCodesInTable ? kLiteralCodeOf[length] : static_cast<unsigned char>(log2Of(length) + 19);
}

unsigned char matchLengthCode(std::uint32_t length) {
    const std::uint32_t more = length - kMinMatch;
    return more < kMatchCodesInTable ? kMatchCodeOf[more] : static_cast<unsigned char>(log2Of(more) + 36);
}

// The value that stands for `offset` after `literals` literals (3.1.1.5), and what becomes of the repeat offsets. A
// match with the last one's offset that follows without literals would have been part of it; so in that place 1 means
// the second offset, 2 the third, and 3 the first less 1.
std::uint32_t offsetValue(std::uint32_t offset, std::uint32_t literals, RepeatOffsets& repeat) {
    const auto [first, second, third] = repeat;
    if (literals != 0 && offset == first) return 1;
    if (offset == second) {
        repeat = {offset, first, third};
        return literals != 0 ? 2 : 1;
    }
    const bool isThird = offset == third;
    const bool isFirstLessOne = literals == 0 && offset + 1 == first;
    repeat = {offset, first, second};
    if (isThird) return literals != 0 ? 3 : 2;
    return isFirstLessOne ? 3 : offset + kRepeatOffsets;
}

// How often each byte occurs. Equal bytes come in runs, so neighbours are counted apart: to raise a number just after
// it was raised means to wait for it.
void countLiterals(Bytes literals, std::array<std::uint32_t, kLiteralSymbols>& counts) {
    constexpr std::size_t kMany = 1024;
    std::size_t i = 0;
    if (literals.size() >= kMany) {
        std::array<std::uint32_t, kLiteralSymbols> others[3] = {};
        for (; i + 4 <= literals.size(); i += 4) {
            const auto word = load<std::uint32_t>(literals.data() + i);
            ++counts[word & 255];
            ++others[0][word >> 8 & 255];
            ++others[1][word >> 16 & 255];
            ++others[2][word >> 24];
        }
        for (std::size_t s = 0; s < counts.size(); ++s) counts[s] += others[0][s] + others[1][s] + others[2][s];
    }
    for (; i < literals.size(); ++i) ++counts[literals[i]];
}

template <std::size_t size>
void addTo(std::array<std::uint32_t, size>& sum, const std::array<std::uint32_t, size>& more) {
    for (std::size_t i = 0; i < size; ++i) sum[i] += more[i];
}

}  // namespace

void BlockCounts::add(const BlockCounts& next) {
    addTo(literals, next.literals);
    addTo(literalLengths, next.literalLengths);
    addTo(offsets, next.offsets);
    addTo(matchLengths, next.matchLengths);
    repeatOffsets = next.repeatOffsets;
}

BlockCounts countBlock(const Block& block, const RepeatOffsets& repeatOffsets) {
    BlockCounts counts;
    countLiterals(block.literals, counts.literals);
    RepeatOffsets repeat = repeatOffsets;
    for (std::size_t i = 0; i < block.sequences.size(); ++i) {
        const Sequence& sequence = block.sequences[i];
        const std::uint32_t value = offsetValue(sequence.offset, sequence.literals, repeat);
        const SequenceCodes codes = {value, literalLengthCode(sequence.literals),
                                     static_cast<unsigned char>(log2Of(value)), matchLengthCode(sequence.length)};
        block.codes[i] = codes;
        ++counts.literalLengths[codes.literals];
        ++counts.offsets[codes.offset];
        ++counts.matchLengths[codes.length];
    }
    counts.repeatOffsets = repeat;
    return counts;
}

}  // namespace qor::impl::zstd
