// number_text.h: the text of every kind of number, typed out, and which texts are numbers.
#include "qor/core/number_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "core/bits_of.h"
#include "support/test_files.h"

namespace qor::test {
namespace {

using namespace std::string_view_literals;

template <typename T>
using Limits = std::numeric_limits<T>;

// The text of `value`, with proof that nothing is written behind it or beyond the room that it may have.
template <typename T>
std::string textOf(T value, int base = 10) {
    constexpr char kUntouched = '\x7e';
    const std::size_t room = base == 10 ? kMaxDecimalText : kMaxNumberText;
    std::string memory(room + 1, kUntouched);
    const char* const end = formatNumber(memory.data(), value, base);
    const auto length = static_cast<std::size_t>(end - memory.data());
    EXPECT_LE(length, room);
    EXPECT_EQ(memory.find_first_not_of(kUntouched, length), std::string::npos);
    return memory.substr(0, length);
}

template <typename T>
void expectParsed(std::string_view text, T value, int base = 10) {
    SCOPED_TRACE(::testing::Message() << '"' << text << "\" in base " << base);
    T parsed = T();
    EXPECT_TRUE(parseNumber(text, parsed, base));
    EXPECT_EQ(bitsOf(parsed), bitsOf(value));
}

template <typename T>
void expectRefused(std::string_view text, int base = 10) {
    SCOPED_TRACE(::testing::Message() << '"' << text << "\" in base " << base << ", " << sizeof(T) << " bytes");
    const T before = static_cast<T>(1);
    T parsed = before;
    EXPECT_FALSE(parseNumber(text, parsed, base));
    EXPECT_EQ(parsed, before) << "a refused text changes nothing";
}

// A value and its text, each of which gives the other.
template <typename T>
struct Row {
    T value;
    std::string_view text;
};

template <typename T>
void expectTexts(std::initializer_list<Row<T>> rows, int base = 10) {
    for (const Row<T>& row : rows) {
        EXPECT_EQ(textOf(row.value, base), row.text);
        expectParsed(row.text, row.value, base);
    }
}

// ---- The texts ------------------------------------------------------------------------------------------------------

TEST(NumberText, Bool) { expectTexts<bool>({{false, "false"}, {true, "true"}}); }

TEST(NumberText, CharIsItsNumber) { expectTexts<char>({{'\0', "0"}, {'A', "65"}, {'\n', "10"}, {'\x7f', "127"}}); }

TEST(NumberText, SignedChar) {
    expectTexts<signed char>({{-128, "-128"}, {-1, "-1"}, {0, "0"}, {9, "9"}, {65, "65"}, {127, "127"}});
}

TEST(NumberText, UnsignedChar) { expectTexts<unsigned char>({{0, "0"}, {65, "65"}, {128, "128"}, {255, "255"}}); }

TEST(NumberText, Short) {
    expectTexts<short>({{-32768, "-32768"}, {-2, "-2"}, {0, "0"}, {258, "258"}, {32767, "32767"}});
}

TEST(NumberText, UnsignedShort) { expectTexts<unsigned short>({{0, "0"}, {32768, "32768"}, {65535, "65535"}}); }

TEST(NumberText, Int) {
    expectTexts<int>({{Limits<int>::min(), "-2147483648"},
                      {-1, "-1"},
                      {0, "0"},
                      {7, "7"},
                      {1000000, "1000000"},
                      {2147483647, "2147483647"}});
}

TEST(NumberText, UnsignedInt) {
    expectTexts<unsigned int>({{0, "0"}, {2147483648, "2147483648"}, {4294967295, "4294967295"}});
}

TEST(NumberText, Long) {
    expectTexts<long>({{Limits<long>::min(), "-9223372036854775808"},
                       {-4294967296, "-4294967296"},
                       {0, "0"},
                       {9223372036854775807, "9223372036854775807"}});
}

TEST(NumberText, UnsignedLong) {
    expectTexts<unsigned long>(
        {{0, "0"}, {9223372036854775808UL, "9223372036854775808"}, {18446744073709551615UL, "18446744073709551615"}});
}

TEST(NumberText, FloatIsTheShortestTextThatReadsBackEqual) {
    expectTexts<float>({
        {0.0F, "0"},
        {-0.0F, "-0"},
        {1.0F, "1"},
        {-2.5F, "-2.5"},
        {0.1F, "0.1"},
        {0.3F, "0.3"},
        {3.14159265F, "3.1415927"},
        {0.001F, "0.001"},
        {0.0001F, "1e-04"},
        {10000.0F, "10000"},
        {100000.0F, "1e+05"},
        {123456.0F, "123456"},
        {16777216.0F, "16777216"},
        {8.0e9F, "8e+09"},
        {0x1p-149F, "1e-45"},
        {0x1.fffffcp-127F, "1.1754942e-38"},
        {0x1p-126F, "1.1754944e-38"},
        {0x1.fffffep+127F, "3.4028235e+38"},
        {-0x1.fffffep+127F, "-3.4028235e+38"},
    });
}

TEST(NumberText, DoubleIsTheShortestTextThatReadsBackEqual) {
    expectTexts<double>({
        {0.0, "0"},
        {-0.0, "-0"},
        {1.0, "1"},
        {-2.5, "-2.5"},
        {0.1, "0.1"},
        {0.1 + 0.2, "0.30000000000000004"},
        {1.0 / 3, "0.3333333333333333"},
        {3.141592653589793, "3.141592653589793"},
        {92.418, "92.418"},
        {-179.999999, "-179.999999"},
        {9007199254740991.0, "9007199254740991"},
        {9007199254740992.0, "9007199254740992"},
        {0x1p-1074, "5e-324"},
        {0x0.fffffffffffffp-1022, "2.225073858507201e-308"},
        {0x1p-1022, "2.2250738585072014e-308"},
        {-0x1p-1022, "-2.2250738585072014e-308"},
        {0x1.fffffffffffffp+1023, "1.7976931348623157e+308"},
        {-0x1.fffffffffffffp+1023, "-1.7976931348623157e+308"},
    });
}

TEST(NumberText, AnExponentIsWrittenWhereThatIsShorter) {
    expectTexts<double>({
        {0.001, "0.001"},  // as short as 1e-03
        {0.0001, "1e-04"},
        {0.00012, "0.00012"},
        {0.000012, "1.2e-05"},
        {10000, "10000"},  // as short as 1e+04
        {100000, "1e+05"},
        {120000, "120000"},
        {1200000, "1200000"},
        {12000000, "1.2e+07"},
        {123456789012345680.0, "123456789012345680"},
        {1e22, "1e+22"},
        {1e100, "1e+100"},
        {1e-100, "1e-100"},
        {0x1p70, "1180591620717411303424"},  // as short as 1.1805916207174113e+21
    });
}

TEST(NumberText, FloatAndDoubleOfTheSameValueMayHaveDifferentTexts) {
    EXPECT_EQ(textOf(0.1F), "0.1");
    EXPECT_EQ(textOf(static_cast<double>(0.1F)), "0.10000000149011612");
}

TEST(NumberText, InfinitiesAndNansHaveNamesAndSigns) {
    expectTexts<float>({{Limits<float>::infinity(), "inf"}, {-Limits<float>::infinity(), "-inf"}});
    expectTexts<double>({{Limits<double>::infinity(), "inf"}, {-Limits<double>::infinity(), "-inf"}});
    EXPECT_EQ(textOf(Limits<float>::quiet_NaN()), "nan");
    EXPECT_EQ(textOf(-Limits<float>::quiet_NaN()), "-nan");
    EXPECT_EQ(textOf(Limits<double>::quiet_NaN()), "nan");
    EXPECT_EQ(textOf(-Limits<double>::quiet_NaN()), "-nan");
}

TEST(NumberText, OfANanOnlyTheSignSurvives) {
    const auto expectSignOnly = [](auto payload) {
        using T = decltype(payload);
        for (const bool negative : {false, true}) {
            const T nan = std::copysign(payload, negative ? T{-1} : T{1});
            EXPECT_EQ(textOf(nan), negative ? "-nan" : "nan");
            T parsed = 0;
            EXPECT_TRUE(parseNumber(textOf(nan), parsed));
            EXPECT_TRUE(std::isnan(parsed));
            EXPECT_EQ(std::signbit(parsed), negative);
        }
    };
    expectSignOnly(std::nanf("123"));
    expectSignOnly(std::nan("123"));
}

TEST(NumberText, TheLongestTextsFillTheirRoom) {
    EXPECT_EQ(kMaxNumberText, 65U);
    EXPECT_EQ(textOf(Limits<long>::min(), 2), "-1" + std::string(63, '0'));
    EXPECT_GE(kMaxDecimalText, 24U);
    EXPECT_EQ(textOf(-2.2250738585072014e-308).size(), 24U);
    EXPECT_EQ(textOf(-1.7976931348623157e+308).size(), 24U);
}

// ---- Radixes --------------------------------------------------------------------------------------------------------

TEST(NumberText, BinaryOctalAndHexadecimalHaveNoPrefix) {
    expectTexts<int>({{0, "0"}, {1, "1"}, {2, "10"}, {99, "1100011"}, {-99, "-1100011"}}, 2);
    expectTexts<int>({{0, "0"}, {7, "7"}, {8, "10"}, {493, "755"}, {-493, "-755"}}, 8);
    expectTexts<int>({{0, "0"}, {15, "f"}, {16, "10"}, {3735928, "390178"}, {-255, "-ff"}}, 16);
    expectTexts<int>({{35, "z"}, {36, "10"}}, 36);
}

TEST(NumberText, TheExtremesInEveryRadix) {
    expectTexts<signed char>({{-128, "-10000000"}, {127, "1111111"}}, 2);
    expectTexts<signed char>({{-128, "-200"}, {127, "177"}}, 8);
    expectTexts<signed char>({{-128, "-80"}, {127, "7f"}}, 16);
    expectTexts<unsigned char>({{255, "11111111"}}, 2);
    expectTexts<unsigned char>({{255, "377"}}, 8);
    expectTexts<unsigned char>({{255, "ff"}}, 16);
    expectTexts<short>({{-32768, "-1000000000000000"}, {32767, "111111111111111"}}, 2);
    expectTexts<short>({{-32768, "-100000"}, {32767, "77777"}}, 8);
    expectTexts<short>({{-32768, "-8000"}, {32767, "7fff"}}, 16);
    expectTexts<unsigned short>({{65535, "1111111111111111"}}, 2);
    expectTexts<unsigned short>({{65535, "177777"}}, 8);
    expectTexts<unsigned short>({{65535, "ffff"}}, 16);
    expectTexts<int>({{Limits<int>::min(), "-80000000"}, {Limits<int>::max(), "7fffffff"}}, 16);
    expectTexts<int>({{Limits<int>::min(), "-20000000000"}, {Limits<int>::max(), "17777777777"}}, 8);
    expectTexts<int>({{Limits<int>::min(), "-10000000000000000000000000000000"},
                      {Limits<int>::max(), "1111111111111111111111111111111"}},
                     2);
    expectTexts<unsigned int>({{4294967295, "11111111111111111111111111111111"}}, 2);
    expectTexts<unsigned int>({{4294967295, "37777777777"}}, 8);
    expectTexts<unsigned int>({{4294967295, "ffffffff"}}, 16);
    expectTexts<long>({{Limits<long>::min(), "-8000000000000000"}, {Limits<long>::max(), "7fffffffffffffff"}}, 16);
    expectTexts<long>(
        {{Limits<long>::min(), "-1000000000000000000000"}, {Limits<long>::max(), "777777777777777777777"}}, 8);
    expectTexts<long>({{Limits<long>::min(), "-1000000000000000000000000000000000000000000000000000000000000000"},
                       {Limits<long>::max(), "111111111111111111111111111111111111111111111111111111111111111"}},
                      2);
    expectTexts<unsigned long>({{Limits<unsigned long>::max(), "ffffffffffffffff"}}, 16);
    expectTexts<unsigned long>({{Limits<unsigned long>::max(), "1777777777777777777777"}}, 8);
    expectTexts<unsigned long>(
        {{Limits<unsigned long>::max(), "1111111111111111111111111111111111111111111111111111111111111111"}}, 2);
}

TEST(NumberText, TheRadixIsOfNoEffectButOnIntegers) {
    expectTexts<double>({{255.5, "255.5"}}, 16);
    expectTexts<bool>({{true, "true"}}, 2);
}

// ---- What is no number ----------------------------------------------------------------------------------------------

template <typename... T>
void expectRefusedByAll(std::string_view text) {
    (expectRefused<T>(text), ...);
}

const std::string_view kNoNumbers[] = {
    {},  // with no address either
    "",
    " ",
    "\t",
    "\n",
    "-",
    "+",
    "+5",
    " 5",
    "5 ",
    "5\n",
    "\t5",
    "5,",
    "5;",
    "5 6",
    "0x5",
    "0b1",
    "x",
    "five",
    "--5",
    "5-",
    "- 5",
    "-+5",
    "1_000",
    "1,000",
    "5\0"sv,
    "\0"sv,
    "1e",
    "1e+",
    "5f",
    "5L",
    "$5",
    ".",
    "e5",
    "TRUE",
    "yes",
    "true ",
    " false",
    "t",
    "falsee",
    "1/2",
    "\xef\xbb\xbf"
    "5",
};

TEST(NumberParse, RefusesWhatIsNoNumber) {
    for (const std::string_view text : kNoNumbers) {
        expectRefusedByAll<bool, char, signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                           unsigned long, float, double>(text);
    }
}

TEST(NumberParse, AnIntegerHasNoPointAndNoExponent) {
    for (const std::string_view text : {"1.0", "1.", ".5", "1e3", "inf", "nan", "true"}) {
        expectRefusedByAll<char, signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                           unsigned long>(text);
    }
}

TEST(NumberParse, TruthIsAWordAndNoNumber) {
    for (const std::string_view text : {"0", "1", "-1", "True", "tru", "truefalse", "inf"}) expectRefused<bool>(text);
    for (const std::string_view text : {"true", "false"}) expectRefusedByAll<float, double>(text);
}

TEST(NumberParse, AnUnsignedNumberHasNoSign) {
    for (const std::string_view text : {"-0", "-1", "-128", "-18446744073709551615"}) {
        expectRefusedByAll<unsigned char, unsigned short, unsigned int, unsigned long>(text);
    }
}

TEST(NumberParse, RefusesAnIntegerOneBeyondItsType) {
    expectRefused<signed char>("128");
    expectRefused<signed char>("-129");
    expectRefused<unsigned char>("256");
    expectRefused<short>("32768");
    expectRefused<short>("-32769");
    expectRefused<unsigned short>("65536");
    expectRefused<int>("2147483648");
    expectRefused<int>("-2147483649");
    expectRefused<unsigned int>("4294967296");
    expectRefused<long>("9223372036854775808");
    expectRefused<long>("-9223372036854775809");
    expectRefused<unsigned long>("18446744073709551616");

    expectRefused<signed char>("10000000", 2);
    expectRefused<unsigned char>("400", 8);
    expectRefused<short>("8000", 16);
    expectRefused<short>("-8001", 16);
    expectRefused<unsigned long>("10000000000000000", 16);
}

TEST(NumberParse, RefusesAnIntegerOfFourHundredDigits) {
    const std::string digits(400, '9');
    expectRefusedByAll<char, signed char, unsigned char, short, unsigned short, int, unsigned int, long, unsigned long>(
        digits);
    expectRefusedByAll<signed char, short, int, long>("-" + digits);
}

TEST(NumberParse, RefusesAFloatingPointNumberBeyondItsType) {
    expectRefusedByAll<float, double>("1e400");
    expectRefusedByAll<float, double>("-1e400");
    expectRefusedByAll<float, double>("1e99999999999999999999");
    expectRefusedByAll<float, double>("1e-400");
    expectRefused<float>("1e39");
    expectRefused<float>("3.4028236e+38");
    expectRefused<float>("1e-46");
    expectRefused<double>("1.7976931348623159e+308");
    expectRefusedByAll<float, double>(std::string(400, '9'));
}

TEST(NumberParse, RefusesDigitsThatTheRadixLacks) {
    expectRefused<int>("2", 2);
    expectRefused<int>("102", 2);
    expectRefused<int>("8", 8);
    expectRefused<int>("a");
    expectRefused<int>("fg", 16);
    expectRefused<int>("0xff", 16);
    expectRefused<int>("0b1", 2);
}

// ---- More than the texts that are written ---------------------------------------------------------------------------

TEST(NumberParse, TakesLeadingZerosAndEitherCase) {
    expectParsed("007", 7);
    expectParsed("-007", -7);
    expectParsed("-0", 0);
    expectParsed(std::string(400, '0') + "7", 7L);
    expectParsed("Ff", 255, 16);
    expectParsed("1E5", 1e5);
}

TEST(NumberParse, TakesFloatingPointNumbersInEitherNotation) {
    expectParsed("100000", 1e5);
    expectParsed("1e5", 1e5);
    expectParsed("1e+05", 1e5);
    expectParsed(".5", 0.5);
    expectParsed("5.", 5.0);
    expectParsed("-0.0", -0.0);
    expectParsed("0e400", 0.0);
}

TEST(NumberParse, TakesMoreDigitsThanItCanKeepAndRoundsToTheNearest) {
    expectParsed("0.1000000000000000055511151231257827021181583404541015625", 0.1);
    expectParsed("9007199254740993", 9007199254740992.0);
    expectParsed("9007199254740993.0000000000000000000000000000000000000001", 9007199254740994.0);
    expectParsed("0." + std::string(400, '3'), 1.0 / 3);
    expectParsed("16777217", 16777216.0F);
    expectParsed("4.9e-324", 5e-324);
}

// ---- Numbers that more text follows ---------------------------------------------------------------------------------

// What is behind the number that `text` begins with; "none" if it begins with none, and nothing is stored then.
template <typename T>
std::string restOf(std::string_view text, T expected, int base = 10) {
    T value{};
    const char* const end = text.data() + text.size();
    const char* const behind = parseNumberAt(text.data(), end, value, base);
    EXPECT_EQ(value, behind ? expected : T{}) << text;
    return behind ? std::string(behind, end) : "none";
}

TEST(NumberParseAt, StopsBehindTheNumber) {
    EXPECT_EQ(restOf("12 34", 12), " 34");
    EXPECT_EQ(restOf("-7", -7), "");
    EXPECT_EQ(restOf("5x"sv, 5ul), "x");
    EXPECT_EQ(restOf("5\0006"sv, 5), std::string("\0006", 2));
    EXPECT_EQ(restOf<signed char>("65;", 65), ";");
    EXPECT_EQ(restOf<unsigned char>("255.", 255), ".");
    EXPECT_EQ(restOf("ffg", 255, 16), "g");
}

TEST(NumberParseAt, TakesAllThatBelongsToTheNumber) {
    EXPECT_EQ(restOf("1.5.5", 1.5), ".5");
    EXPECT_EQ(restOf("1e5e5", 1e5), "e5");
    EXPECT_EQ(restOf("1e ", 1.0), "e ");
    EXPECT_EQ(restOf("1.", 1), ".");
    EXPECT_EQ(restOf("0x1", 0), "x1");
    EXPECT_EQ(restOf("-inf inity", -std::numeric_limits<float>::infinity()), " inity");
    EXPECT_EQ(restOf("true ", true), " ");
    EXPECT_EQ(restOf("truefalse", true), "false");
    EXPECT_EQ(restOf("falsetrue", false), "true");
}

TEST(NumberParseAt, IsNullWhereNoNumberBegins) {
    for (const std::string_view text : {"", " 1", "+1", "x", "-", "\0001"}) {
        EXPECT_EQ(restOf(text, 0), "none");
        EXPECT_EQ(restOf(text, 0.0), "none");
        EXPECT_EQ(restOf(text, false), "none");
    }
    for (const std::string_view text : {"tru", "fals", "True", "1", "t"}) EXPECT_EQ(restOf(text, false), "none");
    EXPECT_EQ(restOf("-1", 0u), "none");
}

TEST(NumberParseAt, IsNullWhereTheTypeCannotHoldTheNumber) {
    EXPECT_EQ(restOf<signed char>("128 ", 0), "none");
    EXPECT_EQ(restOf("2147483648 ", 0), "none");
    EXPECT_EQ(restOf("18446744073709551616 ", 0ul), "none");
    EXPECT_EQ(restOf("1e39 ", 0.0F), "none");
}

TEST(NumberParseAt, ReadsNoFurtherThanItsEnd) {
    const std::string text = "1234true";
    int number = 0;
    EXPECT_EQ(parseNumberAt(text.data(), text.data() + 2, number), text.data() + 2);
    EXPECT_EQ(number, 12);
    bool truth = false;
    EXPECT_EQ(parseNumberAt(text.data() + 4, text.data() + 7, truth), nullptr);
    EXPECT_EQ(parseNumberAt(text.data() + 4, text.data() + 8, truth), text.data() + 8);
    EXPECT_TRUE(truth);
}

// ---- The locale -----------------------------------------------------------------------------------------------------

// A C locale in which 1.5 is printed as "1,5", made for the test, since a machine need not have one.
class CommaLocale : public WithFiles {
 protected:
    void SetUp() override {
        files.make("charmap", "<code_set_name> ASCII\n<mb_cur_max> 1\nCHARMAP\n<U002C> /x2c COMMA\nEND CHARMAP\n");
        files.make("source", "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping 3;3\nEND LC_NUMERIC\n");
        // It complains of every category that the source leaves out, and makes the one that counts here.
        const std::string make = std::string("localedef --force --no-archive ") +
                                 (isLittleEndian ? "--little-endian" : "--big-endian") + " -f '" +
                                 files.path("charmap") + "' -i '" + files.path("source") + "' '" + files.path("comma") +
                                 "' >'" + files.path("complaints") + "' 2>&1";
        ASSERT_NE(std::system(make.c_str()), -1);
        setenv("LOCPATH", files.path("").c_str(), 1);
        ASSERT_NE(std::setlocale(LC_NUMERIC, "comma"), nullptr) << files.content("complaints").raw;

        char text[8];
        std::snprintf(text, sizeof(text), "%.1f", 1.5);
        ASSERT_STREQ(text, "1,5") << "the locale is not in force";
    }
    void TearDown() override {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
    }
};

TEST_F(CommaLocale, ChangesNoText) {
    EXPECT_EQ(textOf(1.5), "1.5");
    EXPECT_EQ(textOf(-0.1F), "-0.1");
    EXPECT_EQ(textOf(1234567.5), "1234567.5");
    EXPECT_EQ(textOf(1234567890), "1234567890");
    expectParsed("1.5", 1.5);
    expectParsed("-0.1", -0.1F);
    expectParsed("1234567890", 1234567890);
    expectRefusedByAll<float, double>("1,5");
    expectRefusedByAll<int, long, float, double>("1.234.567");
}

}  // namespace
}  // namespace qor::test
