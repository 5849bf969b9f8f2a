// The bytes at the front of an input, which choose what is done with the rest.
#pragma once

#include <cstdint>

#include "fuzz/target.h"

namespace qor::fuzz {

/// Takes apart the bytes that say what a target does, from the front. Behind the last one, all are 0.
class Choices {
 public:
    explicit Choices(View input) : left(input) {}

    unsigned char byte() {
        if (left.empty()) return 0;
        const unsigned char first = left.front();
        left = left.subspan(1);
        return first;
    }

    /// A number of so many bytes, low byte first.
    std::uint64_t number(unsigned bytes) {
        std::uint64_t value = 0;
        for (unsigned i = 0; i < bytes; ++i) value |= static_cast<std::uint64_t>(byte()) << 8 * i;
        return value;
    }

    View rest() const { return left; }

 private:
    View left;
};

}  // namespace qor::fuzz
