// endian.h: byte order in memory and in files.
#include "qor/core/endian.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/bits_of.h"
#include "support/test_files.h"

namespace qor::test {
namespace {

// What `storeLittle` puts into memory, with proof that it touches no byte around it.
template <typename T>
Bytes stored(T value) {
    unsigned char memory[sizeof(T) + 2];
    std::memset(memory, 0xEE, sizeof(memory));
    storeLittle(memory + 1, value);
    EXPECT_EQ(memory[0], 0xEE);
    EXPECT_EQ(memory[sizeof(T) + 1], 0xEE);
    return {std::string(reinterpret_cast<const char*>(memory) + 1, sizeof(T))};
}

// What `loadLittle` makes of these bytes, which stand at an odd address.
template <typename T>
T loaded(const Bytes& bytes) {
    EXPECT_EQ(bytes.raw.size(), sizeof(T));
    unsigned char memory[sizeof(T) + 1] = {};
    std::memcpy(memory + 1, bytes.raw.data(), sizeof(T));
    T value;
    loadLittle(memory + 1, value);
    return value;
}

template <typename T>
void expectBytes(T value, const Bytes& bytes) {
    SCOPED_TRACE(::testing::Message() << "value " << +value << " of " << sizeof(T) << " bytes");
    EXPECT_EQ(stored(value), bytes);
    EXPECT_EQ(bitsOf(loaded<T>(bytes)), bitsOf(value));
}

TEST(HostOrder, IsLittleEndianSaysWhatTheHostDoes) {
    const std::uint32_t one = 1;
    unsigned char first;
    std::memcpy(&first, &one, 1);
    EXPECT_EQ(isLittleEndian, first == 1);
}

TEST(HostOrder, IsKnownBeforeAnyCodeRuns) {
    static_assert(isLittleEndian || !isLittleEndian, "a constant expression");
    SUCCEED();
}

TEST(SwapEndian, ReversesTheBytes) {
    EXPECT_EQ(swapEndian(std::uint8_t{0x12}), 0x12);
    EXPECT_EQ(swapEndian(std::uint16_t{0x1234}), 0x3412);
    EXPECT_EQ(swapEndian(std::uint32_t{0x12345678}), 0x78563412U);
    EXPECT_EQ(swapEndian(std::uint64_t{0x123456789ABCDEF0}), 0xF0DEBC9A78563412U);
    EXPECT_EQ(swapEndian(std::int16_t{-2}), static_cast<std::int16_t>(0xFEFF));
}

TEST(SwapEndian, ReversesTheBitImageOfFloatingPointNumbers) {
    EXPECT_EQ(bitsOf(swapEndian(1.0F)), 0x0000803FU);
    EXPECT_EQ(bitsOf(swapEndian(1.0)), 0x000000000000F03FU);
}

TEST(SwapEndian, TwiceGivesTheValueBack) {
    EXPECT_EQ(swapEndian(swapEndian(-123456789)), -123456789);
    EXPECT_EQ(swapEndian(swapEndian(-0.1)), -0.1);
    EXPECT_EQ(swapEndian(swapEndian(0.1F)), 0.1F);
}

TEST(LittleEndian, OneByteTypesAreTheirByte) {
    expectBytes('A', "41"_bytes);
    expectBytes(false, "00"_bytes);
    expectBytes(true, "01"_bytes);
    expectBytes(static_cast<signed char>(-2), "fe"_bytes);
    expectBytes(static_cast<unsigned char>(254), "fe"_bytes);
}

TEST(LittleEndian, IntegersHaveTheirLowByteFirst) {
    expectBytes(static_cast<short>(-2), "fe ff"_bytes);
    expectBytes(static_cast<unsigned short>(0x1234), "34 12"_bytes);
    expectBytes(258, "02 01 00 00"_bytes);
    expectBytes(std::numeric_limits<int>::min(), "00 00 00 80"_bytes);
    expectBytes(0x12345678U, "78 56 34 12"_bytes);
    expectBytes(-1L, "ff ff ff ff ff ff ff ff"_bytes);
    expectBytes(0x123456789ABCDEF0UL, "f0 de bc 9a 78 56 34 12"_bytes);
    expectBytes(0x123456789ABCDEF0LL, "f0 de bc 9a 78 56 34 12"_bytes);
    expectBytes(0x123456789ABCDEF0ULL, "f0 de bc 9a 78 56 34 12"_bytes);
}

TEST(LittleEndian, FloatingPointNumbersAreTheirBitImage) {
    expectBytes(1.0F, "00 00 80 3f"_bytes);
    expectBytes(-0.0F, "00 00 00 80"_bytes);
    expectBytes(1.0, "00 00 00 00 00 00 f0 3f"_bytes);
    expectBytes(-0.1, "9a 99 99 99 99 99 b9 bf"_bytes);
    expectBytes(std::numeric_limits<double>::infinity(), "00 00 00 00 00 00 f0 7f"_bytes);
    expectBytes(std::numeric_limits<double>::denorm_min(), "01 00 00 00 00 00 00 00"_bytes);
}

TEST(LittleEndian, ANanKeepsItsPayloadAndStaysSignalling) {
    const Bytes floatNan = "01 02 a0 ff"_bytes;
    const Bytes doubleNan = "01 02 03 04 05 06 f4 7f"_bytes;
    EXPECT_EQ(bitsOf(loaded<float>(floatNan)), 0xFFA00201U);
    EXPECT_EQ(bitsOf(loaded<double>(doubleNan)), 0x7FF4060504030201U);
    EXPECT_EQ(stored(loaded<float>(floatNan)), floatNan);
    EXPECT_EQ(stored(loaded<double>(doubleNan)), doubleNan);
}

TEST(LittleEndian, ABoolKeepsTheByteItIsGiven) {
    const unsigned char two = 2;
    bool value;
    loadLittle(&two, value);
    unsigned char kept;
    std::memcpy(&kept, &value, 1);
    EXPECT_EQ(kept, 2);
}

}  // namespace
}  // namespace qor::test
