// FSE, finite state entropy (RFC 8878, 4.1): encoding.
//
// An encoder runs from the last symbol to the first. It holds the state that a decoder is to be in before it moves on
// to the next symbol, and for each symbol picks the one of its rows from which that state can be reached; the way there
// is the bits that it writes. What both directions share is in fse.h.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <span>

#include "qor/core/codec/bits.h"
#include "qor/core/codec/fse.h"

namespace qor::impl::fse {

/// How often each symbol of an alphabet occurs.
using Counts = std::span<const std::uint32_t>;

/// The accuracy that suits `total` symbols, of which `distinct` differ: fine enough to pay, coarse enough that the
/// description stays short, and a row for each.
int suitableAccuracy(std::uint64_t total, int distinct, int largestAccuracy);

/// The distribution of 2^accuracy rows that codes these symbols in the fewest bits. At least two counts are not 0, and
/// there are rows enough for all.
Distribution distributionOf(Counts counts, int accuracy);

/// Writes a distribution's description (4.1.1), at most kMostDescriptionBytes, and returns its end. As each flush of a
/// BitWriter does, it stores up to 8 bytes more.
unsigned char* writeDistribution(const Distribution& distribution, unsigned char* to);
inline constexpr std::size_t kMostDescriptionBytes = 2 + kMaxSymbols * (kMaxAccuracy + 1) / 8;

/// Costs are in parts of a bit, 2^16 to each.
inline constexpr int kBitParts = 16;
inline constexpr std::uint64_t kBit = 1 << kBitParts;
inline constexpr std::uint64_t kImpossible = std::numeric_limits<std::uint64_t>::max();

/// The least that any code of its own can take for symbols that occur so often (C. E. Shannon, 1948).
std::uint64_t entropy(Counts counts);

/// What symbols cost that are coded by this distribution; kImpossible if it has no row for one of them.
std::uint64_t cost(const Distribution& distribution, Counts counts);

/// A distribution made ready to encode with.
class EncodingTable {
 public:
    constexpr EncodingTable() = default;

    /// The table of a distribution; with all rows given to one symbol it codes that symbol in no bits.
    constexpr explicit EncodingTable(const Distribution& distribution) : accuracy(distribution.accuracy) {
        int begin[kMaxSymbols] = {};
        int next = 0;
        for (int symbol = 0; symbol < distribution.symbols; ++symbol) {
            const int share = distribution.shares[symbol];
            const int n = share == -1 ? 1 : share;
            begin[symbol] = next;
            // Row numbers n to 2n - 1 stand at `begin` on. From state s of T to 2T - 1 a row is reached by dropping
            // `most` bits if s >= n << most, else by one bit less.
            const int most = accuracy + 1 - static_cast<int>(std::bit_width(static_cast<unsigned>(n)));
            moves[static_cast<std::size_t>(symbol)] = {(most << 16) - (n << most), static_cast<std::int16_t>(next - n),
                                                       static_cast<std::uint16_t>(next)};
            next += n;
        }
        forEachRow(distribution, [&](int row, int symbol, int, int) {
            states[static_cast<std::size_t>(begin[symbol]++)] = static_cast<std::uint16_t>(row + distribution.rows());
        });
    }

    /// The state to begin with, before the last symbol: the lowest of the symbol's rows, which moves on by the most
    /// bits, and by one at least.
    std::uint32_t start(std::size_t symbol) const { return states[moves[symbol].begin]; }

    /// Writes the bits that lead from one of `symbol`'s rows to `state`, and makes that row the state.
    void encode(std::uint32_t& state, std::size_t symbol, BitWriter& out) const {
        const Move move = moves[symbol];
        const auto n = static_cast<unsigned>(static_cast<int>(state) + move.bits) >> 16;
        out.addLow(state, n);
        state = states[static_cast<unsigned>(static_cast<int>(state >> n) + move.index)];
    }

    /// Writes the state itself, from which a decoder starts.
    void finish(std::uint32_t state, BitWriter& out) const { out.addLow(state, static_cast<unsigned>(accuracy)); }

 private:
    // States are row numbers plus the number of rows, T to 2T - 1, so that their highest bit counts their bits.
    struct Move {
        std::int32_t bits = 0;    // added to a state, gives in its high half how many bits to write
        std::int16_t index = 0;   // added to what is left of the state, gives the index in `states`
        std::uint16_t begin = 0;  // the index of the symbol's first row
    };

    std::array<std::uint16_t, kMaxRows> states = {};  // of all rows, sorted by symbol
    std::array<Move, kMaxSymbols> moves = {};
    int accuracy = 0;
};

}  // namespace qor::impl::fse
