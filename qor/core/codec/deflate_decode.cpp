// DEFLATE: decoding.
//
// A code is a table that the next bits of the stream are looked up in. Words longer than its index lead to a second
// table, behind the first, which the rest of their bits are looked up in. What an entry holds is all that the loops
// need to know of a symbol, so that they take no further look:
//
//     bits 0-7    bits to drop: the word and its extra bits; in the first table, the index of a second one
//     bits 8-11   bits of the word alone, behind which the extra bits begin; or those that index the second table
//     bit 14      second table
//     bit 15      special: second table, end of block, or a word that stands for nothing
//     bits 16-30  the byte; the least length or distance; where the second table begins; kInvalid
//     bit 31      the symbol is a byte
//
// Source: RFC 1951. Nothing in a stream is trusted: each code must be complete, but for those that RFC 1951 and common
// practice let through with a single word of one bit or, for distances, with none.
#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <span>

#include "qor/core/codec/adler32.h"
#include "qor/core/codec/bits.h"
#include "qor/core/codec/deflate.h"
#include "qor/core/codec/deflate_tables.h"

// Processors with BMI2 shift by a variable amount in one step, of which decoding is made. Where the compiler can, the
// fast loop is built once more for them, from the same source, and chosen when the program runs.
#if defined(__GNUC__) && defined(__x86_64__)
#define QOR_FOR_BMI2 [[gnu::target("bmi,bmi2"), gnu::flatten]]
#define QOR_HAS_BMI2 __builtin_cpu_supports("bmi2")
#else
#define QOR_FOR_BMI2
#define QOR_HAS_BMI2 false
#endif

namespace qor::impl::deflate {
namespace {

using Entry = std::uint32_t;

constexpr Entry kSecondTable = 1 << 14;
constexpr Entry kSpecial = 1 << 15;
constexpr Entry kByte = Entry{1} << 31;
constexpr int kValueShift = 16;

// Special entries that are no second table.
constexpr Entry kEnd = kSpecial;
constexpr Entry kInvalid = kSpecial | 1 << kValueShift;

constexpr unsigned droppedBits(Entry entry) { return entry & 0xFF; }
constexpr unsigned wordBits(Entry entry) { return entry >> 8 & 63; }
constexpr std::uint32_t value(Entry entry) { return entry >> kValueShift & 0x7FFF; }

// The bits of the first table's index, chosen so that nearly all words are found there and the tables stay in the first
// cache; and the entries that first and second tables take at most, for codes of as many symbols as there may be.
constexpr int kLiteralIndexBits = 11;
constexpr std::size_t kLiteralEntries = 2342;
constexpr int kDistanceIndexBits = 8;
constexpr std::size_t kDistanceEntries = 402;
// The bits of the longest distance: a word and its extra bits.
constexpr unsigned kMaxDistanceDrop = kMaxCodeBits + 13;
constexpr int kLengthIndexBits = kMaxLengthCodeBits;
constexpr std::size_t kLengthEntries = 1 << kLengthIndexBits;

// What the symbols mean: entries without the bits of the word.
consteval Entry meaningOf(Range range) { return static_cast<Entry>(range.base << kValueShift | range.extraBits); }

consteval auto meaningsOfLiterals() {
    std::array<Entry, kFixedLiteralSymbols> meanings{};
    meanings.fill(kInvalid);
    for (Entry byte = 0; byte < 256; ++byte) meanings[byte] = kByte | byte << kValueShift;
    meanings[kEndOfBlock] = kEnd;
    for (std::size_t i = 0; i < kLengths.size(); ++i) meanings[kFirstLength + i] = meaningOf(kLengths[i]);
    return meanings;
}
constexpr auto kLiteralMeanings = meaningsOfLiterals();

consteval auto meaningsOfDistances() {
    std::array<Entry, kFixedDistanceSymbols> meanings{};
    meanings.fill(kInvalid);
    for (std::size_t i = 0; i < kDistances.size(); ++i) meanings[i] = meaningOf(kDistances[i]);
    return meanings;
}
constexpr auto kDistanceMeanings = meaningsOfDistances();

constexpr auto kLengthMeanings = [] {
    std::array<Entry, kLengthSymbols> meanings{};
    for (Entry symbol = 0; symbol < kLengthSymbols; ++symbol) meanings[symbol] = symbol << kValueShift;
    return meanings;
}();

enum class Incomplete { Refused, OneWord, OneWordOrNone };

// The word after `word`, of `bits` bits: both are reversed, so 1 is added at the top and carried down.
constexpr std::uint32_t nextReversed(std::uint32_t word, unsigned bits) {
    const std::uint32_t zeros = ~word & ((std::uint32_t{1} << bits) - 1);
    if (zeros == 0) return 0;
    const std::uint32_t top = std::bit_floor(zeros);
    return (word & (top - 1)) | top;
}

// Builds the table of a code from the lengths of its words. False if they make no code.
bool buildTable(std::span<const unsigned char> lengths, std::span<const Entry> meanings, unsigned indexBits,
                Incomplete incomplete, Entry* table) {
    std::array<std::uint16_t, kMaxCodeBits + 1> words{};
    for (const unsigned char length : lengths) ++words[length];
    words[0] = 0;

    // The part of all words of the longest length that is not taken.
    std::uint32_t left = 1;
    std::uint32_t used = 0;
    std::array<std::uint16_t, kMaxCodeBits + 2> start{};  // in the order of lengths, the first symbol of each
    for (std::size_t length = 1; length <= kMaxCodeBits; ++length) {
        if (words[length] > 2 * left) return false;
        left = 2 * left - words[length];
        start[length + 1] = static_cast<std::uint16_t>(start[length] + words[length]);
        used += words[length];
    }
    if (left != 0) {
        const bool oneWord = used == 1 && words[1] == 1 && incomplete != Incomplete::Refused;
        const bool none = used == 0 && incomplete == Incomplete::OneWordOrNone;
        if (!oneWord && !none) return false;
        for (Entry i = 0; i < Entry{1} << indexBits; ++i) table[i] = kInvalid;
    }

    std::array<std::uint16_t, kFixedLiteralSymbols> sorted;
    for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol) {
        if (lengths[symbol] != 0) sorted[start[lengths[symbol]]++] = static_cast<std::uint16_t>(symbol);
    }
    const auto entryOf = [&](std::uint16_t symbol, unsigned bits) { return meanings[symbol] + (bits << 8 | bits); };

