// Texts: written bare or as records, printed, and read back as records or as the whole of a file.
#include <cwchar>
#include <vector>

#include "file/contents.h"

namespace qor::test {
namespace {

using namespace std::literals;

// ---- Writing --------------------------------------------------------------------------------------------------------

using Text = WithFiles;

TEST(TextBytes, InATextFileAreTheCharactersAlone) {
    EXPECT_EQ(written(Format::Text,
                      [](File& f) {
                          f << "ab"
                            << "cd";
                      }),
              Bytes{"abcd"});
}

TEST(TextBytes, InABinaryFileFollowTheirCount) {
    EXPECT_EQ(written(Format::Binary, [](File& f) { f << "abc"; }), "03 00 00 00 00 00 00 00 61 62 63"_bytes);
    EXPECT_EQ(written(Format::Binary, [](File& f) { f << std::string(258, 'x'); }),
              Bytes{("02 01 00 00 00 00 00 00"_bytes).raw + std::string(258, 'x')});
}

TEST(TextBytes, OfTheEmptyTextAreACountOfZeroOrNothing) {
    const auto put = [](File& file) {
        file << "" << String() << StringIO() << ""s
             << ""sv;
    };
    EXPECT_EQ(written(Format::Text, put), Bytes{""});
    EXPECT_EQ(written(Format::Binary, put), Bytes{std::string(5 * 8, '\0')});
}

TEST(TextBytes, OfANullTextAreThoseOfTheEmptyText) {
    const auto put = [](File& file) {
        const char* const null = nullptr;
        EXPECT_TRUE(file.write(null));
        EXPECT_TRUE(file.write(std::string_view()));
        EXPECT_TRUE(file.write(String(nullptr)));
    };
    EXPECT_EQ(written(Format::Text, put), Bytes{""});
    EXPECT_EQ(written(Format::Binary, put), Bytes{std::string(3 * 8, '\0')});
}

TEST(TextBytes, AreTheSameFromEveryKindOfText) {
    const auto put = [](File& file) {
        char array[] = "abc";
        char* const pointer = array;
        const String string = "abc";
        StringIO builder;
        builder << "a"
                << "bc";
        const std::string standard = "abc";
        file << "abc" << array << pointer << string << builder << standard << "xabcx"sv.substr(1, 3);
    };
    EXPECT_EQ(written(Format::Text, put), Bytes{"abcabcabcabcabcabcabc"});
    const std::string one = ("03 00 00 00 00 00 00 00 61 62 63"_bytes).raw;
    EXPECT_EQ(written(Format::Binary, put), Bytes{one + one + one + one + one + one + one});
}

TEST(TextBytes, EndAtTheFirstZero) {
    const auto put = [](File& file) {
        const char array[] = "ab\0cd";
        file << array << String("ab\0cd", 5) << "ab\0cd"s
             << "ab\0cd"sv;
    };
    EXPECT_EQ(written(Format::Text, put), Bytes{"abababab"});
    const std::string one = ("02 00 00 00 00 00 00 00 61 62"_bytes).raw;
    EXPECT_EQ(written(Format::Binary, put), Bytes{one + one + one + one});
}

TEST(TextBytes, OfATextThatBeginsWithZeroAreThoseOfTheEmptyText) {
    const auto put = [](File& file) {
        file << "\0ab" << String("\0ab", 3) << "\0ab"s
             << "\0ab"sv;
    };
    EXPECT_EQ(written(Format::Text, put), Bytes{""});
    EXPECT_EQ(written(Format::Binary, put), Bytes{std::string(4 * 8, '\0')});
}

TEST(TextBytes, OfAnEmptyViewDoNotRunOn) {
    const auto put = [](File& file) { file << "abcdef"sv.substr(2, 0) << "abcdef"sv.substr(6); };
    EXPECT_EQ(written(Format::Text, put), Bytes{""});
    EXPECT_EQ(written(Format::Binary, put), Bytes{std::string(2 * 8, '\0')});
}

TEST(TextBytes, OfAViewEndWhereItEnds) {
    EXPECT_EQ(written(Format::Text, [](File& f) { f << "abcdef"sv.substr(0, 3); }), Bytes{"abc"});
}

TEST(TextBytes, MayBeAnyButZero) {
    const std::string all = pattern(251) + "\xfc\xfd\xfe\xff";
    EXPECT_EQ(written(Format::Text, [&](File& f) { f << all; }), Bytes{all});
    EXPECT_EQ(written(Format::Text, [](File& f) { f << "a\nb\r\nc"; }), "61 0a 62 0d 0a 63"_bytes);
}

TEST_F(Text, TheWritersMemoryMayBeReusedAtOnce) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    char text[] = "abc";
    file << text;
    text[0] = 'x';
    file << text;
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"abcxbc"});
}

