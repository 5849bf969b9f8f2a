// What the tests of this folder put into files, and files opened in one line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/test_files.h"

namespace qor::test {

/// The size of the staging buffer, and of the largest chunk that is loaded at once.
inline constexpr std::uint64_t kMiB = 1048576;

/// The third mode, which reads and writes what it can.
inline constexpr Mode kThird = Mode::ReadWrite;

/// A mode that is none of the three.
inline constexpr Mode kSeven = static_cast<Mode>(7);

/// What a read says that would leave the file.
inline constexpr const char* kBeyond = "Attempted to read beyond file size.";

inline File opened(const std::string& path, Mode mode, Format format) {
    File file;
    EXPECT_TRUE(file.open(path.c_str(), mode, format)) << path;
    return file;
}

/// `size` bytes, none of them zero, that do not repeat in step with the chunks.
inline std::string pattern(std::uint64_t size) {
    std::string bytes(size, '\0');
    for (std::uint64_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i % 251 + 1);
    return bytes;
}

/// Eight bytes, low byte first.
inline std::string count(std::uint64_t n) {
    std::string bytes;
    for (int shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(n >> shift & 0xff);
    return bytes;
}

/// The record that a binary file holds for a text.
inline std::string record(std::string_view characters) { return count(characters.size()) += characters; }

/// One record of `size` bytes, its count included.
inline std::string filler(std::uint64_t size) { return record(std::string(size - 8, '-')); }

}  // namespace qor::test
