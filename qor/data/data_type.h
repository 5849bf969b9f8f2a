// The catalogue of element types that a typed array can have: scalars, and aggregates of one scalar repeated.
//
// A value of an aggregate is its scalars, packed: typeSize(t) == typeElemSize(t) * typeElemCount(t) for every type that
// has an element size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace qor {

/// The values are part of no file, and yet fixed: programs keep them.

enum class DataType : std::uint32_t {
    Null,
    Bool,
    Char,
    Byte,
    Int16,
    Int32,
    Int64,
    UInt16,
    UInt32,
    UInt64,
    Float,
    Double,
    Ptr,
    Vec2f,
    Vec2d,
    Vec2i,
    Vec2u,
    Vec3f,
    Vec3d,
    Vec3i,
    Vec3u,
    Vec4f,
    Vec4d,
    Vec4i,
    Vec4u,
    Pos2f,
    Pos2d,
    Pos2i,
    Pos3f,
    Pos3d,
    Pos3i,
    Quatf,
    Quatd,
    Rgbf,
    Rgbd,
    Rgb8,
    Rgbaf,
    Rgbad,
    Rgba8,
    Mat3f,
    Mat3d,
    Mat3i,
    Mat4f,
    Mat4d,
    Mat4i,
    Xformf,
    Xformd,
    Xformi,
    Aabbf,
    Aabbd,
    Aabbi,
    Obbf,
    Obbd,
    Obbi,
    Hsvf,
    Hsvd,
    Hslf,
    Hsld,
    Argb8,
    ColorRef,
};

namespace impl {

/// A row to a type, in the order of their values.
struct DataTypeRow {
    const char* name;
    DataType type;
    DataType elemType;
};

inline constexpr DataTypeRow kDataTypes[] = {
    {"Null", DataType::Null, DataType::Null},       {"Bool", DataType::Bool, DataType::Bool},
    {"Char", DataType::Char, DataType::Char},       {"Byte", DataType::Byte, DataType::Byte},
    {"Int16", DataType::Int16, DataType::Int16},    {"Int32", DataType::Int32, DataType::Int32},
    {"Int64", DataType::Int64, DataType::Int64},    {"UInt16", DataType::UInt16, DataType::UInt16},
    {"UInt32", DataType::UInt32, DataType::UInt32}, {"UInt64", DataType::UInt64, DataType::UInt64},
    {"Float", DataType::Float, DataType::Float},    {"Double", DataType::Double, DataType::Double},
    {"Ptr", DataType::Ptr, DataType::Ptr},          {"Vec2f", DataType::Vec2f, DataType::Float},
    {"Vec2d", DataType::Vec2d, DataType::Double},   {"Vec2i", DataType::Vec2i, DataType::Int32},
    {"Vec2u", DataType::Vec2u, DataType::UInt32},   {"Vec3f", DataType::Vec3f, DataType::Float},
    {"Vec3d", DataType::Vec3d, DataType::Double},   {"Vec3i", DataType::Vec3i, DataType::Int32},
    {"Vec3u", DataType::Vec3u, DataType::UInt32},   {"Vec4f", DataType::Vec4f, DataType::Float},
    {"Vec4d", DataType::Vec4d, DataType::Double},   {"Vec4i", DataType::Vec4i, DataType::Int32},
    {"Vec4u", DataType::Vec4u, DataType::UInt32},   {"Pos2f", DataType::Pos2f, DataType::Float},
    {"Pos2d", DataType::Pos2d, DataType::Double},   {"Pos2i", DataType::Pos2i, DataType::Int32},
    {"Pos3f", DataType::Pos3f, DataType::Float},    {"Pos3d", DataType::Pos3d, DataType::Double},
    {"Pos3i", DataType::Pos3i, DataType::Int32},    {"Quatf", DataType::Quatf, DataType::Float},
    {"Quatd", DataType::Quatd, DataType::Double},   {"Rgbf", DataType::Rgbf, DataType::Float},
    {"Rgbd", DataType::Rgbd, DataType::Double},     {"Rgb8", DataType::Rgb8, DataType::Byte},
    {"Rgbaf", DataType::Rgbaf, DataType::Float},    {"Rgbad", DataType::Rgbad, DataType::Double},
    {"Rgba8", DataType::Rgba8, DataType::Byte},     {"Mat3f", DataType::Mat3f, DataType::Float},
    {"Mat3d", DataType::Mat3d, DataType::Double},   {"Mat3i", DataType::Mat3i, DataType::Int32},
    {"Mat4f", DataType::Mat4f, DataType::Float},    {"Mat4d", DataType::Mat4d, DataType::Double},
    {"Mat4i", DataType::Mat4i, DataType::Int32},    {"Xformf", DataType::Xformf, DataType::Float},
    {"Xformd", DataType::Xformd, DataType::Double}, {"Xformi", DataType::Xformi, DataType::Int32},
    {"Aabbf", DataType::Aabbf, DataType::Float},    {"Aabbd", DataType::Aabbd, DataType::Double},
    {"Aabbi", DataType::Aabbi, DataType::Int32},    {"Obbf", DataType::Obbf, DataType::Float},
    {"Obbd", DataType::Obbd, DataType::Double},     {"Obbi", DataType::Obbi, DataType::Int32},
    {"Hsvf", DataType::Hsvf, DataType::Float},      {"Hsvd", DataType::Hsvd, DataType::Double},
    {"Hslf", DataType::Hslf, DataType::Float},      {"Hsld", DataType::Hsld, DataType::Double},
    {"Argb8", DataType::Argb8, DataType::Byte},     {"ColorRef", DataType::ColorRef, DataType::Byte},
};

inline constexpr std::uint32_t kDataTypeCount = std::size(kDataTypes);

// Bytes of one value: of the scalars, whose values are 0 to 12, and of the aggregates behind them. Null has a size, and
// no element size.
inline constexpr std::uint64_t kScalarSizes[] = {8, 1, 1, 1, 2, 4, 8, 2, 4, 8, 4, 8, 8};
inline constexpr std::uint8_t kAggregateSizes[] = {
    8,  16,  8,  8,   // Vec2 f d i u
    12, 24,  12, 12,  // Vec3 f d i u
    16, 32,  16, 16,  // Vec4 f d i u
    8,  16,  8,       // Pos2 f d i
    12, 24,  12,      // Pos3 f d i
    16, 32,           // Quat f d
    12, 24,  3,       // Rgb f d 8
    16, 32,  4,       // Rgba f d 8
    36, 72,  36,      // Mat3 f d i
    64, 128, 64,      // Mat4 f d i
    40, 80,  40,      // Xform f d i
    24, 48,  24,      // Aabb f d i
    76, 152, 76,      // Obb f d i
    12, 24,           // Hsv f d
    12, 24,           // Hsl f d
    4,                // Argb8
    4,                // ColorRef
};

// Bytes of one scalar, of each type but Null.
inline constexpr std::uint8_t kElemSizes[] = {
    1, 1, 1,     // Bool, Char, Byte
    2, 4, 8,     // Int16, Int32, Int64
    2, 4, 8,     // UInt16, UInt32, UInt64
    4, 8,        // Float, Double
    8,           // Ptr
    4, 8, 4, 4,  // Vec2 f d i u
    4, 8, 4, 4,  // Vec3 f d i u
    4, 8, 4, 4,  // Vec4 f d i u
    4, 8, 4,     // Pos2 f d i
    4, 8, 4,     // Pos3 f d i
    4, 8,        // Quat f d
    4, 8, 1,     // Rgb f d 8
    4, 8, 1,     // Rgba f d 8
    4, 8, 4,     // Mat3 f d i
    4, 8, 4,     // Mat4 f d i
    4, 8, 4,     // Xform f d i
    4, 8, 4,     // Aabb f d i
    4, 8, 4,     // Obb f d i
    4, 8,        // Hsv f d
    4, 8,        // Hsl f d
    1,           // Argb8
    1,           // ColorRef
};

inline constexpr std::uint32_t kScalarCount = std::size(kScalarSizes);

}  // namespace impl

