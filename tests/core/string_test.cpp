// string.h: shared text, printf formatting, numbers to and from text. Where memory is refused: string_memory_test.cpp.
#include "qor/core/string.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace qor::test {
namespace {

using namespace std::string_view_literals;

template <typename T>
using Limits = std::numeric_limits<T>;

constinit StaticText kGreeting("hello");
constinit StaticText kNothing("");
constinit StaticText kWithZero("a\0b");

// The same text twice as often.
String doubled(const String& text) { return text + text; }

String formatv(const char* fmt, ...) {
    std::va_list args;
    va_start(args, fmt);
    const String text = String::formatv(fmt, args);
    va_end(args);
    return text;
}

bool assignFormat(String& text, const char* fmt, ...) {
    std::va_list args;
    va_start(args, fmt);
    const bool done = text.assignFormat(fmt, args);
    va_end(args);
    return done;
}

// The locale in which %ls fails for every character beyond ASCII.
class PlainLocale {
 public:
    PlainLocale() : before(std::setlocale(LC_ALL, nullptr)) { std::setlocale(LC_ALL, "C"); }
    ~PlainLocale() { std::setlocale(LC_ALL, before.c_str()); }
    PlainLocale(const PlainLocale&) = delete;
    PlainLocale& operator=(const PlainLocale&) = delete;

