// The sixty element types, typed out: what the tests hold the catalogue to.
#pragma once

#include <cstdint>

namespace qor::test {

struct ElementType {
    std::uint32_t value;
    const char* name;
    const char* elemType;
    std::uint64_t elemSize;
    std::uint64_t elemCount;
    std::uint64_t size;
};

inline constexpr ElementType kElementTypes[] = {
    {0, "Null", "Null", 0, 0, 8},       {1, "Bool", "Bool", 1, 1, 1},        {2, "Char", "Char", 1, 1, 1},
    {3, "Byte", "Byte", 1, 1, 1},       {4, "Int16", "Int16", 2, 1, 2},      {5, "Int32", "Int32", 4, 1, 4},
    {6, "Int64", "Int64", 8, 1, 8},     {7, "UInt16", "UInt16", 2, 1, 2},    {8, "UInt32", "UInt32", 4, 1, 4},
    {9, "UInt64", "UInt64", 8, 1, 8},   {10, "Float", "Float", 4, 1, 4},     {11, "Double", "Double", 8, 1, 8},
    {12, "Ptr", "Ptr", 8, 1, 8},        {13, "Vec2f", "Float", 4, 2, 8},     {14, "Vec2d", "Double", 8, 2, 16},
    {15, "Vec2i", "Int32", 4, 2, 8},    {16, "Vec2u", "UInt32", 4, 2, 8},    {17, "Vec3f", "Float", 4, 3, 12},
    {18, "Vec3d", "Double", 8, 3, 24},  {19, "Vec3i", "Int32", 4, 3, 12},    {20, "Vec3u", "UInt32", 4, 3, 12},
    {21, "Vec4f", "Float", 4, 4, 16},   {22, "Vec4d", "Double", 8, 4, 32},   {23, "Vec4i", "Int32", 4, 4, 16},
    {24, "Vec4u", "UInt32", 4, 4, 16},  {25, "Pos2f", "Float", 4, 2, 8},     {26, "Pos2d", "Double", 8, 2, 16},
    {27, "Pos2i", "Int32", 4, 2, 8},    {28, "Pos3f", "Float", 4, 3, 12},    {29, "Pos3d", "Double", 8, 3, 24},
    {30, "Pos3i", "Int32", 4, 3, 12},   {31, "Quatf", "Float", 4, 4, 16},    {32, "Quatd", "Double", 8, 4, 32},
    {33, "Rgbf", "Float", 4, 3, 12},    {34, "Rgbd", "Double", 8, 3, 24},    {35, "Rgb8", "Byte", 1, 3, 3},
    {36, "Rgbaf", "Float", 4, 4, 16},   {37, "Rgbad", "Double", 8, 4, 32},   {38, "Rgba8", "Byte", 1, 4, 4},
    {39, "Mat3f", "Float", 4, 9, 36},   {40, "Mat3d", "Double", 8, 9, 72},   {41, "Mat3i", "Int32", 4, 9, 36},
    {42, "Mat4f", "Float", 4, 16, 64},  {43, "Mat4d", "Double", 8, 16, 128}, {44, "Mat4i", "Int32", 4, 16, 64},
    {45, "Xformf", "Float", 4, 10, 40}, {46, "Xformd", "Double", 8, 10, 80}, {47, "Xformi", "Int32", 4, 10, 40},
    {48, "Aabbf", "Float", 4, 6, 24},   {49, "Aabbd", "Double", 8, 6, 48},   {50, "Aabbi", "Int32", 4, 6, 24},
    {51, "Obbf", "Float", 4, 19, 76},   {52, "Obbd", "Double", 8, 19, 152},  {53, "Obbi", "Int32", 4, 19, 76},
    {54, "Hsvf", "Float", 4, 3, 12},    {55, "Hsvd", "Double", 8, 3, 24},    {56, "Hslf", "Float", 4, 3, 12},
    {57, "Hsld", "Double", 8, 3, 24},   {58, "Argb8", "Byte", 1, 4, 4},      {59, "ColorRef", "Byte", 1, 4, 4},
};

}  // namespace qor::test
