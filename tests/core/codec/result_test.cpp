// A decoder's result that is made in pieces, since its payload is too small for its claim to be believed.
#include "qor/core/codec/result.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "qor/core/compression.h"

namespace qor::test {
namespace {

using impl::Bytes;
using impl::Result;
using Vector = ds::Vector<unsigned char>;

constexpr std::uint64_t kKiB = 1024;
constexpr std::uint64_t kMiB = 1024 * kKiB;

// A result that a test fills byte by byte.
struct Filled {
    Vector content;
    Result result;
    std::uint64_t produced = 0;
    int pieces = 0;
    const unsigned char* piece = nullptr;

    explicit Filled(std::uint64_t claimed, std::uint64_t present = 0) : result(content, claimed, present) {}

    static unsigned char at(std::uint64_t position) { return static_cast<unsigned char>(position % 251); }

    // Makes room for `step` bytes and fills them, again and again, until `size` are there.
    void fillTo(std::uint64_t size, std::uint64_t step = 1000) {
        while (produced < size) {
            const std::uint64_t n = std::min(step, size - produced);
            ASSERT_TRUE(result.makeRoom(produced, n)) << produced;
            if (result.begin() != piece) ++pieces;
            piece = result.begin();
            unsigned char* to = result.at(produced);
            ASSERT_LE(n, static_cast<std::uint64_t>(result.end() - to));
            for (std::uint64_t i = 0; i < n; ++i) to[i] = at(produced + i);
            produced += n;
        }
    }

