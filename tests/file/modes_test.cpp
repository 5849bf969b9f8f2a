// What every operation does in every mode and format, as one table; and what is particular to the third mode, and to a
// mode that is none of the three.
#include <filesystem>
#include <functional>
#include <vector>

#include "file/contents.h"

namespace qor::test {
namespace {

// ---- The table ------------------------------------------------------------------------------------------------------

// What the files that are read hold: a record of three characters, and enough behind it for any number.
const std::string kContent = record("abc") + "defghijklmnopqrstuvwx";

struct Outcome {
    bool result;
    std::uint64_t moved;  // what pos() has grown by
    const char* error;

    constexpr Outcome(int bytes) : result(true), moved(static_cast<std::uint64_t>(bytes)), error("") {}
    constexpr Outcome(bool done, const char* text) : result(done), moved(0), error(text) {}
};

// The cells that are no number of bytes. Where a read is refused the text says "write" all the same.
constexpr Outcome kReading(false, "Cannot write while in read mode.");
constexpr Outcome kWriting(false, "Cannot write while in write mode.");
constexpr Outcome kNotOpenW(false, "File not successfully opened, cannot write.");
constexpr Outcome kNotOpenR(false, "File not successfully opened, cannot read.");
constexpr Outcome kNotOpenS(false, "Cannot seek, file is not opened.");
constexpr Outcome kPastEnd(false, "Attempted to read beyond file size.");
constexpr Outcome kNoPeek(false, "File::peek() only supported in read mode.");
constexpr Outcome kNoText(false, "read() is not supported in binary mode.");
constexpr Outcome kEmpty(false, "");

// How a file can be open, a column each. The last is not open at all.
const struct {
    const char* name;
    Mode mode;
    Format format;
} kColumns[] = {
    {"Read, Text", Mode::Read, Format::Text},
    {"Read, Binary", Mode::Read, Format::Binary},
    {"Write, Text", Mode::Write, Format::Text},
    {"Write, Binary", Mode::Write, Format::Binary},
    {"ReadWrite, Text", Mode::ReadWrite, Format::Text},
    {"ReadWrite, Binary", Mode::ReadWrite, Format::Binary},
    {"7, Text", kSeven, Format::Text},
    {"7, Binary", kSeven, Format::Binary},
    {"closed", Mode::Read, Format::Text},
};
constexpr int kClosed = 8;

struct Operation {
    const char* name;
    std::function<bool(File&)> run;
};

struct Row {
    std::vector<Operation> operations;  // which have this row in common
    Outcome outcomes[9];
};

template <typename T>
Operation writes(const char* name) {
    return {name, [](File& file) { return file.write(static_cast<T>(1)); }};
}

template <typename T>
Operation reads(const char* name) {
    return {name, [](File& file) {
                T value;
                return file.read(value);
            }};
}

const char* const kNull = nullptr;

// clang-format off
const Row kRows[] = {
    //     Read                Write               ReadWrite           7
    //     Text      Binary    Text      Binary    Text      Binary    Text      Binary    closed
    {{writes<char>("write char"), writes<signed char>("write signed char"),
      writes<unsigned char>("write unsigned char")},
        {kReading, kReading,        1,        1,        1,        1,        1,        1, kNotOpenW}},
    {{writes<bool>("write true")},
        {kReading, kReading,        4,        1,        1,        1,        1,        1, kNotOpenW}},
    {{writes<short>("write short"), writes<unsigned short>("write unsigned short")},
        {kReading, kReading,        1,        2,        2,        2,        2,        2, kNotOpenW}},
    {{writes<int>("write int"), writes<unsigned int>("write unsigned int"), writes<float>("write float")},
        {kReading, kReading,        1,        4,        4,        4,        4,        4, kNotOpenW}},
    {{writes<long>("write long"), writes<unsigned long>("write unsigned long"), writes<double>("write double"),
      writes<long long>("write long long"), writes<unsigned long long>("write unsigned long long")},
        {kReading, kReading,        1,        8,        8,        8,        8,        8, kNotOpenW}},

    {{{"a text", [](File& file) { return file.write("abc"); }},
      {"a String", [](File& file) { return file.write(String("abc")); }},
      {"a StringIO", [](File& file) { return file.write(StringIO() << "abc"); }},
      {"a std::string", [](File& file) { return file.write(std::string("abc")); }},
      {"a std::string_view", [](File& file) { return file.write(std::string_view("abc")); }},
      {"print", [](File& file) { return file.print("x=%d", 5); }}},
        {kReading, kReading,        3,       11,        3,        3,        3,        3, kNotOpenW}},
    {{{"printLn", [](File& file) { return file.printLn("x=%d", 5); }}},
        {kReading, kReading,        4,       12,        4,        4,        4,        4, kNotOpenW}},
    {{{"the empty text", [](File& file) { return file.write(""); }},
      {"a null text", [](File& file) { return file.write(kNull); }},
      {"the empty String", [](File& file) { return file.write(String()); }},
      {"the empty StringIO", [](File& file) { return file.write(StringIO()); }},
      {"the empty std::string", [](File& file) { return file.write(std::string()); }},
      {"a null view", [](File& file) { return file.write(std::string_view()); }},
      {"print of nothing", [](File& file) { return file.print("%s", ""); }}},
        {kReading, kReading,        0,        8,        0,        0,        0,        0, kNotOpenW}},

    //     Read                Write               ReadWrite           7
    //     Text      Binary    Text      Binary    Text      Binary    Text      Binary    closed
    {{reads<char>("read char"), reads<bool>("read bool"), reads<signed char>("read signed char"),
      reads<unsigned char>("read unsigned char")},
        {       1,        1, kWriting, kWriting,  kPastEnd,  kPastEnd,        1,        1, kNotOpenR}},
    {{reads<short>("read short"), reads<unsigned short>("read unsigned short")},
        {       2,        2, kWriting, kWriting,  kPastEnd,  kPastEnd,        2,        2, kNotOpenR}},
    {{reads<int>("read int"), reads<unsigned int>("read unsigned int"), reads<float>("read float")},
        {       4,        4, kWriting, kWriting,  kPastEnd,  kPastEnd,        4,        4, kNotOpenR}},
    {{reads<long>("read long"), reads<unsigned long>("read unsigned long"), reads<double>("read double"),
      reads<long long>("read long long"), reads<unsigned long long>("read unsigned long long")},
        {       8,        8, kWriting, kWriting,  kPastEnd,  kPastEnd,        8,        8, kNotOpenR}},
    {{reads<String>("read String"), reads<StringIO>("read StringIO"), reads<std::string>("read std::string")},
        {       0,       11, kWriting, kWriting,  kPastEnd,  kPastEnd,       11,       11, kNotOpenR}},
    {{{"read()", [](File& file) { return file.read() == "\x03"; }}},  // up to the first zero byte
        {       0,  kNoText, kWriting, kWriting,   kEmpty,   kEmpty,        0,        0, kNotOpenR}},

    {{{"peek", [](File& file) { return file.peek() == 3; }}},
        {       0,        0,  kNoPeek,  kNoPeek,  kNoPeek,  kNoPeek,  kNoPeek,  kNoPeek, kNotOpenS}},
    {{{"seek", [](File& file) { return file.seek(5) == 5; }}, {"skip", [](File& file) { return file.skip(5) == 5; }}},
        {       5,        5,        5,        5,        5,        5,        5,        5, kNotOpenS}},
    {{{"flush", [](File& file) { return file.flush(); }}, {"close", [](File& file) { return file.close(); }}},
        {       0,        0,        0,        0,        0,        0,        0,        0, 0}},
};
// clang-format on

TEST(Modes, EveryOperationInEveryModeAndFormat) {
    const TestFolder files;
    for (int column = 0; column <= kClosed; ++column) {
        const auto& way = kColumns[column];
        const std::string path = files.make(way.name, kContent);
        for (const Row& row : kRows) {
            const Outcome& expected = row.outcomes[column];
            for (const Operation& operation : row.operations) {
                SCOPED_TRACE(std::string(operation.name) + "; " + way.name);
                File file;
                if (column != kClosed) file = opened(path, way.mode, way.format);
                EXPECT_EQ(operation.run(file), expected.result);
                EXPECT_EQ(file.pos(), expected.moved);
                EXPECT_EQ(file.error(), expected.error);
            }
        }
    }
}

// ---- What reaches the file ------------------------------------------------------------------------------------------

TEST(Modes, OnlyModeWriteKeepsAFewBytes) {
    const TestFolder files;
    const auto left = [&](Mode mode, Format format) {
        File file = opened(files.make("a", "before"), mode, format);
        file << 'a' << 7 << "bc" << true;
        EXPECT_TRUE(file.close());
        return files.content("a");
    };
    EXPECT_EQ(left(Mode::Read, Format::Text), Bytes{"before"});
    EXPECT_EQ(left(Mode::Read, Format::Binary), Bytes{"before"});
    EXPECT_EQ(left(Mode::Write, Format::Text), Bytes{"a7bctrue"});
    EXPECT_EQ(left(Mode::Write, Format::Binary), "61  07 00 00 00  02 00 00 00 00 00 00 00  62 63  01"_bytes);
    EXPECT_EQ(left(Mode::ReadWrite, Format::Text), Bytes{""});
    EXPECT_EQ(left(Mode::ReadWrite, Format::Binary), Bytes{""});
    EXPECT_EQ(left(kSeven, Format::Text), Bytes{"before"});
    EXPECT_EQ(left(kSeven, Format::Binary), Bytes{"before"});
}

// A format is Text or Binary where it is asked for, and neither where it is none of the two.
TEST(Modes, AFormatThatIsNeitherStoresNumbersAsBytesAndTextsBare) {
    constexpr Format kFive = static_cast<Format>(5);
    EXPECT_EQ(written(kFive,
                      [](File& file) {
                          file << 258 << "abc"
                               << "" << true;
                      }),
              "02 01 00 00 61 62 63 01"_bytes);
    const TestFolder files;
    File file = opened(files.make("a", record("abc")), Mode::Read, kFive);
    EXPECT_EQ(file.format(), kFive);
    EXPECT_EQ(file.read(), "\x03");
    String text;
    EXPECT_TRUE(file.read(text));
    EXPECT_EQ(text, "abc");
}

// ---- The third mode -------------------------------------------------------------------------------------------------

using ThirdMode = WithFiles;

// In this mode a file holds, once it is closed, what has left the staging buffer and nothing else.
TEST_F(ThirdMode, OnlyWhatDoesNotFitReachesTheFile) {
    const struct {
        const char* what;
        std::vector<std::uint64_t> writes;
        std::uint64_t reached;
    } kWritten[] = {
        {"one byte", {1}, 0},
        {"a buffer that is filled exactly", {kMiB}, 0},
        {"a buffer that is filled exactly, in two pieces", {kMiB - 1, 1}, 0},
        {"one byte more than that", {kMiB, 1}, kMiB},
        {"two bytes where there is room for one", {kMiB - 1, 2}, kMiB - 1},
        {"a buffer behind a few bytes", {10, kMiB}, 10},
        {"two buffers and a byte", {kMiB, kMiB, 1}, 2 * kMiB},
        {"more than a buffer at once", {kMiB + 1}, kMiB + 1},
        {"more than a buffer behind a few bytes", {10, kMiB + 1}, 10 + kMiB + 1},
        {"a few bytes behind more than a buffer", {kMiB + 1, 10}, kMiB + 1},
    };
    for (const Format format : {Format::Text, Format::Binary}) {
        for (const auto& row : kWritten) {
            SCOPED_TRACE(row.what);
            File file = opened(files.path("a"), Mode::ReadWrite, format);
            std::string all;
            for (const std::uint64_t size : row.writes) {
                const std::string piece = pattern(size);
                EXPECT_TRUE(file.write(piece));
                all += piece;
            }
            EXPECT_EQ(file.pos(), all.size());
            EXPECT_TRUE(file.ok());
            EXPECT_TRUE(file.close());
            EXPECT_EQ(files.content("a"), Bytes{all.substr(0, row.reached)});
        }
    }
}

TEST_F(ThirdMode, TextAndNumbersAreStoredBare) {
    File file = opened(files.path("a"), Mode::ReadWrite, Format::Text);
    file << 7 << "abc" << true << 'x' << 1.0;
    file << std::string(kMiB, '-');
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), "07 00 00 00  61 62 63  01  78  00 00 00 00 00 00 f0 3f"_bytes);
}

