// Adler-32, the checksum of zlib streams (RFC 1950, 8.2 and 9).
#pragma once

#include <cstdint>

#include "qor/core/codec/bytes.h"

namespace qor::impl {

/// Two sums modulo 65521: a of 1 and all bytes, b of the values that a passes through. The result is b << 16 | a. That
/// of the bytes `before` those of `content` may be given, which it then continues.
std::uint32_t adler32(Bytes content, std::uint32_t before = 1);

}  // namespace qor::impl
