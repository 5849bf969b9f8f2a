// Values of geometry and colour: plain components in a row, in the order in which they are named.
//
//     math::Vec3d up(0, 0, 1);
//     math::Mat3d turn(0, -1, 0,
//                      1, 0, 0,
//                      0, 0, 1);    // by rows
//     turn(0, 1) == turn[1];
//
// They hold values and move them through files; arithmetic is left to the library that a program calculates with, whose
// own types mostly have the same layout.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace qor::math {

namespace impl {

/// What the value types share. `Value` is the type itself, so that a vector and a position of three components stay two
/// types.
template <typename Value, typename T, std::size_t n>
class Components {
 public:
    using value_type = T;

    /// Zeros.
    constexpr Components() = default;

    /// Exactly the components, in storage order, each turned into a `T`.
    template <typename... Args>
    requires(sizeof...(Args) == n && (std::convertible_to<Args, T> && ...)) constexpr Components(Args... args)
        : values{static_cast<T>(args)...} {}

    static constexpr std::size_t size() { return n; }

    constexpr T* data() { return values; }
    constexpr const T* data() const { return values; }

    constexpr T& operator[](std::size_t i) { return values[i]; }
    constexpr const T& operator[](std::size_t i) const { return values[i]; }

    constexpr T* begin() { return values; }
    constexpr T* end() { return values + n; }
    constexpr const T* begin() const { return values; }
    constexpr const T* end() const { return values + n; }

    /// Component by component, as numbers: a NaN equals nothing, and the two zeros are equal.
    friend constexpr bool operator==(const Components& a, const Components& b) {
        for (std::size_t i = 0; i < n; ++i) {
            if (!(a.values[i] == b.values[i])) return false;
        }
        return true;
    }

 private:
    T values[n] = {};
};

}  // namespace impl

/// A direction or a difference: x y z w.
template <std::size_t n, typename T>
class VecT : public impl::Components<VecT<n, T>, T, n> {
 public:
    using impl::Components<VecT, T, n>::Components;
};

/// A place: x y z w.
template <std::size_t n, typename T>
class PosT : public impl::Components<PosT<n, T>, T, n> {
 public:
    using impl::Components<PosT, T, n>::Components;
};

/// A quaternion: x y z w, the real part last.
template <typename T>
class QuatT : public impl::Components<QuatT<T>, T, 4> {
 public:
    using impl::Components<QuatT, T, 4>::Components;
};

/// A colour with its opacity: r g b a.
template <typename T>
class RgbaT : public impl::Components<RgbaT<T>, T, 4> {
 public:
    using impl::Components<RgbaT, T, 4>::Components;
};

/// A square matrix, by rows.
template <std::size_t n, typename T>
class MatT : public impl::Components<MatT<n, T>, T, n * n> {
 public:
    using impl::Components<MatT, T, n * n>::Components;

    constexpr T& operator()(std::size_t row, std::size_t column) { return (*this)[row * n + column]; }
    constexpr const T& operator()(std::size_t row, std::size_t column) const { return (*this)[row * n + column]; }
};

using Vec2f = VecT<2, float>;
using Vec2d = VecT<2, double>;
using Vec2i = VecT<2, std::int32_t>;
using Vec2u = VecT<2, std::uint32_t>;
using Vec3f = VecT<3, float>;
using Vec3d = VecT<3, double>;
using Vec3i = VecT<3, std::int32_t>;
using Vec3u = VecT<3, std::uint32_t>;
using Vec4f = VecT<4, float>;
using Vec4d = VecT<4, double>;
using Vec4i = VecT<4, std::int32_t>;
using Vec4u = VecT<4, std::uint32_t>;

using Pos2f = PosT<2, float>;
using Pos2d = PosT<2, double>;
using Pos2i = PosT<2, std::int32_t>;
using Pos3f = PosT<3, float>;
using Pos3d = PosT<3, double>;
using Pos3i = PosT<3, std::int32_t>;

using Quatf = QuatT<float>;
using Quatd = QuatT<double>;

using Rgbaf = RgbaT<float>;
using Rgbad = RgbaT<double>;
using Rgba8 = RgbaT<std::uint8_t>;

using Mat3f = MatT<3, float>;
using Mat3d = MatT<3, double>;
using Mat3i = MatT<3, std::int32_t>;
using Mat4f = MatT<4, float>;
using Mat4d = MatT<4, double>;
using Mat4i = MatT<4, std::int32_t>;

}  // namespace qor::math
