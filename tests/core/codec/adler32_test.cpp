#include "qor/core/codec/adler32.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace qor::impl {
namespace {

std::uint32_t adlerOf(const std::string& text) {
    return adler32({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
}

// As RFC 1950 says it.
std::uint32_t byTheBook(Bytes content) {
    std::uint32_t a = 1;
    std::uint32_t b = 0;
    for (const unsigned char byte : content) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    return b << 16 | a;
}

TEST(Adler32, OfKnownTexts) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyz";
    EXPECT_EQ(adlerOf(""), 0x00000001u);
    EXPECT_EQ(adlerOf("a"), 0x00620062u);
    EXPECT_EQ(adlerOf("abc"), 0x024D0127u);
    EXPECT_EQ(adlerOf("0123456789abcdef"), 0x1F6B0463u);
    EXPECT_EQ(adlerOf(letters + letters + letters), 0x154F215Eu);
}

TEST(Adler32, OfEveryLengthAroundARunOfRows) {
    std::mt19937 random(1);
    std::vector<unsigned char> bytes(3000);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
    for (std::size_t n = 0; n <= bytes.size(); ++n) {
        ASSERT_EQ(adler32(Bytes(bytes).first(n)), byTheBook(Bytes(bytes).first(n))) << n;
    }
}

TEST(Adler32, OfTheLargestBytesDoesNotOverflow) {
    const std::vector<unsigned char> bytes(1000000, 0xFF);
    for (const std::size_t n : {703u, 704u, 705u, 5552u, 65521u, 999999u, 1000000u}) {
        EXPECT_EQ(adler32(Bytes(bytes).first(n)), byTheBook(Bytes(bytes).first(n))) << n;
    }
}

TEST(Adler32, ContinuesThatOfTheBytesBefore) {
    std::mt19937 random(2);
    std::vector<unsigned char> bytes(20000);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
    const Bytes all(bytes);
    for (std::size_t n = 0; n <= bytes.size(); n += 199) {
        ASSERT_EQ(adler32(all.subspan(n), adler32(all.first(n))), byTheBook(all)) << n;
    }
}

}  // namespace
}  // namespace qor::impl
