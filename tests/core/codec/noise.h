// Contents for the tests of checksums and of Base64.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "qor/core/codec/bytes.h"

namespace qor::test {

inline impl::Bytes view(std::string_view text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

/// Bytes without a pattern, the same in every run.
inline std::string noise(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t state = 7;
    for (char& byte : bytes) {
        state = static_cast<std::uint32_t>(state * std::uint64_t{48271} % 0x7FFFFFFF);
        byte = static_cast<char>(state >> 8);
    }
    return bytes;
}

}  // namespace qor::test
