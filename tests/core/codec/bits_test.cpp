#include "qor/core/codec/bits.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

namespace qor::impl {
namespace {

using Raw = std::vector<unsigned char>;

TEST(BitReader, TakesTheLowestBitsOfAByteFirst) {
    const Raw bytes{0b10110'010, 0b1};
    BitReader in(bytes);
    in.refill();
    EXPECT_EQ(in.take(3), 0b010u);
    EXPECT_EQ(in.take(6), 0b110110u);
}

TEST(BitReader, LooksWithoutTaking) {
    const Raw bytes{0xA5};
    BitReader in(bytes);
    in.refill();
    EXPECT_EQ(in.peek(4), 5u);
    EXPECT_EQ(in.peek(8), 0xA5u);
}

TEST(BitReader, TakesNoBitsAsZero) {
    const Raw bytes{0xFF};
    BitReader in(bytes);
    in.refill();
    EXPECT_EQ(in.take(0), 0u);
    EXPECT_EQ(in.take(1), 1u);
}

TEST(BitReader, HasFiftySixBitsAfterARefill) {
    const Raw bytes(40, 0x5A);
    BitReader in(bytes);
    for (unsigned taken = 0; taken < 32; ++taken) {
        in.refill();
        EXPECT_GE(in.count, 56u);
        EXPECT_LE(in.count, 63u);
        in.drop(taken % 31);
    }
}

TEST(BitReader, ReadsZerosBeyondTheEndAndSaysSo) {
    const Raw bytes{0xFF, 0xFF};
    BitReader in(bytes);
    in.refill();
    EXPECT_EQ(in.take(16), 0xFFFFu);
    EXPECT_FALSE(in.overran());
    EXPECT_EQ(in.take(1), 0u);
    EXPECT_TRUE(in.overran());
}

TEST(BitReader, OfNothingOverrunsAtTheFirstBit) {
    BitReader in(Bytes{});
    in.refill();
    EXPECT_FALSE(in.overran());
    EXPECT_EQ(in.take(1), 0u);
    EXPECT_TRUE(in.overran());
}

TEST(BitReader, AligningGivesWholeBytesBack) {
    for (std::size_t size = 1; size < 20; ++size) {
        const Raw bytes(size, 0xFF);
        for (unsigned n = 0; n <= 8; ++n) {
            BitReader in(bytes);
            in.refill();
            in.drop(n);
            in.alignToByte();
            EXPECT_EQ(in.at - bytes.data(), (n + 7) / 8) << size << " bytes, " << n << " bits";
            EXPECT_EQ(in.count, 0u);
        }
    }
}

TEST(BitReader, ReadsWhatTheWriterWrote) {
    std::mt19937 engine(7);
    std::vector<std::pair<std::uint32_t, unsigned>> numbers;
    for (int i = 0; i < 5000; ++i) {
        const auto n = static_cast<unsigned>(engine() % 32);
        numbers.emplace_back(static_cast<std::uint32_t>(engine()) & ((std::uint32_t{1} << n) - 1), n);
    }
    Raw bytes(30000);
    BitWriter out(bytes.data());
    for (const auto& [value, n] : numbers) out.put(value, n);
    out.alignToByte();
    bytes.resize(static_cast<std::size_t>(out.at - bytes.data()));

    BitReader in(bytes);
    for (const auto& [value, n] : numbers) {
        in.refill();
        ASSERT_EQ(in.take(n), value);
    }
    in.alignToByte();
    EXPECT_EQ(in.bytesLeft(), 0u);
    EXPECT_FALSE(in.overran());
}

TEST(BitWriter, FillsBytesFromTheLowestBit) {
    unsigned char bytes[16];
    BitWriter out(bytes);
    out.put(0b010, 3);
    out.put(0b110110, 6);
    out.alignToByte();
    EXPECT_EQ(out.at - bytes, 2);
    EXPECT_EQ(bytes[0], 0b10110'010);
    EXPECT_EQ(bytes[1], 0b1);
}

TEST(BitWriter, TakesFiftySixBitsBetweenTwoFlushes) {
    unsigned char bytes[24];
    BitWriter out(bytes);
    out.put(0x7F, 7);
    out.put(0x00FF'FFFF'FFFF'FFFF, 56);
    out.put(1, 1);
    EXPECT_EQ(out.at - bytes, 8);
    EXPECT_EQ(load<std::uint64_t>(bytes), ~std::uint64_t{0});
}

TEST(BitWriter, AligningAWholeByteAddsNone) {
    unsigned char bytes[16];
    BitWriter out(bytes);
    out.alignToByte();
    EXPECT_EQ(out.at - bytes, 0);
    out.put(0xAB, 8);
    out.alignToByte();
    EXPECT_EQ(out.at - bytes, 1);
}

TEST(BitWriter, AddsOnlyTheLowBitsIfAsked) {
    unsigned char bytes[16];
    BitWriter out(bytes);
    out.addLow(0xFF, 3);
    out.addLow(0xFF, 0);
    EXPECT_EQ(out.alignToByte() - bytes, 1);
    EXPECT_EQ(bytes[0], 7);
}

TEST(BitWriter, ClosesABackwardStreamWithABit) {
    for (unsigned n = 0; n <= 16; ++n) {
        unsigned char bytes[16] = {};
        BitWriter out(bytes);
        out.add(0, n);
        EXPECT_EQ(out.close() - bytes, n / 8 + 1);
        EXPECT_EQ(load<std::uint32_t>(bytes), 1u << n);
    }
}

}  // namespace
}  // namespace qor::impl
