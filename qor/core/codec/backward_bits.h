// Bit streams that are read from their end to their start (RFC 8878, 4.1 and 4.2.2).
//
// The last byte holds, below its highest 1 bit, the first bits to read; they go on downwards through the bytes before
// it. What was written last is read first, so encoders work through their input backwards.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "qor/core/codec/bytes.h"

namespace qor::impl {

/// Reads a backward bit stream by way of a word of the eight bytes that end at the position. Reading beyond the start
/// of the stream gives bits of no meaning and is found by `refill` and by `isAtStart`.
///
///     BackwardBits bits;
///     if (!bits.open(stream)) return false;
///     while (bits.refill()) use(bits.take(10), bits.take(4));
class BackwardBits {
 public:
    /// Bits that can be taken after each refill.
    static constexpr unsigned kRefilled = 56;

    /// Bytes that are readable before every stream: all streams lie behind a frame's and a block's header, which are
    /// longer than that. So the word may always be loaded, and only the position has to be watched.
    static constexpr std::ptrdiff_t kReadableBefore = 8;

    /// Begins with the bits below the closing 1 bit, and is refilled. False if there is none in the last byte.
    bool open(Bytes stream) {
        if (stream.empty() || stream.back() == 0) return false;
        start = stream.data();
        at = static_cast<std::ptrdiff_t>(stream.size()) - 8;
        word = load<std::uint64_t>(start + at);
        ready = 63 - static_cast<unsigned>(std::countl_zero(stream.back()));
        return refill();
    }

    /// Makes kRefilled bits ready. False if more bits were taken than there are.
    bool refill() {
        // Each whole byte that has been taken makes room for one from below.
        at -= 7 - static_cast<std::ptrdiff_t>(ready / 8);
        if (at < -7) return false;
        ready |= kRefilled;
        word = load<std::uint64_t>(start + at);
        return true;
    }

    /// The next `n` bits.
    std::uint64_t take(unsigned n) {
        ready -= n;
        return (word >> ready) & ((std::uint64_t{1} << n) - 1);
    }

    /// Bits that have not been taken; negative if more were taken than there are.
    std::ptrdiff_t left() const { return 8 * at + static_cast<std::ptrdiff_t>(ready); }

    /// True if exactly all bits have been taken.
    bool isAtStart() const { return left() == 0; }

 private:
    const unsigned char* start = nullptr;
    std::ptrdiff_t at = 0;  // of the word, from the start on; down to -7, where the lowest byte is the word's highest
    std::uint64_t word = 0;
    unsigned ready = 0;  // bits of the word that have not been taken: its lowest
};

}  // namespace qor::impl