TEST_F(ThirdMode, FlushDropsWhatIsStaged) {
    File file = opened(files.path("a"), Mode::ReadWrite, Format::Binary);
    file << "dropped";
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(file.pos(), 7u);
    EXPECT_TRUE(file.ok());
    file << pattern(kMiB);
    file << 'x';
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{pattern(kMiB)});
}

TEST_F(ThirdMode, SeekDropsWhatIsStaged) {
    File file = opened(files.path("a"), Mode::ReadWrite, Format::Binary);
    file << "dropped";
    EXPECT_EQ(file.seek(3), 3u);
    EXPECT_EQ(file.pos(), 3u);
    file << pattern(kMiB);
    file << 'x';
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{std::string(3, '\0') + pattern(kMiB)});
}

TEST_F(ThirdMode, SkipDropsWhatIsStagedAndCountsFromTheStream) {
    File file = opened(files.path("a"), Mode::ReadWrite, Format::Binary);
    file << "dropped";
    EXPECT_EQ(file.skip(2), 2u);
    EXPECT_EQ(file.pos(), 2u);
}

TEST_F(ThirdMode, WhatIsStagedCannotBeRead) {
    File file = opened(files.path("a"), Mode::ReadWrite, Format::Binary);
    file << 258 << 259;
    int value = 5;
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(value, 5);
    EXPECT_EQ(file.pos(), 8u);
}

