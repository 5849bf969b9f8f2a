// DEFLATE: encoding.
//
// One pass over the content finds matches and gathers them, with the counts of what they are coded as, until a block
// ends; then its codes are made, its size is known exactly for each type of block, and the smallest is written.
//
// The format is in deflate.h and deflate_tables.h; source: RFC 1951.
#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <memory>
#include <new>
#include <numeric>
#include <span>

#include "qor/core/codec/bits.h"
#include "qor/core/codec/deflate.h"
#include "qor/core/codec/deflate_tables.h"
#include "qor/core/codec/huffman.h"
#include "qor/core/codec/match_finder.h"

#if defined(__GNUC__)
#define QOR_PREFETCH(address) __builtin_prefetch(address, 1)
#else
#define QOR_PREFETCH(address) static_cast<void>(address)
#endif

namespace qor::impl::deflate {
namespace {

// --- Symbols ---------------------------------------------------------------------------------------------------------

// Indexed by length - kMinMatch: the symbol as an index of kLengths.
constexpr auto kLengthIndex = [] {
    std::array<std::uint8_t, kMaxMatch - kMinMatch + 1> index{};
    for (std::size_t i = 0; i != kLengths.size(); ++i) {
        for (std::size_t k = 0; k < std::size_t{1} << kLengths[i].extraBits; ++k) {
            const std::size_t place = kLengths[i].base + k - kMinMatch;
            if (place < index.size()) index[place] = static_cast<std::uint8_t>(i);  // 258 goes to the last symbol
        }
    }
    return index;
}();

// Two symbols for each power of two, told apart by the next bit; the first four stand for one distance each.
inline std::uint32_t distanceSymbol(std::uint32_t distance) {
    const std::uint32_t last = distance - 1;
    if (last < 4) return last;
    const auto bits = static_cast<std::uint32_t>(std::bit_width(last));
    return 2 * (bits - 1) + (last >> (bits - 2) & 1);
}

// --- Codes -----------------------------------------------------------------------------------------------------------

std::uint32_t reversed(std::uint32_t word, unsigned bits) {
    std::uint32_t result = 0;
    for (unsigned i = 0; i < bits; ++i, word >>= 1) result = result << 1 | (word & 1);
    return result;
}

// A code: the length of each symbol's word, and the word reversed, as it is written.
template <std::size_t n>
struct Code {
    std::array<std::uint8_t, n> lengths;
    std::array<std::uint16_t, n> words;

    // RFC 1951, 3.2.2: words of one length are consecutive numbers, shorter ones come first, from 0 on.
    void makeWords() {
        std::array<std::uint32_t, kMaxCodeBits + 1> count{};
        for (const std::uint8_t length : lengths) ++count[length];
        std::array<std::uint32_t, kMaxCodeBits + 1> next{};
        for (std::size_t length = 2; length <= kMaxCodeBits; ++length) {
            next[length] = (next[length - 1] + count[length - 1]) << 1;
        }
        for (std::size_t i = 0; i < n; ++i) {
            words[i] = static_cast<std::uint16_t>(reversed(next[lengths[i]]++, lengths[i]));
        }
    }

    template <typename Counts>
    std::uint64_t cost(const Counts& counts) const {
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < counts.size(); ++i) bits += std::uint64_t{counts[i]} * lengths[i];
        return bits;
    }
};

struct Codes {
    Code<kFixedLiteralSymbols> literals;
    Code<kFixedDistanceSymbols> distances;
};

struct Counts {
    std::array<std::uint32_t, kFixedLiteralSymbols> literals{};
    std::array<std::uint32_t, kFixedDistanceSymbols> distances{};

    std::uint64_t extraBits() const {
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < kLengths.size(); ++i) {
            bits += std::uint64_t{literals[kFirstLength + i]} * kLengths[i].extraBits;
        }
        for (std::size_t i = 0; i < kDistances.size(); ++i)
            bits += std::uint64_t{distances[i]} * kDistances[i].extraBits;
        return bits;
    }
};

