// Zstandard, encoding: turning content into literals and sequences.
//
// The parser goes through the content once. Where it finds a match it looks at the next place as well, and takes what
// is found there if that is worth more (lazy matching). What it has found it does not take back: how literals and
// sequences are best written is decided later, when it is known how often each occurs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "qor/core/codec/bytes.h"
#include "qor/core/codec/match_rows.h"
#include "qor/core/codec/zstd_sections.h"
#include "qor/core/vector.h"

namespace qor::impl::zstd {

class Parser {
 public:
    /// The window that frames ask of their decoders: no match begins further back.
    static constexpr int kWindowBits = MatchRows::kWindowBits;
    static constexpr std::uint64_t kWindow = MatchRows::kWindow;

    /// The most sequences that `size` bytes are parsed into.
    static constexpr std::size_t mostSequences(std::size_t size) { return size / kShortest; }

    /// Gets ready for `content`. False if memory is refused.
    bool start(Bytes content);

    /// Parses the next `size` bytes of the content, kLargestBlock at most.
    void parse(std::size_t size);

    // What they were parsed into, until the next call.
    Bytes literals() const { return {literalBytes.data(), literalCount}; }
    std::span<const Sequence> sequences() const { return {found.data(), sequenceCount}; }

 private:
    static constexpr std::size_t kShortest = 4;  // match that is looked for

    struct Candidate;

    template <int hashed>
    void parse(const unsigned char* begin, const unsigned char* end);
    std::size_t repeated(const unsigned char* at, std::uint32_t offset, const unsigned char* end) const;
    void extendBack(Candidate& match, const unsigned char* anchor) const;
    void addSequence(const unsigned char* anchor, const Candidate& match);
    void addLiterals(const unsigned char* from, const unsigned char* to);

    MatchRows rows;
    Bytes whole;
    const unsigned char* next = nullptr;  // the first byte that has not been parsed
    // The offsets of the last match, and of the last one before it that was another.
    std::uint32_t offset1 = kFirstRepeatOffsets[0];
    std::uint32_t offset2 = kFirstRepeatOffsets[1];

    ds::Vector<unsigned char> literalBytes;
    ds::Vector<Sequence> found;
    std::size_t literalCount = 0;
    std::size_t sequenceCount = 0;
};

}  // namespace qor::impl::zstd
