// The value types: which components they have, in which order, and nothing between them.
#include "qor/core/math.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

namespace qor::math {
namespace {

template <typename Value>
class ValueType : public ::testing::Test {};

using All = ::testing::Types<Vec2f, Vec2d, Vec2i, Vec2u, Vec3f, Vec3d, Vec3i, Vec3u, Vec4f, Vec4d, Vec4i, Vec4u, Pos2f,
                             Pos2d, Pos2i, Pos3f, Pos3d, Pos3i, Quatf, Quatd, Rgbaf, Rgbad, Rgba8, Mat3f, Mat3d, Mat3i,
                             Mat4f, Mat4d, Mat4i>;
TYPED_TEST_SUITE(ValueType, All);

TYPED_TEST(ValueType, IsItsComponentsAndNothingElse) {
    using T = typename TypeParam::value_type;
    static_assert(sizeof(TypeParam) == TypeParam::size() * sizeof(T));
    static_assert(alignof(TypeParam) == alignof(T));
    static_assert(std::is_trivially_copyable_v<TypeParam> && std::is_standard_layout_v<TypeParam>);

    TypeParam value;
    EXPECT_EQ(static_cast<void*>(value.data()), static_cast<void*>(&value));
    for (std::size_t i = 0; i < value.size(); ++i) EXPECT_EQ(&value[i], value.data() + i);
    EXPECT_EQ(value.end() - value.begin(), static_cast<std::ptrdiff_t>(value.size()));
}

TYPED_TEST(ValueType, IsZerosAtFirst) {
    const TypeParam value;
    for (const auto component : value) EXPECT_EQ(component, typename TypeParam::value_type{});
}

TYPED_TEST(ValueType, EqualsAnotherIfAllComponentsDo) {
    for (std::size_t i = 0; i < TypeParam::size(); ++i) {
        TypeParam a, b;
        EXPECT_EQ(a, b);
        b[i] = 1;
        EXPECT_NE(a, b);
        a[i] = 1;
        EXPECT_EQ(a, b);
    }
}

TEST(Math, ComponentsStandInTheOrderOfTheirNames) {
    const Vec4d v(1, 2, 3, 4);
    EXPECT_EQ(std::vector<double>(v.begin(), v.end()), (std::vector<double>{1, 2, 3, 4}));
    const Quatd q(0, 0, 0, 1);
    EXPECT_EQ(q[3], 1);
    const Rgba8 c(255, 128, 0, 64);
    EXPECT_EQ(c[0], 255);
    EXPECT_EQ(c[3], 64);
}

TEST(Math, AMatrixStandsByRows) {
    Mat3d m(11, 12, 13,  //
            21, 22, 23,  //
            31, 32, 33);
    EXPECT_EQ(m(0, 2), 13);
    EXPECT_EQ(m(2, 0), 31);
    EXPECT_EQ(m[5], 23);
    m(1, 0) = 5;
    EXPECT_EQ(m[3], 5);

    const Mat4i identity(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(identity(i, i), 1);
}

TEST(Math, TakesExactlyItsComponents) {
    static_assert(std::is_constructible_v<VecT<3, double>, int, float, double>);
    static_assert(!std::is_constructible_v<Vec3d, double, double>);
    static_assert(!std::is_constructible_v<Vec3d, double, double, double, double>);
    static_assert(!std::is_constructible_v<Vec3d, double>);
    static_assert(!std::is_constructible_v<Mat3d, double, double, double>);
}

template <typename A, typename B>
concept Comparable = requires(A a, B b) {
    {a == b};
};

TEST(Math, AVectorIsNoPosition) {
    static_assert(!std::is_convertible_v<Vec3d, Pos3d> && !std::is_constructible_v<Pos3d, Vec3d>);
    static_assert(!std::is_convertible_v<Quatd, Vec4d> && !std::is_constructible_v<Rgbad, Vec4d>);
    static_assert(!std::is_convertible_v<Vec3f, Vec3d>);
    static_assert(Comparable<Vec3d, Vec3d> && !Comparable<Vec3d, Pos3d>);
}

TEST(Math, ComparesAsNumbers) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NE(Vec2d(nan, 0), Vec2d(nan, 0));
    EXPECT_EQ(Vec2d(0.0, 1), Vec2d(-0.0, 1));
}

TEST(Math, IsThereAtCompileTime) {
    constexpr Vec3i v(1, 2, 3);
    static_assert(v[2] == 3 && v == Vec3i(1, 2, 3) && Vec3i::size() == 3);
    constexpr Mat3i m(0, 1, 2, 3, 4, 5, 6, 7, 8);
    static_assert(m(2, 1) == 7);
}

}  // namespace
}  // namespace qor::math
