#include "qor/core/codec/xxhash.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace qor::impl {
namespace {

// Sums and products of more than two, as the description writes them: all of them wrap.
template <typename Word>
constexpr Word sum(Word a, Word b) {
    return wrappedSum(a, b);
}
template <typename Word, typename... More>
constexpr Word sum(Word a, Word b, More... more) {
    return sum(wrappedSum(a, b), more...);
}

template <typename Word>
constexpr Word product(Word a, Word b) {
    return wrappedProduct(a, b);
}

// std::rotl negates its count on the way, which is an overflow to Clang's check.
template <typename Word>
constexpr Word rotate(Word word, int n) {
    return static_cast<Word>(word << n | word >> (8 * static_cast<int>(sizeof(Word)) - n));
}

// The five primes of each hash, and the steps that differ between them.
template <typename Word>
struct Steps;

template <>
struct Steps<std::uint32_t> {
    using Word = std::uint32_t;
    static constexpr Word P1 = 0x9E3779B1, P2 = 0x85EBCA77, P3 = 0xC2B2AE3D, P4 = 0x27D4EB2F, P5 = 0x165667B1;

    static Word add(Word lane, Word wordTimesP2) { return product(rotate(sum(lane, wordTimesP2), 13), P1); }
    static Word round(Word lane, Word word) { return add(lane, product(word, P2)); }

    static Word merge(const std::array<Word, 4>& v) {
        return sum(rotate(v[0], 1), rotate(v[1], 7), rotate(v[2], 12), rotate(v[3], 18));
    }

    // Takes in the bytes behind the last stripe, then lets every bit of the hash bear on all others.
    static Word finish(Word h, const unsigned char* at, const unsigned char* end) {
        for (; end - at >= 4; at += 4) h = product(rotate(sum(h, product(load<Word>(at), P3)), 17), P4);
        for (; at < end; ++at) h = product(rotate(sum(h, product(Word{*at}, P5)), 11), P1);
        h = product(h ^ (h >> 15), P2);
        h = product(h ^ (h >> 13), P3);
        return h ^ (h >> 16);
    }
};

template <>
struct Steps<std::uint64_t> {
    using Word = std::uint64_t;
    static constexpr Word P1 = 0x9E3779B185EBCA87, P2 = 0xC2B2AE3D27D4EB4F, P3 = 0x165667B19E3779F9,
                          P4 = 0x85EBCA77C2B2AE63, P5 = 0x27D4EB2F165667C5;

    static Word round(Word lane, Word word) { return product(rotate(sum(lane, product(word, P2)), 31), P1); }

    static Word merge(const std::array<Word, 4>& v) {
        Word h = sum(rotate(v[0], 1), rotate(v[1], 7), rotate(v[2], 12), rotate(v[3], 18));
        for (const Word lane : v) h = sum(product(h ^ round(0, lane), P1), P4);
        return h;
    }

