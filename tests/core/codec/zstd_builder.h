// Zstandard frames put together by hand, part by part, for tests of the decoder. Each function gives the bytes of one
// part; a frame is their sum. Bits are listed in the order in which a decoder reads them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qor/core/codec/zstd.h"
#include "qor/core/codec/zstd_decode.h"
#include "support/test_files.h"

namespace qor::test::zstd {

using impl::zstd::Loops;

/// The content of a frame; nothing if it is refused.
inline std::optional<std::string> decoded(const std::string& frame, std::uint64_t size, Loops loops = Loops::Fast) {
    const std::vector<unsigned char> payload(frame.begin(), frame.end());  // so that a sanitizer knows where it ends
    ds::Vector<unsigned char> content;
    if (!impl::zstd::decode(payload, size, content, loops)) return std::nullopt;
    EXPECT_EQ(content.size(), size);
    return std::string(content.begin(), content.end());
}

/// The little-endian number of `size` bytes.
inline std::string number(std::uint64_t value, int size) {
    std::string bytes;
    for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

struct Bits {
    std::uint32_t value;
    int count;
};

inline std::string packed(const std::vector<bool>& bits) {
    std::string bytes((bits.size() + 7) / 8, '\0');
    for (std::size_t i = 0; i < bits.size(); ++i) {
        if (bits[i]) bytes[i / 8] = static_cast<char>(bytes[i / 8] | 1 << (i % 8));
    }
    return bytes;
}

/// Numbers that are read forwards: distributions.
inline std::string forward(std::initializer_list<Bits> numbers) {
    std::vector<bool> bits;
    for (const auto& [value, count] : numbers) {
        for (int i = 0; i < count; ++i) bits.push_back(value >> i & 1);
    }
    return packed(bits);
}

/// Numbers that are read backwards, the first of them from the end of the bytes.
inline std::string backward(const std::vector<Bits>& numbers) {
    std::vector<bool> bits;
    for (auto number = numbers.rbegin(); number != numbers.rend(); ++number) {
        for (int i = 0; i < number->count; ++i) bits.push_back(number->value >> i & 1);
    }
    bits.push_back(true);
    return packed(bits);
}

/// A header without content size or checksum. `window` is the window descriptor, 38 for 128 KiB.
inline std::string header(const std::string& descriptor = "00"_bytes.raw, const std::string& window = "38"_bytes.raw) {
    return "28 b5 2f fd"_bytes.raw + descriptor + window;
}

enum class Last { No, Yes };

inline std::string block(int type, std::size_t size, const std::string& data, Last last = Last::Yes) {
    return number((last == Last::Yes ? 1u : 0u) | static_cast<unsigned>(type) << 1 | size << 3, 3) + data;
}
inline std::string rawBlock(const std::string& content, Last last = Last::Yes) {
    return block(0, content.size(), content, last);
}
inline std::string runBlock(char byte, std::size_t size, Last last = Last::Yes) {
    return block(1, size, std::string(1, byte), last);
}
inline std::string compressedBlock(const std::string& data, Last last = Last::Yes) {
    return block(2, data.size(), data, last);
}

/// Literals as they stand, and one of them repeated. The header is the longest one.
inline std::string rawLiterals(const std::string& literals) {
    return number(0u | 3u << 2 | literals.size() << 4, 3) + literals;
}
inline std::string runLiterals(char literal, std::size_t count) {
    return number(1u | 3u << 2 | count << 4, 3) + std::string(1, literal);
}

/// Huffman-coded literals: of type 2 `data` begins with a tree, of type 3 it does not.
inline std::string oneStream(int type, std::size_t count, const std::string& data) {
    return number(static_cast<unsigned>(type) | 0u << 2 | count << 4 | data.size() << 14, 3) + data;
}
inline std::string fourStreams(int type, std::size_t count, const std::string& data) {
    return number(static_cast<unsigned>(type) | 3u << 2 | count << 4 | data.size() << 22, 5) + data;
}

/// A section without sequences.
inline const std::string kNoSequences(1, '\0');

/// A frame of one compressed block that has literals only.
inline std::string frameOfLiterals(const std::string& literals) {
    return header() + compressedBlock(literals + kNoSequences);
}

/// A frame of one compressed block.
inline std::string frameOf(const std::string& literals, const std::string& sequences) {
    return header() + compressedBlock(literals + sequences);
}

}  // namespace qor::test::zstd
