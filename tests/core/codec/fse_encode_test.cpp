// FSE, encoding: distributions chosen, described and read again, their costs, and each step undone by a decoder's.
#include "qor/core/codec/fse_encode.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "qor/core/codec/zstd_tables.h"

namespace qor::test {
namespace {

using impl::BitWriter;
using impl::fse::Distribution;
using impl::fse::EncodingTable;
using impl::fse::kBit;
using impl::fse::kImpossible;

std::vector<std::int16_t> sharesOf(const Distribution& distribution) {
    return {distribution.shares, distribution.shares + distribution.symbols};
}

using CountList = std::vector<std::uint32_t>;
using Shares = std::vector<std::int16_t>;

Shares sharesOf(const CountList& counts, int accuracy) { return sharesOf(impl::fse::distributionOf(counts, accuracy)); }

// Counts of all shapes: few and many symbols, some that do not occur, equal ones and very unequal ones.
CountList someCounts(unsigned seed) {
    std::mt19937 random(seed);
    const auto below = [&](std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); };
    CountList counts(2 + below(impl::fse::kMaxSymbols - 1));
    const std::uint32_t steep = below(20);
    for (auto& count : counts) count = below(3) == 0 ? 0 : 1 + below(1u << below(steep + 1));
    counts.front() += 1;
    counts.back() += 1;
    return counts;
}

int accuracyFor(const CountList& counts, unsigned seed) {
    return std::max<int>(static_cast<int>(std::bit_width(counts.size())), 5 + static_cast<int>(seed % 5));
}

TEST(FseSuitableAccuracy, GrowsWithTheNumberOfSymbolsBetweenItsLimits) {
    EXPECT_EQ(impl::fse::suitableAccuracy(2, 2, 9), 5);
    EXPECT_EQ(impl::fse::suitableAccuracy(255, 2, 9), 5);
    EXPECT_EQ(impl::fse::suitableAccuracy(256, 2, 9), 6);
    EXPECT_EQ(impl::fse::suitableAccuracy(2047, 2, 9), 8);
    EXPECT_EQ(impl::fse::suitableAccuracy(2048, 2, 9), 9);
    EXPECT_EQ(impl::fse::suitableAccuracy(100'000, 2, 9), 9);
    EXPECT_EQ(impl::fse::suitableAccuracy(100'000, 2, 8), 8);
}

TEST(FseSuitableAccuracy, HasARowForEachSymbol) { EXPECT_EQ(impl::fse::suitableAccuracy(53, 53, 9), 6); }

TEST(FseDistribution, GivesRowsInProportion) {
    EXPECT_EQ(sharesOf({16, 8, 4, 4}, 5), (Shares{16, 8, 4, 4}));
    EXPECT_EQ(sharesOf({400, 200, 0, 200}, 6), (Shares{32, 16, 0, 16}));
}

TEST(FseDistribution, GivesEverySymbolThatOccursARow) {
    EXPECT_EQ(sharesOf({1, 1'000'000, 0, 1}, 5), (Shares{1, 30, 0, 1}));
}

TEST(FseDistribution, EndsWithTheLastSymbolThatOccurs) { EXPECT_EQ(sharesOf({1, 1, 0, 0}, 5), (Shares{16, 16})); }

TEST(FseDistribution, AddsUpToItsRows) {
    for (unsigned seed = 1; seed <= 1000; ++seed) {
        const CountList counts = someCounts(seed);
        const Distribution distribution = impl::fse::distributionOf(counts, accuracyFor(counts, seed));
        int sum = 0;
        for (std::size_t i = 0; i < counts.size(); ++i) {
            EXPECT_EQ(counts[i] != 0, distribution.shares[i] > 0) << "seed " << seed << ", symbol " << i;
            sum += distribution.shares[i];
        }
        EXPECT_EQ(sum, distribution.rows()) << "seed " << seed;
    }
}

double bitsOf(const CountList& counts, const std::vector<double>& shares) {
    double bits = 0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] != 0) bits -= counts[i] * std::log2(shares[i]);
    }
    return bits;
}

TEST(FseDistribution, NoRowWouldDoMuchBetterElsewhere) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        const CountList counts = someCounts(seed);
        const Distribution distribution = impl::fse::distributionOf(counts, accuracyFor(counts, seed));
        std::vector<double> shares(distribution.shares, distribution.shares + counts.size());
        const double bits = bitsOf(counts, shares);
        for (std::size_t from = 0; from < shares.size(); ++from) {
            for (std::size_t to = 0; to < shares.size(); ++to) {
                if (from == to || shares[from] < 2 || counts[to] == 0) continue;
                std::vector<double> other = shares;
                --other[from];
                ++other[to];
                EXPECT_GE(bitsOf(counts, other), bits - 0.01 * std::abs(bits)) << "seed " << seed;
            }
        }
    }
}

