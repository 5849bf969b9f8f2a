// Handles, opening, closing, flushing, and what a file says of itself.
#include <algorithm>
#include <filesystem>
#include <utility>

#include "file/contents.h"

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;

// ---- Handles --------------------------------------------------------------------------------------------------------

using Handle = WithFiles;

// Other parts of the library reach the open file through the pointer that a handle is.
static_assert(std::is_base_of_v<RefersTo<RefCounted>, File> && sizeof(File) == sizeof(RefersTo<RefCounted>));
static_assert(std::has_virtual_destructor_v<File>);
static_assert(std::is_base_of_v<RefCounted, impl::File>);
static_assert(sizeof(impl::File) > kMiB && sizeof(impl::File) < kMiB + 1024);

static_assert(sizeof(Mode) == 4 && sizeof(Format) == 4);
static_assert(static_cast<int>(Mode::Read) == 0 && static_cast<int>(Mode::Write) == 1 &&
              static_cast<int>(Mode::ReadWrite) == 2);
static_assert(static_cast<int>(Format::Text) == 0 && static_cast<int>(Format::Binary) == 1);

TEST_F(Handle, BeginsClosedEmptyAndWell) {
    const File file;
    EXPECT_EQ(file.len(), 0u);
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_TRUE(file.eof());
    EXPECT_EQ(file.format(), Format::Text);
    EXPECT_EQ(file.error(), "");
    EXPECT_TRUE(file.ok());
}

TEST_F(Handle, CopiesShareTheOpenFile) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    File copy = file;
    file << 'a';
    copy << 'b';
    EXPECT_EQ(file.pos(), 2u);
    EXPECT_EQ(copy.pos(), 2u);
    EXPECT_TRUE(copy.close());
    EXPECT_FALSE(file.write('c'));
    EXPECT_EQ(copy.error(), "File not successfully opened, cannot write.");
    EXPECT_EQ(files.content("a"), Bytes{"ab"});
}

TEST_F(Handle, OneThatIsMovedFromStillShares) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    File moved = std::move(file);
    moved << 'a';
    EXPECT_EQ(file.pos(), 1u);
    File assigned;
    assigned = std::move(moved);
    moved << 'b';
    EXPECT_TRUE(assigned.close());
    EXPECT_EQ(files.content("a"), Bytes{"ab"});
}

TEST_F(Handle, AssigningToTheLastOneClosesItsFile) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    file << 'a';
    const File other;
    file = other;
    EXPECT_EQ(files.content("a"), Bytes{"a"});
    EXPECT_EQ(file.pos(), 0u);
}

TEST_F(Handle, AssigningOneToItselfChangesNothing) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    file << 'a';
    const File& same = file;
    file = same;
    EXPECT_TRUE(file.write('b'));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"ab"});
}

TEST_F(Handle, TheLastOneToGoWritesWhatIsStaged) {
    {
        File file = opened(files.path("a"), Mode::Write, Format::Binary);
        file << 258;
    }
    EXPECT_EQ(files.content("a"), "02 01 00 00"_bytes);
}

TEST_F(Handle, OneThatIsNotTheLastToGoLeavesTheFileOpen) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    {
        File copy = file;
        copy << 'a';
    }
    EXPECT_EQ(files.content("a"), Bytes{""});
    EXPECT_TRUE(file.write('b'));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"ab"});
}

// ---- Opening --------------------------------------------------------------------------------------------------------

using Open = WithFiles;

TEST_F(Open, AMissingFileIsRefusedWithoutAText) {
    File file;
    EXPECT_FALSE(file.open(files.path("missing").c_str(), Mode::Read, Format::Binary));
    EXPECT_TRUE(file.ok());
    EXPECT_EQ(file.error(), "");
    EXPECT_EQ(file.len(), 0u);
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_FALSE(file.write(1));
    EXPECT_EQ(file.error(), "File not successfully opened, cannot write.");
}

TEST_F(Open, AFailureKeepsTheFormatAndTheModeUntilClose) {
    File file;
    EXPECT_FALSE(file.open(files.path("missing/a").c_str(), Mode::Write, Format::Binary));
    EXPECT_EQ(file.format(), Format::Binary);
    EXPECT_EQ(file.peek(), 0);
    EXPECT_EQ(file.error(), "File::peek() only supported in read mode.");

    EXPECT_TRUE(file.close());
    EXPECT_EQ(file.format(), Format::Text);
    EXPECT_EQ(file.peek(), 0);
    EXPECT_EQ(file.error(), "Cannot seek, file is not opened.");
}

