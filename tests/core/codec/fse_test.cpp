// FSE: distributions, and the tables that follow from them.
#include "qor/core/codec/fse.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "core/codec/zstd_builder.h"
#include "qor/core/codec/zstd_tables.h"

namespace qor::test {
namespace {

using impl::fse::Distribution;
using impl::fse::forEachRow;
using impl::fse::readDistribution;
using impl::zstd::kDefaultLiteralLengths;
using impl::zstd::kDefaultMatchLengths;
using impl::zstd::kDefaultOffsets;
using zstd::forward;

struct Row {
    int symbol;
    int bits;
    int baseline;

    friend bool operator==(const Row&, const Row&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Row& row) {
        return out << '(' << row.symbol << ", " << row.bits << ", " << row.baseline << ')';
    }
};

std::vector<Row> rowsOf(const Distribution& distribution) {
    std::vector<Row> rows;
    forEachRow(distribution, [&](int row, int symbol, int bits, int baseline) {
        EXPECT_EQ(row, static_cast<int>(rows.size()));
        rows.push_back({symbol, bits, baseline});
    });
    return rows;
}

std::uint32_t adler32(const std::vector<Row>& rows) {
    std::uint32_t a = 1;
    std::uint32_t b = 0;
    for (const Row& row : rows) {
        for (const int byte : {row.symbol, row.bits, row.baseline}) {
            a = (a + static_cast<std::uint32_t>(byte)) % 65521;
            b = (b + a) % 65521;
        }
    }
    return b << 16 | a;
}

void expectRows(const Distribution& distribution, const std::vector<Row>& first, std::uint32_t checksum) {
    const std::vector<Row> rows = rowsOf(distribution);
    ASSERT_EQ(rows.size(), std::size_t{1} << distribution.accuracy);
    EXPECT_EQ(std::vector<Row>(rows.begin(), rows.begin() + 4), first);
    EXPECT_EQ(adler32(rows), checksum);
}

// RFC 8878, appendix A, has these tables in full; here are their beginnings and a checksum of the rest.
TEST(DefaultTables, LiteralLengths) {
    expectRows(kDefaultLiteralLengths, {{0, 4, 0}, {0, 4, 16}, {1, 5, 32}, {3, 5, 0}}, 0x9B35086A);
}
TEST(DefaultTables, MatchLengths) {
    expectRows(kDefaultMatchLengths, {{0, 6, 0}, {1, 4, 0}, {2, 5, 32}, {3, 5, 0}}, 0xB1D40842);
}
TEST(DefaultTables, Offsets) { expectRows(kDefaultOffsets, {{0, 5, 0}, {6, 4, 0}, {9, 5, 0}, {15, 5, 0}}, 0x69860276); }

TEST(DefaultDistributions, AddUpToTheirRows) {
    for (const Distribution& each : {kDefaultLiteralLengths, kDefaultMatchLengths, kDefaultOffsets}) {
        int sum = 0;
        for (int i = 0; i < each.symbols; ++i) sum += each.shares[i] == -1 ? 1 : each.shares[i];
        EXPECT_EQ(sum, each.rows());
    }
}

TEST(Codes, EachLengthCodeBeginsWhereTheOneBeforeEnds) {
    for (int i = 0; i + 1 < impl::zstd::kLiteralLengthSymbols; ++i) {
        const auto& code = impl::zstd::kLiteralLengthCodes[i];
        EXPECT_EQ(impl::zstd::kLiteralLengthCodes[i + 1].base, code.base + (1u << code.extraBits)) << i;
    }
    for (int i = 0; i + 1 < impl::zstd::kMatchLengthSymbols; ++i) {
        const auto& code = impl::zstd::kMatchLengthCodes[i];
        EXPECT_EQ(impl::zstd::kMatchLengthCodes[i + 1].base, code.base + (1u << code.extraBits)) << i;
    }
    EXPECT_EQ(impl::zstd::kLiteralLengthCodes[0].base, 0u);
    EXPECT_EQ(impl::zstd::kMatchLengthCodes[0].base, 3u);
}

// A distribution at random: some symbols without rows, some of less than one row, the rest cut by chance.
Distribution randomDistribution(std::mt19937& random, int accuracy, int alphabet) {
    Distribution distribution;
    distribution.accuracy = accuracy;
    int left = distribution.rows();
    for (int symbol = 0; symbol < alphabet && left > 0; ++symbol) {
        int share = 0;
        switch (random() % 4) {
            case 0:
                break;
            case 1:
                share = -1;
                break;
            default:
                share = static_cast<int>(1 + random() % static_cast<unsigned>(left));
                break;
        }
        if (symbol == alphabet - 1) share = left;
        distribution.shares[symbol] = static_cast<std::int16_t>(share);
        distribution.symbols = symbol + 1;
        left -= share == -1 ? 1 : share;
    }
    return distribution;
}

// The rule in its own words (RFC 8878, 4.1.1), row by row.
TEST(Spread, WalksOverTheRowsThatAreFree) {
    std::mt19937 random(40521);
    for (int i = 0; i < 500; ++i) {
        const Distribution distribution = randomDistribution(random, 5 + i % 5, 1 + i % 53);
        const auto rows = static_cast<std::size_t>(distribution.rows());
        std::vector<int> expected(rows, -1);
        std::size_t last = rows;
        for (int symbol = 0; symbol < distribution.symbols; ++symbol) {
            if (distribution.shares[symbol] == -1) expected[--last] = symbol;
        }
        std::size_t row = 0;
        for (int symbol = 0; symbol < distribution.symbols; ++symbol) {
            for (int n = 0; n < distribution.shares[symbol]; ++n) {
                expected[row] = symbol;
                do row = (row + rows / 2 + rows / 8 + 3) % rows;
                while (row >= last);
            }
        }
        std::vector<std::uint8_t> got(rows);
        impl::fse::spread(distribution, got.data());
        ASSERT_EQ(std::vector<int>(got.begin(), got.end()), expected) << "table " << i;
    }
}

// Whatever state is to come next, a decoder can be in exactly one row of each symbol that leads there.
TEST(Rows, OfASymbolLeadToEveryStateOnce) {
    std::mt19937 random(20211);
    for (int i = 0; i < 200; ++i) {
        const Distribution distribution = randomDistribution(random, 5 + i % 5, 1 + i % 53);
        std::vector<std::vector<int>> timesReached(53, std::vector<int>(512));
        std::vector<int> rowsOfSymbol(53);
        for (const Row& row : rowsOf(distribution)) {
            ++rowsOfSymbol[static_cast<std::size_t>(row.symbol)];
            for (int next = row.baseline; next < row.baseline + (1 << row.bits); ++next) {
                ++timesReached[static_cast<std::size_t>(row.symbol)][static_cast<std::size_t>(next)];
            }
        }
        for (int symbol = 0; symbol < 53; ++symbol) {
            const int share = symbol < distribution.symbols ? distribution.shares[symbol] : 0;
            const auto index = static_cast<std::size_t>(symbol);
            ASSERT_EQ(rowsOfSymbol[index], share == -1 ? 1 : share) << "table " << i << ", symbol " << symbol;
            for (int state = 0; state < distribution.rows(); ++state) {
                ASSERT_EQ(timesReached[index][static_cast<std::size_t>(state)], share == 0 ? 0 : 1)
                    << "table " << i << ", symbol " << symbol << ", state " << state;
            }
        }
    }
}

// Writes a description as RFC 8878, 4.1.1, tells how to read it.
std::string described(const Distribution& distribution) {
    std::vector<bool> bits;
    const auto put = [&bits](int value, int count) {
        for (int i = 0; i < count; ++i) bits.push_back(value >> i & 1);
    };
    put(distribution.accuracy - 5, 4);
    int remaining = distribution.rows() + 1;
    for (int symbol = 0; remaining > 1;) {
        const int value = distribution.shares[symbol++] + 1;
        int width = 1;
        while (1 << width <= remaining) ++width;
        const int low = (1 << width) - 1 - remaining;
        if (value < low) {
            put(value, width - 1);
        } else {
            put(value < 1 << (width - 1) ? value : value + low, width);
        }
        remaining -= value == 0 ? 1 : value - 1;
        if (value != 1) continue;
        int zeros = 0;
        while (distribution.shares[symbol + zeros] == 0) ++zeros;
        symbol += zeros;
        for (; zeros >= 3; zeros -= 3) put(3, 2);
        put(zeros, 2);
    }
    return zstd::packed(bits);
}

std::size_t read(const std::string& bytes, int largestAccuracy, int alphabet, Distribution& distribution) {
    const std::vector<unsigned char> in(bytes.begin(), bytes.end());
    return readDistribution(in, largestAccuracy, alphabet, distribution);
}

TEST(Descriptions, GiveBackTheDistribution) {
    std::mt19937 random(30521);
    int withTwoSymbols = 0;
    for (int i = 0; i < 2000; ++i) {
        const int accuracy = 5 + i % 5;
        const int alphabet = 1 + i % 53;
        const Distribution written = randomDistribution(random, accuracy, alphabet);
        int used = 0;
        for (int symbol = 0; symbol < written.symbols; ++symbol) used += written.shares[symbol] != 0;
        if (used < 2) continue;
        ++withTwoSymbols;
        const std::string bytes = described(written);
        Distribution got;
        ASSERT_EQ(read(bytes + "what follows", 9, alphabet, got), bytes.size()) << i;
        ASSERT_EQ(got.accuracy, written.accuracy);
        ASSERT_EQ(got.symbols, written.symbols);
        for (int symbol = 0; symbol < got.symbols; ++symbol) ASSERT_EQ(got.shares[symbol], written.shares[symbol]) << i;
        for (std::size_t n = 0; n < bytes.size(); ++n) ASSERT_EQ(read(bytes.substr(0, n), 9, alphabet, got), 0u) << i;
    }
    EXPECT_GT(withTwoSymbols, 1000);
}

// What a number may be depends on the rows left; those that fit into one bit less are written so.
TEST(Descriptions, ASmallNumberTakesOneBitLess) {
    Distribution distribution;
    // Accuracy 5 and so 0 to 33 in 5 or 6 bits: 0 to 29 take 5. 17, then 17 of 0 to 17 in 4 or 5 bits: 0 to 13 take 4.
    ASSERT_EQ(read(forward({{0, 4}, {17, 5}, {17 + 14, 5}}), 5, 2, distribution), 2u);
    EXPECT_EQ(distribution.symbols, 2);
    EXPECT_EQ(distribution.shares[0], 16);
    EXPECT_EQ(distribution.shares[1], 16);
}

TEST(Descriptions, AreRefusedIfDamaged) {
    // The shares 16 and 16 of accuracy 5, and what may be wrong with them.
    const std::string good = forward({{0, 4}, {17, 5}, {31, 5}});
    Distribution distribution;
    EXPECT_EQ(read(good, 5, 2, distribution), 2u);
    EXPECT_EQ(read(good, 5, 1, distribution), 0u) << "a share for a symbol that there is not";
    EXPECT_EQ(read(good.substr(0, 1), 5, 2, distribution), 0u) << "cut short";
    EXPECT_EQ(read("", 5, 2, distribution), 0u) << "empty";
    EXPECT_EQ(read(forward({{1, 4}, {33, 6}, {33 + 30, 6}}), 6, 2, distribution), 2u);
    EXPECT_EQ(read(forward({{1, 4}, {33, 6}, {33 + 30, 6}}), 5, 2, distribution), 0u) << "more accurate than allowed";
    EXPECT_EQ(read(forward({{0, 4}, {33 + 30, 6}}), 5, 2, distribution), 0u) << "all rows for one symbol";
    EXPECT_EQ(read(forward({{0, 4}, {17, 5}, {1, 4}, {3, 2}, {0, 2}, {31, 5}}), 5, 6, distribution), 3u);
    EXPECT_EQ(read(forward({{0, 4}, {17, 5}, {1, 4}, {3, 2}, {0, 2}, {31, 5}}), 5, 5, distribution), 0u)
        << "the share of a symbol that there is not, behind some without rows";
    EXPECT_EQ(read(forward({{0, 4}, {17, 5}, {1, 4}, {3, 2}, {3, 2}, {3, 2}}), 5, 6, distribution), 0u)
        << "more symbols without rows than there are symbols";
    EXPECT_EQ(read(forward({{0, 4}, {17, 5}, {1, 4}, {7, 3}}) + std::string(50, '\xFF'), 9, 53, distribution), 0u)
        << "more symbols without rows than any alphabet has";
}

}  // namespace
}  // namespace qor::test
