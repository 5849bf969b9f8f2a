// FSE, finite state entropy (RFC 8878, 4.1): what both directions share.
//
// A distribution gives each symbol a share of a table's rows; a state is a row number. A decoder in a row reads the
// row's symbol, and moves on to the row `baseline` plus the next `bits` bits. Which symbol stands in which row follows
// from the distribution alone, by `spread`, and the moves follow from that, by `forEachRow`.
//
// Encoders are in fse_encode.h.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "qor/core/codec/bytes.h"

namespace qor::impl::fse {

inline constexpr int kMinAccuracy = 5;
inline constexpr int kMaxAccuracy = 9;  // the largest that any table of the format may have
inline constexpr int kMaxRows = 1 << kMaxAccuracy;
inline constexpr int kMaxSymbols = 53;  // the largest alphabet in the format: match lengths

/// How often each symbol occurs, in parts of `rows()`.
struct Distribution {
    int accuracy = 0;                       // log2 of the number of rows
    int symbols = 0;                        // those of the alphabet that follow have no share
    std::int16_t shares[kMaxSymbols] = {};  // of rows; -1 stands for "less than one" and takes one row as well

    constexpr int rows() const { return 1 << accuracy; }
};

/// Reads a distribution's description (4.1.1) from the start of `in`, into one that has no shares yet. Returns the
/// bytes it took; 0 if it is damaged, is more accurate than `largestAccuracy`, or gives a share to a symbol from
/// `alphabet` on.
std::size_t readDistribution(Bytes in, int largestAccuracy, int alphabet, Distribution& distribution);

/// Fills `symbolOfRow`, of `rows()` entries, by 4.1.1: symbols of less than one row take one each from the last row
/// down; the others' rows lie a fixed stride apart, which is odd and so visits every row once, and pass over rows that
/// are taken.
constexpr void spread(const Distribution& distribution, std::uint8_t* symbolOfRow) {
    // The symbols in a line, each as often as it has rows: eight at a time, of which the next symbol corrects the rest.
    std::uint8_t line[kMaxRows + 8];
    std::size_t length = 0;
    for (int symbol = 0; symbol < distribution.symbols; ++symbol) {
        if (distribution.shares[symbol] <= 0) continue;
        const auto share = static_cast<std::size_t>(distribution.shares[symbol]);
        for (std::size_t done = 0; done < share; done += 8) {
            for (std::size_t i = 0; i < 8; ++i) line[length + done + i] = static_cast<std::uint8_t>(symbol);
        }
        length += share;
    }
    line[length] = 0;
    // The walk takes the line's next one wherever it may; what it leaves in other rows is overwritten.
    const auto rows = static_cast<std::size_t>(distribution.rows());
    const std::size_t stride = rows / 2 + rows / 8 + 3;
    std::size_t row = 0;
    std::size_t next = 0;
    for (std::size_t step = 0; step < rows; ++step) {
        symbolOfRow[row] = line[next];
        next += row < length ? 1 : 0;
        row = (row + stride) & (rows - 1);
    }
    std::size_t free = rows;
    for (int symbol = 0; free > length; ++symbol) {
        if (distribution.shares[symbol] == -1) symbolOfRow[--free] = static_cast<std::uint8_t>(symbol);
    }
}

/// Calls `visit(row, symbol, bits, baseline)` for each row in rising order. A symbol's n rows are numbered n to 2n - 1;
/// from row number k as many bits are read as bring k up to the table's size, and the baseline is k so shifted, less
/// that size. So the rows of a symbol share out all states among them, and the rarer it is the more bits it takes.
template <typename Visit>
constexpr void forEachRow(const Distribution& distribution, const Visit& visit) {
    std::uint8_t symbolOfRow[kMaxRows];
    spread(distribution, symbolOfRow);
    std::uint16_t number[kMaxSymbols] = {};
    for (int symbol = 0; symbol < distribution.symbols; ++symbol) {
        const int share = distribution.shares[symbol];
        number[symbol] = static_cast<std::uint16_t>(share == -1 ? 1 : share);
    }
    const int rows = distribution.rows();
    for (int row = 0; row < rows; ++row) {
        const int symbol = symbolOfRow[row];
        const unsigned k = number[symbol]++;
        const int bits = distribution.accuracy + 1 - static_cast<int>(std::bit_width(k | 1));
        visit(row, symbol, bits, static_cast<int>(k << bits) - rows);
    }
}

}  // namespace qor::impl::fse
