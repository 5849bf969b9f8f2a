// elem_text.h: which C++ type goes with an element type. The texts themselves are number_text's.
#include "qor/data/elem_text.h"

#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

namespace qor::impl {
namespace {

// The name of the C++ type that goes with an element type, if there is one.
std::string typeOf(DataType type) {
    std::string name = "none";
    const bool isGiven = withElemType(type, [&](auto zero) {
        name = typeid(zero).name();
        return zero == decltype(zero)();
    });
    EXPECT_EQ(isGiven, name != "none") << dataTypeName(type);
    return name;
}

TEST(ElemText, EachScalarHasItsType) {
    EXPECT_EQ(typeOf(DataType::Bool), typeid(bool).name());
    EXPECT_EQ(typeOf(DataType::Char), typeid(signed char).name());
    EXPECT_EQ(typeOf(DataType::Byte), typeid(unsigned char).name());
    EXPECT_EQ(typeOf(DataType::Int16), typeid(short).name());
    EXPECT_EQ(typeOf(DataType::Int32), typeid(int).name());
    EXPECT_EQ(typeOf(DataType::Int64), typeid(long).name());
    EXPECT_EQ(typeOf(DataType::UInt16), typeid(unsigned short).name());
    EXPECT_EQ(typeOf(DataType::UInt32), typeid(unsigned int).name());
    EXPECT_EQ(typeOf(DataType::UInt64), typeid(unsigned long).name());
    EXPECT_EQ(typeOf(DataType::Float), typeid(float).name());
    EXPECT_EQ(typeOf(DataType::Double), typeid(double).name());
}

TEST(ElemText, NullAndPtrHaveNone) {
    EXPECT_EQ(typeOf(DataType::Null), "none");
    EXPECT_EQ(typeOf(DataType::Ptr), "none");
}

TEST(ElemText, TheResultIsThatOfTheCall) {
    for (const bool result : {false, true}) {
        EXPECT_EQ(withElemType(DataType::Int32, [&](auto) { return result; }), result);
    }
}

}  // namespace
}  // namespace qor::impl
