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

    // Of the requests, counted from 1, these are refused.
    static inline std::uint64_t firstRefused = 0;
    static inline std::uint64_t lastRefused = 0;
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
    explicit RefusedRequests(std::uint64_t n, bool everAfter = false) : first(Heap::requests + n) {
        Heap::firstRefused = first;
        Heap::lastRefused = everAfter ? std::numeric_limits<std::uint64_t>::max() : first;
    }
    ~RefusedRequests() { Heap::firstRefused = Heap::lastRefused = 0; }
    RefusedRequests(const RefusedRequests&) = delete;
    RefusedRequests& operator=(const RefusedRequests&) = delete;

    /// Whether it came to that.
    bool met() const { return Heap::requests >= first; }

 private:
    std::uint64_t first;
};

}  // namespace qor::test