    if (left != 0) {
        for (Entry i = 0; used == 1 && i < Entry{1} << indexBits; i += 2) table[i] = entryOf(sorted[0], 1);
        return true;
    }

    // The first table, for an index of 1 bit, then 2, and so on: words of as many bits have one entry, and going on to
    // the next bit doubles what there is.
    std::uint32_t word = 0;
    const std::uint16_t* symbol = sorted.data();
    for (unsigned bits = 1; bits <= indexBits; ++bits) {
        const std::size_t half = std::size_t{1} << (bits - 1);
        std::copy_n(table, half, table + half);
        for (unsigned i = 0; i < words[bits]; ++i) {
            table[word] = entryOf(*symbol++, bits);
            word = nextReversed(word, bits);
        }
    }

    // Second tables, one behind the other: each as large as the words need that share their first bits.
    Entry* second = nullptr;
    Entry* next = table + (std::size_t{1} << indexBits);
    std::uint32_t prefix = ~std::uint32_t{0};
    unsigned secondBits = 0;
    for (unsigned bits = indexBits + 1; bits <= kMaxCodeBits; ++bits) {
        for (unsigned i = 0; i < words[bits]; ++i) {
            const std::uint32_t first = word & ((std::uint32_t{1} << indexBits) - 1);
            if (first != prefix) {
                prefix = first;
                secondBits = bits - indexBits;
                std::uint32_t room = std::uint32_t{1} << secondBits;
                for (std::uint32_t filled = words[bits] - i; filled < room;) {
                    ++secondBits;
                    room <<= 1;
                    filled = 2 * filled + words[indexBits + secondBits];
                }
                second = next;
                next += room;
                table[prefix] = kSpecial | kSecondTable | static_cast<Entry>(second - table) << kValueShift |
                                secondBits << 8 | indexBits;
            }
            const Entry entry = entryOf(*symbol++, bits - indexBits);
            const std::size_t step = std::size_t{1} << (bits - indexBits);
            for (std::size_t k = word >> indexBits; k >> secondBits == 0; k += step) second[k] = entry;
            word = nextReversed(word, bits);
        }
    }
    return true;
}

class Decoder {
 public:
    Decoder(Bytes stream, int windowBits, bool fastLoop, Result& into, std::uint32_t* sum)
        : in(stream),
          at(into.begin()),
          result(into),
          checksum(sum),
          mayBeFast(fastLoop),
          distanceMeanings(kDistanceMeanings) {
        // The two symbols above each power of two reach up to the next one, so a window ends between symbols.
        const std::size_t reachable = 2 * static_cast<std::size_t>(windowBits);
        std::fill(distanceMeanings.begin() + reachable, distanceMeanings.end(), kInvalid);
    }

