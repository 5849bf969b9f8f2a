// Compression of byte blocks: three kinds, each a standard stream that the kind's own public tools open.
#pragma once

#include <cstdint>

#include "qor/core/vector.h"

namespace qor {

/// How a block of bytes is stored. The values are part of the file format.
enum class Compression : std::uint8_t {
    None = 0,  ///< As it stands.
    Lz4 = 1,   ///< An LZ4 frame: fastest both ways.
    Zlib = 2,  ///< A zlib stream (RFC 1950): read everywhere.
    Zstd = 3,  ///< A Zstandard frame (RFC 8878): smallest.
};

/// Compresses `size` bytes. With `asText` the payload is the same stream in Base64 (RFC 4648, section 4: padded,
/// without line breaks). The empty vector if there is nothing to compress, if `kind` is None or none of these, or if
/// memory is refused. Equal bytes make equal payloads on every host.
ds::Vector<unsigned char> compress(const unsigned char* data, unsigned long size, bool asText, Compression kind);

/// Restores the bytes that a payload of any kind holds. The empty vector unless the payload is one whole stream, in
/// Base64 exactly if `asText`, whose checksum holds and which expands to exactly `uncompressedSize` bytes; also if
/// memory is refused. Neither the payload nor the size needs to be trusted: memory grows with what is really produced.
ds::Vector<unsigned char> decompress(const ds::Vector<unsigned char>& payload, bool asText,
                                     unsigned long uncompressedSize);

/// As above, for a payload that is not needed afterwards: Base64 is decoded in its own memory.
ds::Vector<unsigned char> decompress(ds::Vector<unsigned char>&& payload, bool asText, unsigned long uncompressedSize);

}  // namespace qor
