// LZ4 blocks. The frame around them is in lz4_frame.h.
//
// A block is a run of sequences. Each is a token, some literal bytes, and a match that repeats earlier content:
//
//     token         high half: literal count; low half: match length - 4; 15 in either means that more follows
//     more          added to the count; each 255 means that one more byte follows
//     literals      copied as they stand
//     offset        16 bits, low byte first: how far back the match starts
//     more          added to the match length, as above
//
// The last sequence ends with its literals. A match may overlap its own output, which repeats it, and reach back into
// the content of the blocks before, if those are linked.
//
// Source: LZ4 Block Format Description, revision of 2022-07-31.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "qor/core/codec/bytes.h"
#include "qor/core/codec/result.h"

namespace qor::impl::lz4 {

inline constexpr std::size_t kMinMatch = 4;
inline constexpr unsigned kMoreFollows = 15;  // in either half of a token

// An encoder ends a block with so many literals at least, and starts no match in so many bytes before the block's end:
// decoders may rely on it, and the ones here do not.
inline constexpr std::size_t kLastLiterals = 5;
inline constexpr std::size_t kNoMatchStart = 12;

/// Encodes the blocks of one content, one after the other, each of which may repeat what is in those before it.
class BlockEncoder {
 public:
    /// The content stays where it is until its last block is encoded.
    explicit BlockEncoder(Bytes bytes) : content(bytes) {}

    /// Takes the memory for finding matches: 48 KiB, and less for less than 8 KiB of content. False if it is refused.
    bool prepare();

    /// Encodes the next `size` bytes of the content into the `room` bytes at `to` and returns how many it took, or 0 if
    /// they do not suffice or leave less than two to spare. Up to kWildSlack bytes behind them are written too.
    std::size_t encode(std::size_t size, unsigned char* to, std::size_t room);

 private:
    Bytes content;
    std::size_t position = 0;
    std::unique_ptr<std::uint16_t[]> tables;
};

/// Decodes a block behind the `produced` bytes of `result`, and adds what it holds to them. No match may start before
/// position `first` of the result. False if the block is damaged, holds more than `limit` bytes or does not fit the
/// result, or if memory is refused.
bool decodeBlock(Bytes block, std::uint64_t first, std::uint64_t limit, Result& result, std::uint64_t& produced);

/// As `decodeBlock`, by the plain loop alone.
bool decodeBlockPlainly(Bytes block, std::uint64_t first, std::uint64_t limit, Result& result, std::uint64_t& produced);

/// Where a decoder is, in front of a sequence.
struct Place {
    const unsigned char* in;
    unsigned char* out;
};

/// The fast loop of `decodeBlock`. Decodes sequences far from the ends of both block and room, so that only long ones
/// have to look at what is left. Stops in front of a sequence that may be too near to them, or is damaged: the plain
/// loop finds out which. `first` is where the earliest match may start.
Place decodeFast(Place place, const unsigned char* inEnd, const unsigned char* first, unsigned char* outEnd);

}  // namespace qor::impl::lz4
