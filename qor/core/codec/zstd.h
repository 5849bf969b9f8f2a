// Zstandard: one frame (RFC 8878) with content size and content checksum, no dictionary.
//
// The format's numbers are in zstd_tables.h; zstd_encode.cpp and zstd_decode.cpp are the two directions.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qor/core/codec/bytes.h"
#include "qor/core/vector.h"

namespace qor::impl::zstd {

/// Most content bytes that a byte of payload can stand for: a run block of 3 + 1 bytes makes 128 KiB.
inline constexpr std::uint64_t kMaxExpansion = 32768;

/// True if `payload` begins as a Zstandard frame does.
bool recognises(Bytes payload);

/// Writes the magic number and the header (3.1.1.1) of a frame for `size` bytes, and returns their end.
unsigned char* writeFrameHeader(std::uint64_t size, unsigned char* to);
inline constexpr std::size_t kLargestFrameHeader = 4 + 1 + 1 + 8;

/// Puts a frame of `content` in `payload`, which is empty. False if memory is refused.
bool encode(Bytes content, ds::Vector<unsigned char>& payload);

/// Puts the content of `payload`, one whole frame, in `content`, which is empty. False if the frame is damaged, if it
/// holds other than `size` bytes, or if memory is refused; `content` then holds anything.
bool decode(Bytes payload, std::uint64_t size, ds::Vector<unsigned char>& content);

}  // namespace qor::impl::zstd
