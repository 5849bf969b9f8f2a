// zlib streams (RFC 1950): two bytes of header, a DEFLATE stream, and the Adler-32 of the content, high byte first.
#pragma once

#include <cstdint>

#include "qor/core/codec/bytes.h"
#include "qor/core/vector.h"

namespace qor::impl::zlib {

/// Content bytes for a byte of payload, at most: a match of 258 bytes may take two bits.
inline constexpr std::uint64_t kMaxExpansion = 1032;

/// True if the payload begins as a zlib stream does.
bool recognises(Bytes payload);

/// Makes the payload of `content`. False if memory is refused.
bool encode(Bytes content, ds::Vector<unsigned char>& payload);

/// Restores the `size` bytes that a payload holds. False if it is anything but one whole stream of that many bytes, or
/// if memory is refused; `content` is then to be dropped.
bool decode(Bytes payload, std::uint64_t size, ds::Vector<unsigned char>& content);

}  // namespace qor::impl::zlib