std::string descriptionOf(const Distribution& distribution) {
    std::string bytes(impl::fse::kMostDescriptionBytes + 8, '\0');
    auto* const begin = reinterpret_cast<unsigned char*>(bytes.data());
    bytes.resize(static_cast<std::size_t>(impl::fse::writeDistribution(distribution, begin) - begin));
    return bytes;
}

::testing::AssertionResult comesBack(const Distribution& distribution) {
    const std::string bytes = descriptionOf(distribution);
    if (bytes.size() > impl::fse::kMostDescriptionBytes) return ::testing::AssertionFailure() << "too long";
    const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
    Distribution read;
    const std::size_t size = impl::fse::readDistribution(exact, 9, impl::fse::kMaxSymbols, read);
    if (size != bytes.size()) return ::testing::AssertionFailure() << size << " of " << bytes.size() << " bytes";
    if (read.accuracy != distribution.accuracy || sharesOf(read) != sharesOf(distribution)) {
        return ::testing::AssertionFailure() << "another distribution";
    }
    return ::testing::AssertionSuccess();
}

TEST(FseDescription, ComesBackAsItWas) {
    for (unsigned seed = 1; seed <= 2000; ++seed) {
        const CountList counts = someCounts(seed);
        EXPECT_TRUE(comesBack(impl::fse::distributionOf(counts, accuracyFor(counts, seed)))) << "seed " << seed;
    }
}

TEST(FseDescription, MayHaveSymbolsOfLessThanOneRow) {
    EXPECT_TRUE(comesBack(impl::zstd::kDefaultLiteralLengths));
    EXPECT_TRUE(comesBack(impl::zstd::kDefaultMatchLengths));
    EXPECT_TRUE(comesBack(impl::zstd::kDefaultOffsets));
}

TEST(FseDescription, CountsSymbolsThatDoNotOccur) {
    for (int gap = 0; gap <= 50; ++gap) {
        CountList counts(static_cast<std::size_t>(gap) + 2);
        counts.front() = counts.back() = 1;
        EXPECT_TRUE(comesBack(impl::fse::distributionOf(counts, 6))) << gap;
    }
}

TEST(FseCost, IsTheLogarithmOfTheShare) {
    Distribution distribution;
    distribution.accuracy = 5;
    distribution.symbols = 4;
    distribution.shares[0] = 16;
    distribution.shares[1] = 8;
    distribution.shares[2] = 7;
    distribution.shares[3] = -1;
    EXPECT_EQ(impl::fse::cost(distribution, CountList{1}), kBit);
    EXPECT_EQ(impl::fse::cost(distribution, CountList{0, 1}), 2 * kBit);
    EXPECT_EQ(impl::fse::cost(distribution, CountList{0, 0, 0, 1}), 5 * kBit);
    EXPECT_EQ(impl::fse::cost(distribution, CountList{10, 5, 0, 2}), (10 + 10 + 10) * kBit);
    EXPECT_NEAR(static_cast<double>(impl::fse::cost(distribution, CountList{0, 0, 1})), kBit * std::log2(32.0 / 7), 2);
}

