// What a decoder produces, whose size is a stranger's claim.
//
// The claim is believed as far as the payload has that many bytes itself, or up to 1 MiB; from then on memory grows
// with what has been produced, fourfold at a time, so that at most a third of the content is copied on the way. A
// payload that claims terabytes and breaks after a few bytes has taken little more than itself.
#pragma once

#include <algorithm>
#include <cstdint>

#include "qor/core/vector.h"

namespace qor::impl {

class Result {
 public:
    /// A result of `claimedSize` bytes from a payload of `presentSize`, in `into`, which is empty.
    Result(ds::Vector<unsigned char>& into, std::uint64_t claimedSize, std::uint64_t presentSize)
        : bytes(into), claimed(claimedSize), present(presentSize) {}

    unsigned char* begin() const { return bytes.data(); }

    /// The end of the room, which moves as begin() does with each `makeRoom`.
    unsigned char* end() const { return bytes.data() + bytes.size(); }

    /// True once all of the claimed size has been made room for.
    bool isWhole() const { return bytes.size() == claimed; }

    /// Makes room for `n` more bytes behind the `produced` ones, and commonly for many more. False if the claimed size
    /// does not hold them or memory is refused.
    bool makeRoom(std::uint64_t produced, std::uint64_t n) {
        if (n > claimed - produced) return false;
        if (n <= bytes.size() - produced) return true;
        const std::uint64_t start = std::min(claimed, present + kBelieved);
        const std::uint64_t grown = produced > claimed / 4 ? claimed : 4 * produced;
        return bytes.resizeForOverwrite(std::max({start, grown, produced + n}));
    }

 private:
    static constexpr std::uint64_t kBelieved = 0x100000;

    ds::Vector<unsigned char>& bytes;
    std::uint64_t claimed;
    std::uint64_t present;
};

}  // namespace qor::impl
