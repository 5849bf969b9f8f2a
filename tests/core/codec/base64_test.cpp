// base64.h: the texts of RFC 4648, that each row of bytes has one text only, and every text that is refused.
#include "qor/core/codec/base64.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/codec/made_bytes.h"

namespace qor::test {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

std::string encoded(std::string_view bytes) {
    ds::Vector<unsigned char> text;
    EXPECT_TRUE(impl::encodeBase64(view(ownBytes(bytes)), text));
    return asString(text);
}

std::optional<std::string> decoded(std::string_view text) {
    ds::Vector<unsigned char> bytes;
    if (!impl::decodeBase64(view(ownBytes(text)), bytes)) return std::nullopt;
    return asString(bytes);
}

// The text of some bytes, six bits at a time, for comparison.
std::string plainText(std::string_view bytes) {
    constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    unsigned bits = 0;
    int count = 0;
    for (const char byte : bytes) {
        bits = bits << 8 | static_cast<unsigned char>(byte);
        for (count += 8; count >= 6; count -= 6) text += kAlphabet[bits >> (count - 6) & 63];
    }
    if (count > 0) text += kAlphabet[bits << (6 - count) & 63];
    while (text.size() % 4 != 0) text += '=';
    return text;
}

struct Pair {
    std::string_view bytes;
    std::string_view text;
};

constexpr Pair kPairs[] = {
    // RFC 4648, 10.
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    // The first and the last bytes there are, and the last two characters of the alphabet.
    {"\0"sv, "AA=="},
    {"\xff", "/w=="},
    {"\xfb\xef\xbe", "++++"},
    {"\xff\xff\xff", "////"},
};

TEST(Base64, KnownBytesHaveTheirKnownTexts) {
    for (const auto& [bytes, text] : kPairs) {
        EXPECT_EQ(encoded(bytes), text);
        EXPECT_EQ(decoded(text), bytes) << text;
    }
}

TEST(Base64, BytesOfAnySizeComeBack) {
    const std::string bytes = noise(300);
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        const std::string_view some = std::string_view(bytes).substr(0, size);
        const std::string text = encoded(some);
        ASSERT_EQ(text, plainText(some));
        ASSERT_EQ(decoded(text), some) << size << " bytes";
    }
}

TEST(Base64, AMillionBytesComeBack) {
    const std::string bytes = noise(1'000'001);
    EXPECT_EQ(encoded(bytes), plainText(bytes));
    EXPECT_EQ(decoded(encoded(bytes)), bytes);
}

struct Refused {
    std::string_view text;
    std::string_view reason;
};

constexpr Refused kRefused[] = {
    {"Z", "one character is no byte"},
    {"Zg", "the padding is missing"},
    {"Zm8", "the padding is missing"},
    {"Zg=", "half of the padding is missing"},
    {"Zm9vYg", "the padding is missing behind whole fours"},
    {"Zm9v\n", "a line break makes a length that is no multiple of four"},
    {"Zg==Zm9v", "padding inside"},
    {"Zm8=Zm9v", "padding inside"},
    {"Zm9vZg==Zm9vZm9vZm9vZm9v", "padding inside, far from the end"},
    {"Z===", "three places of padding"},
    {"====", "padding alone"},
    {"=m9v", "padding first"},
    {"Zm=v", "a character behind padding"},
    {"Z=9v", "characters behind padding"},
    {"Z=8=", "padding that is not at the end, beside some that is"},
    {"Zh==", "the lowest bit that no byte takes is set, one byte"},
    {"Zo==", "the highest bit that no byte takes is set, one byte"},
    {"Zm9=", "the lowest bit that no byte takes is set, two bytes"},
    {"Zm+=", "the highest bit that no byte takes is set, two bytes"},
    {"Zm9vZh==", "a bit that no byte takes is set, behind whole fours"},
    {" Zm9vYg=", "white space in front"},
    {"Zm9vYg =", "white space before the padding"},
    {"Zm9v\r\nYg", "a line break inside"},
    {"Zm9v\tYg=", "a tab inside"},
    {"Zm9v   \n", "white space at the end"},
    {"Zm-v", "a character of the other alphabet (RFC 4648, 5)"},
    {"Zm_v", "a character of the other alphabet (RFC 4648, 5)"},
    {"Zm9\0"sv, "a zero byte"},
    {"Zm9\xc1", "a character with its high bit set"},
};

