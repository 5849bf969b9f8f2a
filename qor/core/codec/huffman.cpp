// Huffman's algorithm (D. A. Huffman, 1952) with two queues (J. van Leeuwen, 1976): once the symbols are sorted by
// count, the nodes that join two others come into being in the order of their counts too, so that the two smallest are
// always found at the fronts of the two queues. Only how many code words there are of each length is taken from the
// tree; they are given out from the rarest symbol to the commonest, which any tree of that shape does.
#include "qor/core/codec/huffman.h"

#include <algorithm>
#include <array>
#include <cassert>

namespace qor::impl {
namespace {

// A symbol with its count, which sort as one number.
constexpr int kSymbolBits = 9;
static_assert(kMaxHuffmanSymbols <= 1 << kSymbolBits && std::uint64_t{kHuffmanCountEnd} << kSymbolBits == 1ull << 32);

using SortedSymbols = std::array<std::uint32_t, kMaxHuffmanSymbols>;

// Puts the symbols that occur in the order of their counts, rarest first, and says how many there are. Small counts,
// which most are, are sorted by counting them; the rest gathers at the end and is sorted by comparing.
std::size_t sortByCount(std::span<const std::uint32_t> counts, SortedSymbols& sorted) {
    constexpr std::uint32_t kLarge = 255;
    std::array<std::uint16_t, kLarge + 2> start{};  // of each count's run, where those that do not occur have none
    for (const std::uint32_t count : counts) ++start[std::min(count, kLarge) + 1];
    start[1] = 0;
    for (std::size_t i = 1; i < start.size(); ++i) start[i] = static_cast<std::uint16_t>(start[i] + start[i - 1]);
    const std::size_t large = start[kLarge];
    for (std::uint32_t symbol = 0; symbol < counts.size(); ++symbol) {
        const std::uint32_t count = counts[symbol];
        if (count != 0) sorted[start[std::min(count, kLarge)]++] = count << kSymbolBits | symbol;
    }
    const std::size_t used = start[kLarge];
    std::sort(sorted.begin() + large, sorted.begin() + used);
    return used;
}

// How many code words have each length, where lengths above the limit count as the limit.
using LengthCounts = std::array<std::uint32_t, 16>;

LengthCounts countLengths(const SortedSymbols& sorted, std::size_t used, std::size_t maxBits) {
    // The nodes that join two others, in the order in which they are made: their counts, and then in the same places
    // the number of the node that they are joined to.
    std::array<std::uint32_t, kMaxHuffmanSymbols> nodes;
    std::size_t leaf = 0;
    std::size_t node = 0;
    for (std::size_t made = 0; made < used - 1; ++made) {
        const auto takeSmallest = [&] {
            const bool isLeaf = leaf < used && (node == made || sorted[leaf] >> kSymbolBits <= nodes[node]);
            if (isLeaf) return sorted[leaf++] >> kSymbolBits;
            const std::uint32_t count = nodes[node];
            nodes[node++] = static_cast<std::uint32_t>(made);
            return count;
        };
        const std::uint32_t smallest = takeSmallest();
        nodes[made] = smallest + takeSmallest();
    }

    // From the root down, each node takes the place of one word and makes two of the next length.
    LengthCounts words{};
    const std::size_t root = used - 2;
    nodes[root] = 0;
    words[1] = 2;
    std::uint32_t excess = 0;  // of the sum of 2^(maxBits - length) over all words, which may be 2^maxBits
    for (std::size_t i = root; i > 0; --i) {
        const std::uint32_t depth = nodes[i - 1] = nodes[nodes[i - 1]] + 1;
        if (depth < maxBits) {
            --words[depth];
            words[depth + 1] += 2;
        } else {
            ++words[maxBits];  // one word more than the node's own place
            ++excess;
        }
    }

    // Over the limit: the longest word that can still grow becomes two, the second of which is one of the longest,
    // moved.
    for (; excess > 0; --excess) {
        std::size_t length = maxBits - 1;
        while (words[length] == 0) --length;
        --words[length];
        words[length + 1] += 2;
        --words[maxBits];
    }
    return words;
}

}  // namespace

void codeLengths(std::span<const std::uint32_t> counts, int maxBits, std::span<unsigned char> lengths) {
    assert(counts.size() <= kMaxHuffmanSymbols && lengths.size() == counts.size() && maxBits < 16);
    std::fill(lengths.begin(), lengths.end(), static_cast<unsigned char>(0));
    SortedSymbols sorted;
    const std::size_t used = sortByCount(counts, sorted);
    const auto symbol = [&](std::size_t i) { return sorted[i] & ((1 << kSymbolBits) - 1); };
    if (used == 0) return;
    if (used == 1) {
        lengths[symbol(0)] = 1;
        return;
    }
    const LengthCounts words = countLengths(sorted, used, static_cast<std::size_t>(maxBits));
    std::size_t next = 0;
    for (std::size_t length = words.size() - 1; length > 0; --length) {
        for (std::uint32_t i = 0; i < words[length]; ++i) lengths[symbol(next++)] = static_cast<unsigned char>(length);
    }
}

}  // namespace qor::impl