// Longest words that we make: a bit less for literals than the format's 15, so that four of them fit between two
// flushes of the writer. It costs nothing measurable.
constexpr int kMaxLiteralBits = 14;
constexpr int kMaxDistanceBits = kMaxCodeBits;
static_assert(4 * kMaxLiteralBits <= 56 && kMaxLiteralBits + 5 + kMaxDistanceBits + 13 <= 56);

// --- The header of a dynamic block -----------------------------------------------------------------------------------

// The lengths of both codes as RFC 1951, 3.2.7 writes them: one sequence with runs shortened, itself coded.
class CodeHeader {
 public:
    explicit CodeHeader(const Codes& codes) {
        literalCount = used(codes.literals.lengths, kLiteralSymbols, kFirstLength);
        distanceCount = used(codes.distances.lengths, kDistanceSymbols, 1);
        std::array<std::uint8_t, kLiteralSymbols + kDistanceSymbols> lengths;
        std::copy_n(codes.literals.lengths.begin(), literalCount, lengths.begin());
        std::copy_n(codes.distances.lengths.begin(), distanceCount, lengths.begin() + literalCount);
        shorten({lengths.data(), literalCount + distanceCount});

        std::array<std::uint32_t, kLengthSymbols> counts{};
        for (std::size_t i = 0; i < itemCount; ++i) ++counts[items[i].symbol];
        codeLengths(counts, kMaxLengthCodeBits, code.lengths);
        // The end of the block has a word, so its length does, which is none of the first four.
        lengthCount = kLengthSymbols;
        while (code.lengths[kLengthOrder[lengthCount - 1]] == 0) --lengthCount;

        bits = 5 + 5 + 4 + 3 * lengthCount + code.cost(counts);
        for (std::size_t i = 0; i < kRuns.size(); ++i)
            bits += std::uint64_t{counts[kRepeatLength + i]} * kRuns[i].extraBits;
    }

    std::uint64_t size() const { return bits; }

    void write(BitWriter& out) {
        out.put(literalCount - kFirstLength, 5);
        out.put(distanceCount - 1, 5);
        out.put(lengthCount - 4, 4);
        for (std::size_t i = 0; i < lengthCount; ++i) out.put(code.lengths[kLengthOrder[i]], 3);
        code.makeWords();
        for (std::size_t i = 0; i < itemCount; ++i) {
            const Item item = items[i];
            out.add(code.words[item.symbol], code.lengths[item.symbol]);
            if (item.symbol >= kRepeatLength) out.add(item.extra, kRuns[item.symbol - kRepeatLength].extraBits);
            out.flush();
        }
    }

 private:
    struct Item {
        std::uint8_t symbol;
        std::uint8_t extra = 0;
    };

    // How many of a code's lengths are given: the last ones need not be if they are 0.
    template <std::size_t n>
    static std::size_t used(const std::array<std::uint8_t, n>& lengths, std::size_t most, std::size_t least) {
        while (most > least && lengths[most - 1] == 0) --most;
        return most;
    }

    void shorten(std::span<const std::uint8_t> lengths) {
        for (std::size_t i = 0; i < lengths.size();) {
            const std::uint8_t length = lengths[i];
            std::size_t run = 1;
            while (i + run < lengths.size() && lengths[i + run] == length) ++run;
            i += run;
            if (length == 0) {
                while (run >= 11) run -= addRun(kManyZeros, std::min<std::size_t>(run, 138));
                if (run >= 3) run -= addRun(kFewZeros, run);
            } else {
                items[itemCount++] = {length};
                --run;
                while (run >= 3) run -= addRun(kRepeatLength, std::min<std::size_t>(run, 6));
            }
            for (; run > 0; --run) items[itemCount++] = {length};
        }
    }

