// BufRefs of what a program has at hand: spans of scalars and of geometry, and one field of an array of structs.
//
//     struct Vertex { Vec3f place; Vec3f normal; Rgba8 colour; };
//     std::vector<Vertex> vertices = ...;
//     file << bufRef(std::span(vertices), &Vertex::normal);
//
// Three things that a reader should know:
//
// - A field of single bytes (a colour of Rgba8) cannot be read back from a binary file into its place: bytes are read
//   without gaps, or not at all. Read it into an array of its own.
// - What `<<` writes of single bytes is compressed, and comes back without gaps, whatever field it is read into.
// - A text file gives back numbers without gaps, from the span's start on: read scalars, or `scalarsOf` what is made of
//   them.
#pragma once

#include <cstddef>
#include <span>
#include <type_traits>

#include "qor/core/math.h"
#include "qor/data/buf_ref.h"

namespace qor {

/// A BufRef of values that are only to be looked at: it can be written, and not be read into.
struct ConstBufRef {
    BufRef ref;
};

namespace impl {

template <typename T>
inline constexpr DataType kDataTypeOf = DataType::Null;

template <>
inline constexpr DataType kDataTypeOf<bool> = DataType::Bool;
template <>
inline constexpr DataType kDataTypeOf<char> = DataType::Char;
template <>
inline constexpr DataType kDataTypeOf<signed char> = DataType::Char;
template <>
inline constexpr DataType kDataTypeOf<unsigned char> = DataType::Byte;
template <>
inline constexpr DataType kDataTypeOf<std::byte> = DataType::Byte;
template <>
inline constexpr DataType kDataTypeOf<short> = DataType::Int16;
template <>
inline constexpr DataType kDataTypeOf<int> = DataType::Int32;
template <>
inline constexpr DataType kDataTypeOf<long> = DataType::Int64;
template <>
inline constexpr DataType kDataTypeOf<long long> = DataType::Int64;
template <>
inline constexpr DataType kDataTypeOf<unsigned short> = DataType::UInt16;
template <>
inline constexpr DataType kDataTypeOf<unsigned int> = DataType::UInt32;
template <>
inline constexpr DataType kDataTypeOf<unsigned long> = DataType::UInt64;
template <>
inline constexpr DataType kDataTypeOf<unsigned long long> = DataType::UInt64;
template <>
inline constexpr DataType kDataTypeOf<float> = DataType::Float;
template <>
inline constexpr DataType kDataTypeOf<double> = DataType::Double;
template <>
inline constexpr DataType kDataTypeOf<math::Vec2f> = DataType::Vec2f;
template <>
inline constexpr DataType kDataTypeOf<math::Vec2d> = DataType::Vec2d;
template <>
inline constexpr DataType kDataTypeOf<math::Vec2i> = DataType::Vec2i;
template <>
inline constexpr DataType kDataTypeOf<math::Vec2u> = DataType::Vec2u;
template <>
inline constexpr DataType kDataTypeOf<math::Vec3f> = DataType::Vec3f;
template <>
inline constexpr DataType kDataTypeOf<math::Vec3d> = DataType::Vec3d;
template <>
inline constexpr DataType kDataTypeOf<math::Vec3i> = DataType::Vec3i;
template <>
inline constexpr DataType kDataTypeOf<math::Vec3u> = DataType::Vec3u;
template <>
inline constexpr DataType kDataTypeOf<math::Vec4f> = DataType::Vec4f;
template <>
inline constexpr DataType kDataTypeOf<math::Vec4d> = DataType::Vec4d;
template <>
inline constexpr DataType kDataTypeOf<math::Vec4i> = DataType::Vec4i;
template <>
inline constexpr DataType kDataTypeOf<math::Vec4u> = DataType::Vec4u;
template <>
inline constexpr DataType kDataTypeOf<math::Pos2f> = DataType::Pos2f;
template <>
inline constexpr DataType kDataTypeOf<math::Pos2d> = DataType::Pos2d;
template <>
inline constexpr DataType kDataTypeOf<math::Pos2i> = DataType::Pos2i;
template <>
inline constexpr DataType kDataTypeOf<math::Pos3f> = DataType::Pos3f;
template <>
inline constexpr DataType kDataTypeOf<math::Pos3d> = DataType::Pos3d;
template <>
inline constexpr DataType kDataTypeOf<math::Pos3i> = DataType::Pos3i;
template <>
inline constexpr DataType kDataTypeOf<math::Quatf> = DataType::Quatf;
template <>
inline constexpr DataType kDataTypeOf<math::Quatd> = DataType::Quatd;
template <>
inline constexpr DataType kDataTypeOf<math::Rgbaf> = DataType::Rgbaf;
template <>
inline constexpr DataType kDataTypeOf<math::Rgbad> = DataType::Rgbad;
template <>
inline constexpr DataType kDataTypeOf<math::Rgba8> = DataType::Rgba8;
template <>
inline constexpr DataType kDataTypeOf<math::Mat3f> = DataType::Mat3f;
template <>
inline constexpr DataType kDataTypeOf<math::Mat3d> = DataType::Mat3d;
template <>
inline constexpr DataType kDataTypeOf<math::Mat3i> = DataType::Mat3i;
template <>
inline constexpr DataType kDataTypeOf<math::Mat4f> = DataType::Mat4f;
template <>
inline constexpr DataType kDataTypeOf<math::Mat4d> = DataType::Mat4d;
template <>
inline constexpr DataType kDataTypeOf<math::Mat4i> = DataType::Mat4i;

}  // namespace impl

/// What has an element type: the scalars, and the value types of qor::math that the catalogue names.
template <typename T>
concept TypedValue = (impl::kDataTypeOf<std::remove_cv_t<T>> != DataType::Null);

/// The element type of a C++ type. Any other is a compile error.
template <TypedValue T>
inline constexpr DataType dataTypeOf = impl::kDataTypeOf<std::remove_cv_t<T>>;

/// All values of a span.
template <TypedValue T, std::size_t n>
requires(!std::is_const_v<T>) BufRef bufRef(std::span<T, n> values) {
    return {.ptr = values.data(), .type = dataTypeOf<T>, .count = values.size()};
}
template <TypedValue T, std::size_t n>
ConstBufRef bufRef(std::span<const T, n> values) {
    return {{.ptr = const_cast<T*>(values.data()), .type = dataTypeOf<T>, .count = values.size()}};
}

namespace impl {

template <typename S, typename T, typename Base>
BufRef fieldRef(std::span<const S> structs, T Base::*field) {
    if (structs.empty()) return {.type = dataTypeOf<T>};
    const S& first = structs.front();
    const auto* const start = reinterpret_cast<const unsigned char*>(&first);
    return {.ptr = const_cast<S*>(&first),
            .type = dataTypeOf<T>,
            .count = structs.size(),
            .stride = sizeof(S),
            .offset = static_cast<std::uint64_t>(reinterpret_cast<const unsigned char*>(&(first.*field)) - start)};
}

}  // namespace impl

/// One field of each struct of a span.
template <typename S, std::size_t n, TypedValue T, typename Base>
requires(std::is_base_of_v<Base, S> && !std::is_const_v<S> && !std::is_const_v<T>) BufRef
    bufRef(std::span<S, n> structs, T Base::*field) {
    return impl::fieldRef(std::span<const S>(structs), field);
}
template <typename S, std::size_t n, TypedValue T, typename Base>
requires(std::is_base_of_v<Base, S> && (std::is_const_v<S> || std::is_const_v<T>)) ConstBufRef
    bufRef(std::span<S, n> structs, T Base::*field) {
    return {impl::fieldRef(std::span<const S>(structs), field)};
}

/// The scalars that the values of a span are made of, in their order: what aggregates are to go through a text file as.
template <TypedValue Value, std::size_t n>
requires TypedValue<typename std::remove_const_t<Value>::value_type>
auto scalarsOf(std::span<Value, n> values) {
    using T = std::remove_pointer_t<decltype(values.data()->data())>;
    if (values.empty()) return std::span<T>();
    return std::span<T>(values.front().data(), values.size() * Value::size());
}

}  // namespace qor
