// Numbers as text and back, on spans of characters: no heap, no locale.
//
// Integers are digits with a '-' where needed. Floating-point numbers are the shortest text that parses back to the
// same value, in fixed or scientific notation, whichever is shorter; infinities are "inf" and "-inf", NaNs "nan" and
// "-nan" (of a NaN only the sign survives). Truth is "true" and "false". No text holds a space or a zero byte.
#pragma once

#include <bit>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <string_view>
#include <type_traits>

namespace qor {

/// Room that is enough for the text of any one number: 64 binary digits and a sign.
inline constexpr std::size_t kMaxNumberText = 65;

/// Room that is enough for the text of any one number in decimal: 24 characters for -2.2250738585072014e-308.
inline constexpr std::size_t kMaxDecimalText = 32;

/// Writes the text of `value` to `to` and returns its end. `to` has room for kMaxNumberText characters, or for
/// kMaxDecimalText if `base` is 10. No zero byte is added. `base` is 2 to 36, and of no effect but on integers.
template <typename T>
char* formatNumber(char* to, T value, int base = 10) {
    static_assert(std::is_arithmetic_v<T> && sizeof(T) <= 8);
    char* const end = to + (base == 10 ? kMaxDecimalText : kMaxNumberText);
    if constexpr (std::same_as<T, bool>) {
        // A bool read from a file can hold any byte. A compiler may take such a bool for an index or an addend; a
        // volatile byte is 0 or it is not, so this is one of the two words whatever the bool holds.
        const volatile unsigned char byte = std::bit_cast<unsigned char>(value);
        const std::string_view word = byte != 0 ? "true" : "false";
        return to + word.copy(to, word.size());
    } else if constexpr (std::floating_point<T>) {
        return std::to_chars(to, end, value).ptr;
    } else {
        return std::to_chars(to, end, value, base).ptr;
    }
}

/// Reads the number that the characters from `from` on begin with, and gives the place behind it. Null, with `out`
/// unchanged, if they begin with none, or with one that T cannot hold.
template <typename T>
const char* parseNumberAt(const char* from, const char* end, T& out, int base = 10) {
    static_assert(std::is_arithmetic_v<T> && sizeof(T) <= 8);
    if constexpr (std::same_as<T, bool>) {
        const std::string_view text(from, static_cast<std::size_t>(end - from));
        if (!text.starts_with("true") && !text.starts_with("false")) return nullptr;
        out = text.front() == 't';
        return from + (out ? 4 : 5);
    } else {
        T value;
        std::from_chars_result result;
        if constexpr (std::floating_point<T>) {
            result = std::from_chars(from, end, value);
        } else {
            result = std::from_chars(from, end, value, base);
        }
        if (result.ec != std::errc()) return nullptr;
        out = value;
        return result.ptr;
    }
}

/// Reads the whole of `text` as one number. False, with `out` unchanged, if the text is empty, holds anything that is
/// not part of the number (a space, a '+', a base prefix), or names a number that T cannot hold.
template <typename T>
bool parseNumber(std::string_view text, T& out, int base = 10) {
    const char* const end = text.data() + text.size();
    T value{};
    if (parseNumberAt(text.data(), end, value, base) != end || text.empty()) return false;
    out = value;
    return true;
}

}  // namespace qor