    std::size_t addRun(std::size_t symbol, std::size_t n) {
        items[itemCount++] = {static_cast<std::uint8_t>(symbol),
                              static_cast<std::uint8_t>(n - kRuns[symbol - kRepeatLength].base)};
        return n;
    }

    std::size_t literalCount;
    std::size_t distanceCount;
    std::size_t lengthCount;
    std::size_t itemCount = 0;
    std::uint64_t bits;
    Code<kLengthSymbols> code;
    std::array<Item, kLiteralSymbols + kDistanceSymbols> items;
};

// --- Matches ---------------------------------------------------------------------------------------------------------

struct Match {
    std::uint32_t length = 0;
    std::uint32_t distance = 0;
};

// Finds matches by chains: of the positions whose next four bytes have the same hash, a table knows the last, and each
// position knows the one before. Matches of three bytes, which pay less, have a table without chains.
//
// Positions have 16 bits and wrap, which tells apart all within 64 KiB, twice the window. An entry that is older gives
// some distance all the same, so a candidate is a match if its bytes are equal, whatever led to it. A chain ends where
// the distance leaves the window or does not grow: the place of a position is taken by the one a window later.
//
// Content as large as the window has tables of sizes that the compiler knows.
template <bool large>
class Finder {
 public:
    // Bytes that must be left at a position for it to be looked up: those that are hashed there and at the next one.
    static constexpr std::size_t kReach = 8 + 1;

    // Takes memory: 256 KiB, and less in proportion for content below the window's size.
    bool prepare(Bytes all) {
        content = all.data();
        end = content + all.size();
        const auto width = static_cast<int>(std::bit_width(all.size()));
        smallBits4 = std::clamp(width, 6, kBits4);
        smallBits3 = std::clamp(width, 6, kBits3);
        smallMask = std::min(kWindowSize, std::bit_ceil(all.size() + 1)) - 1;
        const std::size_t heads = (std::size_t{1} << bits4()) + (std::size_t{1} << bits3());
        tables.reset(new (std::nothrow) std::uint16_t[heads + mask() + 1]);
        if (!tables) return false;
        // All places lead to position 0 then, which needs none.
        std::fill_n(tables.get(), heads, std::uint16_t{0});
        return true;
    }

    // The longest match at `at`, if it is longer than `least`; otherwise one of that length, whose distance means
    // nothing. Looks at `depth` candidates at most and is content with a length of `enough`. Keeps the position.
    Match longest(const unsigned char* at, std::uint32_t least, std::uint32_t enough, int depth) {
        const auto here = static_cast<std::uint16_t>(at - content);
        const auto window = static_cast<std::uint32_t>(std::min(static_cast<std::size_t>(at - content), kWindowSize));
        const auto most = static_cast<std::uint32_t>(std::min(static_cast<std::size_t>(end - at), kMaxMatch));
        const auto distanceTo = [here](std::uint16_t position) -> std::uint32_t {
            return wrappedDifference(here, position);
        };
        const std::uint16_t candidate3 = last3()[next3];
        std::uint16_t candidate = last4()[next4];
        keep(at);

        const auto bytes = load<std::uint32_t>(at);
        Match best{least, 0};
        std::uint32_t distance = 0;
        if (least < 4) {
            // The common case is that there is none, and noise has it nearly always. So nothing is asked of a candidate
            // but whether its bytes are equal, at a distance cut to the window: questions whose answers are by chance,
            // such as whether it lies within the window, would cost more than looking. The same holds for its chain,
            // which is given up after a few candidates of other bytes.
            if (least < kMinMatch) {
                const std::uint32_t near = std::min(distanceTo(candidate3), window);
                const bool isEqual = ((load<std::uint32_t>(at - near) ^ bytes) & kThreeBytes) == 0;
                if (isEqual && near != 0) best = {3, near};
            }
            for (int tries = kTries;; candidate = before()[candidate & mask()]) {
                distance = std::min(distanceTo(candidate), window);
                if (load<std::uint32_t>(at - distance) == bytes) break;
                if (--tries == 0) return best;
            }
            if (distance == 0) return best;
            best = {lengthAt(at, distance, most), distance};
            candidate = before()[candidate & mask()];
        }
        enough = std::min(enough, most);
        while (best.length < enough) {
            // Longer ones have the same first bytes, and the same last ones of the length that is to be beaten.
            const std::size_t tail = best.length - 3;
            const auto lastBytes = load<std::uint32_t>(at + tail);
            for (;; candidate = before()[candidate & mask()]) {
                const std::uint32_t further = distanceTo(candidate);
                if (further <= distance || further > window || --depth == 0) return best;
                distance = further;
                const unsigned char* const there = at - distance;
                if (load<std::uint32_t>(there + tail) == lastBytes && load<std::uint32_t>(there) == bytes) break;
            }
            const std::uint32_t length = lengthAt(at, distance, most);
            if (length > best.length) best = {length, distance};
            candidate = before()[candidate & mask()];
        }
        return best;
    }