TEST_F(Open, ReadingMeasuresTheFileAndBeginsAtItsStart) {
    File file = opened(files.make("a", "12345"), Mode::Read, Format::Binary);
    EXPECT_EQ(file.len(), 5u);
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_FALSE(file.eof());
    EXPECT_EQ(file.format(), Format::Binary);
    char first;
    EXPECT_TRUE(file.read(first));
    EXPECT_EQ(first, '1');
}

TEST_F(Open, AnEmptyFileIsAtItsEndAtOnce) {
    const File file = opened(files.make("a", ""), Mode::Read, Format::Binary);
    EXPECT_TRUE(file.eof());
    EXPECT_TRUE(file.ok());
}

TEST_F(Open, WritingMakesAFile) {
    File file = opened(files.path("new"), Mode::Write, Format::Text);
    EXPECT_TRUE(stdfs::exists(files.path("new")));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("new"), Bytes{""});
}

TEST_F(Open, WritingEmptiesAFile) {
    File file = opened(files.make("a", "12345"), Mode::Write, Format::Text);
    EXPECT_EQ(files.content("a"), Bytes{""});
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{""});
}

TEST_F(Open, WritingLeavesTheLengthAtZero) {
    File file = opened(files.make("a", "12345"), Mode::Write, Format::Text);
    EXPECT_EQ(file.len(), 0u);
    file.write(pattern(2 * kMiB));
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(file.pos(), 2 * kMiB);
    EXPECT_EQ(file.len(), 0u);
    EXPECT_TRUE(file.eof());
}

TEST_F(Open, ReadWriteEmptiesAFileAndMeasuresNothing) {
    File file = opened(files.make("a", "12345"), Mode::ReadWrite, Format::Text);
    EXPECT_EQ(files.content("a"), Bytes{""});
    EXPECT_EQ(file.len(), 0u);
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_TRUE(file.ok());
}

TEST_F(Open, AModeOutsideTheThreeReadsAnExistingFile) {
    File file = opened(files.make("a", "12345"), kSeven, Format::Binary);
    EXPECT_EQ(file.len(), 5u);
    EXPECT_EQ(file.pos(), 0u);
    char first;
    EXPECT_TRUE(file.read(first));
    EXPECT_EQ(first, '1');
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"12345"});
}

TEST_F(Open, AModeOutsideTheThreeMakesNoFile) {
    File file;
    EXPECT_FALSE(file.open(files.path("missing").c_str(), kSeven, Format::Binary));
    EXPECT_TRUE(file.ok());
    EXPECT_FALSE(stdfs::exists(files.path("missing")));
}

TEST_F(Open, AnOpenHandleWritesAndClosesItsFormerFile) {
    File file = opened(files.path("first"), Mode::Write, Format::Text);
    file << "first";
    ASSERT_TRUE(file.open(files.path("second").c_str(), Mode::Write, Format::Binary));
    EXPECT_EQ(files.content("first"), Bytes{"first"});
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_EQ(file.format(), Format::Binary);
    file << 'x';
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("first"), Bytes{"first"});
    EXPECT_EQ(files.content("second"), Bytes{"x"});
}

TEST_F(Open, AnOpenHandleCanReadBackItsOwnFile) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    file << "abc" << 7;
    ASSERT_TRUE(file.open(files.path("a").c_str(), Mode::Read, Format::Binary));
    String text;
    int number;
    file >> text >> number;
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(number, 7);
}

TEST_F(Open, NothingOfAFormerFileIsLeft) {
    File file = opened(files.make("long", "1234567890"), Mode::Read, Format::Binary);
    char digit;
    file >> digit >> digit;
    ASSERT_TRUE(file.open(files.make("short", "a").c_str(), Mode::Read, Format::Binary));
    EXPECT_EQ(file.len(), 1u);
    EXPECT_EQ(file.pos(), 0u);
    file >> digit;
    EXPECT_EQ(digit, 'a');
    EXPECT_FALSE(file.read(digit));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
}

