// compress and decompress where memory is refused, and how much of it they take.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "qor/core/compression.h"
#include "support/heap.h"

namespace qor::test {
namespace {

using Bytes = ds::Vector<unsigned char>;

constexpr std::size_t kKiB = 1024;
constexpr std::size_t kMiB = 1024 * kKiB;

struct Limits {
    const char* name;
    Compression kind;
    std::size_t compressing;    // bytes at most, beside the content and the room for its payload
    std::size_t decompressing;  // beside the payload and the content
};
constexpr Limits kLimits[] = {
    {"Lz4", Compression::Lz4, 64 * kKiB, kKiB},
    {"Zlib", Compression::Zlib, 768 * kKiB, 16 * kKiB},
    {"Zstd", Compression::Zstd, 3 * kMiB, 192 * kKiB},
};

class Memory : public ::testing::TestWithParam<Limits> {
 protected:
    Compression kind() const { return GetParam().kind; }
};

// Half words, half noise.
Bytes someBytes(std::size_t size) {
    Bytes bytes;
    bytes.resize(size);
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < size; ++i) {
        state = state * 1664525 + 1013904223;
        bytes[i] = (i / 64) % 2 ? static_cast<unsigned char>(state >> 24) : static_cast<unsigned char>("of an "[i % 6]);
    }
    return bytes;
}

TEST_P(Memory, RefusedAtAnyMomentGivesNothingAndLeaksNothing) {
    const Bytes content = someBytes(300'000);
    for (const bool asText : {false, true}) {
        const Bytes payload = compress(content.data(), content.size(), asText, kind());
        ASSERT_FALSE(payload.isEmpty());
        const std::size_t before = Heap::blocks();
        int refusals = 0;
        for (const bool everAfter : {false, true}) {
            bool met = true;
            for (std::uint64_t n = 1; met; ++n) {
                const RefusedRequests refused(n, everAfter);
                const Bytes nothing = compress(content.data(), content.size(), asText, kind());
                met = refused.met();
                refusals += met;
                // Giving room back is the one request that can do without.
                EXPECT_TRUE(nothing.isEmpty() || nothing == payload) << n;
                EXPECT_TRUE(met || nothing == payload) << n;
            }
            met = true;
            for (std::uint64_t n = 1; met; ++n) {
                const RefusedRequests refused(n, everAfter);
                const Bytes nothing = decompress(payload, asText, content.size());
                met = refused.met();
                refusals += met;
                EXPECT_EQ(nothing.isEmpty(), met) << n;
            }
        }
        EXPECT_GE(refusals, 4);
        EXPECT_EQ(Heap::blocks(), before);
    }
}

TEST_P(Memory, OfCompressingIsBounded) {
    const Bytes content = someBytes(4 * kMiB);
    Bytes payload;
    const std::size_t peak = peakOf([&] { payload = compress(content.data(), content.size(), false, kind()); });
    // The room for a payload is that of content which does not get smaller.
    EXPECT_LE(peak, content.size() + content.size() / 255 + 4 * kKiB + GetParam().compressing);
}

TEST_P(Memory, OfDecompressingIsBounded) {
    const Bytes content = someBytes(kMiB);
    const Bytes payload = compress(content.data(), content.size(), false, kind());
    Bytes back;
    const std::size_t peak = peakOf([&] { back = decompress(payload, false, content.size()); });
    EXPECT_LE(peak, content.size() + GetParam().decompressing);
    EXPECT_TRUE(back == content);
}

TEST_P(Memory, OfASmallBlockIsSmall) {
    const Bytes content = someBytes(100);
    Bytes payload;
    EXPECT_LE(peakOf([&] { payload = compress(content.data(), content.size(), false, kind()); }), 32 * kKiB);
    EXPECT_LE(peakOf([&] { static_cast<void>(decompress(payload, false, content.size())); }), 64 * kKiB);
}

// Whatever a stranger claims, all that is taken beside the payload is a mebibyte, as much as the payload, and twice
// what has been produced.
TEST_P(Memory, OfAClaimIsTakenOnlyAsItIsProduced) {
    const Bytes content = someBytes(3 * kMiB);
    const Bytes payload = compress(content.data(), content.size(), false, kind());
    for (const std::size_t kept : {std::size_t{20}, payload.size() / 4, payload.size() / 2}) {
        Bytes cut;
        cut.resize(kept);
        std::copy_n(payload.begin(), kept, cut.begin());
        for (const unsigned long claim : {content.size(), std::size_t{100} * kMiB, std::size_t{1} << 60}) {
            const std::size_t produced = 2 * kept + 256 * kKiB;  // half of the content is noise
            EXPECT_LE(peakOf([&] { EXPECT_TRUE(decompress(cut, false, claim).isEmpty()); }), kept + kMiB + 2 * produced)
                << kept << " bytes of payload, " << claim << " claimed";
        }
    }
}

// 100 MiB of zeros in a few KiB: not one byte more than claimed is produced.
TEST_P(Memory, OfABombEndsWithTheClaim) {
    Bytes zeros;
    zeros.resize(100 * kMiB);
    const Bytes bomb = compress(zeros.data(), zeros.size(), false, kind());
    zeros.clear();
    for (const unsigned long claim : {1ul, 1000ul, 5ul * kMiB}) {
        EXPECT_LE(peakOf([&] { EXPECT_TRUE(decompress(bomb, false, claim).isEmpty()); }),
                  2 * claim + GetParam().decompressing);
    }
}

INSTANTIATE_TEST_SUITE_P(Every, Memory, ::testing::ValuesIn(kLimits), [](const auto& one) { return one.param.name; });

}  // namespace
}  // namespace qor::test
