// LZ4 frames: content in blocks, with its size, its checksum, and an end that cannot be missed.
#pragma once

#include <cstdint>

#include "qor/core/codec/bytes.h"
#include "qor/core/vector.h"

namespace qor::impl::lz4 {

/// True if `payload` begins as an LZ4 frame does.
bool recognises(Bytes payload);

/// Makes the frame of `content`. False if memory is refused.
bool encode(Bytes content, ds::Vector<unsigned char>& payload);

/// Restores the `size` bytes of a frame, made by whatever encoder. False if the payload is not one whole frame of so
/// many bytes, if a checksum does not hold or memory is refused; `content` then holds anything.
bool decode(Bytes payload, std::uint64_t size, ds::Vector<unsigned char>& content);

/// The most content that a byte of payload can stand for: a 255 that continues a count.
inline constexpr std::uint64_t kMaxExpansion = 255;

}  // namespace qor::impl::lz4