TEST_F(ThirdMode, ReadingBehindADirectWriteReportsAWrappedFigure) {
    File file = opened(files.path("a"), Mode::ReadWrite, Format::Binary);
    file << pattern(kMiB + 1);
    char c = 'c';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Fread failed. Requested 18446744073708503039, read 0.");
    EXPECT_EQ(c, 'c');
    EXPECT_EQ(file.pos(), kMiB + 1);
}

TEST_F(ThirdMode, TheWholeTextIsEmptyAndThePositionStays) {
    File file = opened(files.path("a"), Mode::ReadWrite, Format::Binary);
    file << "dropped";
    EXPECT_EQ(file.read(), "");
    EXPECT_TRUE(file.ok());
    EXPECT_EQ(file.pos(), 7u);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{""});
}

// ---- A mode that is none of the three -------------------------------------------------------------------------------

using FourthMode = WithFiles;

TEST_F(FourthMode, ASpillIsRefusedByTheStreamAndKeepsWhatIsStaged) {
    File file = opened(files.make("a", "before"), kSeven, Format::Binary);
    EXPECT_TRUE(file.write(pattern(kMiB)));
    EXPECT_FALSE(file.write('x'));
    EXPECT_EQ(file.error(), "Fwrite failed. Requested 1048576, read 0.");
    EXPECT_EQ(file.pos(), kMiB);
    EXPECT_FALSE(file.write(1));
    EXPECT_EQ(file.pos(), kMiB);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"before"});
}