    // Keeps `n` positions from `at` on.
    void skip(const unsigned char* at, std::size_t n) {
        for (; n > 0 && static_cast<std::size_t>(end - at) >= kReach; --n) keep(at++);
    }

 private:
    // The sizes of the tables. More would find a little more, and cost their share of the second cache.
    static constexpr int kBits4 = 16;
    static constexpr int kBits3 = 15;

    // Candidates of other bytes before a chain is given up. With 1 the encoder is as fast and its streams are 0.4 %
    // longer; with no limit noise takes nearly twice the time, and they are 0.05 % shorter.
    static constexpr int kTries = 3;

    static constexpr std::uint32_t kThreeBytes = 0xFFFFFF;

    // The length of a match of four bytes or more.
    static std::uint32_t lengthAt(const unsigned char* at, std::uint32_t distance, std::uint32_t most) {
        return static_cast<std::uint32_t>(4 + commonLength(at + 4, at + 4 - distance, at + most));
    }

    void keep(const unsigned char* at) {
        const auto position = static_cast<std::uint16_t>(at - content);
        last3()[next3] = position;
        before()[position & mask()] = last4()[next4];
        last4()[next4] = position;
        lookAhead(at + 1);
    }

    // The hashes of the next position, whose places in the tables are fetched in the meantime.
    void lookAhead(const unsigned char* at) {
        next3 = hashBytes<3>(at, bits3());
        next4 = hashBytes<4>(at, bits4());
        QOR_PREFETCH(&last3()[next3]);
        QOR_PREFETCH(&last4()[next4]);
    }

    int bits4() const { return large ? kBits4 : smallBits4; }
    int bits3() const { return large ? kBits3 : smallBits3; }
    std::size_t mask() const { return large ? kWindowSize - 1 : smallMask; }

    // The three tables, one behind the other.
    std::uint16_t* last4() const { return tables.get(); }
    std::uint16_t* last3() const { return last4() + (std::size_t{1} << bits4()); }
    std::uint16_t* before() const { return last3() + (std::size_t{1} << bits3()); }

    const unsigned char* content = nullptr;
    const unsigned char* end = nullptr;
    std::unique_ptr<std::uint16_t[]> tables;
    std::size_t smallMask = 0;
    int smallBits4 = 0;
    int smallBits3 = 0;
    std::uint32_t next3 = 0;
    std::uint32_t next4 = 0;
};

// --- Choices ---------------------------------------------------------------------------------------------------------

// Tells where the content changes its character, so that new codes pay. What is coded is sorted into ten classes: bytes
// by their top two bits and the lowest, matches by being short or long.
class Statistics {
 public:
    // Symbols between two looks, and the size below which no block ends.
    static constexpr std::uint32_t kStep = 512;
    static constexpr std::size_t kMinBlock = 5000;