TEST_F(Open, AFailureOnAnOpenHandleHasClosedTheFormerFile) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    file << "abc";
    EXPECT_FALSE(file.open(files.path("missing").c_str(), Mode::Read, Format::Binary));
    EXPECT_EQ(files.content("a"), Bytes{"abc"});
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_TRUE(file.ok());
    EXPECT_FALSE(file.write('d'));
    EXPECT_EQ(file.error(), "File not successfully opened, cannot write.");
}

TEST_F(Open, AClosedHandleForgetsItsError) {
    File file;
    file << 1;
    EXPECT_EQ(file.error(), "File not successfully opened, cannot write.");
    EXPECT_FALSE(file.open(files.path("missing").c_str(), Mode::Read, Format::Text));
    EXPECT_EQ(file.error(), "");
    file << 1;
    EXPECT_TRUE(file.open(files.path("a").c_str(), Mode::Write, Format::Text));
    EXPECT_EQ(file.error(), "");
}

// ---- Paths ----------------------------------------------------------------------------------------------------------

using Paths = WithFiles;

TEST_F(Paths, NamesAreBytesOfAnyKind) {
    for (const char* name :
         {" ", "a b\n", "%s%n", "-rf", "*?[", "\xc3\xa4\xe2\x82\xac", "\xff\xfe\x80", ".hidden", "a\\b"}) {
        const std::string path = files.path(name);
        SCOPED_TRACE(path);
        File file = opened(path, Mode::Write, Format::Text);
        file << "kept";
        EXPECT_TRUE(file.close());
        EXPECT_EQ(files.content(name), Bytes{"kept"});
        ASSERT_TRUE(file.open(path.c_str(), Mode::Read, Format::Text));
        EXPECT_EQ(file.read(), "kept");
    }
}

TEST_F(Paths, DotsAndRepeatedSlashesAreFollowed) {
    files.make("a", "here");
    stdfs::create_directory(files.path("sub"));
    File file = opened(files.path("sub/.././/sub//../a"), Mode::Read, Format::Text);
    EXPECT_EQ(file.read(), "here");
}

TEST_F(Paths, ARelativePathCountsFromTheWorkingFolder) {
    const stdfs::path before = stdfs::current_path();
    stdfs::current_path(files.path(""));
    {
        File file = opened("relative", Mode::Write, Format::Text);
        file << "made";
        EXPECT_TRUE(file.close());
        file = opened("./relative", Mode::Read, Format::Text);
        EXPECT_EQ(file.read(), "made");
    }
    stdfs::current_path(before);
    EXPECT_EQ(files.content("relative"), Bytes{"made"});
}

TEST_F(Paths, ALinkIsFollowedWhenReading) {
    files.make("target", "here");
    stdfs::create_symlink("target", files.path("link"));
    stdfs::create_symlink("link", files.path("link to a link"));
    File file = opened(files.path("link to a link"), Mode::Read, Format::Text);
    EXPECT_EQ(file.read(), "here");
}

TEST_F(Paths, WritingThroughALinkChangesTheTargetAndKeepsTheLink) {
    files.make("target", "before");
    stdfs::create_symlink("target", files.path("link"));
    File file = opened(files.path("link"), Mode::Write, Format::Text);
    file << "after";
    EXPECT_TRUE(file.close());
    EXPECT_TRUE(stdfs::is_symlink(files.path("link")));
    EXPECT_EQ(files.content("target"), Bytes{"after"});
}

TEST_F(Paths, WritingThroughALinkToNothingMakesTheTarget) {
    stdfs::create_symlink("target", files.path("link"));
    File file = opened(files.path("link"), Mode::Write, Format::Text);
    file << "made";
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("target"), Bytes{"made"});
}