TEST_F(FourthMode, ADirectWriteIsRefusedByTheStream) {
    File file = opened(files.make("a", "before"), kSeven, Format::Binary);
    EXPECT_FALSE(file.write(pattern(kMiB + 1)));
    EXPECT_EQ(file.error(), "Fwrite failed. Requested 0, read 0.");
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"before"});
}

TEST_F(FourthMode, FlushDropsWhatIsStaged) {
    File file = opened(files.make("a", "before"), kSeven, Format::Binary);
    file << "xy";
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(file.pos(), 2u);
    char c;
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'b');
}

TEST_F(FourthMode, SeekDropsWhatIsStaged) {
    File file = opened(files.make("a", "before"), kSeven, Format::Binary);
    file << "xyz";
    EXPECT_EQ(file.seek(1), 1u);
    char c;
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'e');
}

TEST_F(FourthMode, AWriteBetweenReadsTakesThePlaceOfWhatIsLoaded) {
    File file = opened(files.make("a", "123456"), kSeven, Format::Binary);
    char c;
    file >> c << "xy" >> c;
    EXPECT_EQ(c, '4');
    EXPECT_EQ(file.pos(), 4u);
    EXPECT_TRUE(file.ok());
}

// Staged bytes pass for a chunk that is not there. Behind them lie the zeros of the buffer, up to its end; then the
// file is loaded, from where the stream stands.
TEST_F(FourthMode, AReadBehindStagedBytesStaysWithinTheBuffer) {
    File file = opened(files.make("a", pattern(2 * kMiB)), kSeven, Format::Binary);
    file << 'x';
    unsigned long value = 1;
    for (std::uint64_t i = 0; i < (kMiB - 8) / 8; ++i) {
        ASSERT_TRUE(file.read(value));
        ASSERT_EQ(value, 0u);
    }
    EXPECT_EQ(file.pos(), kMiB - 7);
    EXPECT_TRUE(file.read(value));
    EXPECT_EQ(value, 0x0100000000000000u);
    EXPECT_EQ(file.pos(), kMiB + 1);
    EXPECT_TRUE(file.read(value));
    EXPECT_EQ(value, 0x0908070605040302u);
}

