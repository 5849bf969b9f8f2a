// The heap of a test program that links heap.cpp: every operator new is counted, and refused when a test says so.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace qor::test {

struct Heap {
    /// A machine on which a block this large is never to be had.
    static constexpr std::size_t kTooLarge = std::size_t{1} << 30;

    static inline std::size_t held = 0;    ///< bytes
    static inline std::size_t peak = 0;    ///< the most that was held
    static inline std::size_t blocks = 0;  ///< that have not been given back
    static inline std::uint64_t requests = 0;

    /// To hold more than this ends the program, at the request that does it. For programs that say so.
    static inline std::size_t limit = std::numeric_limits<std::size_t>::max();

    // Of the requests, counted from 1, these are refused.
    static inline std::uint64_t firstRefused = 0;
    static inline std::uint64_t lastRefused = 0;
    static inline std::uint64_t alsoRefused = 0;
};

/// The most memory held at any moment of `act`, beyond what was held before.
template <typename Act>
std::size_t peakOf(Act act) {
    const std::size_t before = Heap::peak = Heap::held;
    act();
    return Heap::peak - before;
}

/// As long as it lives, the `n`-th request from now on is refused, or all from there on.
class RefusedRequests {
 public:
    explicit RefusedRequests(std::uint64_t n, bool everAfter = false)
        : RefusedRequests(n, 0, everAfter ? std::numeric_limits<std::uint64_t>::max() : Heap::requests + n) {}

    /// Two requests are refused, the `n`-th and a later one.
    RefusedRequests(std::uint64_t n, std::uint64_t later) : RefusedRequests(n, later, Heap::requests + n) {}

    ~RefusedRequests() { Heap::firstRefused = Heap::lastRefused = Heap::alsoRefused = 0; }
    RefusedRequests(const RefusedRequests&) = delete;
    RefusedRequests& operator=(const RefusedRequests&) = delete;

    /// Whether it came to that, and to the later one.
    bool met() const { return Heap::requests >= first; }
    bool metBoth() const { return Heap::requests >= also; }

 private:
    RefusedRequests(std::uint64_t n, std::uint64_t later, std::uint64_t last)
        : first(Heap::requests + n), also(Heap::requests + later) {
        Heap::firstRefused = first;
        Heap::lastRefused = last;
        Heap::alsoRefused = also;
    }

    std::uint64_t first;
    std::uint64_t also;
};

}  // namespace qor::test