    // Called from time to time with the counts of the block so far. True if what has come since the last time differs
    // from what was there before: the more willingly the larger the block, while small ones need to be sure.
    bool changed(const Counts& counts, std::size_t blockSize) {
        std::array<std::uint32_t, kClasses> now{};
        for (std::size_t byte = 0; byte < 256; ++byte) now[(byte >> 5 & 6) | (byte & 1)] += counts.literals[byte];
        for (std::size_t i = 0; i < kLengths.size(); ++i) {
            now[kLengths[i].base < 9 ? 8 : 9] += counts.literals[kFirstLength + i];
        }
        std::uint64_t oldTotal = 0;
        std::uint64_t newTotal = 0;
        for (std::size_t i = 0; i < kClasses; ++i) {
            oldTotal += before[i];
            newTotal += now[i] - before[i];
        }
        std::uint64_t difference = 0;  // as parts of oldTotal * newTotal
        for (std::size_t i = 0; i < kClasses; ++i) {
            const std::uint64_t expected = before[i] * newTotal;
            const std::uint64_t actual = (now[i] - before[i]) * oldTotal;
            difference += std::max(expected, actual) - std::min(expected, actual);
        }
        before = now;
        if (oldTotal == 0 || blockSize < kMinBlock) return false;

        constexpr std::uint64_t kFew = 8192;
        const std::uint64_t symbols = oldTotal + newTotal;
        std::uint64_t limit = oldTotal * newTotal * 2 / 5;
        if (blockSize < 2 * kMinBlock && symbols < kFew) limit += limit * (kFew - symbols) / kFew;
        return difference + blockSize / 4096 * oldTotal >= limit;
    }

    void reset() { before = {}; }

 private:
    static constexpr std::size_t kClasses = 10;
    std::array<std::uint32_t, kClasses> before{};
};

// The least length of a match for content of so many different bytes: the fewer there are, the less each costs, and
// the longer a match must be to cost less.
std::uint32_t minLengthFor(std::size_t distinct) {
    if (distinct < 6) return 9;
    if (distinct < 8) return 8;
    if (distinct < 10) return 7;
    if (distinct < 16) return 6;
    if (distinct < 45) return 5;
    if (distinct < 80) return 4;
    return kMinMatch;
}

// Tells whether a match of three bytes is worth more than the bytes as they stand. At short distances it nearly always
// is; at long ones only where bytes are dear, as in noisy numbers and pixels. What symbols cost follows from how often
// they have occurred in the block.
class ShortMatches {
 public:
    // For content of which nothing is known but its first bytes.
    void expect(Bytes start) {
        Counts counts;
        for (const unsigned char byte : start) ++counts.literals[byte];
        literals = costs<256>(counts.literals.data(), start.size());
        length = kUnit * 5;
        for (std::size_t i = 0; i < distances.size(); ++i) distances[i] = kUnit * (4u + kDistances[i].extraBits);
    }

    void expect(const Counts& counts) {
        const auto literalTotal = std::accumulate(counts.literals.begin(), counts.literals.end(), std::size_t{0});
        const auto distanceTotal = std::accumulate(counts.distances.begin(), counts.distances.end(), std::size_t{0});
        literals = costs<256>(counts.literals.data(), literalTotal);
        length = costs<1>(&counts.literals[kFirstLength], literalTotal)[0];
        distances = costs<kDistances.size()>(counts.distances.data(), distanceTotal);
        for (std::size_t i = 0; i < distances.size(); ++i) distances[i] += kUnit * kDistances[i].extraBits;
    }

    bool isWorth(const unsigned char* at, std::uint32_t distance) const {
        const std::uint32_t bytes = literals[at[0]] + literals[at[1]] + literals[at[2]];
        return bytes + kBonus > length + distances[distanceSymbol(distance)];
    }

