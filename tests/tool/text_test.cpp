// Small texts of the tool.
#include "tools/qor/text.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace tool {
namespace {

TEST(Grouped, DigitsStandInThrees) {
    EXPECT_EQ(grouped(0), "0");
    EXPECT_EQ(grouped(999), "999");
    EXPECT_EQ(grouped(1000), "1,000");
    EXPECT_EQ(grouped(1234567), "1,234,567");
    EXPECT_EQ(grouped(18446744073709551615u), "18,446,744,073,709,551,615");
}

TEST(Counted, OneThingIsOne) {
    EXPECT_EQ(counted(0, "byte"), "0 bytes");
    EXPECT_EQ(counted(1, "byte"), "1 byte");
    EXPECT_EQ(counted(1000, "byte"), "1,000 bytes");
}

TEST(Reason, OfNoErrorIsEmpty) {
    EXPECT_EQ(reasonOf(0), "");
    EXPECT_EQ(reasonAndAdvice(0), "");
}

TEST(Reason, AFullDiskComesWithAdvice) {
    EXPECT_EQ(reasonOf(ENOSPC), "No space left on device");
    EXPECT_EQ(reasonAndAdvice(ENOSPC),
              "No space left on device; make room there, or choose another folder with -o DIR");
}

TEST(Nearest, IsTheWordWithTheFewestMistakes) {
    EXPECT_EQ(nearest("wrold", {"show", "world"}), "world");
    EXPECT_EQ(nearest("worl", {"show", "world"}), "world");
    EXPECT_EQ(nearest("worldd", {"show", "world"}), "world");
    EXPECT_EQ(nearest("shwo", {"show", "world"}), "show");
}

TEST(Nearest, NothingIsNearToAWordLikeNoOther) {
    EXPECT_EQ(nearest("xyzzy", {"show", "world"}), "");
    EXPECT_EQ(nearest("a", {"show", "world"}), "");
    EXPECT_EQ(nearest("", {"show", "world"}), "");
    EXPECT_EQ(nearest(std::string(100, 'w'), {"show", "world"}), "");
}

TEST(Xml, ItsOwnCharactersAreEscaped) { EXPECT_EQ(escapedXml("a<b>&\"c\" é"), "a&lt;b&gt;&amp;&quot;c&quot; é"); }

}  // namespace
}  // namespace tool
