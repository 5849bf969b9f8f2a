// The catalogue of element types: every row of it, and what lies outside.
#include "qor/data/data_type.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support/element_types.h"

namespace qor {
namespace {

using test::ElementType;
using test::kElementTypes;

DataType type(std::uint32_t value) { return static_cast<DataType>(value); }

TEST(DataTypes, AreSixty) { EXPECT_EQ(std::size(kElementTypes), 60u); }

TEST(DataTypes, HaveTheseNamesElementsAndSizes) {
    std::uint32_t value = 0;
    for (const ElementType& row : kElementTypes) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.value, value++);
        EXPECT_STREQ(dataTypeName(type(row.value)), row.name);
        EXPECT_STREQ(dataTypeName(dataElemType(type(row.value))), row.elemType);
        EXPECT_EQ(typeElemSize(type(row.value)), row.elemSize);
        EXPECT_EQ(typeElemCount(type(row.value)), row.elemCount);
        EXPECT_EQ(typeSize(type(row.value)), row.size);
    }
}

// Programs keep the numbers, so each enumerator is held to its own.
TEST(DataTypes, HaveTheseEnumerators) {
#define QOR_TYPE(name) \
    { DataType::name, #name }
    const struct {
        DataType type;
        const char* name;
    } kEnumerators[] = {
        QOR_TYPE(Null),  QOR_TYPE(Bool),   QOR_TYPE(Char),   QOR_TYPE(Byte),   QOR_TYPE(Int16),  QOR_TYPE(Int32),
        QOR_TYPE(Int64), QOR_TYPE(UInt16), QOR_TYPE(UInt32), QOR_TYPE(UInt64), QOR_TYPE(Float),  QOR_TYPE(Double),
        QOR_TYPE(Ptr),   QOR_TYPE(Vec2f),  QOR_TYPE(Vec2d),  QOR_TYPE(Vec2i),  QOR_TYPE(Vec2u),  QOR_TYPE(Vec3f),
        QOR_TYPE(Vec3d), QOR_TYPE(Vec3i),  QOR_TYPE(Vec3u),  QOR_TYPE(Vec4f),  QOR_TYPE(Vec4d),  QOR_TYPE(Vec4i),
        QOR_TYPE(Vec4u), QOR_TYPE(Pos2f),  QOR_TYPE(Pos2d),  QOR_TYPE(Pos2i),  QOR_TYPE(Pos3f),  QOR_TYPE(Pos3d),
        QOR_TYPE(Pos3i), QOR_TYPE(Quatf),  QOR_TYPE(Quatd),  QOR_TYPE(Rgbf),   QOR_TYPE(Rgbd),   QOR_TYPE(Rgb8),
        QOR_TYPE(Rgbaf), QOR_TYPE(Rgbad),  QOR_TYPE(Rgba8),  QOR_TYPE(Mat3f),  QOR_TYPE(Mat3d),  QOR_TYPE(Mat3i),
        QOR_TYPE(Mat4f), QOR_TYPE(Mat4d),  QOR_TYPE(Mat4i),  QOR_TYPE(Xformf), QOR_TYPE(Xformd), QOR_TYPE(Xformi),
        QOR_TYPE(Aabbf), QOR_TYPE(Aabbd),  QOR_TYPE(Aabbi),  QOR_TYPE(Obbf),   QOR_TYPE(Obbd),   QOR_TYPE(Obbi),
        QOR_TYPE(Hsvf),  QOR_TYPE(Hsvd),   QOR_TYPE(Hslf),   QOR_TYPE(Hsld),   QOR_TYPE(Argb8),  QOR_TYPE(ColorRef),
    };
#undef QOR_TYPE
    std::uint32_t value = 0;
    for (const auto& enumerator : kEnumerators) {
        EXPECT_EQ(static_cast<std::uint32_t>(enumerator.type), value++) << enumerator.name;
        EXPECT_STREQ(dataTypeName(enumerator.type), enumerator.name);
    }
    EXPECT_EQ(value, 60u);
}

TEST(DataTypes, HaveNamesOfTheirOwn) {
    std::set<std::string> names;
    for (std::uint32_t value = 0; value < 60; ++value) names.insert(dataTypeName(type(value)));
    EXPECT_EQ(names.size(), 60u);
}

TEST(DataTypes, BeyondTheLastAreUnknown) {
    for (const std::uint32_t value : {60u, 61u, 1000u, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(value);
        EXPECT_STREQ(dataTypeName(type(value)), "<unknown>");
        EXPECT_EQ(dataElemType(type(value)), DataType::Null);
        EXPECT_EQ(typeSize(type(value)), 0u);
        EXPECT_EQ(typeElemSize(type(value)), 0u);
        EXPECT_EQ(typeElemCount(type(value)), 0u);
    }
}

TEST(DataTypes, AtTheEdgesOfTheCatalogueAreNamed) {
    EXPECT_STREQ(dataTypeName(type(0)), "Null");
    EXPECT_STREQ(dataTypeName(type(59)), "ColorRef");
}

TEST(DataTypes, NullHasASizeAndNoElements) {
    EXPECT_EQ(typeSize(DataType::Null), 8u);
    EXPECT_EQ(typeElemSize(DataType::Null), 0u);
    EXPECT_EQ(typeElemCount(DataType::Null), 0u);
    EXPECT_EQ(dataElemType(DataType::Null), DataType::Null);
}

TEST(DataTypes, ScalarsAreTheirOwnElements) {
    for (std::uint32_t value = 0; value <= 12; ++value) EXPECT_EQ(dataElemType(type(value)), type(value));
}

TEST(DataTypes, AggregatesAreMadeOfFiveScalars) {
    EXPECT_EQ(dataElemType(DataType::Rgba8), DataType::Byte);
    EXPECT_EQ(dataElemType(DataType::Vec4u), DataType::UInt32);
    EXPECT_EQ(dataElemType(DataType::Mat4i), DataType::Int32);
    EXPECT_EQ(dataElemType(DataType::Xformf), DataType::Float);
    EXPECT_EQ(dataElemType(DataType::Obbd), DataType::Double);
}

TEST(DataTypes, ElementsFillTheirTypeExactly) {
    for (std::uint32_t value = 1; value < 60; ++value) {
        SCOPED_TRACE(dataTypeName(type(value)));
        EXPECT_EQ(typeElemSize(type(value)), typeSize(dataElemType(type(value))));
        EXPECT_EQ(typeSize(type(value)) % typeElemSize(type(value)), 0u);
        EXPECT_EQ(typeSize(type(value)), typeElemSize(type(value)) * typeElemCount(type(value)));
    }
    EXPECT_EQ(typeElemCount(DataType::Obbd), 19u);
    EXPECT_EQ(typeElemCount(DataType::Xformf), 10u);
    EXPECT_EQ(typeElemCount(DataType::Rgb8), 3u);
}

TEST(DataTypes, AreKnownToTheCompiler) {
    static_assert(sizeof(DataType) == 4);
    static_assert(typeSize(DataType::Obbd) == 152);
    static_assert(typeElemSize(DataType::Rgb8) == 1);
    static_assert(typeElemCount(DataType::Mat4f) == 16);
    static_assert(dataElemType(DataType::Pos3i) == DataType::Int32);
    static_assert(dataTypeName(DataType::Vec3f)[3] == '3');
    static_assert(typeSize(static_cast<DataType>(60)) == 0 && dataTypeName(static_cast<DataType>(60))[0] == '<');
}

}  // namespace
}  // namespace qor
