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
    if (offset < 8) {
        // The first eight bytes one by one; from then on the source stays a multiple of the offset, and eight at least,
        // behind.
        static constexpr unsigned char kStride[8] = {0, 8, 8, 9, 8, 10, 12, 14};
        for (int i = 0; i < 8; ++i) to[i] = from[i];
        to += 8;
        from = to - kStride[offset];
    }
    while (to < end) {
        copy8(to, from);
        to += 8;
        from += 8;
    }
}

/// As `repeatWild`, and nothing beyond the `n` bytes is read or written.
inline void repeat(unsigned char* to, std::size_t offset, std::size_t n) {
    for (const unsigned char* from = to - offset; n > 0; --n) *to++ = *from++;
}

}  // namespace qor::impl