    bool decode() {
        for (bool isLast = false; !isLast;) {
            in.refill();
            isLast = in.take(1);
            const std::uint32_t type = in.take(2);
            switch (type) {
                case kStored:
                    if (!copyStored()) return false;
                    break;
                case kFixed:
                    takeFixedCodes();
                    if (!decodeSymbols()) return false;
                    break;
                case kDynamic:
                    if (!readDynamicCodes() || !decodeSymbols()) return false;
                    break;
                default:
                    return false;
            }
        }
        addToChecksum();
        assert(!in.overran());  // no block ends there
        in.alignToByte();
        return in.bytesLeft() == 0 && result.finish(result.positionOf(at));
    }

 private:
    bool makeRoom(std::size_t n) {
        if (n <= static_cast<std::size_t>(result.end() - at)) return true;
        addToChecksum();  // while it is at hand
        const std::uint64_t produced = result.positionOf(at);
        if (!result.makeRoom(produced, n)) return false;
        at = result.at(produced);
        summed = at;
        return true;
    }

    // Stored bytes that are copied at a time: the checksum is taken of them while they are in the nearest cache.
    static constexpr std::size_t kPiece = 16384;

    void addToChecksum() {
        if (!checksum) return;
        *checksum = adler32({summed, at}, *checksum);
        summed = at;
    }

    bool copyStored() {
        if (in.overran()) return false;
        in.alignToByte();
        if (in.bytesLeft() < 4) return false;
        const auto size = load<std::uint16_t>(in.at);
        const auto complement = load<std::uint16_t>(in.at + 2);
        in.at += 4;
        if ((size ^ complement) != 0xFFFF || size > in.bytesLeft()) return false;
        if (size == 0) return true;
        if (!makeRoom(size)) return false;
        for (std::size_t left = size; left > 0;) {
            const std::size_t n = std::min(left, kPiece);
            std::copy_n(in.at, n, at);
            in.at += n;
            at += n;
            left -= n;
            addToChecksum();
        }
        return true;
    }

    // They are codes, so their tables can be built.
    void takeFixedCodes() {
        if (codesAreFixed) return;
        codesAreFixed = true;
        buildTable(kFixedLiteralLengths, kLiteralMeanings, kLiteralIndexBits, Incomplete::Refused, literals.data());
        buildTable(kFixedDistanceLengths, distanceMeanings, kDistanceIndexBits, Incomplete::Refused, distances.data());
    }

    // RFC 1951, 3.2.7. The code lengths of both codes are one sequence, itself coded.
    bool readDynamicCodes() {
        codesAreFixed = false;
        // The refill before the block's header has left enough for these, too.
        const std::size_t literalCount = kFirstLength + in.take(5);
        const std::size_t distanceCount = 1 + in.take(5);
        const std::size_t lengthCount = 4 + in.take(4);
        if (literalCount > kLiteralSymbols || distanceCount > kDistanceSymbols) return false;

        std::array<unsigned char, kLengthSymbols> lengthLengths{};
        for (std::size_t i = 0; i < lengthCount; ++i) {
            in.refill();
            lengthLengths[kLengthOrder[i]] = static_cast<unsigned char>(in.take(3));
        }
        Entry* const lengthTable = literals.data();  // done with before it is overwritten
        static_assert(kLengthEntries <= kLiteralEntries);
        if (!buildTable(lengthLengths, kLengthMeanings, kLengthIndexBits, Incomplete::Refused, lengthTable))
            return false;

        std::array<unsigned char, kLiteralSymbols + kDistanceSymbols> lengths;
        const std::size_t count = literalCount + distanceCount;
        for (std::size_t i = 0; i < count;) {
            in.refill();
            const Entry entry = lengthTable[in.peek(kLengthIndexBits)];
            in.drop(droppedBits(entry));
            const std::uint32_t symbol = value(entry);
            if (symbol < kRepeatLength) {
                lengths[i++] = static_cast<unsigned char>(symbol);
                continue;
            }
            if (symbol == kRepeatLength && i == 0) return false;
            const unsigned char repeated = symbol == kRepeatLength ? lengths[i - 1] : 0;
            const Range run = kRuns[symbol - kRepeatLength];
            const std::size_t n = run.base + in.take(run.extraBits);
            if (n > count - i) return false;
            std::fill_n(lengths.begin() + i, n, repeated);
            i += n;
        }
        if (lengths[kEndOfBlock] == 0) return false;

        const std::span<const unsigned char> all(lengths);
        return buildTable(all.first(literalCount), kLiteralMeanings, kLiteralIndexBits, Incomplete::OneWord,
                          literals.data()) &&
               buildTable(all.subspan(literalCount, distanceCount), distanceMeanings, kDistanceIndexBits,
                          Incomplete::OneWordOrNone, distances.data());
    }

