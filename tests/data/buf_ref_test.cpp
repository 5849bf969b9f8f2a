// BufRef: why one describes no array, where the items of one that does are, and runs of scalars.
#include "qor/data/buf_ref.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace qor::impl {
namespace {

constexpr std::uint64_t minus(std::uint64_t n) { return 0 - n; }

char memory[256];

std::uintptr_t address(std::uint64_t offset) { return reinterpret_cast<std::uintptr_t>(memory) + offset; }

// ---- Why a BufRef is none -------------------------------------------------------------------------------------------

std::string reasonOf(const BufRef& ref) {
    StaticText* const reason = whyInvalid(ref);
    return reason ? String(*reason).buf() : "none";
}

TEST(BufRef, IsAPlainRecordOfTheseFieldsInThisOrder) {
    static_assert(std::is_aggregate_v<BufRef> && std::is_trivially_copyable_v<BufRef> &&
                  std::is_standard_layout_v<BufRef>);
    static_assert(std::is_same_v<decltype(BufRef::ptr), void*> && std::is_same_v<decltype(BufRef::type), DataType>);
    static_assert(offsetof(BufRef, ptr) < offsetof(BufRef, type) && offsetof(BufRef, type) < offsetof(BufRef, count));
    static_assert(offsetof(BufRef, count) + 8 == offsetof(BufRef, stride));
    static_assert(offsetof(BufRef, stride) + 8 == offsetof(BufRef, offset));
    static_assert(offsetof(BufRef, offset) + 8 == offsetof(BufRef, tag) && sizeof(BufRef::tag) == 8);
}

TEST(BufRef, IsNoneAtFirst) { EXPECT_EQ(reasonOf({}), "BufRef 'ptr' is null."); }

TEST(BufRef, IsNoneForTheFirstOfTheseReasons) {
    const auto kBeyond = static_cast<DataType>(60);
    const struct {
        BufRef ref;
        const char* reason;
    } kNone[] = {
        {{nullptr, kBeyond, 0}, "BufRef 'ptr' is null."},
        {{nullptr, DataType::Int32, 0}, "BufRef 'ptr' is null."},
        {{nullptr, DataType::Int32, 1, 0, 8}, "BufRef 'ptr' is null."},
        {{memory, kBeyond, 0}, "BufRef 'count' is zero."},
        {{memory, DataType::Null, 0}, "BufRef 'count' is zero."},
        {{memory, DataType::Int32, 0, 4, 8}, "BufRef 'count' is zero."},
        {{memory, kBeyond, 1}, "BufRef typeSize is zero."},
        {{memory, static_cast<DataType>(~0u), 1}, "BufRef typeSize is zero."},
        {{memory, DataType::Null, 1}, "BufRef typeElemSize is zero."},
    };
    for (const auto& none : kNone) EXPECT_EQ(reasonOf(none.ref), none.reason);
}

TEST(BufRef, OfEveryTypeButNullIsOne) {
    for (std::uint32_t value = 1; value < 60; ++value) {
        EXPECT_EQ(reasonOf({memory, static_cast<DataType>(value), 1}), "none") << value;
    }
}

// Nobody can tell how much memory there is.
TEST(BufRef, OfAnyStrideOffsetAndCountIsOne) {
    EXPECT_EQ(reasonOf({memory, DataType::Mat4d, 2, 1, 0}), "none");
    EXPECT_EQ(reasonOf({memory, DataType::Mat4d, ~std::uint64_t{0}, ~std::uint64_t{0}, ~std::uint64_t{0}, 7}), "none");
}

// ---- Where the items are --------------------------------------------------------------------------------------------

std::vector<std::uint64_t> offsetsOf(const BufRef& ref) {
    const Items items(ref);
    std::vector<std::uint64_t> offsets;
    for (std::uint64_t k = 0; k < ref.count; ++k) {
        offsets.push_back(reinterpret_cast<std::uintptr_t>(items.at(k)) - address(0));
    }
    return offsets;
}
using Offsets = std::vector<std::uint64_t>;

TEST(Items, WithoutAStrideFollowEachOther) {
    EXPECT_EQ(offsetsOf({memory, DataType::Vec3f, 3}), (Offsets{0, 12, 24}));
    EXPECT_EQ(offsetsOf({memory, DataType::Vec3f, 3, 0, 5}), (Offsets{5, 17, 29}));
}

TEST(Items, LieAStrideApart) {
    EXPECT_EQ(offsetsOf({memory, DataType::Vec3f, 3, 16}), (Offsets{0, 16, 32}));
    EXPECT_EQ(offsetsOf({memory, DataType::Vec3f, 3, 16, 100}), (Offsets{100, 116, 132}));
    EXPECT_EQ(offsetsOf({memory, DataType::Vec3f, 3, 1}), (Offsets{0, 1, 2}));
}

TEST(Items, RunBackwardsWhereTheStrideWraps) {
    EXPECT_EQ(offsetsOf({memory, DataType::Int32, 3, minus(4), 8}), (Offsets{8, 4, 0}));
    EXPECT_EQ(offsetsOf({memory, DataType::Int32, 3, minus(10), 40}), (Offsets{40, 30, 20}));
}

TEST(Items, BeginBeforeTheMemoryWhereTheOffsetWraps) {
    EXPECT_EQ(offsetsOf({memory + 20, DataType::Int32, 2, 0, minus(20)}), (Offsets{0, 4}));
    EXPECT_EQ(offsetsOf({memory + 20, DataType::Int32, 2, minus(8), minus(4)}), (Offsets{16, 8}));
}

TEST(Items, ArePackedIfTheStrideIsTheirSize) {
    EXPECT_TRUE(Items({memory, DataType::Vec3f, 3}).isPacked());
    EXPECT_TRUE(Items({memory, DataType::Vec3f, 3, 12, 7}).isPacked());
    EXPECT_FALSE(Items({memory, DataType::Vec3f, 3, 16}).isPacked());
    EXPECT_FALSE(Items({memory, DataType::Vec3f, 3, 4}).isPacked());
    EXPECT_FALSE(Items({memory, DataType::Vec3f, 1, minus(12)}).isPacked());
}

TEST(Items, FitIfTheirBytesAreANumberOf64Bits) {
    EXPECT_TRUE(Items({memory, DataType::Byte, ~std::uint64_t{0}}).fits());
    EXPECT_TRUE(Items({memory, DataType::Int64, (std::uint64_t{1} << 61) - 1}).fits());
    EXPECT_FALSE(Items({memory, DataType::Int64, std::uint64_t{1} << 61}).fits());
    EXPECT_FALSE(Items({memory, DataType::Rgb8, ~std::uint64_t{0}}).fits());
    EXPECT_TRUE(Items({memory, DataType::Rgb8, ~std::uint64_t{0} / 3}).fits());
    EXPECT_FALSE(Items({memory, DataType::Rgb8, ~std::uint64_t{0} / 3 + 1}).fits());
    EXPECT_EQ(Items({memory, DataType::Rgb8, 5}).size(), 15u);
}

// ---- Runs -----------------------------------------------------------------------------------------------------------

using Runs = std::vector<std::pair<std::uint64_t, std::uint64_t>>;  // offset and scalars

Runs runsOf(const BufRef& ref, std::uint64_t next, std::uint64_t n) {
    Runs runs;
    eachRun<std::uint32_t>(Items(ref), next, n, [&](unsigned char* scalars, std::uint64_t run) {
        runs.push_back({reinterpret_cast<std::uintptr_t>(scalars) - address(0), run});
    });
    return runs;
}

TEST(Runs, OfPackedItemsAreOne) {
    EXPECT_EQ(runsOf({memory, DataType::Vec3f, 5}, 0, 15), (Runs{{0, 15}}));
    EXPECT_EQ(runsOf({memory, DataType::Vec3f, 5, 12, 8}, 4, 7), (Runs{{24, 7}}));
}

TEST(Runs, OfItemsWithGapsEndWithTheItem) {
    const BufRef ref = {memory, DataType::Vec3f, 3, 16, 1};
    EXPECT_EQ(runsOf(ref, 0, 9), (Runs{{1, 3}, {17, 3}, {33, 3}}));
    EXPECT_EQ(runsOf(ref, 2, 2), (Runs{{9, 1}, {17, 1}}));
    EXPECT_EQ(runsOf(ref, 4, 1), (Runs{{21, 1}}));
}

TEST(Runs, OfItemsThatOverlapOrRunBackwards) {
    EXPECT_EQ(runsOf({memory, DataType::Vec2f, 3, 4}, 1, 4), (Runs{{4, 1}, {4, 2}, {8, 1}}));
    EXPECT_EQ(runsOf({memory, DataType::Vec2f, 3, minus(8), 16}, 0, 6), (Runs{{16, 2}, {8, 2}, {0, 2}}));
}

}  // namespace
}  // namespace qor::impl
