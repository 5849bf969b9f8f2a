// The lengths of Huffman code words, limited, as DEFLATE and Zstandard give them to the decoder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qor::impl {

/// The most symbols that a code is made for, and the end of the counts that they may have.
inline constexpr std::size_t kMaxHuffmanSymbols = 288;
inline constexpr std::uint32_t kHuffmanCountEnd = 1 << 23;

/// Gives each symbol the length of its code word: 0 if it does not occur, at most `maxBits` otherwise, longer ones to
/// rarer symbols. With two symbols or more the code is complete (the sum of 2^-length is 1); a single one has length 1.
/// Without the limit no prefix code is shorter; the limit costs next to nothing.
///
/// `lengths` is as long as `counts`, and 2^maxBits is no less than the number of symbols that occur.
void codeLengths(std::span<const std::uint32_t> counts, int maxBits, std::span<unsigned char> lengths);

}  // namespace qor::impl