TEST_F(Paths, WhatCannotBeOpenedIsRefusedWithoutAText) {
    files.make("file", "x");
    stdfs::create_directory(files.path("folder"));
    stdfs::create_symlink("loop", files.path("loop"));
    stdfs::create_symlink("nowhere", files.path("link to nothing"));
    const struct {
        const char* why;
        std::string path;
        Mode mode;
    } kRefused[] = {
        {"the empty path", "", Mode::Read},
        {"the empty path, written", "", Mode::Write},
        {"a folder that is not there", files.path("missing/a"), Mode::Write},
        {"a file taken for a folder", files.path("file/a"), Mode::Read},
        {"a folder, written", files.path("folder"), Mode::Write},
        {"a folder, both", files.path("folder"), Mode::ReadWrite},
        {"a link to itself", files.path("loop"), Mode::Read},
        {"a link to itself, written", files.path("loop"), Mode::Write},
        {"a link to nothing", files.path("link to nothing"), Mode::Read},
        {"a name longer than names can be", files.path(std::string(300, 'n')), Mode::Write},
        {"a path longer than paths can be", files.path(std::string(100000, 'p')), Mode::Read},
    };
    for (const auto& refused : kRefused) {
        SCOPED_TRACE(refused.why);
        File file;
        EXPECT_FALSE(file.open(refused.path.c_str(), refused.mode, Format::Binary));
        EXPECT_TRUE(file.ok()) << file.error();
        EXPECT_FALSE(file.write('x'));
        EXPECT_EQ(file.error(), "File not successfully opened, cannot write.");
    }
    EXPECT_EQ(files.content("file"), Bytes{"x"});
}

TEST_F(Paths, ThePathIsTakenByValue) {
    String path = files.path("a").c_str();
    File file;
    ASSERT_TRUE(file.open(path, Mode::Write, Format::Text));
    EXPECT_EQ(path, files.path("a").c_str());
}

// ---- Flushing -------------------------------------------------------------------------------------------------------

using Flush = WithFiles;

TEST_F(Flush, PutsWhatIsStagedIntoTheFile) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    file << "abc";
    EXPECT_EQ(files.content("a"), Bytes{""});
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(files.content("a"), Bytes{"abc"});
    EXPECT_EQ(file.pos(), 3u);
    file << "def";
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(files.content("a"), Bytes{"abcdef"});
    EXPECT_EQ(file.pos(), 6u);
}

TEST_F(Flush, OfNothingSucceeds) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    EXPECT_TRUE(file.flush());
    EXPECT_TRUE(file.flush());
    EXPECT_TRUE(file.ok());
    EXPECT_EQ(file.pos(), 0u);
}

TEST_F(Flush, OfAClosedHandleSucceedsAndClearsTheError) {
    File file;
    file << 1;
    EXPECT_TRUE(file.flush());
    EXPECT_TRUE(file.ok());
}

TEST_F(Flush, WhileReadingGoesOnAtTheEndOfTheChunk) {
    File file = opened(files.make("a", std::string(kMiB, 'x') + "next"), Mode::Read, Format::Binary);
    char c;
    file >> c;
    EXPECT_EQ(c, 'x');
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(file.pos(), 1u);
    file >> c;
    EXPECT_EQ(c, 'n');
    EXPECT_EQ(file.pos(), 2u);
}

TEST_F(Flush, WhileReadingTheLastChunkLeavesNothingToRead) {
    File file = opened(files.make("a", "123456"), Mode::Read, Format::Binary);
    char c;
    file >> c;
    EXPECT_TRUE(file.flush());
    EXPECT_FALSE(file.eof());
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(file.pos(), 1u);
}

TEST_F(Flush, BeforeTheFirstReadChangesNothing) {
    File file = opened(files.make("a", "123456"), Mode::Read, Format::Binary);
    EXPECT_TRUE(file.flush());
    char c;
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, '1');
}

// ---- Closing --------------------------------------------------------------------------------------------------------

using Close = WithFiles;

TEST_F(Close, ResetsEverythingButTheError) {
    File file = opened(files.make("a", "12345"), Mode::Read, Format::Binary);
    char c;
    file >> c;
    EXPECT_TRUE(file.close());
    EXPECT_EQ(file.len(), 0u);
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_TRUE(file.eof());
    EXPECT_EQ(file.format(), Format::Text);
    EXPECT_TRUE(file.ok());
}

TEST_F(Close, OfAClosedHandleSucceedsAndClearsTheError) {
    File file;
    file << 1;
    EXPECT_FALSE(file.ok());
    EXPECT_TRUE(file.close());
    EXPECT_EQ(file.error(), "");
    EXPECT_TRUE(file.close());
}

TEST_F(Close, ClearsTheErrorOfAnOpenFile) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    char c;
    file >> c;
    EXPECT_EQ(file.error(), "Cannot write while in write mode.");
    EXPECT_TRUE(file.close());
    EXPECT_TRUE(file.ok());
}

