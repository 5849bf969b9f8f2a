// Finding matches: a hash table of rows, each with the last places that had this hash, newest first.
//
// A row is 8 numbers of 32 bits, 32 bytes: half of what a processor fetches at a time. The low bits of a number are a
// position, and the others a tag: more bits of the hash. The tags of a row are compared all at once, so that hardly any
// place is looked at in vain. A place is added by moving the row up by one. Compilers do both in vectors.
//
// Positions wrap at the window's size, so that any two are at a distance within the window. An entry that is older, or
// none at all, may have the tag by chance, and then the bytes are compared as for any other.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qor/core/codec/match_finder.h"
#include "qor/core/vector.h"

#if defined(__GNUC__)
#define QOR_PREFETCH(place) __builtin_prefetch(place)
#else
#define QOR_PREFETCH(place) static_cast<void>(place)
#endif

namespace qor::impl {

/// Earlier content that comes again. A length of 0 is no match.
struct Match {
    std::size_t length = 0;
    std::uint32_t offset = 0;  // how far back it begins
};

class MatchRows {
 public:
    static constexpr int kWindowBits = 21;
    /// Matches begin less than this far back.
    static constexpr std::uint32_t kWindow = 1 << kWindowBits;
    /// What is read at each place, so the last of the content cannot be searched.
    static constexpr std::size_t kReads = 8;

    /// Gets ready for `content`, with one entry for each of its bytes, but 2^mostBits at most. False if memory is
    /// refused.
    bool start(Bytes content, int mostBits) {
        const int bits = std::clamp(static_cast<int>(std::bit_width(content.size())), kRowBits + 1, mostBits);
        hashBits = bits - kRowBits + kTagBits;
        if (!memory.resizeForOverwrite((std::size_t{1} << bits) + kRow)) return false;
        // A row begins at a multiple of its size, so that it does not straddle what is fetched at a time.
        const auto place = reinterpret_cast<std::uintptr_t>(memory.data()) / sizeof(std::uint32_t);
        rows = memory.data() + (kRow - place % kRow) % kRow;
        std::memset(rows, 0, sizeof(std::uint32_t) << bits);
        base = content.data();
        next = base;
        last = content.size() < kReads ? base : base + (content.size() - kReads);
        return true;
    }

    /// The longest match at `at` of more than `least` bytes, 3 at least, and the nearest one of that length. It ends at
    /// `end` at the latest, and is found by a hash of the first `hashed` bytes. Places come in rising order; those that
    /// were passed over are added first, and `at` itself afterwards.
    template <int hashed>
    Match find(const unsigned char* at, const unsigned char* end, std::size_t least) {
        addUpTo<hashed>(at);
        next = at + 1;
        // The row of a place that is likely to be searched soon.
        QOR_PREFETCH(rowOf(hashBytes<hashed>(std::min(at + 8, last), hashBits)));
        const std::uint32_t hash = hashBytes<hashed>(at, hashBits);
        std::uint32_t* const row = rowOf(hash);
        const std::uint32_t entry = entryOf(hash, at);

        // All the places, before the first of them is waited for.
        const auto produced = static_cast<std::size_t>(at - base);
        std::uint32_t offsets[kRow];
        std::size_t n = 0;
        for (std::uint32_t hits = hitsOf(row, entry); hits != 0; hits &= hits - 1) {
            const std::uint32_t offset = wrappedDifference(entry, row[std::countr_zero(hits)]) & (kWindow - 1);
            if (wrappedDifference(std::size_t{offset}, std::size_t{1}) >= produced) continue;
            QOR_PREFETCH(at - offset);
            offsets[n++] = offset;
        }
        add(row, entry);

        Match best{least, 0};
        const auto room = static_cast<std::size_t>(end - at);
        for (std::size_t i = 0; i < n && best.length < room; ++i) {
            // A longer match is equal in the four bytes up to the first beyond the best so far.
            const unsigned char* const there = at - offsets[i];
            const std::size_t probe = best.length - 3;
            if (load<std::uint32_t>(there + probe) != load<std::uint32_t>(at + probe)) continue;
            const std::size_t length = commonLength(at, there, end);
            if (length > best.length) best = {length, offsets[i]};
        }
        return best.offset != 0 ? best : Match{};
    }

    /// Leaves out the places before `at` that have been passed over.
    void skipTo(const unsigned char* at) { next = at; }

 private:
    static constexpr int kRowBits = 3;
    static constexpr std::size_t kRow = 1 << kRowBits;
    static constexpr int kTagBits = 32 - kWindowBits;
    static constexpr std::uint32_t kBits[kRow] = {1, 2, 4, 8, 16, 32, 64, 128};

    std::uint32_t* rowOf(std::uint32_t hash) const { return rows + (std::size_t{hash >> kTagBits} << kRowBits); }

    std::uint32_t entryOf(std::uint32_t hash, const unsigned char* at) const {
        return hash << kWindowBits | (static_cast<std::uint32_t>(at - base) & (kWindow - 1));
    }

    // A bit for each entry that has the tag of `entry`, the newest one's the lowest.
    static std::uint32_t hitsOf(const std::uint32_t* row, std::uint32_t entry) {
        std::uint32_t hits = 0;
#if defined(__GNUC__)
#pragma GCC unroll 1  // unrolled too early it would not become a vector's work
#endif
        for (std::size_t i = 0; i < kRow; ++i) hits |= (row[i] ^ entry) >> kWindowBits == 0 ? kBits[i] : 0;
        return hits;
    }

    static void add(std::uint32_t* row, std::uint32_t entry) {
        std::memmove(row + 4, row + 3, 4 * sizeof(std::uint32_t));
        std::memmove(row + 1, row, 4 * sizeof(std::uint32_t));
        row[0] = entry;
    }

    // Adds the places before `at` that were passed over; of a long stretch only its two ends.
    template <int hashed>
    void addUpTo(const unsigned char* at) {
        constexpr std::ptrdiff_t kLong = 384;
        constexpr std::ptrdiff_t kBegin = 96;
        constexpr std::ptrdiff_t kEnd = 32;
        if (at - next > kLong) {
            addRun<hashed>(next, next + kBegin);
            next = at - kEnd;
        }
        addRun<hashed>(next, at);
    }

    // Of equal bytes in a row only the first place is added: the others would drive out what else the row holds, and
    // the first gives the longest match.
    template <int hashed>
    void addRun(const unsigned char* from, const unsigned char* to) {
        std::uint32_t previous = 0;
        for (; from < to; ++from) {
            const std::uint32_t hash = hashBytes<hashed>(from, hashBits);
            if (hash == previous) continue;
            previous = hash;
            add(rowOf(hash), entryOf(hash, from));
        }
    }

    ds::Vector<std::uint32_t> memory;
    std::uint32_t* rows = nullptr;
    int hashBits = 0;  // of a row's number and a tag
    const unsigned char* base = nullptr;
    const unsigned char* last = nullptr;  // place that can be searched
    const unsigned char* next = nullptr;  // place that has not been added
};

}  // namespace qor::impl

#undef QOR_PREFETCH
