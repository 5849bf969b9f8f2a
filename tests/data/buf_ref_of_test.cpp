// BufRefs of spans, of one field of structs, and aggregates as their scalars.
#include "qor/data/buf_ref_of.h"

#include <gtest/gtest.h>

#include <array>
#include <concepts>
#include <string>
#include <utility>
#include <vector>

namespace qor {
namespace {

using namespace math;

// ---- Types ----------------------------------------------------------------------------------------------------------

TEST(DataTypeOf, AScalarIsTheTypeOfItsWidthAndSign) {
    static_assert(dataTypeOf<bool> == DataType::Bool);
    static_assert(dataTypeOf<char> == DataType::Char && dataTypeOf<signed char> == DataType::Char);
    static_assert(dataTypeOf<unsigned char> == DataType::Byte && dataTypeOf<std::byte> == DataType::Byte);
    static_assert(dataTypeOf<std::int8_t> == DataType::Char && dataTypeOf<std::uint8_t> == DataType::Byte);
    static_assert(dataTypeOf<std::int16_t> == DataType::Int16 && dataTypeOf<std::uint16_t> == DataType::UInt16);
    static_assert(dataTypeOf<std::int32_t> == DataType::Int32 && dataTypeOf<std::uint32_t> == DataType::UInt32);
    static_assert(dataTypeOf<std::int64_t> == DataType::Int64 && dataTypeOf<std::uint64_t> == DataType::UInt64);
    static_assert(dataTypeOf<long long> == DataType::Int64 && dataTypeOf<unsigned long long> == DataType::UInt64);
    static_assert(dataTypeOf<float> == DataType::Float && dataTypeOf<double> == DataType::Double);
}

TEST(DataTypeOf, IsTheSameForConstants) {
    static_assert(dataTypeOf<const int> == DataType::Int32 && dataTypeOf<const Vec3f> == DataType::Vec3f);
}

template <typename T>
void expectType(DataType type, const char* name) {
    EXPECT_EQ(dataTypeOf<T>, type) << name;
    EXPECT_STREQ(dataTypeName(dataTypeOf<T>), name);
    EXPECT_EQ(typeSize(dataTypeOf<T>), sizeof(T)) << name;
    EXPECT_EQ(dataElemType(dataTypeOf<T>), dataTypeOf<typename T::value_type>) << name;
}

TEST(DataTypeOf, AMathTypeIsTheTypeOfItsName) {
#define QOR_EXPECT(name) expectType<name>(DataType::name, #name)
    QOR_EXPECT(Vec2f);
    QOR_EXPECT(Vec2d);
    QOR_EXPECT(Vec2i);
    QOR_EXPECT(Vec2u);
    QOR_EXPECT(Vec3f);
    QOR_EXPECT(Vec3d);
    QOR_EXPECT(Vec3i);
    QOR_EXPECT(Vec3u);
    QOR_EXPECT(Vec4f);
    QOR_EXPECT(Vec4d);
    QOR_EXPECT(Vec4i);
    QOR_EXPECT(Vec4u);
    QOR_EXPECT(Pos2f);
    QOR_EXPECT(Pos2d);
    QOR_EXPECT(Pos2i);
    QOR_EXPECT(Pos3f);
    QOR_EXPECT(Pos3d);
    QOR_EXPECT(Pos3i);
    QOR_EXPECT(Quatf);
    QOR_EXPECT(Quatd);
    QOR_EXPECT(Rgbaf);
    QOR_EXPECT(Rgbad);
    QOR_EXPECT(Rgba8);
    QOR_EXPECT(Mat3f);
    QOR_EXPECT(Mat3d);
    QOR_EXPECT(Mat3i);
    QOR_EXPECT(Mat4f);
    QOR_EXPECT(Mat4d);
    QOR_EXPECT(Mat4i);
#undef QOR_EXPECT
}

TEST(DataTypeOf, NothingElseHasAType) {
    struct Own {
        float x;
    };
    enum Plain { kOne };
    static_assert(!TypedValue<Own> && !TypedValue<Plain> && !TypedValue<int*> && !TypedValue<float[3]>);
    static_assert(!TypedValue<long double> && !TypedValue<wchar_t> && !TypedValue<char8_t> && !TypedValue<char32_t>);
    static_assert(!TypedValue<std::string> && !TypedValue<void> && !TypedValue<VecT<5, float>>);
    static_assert(!TypedValue<int&>);
}

// ---- Spans ----------------------------------------------------------------------------------------------------------

void expectRef(const BufRef& ref, const void* ptr, DataType type, std::uint64_t count, std::uint64_t stride = 0,
               std::uint64_t offset = 0) {
    EXPECT_EQ(ref.ptr, ptr);
    EXPECT_EQ(ref.type, type);
    EXPECT_EQ(ref.count, count);
    EXPECT_EQ(ref.stride, stride);
    EXPECT_EQ(ref.offset, offset);
    EXPECT_EQ(ref.tag, 0u);
}

TEST(BufRefOf, ASpanIsAllOfItsValues) {
    std::vector<double> numbers(5);
    std::vector<Vec3f> places(7);
    expectRef(bufRef(std::span(numbers)), numbers.data(), DataType::Double, 5);
    expectRef(bufRef(std::span(places)), places.data(), DataType::Vec3f, 7);
    expectRef(bufRef(std::span(places).subspan(2, 3)), &places[2], DataType::Vec3f, 3);
    static_assert(std::same_as<decltype(bufRef(std::span(numbers))), BufRef>);
}

TEST(BufRefOf, AConstSpanCanBeWrittenAlone) {
    const std::vector<Rgba8> colours(3);
    const auto ref = bufRef(std::span(colours));
    static_assert(std::same_as<decltype(ref), const ConstBufRef>);
    static_assert(!std::convertible_to<ConstBufRef, BufRef>);
    expectRef(ref.ref, colours.data(), DataType::Rgba8, 3);
}

TEST(BufRefOf, AnEmptySpanIsNoArray) {
    EXPECT_EQ(bufRef(std::span<int>()).count, 0u);
    EXPECT_EQ(bufRef(std::span<const Vec3f>()).ref.count, 0u);
    EXPECT_EQ(bufRef(std::span<int>()).type, DataType::Int32);
}

// ---- One field of structs -------------------------------------------------------------------------------------------

struct Placed {
    short id;
    Vec3f place;
};
struct Vertex : Placed {
    Vec3f normal;
    Rgba8 colour;
    double weight;
};

TEST(BufRefOf, AFieldHasTheOffsetItHasAndTheStrideOfItsStruct) {
    std::vector<Vertex> vertices(4);
    const auto distance = [&](const void* field) {
        return static_cast<std::uint64_t>(static_cast<const char*>(field) -
                                          reinterpret_cast<const char*>(vertices.data()));
    };
    expectRef(bufRef(std::span(vertices), &Vertex::normal), vertices.data(), DataType::Vec3f, 4, sizeof(Vertex),
              distance(&vertices[0].normal));
    expectRef(bufRef(std::span(vertices), &Vertex::colour), vertices.data(), DataType::Rgba8, 4, sizeof(Vertex),
              distance(&vertices[0].colour));
    expectRef(bufRef(std::span(vertices), &Vertex::weight), vertices.data(), DataType::Double, 4, sizeof(Vertex),
              distance(&vertices[0].weight));
}

TEST(BufRefOf, AFieldOfABaseIsOneOfItsOwn) {
    std::vector<Vertex> vertices(4);
    const auto offset = static_cast<std::uint64_t>(reinterpret_cast<const char*>(&vertices[0].place) -
                                                   reinterpret_cast<const char*>(vertices.data()));
    expectRef(bufRef(std::span(vertices), &Vertex::place), vertices.data(), DataType::Vec3f, 4, sizeof(Vertex), offset);
    expectRef(bufRef(std::span(vertices), &Placed::place), vertices.data(), DataType::Vec3f, 4, sizeof(Vertex), offset);
    expectRef(bufRef(std::span(vertices), &Placed::id), vertices.data(), DataType::Int16, 4, sizeof(Vertex),
              static_cast<std::uint64_t>(reinterpret_cast<const char*>(&vertices[0].id) -
                                         reinterpret_cast<const char*>(vertices.data())));
}

TEST(BufRefOf, AFieldOfTheSecondBaseLiesBehindTheFirst) {
    struct First {
        double a;
    };
    struct Second {
        int b;
    };
    struct Both : First, Second {
        int c;
    };
    std::vector<Both> values(2);
    expectRef(bufRef(std::span(values), &Both::b), values.data(), DataType::Int32, 2, sizeof(Both), sizeof(First));
}

TEST(BufRefOf, AFieldOfConstStructsCanBeWrittenAlone) {
    const std::vector<Vertex> vertices(4);
    const auto ref = bufRef(std::span(vertices), &Vertex::place);
    static_assert(std::same_as<decltype(ref), const ConstBufRef>);
    EXPECT_EQ(ref.ref.ptr, vertices.data());
    EXPECT_EQ(ref.ref.stride, sizeof(Vertex));
}

TEST(BufRefOf, AFieldOfNoStructsIsNoArray) {
    EXPECT_EQ(bufRef(std::span<Vertex>(), &Vertex::weight).count, 0u);
    EXPECT_EQ(bufRef(std::span<const Vertex>(), &Vertex::weight).ref.count, 0u);
    EXPECT_EQ(bufRef(std::span<Vertex>(), &Vertex::weight).type, DataType::Double);
}

TEST(BufRefOf, AnArrayIsASpanOfItsLength) {
    int numbers[4] = {};
    expectRef(bufRef(std::span(numbers)), numbers, DataType::Int32, 4);
    std::array<Vec3f, 3> places;
    expectRef(bufRef(std::span(places)), places.data(), DataType::Vec3f, 3);
    std::array<Vertex, 2> vertices;
    EXPECT_EQ(bufRef(std::span(vertices), &Vertex::place).count, 2u);
    EXPECT_EQ(scalarsOf(std::span(places)).size(), 9u);
}

TEST(BufRefOf, AConstFieldCanBeWrittenAlone) {
    struct Numbered {
        const int number = 7;
        float value = 0;
    };
    std::vector<Numbered> all(3);
    static_assert(std::same_as<decltype(bufRef(std::span(all), &Numbered::number)), ConstBufRef>);
    static_assert(std::same_as<decltype(bufRef(std::span(std::as_const(all)), &Numbered::number)), ConstBufRef>);
    EXPECT_EQ(bufRef(std::span(all), &Numbered::number).ref.stride, sizeof(Numbered));
}

// ---- Aggregates as their scalars ------------------------------------------------------------------------------------

TEST(ScalarsOf, ASpanAreAllOfThemInTheirOrder) {
    std::vector<Vec3i> values = {Vec3i(1, 2, 3), Vec3i(4, 5, 6)};
    const std::span<std::int32_t> scalars = scalarsOf(std::span(values));
    ASSERT_EQ(scalars.size(), 6u);
    EXPECT_EQ(std::vector<std::int32_t>(scalars.begin(), scalars.end()), (std::vector<std::int32_t>{1, 2, 3, 4, 5, 6}));
    scalars[5] = 7;
    EXPECT_EQ(values[1][2], 7);
    expectRef(bufRef(scalars), values.data(), DataType::Int32, 6);
}

TEST(ScalarsOf, AConstSpanAreConst) {
    const std::vector<Mat3d> values(2);
    const auto scalars = scalarsOf(std::span(values));
    static_assert(std::same_as<decltype(scalars), const std::span<const double>>);
    EXPECT_EQ(scalars.size(), 18u);
}

TEST(ScalarsOf, AnEmptySpanAreNone) {
    EXPECT_TRUE(scalarsOf(std::span<Vec3f>()).empty());
    EXPECT_TRUE(scalarsOf(std::span<const Rgba8>()).empty());
}

}  // namespace
}  // namespace qor