/// The name, as the enumerator has it; "<unknown>" for a value that is none of the types.
constexpr const char* dataTypeName(DataType type) {
    const auto value = static_cast<std::uint32_t>(type);
    return value < impl::kDataTypeCount ? impl::kDataTypes[value].name : "<unknown>";
}

/// The scalar that a type is made of; scalars are made of themselves. Null for a value that is none of the types.
constexpr DataType dataElemType(DataType type) {
    const auto value = static_cast<std::uint32_t>(type);
    return value < impl::kDataTypeCount ? impl::kDataTypes[value].elemType : DataType::Null;
}

/// Bytes of one value; 0 for a value that is none of the types.
constexpr std::uint64_t typeSize(DataType type) {
    const auto value = static_cast<std::uint32_t>(type);
    if (value < impl::kScalarCount) return impl::kScalarSizes[value];
    return value < impl::kDataTypeCount ? impl::kAggregateSizes[value - impl::kScalarCount] : 0;
}

/// Bytes of one scalar of a type; 0 for Null and for a value that is none of the types.
constexpr std::uint64_t typeElemSize(DataType type) {
    const auto value = static_cast<std::uint32_t>(type);
    return value > 0 && value < impl::kDataTypeCount ? impl::kElemSizes[value - 1] : 0;
}

/// Scalars of one value; 0 where there is no element size.
constexpr std::uint64_t typeElemCount(DataType type) {
    const std::uint64_t elemSize = typeElemSize(type);
    return elemSize > 0 ? typeSize(type) / elemSize : 0;
}

namespace impl {

// The tables stand in the same order and say the same of every type.
consteval bool dataTypesAgree() {
    if (std::size(kAggregateSizes) != kDataTypeCount - kScalarCount) return false;
    if (std::size(kElemSizes) != kDataTypeCount - 1) return false;
    for (std::uint32_t value = 0; value < kDataTypeCount; ++value) {
        const auto type = static_cast<DataType>(value);
        const DataType elemType = dataElemType(type);
        if (kDataTypes[value].type != type) return false;
        if (static_cast<std::uint32_t>(elemType) >= kScalarCount || dataElemType(elemType) != elemType) return false;
        if (value < kScalarCount && elemType != type) return false;
        if (value == 0) continue;
        if (typeElemSize(type) != typeSize(elemType) || typeSize(type) % typeElemSize(type) != 0) return false;
        if ((typeElemCount(type) == 1) != (value < kScalarCount)) return false;
    }
    return true;
}
static_assert(dataTypesAgree());
static_assert(static_cast<std::uint32_t>(DataType::ColorRef) + 1 == kDataTypeCount && kDataTypeCount == 60);

}  // namespace impl
}  // namespace qor
