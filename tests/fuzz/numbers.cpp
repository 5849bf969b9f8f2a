// Whatever the text, it is read as a number exactly if it is one that the type holds, as a plain reading of it says;
// and whatever the number, its text is short, without a space, and gives the number back.
#include <cmath>
#include <cstring>
#include <limits>
#include <locale>
#include <string>

#include "fuzz/choices.h"
#include "qor/core/endian.h"
#include "qor/core/number_text.h"
#include "qor/core/string.h"

namespace qor::fuzz {
namespace {

// Digits, as many as there are, from `at` on.
std::size_t digits(std::string_view text, std::size_t at) {
    const std::size_t end = text.find_first_not_of("0123456789", at);
    return (end == std::string_view::npos ? text.size() : end) - std::min(at, text.size());
}

bool startsWith(std::string_view text, std::string_view word) {
    return text.size() >= word.size() && std::equal(word.begin(), word.end(), text.begin(), [](char a, char b) {
               return a == (b >= 'A' && b <= 'Z' ? b - 'A' + 'a' : b);
           });
}

// Whether the text is a number as it is written in programs: -1.5e3, .5, 1., inf, infinity, nan, nan(1_a).
bool isDecimal(std::string_view text) {
    if (text.starts_with('-')) text.remove_prefix(1);
    if (text.size() == 3 && (startsWith(text, "inf") || startsWith(text, "nan"))) return true;
    if (text.size() == 8 && startsWith(text, "infinity")) return true;
    if (startsWith(text, "nan(") && text.ends_with(')')) {
        return std::ranges::all_of(text.substr(4, text.size() - 5), [](char c) {
            return c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        });
    }
    const std::size_t whole = digits(text, 0);
    std::size_t at = whole;
    std::size_t part = 0;
    if (at < text.size() && text[at] == '.') {
        part = digits(text, at + 1);
        at += 1 + part;
    }
    if (whole + part == 0) return false;
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
        std::size_t exponent = at + 1;
        if (exponent < text.size() && (text[exponent] == '-' || text[exponent] == '+')) ++exponent;
        const std::size_t count = digits(text, exponent);
        if (count == 0) return false;
        at = exponent + count;
    }
    return at == text.size();
}

template <typename T>
T standard(const char* text) {
    if constexpr (std::same_as<T, float>) return std::strtof(text, nullptr);
    if constexpr (std::same_as<T, double>) return std::strtod(text, nullptr);
}

template <typename T>
void readsDecimal(const std::string& text, bool done, T value) {
    const bool isOne = isDecimal(text);
    require(done ? isOne : true, "what is read is a number");
    if (!isOne) return;
    const T theirs = standard<T>(text.c_str());
    const bool isNamed = text.find_first_of("nN") != std::string::npos;
    const bool isNothing = text.substr(0, text.find_first_of("eE")).find_first_of("123456789") == std::string::npos;
    // What is too large for the type, or too small and yet not zero, is refused.
    const bool isHeld = isNamed || isNothing || (std::isfinite(theirs) && theirs != 0);
    require(done == isHeld, "a number is read exactly if the type holds it");
    if (!done) return;
    require(std::isnan(value) == std::isnan(theirs), "a number is the nearest there is");
    require(std::isnan(value) || std::memcmp(&value, &theirs, sizeof(T)) == 0, "a number is the nearest there is");
}

template <typename T>
void readsInteger(const std::string& text, unsigned base, bool done, T value) {
    const bool isNegative = std::is_signed_v<T> && text.starts_with('-');
    const std::uint64_t greatest = static_cast<std::uint64_t>(std::numeric_limits<T>::max()) + (isNegative ? 1 : 0);
    bool isOne = text.size() > (isNegative ? 1U : 0U);
    std::uint64_t sum = 0;
    for (std::size_t i = isNegative ? 1 : 0; i < text.size() && isOne; ++i) {
        const char c = text[i];
        const unsigned digit = c >= '0' && c <= '9'   ? static_cast<unsigned>(c - '0')
                               : c >= 'a' && c <= 'z' ? static_cast<unsigned>(c - 'a') + 10
                               : c >= 'A' && c <= 'Z' ? static_cast<unsigned>(c - 'A') + 10
                                                      : 99;
        isOne = digit < base && digit <= greatest && sum <= (greatest - digit) / base;
        sum = isOne ? sum * base + digit : 0;
    }
    if (isNegative) sum = ~sum + 1;
    require(done == isOne, "an integer is read exactly if it is one that the type holds");
    require(!done || value == static_cast<T>(sum), "an integer is what its digits say");
}

constexpr String::Radix kRadixes[] = {String::Radix::Decimal, String::Radix::Binary, String::Radix::Octal,
                                      String::Radix::Hexadecimal};
constexpr unsigned kBases[] = {10, 2, 8, 16};

template <typename T>
void reads(const std::string& text, unsigned way) {
    // What it holds before is what a refused text leaves. No text of a number gives a NaN of this sort.
    T before{};
    std::memset(&before, std::same_as<T, bool> ? 1 : 0x5a, sizeof(T));
    T value = before;
    bool done = false;
    if constexpr (std::same_as<T, bool>) {
        done = String::parse(text.c_str(), value);
        require(done == (text == "true" || text == "false"), "truth has two words");
        require(!done || value == (text == "true"), "truth is what its word says");
    } else if constexpr (std::floating_point<T>) {
        done = String::parse(text.c_str(), value);
        readsDecimal(text, done, value);
    } else {
        done = String::parse(text.c_str(), value, kRadixes[way]);
        readsInteger(text, kBases[way], done, value);
    }
    require(done || std::memcmp(&value, &before, sizeof(T)) == 0, "what is refused changes nothing");
    if (!done) return;
    T same{};
    const String printed = [&] {
        if constexpr (std::integral<T> && !std::same_as<T, bool>)
            return String::format(value, kRadixes[way]);
        else
            return String::format(value);
    }();
    if constexpr (std::integral<T> && !std::same_as<T, bool>) {
        require(String::parse(printed, same, kRadixes[way]), "what is read is printed as a number");
    } else {
        require(String::parse(printed, same), "what is read is printed as a number");
    }
    require(std::memcmp(&value, &same, sizeof(T)) == 0 || value != value, "what is printed is the same number");
}

// The bytes as a number, its text, and the number again.
template <typename T>
void prints(View bytes) {
    if (bytes.size() < sizeof(T)) return;
    T value;
    loadLittle(bytes.data(), value);
    char text[kMaxDecimalText + 1] = {};
    char* const end = formatNumber(text, value);
    *end = '\0';
    require(end - text < static_cast<std::ptrdiff_t>(kMaxDecimalText), "a number's text is short");
    require(std::none_of(text, end, [](char c) { return c == ' ' || c == '\0'; }), "a number's text is one word");
    T same{};
    require(parseNumber(std::string_view(text), same), "what is printed is a number");
    if constexpr (std::floating_point<T>) {
        require(std::signbit(same) == std::signbit(value), "the sign survives");
        require(same == value || (std::isnan(same) && std::isnan(value)), "what is printed is the same number");
        require(standard<T>(text) == value || std::isnan(value), "everybody reads the same number");
    } else {
        require(same == value, "what is printed is the same number");
    }
}

template <typename... T>
void readAndPrint(const std::string& text, unsigned way, View bytes) {
    (reads<T>(text, way), ...);
    (prints<T>(bytes), ...);
}

}  // namespace
}  // namespace qor::fuzz

// The first byte chooses the radix of integers.
int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace qor::fuzz;
    Choices choices({data, size});
    const unsigned way = choices.byte() % 4;
    const View bytes = choices.rest();
    std::string text(bytes.begin(), bytes.end());
    text.resize(std::min(text.size(), text.find('\0')));
    readAndPrint<signed char, unsigned char, short, unsigned short, int, unsigned int, long, unsigned long, float,
                 double>(text, way, bytes);
    reads<bool>(text, way);
    return 0;
}
