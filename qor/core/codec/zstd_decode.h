// Zstandard: what the parts of the decoder share, and its way in for tests.
#pragma once

#include <cstdint>

#include "qor/core/codec/bytes.h"
#include "qor/core/vector.h"

namespace qor::impl::zstd {

/// Which loops decode. The fast ones run where there is room enough and leave the rest to the plain ones, which can do
/// all of it and must come to the same.
enum class Loops : std::uint8_t { Fast, Plain };

bool decode(Bytes payload, std::uint64_t size, ds::Vector<unsigned char>& content, Loops loops);

}  // namespace qor::impl::zstd