TEST(FseCost, IsImpossibleForASymbolWithoutARow) {
    Distribution distribution;
    distribution.accuracy = 5;
    distribution.symbols = 3;
    distribution.shares[0] = 16;
    distribution.shares[2] = 16;
    EXPECT_EQ(impl::fse::cost(distribution, CountList{5, 1, 5}), kImpossible);
    EXPECT_EQ(impl::fse::cost(distribution, CountList{5, 0, 5, 1}), kImpossible);
    EXPECT_EQ(impl::fse::cost(distribution, CountList{5, 0, 5, 0}), 10 * kBit);
}

TEST(FseEntropy, IsShannons) {
    EXPECT_EQ(impl::fse::entropy(CountList{}), 0u);
    EXPECT_EQ(impl::fse::entropy(CountList{0, 7}), 0u);
    EXPECT_EQ(impl::fse::entropy(CountList{8, 8, 0, 8, 8}), 64 * kBit);
    for (unsigned seed = 1; seed <= 200; ++seed) {
        const CountList counts = someCounts(seed);
        const double total = std::accumulate(counts.begin(), counts.end(), 0.0);
        double bits = 0;
        for (const std::uint32_t count : counts) bits += count == 0 ? 0 : count * std::log2(total / count);
        const double error = static_cast<double>(impl::fse::entropy(counts)) / kBit - bits;
        EXPECT_LT(std::abs(error), 0.001 + total / 10'000) << "seed " << seed;
    }
}

// From each state that a decoder may be in next, the encoder goes back to a row of the symbol that leads there.
TEST(FseEncodingTable, EachStepIsUndoneByTheDecoders) {
    std::vector<Distribution> all = {impl::zstd::kDefaultLiteralLengths, impl::zstd::kDefaultMatchLengths,
                                     impl::zstd::kDefaultOffsets};
    for (unsigned seed = 1; seed <= 100; ++seed) {
        const CountList counts = someCounts(seed);
        all.push_back(impl::fse::distributionOf(counts, accuracyFor(counts, seed)));
    }
    struct Row {
        int symbol;
        int bits;
        int baseline;
    };
    for (const Distribution& distribution : all) {
        std::vector<Row> rows;
        impl::fse::forEachRow(distribution, [&](int, int symbol, int bits, int baseline) {
            rows.push_back({symbol, bits, baseline});
        });
        const EncodingTable table(distribution);
        const auto size = static_cast<std::uint32_t>(distribution.rows());
        for (int symbol = 0; symbol < distribution.symbols; ++symbol) {
            if (distribution.shares[symbol] == 0) continue;
            const Row& first = rows.at(table.start(static_cast<std::size_t>(symbol)) - size);
            ASSERT_EQ(first.symbol, symbol);
            ASSERT_GE(first.bits, 1);
            for (std::uint32_t next = size; next < 2 * size; ++next) {
                unsigned char bytes[16] = {};
                BitWriter out(bytes);
                std::uint32_t state = next;
                table.encode(state, static_cast<std::size_t>(symbol), out);
                out.alignToByte();
                const Row& row = rows.at(state - size);
                ASSERT_EQ(row.symbol, symbol);
                ASSERT_EQ(static_cast<std::uint32_t>(row.baseline) + impl::load<std::uint16_t>(bytes), next - size);
                ASSERT_LT(impl::load<std::uint16_t>(bytes), 1 << row.bits);
            }
        }
    }
}

TEST(FseEncodingTable, OfOneSymbolWritesNothing) {
    Distribution distribution;
    distribution.symbols = 18;
    distribution.shares[17] = 1;
    const EncodingTable table(distribution);
    unsigned char bytes[16] = {};
    BitWriter out(bytes);
    std::uint32_t state = table.start(17);
    for (int i = 0; i < 100; ++i) table.encode(state, 17, out);
    table.finish(state, out);
    EXPECT_EQ(out.alignToByte(), bytes);
}

}  // namespace
}  // namespace qor::test