TEST_F(Text, ThePositionMovesByTheCountAndTheCharacters) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    file << "abc";
    EXPECT_EQ(file.pos(), 11u);
    file << "";
    EXPECT_EQ(file.pos(), 19u);
}

TEST_F(Text, InTheThirdModeHasNoCount) {
    File file = opened(files.path("a"), Mode::ReadWrite, Format::Binary);
    file << "abc"
         << "" << std::string(kMiB, '-');
    EXPECT_EQ(file.pos(), 3 + kMiB);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"abc"});
}

TEST_F(Text, ALongOneIsWrittenWhole) {
    for (const std::uint64_t size : {kMiB - 9, kMiB - 8, kMiB - 7, kMiB, kMiB + 1, 3 * kMiB + 5}) {
        SCOPED_TRACE(size);
        const std::string text = pattern(size);
        File file = opened(files.path("a"), Mode::Write, Format::Binary);
        EXPECT_TRUE(file.write(text));
        EXPECT_TRUE(file.write("end"));
        EXPECT_EQ(file.pos(), size + 19);
        EXPECT_TRUE(file.close());
        EXPECT_EQ(files.content("a"), Bytes{record(text) + record("end")});
    }
}

TEST_F(Text, ARefusedWriteSaysWhy) {
    File closed;
    EXPECT_FALSE(closed.write("abc"));
    EXPECT_EQ(closed.error(), "File not successfully opened, cannot write.");
    EXPECT_FALSE(closed.write(""));

    File reading = opened(files.make("a", "abc"), Mode::Read, Format::Text);
    EXPECT_FALSE(reading.write(""));
    EXPECT_EQ(reading.error(), "Cannot write while in read mode.");
    EXPECT_FALSE(reading.print("%d", 1));
    EXPECT_EQ(reading.error(), "Cannot write while in read mode.");
}

// ---- Printing -------------------------------------------------------------------------------------------------------

using Print = WithFiles;

TEST(PrintBytes, AreWhatPrintfPrints) {
    EXPECT_EQ(written(Format::Text, [](File& f) { f.print("%d|%5.2f|%-4s|%c|%%|%lx", -3, 2.5, "ab", 'c', 255L); }),
              Bytes{"-3| 2.50|ab  |c|%|ff"});
}

TEST(PrintBytes, OfALineEndWithOneLineFeed) {
    EXPECT_EQ(written(Format::Text, [](File& f) { f.printLn("x=%d", 5); }), "78 3d 35 0a"_bytes);
    EXPECT_EQ(written(Format::Text, [](File& f) { f.printLn("%s", ""); }), "0a"_bytes);
}

TEST(PrintBytes, InABinaryFileAreARecord) {
    EXPECT_EQ(written(Format::Binary, [](File& f) { f.printLn("x=%d", 5); }),
              "04 00 00 00 00 00 00 00 78 3d 35 0a"_bytes);
    EXPECT_EQ(written(Format::Binary, [](File& f) { f.print("%s", ""); }), "00 00 00 00 00 00 00 00"_bytes);
}

TEST(PrintBytes, EndAtTheFirstZero) {
    EXPECT_EQ(written(Format::Text, [](File& f) { f.print("ab%ccd", 0); }), Bytes{"ab"});
    EXPECT_EQ(written(Format::Binary, [](File& f) { f.print("%cab", 0); }), "00 00 00 00 00 00 00 00"_bytes);
}

TEST(PrintBytes, OfALongTextAreWhole) {
    for (const std::size_t size : {254u, 255u, 256u, 257u, 1000u, 2000000u}) {
        const std::string text = pattern(size);
        EXPECT_EQ(written(Format::Text, [&](File& f) { EXPECT_TRUE(f.printLn("%s", text.c_str())); }),
                  Bytes{text + "\n"});
    }
}

// In the "C" locale, in which the tests run, there are no bytes for this character.
TEST(PrintBytes, OfAConversionThatFailsAreThoseOfTheEmptyText) {
    const auto print = [](File& file) { EXPECT_TRUE(file.print("ab%lc", static_cast<std::wint_t>(0x20ac))); };
    EXPECT_EQ(written(Format::Text, print), Bytes{""});
    EXPECT_EQ(written(Format::Binary, print), "00 00 00 00 00 00 00 00"_bytes);
    const auto printLn = [](File& file) { EXPECT_TRUE(file.printLn("ab%lc", static_cast<std::wint_t>(0x20ac))); };
    EXPECT_EQ(written(Format::Text, printLn), Bytes{"\n"});
}