 private:
    // Costs are in sixteenths of a bit. A match is given two bits for what it saves later: the more of them there are,
    // the less each costs, and the less often the bytes stand alone.
    static constexpr std::uint32_t kUnit = 16;
    static constexpr std::uint32_t kBonus = 2 * kUnit;

    // By straight lines between powers of two.
    static std::uint32_t log2(std::size_t x) {
        const auto whole = static_cast<std::uint32_t>(std::bit_width(x >> 1));
        return kUnit * whole + static_cast<std::uint32_t>((x * kUnit >> whole) - kUnit);
    }

    // A symbol that has not occurred counts as half of one.
    template <std::size_t n>
    static std::array<std::uint32_t, n> costs(const std::uint32_t* counts, std::size_t total) {
        std::array<std::uint32_t, n> result;
        for (std::size_t i = 0; i < n; ++i) result[i] = log2(2 * total + 2) - log2(2 * counts[i] + 1);
        return result;
    }

    std::array<std::uint32_t, 256> literals;
    std::uint32_t length;
    std::array<std::uint32_t, kDistances.size()> distances;
};

// --- Blocks ----------------------------------------------------------------------------------------------------------

// Some bytes as they stand, and then a match.
struct Sequence {
    std::uint32_t literals;
    std::uint16_t length;  // 0 at the end of a block
    std::uint16_t distance;
};

// What ends a block at the latest: matches, for which there is memory, and content bytes, looked at once per step.
constexpr std::size_t kMaxSequences = 50000;
constexpr std::size_t kMaxBlock = 300000;

class Encoder {
 public:
    Encoder(Bytes all, unsigned char* to) : content(all), out(to), start(to) {}

    unsigned char* encode() {
        maxSequences = std::min(kMaxSequences, content.size() / kMinMatch + 1);
        sequences.reset(new (std::nothrow) Sequence[maxSequences + 1]);
        if (!sequences) return nullptr;
        return content.size() >= kWindowSize ? encodeWith<true>() : encodeWith<false>();
    }

 private:
    // How hard matches are looked for: candidates at a position, and at the next one for something better; and the
    // length that is good enough to stop. Deeper is denser and slower, 0.1 % for 3 %.
    static constexpr int kDepth = 48;
    static constexpr int kLaterDepth = kDepth / 3;
    static constexpr std::uint32_t kEnough = 128;

    template <bool large>
    unsigned char* encodeWith() {
        Finder<large> finder;
        if (!finder.prepare(content)) return nullptr;
        const unsigned char* const end = content.data() + content.size();
        const unsigned char* at = content.data();
        shortMatches.expect(content.first(std::min(kFirstLook, content.size())));
        do {
            const unsigned char* const block = at;
            at = gather(finder, block, end);
            if (!writeBlock(block, at, at == end)) return storeAll();
        } while (at != end);
        return out.at;
    }

    // What a match is worth: the bytes that it covers, less what its distance costs.
    static int worth(Match match) {
        return static_cast<int>(4 * match.length) - static_cast<int>(std::bit_width(match.distance));
    }

