// Numbers to text and back, in bulk: each comes back as the same bits, and the C library's own parser agrees on what
// the text says. Which texts these are is told in number_text_test.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <random>
#include <string>
#include <string_view>

#include "core/bits_of.h"
#include "qor/core/number_text.h"
#include "qor/core/string.h"
#include "support/figures.h"

namespace qor::test {
namespace {

using namespace std::string_view_literals;

template <typename T>
using Limits = std::numeric_limits<T>;

constexpr int kBases[] = {2, 8, 10, 16};

template <typename T>
T ofBits(std::uint64_t bits) {
    const auto image = static_cast<impl::Bits<T>>(bits);
    T value;
    std::memcpy(&value, &image, sizeof(T));
    return value;
}

// Another one each time, unless QOR_TEST_SEED names the one to repeat.
std::uint64_t seed() {
    const char* const given = std::getenv("QOR_TEST_SEED");
    const std::uint64_t chosen = given ? std::strtoull(given, nullptr, 10) : std::random_device()();
    std::cout << "QOR_TEST_SEED=" << chosen << '\n';
    return chosen;
}

// ---- Integers -------------------------------------------------------------------------------------------------------

String::Radix radixOf(int base) {
    switch (base) {
        case 2:
            return String::Radix::Binary;
        case 8:
            return String::Radix::Octal;
        case 16:
            return String::Radix::Hexadecimal;
        default:
            return String::Radix::Decimal;
    }
}

/// Whether the C library, too, takes the text for this number, and nothing of it for something else.
template <std::integral T>
bool isSaidBy(const char* text, T value, int base) {
    char* end = nullptr;
    const auto parsed = std::signed_integral<T> ? static_cast<std::uint64_t>(std::strtoll(text, &end, base))
                                                : std::strtoull(text, &end, base);
    return *end == '\0' && parsed == static_cast<std::uint64_t>(value);
}

/// Whether the text of `value` gives it back, through characters and through a String.
template <std::integral T>
bool comesBack(T value, int base) {
    char text[kMaxNumberText + 1];
    char* const end = formatNumber(text, value, base);
    *end = '\0';
    T parsed = static_cast<T>(value == T{1} ? 2 : 1);
    if (!parseNumber({text, end}, parsed, base) || parsed != value || !isSaidBy(text, value, base)) return false;

    if constexpr (std::same_as<T, char>)
        return true;  // which String takes for a character, not a number
    else {
        const String string = String::format(value, radixOf(base));
        parsed = static_cast<T>(value == T{1} ? 2 : 1);
        return string == text && String::parse(string, parsed, radixOf(base)) && parsed == value;
    }
}

template <typename T>
void expectAllComeBack() {
    for (const int base : kBases) {
        for (int value = Limits<T>::min(); value <= Limits<T>::max(); ++value) {
            ASSERT_TRUE(comesBack(static_cast<T>(value), base)) << value << " in base " << base;
        }
    }
}

TEST(NumberRoundTrip, EveryValueOfEightBits) {
    expectAllComeBack<char>();
    expectAllComeBack<signed char>();
    expectAllComeBack<unsigned char>();
}

TEST(NumberRoundTrip, EveryValueOfSixteenBits) {
    expectAllComeBack<short>();
    expectAllComeBack<unsigned short>();
}

constexpr std::uint64_t kRandomValues = 1'000'000;

/// Integers of every length.
template <typename T>
void expectRandomOnesComeBack(std::string_view name) {
    std::mt19937_64 random(seed());
    const std::uint64_t values = rounds(kRandomValues, 10 * kRandomValues);
    for (std::uint64_t i = 0; i < values; ++i) {
        const std::uint64_t bits = random();
        const auto value = static_cast<T>(static_cast<T>(bits) >> (random() % (8 * sizeof(T))));
        for (const int base : kBases) ASSERT_TRUE(comesBack(value, base)) << value << " in base " << base;
    }
    figure("random values to text and back, " + std::string(name), values, kRandomValues);
}

TEST(NumberRoundTrip, RandomInts) { expectRandomOnesComeBack<int>("int"); }
TEST(NumberRoundTrip, RandomUnsignedInts) { expectRandomOnesComeBack<unsigned int>("unsigned int"); }
TEST(NumberRoundTrip, RandomLongs) { expectRandomOnesComeBack<long>("long"); }
TEST(NumberRoundTrip, RandomUnsignedLongs) { expectRandomOnesComeBack<unsigned long>("unsigned long"); }

// ---- Floating point -------------------------------------------------------------------------------------------------

bool isSaidBy(const char* text, float value) {
    char* end = nullptr;
    return bitsOf(std::strtof(text, &end)) == bitsOf(value) && *end == '\0';
}
bool isSaidBy(const char* text, double value) {
    char* end = nullptr;
    return bitsOf(std::strtod(text, &end)) == bitsOf(value) && *end == '\0';
}

/// As for integers. Of a NaN only the sign comes back.
template <std::floating_point T>
bool comesBack(T value) {
    char text[kMaxDecimalText + 1];
    char* const end = formatNumber(text, value);
    *end = '\0';
    T parsed = value == T{1} ? T{2} : T{1};
    if (!parseNumber({text, end}, parsed)) return false;
    if (std::isnan(value)) return std::isnan(parsed) && std::signbit(parsed) == std::signbit(value);
    return bitsOf(parsed) == bitsOf(value) && isSaidBy(text, value);
}

/// A quarter of all bit images: every one, or one of many.
class Floats : public ::testing::TestWithParam<std::uint64_t> {};

TEST_P(Floats, ComeBack) {
    constexpr std::uint64_t kQuarter = std::uint64_t{1} << 30;
    const std::uint64_t step = isThorough() ? 1 : 4001;
    std::uint64_t values = 0;
    for (std::uint64_t image = 0; image < kQuarter; image += step, ++values) {
        const std::uint64_t bits = GetParam() * kQuarter + image;
        ASSERT_TRUE(comesBack(ofBits<float>(bits))) << "the bits " << bits;
    }
    figure("floats to text and back, quarter " + std::to_string(GetParam() + 1), values, rounds(250'000, kQuarter));
}

INSTANTIATE_TEST_SUITE_P(Quarter, Floats, ::testing::Range(std::uint64_t{0}, std::uint64_t{4}));

/// Random bit images; every other one a number of the size that people calculate with.
class Doubles : public ::testing::TestWithParam<std::uint64_t> {};

TEST_P(Doubles, ComeBack) {
    std::mt19937_64 random(seed() + GetParam());
    const std::uint64_t values = rounds(kRandomValues / 2, 50'000'000);
    for (std::uint64_t i = 0; i < values; ++i) {
        const std::uint64_t bits = random();
        double value = ofBits<double>(bits);
        if (i % 2 == 1)
            value = std::ldexp(static_cast<double>(static_cast<std::int64_t>(bits)), -static_cast<int>(i % 80));
        ASSERT_TRUE(comesBack(value)) << "the bits " << bitsOf(value);
    }
    figure("random doubles to text and back, half " + std::to_string(GetParam() + 1), values,
           rounds(kRandomValues / 2, 50'000'000));
}

INSTANTIATE_TEST_SUITE_P(Half, Doubles, ::testing::Range(std::uint64_t{0}, std::uint64_t{2}));

TEST(NumberRoundTrip, RandomFloatsAndDoublesThroughAString) {
    std::mt19937_64 random(seed());
    const std::uint64_t values = rounds(kRandomValues, 10 * kRandomValues);
    const auto expectOne = [](auto value) {
        auto parsed = value == 1 ? decltype(value){2} : decltype(value){1};
        ASSERT_TRUE(String::parse(String::format(value), parsed));
        ASSERT_TRUE(std::isnan(value) || bitsOf(parsed) == bitsOf(value)) << "the bits " << bitsOf(value);
    };
    for (std::uint64_t i = 0; i < values; ++i) {
        const std::uint64_t bits = random();
        expectOne(ofBits<float>(bits));
        expectOne(ofBits<double>(bits));
        if (HasFatalFailure()) return;
    }
    figure("random floats and doubles to Strings and back, each", values, kRandomValues);
}

TEST(NumberRoundTrip, ADecimalFractionHasTheTextThatItWasWrittenWith) {
    std::mt19937_64 random(seed());
    for (int i = 0; i < 100'000; ++i) {
        const int thousandths = static_cast<int>(random() % 1000000) * 1000 + 1 + static_cast<int>(random() % 9);
        const std::string text = std::to_string(thousandths / 1000) + ".00" + std::to_string(thousandths % 1000);
        double value = 0;
        ASSERT_TRUE(parseNumber(text, value));
        ASSERT_EQ(String::format(value), text.c_str());
    }
}

TEST(NumberRoundTrip, NoTextHoldsASpaceOrAZero) {
    std::mt19937_64 random(seed());
    for (int i = 0; i < 100'000; ++i) {
        char text[kMaxNumberText];
        const std::string_view written(text, formatNumber(text, ofBits<double>(random())));
        ASSERT_EQ(written.find_first_of(" \0"sv), std::string_view::npos) << written;
    }
}

}  // namespace
}  // namespace qor::test
