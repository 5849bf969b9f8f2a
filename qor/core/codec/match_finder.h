// What the match finders of all encoders stand on: hashes of the next few bytes, and distances between positions.
//
// A finder keeps positions as numbers of 32 bits (16 where the window allows it) that wrap, so content may be of any
// size. The distance from a kept position to the present one is their wrapped difference; an entry that is too old, or
// none at all, gives either a distance beyond the window or one at which the bytes really are equal, and both are
// answered by comparing. Nothing ever has to be rebased, and a table full of zeros is an empty one.
#pragma once

#include <cstdint>

#include "qor/core/codec/bytes.h"

namespace qor::impl {

// Multiplicative hashing (Knuth, The Art of Computer Programming, volume 3, 6.4): the highest bits of the product with
// an odd constant near the golden ratio's part of the word.
inline constexpr std::uint64_t kHashFactor = 0x9E3779B185EBCA87;

/// A hash of the `n` bytes at `from`, in `bits` bits. Reads 8 bytes.
template <int n>
inline std::uint32_t hashBytes(const unsigned char* from, int bits) {
    static_assert(n >= 3 && n <= 8);
    const std::uint64_t word = load<std::uint64_t>(from) << (64 - 8 * n);
    return static_cast<std::uint32_t>(wrappedProduct(word, kHashFactor) >> (64 - bits));
}

}  // namespace qor::impl