TEST_F(Close, AHandleCanBeOpenedAgain) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    file << 'a';
    EXPECT_TRUE(file.close());
    ASSERT_TRUE(file.open(files.path("b").c_str(), Mode::Write, Format::Binary));
    file << 'b';
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"a"});
    EXPECT_EQ(files.content("b"), Bytes{"b"});
}

// Whether the bytes of the open file behind the handle hold `text`.
bool holds(const File& file, const std::string& text) {
    const char* const bytes = reinterpret_cast<const char*>(file.get());
    const char* const end = bytes + sizeof(impl::File);
    return std::search(bytes, end, text.begin(), text.end()) != end;
}

TEST_F(Close, LeavesNothingOfTheFileInMemory) {
    const std::string text = "a secret of this test alone";
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    file << text;
    EXPECT_TRUE(holds(file, text));
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(holds(file, text));

    ASSERT_TRUE(file.open(files.path("a").c_str(), Mode::Read, Format::Binary));
    char c;
    file >> c;
    EXPECT_TRUE(holds(file, text));
    EXPECT_TRUE(file.flush());
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(holds(file, text));
}

// ---- Errors ---------------------------------------------------------------------------------------------------------

using Errors = WithFiles;

struct Step {
    const char* what;
    void (*run)(File& file);
};

const Step kQuestions[] = {
    {"len", [](File& file) { file.len(); }},          {"pos", [](File& file) { file.pos(); }},
    {"eof", [](File& file) { file.eof(); }},          {"format", [](File& file) { file.format(); }},
    {"error", [](File& file) { file.error(); }},      {"ok", [](File& file) { file.ok(); }},
    {"a copy", [](File& file) { File copy = file; }},
};

template <typename T>
void readOne(File& file) {
    T value;
    EXPECT_TRUE(file.read(value));
}

TEST_F(Errors, ReadsThatSucceedKeepTheText) {
    const Step kReads[] = {
        {"read(char)", readOne<char>},
        {"read(int)", readOne<int>},
        {"read(String)", readOne<String>},
        {"read(StringIO)", readOne<StringIO>},
        {"read(std::string)", readOne<std::string>},
    };
    const std::string content = std::string("x1234") + record("a") + record("b") + record("c");
    File file = opened(files.make("a", content), Mode::Read, Format::Binary);
    file << 1;
    const auto expectKept = [&](const Step& step) {
        step.run(file);
        EXPECT_EQ(file.error(), "Cannot write while in read mode.") << step.what;
        EXPECT_FALSE(file.ok()) << step.what;
    };
    for (const Step& step : kReads) expectKept(step);
    for (const Step& step : kQuestions) expectKept(step);
    EXPECT_TRUE(file.eof());
}

TEST_F(Errors, WritesThatSucceedKeepTheText) {
    const Step kWrites[] = {
        {"write(char)", [](File& file) { EXPECT_TRUE(file.write('x')); }},
        {"write(int)", [](File& file) { EXPECT_TRUE(file.write(1)); }},
        {"write(text)", [](File& file) { EXPECT_TRUE(file.write("text")); }},
        {"write(String)", [](File& file) { EXPECT_TRUE(file.write(String("text"))); }},
        {"write(empty text)", [](File& file) { EXPECT_TRUE(file.write("")); }},
        {"print", [](File& file) { EXPECT_TRUE(file.print("%d", 1)); }},
        {"printLn", [](File& file) { EXPECT_TRUE(file.printLn("%d", 1)); }},
        {"a spill", [](File& file) { EXPECT_TRUE(file.write(pattern(kMiB))); }},
        {"a direct write", [](File& file) { EXPECT_TRUE(file.write(pattern(kMiB + 1))); }},
    };
    for (const Format format : {Format::Text, Format::Binary}) {
        File file = opened(files.path("a"), Mode::Write, format);
        char c;
        file >> c;
        const auto expectKept = [&](const Step& step) {
            step.run(file);
            EXPECT_EQ(file.error(), "Cannot write while in write mode.") << step.what;
            EXPECT_FALSE(file.ok()) << step.what;
        };
        for (const Step& step : kWrites) expectKept(step);
        for (const Step& step : kQuestions) expectKept(step);
    }
}

