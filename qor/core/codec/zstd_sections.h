// Zstandard, encoding: what a compressed block is made of (RFC 8878, 3.1.1.3), its two sections, and what they remember
// from one block to the next.
//
// A block arrives as its literals, one after the other, and its sequences: each says how many of the literals come
// next, and what earlier content is repeated after them. Literals that no sequence takes follow the last one. It is
// counted first, which gives each sequence the codes that stand for it; then the sections are written.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "qor/core/codec/bytes.h"
#include "qor/core/codec/fse_encode.h"
#include "qor/core/codec/zstd_tables.h"

namespace qor::impl::zstd {

struct Sequence {
    std::uint32_t literals;  // 32 bits, since there may be more than 65,535
    std::uint32_t length;    // of the match, kMinMatch at least
    std::uint32_t offset;    // how far back the match begins
};

using RepeatOffsets = std::array<std::uint32_t, 3>;

/// What stands for a sequence in the stream.
struct SequenceCodes {
    std::uint32_t offsetValue;
    unsigned char literals;
    unsigned char offset;
    unsigned char length;
};

/// A place in a block, between two sequences or at one of its ends: what lies before it.
struct Cut {
    std::size_t content = 0;
    std::size_t literals = 0;
    std::size_t sequences = 0;
};

struct Block {
    Bytes content;
    Bytes literals;
    std::span<const Sequence> sequences;
    std::span<SequenceCodes> codes;  // room for as many

    Block between(const Cut& from, const Cut& to) const {
        return {content.subspan(from.content, to.content - from.content),
                literals.subspan(from.literals, to.literals - from.literals),
                sequences.subspan(from.sequences, to.sequences - from.sequences),
                codes.subspan(from.sequences, to.sequences - from.sequences)};
    }
};

/// How often each literal and each code occurs in a block.
struct BlockCounts {
    std::array<std::uint32_t, kLiteralSymbols> literals{};
    std::array<std::uint32_t, kLiteralLengthSymbols> literalLengths{};
    std::array<std::uint32_t, kOffsetSymbols> offsets{};
    std::array<std::uint32_t, kMatchLengthSymbols> matchLengths{};
    RepeatOffsets repeatOffsets{};  // after the block

    /// Adds what follows.
    void add(const BlockCounts& next);
};

/// Fills in a block's codes and counts them. `repeatOffsets` are those before the block.
BlockCounts countBlock(const Block& block, const RepeatOffsets& repeatOffsets);

/// A Huffman code (4.2.1), ready to encode with. A symbol that has no word cannot be coded.
struct LiteralCode {
    /// The word, and in the low byte how many bits it has; 0 for no word.
    std::array<std::uint32_t, kLiteralSymbols> words{};
    bool isGiven = false;  // and only then there are words
};

/// Writes the literals section and returns its end. `code` is the one that an earlier block gave, and becomes the one
/// that a later block may refer to. At most `literals.size()` plus kLiteralsHeader bytes are written, and up to 8 more
/// are touched.
unsigned char* encodeLiterals(Bytes literals, const BlockCounts& counts, LiteralCode& code, unsigned char* to);
inline constexpr std::size_t kLiteralsHeader = 3;

/// One of the three codes of sequences, ready to encode with.
struct SequenceTable {
    fse::Distribution distribution;
    fse::EncodingTable table;
};

/// The tables of the last block that had sequences.
struct SequenceTables {
    SequenceTable literalLengths;
    SequenceTable offsets;
    SequenceTable matchLengths;
    bool areGiven = false;
};

/// Writes the sequences section and returns its end, or null once that would lie beyond `limit`. `tables` become those
/// that a later block may refer to. `to` is at most `limit`, and up to kSequencesSlack bytes beyond it are touched.
unsigned char* encodeSequences(const Block& block, const BlockCounts& counts, SequenceTables& tables, unsigned char* to,
                               const unsigned char* limit);
inline constexpr std::size_t kSequencesSlack = 256;

}  // namespace qor::impl::zstd
