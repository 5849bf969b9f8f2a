// LZ4 blocks: encoding.
//
// Each position that is visited is looked up in two tables, by a hash of its next eight bytes and by one of its next
// four or five, and enters both. Eight equal bytes are a match at once; if there are fewer, the next position is asked
// first whether it has eight. So matches are long and sequences few, which makes a block small and fast to decode.
//
// The tables hold the low 16 bits of positions, as many as an offset has. So the distance to an entry, in 16 bits too,
// is always one that a sequence can name, and never leads out of the content: before position 65,536 every entry is a
// position that has been passed (an empty one is position 0), and from there on 65,535 bytes lie behind. The distance
// to an entry older than that is wrong by a multiple of 65,536, and leads to bytes that differ, or are as good as those
// that were meant. Only a distance of 0 is of no use.
#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "qor/core/codec/lz4.h"
#include "qor/core/codec/match_finder.h"

namespace qor::impl::lz4 {
namespace {

// How contents up to a size are searched. Tables are sized by the content, since to clear large ones takes longer than
// to encode a few hundred bytes. The largest, of 32 and 16 KiB, fill a processor's first cache: with twice the entries
// for short matches blocks are 1 % smaller and take 3 % longer.
struct Search {
    std::size_t most;      // bytes of content
    int bits;              // of a hash of eight bytes; there is one less in the other
    int shortBytes;        // that the other hash is made of
    std::size_t patience;  // bytes without a match of which each position is visited
};

// Matches of four bytes are seldom worth their sequence and its time; but up to the size of the window there are few
// others, and without them arrays of numbers would hardly shrink.
constexpr Search kTiny{512, 8, 4, 32};
constexpr Search kSmall{8192, 12, 4, 32};
constexpr Search kMedium{65'536, 14, 4, 16};
constexpr Search kLarge{std::numeric_limits<std::size_t>::max(), 14, 5, 16};

constexpr std::size_t longEntries(int bits) { return std::size_t{1} << bits; }
constexpr std::size_t shortEntries(int bits) { return std::size_t{1} << (bits - 1); }

struct Match {
    const unsigned char* at;
    const unsigned char* from;
};

template <Search search>
class Finder {
 public:
    Finder(std::uint16_t* tables, const unsigned char* start)
        : longs(tables), shorts(tables + longEntries(search.bits)), content(start) {}

    // The first match from `at` on. If none starts at `last` or before, `Match::at` is null.
    //
    // Without a match the steps from one position to the next grow: 1, 2, 3, 5, 7, 10, 14, ... So noise is soon passed
    // over. Each step is kept for a stretch two and a half times as long as the one before, since of a few hundred
    // bytes enough has to enter for what repeats them later: if it were twice as long, smooth numbers would take 2 %
    // more. No early step is a multiple of 4, which would visit the same byte of each number in an array and none of
    // the others.
    Match find(const unsigned char* at, const unsigned char* last) const {
        std::size_t longSlot = longHash(at);
        std::size_t shortSlot = shortHash(at);
        std::size_t stretch = search.patience;
        for (std::size_t step = 1; step <= static_cast<std::size_t>(last - at); step += 1 + step / 3) {
            const unsigned char* const lastNext = stretch < static_cast<std::size_t>(last - at) ? at + stretch : last;
            while (step <= static_cast<std::size_t>(lastNext - at)) {
                const unsigned char* const next = at + step;
                const std::size_t longDistance = exchange(longs[longSlot], at);
                const std::size_t shortDistance = exchange(shorts[shortSlot], at);
                longSlot = longHash(next);  // before it is known whether it will be needed: it commonly is
                shortSlot = shortHash(next);
                if (equal<std::uint64_t>(at, longDistance)) return {at, at - longDistance};
                if (equal<std::uint32_t>(at, shortDistance)) {
                    const unsigned char* const after = at + 1;
                    const std::size_t distance = exchange(longs[longHash(after)], after);
                    if (equal<std::uint64_t>(after, distance)) return {after, after - distance};
                    return {at, at - shortDistance};
                }
                at = next;
            }
            stretch = stretch * 5 / 2;
        }
        return {nullptr, nullptr};
    }

    void enter(const unsigned char* at) const {
        longs[longHash(at)] = position(at);
        shorts[shortHash(at)] = position(at);
    }

 private:
    static std::size_t longHash(const unsigned char* at) { return hashBytes<8>(at, search.bits); }
    static std::size_t shortHash(const unsigned char* at) { return hashBytes<search.shortBytes>(at, search.bits - 1); }

    std::uint16_t position(const unsigned char* at) const { return static_cast<std::uint16_t>(at - content); }

    // Enters a position and returns the distance to the one whose place it takes.
    std::size_t exchange(std::uint16_t& entry, const unsigned char* at) const {
        const std::uint16_t now = position(at);
        const auto distance = static_cast<std::uint16_t>(now - entry);
        entry = now;
        return distance;
    }

    template <typename Word>
    static bool equal(const unsigned char* at, std::size_t distance) {
        return load<Word>(at) == load<Word>(at - distance) && distance != 0;
    }

    std::uint16_t* const longs;
    std::uint16_t* const shorts;
    const unsigned char* const content;
};

// The part of a count that its half of the token has no room for.
unsigned char* putMore(unsigned char* to, std::size_t count) {
    for (count -= kMoreFollows; count >= 255; count -= 255) *to++ = 255;
    *to++ = static_cast<unsigned char>(count);
    return to;
}

// Copies literals, and some bytes behind them as long as that is before `end`.
void copyLiterals(unsigned char* to, const unsigned char* from, std::size_t count, const unsigned char* end) {
    if (static_cast<std::size_t>(end - from) >= count + kWildSlack) {
        copy16(to, from);
        if (count > 16) copyWild(to + 16, from + 16, count - 16);
    } else if (count > 0) {
        std::memcpy(to, from, count);
    }
}

// Room that suffices for a sequence, two bytes more than it takes at most. `length` counts from kMinMatch.
std::size_t roomFor(std::size_t count, std::size_t length) {
    return 1 + count / 255 + 1 + count + 2 + length / 255 + 1;
}

template <Search search>
std::size_t encodeBlock(std::uint16_t* tables, const unsigned char* content, const unsigned char* at,
                        const unsigned char* end, unsigned char* to, std::size_t room) {
    const Finder<search> finder(tables, content);
    unsigned char* const toStart = to;
    unsigned char* const toEnd = to + room;
    const unsigned char* literals = at;  // of the sequence to come

    if (static_cast<std::size_t>(end - at) > kNoMatchStart) {
        const unsigned char* const last = end - kNoMatchStart;
        for (;;) {
            Match match = finder.find(at, last);
            if (!match.at) break;
            while (match.at > literals && match.from > content && match.at[-1] == match.from[-1]) {
                --match.at;
                --match.from;
            }
            const auto count = static_cast<std::size_t>(match.at - literals);
            const std::size_t length = commonLength(match.at + kMinMatch, match.from + kMinMatch, end - kLastLiterals);
            if (roomFor(count, length) > static_cast<std::size_t>(toEnd - to)) return 0;

            unsigned char& token = *to++;
            if (count < kMoreFollows) {
                token = static_cast<unsigned char>(count << 4);
            } else {
                token = kMoreFollows << 4;
                to = putMore(to, count);
            }
            copyLiterals(to, literals, count, end);
            to += count;
            store(to, static_cast<std::uint16_t>(match.at - match.from));
            to += 2;
            if (length < kMoreFollows) {
                token = static_cast<unsigned char>(token | length);
            } else {
                token |= kMoreFollows;
                to = putMore(to, length);
            }

            at = match.at + kMinMatch + length;
            literals = at;
            if (at > last) break;
            finder.enter(match.at + 2);  // two of the positions that are passed over
            finder.enter(at - 2);
        }
    }

    const auto count = static_cast<std::size_t>(end - literals);
    if (1 + count / 255 + 1 + count > static_cast<std::size_t>(toEnd - to)) return 0;
    *to++ = static_cast<unsigned char>(std::min<std::size_t>(count, kMoreFollows) << 4);
    if (count >= kMoreFollows) to = putMore(to, count);
    if (count > 0) std::memcpy(to, literals, count);
    return static_cast<std::size_t>(to + count - toStart);
}

struct Way {
    Search search;
    decltype(&encodeBlock<kLarge>) encode;
};

template <Search search>
constexpr Way kWay{search, encodeBlock<search>};

const Way& wayFor(std::size_t size) {
    static constexpr Way kWays[] = {kWay<kTiny>, kWay<kSmall>, kWay<kMedium>, kWay<kLarge>};
    return *std::ranges::find_if(kWays, [size](const Way& way) { return size <= way.search.most; });
}

}  // namespace

bool BlockEncoder::prepare() {
    const int bits = wayFor(content.size()).search.bits;
    tables.reset(new (std::nothrow) std::uint16_t[longEntries(bits) + shortEntries(bits)]());
    return tables != nullptr;
}

std::size_t BlockEncoder::encode(std::size_t size, unsigned char* to, std::size_t room) {
    const unsigned char* const at = content.data() + position;
    position += size;
    return wayFor(content.size()).encode(tables.get(), content.data(), at, at + size, to, room);
}

}  // namespace qor::impl::lz4
