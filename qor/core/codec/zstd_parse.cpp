// Zstandard, encoding: lazy matching, with an eye on the offsets that are cheap.
#include "qor/core/codec/zstd_parse.h"

#include <algorithm>
#include <bit>

namespace qor::impl::zstd {
namespace {

// Entries in the table of places: 2^18, 1 MiB. Twice as many give 0.1 % of ratio and cost 4 % of speed, since the table
// then fills a processor's second cache; half as many cost 0.2 % of ratio and give 3 % or more.
constexpr int kMostEntryBits = 18;

// In large content a match of 4 bytes at a distance is seldom worth its offset, and places found by 5 bytes are better.
constexpr std::size_t kLargeContent = std::size_t{128} * 1024;

// Where nothing is found, a step grows by 1 for each 2^8 bytes since the last match. From 32 on it is taken for noise,
// and places that are stepped over do not drive out others from the table: if the noise comes again it is long, and
// found by those that are there.
constexpr int kSkipBits = 8;
constexpr std::ptrdiff_t kNoise = 32;

}  // namespace

// A match that may be taken.
struct Parser::Candidate {
    const unsigned char* at;
    std::size_t length;
    std::uint32_t offset;
    int offsetBits;  // what its offset takes, about: as many bits as it has, or none for a repeat

    static Candidate repeat(const unsigned char* at, std::size_t length, std::uint32_t offset) {
        return {at, length, offset, 0};
    }
    static Candidate found(const unsigned char* at, const Match& match) {
        return {at, match.length, match.offset, static_cast<int>(std::bit_width(match.offset + kRepeatOffsets)) - 1};
    }

    bool isRepeat() const { return offsetBits == 0; }

    // What it saves, in bits, if each of its bytes would take so many.
    int gain(int bitsOfByte) const { return static_cast<int>(length) * bitsOfByte - offsetBits; }
};

bool Parser::start(Bytes content) {
    whole = content;
    next = content.data();
    const std::size_t block = std::min(content.size(), kLargestBlock);
    return rows.start(content, kMostEntryBits) && literalBytes.resizeForOverwrite(block + kWildSlack) &&
           found.resizeForOverwrite(mostSequences(block));
}

void Parser::parse(std::size_t size) {
    literalCount = 0;
    sequenceCount = 0;
    const unsigned char* const begin = next;
    next += size;
    if (whole.size() <= kLargeContent) {
        parse<4>(begin, next);
    } else {
        parse<5>(begin, next);
    }
}

template <int hashed>
void Parser::parse(const unsigned char* begin, const unsigned char* end) {
    // The last place to search from is one where a match may follow at the next, and where the table can read.
    const auto after = static_cast<std::size_t>(whole.data() + whole.size() - end);
    const std::size_t kept = std::max(kShortest, MatchRows::kReads - 1 - std::min(after, MatchRows::kReads - 1));
    const unsigned char* const limit = end - std::min(kept, static_cast<std::size_t>(end - begin));

    const unsigned char* anchor = begin;  // from here on there is no match yet
    const unsigned char* at = begin;
    while (at < limit) {
        Candidate best = Candidate::repeat(at + 1, repeated(at + 1, offset1, end), offset1);
        if (const Match match = rows.find<hashed>(at, end, std::max(best.length, kShortest - 1)); match.length > 0) {
            best = Candidate::found(at, match);
        }
        if (best.length == 0) {
            const std::ptrdiff_t skipped = (at - anchor) >> kSkipBits;
            at += 1 + skipped;
            if (skipped >= kNoise) rows.skipTo(at);
            continue;
        }

        // A later match costs the literals before it: it has to gain a few bits more. With a repeat the length counts
        // less, since the one at hand may be continued by a repeat too.
        while (++at < limit) {
            if (!best.isRepeat()) {
                const Candidate later = Candidate::repeat(at, repeated(at, offset1, end), offset1);
                if (later.length > 0 && later.gain(3) > best.gain(3) + 1) best = later;
            }
            const int wanted = best.gain(4) + 4;
            // No match of this length is wanted, however near.
            const auto least = static_cast<std::size_t>(std::max(wanted + 2, 4 * static_cast<int>(kShortest - 1))) / 4;
            const Match match = rows.find<hashed>(at, end, least);
            const Candidate later = Candidate::found(at, match);
            if (match.length == 0 || later.gain(4) <= wanted) break;
            best = later;
        }

        if (!best.isRepeat()) extendBack(best, anchor);
        if (best.offset != offset1) {
            offset2 = offset1;
            offset1 = best.offset;
        }
        addSequence(anchor, best);
        at = anchor = best.at + best.length;

        // Right after a match the offset before the last is the cheapest one there is.
        while (at < limit) {
            const std::size_t length = repeated(at, offset2, end);
            if (length == 0) break;
            std::swap(offset1, offset2);
            addSequence(at, Candidate::repeat(at, length, offset1));
            at = anchor = at + length;
        }
    }
    addLiterals(anchor, end);
}

// The length of the match with this offset at `at`, if there is one.
inline std::size_t Parser::repeated(const unsigned char* at, std::uint32_t offset, const unsigned char* end) const {
    if (offset > static_cast<std::size_t>(at - whole.data())) return 0;
    if (load<std::uint32_t>(at) != load<std::uint32_t>(at - offset)) return 0;
    return kShortest + commonLength(at + kShortest, at + kShortest - offset, end);
}

inline void Parser::extendBack(Candidate& match, const unsigned char* anchor) const {
    const unsigned char* there = match.at - match.offset;
    while (match.at > anchor && there > whole.data() && match.at[-1] == there[-1]) {
        --match.at;
        --there;
        ++match.length;
    }
}

inline void Parser::addSequence(const unsigned char* anchor, const Candidate& match) {
    addLiterals(anchor, match.at);
    found[sequenceCount++] = {static_cast<std::uint32_t>(match.at - anchor), static_cast<std::uint32_t>(match.length),
                              match.offset};
}

inline void Parser::addLiterals(const unsigned char* from, const unsigned char* to) {
    const auto n = static_cast<std::size_t>(to - from);
    unsigned char* const into = literalBytes.data() + literalCount;
    literalCount += n;
    if (static_cast<std::size_t>(whole.data() + whole.size() - to) >= kWildSlack) {
        copyWild(into, from, n);
    } else if (n > 0) {
        std::memcpy(into, from, n);
    }
}

}  // namespace qor::impl::zstd