// ---- Records --------------------------------------------------------------------------------------------------------

using Record = WithFiles;

TEST_F(Record, OfATextAndOfTheEmptyTextReadBack) {
    File file = opened(files.make("a", record("abc") + record("")), Mode::Read, Format::Binary);
    String text = "before";
    EXPECT_TRUE(file.read(text));
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(file.pos(), 11u);
    EXPECT_TRUE(file.read(text));
    EXPECT_EQ(text, "");
    EXPECT_EQ(file.pos(), 19u);
    EXPECT_TRUE(file.eof());
    EXPECT_TRUE(file.ok());
}

TEST_F(Record, ReadsBackIntoEveryKindOfText) {
    File file = opened(files.make("a", record("abc") + record("def") + record("ghi")), Mode::Read, Format::Binary);
    String string;
    StringIO builder;
    std::string standard = "before";
    file >> string >> builder >> standard;
    EXPECT_EQ(string, "abc");
    EXPECT_STREQ(builder.buf(), "def");
    EXPECT_EQ(standard, "ghi");
    EXPECT_TRUE(file.ok());
}

TEST_F(Record, OfNothingEmptiesEveryKindOfText) {
    File file = opened(files.make("a", record("") + record("") + record("")), Mode::Read, Format::Binary);
    String string = "before";
    StringIO builder;
    builder << "before";
    std::string standard = "before";
    EXPECT_TRUE(file.read(string) && file.read(builder) && file.read(standard));
    EXPECT_EQ(string, "");
    EXPECT_TRUE(builder.isEmpty());
    EXPECT_EQ(standard, "");
}

TEST_F(Record, IsAddedToABuilder) {
    File file = opened(files.make("a", record("abc") + record("def")), Mode::Read, Format::Binary);
    StringIO builder;
    builder << "x";
    EXPECT_TRUE(file.read(builder));
    EXPECT_STREQ(builder.buf(), "xabc");
    EXPECT_TRUE(file.read(builder));
    EXPECT_STREQ(builder.buf(), "xabcdef");
}

TEST_F(Record, AddedToABuilderLeavesItsCopiesAlone) {
    File file = opened(files.make("a", record("abc")), Mode::Read, Format::Binary);
    StringIO builder;
    builder << "x";
    const StringIO copy = builder;
    EXPECT_TRUE(file.read(builder));
    EXPECT_STREQ(copy.buf(), "x");
}

TEST_F(Record, OfWhatAWriterMadeReadsBack) {
    for (const std::uint64_t size : {1ul, 7ul, 255ul, 256ul, 65536ul, kMiB - 8, kMiB, 2 * kMiB + 3}) {
        const std::string text = pattern(size);
        File file = opened(files.path("a"), Mode::Write, Format::Binary);
        file << text << "end";
        ASSERT_TRUE(file.open(files.path("a").c_str(), Mode::Read, Format::Binary));
        String back, end;
        file >> back >> end;
        EXPECT_TRUE(back.view() == text) << size;
        EXPECT_EQ(end, "end");
        EXPECT_TRUE(file.ok() && file.eof());
    }
}

TEST_F(Record, EndsAtItsFirstZeroAndIsPassedWhole) {
    File file =
        opened(files.make("a", record("ab\0cd"sv) + record("\0cd"sv) + record("end")), Mode::Read, Format::Binary);
    String string = "before";
    EXPECT_TRUE(file.read(string));
    EXPECT_EQ(string, "ab");
    EXPECT_EQ(file.pos(), 13u);
    EXPECT_TRUE(file.read(string));
    EXPECT_EQ(string, "");
    EXPECT_EQ(file.pos(), 24u);
    EXPECT_TRUE(file.read(string));
    EXPECT_EQ(string, "end");

    file.seek(0);
    StringIO builder;
    builder << "x";
    EXPECT_TRUE(file.read(builder) && file.read(builder));
    EXPECT_STREQ(builder.buf(), "xab");
    EXPECT_EQ(file.pos(), 24u);

    file.seek(0);
    std::string standard;
    EXPECT_TRUE(file.read(standard));
    EXPECT_EQ(standard, "ab");
}

