// xxhash.h: known values, pieces cut anywhere, and the description step by step beside the library's loops.
#include "qor/core/codec/xxhash.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "core/codec/made_bytes.h"

namespace qor::test {
namespace {

struct Known {
    std::string_view text;
    std::uint32_t xxh32;
    std::uint64_t xxh64;
};

constexpr Known kKnown[] = {
    {"", 0x02CC5D05, 0xEF46DB3751D8E999},
    {"a", 0x550D7456, 0xD24EC4F1A98C6E5B},
    {"abc", 0x32D153FF, 0x44BC2CF5AD770999},
    {"0123456789abcdef", 0xC2C45B69, 0x5C5B90C34E376D0B},
    {"abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyz", 0x82AD1EBD, 0xAA65651BB34013B5},
    {"It was the best of times, it was the worst of times, it was the age of wisdom, it was the age of foolishness, "
     "it was the epoch of belief, it was the epoch of incredulity",
     0xACDA325D, 0x135D491FE42AB6B9},
};

// XXH32 as its description has it, one step after the other.
std::uint32_t describedXxh32(std::string_view text) {
    constexpr std::uint32_t kPrimes[] = {0, 0x9E3779B1, 0x85EBCA77, 0xC2B2AE3D, 0x27D4EB2F, 0x165667B1};
    const auto rotate = [](std::uint32_t x, int n) { return x << n | x >> (32 - n); };
    const auto byte = [&](std::size_t i) { return std::uint32_t{static_cast<unsigned char>(text[i])}; };
    const auto word = [&](std::size_t i) { return byte(i) | byte(i + 1) << 8 | byte(i + 2) << 16 | byte(i + 3) << 24; };

    std::uint32_t lanes[] = {kPrimes[1] + kPrimes[2], kPrimes[2], 0, 0 - kPrimes[1]};
    std::size_t at = 0;
    for (; text.size() - at >= 16; at += 16) {
        for (std::size_t i = 0; i < 4; ++i) {
            lanes[i] = rotate(lanes[i] + word(at + 4 * i) * kPrimes[2], 13) * kPrimes[1];
        }
    }
    std::uint32_t hash = text.size() < 16
                             ? kPrimes[5]
                             : rotate(lanes[0], 1) + rotate(lanes[1], 7) + rotate(lanes[2], 12) + rotate(lanes[3], 18);
    hash += static_cast<std::uint32_t>(text.size());
    for (; text.size() - at >= 4; at += 4) hash = rotate(hash + word(at) * kPrimes[3], 17) * kPrimes[4];
    for (; at < text.size(); ++at) hash = rotate(hash + byte(at) * kPrimes[5], 11) * kPrimes[1];
    hash = (hash ^ hash >> 15) * kPrimes[2];
    hash = (hash ^ hash >> 13) * kPrimes[3];
    return hash ^ hash >> 16;
}

TEST(XxHash, KnownTextsHaveTheirKnownHashes) {
    for (const Known& known : kKnown) {
        SCOPED_TRACE(known.text);
        EXPECT_EQ(impl::xxh32(view(known.text)), known.xxh32);
        EXPECT_EQ(impl::xxh64(view(known.text)), known.xxh64);
    }
}

TEST(XxHash, TheStepsOfTheDescriptionGiveTheSame) {
    const std::string bytes = noise(1000);
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        const std::string_view text = std::string_view(bytes).substr(0, size);
        ASSERT_EQ(impl::xxh32(view(text)), describedXxh32(text)) << size << " bytes";
    }
}

TEST(XxHash, TwoPiecesHashAsTheirWhole) {
    const std::string bytes = noise(200);
    for (const std::size_t size :
         std::initializer_list<std::size_t>{0, 1, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 128, 129, 200}) {
        const std::string_view whole = std::string_view(bytes).substr(0, size);
        for (std::size_t cut = 0; cut <= size; ++cut) {
            impl::Xxh32 hash32;
            impl::Xxh64 hash64;
            for (const std::string_view piece : {whole.substr(0, cut), whole.substr(cut)}) {
                hash32.add(view(piece));
                hash64.add(view(piece));
            }
            ASSERT_EQ(hash32.value(), impl::xxh32(view(whole))) << size << " bytes cut at " << cut;
            ASSERT_EQ(hash64.value(), impl::xxh64(view(whole))) << size << " bytes cut at " << cut;
        }
    }
}

TEST(XxHash, PiecesOfAnyOneSizeHashAsTheirWhole) {
    const std::string bytes = noise(1000);
    for (std::size_t size = 1; size <= 100; ++size) {
        impl::Xxh32 hash32;
        impl::Xxh64 hash64;
        for (std::size_t at = 0; at < bytes.size(); at += size) {
            hash32.add(view(std::string_view(bytes).substr(at, size)));
            hash64.add(view(std::string_view(bytes).substr(at, size)));
        }
        ASSERT_EQ(hash32.value(), impl::xxh32(view(bytes))) << "pieces of " << size;
        ASSERT_EQ(hash64.value(), impl::xxh64(view(bytes))) << "pieces of " << size;
    }
}

TEST(XxHash, AValueInBetweenChangesNothing) {
    impl::Xxh32 hash;
    hash.add(view("a"));
    EXPECT_EQ(hash.value(), 0x550D7456u);
    hash.add(view("bc"));
    EXPECT_EQ(hash.value(), 0x32D153FFu);
}

TEST(XxHash, NoBytesAtAllMayHaveNoAddress) {
    impl::Xxh64 hash;
    hash.add({});
    EXPECT_EQ(hash.value(), 0xEF46DB3751D8E999u);
    hash.add(view("abc"));
    hash.add({});
    EXPECT_EQ(hash.value(), impl::xxh64(view("abc")));
    EXPECT_EQ(impl::xxh32({}), 0x02CC5D05u);
}

TEST(XxHash, BytesMayLieAtAnyAddress) {
    const std::string bytes = noise(300);
    for (std::size_t start = 0; start < 16; ++start) {
        const std::string moved = std::string(start, '.') + bytes;
        EXPECT_EQ(impl::xxh32(view(std::string_view(moved).substr(start))), impl::xxh32(view(bytes)));
        EXPECT_EQ(impl::xxh64(view(std::string_view(moved).substr(start))), impl::xxh64(view(bytes)));
    }
}

}  // namespace
}  // namespace qor::test
