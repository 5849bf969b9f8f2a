// Bytes as the codecs take and give them, and bytes without a pattern.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "qor/core/codec/bytes.h"
#include "qor/core/vector.h"

namespace qor::test {

inline impl::Bytes view(std::string_view text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}
inline impl::Bytes view(const ds::Vector<unsigned char>& bytes) { return {bytes.data(), bytes.size()}; }

/// A copy in memory of exactly its size, beyond which a sanitizer sees every read.
inline ds::Vector<unsigned char> ownBytes(std::string_view text) {
    ds::Vector<unsigned char> bytes;
    EXPECT_TRUE(bytes.resize(text.size()));
    std::copy(text.begin(), text.end(), bytes.begin());
    return bytes;
}

inline std::string asString(const ds::Vector<unsigned char>& bytes) { return std::string(bytes.begin(), bytes.end()); }

/// Numbers without a pattern, the same in every run.
class Chance {
 public:
    explicit Chance(std::uint32_t seed) : state(seed % 0x7FFFFFFE + 1) {}

    std::uint32_t below(std::uint32_t limit) {
        state = static_cast<std::uint32_t>(state * std::uint64_t{48271} % 0x7FFFFFFF);
        return (state >> 4) % limit;
    }

 private:
    std::uint32_t state;
};

/// Bytes that cannot be made smaller.
inline std::string noise(std::size_t size, std::uint32_t seed = 1) {
    Chance chance(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(chance.below(256));
    return bytes;
}

}  // namespace qor::test
