// Huffman-coded literals of Zstandard (RFC 8878, 4.2): the tree and the streams.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qor/core/codec/bytes.h"
#include "qor/core/codec/zstd_decode.h"
#include "qor/core/codec/zstd_tables.h"

namespace qor::impl::zstd {

/// The code that a frame's blocks last gave, as a table. All streams lie in a frame, behind its header and a block's
/// (see BackwardBits::kReadableBefore).
class HuffmanDecoder {
 public:
    /// Takes over the tree that is described at the start of `in`. Returns the bytes it took; 0 if it is damaged.
    std::size_t readTree(Bytes in);

    bool hasTree() const { return isGiven; }

    /// Decodes a stream into exactly `size` literals. False unless that takes exactly all of its bits.
    bool decodeOne(Bytes stream, unsigned char* literals, std::size_t size) const;

    /// Decodes four streams, which three sizes of 16 bits precede, into exactly `size` literals; each of the first
    /// three has a quarter of them, rounded up.
    bool decodeFour(Bytes streams, unsigned char* literals, std::size_t size, Loops loops);

 private:
    // The next kHuffmanMaxBits bits of a stream lead to the symbol that they begin with: the number of bits it takes in
    // the low byte, the symbol in the high one. Shorter codes are widened to this, so that the number looked up is
    // always cut from the same place.
    static constexpr int kEntries = 1 << kHuffmanMaxBits;

    bool fillTable(const std::uint8_t* weights, int symbols, int maxBits);

    std::uint16_t entries[kEntries];
    bool isGiven = false;
};

}  // namespace qor::impl::zstd
