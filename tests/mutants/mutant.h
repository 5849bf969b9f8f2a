// The switch between mutants. Included at the head of every source of a build of scripts/mutants, whose copy of the
// library holds all of them: each asks here whether it is the one that the environment chose in QOR_MUTANT.
//
// 0, or none, is the library as it is. -1 too, and then it is noted which mutants were asked about: a test that never
// asks about a mutant cannot tell it from the original.
//
// A macro QOR_MUTANT makes the choice at compile time instead, for a look at the code that a compiler makes of a
// mutant.
#pragma once

#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace mutant {

#ifndef QOR_MUTANT
inline constexpr int kMost = 1 << 16;

inline const int chosen = [] {
    const char* const number = std::getenv("QOR_MUTANT");
    return number ? std::atoi(number) : 0;
}();

inline bool reached[kMost];
#endif

/// Whether the library is now mutant `n`. Never at compile time.
constexpr bool is(int n) {
    if (std::is_constant_evaluated()) return false;
#ifdef QOR_MUTANT
    return n == QOR_MUTANT;
#else
    if (chosen < 0) reached[n] = true;
    return chosen == n;
#endif
}

/// `condition`, and its opposite in mutant `n`.
constexpr bool flips(int n, bool condition) { return condition != is(n); }

/// Puts junk into an array whose zeros mutant `n` does without.
template <typename T>
constexpr void spoil(int n, T& array) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (is(n)) std::memset(static_cast<void*>(&array), 0xA5, sizeof(T));
}

}  // namespace mutant
