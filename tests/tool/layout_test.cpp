// Layouts: what they describe, and what is said of those that describe nothing.
#include "tools/qor/layout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tool {
namespace {

using qor::DataType;

constexpr std::nullopt_t kNone = std::nullopt;

std::string mistakeIn(std::string_view text) {
    try {
        parseLayout(text);
    } catch (const BadLayout& bad) {
        return bad.what();
    }
    return "none";
}

TEST(Layout, IsTheRecordsInTheirOrder) {
    EXPECT_THAT(parseLayout("title:String, toMap:Mat3d, n:UInt64, xy:Vec2i[n]"),
                testing::ElementsAre(Record{"title", Made::OfStrings, DataType::Null, false, 1, kNone},
                                     Record{"toMap", Made::OfValues, DataType::Mat3d, false, 1, kNone},
                                     Record{"n", Made::OfValues, DataType::UInt64, false, 1, kNone},
                                     Record{"xy", Made::OfValues, DataType::Vec2i, true, 1, 2}));
}

TEST(Layout, ACountIsANumberOrAnEarlierInteger) {
    EXPECT_EQ(parseLayout("a:Byte[0]").at(0).count, 0u);
    EXPECT_EQ(parseLayout("a:Byte[007]").at(0).count, 7u);
    EXPECT_EQ(parseLayout("a:Byte[18446744073709551615]").at(0).count, 18446744073709551615u);
    for (const char* const type : {"Byte", "Int16", "Int32", "Int64", "UInt16", "UInt32", "UInt64"}) {
        EXPECT_EQ(parseLayout(std::string("n:") + type + ", a:Byte[n]").at(1).counter, 0u) << type;
    }
}

TEST(Layout, ACountOfOneMakesAnArray) {
    EXPECT_FALSE(parseLayout("a:Byte").at(0).isArray);
    EXPECT_TRUE(parseLayout("a:Byte[1]").at(0).isArray);
}

TEST(Layout, StringsBlocksAndTextsHaveCountsToo) {
    EXPECT_THAT(parseLayout("magic:text[4], names:String[3], parts:block[2], rest:text"),
                testing::ElementsAre(Record{"magic", Made::OfText, DataType::Null, true, 4, kNone},
                                     Record{"names", Made::OfStrings, DataType::Null, true, 3, kNone},
                                     Record{"parts", Made::OfBlocks, DataType::Null, true, 2, kNone},
                                     Record{"rest", Made::OfText, DataType::Null, false, 1, kNone}));
}

TEST(Layout, ALineEndIsAsGoodAsAComma) {
    const Layout layout = parseLayout("a:Int32,b:Byte[3]");
    EXPECT_EQ(parseLayout("a:Int32\nb:Byte[3]\n"), layout);
    EXPECT_EQ(parseLayout("a:Int32\r\nb:Byte[3]\r\n"), layout);
    EXPECT_EQ(parseLayout("a:Int32,\nb:Byte[3],"), layout);
}

TEST(Layout, SpacesEmptyEntriesAndCommentsMeanNothing) {
    const Layout layout = parseLayout("a:Int32,b:Byte[3]");
    EXPECT_EQ(parseLayout("\n # first, a number: of things\n\n\ta : Int32 #[4]\n,,b\t:\tByte [ 3 ] # b:Byte"), layout);
}

TEST(Layout, ARecordMayHaveTheNameOfAType) {
    EXPECT_EQ(parseLayout("Int32:Int32, text:Byte[Int32]").at(1).counter, 0u);
}

TEST(Layout, EachTypeOfTheCatalogueButNullIsOne) {
    const std::vector<DataType> types = allDataTypes();
    ASSERT_EQ(types.size(), 60u);
    for (const DataType type : types) {
        if (type == DataType::Null) continue;
        EXPECT_EQ(parseLayout(std::string("a:") + dataTypeName(type)).at(0).type, type) << dataTypeName(type);
    }
}

TEST(Layout, ItsTextIsARecordToALine) {
    EXPECT_EQ(textOf(parseLayout("n:UInt64,xy:Vec2i[n],names:String[02],b:block,t:text")),
              "n : UInt64\n"
              "xy : Vec2i[n]\n"
              "names : String[2]\n"
              "b : block\n"
              "t : text\n");
}

TEST(Layout, ItsTextDescribesTheSameLayout) {
    const Layout layout = parseLayout("n:UInt64,xy:Vec2i[n],m:Byte,names:String[m],b:block[0],t:text");
    EXPECT_EQ(parseLayout(textOf(layout)), layout);
}

struct Mistake {
    const char* layout;
    const char* told;
};

const Mistake kMistakes[] = {
    {"",
     "line 1, column 1: the layout names no record\n"
     "  \n"
     "  ^"},
    {"# nothing\n , \n",
     "line 3, column 1: the layout names no record\n"
     "  \n"
     "  ^"},
    {"a:Int32, :Byte",
     "line 1, column 10: expected a name: letters, digits and _\n"
     "  a:Int32, :Byte\n"
     "           ^"},
    {"2d:Vec2i",
     "line 1, column 1: expected a name: letters, digits and _\n"
     "  2d:Vec2i\n"
     "  ^"},
    {"n Int32",
     "line 1, column 3: expected a ':' between name and type\n"
     "  n Int32\n"
     "    ^"},
    {"n",
     "line 1, column 2: expected a ':' between name and type\n"
     "  n\n"
     "   ^"},
    {"n:\nInt32",
     "line 1, column 3: expected a type\n"
     "  n:\n"
     "    ^"},
    {"ok:Int32\nm:Mat3q",
     "line 2, column 3: unknown type Mat3q; did you mean Mat3f?\n"
     "  m:Mat3q\n"
     "    ^"},
    {"n:uint64",
     "line 1, column 3: unknown type uint64; did you mean UInt64?\n"
     "  n:uint64\n"
     "    ^"},
    {"s:string",
     "line 1, column 3: unknown type string; did you mean String?\n"
     "  s:string\n"
     "    ^"},
    {"m:Quaternion",
     "line 1, column 3: unknown type Quaternion; `qor types` shows them\n"
     "  m:Quaternion\n"
     "    ^"},
    {"m:Null",
     "line 1, column 3: no file holds a value of type Null\n"
     "  m:Null\n"
     "    ^"},
    {"a:Int32, b:Byte, a:Byte",
     "line 1, column 18: there is a record a already\n"
     "  a:Int32, b:Byte, a:Byte\n"
     "                   ^"},
    {"a:Byte[",
     "line 1, column 8: expected a count: a number, or the name of an earlier integer\n"
     "  a:Byte[\n"
     "         ^"},
    {"a:Byte[]",
     "line 1, column 8: expected a count: a number, or the name of an earlier integer\n"
     "  a:Byte[]\n"
     "         ^"},
    {"a:Byte[-3]",
     "line 1, column 8: a count is not negative\n"
     "  a:Byte[-3]\n"
     "         ^"},
    {"a:Byte[3k]",
     "line 1, column 8: neither a number nor a name\n"
     "  a:Byte[3k]\n"
     "         ^"},
    {"a:Byte[18446744073709551616]",
     "line 1, column 8: the count is larger than 18446744073709551615\n"
     "  a:Byte[18446744073709551616]\n"
     "         ^"},
    {"a:Byte[3, b:Byte",
     "line 1, column 9: expected a ']' behind the count\n"
     "  a:Byte[3, b:Byte\n"
     "          ^"},
    {"a:Byte[3\n]",
     "line 1, column 9: expected a ']' behind the count\n"
     "  a:Byte[3\n"
     "          ^"},
    {"a:Byte]",
     "line 1, column 7: expected a comma or the end of the line\n"
     "  a:Byte]\n"
     "        ^"},
    {"a:Byte b:Byte",
     "line 1, column 8: expected a comma or the end of the line\n"
     "  a:Byte b:Byte\n"
     "         ^"},
    {"count:Int32, xy:Vec2i[cuont]",
     "line 1, column 23: no earlier record is called cuont; did you mean count?\n"
     "  count:Int32, xy:Vec2i[cuont]\n"
     "                        ^"},
    {"xy:Vec2i[n], n:Int32",
     "line 1, column 10: no earlier record is called n\n"
     "  xy:Vec2i[n], n:Int32\n"
     "           ^"},
    {"n:Int32[n]",
     "line 1, column 9: no earlier record is called n\n"
     "  n:Int32[n]\n"
     "          ^"},
    {"n:Float, xy:Vec2i[n]",
     "line 1, column 19: n is a Float, and a count is an integer\n"
     "  n:Float, xy:Vec2i[n]\n"
     "                    ^"},
    {"n:Bool, xy:Vec2i[n]",
     "line 1, column 18: n is a Bool, and a count is an integer\n"
     "  n:Bool, xy:Vec2i[n]\n"
     "                   ^"},
    {"n:Vec2i, xy:Vec2i[n]",
     "line 1, column 19: n is a Vec2i, and a count is an integer\n"
     "  n:Vec2i, xy:Vec2i[n]\n"
     "                    ^"},
    {"n:String, xy:Vec2i[n]",
     "line 1, column 20: n is a String, and a count is an integer\n"
     "  n:String, xy:Vec2i[n]\n"
     "                     ^"},
    {"n:Int32[1], xy:Vec2i[n]",
     "line 1, column 22: n is an array, and a count is one integer\n"
     "  n:Int32[1], xy:Vec2i[n]\n"
     "                       ^"},
    {"t:text, n:Int32",
     "line 1, column 9: nothing follows t: a text without a count takes the rest of the file\n"
     "  t:text, n:Int32\n"
     "          ^"},
    {"a\tb\1\xC3\xA9",
     "line 1, column 3: expected a ':' between name and type\n"
     "  a b\n"
     "    ^"},
};

TEST(Layout, AMistakeIsToldWithLineAndColumnAndACaretBelowThePlace) {
    for (const Mistake& mistake : kMistakes) {
        EXPECT_EQ(mistakeIn(mistake.layout), mistake.told) << "the layout: " << mistake.layout;
    }
}

TEST(Layout, ALongLineIsShownAroundTheMistakeAlone) {
    std::string layout;
    for (int i = 0; i < 1000; ++i) layout += "a" + std::to_string(i) + ":Byte, ";
    layout += "bad:Bite, " + std::string(100000, ' ');
    EXPECT_EQ(mistakeIn(layout),
              "line 1, column 10895: unknown type Bite; did you mean Byte?\n"
              "   a995:Byte, a996:Byte, a997:Byte, a998:Byte, a999:Byte, bad:Bite,\n"
              "                                                              ^");
}

TEST(Layout, ANameHasAtMost64Characters) {
    const std::string name(64, 'n');
    EXPECT_EQ(parseLayout(name + ":Byte").at(0).name, name);
    EXPECT_THAT(mistakeIn(name + "n:Byte"), testing::StartsWith("line 1, column 1: longer than 64 characters\n"));
    EXPECT_THAT(mistakeIn("n:" + std::string(100000, 'n')),
                testing::StartsWith("line 1, column 3: longer than 64 characters\n"));
    EXPECT_LT(mistakeIn("n:" + std::string(100000, 'n')).size(), 300u);
}

}  // namespace
}  // namespace tool