    // Gathers the sequences and counts of the block that begins at `from`, and says where it ends.
    template <bool large>
    const unsigned char* gather(Finder<large>& finder, const unsigned char* const from,
                                const unsigned char* const end) {
        const unsigned char* at = from;
        const unsigned char* run = from;  // the bytes since the last match
        const auto left = [&] { return static_cast<std::size_t>(end - at); };
        counts = Counts();
        sequenceCount = 0;
        statistics.reset();
        std::uint32_t minLength = firstMinLength({from, std::min(kFirstLook, left())});
        std::size_t nextMinLength = 2 * Statistics::kMinBlock;
        std::uint32_t symbols = 0;  // since the last look
        std::uint32_t looks = 0;

        while (left() >= finder.kReach) {
            if (symbols >= Statistics::kStep) {
                symbols = 0;
                const auto size = static_cast<std::size_t>(at - from);
                if (size >= kMaxBlock || (statistics.changed(counts, size) && left() >= Statistics::kMinBlock)) break;
                if (looks++ % 4 == 0) shortMatches.expect(counts);
                if (size >= nextMinLength) {
                    minLength = laterMinLength();
                    nextMinLength = 2 * size;
                }
            }
            Match match = finder.longest(at, minLength - 1, kEnough, kDepth);
            if (match.length < minLength || (match.length == 3 && !shortMatches.isWorth(at, match.distance))) {
                ++counts.literals[*at++];
                ++symbols;
                continue;
            }
            // If the next position has a better match, the byte at this one goes as it stands; and so on from there.
            std::size_t kept = 1;
            while (match.length < kEnough && left() > finder.kReach) {
                const Match later = finder.longest(at + 1, match.length - 1, kEnough, kLaterDepth);
                if (later.length < match.length || worth(later) <= worth(match) + 2) {
                    kept = 2;
                    break;
                }
                ++counts.literals[*at++];
                ++symbols;
                match = later;
            }
            finder.skip(at + kept, match.length - kept);
            add(static_cast<std::uint32_t>(at - run), match);
            ++symbols;
            at += match.length;
            run = at;
            if (sequenceCount == maxSequences) break;
        }
        if (left() < finder.kReach) {
            while (at < end) ++counts.literals[*at++];
        }
        counts.literals[kEndOfBlock] = 1;
        sequences[sequenceCount] = {static_cast<std::uint32_t>(at - run), 0, 0};
        return at;
    }

    // Bytes that are looked at before anything has been coded.
    static constexpr std::size_t kFirstLook = 4096;

    static std::uint32_t firstMinLength(Bytes first) {
        std::array<bool, 256> seen{};
        for (const unsigned char byte : first) seen[byte] = true;
        return minLengthFor(static_cast<std::size_t>(std::count(seen.begin(), seen.end(), true)));
    }

    // From what was coded so far, leaving out bytes that hardly occur.
    std::uint32_t laterMinLength() const {
        const auto bytes = std::span(counts.literals).first(256);
        const std::uint32_t few = std::accumulate(bytes.begin(), bytes.end(), std::uint32_t{0}) >> 10;
        return minLengthFor(static_cast<std::size_t>(
            std::count_if(bytes.begin(), bytes.end(), [few](std::uint32_t count) { return count > few; })));
    }

    void add(std::uint32_t literals, Match match) {
        ++counts.literals[kFirstLength + kLengthIndex[match.length - kMinMatch]];
        ++counts.distances[distanceSymbol(match.distance)];
        sequences[sequenceCount++] = {literals, static_cast<std::uint16_t>(match.length),
                                      static_cast<std::uint16_t>(match.distance)};
    }

    std::uint64_t bytesFor(std::uint64_t bits) const { return (out.count + bits + 7) / 8; }

    // Writes a block in the smallest of its forms. False if what has been written would then be longer than all content
    // stored, for which alone there is room.
    bool writeBlock(const unsigned char* from, const unsigned char* to, bool isLast) {
        const auto size = static_cast<std::uint64_t>(to - from);
        codeLengths(counts.literals, kMaxLiteralBits, codes.literals.lengths);
        codeLengths(counts.distances, kMaxDistanceBits, codes.distances.lengths);
        CodeHeader header(codes);
        const std::uint64_t extraBits = counts.extraBits();
        const std::uint64_t dynamicBits = 3 + header.size() + codes.literals.cost(counts.literals) +
                                          codes.distances.cost(counts.distances) + extraBits;

        Codes fixed;
        fixed.literals.lengths = kFixedLiteralLengths;
        fixed.distances.lengths = kFixedDistanceLengths;
        const std::uint64_t fixedBits =
            3 + fixed.literals.cost(counts.literals) + fixed.distances.cost(counts.distances) + extraBits;

        const std::uint64_t storedBytes = largestStream(size) + (out.count > 8 - 3);
        const std::uint64_t bytes = std::min({bytesFor(dynamicBits), bytesFor(fixedBits), storedBytes});
        if (static_cast<std::uint64_t>(out.at - start) + bytes > largestStream(content.size())) return false;
        if (bytes == storedBytes) {
            store(from, to, isLast);
            return true;
        }
        out.add(isLast, 1);
        if (fixedBits <= dynamicBits) {
            out.put(kFixed, 2);
            fixed.literals.makeWords();
            fixed.distances.makeWords();
            writeSymbols(from, fixed);
        } else {
            out.put(kDynamic, 2);
            header.write(out);
            codes.literals.makeWords();
            codes.distances.makeWords();
            writeSymbols(from, codes);
        }
        if (isLast) out.alignToByte();
        return true;
    }

