// The only file there is, in memory: its functions take the place of qor/core/fs.cpp in a program that reads so many
// files that a disk would be in the way. Under whatever name one is opened, it is this one; it can be read and nothing
// else.
#pragma once

#include <cstdint>
#include <string_view>

namespace qor::test {

struct MemoryFile {
    static inline std::string_view bytes;  ///< Kept by whoever sets it, as long as it is read.
    static inline std::uint64_t offset = 0;
};

}  // namespace qor::test