// What a chunk leaves behind is zeros, whether it was dropped or used up.
TEST_F(FourthMode, AReadBehindStagedBytesFindsNothingOfAFormerChunk) {
    File file = opened(files.make("a", pattern(2 * kMiB)), kSeven, Format::Binary);
    char c;
    file >> c;
    EXPECT_TRUE(file.flush());
    file << 'x' >> c;
    EXPECT_EQ(c, '\0');

    file.seek(0);
    std::filesystem::resize_file(files.path("a"), kMiB);
    for (std::uint64_t i = 0; i < kMiB; ++i) ASSERT_TRUE(file.read(c));
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Fread failed. Requested 1048576, read 0.");
    file << 'x' >> c;
    EXPECT_EQ(c, '\0');
    EXPECT_EQ(file.pos(), kMiB + 2);
}

TEST_F(FourthMode, TheWholeTextIsReadWhateverTheFormat) {
    for (const Format format : {Format::Text, Format::Binary}) {
        File file = opened(files.make("a", "abc"), kSeven, format);
        EXPECT_EQ(file.read(), "abc");
        EXPECT_TRUE(file.ok());
    }
}

TEST_F(FourthMode, ATextIsARecordWhateverTheFormat) {
    for (const Format format : {Format::Text, Format::Binary}) {
        File file = opened(files.make("a", record("abc") + record("")), kSeven, format);
        String text;
        EXPECT_TRUE(file.read(text));
        EXPECT_EQ(text, "abc");
        EXPECT_TRUE(file.read(text));
        EXPECT_EQ(text, "");
        EXPECT_TRUE(file.eof());
    }
}

}  // namespace
}  // namespace qor::test
