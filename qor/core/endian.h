// Byte order: the file's is little-endian on every host, and this is the one place that knows the host's.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace qor {

/// True on hosts that store the low byte of a number first. A constant, so it holds in every static initialiser too.
inline constexpr bool isLittleEndian = std::endian::native == std::endian::little;

namespace impl {

template <std::size_t Size>
struct BitsOf;
template <>
struct BitsOf<1> {
    using Type = std::uint8_t;
};
template <>
struct BitsOf<2> {
    using Type = std::uint16_t;
};
template <>
struct BitsOf<4> {
    using Type = std::uint32_t;
};
template <>
struct BitsOf<8> {
    using Type = std::uint64_t;
};

/// The unsigned integer that holds the bit image of a scalar.
template <typename T>
using Bits = typename BitsOf<sizeof(T)>::Type;

}  // namespace impl

/// `value` with its bytes in reverse order. Twice gives the value back.
template <typename T>
T swapEndian(T value) {
    static_assert(std::is_arithmetic_v<T>);
    unsigned char bytes[sizeof(T)];
    unsigned char reversed[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    for (std::size_t i = 0; i < sizeof(T); ++i) reversed[i] = bytes[sizeof(T) - 1 - i];
    std::memcpy(&value, reversed, sizeof(T));
    return value;
}

/// Stores the bit image of `value` with its low byte first. Compiles to one move, with a byte swap on hosts that need
/// it.
template <typename T>
void storeLittle(unsigned char* to, T value) {
    impl::Bits<T> bits;
    std::memcpy(&bits, &value, sizeof(T));
    if (!isLittleEndian) bits = swapEndian(bits);
    std::memcpy(to, &bits, sizeof(T));
}

/// Fills `value` with the bit image that lies at `from`, low byte first. The bits are moved as they are and never
/// looked at as a T, so that a `bool` keeps whatever byte it is given and a NaN its payload.
template <typename T>
void loadLittle(const unsigned char* from, T& value) {
    impl::Bits<T> bits;
    std::memcpy(&bits, from, sizeof(T));
    if (!isLittleEndian) bits = swapEndian(bits);
    std::memcpy(&value, &bits, sizeof(T));
}

}  // namespace qor