    static Word finish(Word h, const unsigned char* at, const unsigned char* end) {
        for (; end - at >= 8; at += 8) h = sum(product(rotate(h ^ round(0, load<Word>(at)), 27), P1), P4);
        if (end - at >= 4) {
            h = sum(product(rotate(h ^ product(Word{load<std::uint32_t>(at)}, P1), 23), P2), P3);
            at += 4;
        }
        for (; at < end; ++at) h = product(rotate(h ^ product(Word{*at}, P5), 11), P1);
        h = product(h ^ (h >> 33), P2);
        h = product(h ^ (h >> 29), P3);
        return h ^ (h >> 32);
    }
};

template <typename Word>
using Lanes = std::array<Word, 4>;

template <typename Word>
constexpr std::size_t kStripeSize = sizeof(Lanes<Word>);

template <typename Word>
constexpr Lanes<Word> kFirstLanes = {sum(Steps<Word>::P1, Steps<Word>::P2), Steps<Word>::P2, 0,
                                     wrappedDifference(Word{0}, Steps<Word>::P1)};

// Takes in the whole stripes from `at` on and returns where they end.
const unsigned char* takeStripes(Lanes<std::uint64_t>& lanes, const unsigned char* at, const unsigned char* end) {
    Lanes<std::uint64_t> v = lanes;
    for (; end - at >= 32; at += 32) {
        for (std::size_t i = 0; i < 4; ++i) v[i] = Steps<std::uint64_t>::round(v[i], load<std::uint64_t>(at + i * 8));
    }
    lanes = v;
    return at;
}

// XXH32 is bound by its multiplications: two for each word, and a processor starts one in each cycle. The first waits
// for nothing and can be done for four words at once, if the compiler finds it in a loop of its own. The second waits
// for the one before it and has to be done lane by lane; where GCC 12 sees the lanes side by side it takes them for a
// vector, at a third of the speed. So two steps are calls: no inlining, no guess.
constexpr std::size_t kWordsAtOnce = 16;

[[gnu::noinline]] void multiply(std::uint32_t* products, const unsigned char* at) {
    for (std::size_t i = 0; i < kWordsAtOnce; ++i) {
        products[i] = product(load<std::uint32_t>(at + 4 * i), Steps<std::uint32_t>::P2);
    }
}

[[gnu::noinline]] Lanes<std::uint32_t> together(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    return {a, b, c, d};
}

const unsigned char* takeStripes(Lanes<std::uint32_t>& lanes, const unsigned char* at, const unsigned char* end) {
    auto [a, b, c, d] = lanes;
    std::uint32_t products[kWordsAtOnce];
    for (; end - at >= static_cast<std::ptrdiff_t>(sizeof products); at += sizeof products) {
        multiply(products, at);
        for (std::size_t i = 0; i < kWordsAtOnce; i += 4) {
            a = Steps<std::uint32_t>::add(a, products[i]);
            b = Steps<std::uint32_t>::add(b, products[i + 1]);
            c = Steps<std::uint32_t>::add(c, products[i + 2]);
            d = Steps<std::uint32_t>::add(d, products[i + 3]);
        }
    }
    for (; end - at >= 16; at += 16) {
        a = Steps<std::uint32_t>::round(a, load<std::uint32_t>(at));
        b = Steps<std::uint32_t>::round(b, load<std::uint32_t>(at + 4));
        c = Steps<std::uint32_t>::round(c, load<std::uint32_t>(at + 8));
        d = Steps<std::uint32_t>::round(d, load<std::uint32_t>(at + 12));
    }
    lanes = together(a, b, c, d);
    return at;
}

// The hash of `length` bytes, of which the last, too few for a stripe, begin at `rest`.
template <typename Word>
Word valueOf(const Lanes<Word>& lanes, std::uint64_t length, const unsigned char* rest) {
    const Word h = length < kStripeSize<Word> ? Steps<Word>::P5 : Steps<Word>::merge(lanes);
    return Steps<Word>::finish(sum(h, static_cast<Word>(length)), rest, rest + length % kStripeSize<Word>);
}

template <typename Word>
Word hashOf(Bytes bytes) {
    Lanes<Word> lanes = kFirstLanes<Word>;
    const unsigned char* const rest = takeStripes(lanes, bytes.data(), bytes.data() + bytes.size());
    return valueOf(lanes, bytes.size(), rest);
}

}  // namespace

template <typename Word>
Xxh<Word>::Xxh() : lanes(kFirstLanes<Word>) {}

template <typename Word>
void Xxh<Word>::add(Bytes bytes) {
    if (bytes.empty()) return;
    const unsigned char* at = bytes.data();
    const unsigned char* const end = at + bytes.size();
    if (const std::size_t size = length % kStripe; size > 0) {
        const std::size_t n = std::min(kStripe - size, bytes.size());
        std::memcpy(begun + size, at, n);
        at += n;
        if (size + n == kStripe) takeStripes(lanes, begun, begun + kStripe);
    }
    length += bytes.size();
    at = takeStripes(lanes, at, end);
    if (at < end) std::memcpy(begun, at, static_cast<std::size_t>(end - at));
}

template <typename Word>
Word Xxh<Word>::value() const {
    return valueOf(lanes, length, begun);
}

template class Xxh<std::uint32_t>;
template class Xxh<std::uint64_t>;

std::uint32_t xxh32(Bytes bytes) { return hashOf<std::uint32_t>(bytes); }
std::uint64_t xxh64(Bytes bytes) { return hashOf<std::uint64_t>(bytes); }

}  // namespace qor::impl
