// LZ4 blocks: encoding.
//
// Each position that is visited is looked up in two tables, by a hash of its next eight bytes and by one of its next
// five, and enters both. Eight equal bytes are a match at once; if there are fewer, the next position is asked first
// whether it has eight. So matches are long and sequences few, which makes a block small and fast to decode.
//
// The tables hold the low 16 bits of positions, as many as an offset has. So the distance to an entry, in 16 bits too,
// is always one that a sequence can name, and never leads out of the content: before position 65,536 every entry is a
// position that has been passed (an empty one is position 0), and from there on 65,535 bytes lie behind. The distance
// to an entry older than that is wrong by a multiple of 65,536, and leads to bytes that differ, or are as good as those
// that were meant. Only a distance of 0 is of no use.
#include <algorithm>
#include <cstring>
#include <new>

#include "qor/core/codec/lz4.h"
#include "qor/core/codec/match_finder.h"

namespace qor::impl::lz4 {
namespace {

// The bits of a hash of eight bytes; there is one less in the other. Tables are sized by the content, since to clear
// large ones takes longer than to encode a few hundred bytes. The large ones, of 32 and 16 KiB, fill a processor's
// first cache: with twice the entries for short matches blocks are 1 % smaller and take 3 % longer.
constexpr int kSmallBits = 8;
constexpr int kMediumBits = 12;
constexpr int kLargeBits = 14;
constexpr std::size_t kSmallContent = 512;
constexpr std::size_t kMediumContent = 8192;

constexpr std::size_t longEntries(int bits) { return std::size_t{1} << bits; }
constexpr std::size_t shortEntries(int bits) { return std::size_t{1} << (bits - 1); }

struct Match {
    const unsigned char* at;
    const unsigned char* from;
};

template <int bits>
class Finder {
 public:
    Finder(std::uint16_t* tables, const unsigned char* start)
        : longs(tables), shorts(tables + longEntries(bits)), content(start) {}

    // The first match from `at` on. If none starts at `last` or before, `Match::at` is null.
    Match find(const unsigned char* at, const unsigned char* last) const {
        std::size_t pace = kPatience;
        std::size_t longSlot = longHash(at);
        std::size_t shortSlot = shortHash(at);
        for (;;) {
            const std::size_t step = pace++ / kPatience;
            if (step > static_cast<std::size_t>(last - at)) return {nullptr, nullptr};
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
    }

    void enter(const unsigned char* at) const {
        longs[longHash(at)] = position(at);
        shorts[shortHash(at)] = position(at);
    }

 private:
    // Matches of four bytes are seldom worth their sequence; but little content has few others, and is searched with
    // more patience.
    static constexpr int kShortBytes = bits == kLargeBits ? 5 : 4;

    // After so many positions in a row without a match the step from one to the next grows by one. With 32 large blocks
    // are 0.6 % smaller (arrays of noisy numbers, in which matches are few, up to 3 %) and take 8 % longer.
    static constexpr std::size_t kPatience = bits == kLargeBits ? 16 : 32;

    static std::size_t longHash(const unsigned char* at) { return hashBytes<8>(at, bits); }
    static std::size_t shortHash(const unsigned char* at) { return hashBytes<kShortBytes>(at, bits - 1); }

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

template <int bits>
std::size_t encodeBlock(std::uint16_t* tables, const unsigned char* content, const unsigned char* at,
                        const unsigned char* end, unsigned char* to, std::size_t room) {
    const Finder<bits> finder(tables, content);
    unsigned char* const toStart = to;
    unsigned char* const toEnd = to + room;
    const unsigned char* literals = at;  // of the sequence to come

    if (static_cast<std::size_t>(end - at) > kNoMatchStart) {
        const unsigned char* const last = end - kNoMatchStart;
        while (at <= last) {
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

}  // namespace

bool BlockEncoder::prepare() {
    tableBits = content.size() <= kSmallContent    ? kSmallBits
                : content.size() <= kMediumContent ? kMediumBits
                                                   : kLargeBits;
    tables.reset(new (std::nothrow) std::uint16_t[longEntries(tableBits) + shortEntries(tableBits)]());
    return tables != nullptr;
}

std::size_t BlockEncoder::encode(std::size_t size, unsigned char* to, std::size_t room) {
    const unsigned char* const at = content.data() + position;
    position += size;
    switch (tableBits) {
        case kSmallBits:
            return encodeBlock<kSmallBits>(tables.get(), content.data(), at, at + size, to, room);
        case kMediumBits:
            return encodeBlock<kMediumBits>(tables.get(), content.data(), at, at + size, to, room);
        default:
            return encodeBlock<kLargeBits>(tables.get(), content.data(), at, at + size, to, room);
    }
}

}  // namespace qor::impl::lz4