TEST(Base64, TextsThatNoBytesHaveAreRefused) {
    for (const auto& [text, reason] : kRefused) EXPECT_EQ(decoded(text), std::nullopt) << reason;
}

TEST(Base64, NothingStandsInTheBitsBehindTheLastByte) {
    int withOneByte = 0;
    int withTwo = 0;
    for (const char c : "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"s) {
        withOneByte += decoded("A"s + c + "==").has_value();
        withTwo += decoded("AA"s + c + "=").has_value();
    }
    EXPECT_EQ(withOneByte, 4);
    EXPECT_EQ(withTwo, 16);
}

// So that no text can be changed without the bytes noticing.
TEST(Base64, ATextThatIsAcceptedIsTheOneThatItsBytesHave) {
    for (const std::string_view bytes : {"f"sv, "fo"sv, "foo"sv, "foob"sv, "foobar foobar"sv, "foobar foobarf"sv}) {
        const std::string text = encoded(bytes);
        for (std::size_t i = 0; i < text.size(); ++i) {
            for (int c = 0; c < 256; ++c) {
                std::string changed = text;
                changed[i] = static_cast<char>(c);
                const auto restored = decoded(changed);
                if (restored) {
                    ASSERT_EQ(encoded(*restored), changed);
                }
            }
        }
    }
}

TEST(Base64, APrefixIsTheTextOfAPrefixOrRefused) {
    const std::string bytes = noise(50);
    const std::string text = encoded(bytes);
    for (std::size_t length = 0; length < text.size(); ++length) {
        const auto restored = decoded(std::string_view(text).substr(0, length));
        if (length % 4 == 0) {
            EXPECT_EQ(restored, bytes.substr(0, length / 4 * 3)) << length;
        } else {
            EXPECT_EQ(restored, std::nullopt) << length;
        }
    }
}

TEST(Base64, ATextOfAnImpossibleLengthTakesNoMemory) {
    ds::Vector<unsigned char> bytes;
    EXPECT_FALSE(impl::decodeBase64(view(std::string(10'001, 'A')), bytes));
    EXPECT_EQ(bytes.capacity(), 0u);
}

TEST(Base64, IsDecodedWhereItStands) {
    for (std::size_t size = 0; size < 300; ++size) {
        ds::Vector<unsigned char> bytes;
        bytes.resize(size);
        for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 37 + size);
        ds::Vector<unsigned char> text;
        ASSERT_TRUE(impl::encodeBase64({bytes.data(), bytes.size()}, text));
        const unsigned char* const place = text.data();
        ASSERT_TRUE(impl::decodeBase64(text)) << size;
        EXPECT_TRUE(text == bytes) << size;
        EXPECT_EQ(text.data(), place);
    }
}

TEST(Base64, ThatIsNoneIsNotDecodedWhereItStands) {
    for (const std::string_view none : {"A", "AAAAA", "AA=A", "AAA*", "AAAB====", "AB=="}) {
        ds::Vector<unsigned char> text;
        text.resize(none.size());
        std::copy(none.begin(), none.end(), text.begin());
        EXPECT_FALSE(impl::decodeBase64(text)) << none;
    }
}

TEST(Base64, TheResultTakesTheSizeOfItsBytes) {
    ds::Vector<unsigned char> bytes;
    EXPECT_TRUE(impl::decodeBase64(view("Zm9vYg=="), bytes));
    EXPECT_EQ(bytes.capacity(), 4u);
}

}  // namespace
}  // namespace qor::test
