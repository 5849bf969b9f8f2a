#include "qor/core/codec/huffman.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <queue>
#include <random>
#include <vector>

namespace qor::impl {
namespace {

using Counts = std::vector<std::uint32_t>;
using Lengths = std::vector<unsigned char>;

Lengths lengthsOf(const Counts& counts, int maxBits) {
    Lengths lengths(counts.size(), 99);
    codeLengths(counts, maxBits, lengths);
    return lengths;
}

std::uint64_t cost(const Counts& counts, const Lengths& lengths) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < counts.size(); ++i) sum += std::uint64_t{counts[i]} * lengths[i];
    return sum;
}

bool isComplete(const Lengths& lengths) {
    std::uint64_t sum = 0;
    for (const unsigned length : lengths) sum += length == 0 ? 0 : std::uint64_t{1} << (32 - length);
    return sum == std::uint64_t{1} << 32;
}

// The cost of the best code without a limit: the sum of all nodes that join two others.
std::uint64_t huffmanCost(const Counts& counts) {
    std::priority_queue<std::uint64_t, std::vector<std::uint64_t>, std::greater<>> nodes;
    for (const std::uint32_t count : counts) {
        if (count != 0) nodes.push(count);
    }
    std::uint64_t sum = 0;
    while (nodes.size() > 1) {
        std::uint64_t joined = nodes.top();
        nodes.pop();
        joined += nodes.top();
        nodes.pop();
        sum += joined;
        nodes.push(joined);
    }
    return sum;
}

// The cost of the best code within a limit, by the package-merge algorithm (L. L. Larmore and D. S. Hirschberg, 1990).
std::uint64_t limitedCost(const Counts& counts, int maxBits) {
    std::vector<std::uint64_t> coins;
    for (const std::uint32_t count : counts) {
        if (count != 0) coins.push_back(count);
    }
    std::sort(coins.begin(), coins.end());
    std::vector<std::uint64_t> row = coins;
    for (int i = 1; i < maxBits; ++i) {
        std::vector<std::uint64_t> merged = coins;
        for (std::size_t k = 0; k + 1 < row.size(); k += 2) merged.push_back(row[k] + row[k + 1]);
        std::sort(merged.begin(), merged.end());
        row = merged;
    }
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < 2 * coins.size() - 2; ++i) sum += row[i];
    return sum;
}

// Counts of many shapes, most of them steep.
std::vector<Counts> manyCounts() {
    std::vector<Counts> all;
    std::mt19937 engine(20);
    const auto random = [&] { return static_cast<std::uint32_t>(engine()); };
    for (std::size_t symbols = 2; symbols <= kMaxHuffmanSymbols; symbols += 1 + symbols / 8) {
        for (const std::uint32_t most : {1u, 3u, 100u, 1000u, 0x7FFFFFu}) {
            Counts flat(symbols), steep(symbols);
            for (auto& count : flat) count = 1 + random() % most;
            for (auto& count : steep) count = 1 + (random() % most >> random() % 24);
            all.push_back(flat);
            all.push_back(steep);
        }
    }
    return all;
}

TEST(CodeLengths, RarerSymbolsAreLonger) { EXPECT_EQ(lengthsOf({1, 8, 2, 4}, 15), (Lengths{3, 1, 3, 2})); }

TEST(CodeLengths, SymbolsThatDoNotOccurHaveNone) {
    EXPECT_EQ(lengthsOf({0, 5, 0, 0, 5, 0}, 15), (Lengths{0, 1, 0, 0, 1, 0}));
}

TEST(CodeLengths, NoSymbolAtAllHasNone) {
    EXPECT_EQ(lengthsOf({0, 0, 0}, 15), (Lengths{0, 0, 0}));
    EXPECT_EQ(lengthsOf({}, 15), Lengths());
}

TEST(CodeLengths, ASingleSymbolHasOneBit) { EXPECT_EQ(lengthsOf({0, 0, 7, 0}, 15), (Lengths{0, 0, 1, 0})); }

TEST(CodeLengths, AmongEqualCountsTheFirstSymbolsAreLonger) { EXPECT_EQ(lengthsOf({3, 3, 3}, 15), (Lengths{2, 2, 1})); }

TEST(CodeLengths, AsManySymbolsAsTheLimitAllowsAreAllOfThatLength) {
    Counts counts(128);
    for (std::uint32_t i = 0; i < 128; ++i) counts[i] = 1 + i * i * i;
    EXPECT_EQ(lengthsOf(counts, 7), Lengths(128, 7));
}

TEST(CodeLengths, TheLargestCountIsNoLess) {
    EXPECT_EQ(lengthsOf({kHuffmanCountEnd - 1, kHuffmanCountEnd - 2, 255, 254}, 15), (Lengths{1, 2, 3, 3}));
}

TEST(CodeLengths, FibonacciCountsAreCutAtTheLimit) {
    Counts counts{1, 1};
    while (counts.size() < 30) counts.push_back(counts[counts.size() - 1] + counts[counts.size() - 2]);
    for (const int maxBits : {5, 7, 11, 14, 15}) {
        const Lengths lengths = lengthsOf(counts, maxBits);
        EXPECT_EQ(*std::max_element(lengths.begin(), lengths.end()), maxBits);
        EXPECT_TRUE(isComplete(lengths)) << maxBits;
        EXPECT_TRUE(std::is_sorted(lengths.rbegin(), lengths.rend())) << maxBits;
    }
}

TEST(CodeLengths, WithoutNeedForTheLimitNoCodeIsShorter) {
    for (const Counts& counts : manyCounts()) {
        const Lengths lengths = lengthsOf(counts, 15);
        ASSERT_TRUE(isComplete(lengths)) << counts.size();
        if (*std::max_element(lengths.begin(), lengths.end()) < 15) {
            ASSERT_EQ(cost(counts, lengths), huffmanCost(counts));
        }
    }
}

TEST(CodeLengths, TheLimitCostsLittleMoreThanItMust) {
    for (const Counts& counts : manyCounts()) {
        for (const int maxBits : {11, 14, 15}) {
            const Lengths lengths = lengthsOf(counts, maxBits);
            ASSERT_TRUE(isComplete(lengths));
            ASSERT_LE(*std::max_element(lengths.begin(), lengths.end()), maxBits);
            const double best = static_cast<double>(limitedCost(counts, maxBits));
            ASSERT_LE(static_cast<double>(cost(counts, lengths)), 1.05 * best)
                << counts.size() << " symbols, " << maxBits << " bits";
        }
    }
}

}  // namespace
}  // namespace qor::impl