// A record of 3 MiB lies in four chunks, since a count stands before it. A zero in any of them, at any edge, ends it.
TEST_F(Record, OfSeveralChunksEndsAtItsFirstZero) {
    for (const std::uint64_t zero : {0ul, 100ul, kMiB - 9, kMiB - 8, kMiB - 7, kMiB, 2 * kMiB - 9, 2 * kMiB - 8,
                                     2 * kMiB + 100, 3 * kMiB - 8, 3 * kMiB - 1}) {
        SCOPED_TRACE(zero);
        std::string characters = pattern(3 * kMiB);
        characters[zero] = '\0';
        if (zero + kMiB < characters.size()) characters[zero + kMiB] = '\0';
        File file = opened(files.make("a", record(characters) + record("end")), Mode::Read, Format::Binary);

        String string, end;
        EXPECT_TRUE(file.read(string));
        EXPECT_TRUE(string.view() == characters.substr(0, zero));
        EXPECT_EQ(file.pos(), 3 * kMiB + 8);
        EXPECT_TRUE(file.read(end));
        EXPECT_EQ(end, "end");

        file.seek(0);
        StringIO builder;
        builder << "x";
        EXPECT_TRUE(file.read(builder));
        EXPECT_TRUE(builder.buf() == "x"s + characters.substr(0, zero));
        EXPECT_EQ(file.pos(), 3 * kMiB + 8);
    }
}

// Every way that the edge of the first chunk can part a record of a count and six characters.
TEST_F(Record, ReadsBackWhereverTheChunkEnds) {
    for (std::uint64_t before = kMiB - 14; before <= kMiB; ++before) {
        SCOPED_TRACE(before);
        const std::string path =
            files.make("a", filler(before) + ("06 00 00 00 00 00 00 00 61 62 63 64 65 66"_bytes).raw + "end");
        const auto expectRead = [&](auto text) {
            File file = opened(path, Mode::Read, Format::Binary);
            String skipped;
            EXPECT_TRUE(file.read(skipped));
            EXPECT_EQ(skipped.length(), before - 8);
            EXPECT_TRUE(file.read(text));
            EXPECT_EQ(file.pos(), before + 14);
            char next;
            EXPECT_TRUE(file.read(next));
            EXPECT_EQ(next, 'e');
            return text;
        };
        EXPECT_EQ(expectRead(String()), "abcdef");
        EXPECT_STREQ(expectRead(StringIO() << "x").buf(), "xabcdef");
        EXPECT_EQ(expectRead(std::string()), "abcdef");
    }
}

TEST_F(Record, OfSeveralMiBReadsBack) {
    const std::string characters = pattern(5 * kMiB + 77);
    const std::string path = files.make("a", record("x") + record(characters) + record("end"));
    File file = opened(path, Mode::Read, Format::Binary);
    String string, end;
    file >> string >> string >> end;
    EXPECT_TRUE(string.view() == characters);
    EXPECT_EQ(end, "end");

    ASSERT_TRUE(file.open(path.c_str(), Mode::Read, Format::Binary));
    StringIO builder;
    file >> builder >> builder;
    EXPECT_TRUE(builder.buf() == "x"s + characters);

    ASSERT_TRUE(file.open(path.c_str(), Mode::Read, Format::Binary));
    std::string standard;
    file >> standard >> standard >> end;
    EXPECT_TRUE(standard == characters);
    EXPECT_TRUE(file.ok() && file.eof());
}

TEST_F(Record, WhoseCountIsCutShortChangesNothing) {
    File file = opened(files.make("a", record("abc") + "1234567"), Mode::Read, Format::Binary);
    String first;
    file >> first;
    String string = "before";
    StringIO builder;
    builder << "before";
    std::string standard = "before";
    EXPECT_FALSE(file.read(string));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_FALSE(file.read(builder));
    EXPECT_FALSE(file.read(standard));
    EXPECT_EQ(string, "before");
    EXPECT_STREQ(builder.buf(), "before");
    EXPECT_EQ(standard, "before");
    EXPECT_EQ(file.pos(), 11u);
    char next;
    EXPECT_TRUE(file.read(next));
    EXPECT_EQ(next, '1');
}

TEST_F(Record, WhoseCharactersAreCutShortChangesNothing) {
    File file = opened(files.make("a", count(4) + "abc"), Mode::Read, Format::Binary);
    String text = "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(text, "before");
    EXPECT_EQ(file.pos(), 8u);
    char next;
    EXPECT_TRUE(file.read(next));
    EXPECT_EQ(next, 'a');
}