    // The entry of the next word, whose own bits and extra bits are still to be dropped.
    template <std::size_t n>
    static Entry find(const std::array<Entry, n>& table, unsigned indexBits, BitReader& from) {
        Entry entry = table[from.peek(indexBits)];
        if (entry & kSecondTable) [[unlikely]] {
            from.drop(droppedBits(entry));
            entry = table[value(entry) + from.peek(wordBits(entry))];
        }
        return entry;
    }

    // The value of an entry, with the extra bits that stand behind the word in `bits`.
    static std::size_t valueOf(Entry entry, std::uint64_t bits) {
        const std::uint64_t all = bits & ((std::uint64_t{1} << droppedBits(entry)) - 1);
        return (entry >> kValueShift) + (all >> wordBits(entry));
    }

    static bool isEnd(Entry entry) { return entry >> kValueShift == kEnd >> kValueShift; }

    enum class Step { Ended, Failed, OutOfSlack };

    // Symbols up to the end of the block.
    bool decodeSymbols() {
        for (;;) {
            if (mayBeFast && hasSlack()) {
                const Step step = QOR_HAS_BMI2 ? decodeFastWithBmi2() : decodeFast();
                if (step != Step::OutOfSlack) return step == Step::Ended;
            }
            in.refill();  // enough for a length and a distance, of 20 and 28 bits at most
            const Entry entry = find(literals, kLiteralIndexBits, in);
            if (entry & kByte) {
                in.drop(droppedBits(entry));
                if (in.overran() || !makeRoom(1)) return false;
                *at++ = static_cast<unsigned char>(value(entry));
                continue;
            }
            if (entry & kSpecial) {
                in.drop(droppedBits(entry));
                return isEnd(entry) && !in.overran();
            }
            const std::size_t length = valueOf(entry, in.bits);
            in.drop(droppedBits(entry));
            const Entry distanceEntry = find(distances, kDistanceIndexBits, in);
            if (distanceEntry & kSpecial) return false;
            const std::size_t distance = valueOf(distanceEntry, in.bits);
            in.drop(droppedBits(distanceEntry));
            if (in.overran() || distance > result.positionOf(at) || !makeRoom(length)) return false;
            const bool mayBeWild = length + kWildSlack <= static_cast<std::size_t>(result.end() - at);
            if (distance > static_cast<std::size_t>(at - result.begin())) {
                result.repeatFar(at, distance, length);
            } else {
                mayBeWild ? repeatWild(at, distance, length) : repeat(at, distance, length);
            }
            at += length;
        }
    }

    // What the fast loop may use before it looks again: three refills at its beginning, which take up to 7 bytes and
    // read 8; three bytes and a match.
    static constexpr std::size_t kInputSlack = 7 + 7 + 8;
    static constexpr std::size_t kRoomSlack = 3 + kMaxMatch + kWildSlack;

    bool hasSlack() const {
        return in.bytesLeft() >= kInputSlack && static_cast<std::size_t>(result.end() - at) >= kRoomSlack;
    }

