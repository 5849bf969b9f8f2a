// Bytes, as all codecs handle them: numbers in memory, runs that two places have in common, and copies.
//
// The copies come in two kinds. The exact ones touch what they are told to. The wild ones move whole blocks and so read
// and write up to kWildSlack bytes more, to be corrected by the next copy; a decoder may call them while that much room
// is left on both sides, which is one comparison for a whole step of its loop.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "qor/core/endian.h"
#include "qor/core/wrapping.h"

namespace qor::impl {

using Bytes = std::span<const unsigned char>;

/// The little-endian number at `from`.
template <std::unsigned_integral T>
inline T load(const unsigned char* from) {
    T value;
    loadLittle(from, value);
    return value;
}

template <std::unsigned_integral T>
inline void store(unsigned char* to, T value) {
    storeLittle(to, value);
}

/// How many bytes from `a` on, and before `end`, equal those from `b` on. `b` lies before `a`.
inline std::size_t commonLength(const unsigned char* a, const unsigned char* b, const unsigned char* end) {
    const unsigned char* const start = a;
    while (end - a >= 8) {
        const std::uint64_t difference = load<std::uint64_t>(a) ^ load<std::uint64_t>(b);
        if (difference != 0) return static_cast<std::size_t>(a - start + (std::countr_zero(difference) >> 3));
        a += 8;
        b += 8;
    }
    while (a < end && *a == *b) {
        ++a;
        ++b;
    }
    return static_cast<std::size_t>(a - start);
}

/// Bytes that a wild copy may read and write beyond its length.
inline constexpr std::size_t kWildSlack = 32;

inline void copy8(unsigned char* to, const unsigned char* from) { std::memcpy(to, from, 8); }
inline void copy16(unsigned char* to, const unsigned char* from) { std::memcpy(to, from, 16); }

/// Copies `n` bytes in blocks of 16. The places are apart by 16 bytes or more, or `to` lies before `from`.
inline void copyWild(unsigned char* to, const unsigned char* from, std::size_t n) {
    unsigned char* const end = to + n;
    do {
        copy16(to, from);
        copy16(to + 16, from + 16);
        to += 32;
        from += 32;
    } while (to < end);
}

/// Continues the output at `to` with the `n` bytes that begin `offset` before it, byte by byte in effect: with an
/// offset below `n` what is written is read again. `offset` is at least 1.
inline void repeatWild(unsigned char* to, std::size_t offset, std::size_t n) {
    unsigned char* const end = to + n;
    const unsigned char* from = to - offset;
    if (offset >= 16) {
        do {
            copy16(to, from);
            to += 16;
            from += 16;
        } while (to < end);
        return;
    }
    // What is repeated fits two words, which are loaded once: to read what has just been written takes longer.
    const std::uint64_t first = load<std::uint64_t>(from);
    if (offset >= 8) {
        const std::uint64_t second = load<std::uint64_t>(from + 8);
        do {
            store(to, first);
            store(to + 8, second);  // what it has too much is overwritten by the next
            to += offset;
        } while (to < end);
        return;
    }
    // Less than a word is multiplied to fill one, of which so many bytes are used as make a multiple of the offset.
    static constexpr std::uint64_t kFill[8] = {0,
                                               0x0101010101010101,
                                               0x0001000100010001,
                                               0x0001000001000001,
                                               0x0000000100000001,
                                               0x0000010000000001,
                                               0x0001000000000001,
                                               0x0100000000000001};
    static constexpr unsigned char kStride[8] = {0, 8, 8, 6, 8, 5, 6, 7};
    const std::uint64_t part = first & ((std::uint64_t{1} << 8 * offset) - 1);
    const std::uint64_t filled = wrappedProduct(part, kFill[offset]);
    do {
        store(to, filled);
        to += kStride[offset];
    } while (to < end);
}

/// As `repeatWild`, and nothing beyond the `n` bytes is read or written: what is there to be repeated doubles with each
/// copy, so that a long run of a short pattern is as fast as any copy.
inline void repeat(unsigned char* to, std::size_t offset, std::size_t n) {
    const unsigned char* const from = to - offset;
    for (; n > offset; offset *= 2) {
        std::memcpy(to, from, offset);
        to += offset;
        n -= offset;
    }
    if (n > 0) std::memcpy(to, from, n);
}

}  // namespace qor::impl