TEST_F(Errors, TheseClearTheText) {
    const Step kClearing[] = {
        {"flush", [](File& file) { file.flush(); }},
        {"seek", [](File& file) { file.seek(0); }},
        {"skip", [](File& file) { file.skip(0); }},
        {"peek", [](File& file) { file.peek(); }},
        {"read()", [](File& file) { file.read(); }},
        {"read(String)",
         [](File& file) {
             String text;
             file.read(text);
         }},
        {"read(StringIO)",
         [](File& file) {
             StringIO text;
             file.read(text);
         }},
        {"read(std::string)",
         [](File& file) {
             std::string text;
             file.read(text);
         }},
        {"close", [](File& file) { EXPECT_TRUE(file.close()); }},
        {"open", [](File& file) { EXPECT_FALSE(file.open("", Mode::Read, Format::Text)); }},
    };
    const std::string path = files.make("a", "12345");
    for (const Step& step : kClearing) {
        File file = opened(path, Mode::Read, Format::Text);
        file << 1;
        EXPECT_EQ(file.error(), "Cannot write while in read mode.") << step.what;
        step.run(file);
        EXPECT_EQ(file.error(), "") << step.what;
        EXPECT_TRUE(file.ok()) << step.what;
    }
}

TEST_F(Errors, ALaterFailureReplacesTheText) {
    File file = opened(files.make("a", ""), Mode::Read, Format::Binary);
    file << 1;
    const String first = file.error();
    char c;
    file >> c;
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(first, "Cannot write while in read mode.");
}

// ---- Devices --------------------------------------------------------------------------------------------------------

using Device = WithFiles;

TEST_F(Device, NullTakesEverythingAndHoldsNothing) {
    File file = opened("/dev/null", Mode::Write, Format::Binary);
    EXPECT_TRUE(file.write(pattern(3 * kMiB)));
    EXPECT_TRUE(file.close());

    ASSERT_TRUE(file.open("/dev/null", Mode::Read, Format::Text));
    EXPECT_EQ(file.len(), 0u);
    EXPECT_TRUE(file.eof());
    EXPECT_EQ(file.read(), "");
    EXPECT_TRUE(file.ok());
}

// A device that has no room for a single byte, which the system says when it is given the first.
class FullDevice : public WithFiles {
 protected:
    FullDevice() { file << 'x'; }

    File file = opened("/dev/full", Mode::Write, Format::Binary);
};

TEST_F(FullDevice, IsReportedByClose) {
    EXPECT_TRUE(file.ok());
    EXPECT_FALSE(file.close());
    EXPECT_EQ(file.error(), "Fclose failed.");
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_TRUE(file.close());
    EXPECT_TRUE(file.ok());
}

TEST_F(FullDevice, IsReportedByFlush) {
    EXPECT_FALSE(file.flush());
    EXPECT_EQ(file.error(), "fflush failed.");
}

TEST_F(FullDevice, IsReportedByANextOpenForWriting) {
    EXPECT_TRUE(file.open(files.path("a").c_str(), Mode::Write, Format::Text));
    EXPECT_EQ(file.error(), "Fclose failed.");
    EXPECT_TRUE(file.write("abc"));
    EXPECT_TRUE(file.close());
    EXPECT_TRUE(file.ok());
    EXPECT_EQ(files.content("a"), Bytes{"abc"});
}

TEST_F(FullDevice, IsReportedByANextOpenThatFails) {
    EXPECT_FALSE(file.open(files.path("missing").c_str(), Mode::Read, Format::Text));
    EXPECT_EQ(file.error(), "Fclose failed.");
}

TEST_F(FullDevice, IsForgottenByANextOpenThatMeasures) {
    files.make("a", "abc");
    for (const Mode mode : {Mode::Read, Mode::ReadWrite, kSeven}) {
        ASSERT_TRUE(file.open("/dev/full", Mode::Write, Format::Binary));
        file << 'x';
        EXPECT_TRUE(file.open(files.path("a").c_str(), mode, Format::Text));
        EXPECT_EQ(file.error(), "") << static_cast<int>(mode);
    }
}

TEST_F(FullDevice, IsNotReportedByTheLastHandleToGo) {
    file = File();
    EXPECT_TRUE(file.ok());
}

}  // namespace
}  // namespace qor::test
