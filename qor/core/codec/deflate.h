// DEFLATE (RFC 1951): LZ77 matches over a window of 32 KiB, and Huffman codes for them and for single bytes.
//
// A stream is a run of blocks. Each begins with a bit that says whether it is the last, and two for its type:
//
//     0  stored     the rest of the byte is skipped; 16 bits of length, the same turned over, and the bytes
//     1  fixed      symbols, in codes that the format fixes
//     2  dynamic    two codes, given as the lengths of their words, and symbols in them
//
// Symbols 0 to 255 of the first code are bytes and 256 ends the block; those above are the length of a match, which a
// symbol of the second code follows for its distance. Both have extra bits behind them where a symbol stands for a
// range.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qor/core/codec/bytes.h"
#include "qor/core/codec/result.h"

namespace qor::impl::deflate {

/// The most bytes that `encode` makes of `size`: those of stored blocks, which hold 65,535 bytes and take 5 more.
std::uint64_t largestStream(std::uint64_t size);

/// Bytes that `encode` may touch behind the stream.
inline constexpr std::size_t kEncodeSlack = 8;

/// Writes the stream of `content` to `to`, which has room for the largest and the slack. The end of the stream, or null
/// if memory is refused.
unsigned char* encode(Bytes content, unsigned char* to);

/// Fills `result` from a stream that is all of `stream`. False if it is damaged, if it reaches back by more than
/// 2^windowBits (8 to 15), if it does not make exactly what the result claims, or if memory is refused.
bool decode(Bytes stream, int windowBits, Result& result);

/// The same, and continues `checksum` to the Adler-32 of the result.
bool decode(Bytes stream, int windowBits, Result& result, std::uint32_t& checksum);

/// As `decode`, without its fast loop, which is to be held against this one.
bool decodePlainly(Bytes stream, int windowBits, Result& result);

}  // namespace qor::impl::deflate
