// FSE: choosing distributions, and writing their descriptions.
#include "qor/core/codec/fse_encode.h"

#include <algorithm>
#include <cassert>

namespace qor::impl::fse {
namespace {

// log2(n) in parts of a bit, rounded down: squaring a number doubles its logarithm, and what overflows two is the next
// bit.
consteval std::uint32_t exactLog2(std::uint32_t n) {
    std::uint32_t result = static_cast<std::uint32_t>(std::bit_width(n)) - 1;
    std::uint64_t rest = (std::uint64_t{n} << 31) >> result;  // from 1 to 2, with 31 bits behind the point
    for (int bit = 0; bit < kBitParts; ++bit) {
        rest = (rest * rest) >> 31;
        result *= 2;
        if (rest >> 32) {
            rest >>= 1;
            result += 1;
        }
    }
    return result;
}

consteval auto exactLog2s() {
    std::array<std::uint32_t, kMaxRows + 1> table{};
    for (std::uint32_t n = 1; n < table.size(); ++n) table[n] = exactLog2(n);
    return table;
}
constexpr auto kLog2 = exactLog2s();

// log2(n) in parts of a bit, and 0 for 0: between the numbers of the table that lie around its highest bits.
std::uint64_t log2Of(std::uint32_t n) {
    if (n <= kMaxRows) return kLog2[n];
    const int more = static_cast<int>(std::bit_width(n)) - kMaxAccuracy;
    const std::uint32_t low = kLog2[n >> more];
    const std::uint64_t step = kLog2[(n >> more) + 1] - low;
    const std::uint64_t rest = n & ((1u << more) - 1);
    return low + static_cast<std::uint64_t>(more) * kBit + ((step * rest) >> more);
}

}  // namespace

int suitableAccuracy(std::uint64_t total, int distinct, int largestAccuracy) {
    const int fine = static_cast<int>(std::bit_width(total)) - 3;
    const int enough = static_cast<int>(std::bit_width(static_cast<unsigned>(distinct)));
    return std::min(std::max({fine, enough, kMinAccuracy}), largestAccuracy);
}

Distribution distributionOf(Counts counts, int accuracy) {
    Distribution distribution;
    distribution.accuracy = accuracy;
    distribution.symbols = static_cast<int>(counts.size());
    std::uint64_t total = 0;
    for (const std::uint32_t count : counts) total += count;
    assert(total > 0);

    // The nearest whole share of rows, but one at least for a symbol that occurs.
    int left = distribution.rows();
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] == 0) continue;
        const std::uint64_t nearest = ((std::uint64_t{counts[i]} << (accuracy + 1)) + total) / (2 * total);
        distribution.shares[i] = static_cast<std::int16_t>(std::max<std::uint64_t>(nearest, 1));
        left -= distribution.shares[i];
    }
    // Rows that are left over, or too many, go where they make the most, or least, difference: a row more for n changes
    // a symbol's cost by log2((n + 1) / n), about 1 / (n + 1/2), each time that it occurs. (Elections know this as the
    // method of Sainte-Lague.)
    const int step = left > 0 ? 1 : -1;
    const auto halves = [&](std::size_t of) { return 2 * std::int64_t{distribution.shares[of]} + step; };
    for (; left != 0; left -= step) {
        std::size_t chosen = counts.size();
        for (std::size_t i = 0; i < counts.size(); ++i) {
            if (counts[i] == 0 || (step < 0 && distribution.shares[i] == 1)) continue;
            if (chosen == counts.size()) {
                chosen = i;
                continue;
            }
            const std::int64_t mine = counts[i] * halves(chosen);
            const std::int64_t best = counts[chosen] * halves(i);
            if (step > 0 ? mine > best : mine < best) chosen = i;
        }
        distribution.shares[chosen] = static_cast<std::int16_t>(distribution.shares[chosen] + step);
    }
    while (distribution.shares[distribution.symbols - 1] == 0) --distribution.symbols;
    return distribution;
}

unsigned char* writeDistribution(const Distribution& distribution, unsigned char* to) {
    BitWriter out(to);
    out.add(static_cast<unsigned>(distribution.accuracy - kMinAccuracy), 4);
    int left = distribution.rows();
    for (int symbol = 0; left > 0;) {
        // The share plus 1, in as few bits as the rows that are left allow: of the numbers that fit into one bit less,
        // as many as would otherwise be left over are written in one bit less.
        const int share = distribution.shares[symbol++];
        const auto value = static_cast<unsigned>(share + 1);
        const auto largest = static_cast<unsigned>(left + 1);
        const auto width = static_cast<unsigned>(std::bit_width(largest));
        const unsigned shorter = (1u << width) - 1 - largest;
        const unsigned half = 1u << (width - 1);
        if (value < shorter) {
            out.add(value, width - 1);
        } else {
            out.add(value < half ? value : value + shorter, width);
        }
        left -= share == -1 ? 1 : share;
        if (share == 0) {
            // How many symbols without rows come next, in steps of 3.
            int more = 0;
            while (distribution.shares[symbol + more] == 0) ++more;
            symbol += more;
            for (; more >= 3; more -= 3) out.add(3, 2);
            out.add(static_cast<unsigned>(more), 2);
        }
        out.flush();
    }
    return out.alignToByte();
}

std::uint64_t entropy(Counts counts) {
    std::uint64_t total = 0;
    std::uint64_t known = 0;
    for (const std::uint32_t count : counts) {
        total += count;
        known += count * log2Of(count);
    }
    return total == 0 ? 0 : total * log2Of(static_cast<std::uint32_t>(total)) - known;
}

std::uint64_t cost(const Distribution& distribution, Counts counts) {
    std::uint64_t sum = 0;
    const auto whole = static_cast<std::uint32_t>(distribution.accuracy) * static_cast<std::uint32_t>(kBit);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] == 0) continue;
        const int share = i < static_cast<std::size_t>(distribution.symbols) ? distribution.shares[i] : 0;
        if (share == 0) return kImpossible;
        sum += std::uint64_t{counts[i]} * (whole - kLog2[static_cast<std::size_t>(share == -1 ? 1 : share)]);
    }
    return sum;
}

}  // namespace qor::impl::fse