    // Whether all that was produced is where it should be.
    bool isWhole() const {
        if (content.size() != produced) return false;
        for (std::uint64_t i = 0; i < produced; ++i) {
            if (content[i] != at(i)) return false;
        }
        return true;
    }
};

TEST(Result, ThatIsBelievedIsOnePiece) {
    Filled one(768 * kKiB);
    one.fillTo(768 * kKiB);
    EXPECT_EQ(one.pieces, 1);
    EXPECT_EQ(one.content.capacity(), 768 * kKiB);
    EXPECT_TRUE(one.result.finish(one.produced));
    EXPECT_TRUE(one.isWhole());
}

TEST(Result, IsBelievedAsFarAsThePayloadGoesToo) {
    Filled one(5 * kMiB, 5 * kMiB - 768 * kKiB);
    one.fillTo(5 * kMiB);
    EXPECT_EQ(one.pieces, 1);
}

TEST(Result, OfManyPiecesIsPutTogether) {
    for (const std::uint64_t size : {768 * kKiB + 1, 2 * kMiB, 5 * kMiB + 7, 40 * kMiB}) {
        for (const std::uint64_t step : {std::uint64_t{1000}, std::uint64_t{127'001}}) {
            Filled one(size);
            one.fillTo(size, step);
            EXPECT_GT(one.pieces, 1);
            EXPECT_TRUE(one.result.finish(one.produced));
            EXPECT_TRUE(one.isWhole()) << size << " in steps of " << step;
        }
    }
}

TEST(Result, TakesNoMoreThanThePayloadAndTwiceWhatIsProducedAnd768KiB) {
    constexpr std::uint64_t kPresent = 300 * kKiB;
    Filled one(100 * kMiB, kPresent);
    for (std::uint64_t size = 10'000; size < 20 * kMiB; size += 10'000) {
        one.fillTo(size);
        const auto taken = one.result.start() + static_cast<std::uint64_t>(one.result.end() - one.result.begin());
        EXPECT_LE(taken, kPresent + 2 * size + 768 * kKiB) << "with " << size << " bytes produced";
    }
}

TEST(Result, HasNoRoomBeyondItsClaim) {
    Filled one(2 * kMiB);
    one.fillTo(2 * kMiB - 10);
    EXPECT_FALSE(one.result.makeRoom(one.produced, 11));
    EXPECT_TRUE(one.result.makeRoom(one.produced, 10));
}

TEST(Result, IsFinishedOnlyAsClaimed) {
    Filled one(2 * kMiB);
    one.fillTo(2 * kMiB - 1);
    EXPECT_FALSE(one.result.finish(one.produced));
    one.fillTo(2 * kMiB);
    EXPECT_TRUE(one.result.finish(one.produced));
}

TEST(Result, OfNothingIsFinishedAtOnce) {
    Filled one(0);
    EXPECT_TRUE(one.result.finish(0));
    EXPECT_TRUE(one.content.isEmpty());
}

// From every piece, across their ends, and on into what the copy itself makes.
TEST(Result, RepeatsWhatLiesInEarlierPieces) {
    constexpr std::uint64_t kSize = 20 * kMiB;
    Filled one(100 * kMiB);
    one.fillTo(kSize);
    ASSERT_GT(one.result.start(), 4 * kMiB);
    const std::uint64_t inPiece = kSize - one.result.start();
    for (const std::uint64_t offset : {inPiece + 1, inPiece + 100, inPiece + 5000, kSize / 2, kSize - 1, kSize}) {
        for (const std::uint64_t n : {1u, 99u, 100u, 101u, 12'345u}) {
            ASSERT_TRUE(one.result.makeRoom(one.produced, n));
            unsigned char* const to = one.result.at(one.produced);
            ASSERT_EQ(one.result.positionOf(to), kSize);
            ASSERT_TRUE(one.result.repeatFar(to, offset, n));
            std::uint64_t wrong = 0;
            for (std::uint64_t i = 0; i < n; ++i) wrong += to[i] != Filled::at(kSize - offset + i);
            EXPECT_EQ(wrong, 0u) << n << " bytes from " << offset << " before";
        }
    }
    EXPECT_FALSE(one.result.repeatFar(one.result.at(kSize), kSize + 1, 1));
}

TEST(Result, GivesItsBytesPieceByPiece) {
    Filled one(100 * kMiB);
    one.fillTo(9 * kMiB);
    for (const std::uint64_t from : {std::uint64_t{0}, kMiB - 3, 5 * kMiB}) {
        std::uint64_t next = from;
        std::uint64_t wrong = 0;
        one.result.forEachPiece(from, one.produced, [&](Bytes bytes) {
            for (const unsigned char byte : bytes) wrong += byte != Filled::at(next++);
        });
        EXPECT_EQ(next, one.produced);
        EXPECT_EQ(wrong, 0u);
    }
}

// ---- In the decoders ------------------------------------------------------------------------------------------------

// Content that repeats itself from near and far, and shrinks to a fraction: matches reach into other pieces all the
// time.
std::string repeating(std::size_t size, std::size_t reach) {
    std::string content;
    std::uint32_t state = 7;
    const auto random = [&state] { return (state = state * 1664525 + 1013904223) >> 8; };
    while (content.size() < size) {
        for (int i = 0; i < 6; ++i) content += static_cast<char>(random());
        const std::size_t offset = 1 + random() % std::min(reach, content.size());
        const std::size_t n = 20 + random() % 400;
        for (std::size_t left = n; left > 0; left -= std::min(left, offset)) {
            content.append(content, content.size() - offset, std::min(left, offset));
        }
    }
    content.resize(size);
    return content;
}

class LargeContent : public ::testing::TestWithParam<Compression> {};

TEST_P(LargeContent, ThatShrinksALotComesBackAndNothingElseDoes) {
    for (const std::size_t reach : {std::size_t{30'000}, std::size_t{60'000}, std::size_t{2'000'000}}) {
        const std::string content = repeating(14'000'000, reach);
        const Vector payload =
            compress(reinterpret_cast<const unsigned char*>(content.data()), content.size(), false, GetParam());
        ASSERT_FALSE(payload.isEmpty());
        const Vector back = decompress(payload, false, content.size());
        ASSERT_EQ(back.size(), content.size()) << reach;
        EXPECT_TRUE(std::equal(back.begin(), back.end(), reinterpret_cast<const unsigned char*>(content.data())));

        Vector damaged = payload;
        damaged[damaged.size() - 1000] ^= 1;
        EXPECT_TRUE(decompress(damaged, false, content.size()).isEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Every, LargeContent,
                         ::testing::Values(Compression::Lz4, Compression::Zlib, Compression::Zstd));

}  // namespace
}  // namespace qor::test
