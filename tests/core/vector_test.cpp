// ds::Vector: what it holds, when it takes memory, and in which order it lets go.
#include "qor/core/vector.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "qor/core/math.h"

namespace qor::test {
namespace {

using Bytes = ds::Vector<unsigned char>;

TEST(Vector, IsEmptyAndWithoutMemoryAtFirst) {
    const Bytes bytes;
    EXPECT_EQ(bytes.data(), nullptr);
    EXPECT_EQ(bytes.size(), 0u);
    EXPECT_EQ(bytes.capacity(), 0u);
    EXPECT_TRUE(bytes.isEmpty());
    EXPECT_EQ(bytes.begin(), bytes.end());
}

TEST(Vector, HoldsWhatItIsMadeOfInARow) {
    const ds::Vector<int> numbers = {3, 1, 4};
    EXPECT_EQ(numbers.size(), 3u);
    EXPECT_EQ(numbers[0], 3);
    EXPECT_EQ(numbers.data() + 2, &numbers[2]);
    EXPECT_EQ(std::vector<int>(numbers.begin(), numbers.end()), (std::vector{3, 1, 4}));
}

TEST(Vector, ResizingFillsWithZeros) {
    Bytes bytes = {7};
    EXPECT_TRUE(bytes.resize(3));
    EXPECT_EQ(bytes, (Bytes{7, 0, 0}));
}

TEST(Vector, ElementsThatWereDroppedComeBackAsZeros) {
    Bytes bytes = {1, 2, 3};
    bytes.resize(1);
    bytes.resize(3);
    EXPECT_EQ(bytes, (Bytes{1, 0, 0}));

    ds::Vector<math::Vec2i> points = {{1, 2}, {3, 4}};
    points.resize(1);
    points.resize(2);
    EXPECT_EQ(points[1], math::Vec2i(0, 0));
}

TEST(Vector, ASmallerSizeKeepsTheArray) {
    Bytes bytes = {1, 2, 3};
    const unsigned char* const before = bytes.data();
    bytes.resize(0);
    EXPECT_TRUE(bytes.isEmpty());
    EXPECT_EQ(bytes.capacity(), 3u);
    bytes.resize(3);
    EXPECT_EQ(bytes.data(), before);
}

TEST(Vector, ResizingForOverwriteKeepsWhatIsThere) {
    Bytes bytes = {1, 2};
    EXPECT_TRUE(bytes.resizeForOverwrite(1000));
    EXPECT_EQ(bytes.size(), 1000u);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[1], 2);
}

TEST(Vector, AppendingMovesRarely) {
    ds::Vector<int> numbers;
    int moves = 0;
    for (int i = 0; i < 100'000; ++i) {
        const int* const before = numbers.data();
        EXPECT_TRUE(numbers.append(i));
        moves += numbers.data() != before;
    }
    EXPECT_EQ(numbers.size(), 100'000u);
    EXPECT_EQ(numbers[99'999], 99'999);
    EXPECT_LT(moves, 50);
}

TEST(Vector, AppendingTakesHalfAsMuchAgainAndNoMore) {
    ds::Vector<int> numbers;
    std::vector<std::size_t> capacities;
    for (int i = 0; i < 40; ++i) {
        EXPECT_TRUE(numbers.append(i));
        if (capacities.empty() || capacities.back() != numbers.capacity()) capacities.push_back(numbers.capacity());
    }
    EXPECT_EQ(capacities, (std::vector<std::size_t>{8, 12, 18, 27, 40}));
}

TEST(Vector, AppendingAnElementOfItselfIsFine) {
    ds::Vector<std::string> texts = {"a text that is too long to lie within its object"};
    for (int i = 0; i < 20; ++i) texts.append(texts[0]);
    EXPECT_EQ(texts[20], "a text that is too long to lie within its object");
}

TEST(Vector, ClearingReleasesTheArray) {
    Bytes bytes = {1, 2, 3};
    bytes.clear();
    EXPECT_EQ(bytes.data(), nullptr);
    EXPECT_EQ(bytes.size(), 0u);
    EXPECT_EQ(bytes.capacity(), 0u);
}

TEST(Vector, ShrinkingGivesBackWhatHoldsNothing) {
    Bytes bytes;
    bytes.resize(1000);
    bytes.resize(3);
    bytes.shrinkToFit();
    EXPECT_EQ(bytes, (Bytes{0, 0, 0}));
    EXPECT_EQ(bytes.capacity(), 3u);
    bytes.resize(0);
    bytes.shrinkToFit();
    EXPECT_EQ(bytes.capacity(), 0u);
}

TEST(Vector, ShrinkingAFullOneLeavesItWhereItIs) {
    Bytes bytes = {1, 2, 3};
    bytes.shrinkToFit();
    const auto* const array = bytes.data();
    bytes.shrinkToFit();
    EXPECT_EQ(bytes.data(), array);
    EXPECT_EQ(bytes, (Bytes{1, 2, 3}));
}

TEST(Vector, ACopyOfNothingTakesNoMemory) {
    const Bytes nothing;
    const Bytes copy = nothing;  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_TRUE(copy.isEmpty());
    EXPECT_EQ(copy.data(), nullptr);
}

TEST(Vector, ACopyHasItsOwnElements) {
    Bytes first = {1, 2};
    Bytes copy = first;
    copy[0] = 9;
    EXPECT_EQ(first, (Bytes{1, 2}));
    first = copy;
    copy[0] = 5;
    EXPECT_EQ(first, (Bytes{9, 2}));
}

TEST(Vector, CanBeAssignedToItself) {
    Bytes bytes = {1, 2};
    const Bytes& same = bytes;
    bytes = same;
    EXPECT_EQ(bytes, (Bytes{1, 2}));
}

TEST(Vector, MovingTakesTheArrayAlong) {
    Bytes first = {1, 2};
    const unsigned char* const array = first.data();
    Bytes second = std::move(first);
    EXPECT_EQ(second.data(), array);
    EXPECT_TRUE(first.isEmpty());  // NOLINT(bugprone-use-after-move): it is empty
    Bytes third = {7};
    third = std::move(second);
    EXPECT_EQ(third.data(), array);
    EXPECT_EQ(third.size(), 2u);
}

TEST(Vector, ASizeThatNoMemoryHoldsChangesNothing) {
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
    for (const std::size_t size : {kMost, kMost / 2, kMost / 4 + 1, std::size_t{1} << 60}) {
        ds::Vector<int> numbers = {1, 2};
        EXPECT_FALSE(numbers.resize(size));
        EXPECT_FALSE(numbers.resizeForOverwrite(size));
        EXPECT_EQ(numbers, (ds::Vector<int>{1, 2}));
    }
}

// ---- The order of letting go ----------------------------------------------------------------------------------------

// Notes when it is destroyed.
struct Noted {
    int name = 0;
    std::vector<int>* notes = nullptr;

    Noted() = default;
    Noted(int n, std::vector<int>& where) : name(n), notes(&where) {}
    Noted(Noted&& other) noexcept : name(other.name), notes(std::exchange(other.notes, nullptr)) {}
    Noted& operator=(Noted&& other) noexcept {
        std::swap(name, other.name);
        std::swap(notes, other.notes);
        return *this;
    }
    ~Noted() {
        if (notes) notes->push_back(name);
    }
};

TEST(Vector, DestroysFromTheLastToTheFirst) {
    std::vector<int> notes;
    {
        ds::Vector<Noted> all;
        for (int i = 1; i <= 20; ++i) all.append(Noted(i, notes));
        EXPECT_TRUE(notes.empty());
    }
    ASSERT_EQ(notes.size(), 20u);
    EXPECT_EQ(notes.front(), 20);
    EXPECT_EQ(notes.back(), 1);
}

TEST(Vector, ASmallerSizeLetsGoOfTheOthersAtOnce) {
    std::vector<int> notes;
    ds::Vector<Noted> all;
    for (int i = 1; i <= 4; ++i) all.append(Noted(i, notes));
    all.resize(2);
    EXPECT_EQ(notes, (std::vector{4, 3}));
}

// Watched by the address sanitizer where that runs.
TEST(Vector, OfVectorsReleasesEachOfThem) {
    ds::Vector<ds::Vector<char>> tokens;
    for (char c = 'a'; c <= 'z'; ++c) {
        ds::Vector<char> token = {c, '\0'};
        EXPECT_TRUE(tokens.append(std::move(token)));
    }
    EXPECT_EQ(tokens.size(), 26u);
    EXPECT_STREQ(tokens[25].data(), "z");
}

}  // namespace
}  // namespace qor::test
