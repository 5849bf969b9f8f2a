// Zstandard, encoding: the block is cut into the smallest parts first, each of which is counted; then neighbours are
// joined as long as that makes them cheaper, those first that gain the most.
#include "qor/core/codec/zstd_split.h"

#include <algorithm>
#include <array>

namespace qor::impl::zstd {
namespace {

constexpr std::uint64_t kByte = 8 * fse::kBit;

// What the description of a code takes for each symbol that occurs, about: weights of a Huffman tree, and FSE tables.
// Neighbours often share their tables, which makes this a guess on the low side.
constexpr std::uint64_t kTreeSymbol = 4 * fse::kBit;
constexpr std::uint64_t kTableSymbol = 5 * fse::kBit;

constexpr std::uint64_t kSectionHeaders = 12 * kByte;

std::uint64_t costOf(fse::Counts counts, std::uint64_t describedSymbol) {
    const auto symbols = std::count_if(counts.begin(), counts.end(), [](std::uint32_t n) { return n != 0; });
    return fse::entropy(counts) + static_cast<std::uint64_t>(symbols) * describedSymbol;
}

}  // namespace

void Splitter::split(const Block& block, const RepeatOffsets& repeatOffsets) {
    cut(block, repeatOffsets);
    join();
}

void Splitter::cut(const Block& block, RepeatOffsets repeatOffsets) {
    count = 0;
    Cut at;
    do {
        const Cut begin = at;
        const auto isLong = [&](std::size_t literals) {
            return literals >= kSmallestBlock && at.content > begin.content;
        };
        while (at.sequences < block.sequences.size() && at.content - begin.content < kSmallestBlock) {
            const Sequence& sequence = block.sequences[at.sequences];
            if (isLong(sequence.literals)) break;
            ++at.sequences;
            at.literals += sequence.literals;
            at.content += std::size_t{sequence.literals} + sequence.length;
        }
        if (at.sequences == block.sequences.size() && !isLong(block.literals.size() - at.literals)) {
            at = {block.content.size(), block.literals.size(), block.sequences.size()};
        }
        parts[count++] = {at, countBlock(block.between(begin, at), repeatOffsets)};
        repeatOffsets = parts[count - 1].counts.repeatOffsets;
    } while (at.content < block.content.size());
}

// What a block takes, about, that begins as part `i` does; but for the extra bits of its sequences, which are as many
// wherever blocks end.
std::uint64_t Splitter::cost(std::size_t i, const BlockCounts& counts, const Cut& end) const {
    const Cut begin = i == 0 ? Cut() : parts[i - 1].end;
    const std::uint64_t raw = (end.content - begin.content) * kByte;
    const std::uint64_t rawLiterals = (end.literals - begin.literals) * kByte;
    std::uint64_t sum = kSectionHeaders + std::min(costOf(counts.literals, kTreeSymbol), rawLiterals);
    if (end.sequences != begin.sequences) {
        sum += costOf(counts.literalLengths, kTableSymbol) + costOf(counts.offsets, kTableSymbol) +
               costOf(counts.matchLengths, kTableSymbol);
    }
    return kBlockHeaderSize * kByte + std::min(sum, raw);
}

void Splitter::join() {
    std::array<std::uint64_t, mostBlocks(kLargestBlock)> alone;   // what each part costs
    std::array<std::uint64_t, mostBlocks(kLargestBlock)> joined;  // what it costs together with the next
    const auto joinedCounts = [&](std::size_t i) {
        BlockCounts counts = parts[i].counts;
        counts.add(parts[i + 1].counts);
        return counts;
    };
    const auto join = [&](std::size_t i) { joined[i] = cost(i, joinedCounts(i), parts[i + 1].end); };
    for (std::size_t i = 0; i < count; ++i) alone[i] = cost(i, parts[i].counts, parts[i].end);
    for (std::size_t i = 0; i + 1 < count; ++i) join(i);

    for (;;) {
        std::size_t best = count;
        std::uint64_t most = 0;
        for (std::size_t i = 0; i + 1 < count; ++i) {
            const std::uint64_t apart = alone[i] + alone[i + 1];
            if (joined[i] > apart || apart - joined[i] < most) continue;
            best = i;
            most = apart - joined[i];
        }
        if (best == count) return;

        parts[best] = {parts[best + 1].end, joinedCounts(best)};
        alone[best] = joined[best];
        --count;
        for (std::size_t i = best + 1; i < count; ++i) {
            parts[i] = parts[i + 1];
            alone[i] = alone[i + 1];
            joined[i] = joined[i + 1];
        }
        if (best > 0) join(best - 1);
        if (best + 1 < count) join(best);
    }
}

}  // namespace qor::impl::zstd