    // Content that nothing makes smaller.
    unsigned char* storeAll() {
        out = BitWriter(start);
        store(content.data(), content.data() + content.size(), true);
        return out.at;
    }

    void store(const unsigned char* from, const unsigned char* to, bool isLast) {
        do {
            const auto size = std::min<std::size_t>(static_cast<std::size_t>(to - from), kMaxStored);
            out.put(isLast && from + size == to, 1);
            out.put(kStored, 2);
            out.alignToByte();
            out.put(size, 16);
            out.put(~size & 0xFFFF, 16);
            std::copy_n(from, size, out.at);
            out.at += size;
            from += size;
        } while (from < to);
    }

    void writeSymbols(const unsigned char* from, const Codes& with) {
        const auto& literals = with.literals;
        // Lengths with their extra bits behind them.
        struct Written {
            std::uint32_t bits;
            std::uint32_t count;
        };
        std::array<Written, kMaxMatch - kMinMatch + 1> lengths;
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            const std::size_t index = kLengthIndex[i];
            const unsigned codeBits = literals.lengths[kFirstLength + index];
            const std::size_t extra = i + kMinMatch - kLengths[index].base;
            lengths[i] = {static_cast<std::uint32_t>(literals.words[kFirstLength + index] | extra << codeBits),
                          codeBits + kLengths[index].extraBits};
        }
        BitWriter to = out;
        const auto putByte = [&](unsigned char byte) { to.add(literals.words[byte], literals.lengths[byte]); };
        for (const Sequence* sequence = sequences.get();; ++sequence) {
            std::uint32_t n = sequence->literals;
            for (; n >= 4; n -= 4, from += 4) {
                putByte(from[0]);
                putByte(from[1]);
                putByte(from[2]);
                putByte(from[3]);
                to.flush();
            }
            for (; n > 0; --n) putByte(*from++);
            to.flush();
            if (sequence->length == 0) break;
            const Written length = lengths[sequence->length - kMinMatch];
            to.add(length.bits, length.count);
            const std::uint32_t symbol = distanceSymbol(sequence->distance);
            to.add(with.distances.words[symbol], with.distances.lengths[symbol]);
            to.add(static_cast<std::uint32_t>(sequence->distance - kDistances[symbol].base),
                   kDistances[symbol].extraBits);
            to.flush();
            from += sequence->length;
        }
        to.put(literals.words[kEndOfBlock], literals.lengths[kEndOfBlock]);
        out = to;
    }

    Bytes content;
    BitWriter out;
    unsigned char* start;
    std::unique_ptr<Sequence[]> sequences;
    std::size_t maxSequences = 0;
    std::size_t sequenceCount = 0;
    Counts counts;
    Codes codes;
    ShortMatches shortMatches;
    Statistics statistics;
};

}  // namespace

std::uint64_t largestStream(std::uint64_t size) {
    const std::uint64_t blocks = size / kMaxStored + (size % kMaxStored != 0 || size == 0);
    return size + 5 * blocks;
}

unsigned char* encode(Bytes content, unsigned char* to) { return Encoder(content, to).encode(); }

}  // namespace qor::impl::deflate
