// Numbers by their bits, which tell apart what == does not.
#pragma once

#include <cstring>

#include "qor/core/endian.h"

namespace qor::test {

/// The bit image of a number, in which two zeros, and NaNs of two signs, differ.
template <typename T>
impl::Bits<T> bitsOf(T value) {
    impl::Bits<T> bits;
    std::memcpy(&bits, &value, sizeof(T));
    return bits;
}

}  // namespace qor::test