 private:
    std::string before;
};

void expectEmpty(const String& text) {
    EXPECT_TRUE(text.isEmpty());
    EXPECT_EQ(text.length(), 0U);
    EXPECT_STREQ(text.buf(), "");
    EXPECT_EQ(text.view(), "");
    EXPECT_NE(text.view().data(), nullptr);
}

void expectText(const String& text, std::string_view expected) {
    EXPECT_EQ(text.view(), expected);
    EXPECT_EQ(text.length(), expected.size());
    EXPECT_EQ(text.isEmpty(), expected.empty());
    EXPECT_EQ(std::string_view(text.buf(), expected.size()), expected);
    EXPECT_EQ(text.buf()[expected.size()], '\0');
}

// ---- The handle -----------------------------------------------------------------------------------------------------

TEST(StringShape, IsAReferenceAndNothingElse) {
    static_assert(std::is_base_of_v<RefersTo<IRefCounted>, String>);
    EXPECT_EQ(sizeof(String), sizeof(RefersTo<IRefCounted>));
}

TEST(StringShape, DecimalIsRadixZero) {
    EXPECT_EQ(static_cast<unsigned>(String::Radix::Decimal), 0U);
    EXPECT_EQ(static_cast<unsigned>(String::Radix::Binary), 1U);
    EXPECT_EQ(static_cast<unsigned>(String::Radix::Octal), 2U);
    EXPECT_EQ(static_cast<unsigned>(String::Radix::Hexadecimal), 3U);
}

// ---- Making ---------------------------------------------------------------------------------------------------------

TEST(StringMake, DefaultIsEmpty) { expectEmpty(String()); }

TEST(StringMake, FromTextUpToItsZero) {
    expectText(String("abc"), "abc");
    expectText(String("abc", 0), "abc");
    expectText(String("a\0b", 0), "a");
}

TEST(StringMake, FromTheEmptyTextIsEmpty) {
    expectEmpty(String(""));
    expectEmpty(String("", 0));
    expectEmpty(String("\0abc", 0));
}

TEST(StringMake, FromNullIsEmptyWhateverTheLength) {
    expectEmpty(String(nullptr, 0));
    expectEmpty(String(nullptr, 3));
}

TEST(StringMake, ALengthTakesExactlyThatManyCharacters) {
    expectText(String("abcdef", 3), "abc");
    expectText(String("a\0b", 3), "a\0b"sv);
    expectText(String("", 1), "\0"sv);
}

TEST(StringMake, TheTextIsACopy) {
    char text[] = "abc";
    const String made(text);
    text[0] = 'x';
    expectText(made, "abc");
}

TEST(StringMake, ATextOfMillionsOfCharactersIsKept) {
    const std::string large(5'000'000, 'x');
    expectText(large.c_str(), large);
}

// ---- Text that stands in the program --------------------------------------------------------------------------------

TEST(StringStatic, SharesTheProgramsCharacters) {
    const String text(kGreeting);
    expectText(text, "hello");
    EXPECT_EQ(text.buf(), kGreeting.chars);
    EXPECT_EQ(String(kGreeting).buf(), text.buf());
}

TEST(StringStatic, AnEmptyOneIsTheEmptyText) { expectEmpty(kNothing); }

TEST(StringStatic, KeepsTheZerosWithin) { expectText(kWithZero, "a\0b"sv); }

TEST(StringStatic, ChangingTheStringLeavesItAlone) {
    String text(kGreeting);
    EXPECT_TRUE(text.append(" there"));
    expectText(text, "hello there");
    text = String(kGreeting);
    EXPECT_TRUE(text.assign("x"));
    expectText(text, "x");
    expectText(kGreeting, "hello");
}

TEST(StringStatic, OutlivesTheStringsThatReferToIt) {
    { const String text(kGreeting); }
    expectText(kGreeting, "hello");
}

// ---- Sharing --------------------------------------------------------------------------------------------------------

TEST(StringSharing, ACopyHasTheSameCharacters) {
    const String text("abc");
    const String copy(text);
    String assigned("something else");
    assigned = text;
    EXPECT_EQ(copy.buf(), text.buf());
    EXPECT_EQ(assigned.buf(), text.buf());
}

TEST(StringSharing, OutlivesTheOriginal) {
    String copy;
    {
        const String text("abc");
        copy = text;
    }
    expectText(copy, "abc");
}

TEST(StringSharing, ChangingOneLeavesTheOther) {
    const struct {
        const char* how;
        void (*change)(String&);
        const char* result;
    } kChanges[] = {
        {"operator=(const char*)", [](String& text) { text = "x"; }, "x"},
        {"operator=(const char*) of nothing", [](String& text) { text = ""; }, ""},
        {"operator=(String)", [](String& text) { text = String("x"); }, "x"},
        {"assign", [](String& text) { text.assign("x"); }, "x"},
        {"append", [](String& text) { text.append("x"); }, "abcx"},
        {"assignFormat", [](String& text) { assignFormat(text, "%d", 7); }, "7"},
    };
    for (const auto& row : kChanges) {
        SCOPED_TRACE(row.how);
        String text("abc");
        const String copy(text);
        row.change(text);
        expectText(text, row.result);
        expectText(copy, "abc");
    }
}

TEST(StringSharing, AMoveLeavesTheEmptyText) {
    String text("abc");
    const char* const characters = text.buf();
    const String moved(std::move(text));
    EXPECT_EQ(moved.buf(), characters);
    expectEmpty(text);
}

TEST(StringSharing, SelfAssignmentKeepsTheText) {
    String text("abc");
    const String& itself = text;
    text = itself;
    expectText(text, "abc");
}

// ---- Assigning ------------------------------------------------------------------------------------------------------

TEST(StringAssign, ReplacesTheText) {
    String text("abc");
    text = "something longer";
    expectText(text, "something longer");
    EXPECT_TRUE(text.assign("ab"));
    expectText(text, "ab");
}

TEST(StringAssign, OfNothingOrNullIsEmpty) {
    String text("abc");
    text = "";
    expectEmpty(text);
    text = "abc";
    text = static_cast<const char*>(nullptr);
    expectEmpty(text);
    text = "abc";
    EXPECT_TRUE(text.assign({}));
    expectEmpty(text);
}

TEST(StringAssign, KeepsTheZerosWithinAView) {
    String text;
    EXPECT_TRUE(text.assign("a\0b"sv));
    expectText(text, "a\0b"sv);
}

TEST(StringAssign, UsesItsOwnMemoryWhereTheTextFits) {
    String text("abcdef");
    const char* const characters = text.buf();
    EXPECT_TRUE(text.assign("xyz"));
    expectText(text, "xyz");
    EXPECT_EQ(text.buf(), characters);
    EXPECT_TRUE(text.assign("uvwxyz"));
    expectText(text, "uvwxyz");
    EXPECT_EQ(text.buf(), characters);
}

TEST(StringAssign, TakesPartOfItsOwnText) {
    String text("abcdef");
    EXPECT_TRUE(text.assign(text.view().substr(2, 3)));
    expectText(text, "cde");
    text = text.buf() + 1;
    expectText(text, "de");
    text = text.buf();
    expectText(text, "de");
}

TEST(StringAssign, TakesPartOfItsOwnSharedText) {
    String text("abcdef");
    const String copy(text);
    EXPECT_TRUE(text.assign(text.view().substr(2, 3)));
    expectText(text, "cde");
    expectText(copy, "abcdef");
}

// ---- Appending ------------------------------------------------------------------------------------------------------

TEST(StringAppend, AddsAtTheEnd) {
    String text;
    EXPECT_TRUE(text.append("ab"));
    EXPECT_TRUE(text.append("c\0d"sv));
    expectText(text, "abc\0d"sv);
}

TEST(StringAppend, OfNothingChangesNothing) {
    String text;
    EXPECT_TRUE(text.append(""));
    expectEmpty(text);
    text = "abc";
    const String copy(text);
    EXPECT_TRUE(text.append({}));
    EXPECT_EQ(text.buf(), copy.buf());
}

TEST(StringAppend, StaysInPlaceWhereThereIsRoom) {
    String text("abcd");
    EXPECT_TRUE(text.append("e"));  // makes room for more than the one
    const char* const characters = text.buf();
    EXPECT_TRUE(text.append("f"));
    expectText(text, "abcdef");
    EXPECT_EQ(text.buf(), characters);
}

TEST(StringAppend, TakesItsOwnText) {
    String text("abc");
    EXPECT_TRUE(text.append(text.view()));
    expectText(text, "abcabc");
    EXPECT_TRUE(text.append(text.view().substr(2, 2)));
    expectText(text, "abcabcca");
}

TEST(StringAppend, TakesItsOwnTextInPlace) {
    String text("abcd");
    EXPECT_TRUE(text.append("efgh"));
    EXPECT_TRUE(text.append("i"));  // room for sixteen now
    EXPECT_TRUE(text.append(text.view().substr(3, 6)));
    expectText(text, "abcdefghidefghi");
}

TEST(StringAppend, TakesItsOwnSharedText) {
    String text("abc");
    const String copy(text);
    EXPECT_TRUE(text.append(text.view()));
    expectText(text, "abcabc");
    expectText(copy, "abc");
}

TEST(StringAppend, ManySmallAdditionsMakeOneText) {
    String text;
    std::string expected;
    for (int i = 0; i < 10000; ++i) {
        const char c = static_cast<char>('a' + i % 26);
        ASSERT_TRUE(text.append(std::string_view(&c, 1)));
        expected += c;
    }
    expectText(text, expected);
}

// ---- Room to fill, and cutting --------------------------------------------------------------------------------------

TEST(StringRoom, IsFilledByTheCaller) {
    String text("before");
    char* const room = text.makeRoom(3);
    ASSERT_NE(room, nullptr);
    std::memcpy(room, "a\0b", 3);
    expectText(text, "a\0b"sv);
    EXPECT_EQ(text.buf(), room);
}

TEST(StringRoom, OfNoneIsTheEmptyText) {
    String text("before");
    EXPECT_NE(text.makeRoom(0), nullptr);
    expectEmpty(text);
}

TEST(StringRoom, LeavesACopyAsItWas) {
    String text("before");
    const String copy(text);
    ASSERT_NE(text.makeRoom(1), nullptr);
    expectText(copy, "before");
}

TEST(StringRoom, MoreThanAnyMemoryHoldsIsRefusedAndTheTextKept) {
    String text("before");
    for (const std::size_t length : {Limits<std::size_t>::max(), Limits<std::size_t>::max() - 1,
                                     Limits<std::size_t>::max() / 2, Limits<std::size_t>::max() / 2 + 1}) {
        EXPECT_EQ(text.makeRoom(length), nullptr) << length;
        expectText(text, "before");
    }
}

TEST(StringTruncate, DropsTheEnd) {
    String text("abcdef");
    const char* const characters = text.buf();
    EXPECT_TRUE(text.truncate(3));
    expectText(text, "abc");
    EXPECT_EQ(text.buf(), characters);
    EXPECT_TRUE(text.append("d"));
    expectText(text, "abcd");
    EXPECT_EQ(text.buf(), characters) << "the room is still there";
}

TEST(StringTruncate, ToItsLengthOrBeyondChangesNothing) {
    String text("abc");
    const String copy(text);
    EXPECT_TRUE(text.truncate(3));
    EXPECT_TRUE(text.truncate(4));
    EXPECT_EQ(text.buf(), copy.buf());
    String empty;
    EXPECT_TRUE(empty.truncate(0));
    expectEmpty(empty);
}

TEST(StringTruncate, ToNothingIsTheEmptyText) {
    String text("abc");
    EXPECT_TRUE(text.truncate(0));
    expectEmpty(text);
}

TEST(StringTruncate, LeavesTheOthersWhole) {
    String text("abcdef");
    const String copy(text);
    EXPECT_TRUE(text.truncate(3));
    expectText(text, "abc");
    expectText(copy, "abcdef");

    String program(kGreeting);
    EXPECT_TRUE(program.truncate(4));
    expectText(program, "hell");
    expectText(kGreeting, "hello");
}

// ---- Joining --------------------------------------------------------------------------------------------------------

TEST(StringPlus, IsTheLeftTextFollowedByTheRight) {
    const String left("Fwrite failed. ");
    const String right("fflush failed.");
    expectText(left + right, "Fwrite failed. fflush failed.");
    expectText(left + "fflush failed.", "Fwrite failed. fflush failed.");
    expectText(left, "Fwrite failed. ");
    expectText(right, "fflush failed.");
}

TEST(StringPlus, TheEmptyTextAddsNothing) {
    const String text("abc");
    expectText(text + "", "abc");
    expectText(text + static_cast<const char*>(nullptr), "abc");
    expectText(text + String(), "abc");
    expectText(String() + "abc", "abc");
    expectText(String() + text, "abc");
    expectEmpty(String() + "");
    expectEmpty(String() + String());
}

TEST(StringPlus, KeepsTheZerosWithin) { expectText(String("a\0b", 3) + String("\0c", 2), "a\0b\0c"sv); }

TEST(StringPlus, ATextMayBeJoinedToItself) { expectText(doubled("abc"), "abcabc"); }

// ---- printf ---------------------------------------------------------------------------------------------------------

TEST(StringPrintf, ConvertsAsPrintfDoes) {
    expectText(String::format("plain"), "plain");
    expectText(String::format("%d of %s, %llu, 100%%", -3, "four", 18446744073709551615ULL),
               "-3 of four, 18446744073709551615, 100%");
    expectText(String::format("%5.1f|%-4d|%04x", 2.25, 7, 255U), "  2.2|7   |00ff");
    expectText(formatv("%d of %s", -3, "four"), "-3 of four");
}

TEST(StringPrintf, MayGiveTheEmptyText) { expectEmpty(String::format("%s", "")); }

TEST(StringPrintf, KeepsAZeroCharacter) { expectText(String::format("a%cb", '\0'), "a\0b"sv); }

TEST(StringPrintf, ATextOfAnyLengthIsWhole) {
    for (const int length : {1, 199, 200, 201, 254, 255, 256, 257, 511, 512, 100000}) {
        SCOPED_TRACE(length);
        const std::string expected = std::string(static_cast<std::size_t>(length) - 1, '0') + "7";
        expectText(String::format("%0*d", length, 7), expected);
        expectText(formatv("%0*d", length, 7), expected);
        String text("before");
        EXPECT_TRUE(assignFormat(text, "%0*d", length, 7));
        expectText(text, expected);
    }
}

TEST(StringPrintf, AConversionThatFailsGivesTheEmptyText) {
    const PlainLocale plain;
    expectEmpty(String::format("before %ls", L"\x20ac"));
    expectEmpty(formatv("before %ls", L"\x20ac"));
    expectEmpty(String::format("%300d%ls", 1, L"\x20ac"));
}

TEST(StringPrintf, AFailedConversionReplacesTheTextToo) {
    const PlainLocale plain;
    String text("before");
    EXPECT_TRUE(assignFormat(text, "%ls", L"\x20ac"));
    expectEmpty(text);
}

TEST(StringPrintf, MayUseTheTextThatItReplaces) {
    String text("abc");
    EXPECT_TRUE(assignFormat(text, "<%s|%300s>", text.buf(), text.buf()));
    expectText(text, "<abc|" + std::string(297, ' ') + "abc>");
    EXPECT_TRUE(assignFormat(text, "%.4s", text.buf()));
    expectText(text, "<abc");
}

// ---- Numbers --------------------------------------------------------------------------------------------------------
//
// number_text_test.cpp has the texts of numbers in full; here is that each overload reaches them.

template <typename T, typename... Radix>
void expectNumber(T value, std::string_view text, Radix... radix) {
    SCOPED_TRACE(text);
    expectText(String::format(value, radix...), text);
    T parsed = T();
    EXPECT_TRUE(String::parse(String(text.data(), text.size()), parsed, radix...));
    EXPECT_EQ(parsed, value);
}

template <typename T>
void expectExtremes(std::string_view smallest, std::string_view largest) {
    expectNumber(Limits<T>::min(), smallest);
    expectNumber(Limits<T>::max(), largest);
    expectNumber(Limits<T>::min(), smallest, String::Radix::Decimal);
    expectNumber(Limits<T>::max(), largest, String::Radix::Decimal);
}

TEST(StringNumbers, TheExtremesOfEachIntegerType) {
    expectExtremes<signed char>("-128", "127");
    expectExtremes<unsigned char>("0", "255");
    expectExtremes<short>("-32768", "32767");
    expectExtremes<unsigned short>("0", "65535");
    expectExtremes<int>("-2147483648", "2147483647");
    expectExtremes<unsigned int>("0", "4294967295");
    expectExtremes<long>("-9223372036854775808", "9223372036854775807");
    expectExtremes<unsigned long>("0", "18446744073709551615");
}

TEST(StringNumbers, EveryRadixOfEachIntegerType) {
    const auto expectRadixes = [](auto value) {
        using T = decltype(value);
        expectNumber(static_cast<T>(99), "1100011", String::Radix::Binary);
        expectNumber(static_cast<T>(99), "143", String::Radix::Octal);
        expectNumber(static_cast<T>(99), "99", String::Radix::Decimal);
        expectNumber(static_cast<T>(107), "6b", String::Radix::Hexadecimal);
        if constexpr (std::is_signed_v<T>) expectNumber(static_cast<T>(-107), "-6b", String::Radix::Hexadecimal);
    };
    expectRadixes(static_cast<signed char>(0));
    expectRadixes(static_cast<unsigned char>(0));
    expectRadixes(static_cast<short>(0));
    expectRadixes(static_cast<unsigned short>(0));
    expectRadixes(0);
    expectRadixes(0U);
    expectRadixes(0L);
    expectRadixes(0UL);
}

TEST(StringNumbers, TruthAndFloatingPoint) {
    expectNumber(true, "true");
    expectNumber(false, "false");
    expectNumber(0.1F, "0.1");
    expectNumber(0.1, "0.1");
    expectNumber(-1.5e300, "-1.5e+300");
}

TEST(StringNumbers, ParseTakesTheWholeTextOrNone) {
    const auto expectRefusals = [](auto before) {
        for (const char* text : {"", " ", "7 ", " 7", "+7", "x", "7x"}) {
            SCOPED_TRACE(text);
            auto value = before;
            EXPECT_FALSE(String::parse(text, value));
            EXPECT_EQ(value, before);
        }
        auto value = before;
        EXPECT_FALSE(String::parse(String("7\0", 2), value)) << "a zero within the text";
        EXPECT_EQ(value, before);
    };
    expectRefusals(true);
    expectRefusals(static_cast<signed char>(3));
    expectRefusals(static_cast<unsigned char>(3));
    expectRefusals(static_cast<short>(3));
    expectRefusals(static_cast<unsigned short>(3));
    expectRefusals(3);
    expectRefusals(3U);
    expectRefusals(3L);
    expectRefusals(3UL);
    expectRefusals(3.0F);
    expectRefusals(3.0);
}

// ---- Comparing and printing -----------------------------------------------------------------------------------------

TEST(StringCompare, EqualTextsAreEqualWhereverTheyLie) {
    const String text("abc");
    EXPECT_TRUE(text == String("abc"));
    EXPECT_TRUE(text == "abc");
    EXPECT_TRUE("abc" == text);
    EXPECT_FALSE(text != String("abc"));
    EXPECT_FALSE(text != "abc");
    EXPECT_TRUE(text != String("abd"));
    EXPECT_TRUE(text != "ab");
    EXPECT_TRUE("abcd" != text);
}

TEST(StringCompare, NullIsTheEmptyText) {
    EXPECT_TRUE(String() == static_cast<const char*>(nullptr));
    EXPECT_TRUE(String() == "");
    EXPECT_TRUE(String("a") != static_cast<const char*>(nullptr));
}

TEST(StringCompare, TextsAreOrderedByTheirBytes) {
    const char* const kInOrder[] = {"", "A", "a", "aa", "ab", "b", "z", "\x7f", "\x80", "\xff"};
    for (std::size_t i = 0; i < std::size(kInOrder); ++i) {
        for (std::size_t j = 0; j < std::size(kInOrder); ++j) {
            SCOPED_TRACE(std::string(kInOrder[i]) + " and " + kInOrder[j]);
            const String left(kInOrder[i]);
            const String right(kInOrder[j]);
            EXPECT_EQ(left < right, i < j);
            EXPECT_EQ(left > kInOrder[j], i > j);
            EXPECT_EQ(kInOrder[i] <= right, i <= j);
            EXPECT_EQ(left >= right, i >= j);
            EXPECT_EQ(left <=> right, i <=> j);
            EXPECT_EQ(left == right, i == j);
        }
    }
}

TEST(StringCompare, AZeroIsACharacterLikeAnyOther) {
    EXPECT_TRUE(String("a\0b", 3) != "a");
    EXPECT_TRUE(String("a\0b", 3) != String("a\0c", 3));
    EXPECT_TRUE(String("a\0b", 3) == String("a\0b", 3));
    EXPECT_TRUE(String("a") < String("a\0", 2));
}

TEST(StringStream, PrintsAllCharacters) {
    std::ostringstream out;
    out << String("abc") << String() << String("d\0e", 3);
    EXPECT_EQ(out.str(), "abcd\0e"sv);
}

TEST(StringStream, KeepsToTheWidth) {
    std::ostringstream out;
    out << std::setw(5) << String("abc") << '|' << std::left << std::setw(5) << String("abc") << '|';
    EXPECT_EQ(out.str(), "  abc|abc  |");
}

}  // namespace
}  // namespace qor::test
