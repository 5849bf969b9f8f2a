// Writing bits: numbers of bits side by side, from the lowest bit of each byte up.
//
// Streams that are read backwards (RFC 8878, 4.1) end in a 1 bit, `close`, by which the reader finds their last bit;
// what was written last is read first.
#pragma once

#include <cstdint>

#include "qor/core/codec/bytes.h"

namespace qor::impl {

class BitWriter {
 public:
    /// Most bits between two flushes: with the 7 that a flush may leave behind they fill the word, less one bit for
    /// `close`.
    static constexpr unsigned kMostBits = 56;

    /// Each flush stores 8 bytes, so that much room is needed behind the last byte that counts.
    explicit BitWriter(unsigned char* into) : to(into) {}

    /// Adds `value` as a number of `n` bits; its bits from there up are zero.
    void add(std::uint64_t value, unsigned n) {
        bits |= value << count;
        count += n;
    }

    /// Adds the low `n` bits of `value`.
    void addLow(std::uint64_t value, unsigned n) { add(value & ((std::uint64_t{1} << n) - 1), n); }

    /// Stores the whole bytes.
    void flush() {
        store(to, bits);
        to += count >> 3;
        bits >>= count & ~7u;
        count &= 7;
    }

    /// Adds the 1 bit that ends a backward stream and returns the end of its bytes.
    unsigned char* close() {
        add(1, 1);
        return end();
    }

    /// Stores all bits, with zeros up to a whole byte, and returns the end of the bytes.
    unsigned char* end() {
        flush();
        return to + (count > 0);
    }

    /// Where the next flush stores.
    const unsigned char* position() const { return to; }

 private:
    unsigned char* to;
    std::uint64_t bits = 0;
    unsigned count = 0;
};

}  // namespace qor::impl
