// Unsigned arithmetic that wraps on purpose: hashes, tables of positions, figures that are reported as they wrap.
//
// Everywhere else a sum or a product of sizes that wraps is a mistake, and the tests let Clang report it; these
// functions are the only ones that it passes over.
#pragma once

#include <concepts>

#if defined(__clang__)
#define QOR_WRAPS [[clang::no_sanitize("unsigned-integer-overflow")]]
#else
#define QOR_WRAPS
#endif

namespace qor {

template <std::unsigned_integral T>
QOR_WRAPS constexpr T wrappedSum(T a, T b) {
    return static_cast<T>(a + b);
}

template <std::unsigned_integral T>
QOR_WRAPS constexpr T wrappedDifference(T a, T b) {
    return static_cast<T>(a - b);
}

template <std::unsigned_integral T>
QOR_WRAPS constexpr T wrappedProduct(T a, T b) {
    return static_cast<T>(a * b);
}

}  // namespace qor

#undef QOR_WRAPS
