// Calls that read as one would write them, next to all that is refused: each puts into the file what it says.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/test_files.h"

namespace qor::test {
namespace {

// The bytes that `<<` and `write` both put into a binary file.
template <typename T>
Bytes stored(const T& value) {
    const Bytes streamed = written(Format::Binary, [&](File& file) { file << value; });
    const Bytes passed = written(Format::Binary, [&](File& file) { EXPECT_TRUE(file.write(value)); });
    EXPECT_EQ(streamed, passed);
    return streamed;
}

const Bytes kText = "04 00 00 00 00 00 00 00 74 65 78 74"_bytes;
const Bytes kNoText = "00 00 00 00 00 00 00 00"_bytes;

TEST(AcceptedTexts, ALiteral) {
    EXPECT_EQ(written(Format::Binary, [](File& file) { file << "text"; }), kText);
    EXPECT_EQ(written(Format::Binary, [](File& file) { file.write("text"); }), kText);
}

TEST(AcceptedTexts, ACharacterPointer) {
    char characters[] = "text";
    char* const changeable = characters;
    const char* const constant = characters;
    EXPECT_EQ(stored(changeable), kText);
    EXPECT_EQ(stored(constant), kText);
}

TEST(AcceptedTexts, AnArrayOfCharactersUpToItsZero) {
    char large[16] = "text";
    const char exact[] = "text";
    EXPECT_EQ(stored(large), kText);
    EXPECT_EQ(stored(exact), kText);
}

TEST(AcceptedTexts, AnArrayWithoutAZeroIsStreamedUpToItsEnd) {
    const char full[4] = {'t', 'e', 'x', 't'};
    EXPECT_EQ(written(Format::Binary, [&](File& file) { file << full; }), kText);
}

TEST(AcceptedTexts, AnObjectThatTurnsIntoCharactersIsTheirText) {
    struct Name {
        operator const char*() const { return "text"; }
    };
    EXPECT_EQ(stored(Name()), kText);
}

TEST(AcceptedTexts, ANullPointerIsTheEmptyText) { EXPECT_EQ(stored(static_cast<const char*>(nullptr)), kNoText); }

TEST(AcceptedTexts, TheLibrarysTextsAndBuilders) {
    StringIO builder;
    builder << "te"
            << "xt";
    EXPECT_EQ(stored(String("text")), kText);
    EXPECT_EQ(stored(builder), kText);
    EXPECT_EQ(written(Format::Binary, [](File& file) { file << String("te") + "xt"; }), kText);
}

TEST(AcceptedTexts, TheStandardLibrarysTexts) {
    EXPECT_EQ(stored(std::string("text")), kText);
    EXPECT_EQ(stored(std::string_view("text")), kText);
    EXPECT_EQ(stored(std::string_view("text and more").substr(0, 4)), kText);
    EXPECT_EQ(stored(std::string()), kNoText);
    EXPECT_EQ(stored(std::string_view()), kNoText);
    EXPECT_EQ(stored(std::string_view("text").substr(0, 0)), kNoText);
}

TEST(AcceptedTexts, TheStandardLibrarysTextsEndAtTheirFirstZero) {
    EXPECT_EQ(stored(std::string("text\0more", 9)), kText);
    EXPECT_EQ(stored(std::string_view("text\0more", 9)), kText);
    EXPECT_EQ(stored(std::string_view("\0more", 5)), kNoText);
}

TEST(AcceptedNumbers, SizesAndFixedWidths) {
    EXPECT_EQ(stored(std::size_t{3}), "03 00 00 00 00 00 00 00"_bytes);
    EXPECT_EQ(stored(std::ptrdiff_t{-3}), "fd ff ff ff ff ff ff ff"_bytes);
    EXPECT_EQ(stored(std::int8_t{-3}), "fd"_bytes);
    EXPECT_EQ(stored(std::uint16_t{3}), "03 00"_bytes);
    EXPECT_EQ(stored(std::int32_t{-3}), "fd ff ff ff"_bytes);
    EXPECT_EQ(stored(std::int64_t{-3}), "fd ff ff ff ff ff ff ff"_bytes);
    EXPECT_EQ(stored(std::uint64_t{3}), "03 00 00 00 00 00 00 00"_bytes);
}

TEST(AcceptedNumbers, LongLongIsEightBytesLikeLong) {
    EXPECT_EQ(stored(-3LL), "fd ff ff ff ff ff ff ff"_bytes);
    EXPECT_EQ(stored(3ULL), "03 00 00 00 00 00 00 00"_bytes);
}

TEST(AcceptedNumbers, LongLongIsDigitsInATextFile) {
    EXPECT_EQ(written(Format::Text, [](File& file) { file << -3LL << ' ' << 18446744073709551615ULL; }),
              Bytes{"-3 18446744073709551615"});
}

TEST(AcceptedNumbers, LongLongReadsBack) {
    const TestFolder files;
    const std::string path =
        files.make("in", std::string_view("\xfd\xff\xff\xff\xff\xff\xff\xff\x03\0\0\0\0\0\0\0", 16));
    File file;
    long long number = 0;
    unsigned long long count = 0;
    ASSERT_TRUE(file.open(path.c_str(), Mode::Read, Format::Binary));
    file >> number >> count;
    EXPECT_TRUE(file.ok());
    EXPECT_EQ(number, -3);
    EXPECT_EQ(count, 3U);
}

TEST(AcceptedNumbers, AnEnumeratorIsTheIntegerThatItPromotesTo) {
    enum Plain { kSeven = 7 };
    enum Narrow : std::int16_t { kEight = 8 };
    enum Wide : std::uint64_t { kNine = 9 };
    EXPECT_EQ(stored(kSeven), "07 00 00 00"_bytes);
    EXPECT_EQ(stored(kEight), "08 00"_bytes);
    EXPECT_EQ(stored(kNine), "09 00 00 00 00 00 00 00"_bytes);
}

TEST(AcceptedNumbers, ABitFieldIsOfItsDeclaredType) {
    struct {
        unsigned int low : 3;
        unsigned short high : 9;
        bool flag : 1;
    } fields = {5, 300, true};
    EXPECT_EQ(written(Format::Binary, [&](File& file) { file << fields.low << fields.high << fields.flag; }),
              "05 00 00 00 2c 01 01"_bytes);
}

TEST(AcceptedNumbers, AnElementOfAVectorOfBoolIsABool) {
    std::vector<bool> flags = {true, false};
    const std::vector<bool>& constant = flags;
    EXPECT_EQ(written(Format::Binary, [&](File& file) { file << flags[0] << flags[1] << constant[0]; }),
              "01 00 01"_bytes);
    EXPECT_EQ(written(Format::Binary, [&](File& file) { file.write(flags[0]); }), "01"_bytes);
}

TEST(AcceptedNumbers, AConstantAndATemporary) {
    constexpr int kSeven = 7;
    EXPECT_EQ(written(Format::Binary, [](File& file) { file << kSeven << kSeven + 1; }),
              "07 00 00 00 08 00 00 00"_bytes);
}

// A constant that a class declares and nobody defines: it has a value and no address.
struct Limits {
    static const int kMost = 7;
};

TEST(AcceptedNumbers, AConstantThatIsNowhereDefined) {
    EXPECT_EQ(written(Format::Binary, [](File& file) { file << Limits::kMost; }), "07 00 00 00"_bytes);
}

TEST(AcceptedCalls, AChainMixesWhatItLikes) {
    EXPECT_EQ(written(Format::Text,
                      [](File& file) { file << 1 << ' ' << "two" << ' ' << std::string("3") << ' ' << 4.5 << '\n'; }),
              Bytes{"1 two 3 4.5\n"});
}

TEST(AcceptedCalls, AChainWorksOnATemporaryHandle) {
    EXPECT_EQ(written(Format::Text, [](File& file) { File(file) << 1 << 2; }), Bytes{"12"});
}

TEST(AcceptedCalls, AFileIsOpenedByALiteral) {
    const auto before = std::filesystem::current_path();
    const TestFolder files;
    std::filesystem::current_path(files.path(""));
    {
        File file;
        EXPECT_TRUE(file.open("a.bin", Mode::Write, Format::Binary));
        file << 7;
        EXPECT_TRUE(file.close());
    }
    std::filesystem::current_path(before);
    EXPECT_EQ(files.content("a.bin"), "07 00 00 00"_bytes);
}

}  // namespace
}  // namespace qor::test
