// bytes.h: common runs and copies of every length, and how far the wild ones go.
#include "qor/core/codec/bytes.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qor::test {
namespace {

using Memory = std::vector<unsigned char>;

constexpr unsigned char kUntouched = 0x7e;

// Bytes of which no two near to each other are equal, and none is kUntouched.
unsigned char patternAt(std::size_t i) { return static_cast<unsigned char>(i * 7 % 120); }

Memory pattern(std::size_t size) {
    Memory bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = patternAt(i);
    return bytes;
}

TEST(Bytes, NumbersAreLoadedAndStoredLowByteFirst) {
    unsigned char bytes[9] = {};
    impl::store(bytes + 1, std::uint32_t{0x04030201});
    EXPECT_EQ(Memory(bytes, bytes + 6), (Memory{0, 1, 2, 3, 4, 0}));
    EXPECT_EQ(impl::load<std::uint32_t>(bytes + 1), 0x04030201u);
    EXPECT_EQ(impl::load<std::uint64_t>(bytes + 1), 0x04030201u);
    EXPECT_EQ(impl::load<std::uint16_t>(bytes), 0x0100u);
}

TEST(Bytes, ACommonRunEndsAtTheFirstDifferenceOrAtTheEnd) {
    for (std::size_t size = 0; size <= 40; ++size) {
        Memory bytes(2 * size, 'a');
        const unsigned char* const second = bytes.data() + size;
        EXPECT_EQ(impl::commonLength(second, bytes.data(), second + size), size);
        for (std::size_t i = 0; i < size; ++i) {
            bytes[size + i] = 'b';
            EXPECT_EQ(impl::commonLength(second, bytes.data(), second + size), i) << "of " << size;
            bytes[size + i] = 'a';
        }
    }
}

TEST(Bytes, AWildCopyIsRightAndGoesNoFurtherThanItsSlack) {
    const Memory from = pattern(300 + impl::kWildSlack);
    for (std::size_t n = 1; n <= 300; ++n) {
        Memory to(n + impl::kWildSlack + 1, kUntouched);
        impl::copyWild(to.data(), from.data(), n);
        ASSERT_EQ(Memory(to.begin(), to.begin() + static_cast<std::ptrdiff_t>(n)),
                  Memory(from.begin(), from.begin() + static_cast<std::ptrdiff_t>(n)));
        ASSERT_EQ(to.back(), kUntouched) << n;
    }
}

// Repeats the last `offset` of the bytes that are there, and looks at all that is behind them.
void expectRepeated(bool wild, std::size_t offset, std::size_t n) {
    SCOPED_TRACE(::testing::Message() << "offset " << offset << ", " << n << " bytes");
    Memory bytes = pattern(offset);
    bytes.resize(offset + n + impl::kWildSlack + 1, kUntouched);
    unsigned char* const to = bytes.data() + offset;
    wild ? impl::repeatWild(to, offset, n) : impl::repeat(to, offset, n);
    for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(to[i], patternAt(i % offset)) << "at " << i;
    ASSERT_EQ(wild ? bytes.back() : to[n], kUntouched);
}

TEST(Bytes, ARepetitionIsByteByByteInEffect) {
    for (std::size_t offset = 1; offset <= 70; ++offset) {
        for (std::size_t n = 1; n <= 300; ++n) {
            expectRepeated(true, offset, n);
            expectRepeated(false, offset, n);
        }
    }
}

TEST(Bytes, ARepetitionOfNoBytesIsNone) { expectRepeated(false, 3, 0); }

TEST(Bytes, ALongRepetitionIsRightToItsEnd) {
    for (std::size_t offset = 1; offset <= 70; ++offset) {
        expectRepeated(true, offset, 100'003);
        expectRepeated(false, offset, 100'003);
    }
}

}  // namespace
}  // namespace qor::test