TEST_F(Record, IsNotReadFromAFileThatIsNotOpenForReading) {
    String string = "before";
    StringIO builder;
    builder << "before";
    std::string standard = "before";
    File file;
    EXPECT_FALSE(file.read(string) || file.read(builder) || file.read(standard));
    EXPECT_EQ(file.error(), "File not successfully opened, cannot read.");
    file = opened(files.path("a"), Mode::Write, Format::Binary);
    EXPECT_FALSE(file.read(string) || file.read(builder) || file.read(standard));
    EXPECT_EQ(file.error(), "Cannot write while in write mode.");
    EXPECT_EQ(string, "before");
    EXPECT_STREQ(builder.buf(), "before");
    EXPECT_EQ(standard, "before");
}

// ---- The whole of a text file ---------------------------------------------------------------------------------------

using WholeText = WithFiles;

TEST_F(WholeText, IsEverythingThatWasWritten) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    file << "ab" << 1 << ' ' << 2.5 << '\n' << "cd";
    ASSERT_TRUE(file.open(files.path("a").c_str(), Mode::Read, Format::Text));
    EXPECT_EQ(file.read(), "ab1 2.5\ncd");
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_EQ(file.read(), "ab1 2.5\ncd");
}

TEST_F(WholeText, IsReadFromTheStartAndThePositionStays) {
    File file = opened(files.make("a", "0123456789"), Mode::Read, Format::Text);
    char c;
    file >> c >> c >> c;
    EXPECT_EQ(file.read(), "0123456789");
    EXPECT_EQ(file.pos(), 3u);
    file >> c;
    EXPECT_EQ(c, '3');
    file.seek(10);
    EXPECT_EQ(file.read(), "0123456789");
    EXPECT_EQ(file.pos(), 10u);
    EXPECT_TRUE(file.eof());
}

TEST_F(WholeText, OfAnySizeIsReadAtOnce) {
    for (const std::uint64_t size : {1ul, 4095ul, 4096ul, 4097ul, kMiB - 1, kMiB, kMiB + 1, 5 * kMiB + 77}) {
        const std::string text = pattern(size);
        File file = opened(files.make("a", text), Mode::Read, Format::Text);
        EXPECT_TRUE(file.read().view() == text) << size;
        EXPECT_TRUE(file.ok());
    }
}

TEST_F(WholeText, ReplacesEveryKindOfText) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Text);
    String string = "before";
    StringIO builder;
    builder << "before";
    std::string standard = "before";
    EXPECT_TRUE(file.read(string));
    EXPECT_TRUE(file.read(builder));
    EXPECT_TRUE(file.read(standard));
    EXPECT_EQ(string, "abc");
    EXPECT_STREQ(builder.buf(), "abc");
    EXPECT_EQ(standard, "abc");
    EXPECT_EQ(file.pos(), 0u);
}

TEST_F(WholeText, OfAnEmptyFileIsEmptyFalseAndNoError) {
    File file = opened(files.make("a", ""), Mode::Read, Format::Text);
    EXPECT_EQ(file.read(), "");
    String string = "before";
    StringIO builder;
    builder << "before";
    std::string standard = "before";
    EXPECT_FALSE(file.read(string));
    EXPECT_FALSE(file.read(builder));
    EXPECT_FALSE(file.read(standard));
    EXPECT_EQ(string, "");
    EXPECT_TRUE(builder.isEmpty());
    EXPECT_EQ(standard, "");
    EXPECT_TRUE(file.ok());
}

TEST_F(WholeText, EndsAtTheFirstZero) {
    File file = opened(files.make("a", "ab\0cd"s), Mode::Read, Format::Text);
    EXPECT_EQ(file.read(), "ab");
    std::string standard;
    EXPECT_TRUE(file.read(standard));
    EXPECT_EQ(standard, "ab");

    ASSERT_TRUE(file.open(files.make("a", "\0ab"s).c_str(), Mode::Read, Format::Text));
    String string = "before";
    EXPECT_FALSE(file.read(string));
    EXPECT_EQ(string, "");
    EXPECT_TRUE(file.ok());
}

TEST_F(WholeText, IsRefusedInABinaryFile) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Binary);
    char c;
    file >> c;
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(file.error(), "read() is not supported in binary mode.");
    EXPECT_EQ(file.pos(), 1u);
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'b');
}

TEST_F(WholeText, IsRefusedWhereNothingCanBeRead) {
    File file;
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(file.error(), "File not successfully opened, cannot read.");
    file = opened(files.path("a"), Mode::Write, Format::Text);
    file << "abc";
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(file.error(), "Cannot write while in write mode.");
    EXPECT_EQ(file.pos(), 3u);
}

}  // namespace
}  // namespace qor::test
