// string_io.h: the string builder. Where memory is refused: string_memory_test.cpp.
#include "qor/core/string_io.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace qor::test {
namespace {

using namespace std::string_view_literals;

TEST(StringIOTest, DefaultIsEmpty) {
    const StringIO text;
    EXPECT_TRUE(text.isEmpty());
    EXPECT_STREQ(text.buf(), "");
}

TEST(StringIOTest, AppendsInOrder) {
    StringIO text;
    text << "abc"
         << ""
         << "def";
    EXPECT_FALSE(text.isEmpty());
    EXPECT_STREQ(text.buf(), "abcdef");
}

TEST(StringIOTest, AppendingGivesTheSameBuilder) {
    StringIO text;
    EXPECT_EQ(&(text << "abc"), &text);
    EXPECT_EQ(&(text = String("x")), &text);
}

TEST(StringIOTest, AppendingNullOrNothingChangesNothing) {
    StringIO text;
    text << static_cast<const char*>(nullptr) << "";
    EXPECT_TRUE(text.isEmpty());
    text << "abc" << static_cast<const char*>(nullptr) << "";
    EXPECT_STREQ(text.buf(), "abc");
}

TEST(StringIOTest, AppendsCharactersUpToTheZero) {
    StringIO text;
    text << "ab\0cd"
         << "e";
    EXPECT_STREQ(text.buf(), "abe");
}

TEST(StringIOTest, AppendKeepsTheZerosWithinAView) {
    StringIO text;
    EXPECT_TRUE(text.append("a\0b"sv));
    EXPECT_TRUE(text.append("c"));
    EXPECT_EQ(std::string_view(text.buf(), 5), "a\0bc\0"sv);
}

TEST(StringIOTest, AppendsItsOwnContent) {
    StringIO text;
    text << "abc";
    text << text.buf();
    EXPECT_STREQ(text.buf(), "abcabc");
    EXPECT_TRUE(text.append(std::string_view(text.buf() + 2, 2)));
    EXPECT_STREQ(text.buf(), "abcabcca");
}

TEST(StringIOTest, AssigningATextReplacesTheContent) {
    StringIO text;
    text << "before";
    text = String("after");
    EXPECT_STREQ(text.buf(), "after");
    text << "wards";
    EXPECT_STREQ(text.buf(), "afterwards");
    text = String();
    EXPECT_TRUE(text.isEmpty());
}

TEST(StringIOTest, AssigningATextSharesItUntilOneChanges) {
    const String text("abc");
    StringIO builder;
    builder = text;
    EXPECT_EQ(builder.buf(), text.buf());
    builder << "d";
    EXPECT_STREQ(builder.buf(), "abcd");
    EXPECT_EQ(text, "abc");
}

TEST(StringIOTest, CopiesShareUntilOneChanges) {
    StringIO text;
    text << "abc";
    StringIO copy(text);
    StringIO assigned;
    assigned << "gone";
    assigned = text;
    EXPECT_EQ(copy.buf(), text.buf());
    EXPECT_EQ(assigned.buf(), text.buf());

    text << "1";
    copy << "2";
    EXPECT_STREQ(text.buf(), "abc1");
    EXPECT_STREQ(copy.buf(), "abc2");
    EXPECT_STREQ(assigned.buf(), "abc");
}

TEST(StringIOTest, SelfAssignmentKeepsTheContent) {
    StringIO text;
    text << "abc";
    const StringIO& itself = text;
    text = itself;
    EXPECT_STREQ(text.buf(), "abc");
}

TEST(StringIOTest, GrowsToAnyLength) {
    StringIO text;
    std::string expected;
    for (int i = 0; i < 50000; ++i) {
        text << "line\n";
        expected += "line\n";
    }
    EXPECT_EQ(text.buf(), expected);
}

}  // namespace
}  // namespace qor::test
