// Streams of bits that fill each byte from its lowest bit up. A number of n bits stands with its lowest bit first, so a
// reader takes the low n bits of what it has.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qor/core/codec/bytes.h"

namespace qor::impl {

/// Reads bits through a buffer of 64. `refill` comes before taking: after it at least 56 bits are there.
///
/// Beyond the end come zeros, without limit; `overran()` says that some have been taken, and is asked once per step.
struct BitReader {
    std::uint64_t bits = 0;  ///< The next bits. From `count` on, only such as the next refill finds there again.
    unsigned count = 0;      ///< How many of them count, at most 63.
    const unsigned char* at = nullptr;   ///< What the next refill reads.
    const unsigned char* end = nullptr;  ///< The end of the stream.
    unsigned beyond = 0;                 ///< Bytes from beyond the end that have been put into the buffer.

    explicit BitReader(Bytes stream) : at(stream.data()), end(stream.data() + stream.size()) {}

    std::size_t bytesLeft() const { return static_cast<std::size_t>(end - at); }
    bool overran() const { return beyond * 8 > count; }

    /// Needs 8 bytes left. Reads them all and keeps as many as fit; the rest is read again.
    void refillFast() {
        bits |= load<std::uint64_t>(at) << count;
        at += (63 - count) >> 3;
        count |= 56;
    }

    void refill() {
        if (bytesLeft() >= 8) {
            refillFast();
            return;
        }
        for (; count < 56; count += 8) {
            if (at < end) {
                bits |= std::uint64_t{*at++} << count;
            } else {
                ++beyond;
            }
        }
    }

    /// The next `n` bits, up to 31, of a number or of a Huffman code word that is looked up reversed.
    std::uint32_t peek(unsigned n) const { return static_cast<std::uint32_t>(bits) & ((std::uint32_t{1} << n) - 1); }

    void drop(unsigned n) {
        bits >>= n;
        count -= n;
    }

    /// `n` is at most 31.
    std::uint32_t take(unsigned n) {
        const std::uint32_t value = peek(n);
        drop(n);
        return value;
    }

    /// Drops the rest of a byte that has been begun, and puts whole bytes back: `at` is then the next byte. Not after
    /// an overrun.
    void alignToByte() {
        at -= count / 8 - beyond;
        bits = 0;
        count = 0;
        beyond = 0;
    }
};

/// Writes bits through a buffer of 64, straight to memory that the caller knows to have room: each flush touches 8
/// bytes.
struct BitWriter {
    /// Most bits between two flushes: with the 7 that a flush may leave they fill the buffer, less one for `close`.
    static constexpr unsigned kMostBits = 56;

    std::uint64_t bits = 0;
    unsigned count = 0;  ///< At most 7 after `flush`.
    unsigned char* at;   ///< Where the next bytes go.

    explicit BitWriter(unsigned char* to) : at(to) {}

    /// Adds the low `n` bits of `value`, which has no others.
    void add(std::uint64_t value, unsigned n) {
        bits |= value << count;
        count += n;
    }

    /// Adds the low `n` bits of `value`, whatever the others are.
    void addLow(std::uint64_t value, unsigned n) { add(value & ((std::uint64_t{1} << n) - 1), n); }

    /// Puts whole bytes into memory.
    void flush() {
        store<std::uint64_t>(at, bits);
        at += count >> 3;
        bits >>= count & 56;
        count &= 7;
    }

    /// As `add` and `flush`.
    void put(std::uint64_t value, unsigned n) {
        add(value, n);
        flush();
    }

    /// Fills the byte that has been begun with zeros, and gives the end of the bytes.
    unsigned char* alignToByte() {
        flush();
        at += (count + 7) >> 3;
        bits = 0;
        count = 0;
        return at;
    }

    /// Adds the 1 bit by which whoever reads a stream from its end (RFC 8878, 4.1) finds its last bit, and gives the
    /// end of the bytes.
    unsigned char* close() {
        add(1, 1);
        return alignToByte();
    }
};

}  // namespace qor::impl