    // As the plain loop above, while there is slack. When a step begins, 56 bits are there and the next entry is looked
    // up. That is enough for three words found in the first table, of which the last may be a length, or for any length
    // and distance and the look-up of the word behind them. An entry is looked up before all else, which is then done
    // while that is under way.
    Step decodeFast() {
        BitReader from = in;
        unsigned char* to = at;
        const unsigned char* const begin = result.begin();
        const unsigned char* const lastFrom = from.end - kInputSlack;
        const unsigned char* const lastTo = result.end() - kRoomSlack;
        Step step = Step::OutOfSlack;
        const auto lookUp = [&] { return literals[from.peek(kLiteralIndexBits)]; };

        from.refillFast();
        Entry entry = lookUp();
        do {
            std::uint64_t bits = from.bits;  // from the entry's word on, behind which its extra bits still stand
            from.drop(droppedBits(entry));
            if (entry & kByte) {
                unsigned char byte = static_cast<unsigned char>(entry >> kValueShift);
                entry = lookUp();
                bits = from.bits;
                from.drop(droppedBits(entry));
                *to++ = byte;
                if (entry & kByte) {
                    byte = static_cast<unsigned char>(entry >> kValueShift);
                    entry = lookUp();
                    bits = from.bits;
                    from.drop(droppedBits(entry));
                    *to++ = byte;
                    if (entry & kByte) {
                        byte = static_cast<unsigned char>(entry >> kValueShift);
                        entry = lookUp();
                        from.refillFast();
                        *to++ = byte;
                        continue;
                    }
                }
            }
            if (entry & kSpecial) [[unlikely]] {
                if (entry & kSecondTable) {
                    entry = literals[value(entry) + from.peek(wordBits(entry))];
                    bits = from.bits;
                    from.drop(droppedBits(entry));
                    if (entry & kByte) {
                        *to++ = static_cast<unsigned char>(entry >> kValueShift);
                        entry = lookUp();
                        from.refillFast();
                        continue;
                    }
                }
                if (entry & kSpecial) {
                    step = isEnd(entry) ? Step::Ended : Step::Failed;
                    break;
                }
            }
            const std::size_t length = valueOf(entry, bits);

            entry = distances[from.peek(kDistanceIndexBits)];
            if (from.count < kMaxDistanceDrop + kLiteralIndexBits) from.refillFast();
            if (entry & kSpecial) [[unlikely]] {
                if (entry & kSecondTable) {
                    from.drop(droppedBits(entry));
                    entry = distances[value(entry) + from.peek(wordBits(entry))];
                }
                if (entry & kSpecial) {
                    step = Step::Failed;
                    break;
                }
            }
            const std::size_t distance = valueOf(entry, from.bits);
            from.drop(droppedBits(entry));
            if (distance > static_cast<std::size_t>(to - begin)) [[unlikely]] {
                if (!result.repeatFar(to, distance, length)) {
                    step = Step::Failed;
                    break;
                }
                to += length;
                entry = lookUp();
                from.refillFast();
                continue;
            }
            entry = lookUp();
            from.refillFast();

            // Most matches have 16 bytes at most. To read more, of what has just been written, is to wait for it.
            if (distance >= 16) [[likely]] {
                const unsigned char* source = to - distance;
                unsigned char* target = to;
                to += length;
                copy16(target, source);
                if (length > 16) {
                    copy16(target + 16, source + 16);
                    while (target + 32 < to) {
                        target += 32;
                        source += 32;
                        copy16(target, source);
                        copy16(target + 16, source + 16);
                    }
                }
            } else {
                repeatWild(to, distance, length);
                to += length;
            }
        } while (from.at <= lastFrom && to <= lastTo);
        in = from;
        at = to;
        return step;
    }

    QOR_FOR_BMI2 Step decodeFastWithBmi2() { return decodeFast(); }

    BitReader in;
    unsigned char* at;  // where the next byte of the content goes
    Result& result;
    std::uint32_t* checksum;
    const unsigned char* summed = nullptr;  // up to where the result is in the checksum
    bool mayBeFast;
    bool codesAreFixed = false;
    std::array<Entry, kFixedDistanceSymbols> distanceMeanings;  // with those invalid that the window does not reach
    std::array<Entry, kLiteralEntries> literals;
    std::array<Entry, kDistanceEntries> distances;
};

}  // namespace

bool decode(Bytes stream, int windowBits, Result& result) {
    return Decoder(stream, windowBits, true, result, nullptr).decode();
}

bool decode(Bytes stream, int windowBits, Result& result, std::uint32_t& checksum) {
    return Decoder(stream, windowBits, true, result, &checksum).decode();
}

bool decodePlainly(Bytes stream, int windowBits, Result& result) {
    return Decoder(stream, windowBits, false, result, nullptr).decode();
}

}  // namespace qor::impl::deflate
