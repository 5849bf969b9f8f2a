// The heap of a test program that links heap.cpp: every operator new is counted, and refused when a test says so.
//
// Nothing of it stands in this header, for compilers may take it that `new` changes no variable that they can see.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qor::test {

struct Heap {
    /// A machine on which a block this large is never to be had.
    static constexpr std::size_t kTooLarge = std::size_t{1} << 30;

    static std::size_t blocks();  ///< that have not been given back
    static std::uint64_t requests();

    /// To hold more than `bytes` ends the program, at the request that does it.
    static void limit(std::size_t bytes);

    /// From now on counts the most memory that is held.
    static void startPeak();
    /// In bytes, beyond what was held when the count began.
    static std::size_t peak();
};

/// The most memory held at any moment of `act`, beyond what was held before.
template <typename Act>
std::size_t peakOf(Act act) {
    Heap::startPeak();
    act();
    return Heap::peak();
}

/// As long as it lives, the `n`-th request from now on is refused, or all from there on.
class RefusedRequests {
 public:
    explicit RefusedRequests(std::uint64_t n, bool everAfter = false);

    /// Two requests are refused, the `n`-th and a later one.
    RefusedRequests(std::uint64_t n, std::uint64_t later);

    ~RefusedRequests();
    RefusedRequests(const RefusedRequests&) = delete;
    RefusedRequests& operator=(const RefusedRequests&) = delete;

    /// Whether it came to that, and to the later one.
    bool met() const { return Heap::requests() >= first; }
    bool metBoth() const { return Heap::requests() >= also; }

 private:
    std::uint64_t first;
    std::uint64_t also;
};

}  // namespace qor::test
