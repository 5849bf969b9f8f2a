// What stands before the payload of a block, so that a reader needs to know nothing beforehand.
//
//     offset  bytes
//          0      1  '.'
//          1      1  kind digit: '1' is written for every kind, since the payload itself says which it is
//          2      1  '.'
//          3      8  bytes of the content, little-endian
//         11      1  '.'
//         12      8  bytes of the payload, little-endian
//         20      1  '.'
//         21         the payload
//
// In a text file the digits of the two lengths stand in their places. A block of no bytes has no payload.
#pragma once

#include <cstddef>
#include <cstring>

#include "qor/core/compression.h"

namespace qor::impl {

inline constexpr char kBlockMark = '.';
inline constexpr char kBlockKind = '1';

/// The bytes of a header, except in a text file.
inline constexpr std::size_t kBlockHeaderSize = 21;

/// The most characters of a length in a text file.
inline constexpr std::size_t kMaxBlockDigits = 32;

/// Takes apart the header at `block`, at least 21 bytes. False at the first byte that is wrong; what stood before it
/// has been stored by then.
inline bool parseBlockHeader(const unsigned char* block, Compression& kind, unsigned long& compressedSize,
                             unsigned long& uncompressedSize) {
    const auto marked = [block](std::size_t offset) { return block[offset] == kBlockMark; };
    // Deliberate: the lengths are taken in the host's byte order and any kind digit will do, unlike in a file. Kept by
    // the tests of RawBlock.
    if (!marked(0)) return false;
    if (block[1] < '0' || block[1] > '3') return false;
    kind = static_cast<Compression>(block[1] - '0');
    if (!marked(2)) return false;
    std::memcpy(&uncompressedSize, block + 3, 8);
    if (!marked(11)) return false;
    std::memcpy(&compressedSize, block + 12, 8);
    return marked(20);
}

}  // namespace qor::impl
