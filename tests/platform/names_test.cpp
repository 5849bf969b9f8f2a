// Names and links: which of them the system takes, and what becomes of the others.
#include <gtest/gtest.h>

#include <linux/limits.h>

#include "platform/platform.h"
#include "qor/core/path.h"

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;

// Writes a file of this name, and reads it back.
void expectKept(const std::string& path) {
    SCOPED_TRACE(path.substr(0, 100));
    File file;
    ASSERT_EQ(afterOpen(file, path, Mode::Write, Format::Text), (Outcome{true, "", 0, 0, true}));
    EXPECT_EQ(after(file.write("kept"), file), (Outcome{true, "", 0, 4, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
    ASSERT_EQ(afterOpen(file, path, Mode::Read, Format::Text), (Outcome{true, "", 4, 0, false}));
    EXPECT_EQ(file.read(), "kept");
}

// Neither reads nor writes a file of this name.
void expectRefused(const std::string& path) {
    SCOPED_TRACE(path.substr(0, 100));
    for (const Mode mode : {Mode::Read, Mode::Write, Mode::ReadWrite}) {
        File file;
        EXPECT_EQ(afterOpen(file, path, mode), kRefused);
        char c = '-';
        EXPECT_EQ(after(file.read(c), file),
                  (Outcome{false, "File not successfully opened, cannot read.", 0, 0, true}));
        EXPECT_EQ(after(file.write(c), file),
                  (Outcome{false, "File not successfully opened, cannot write.", 0, 0, true}));
    }
    EXPECT_FALSE(Path(path.c_str(), true).isFile());
    EXPECT_EQ(Path(path.c_str(), true).canonical(), path.c_str());
}

using Name = WithFiles;

TEST_F(Name, OfTwoHundredFiftyFiveBytesIsTheLongest) {
    expectKept(files.path(std::string(255, 'n')));
    expectRefused(files.path(std::string(256, 'n')));
}

TEST_F(Name, MayHoldAnyByteButZeroAndSlash) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/') all += static_cast<char>(byte);
    }
    expectKept(files.path(all));
}

TEST_F(Name, NeedNotBeUtf8) { expectKept(files.path("\xff\xfe\x80\xc3")); }

TEST_F(Name, MayHoldANewline) { expectKept(files.path("first line\nsecond line\n")); }

TEST_F(Name, ThatIsEmptyIsRefused) { expectRefused(""); }

TEST_F(Name, InAMissingFolderIsRefused) { expectRefused(files.path("missing/a")); }

TEST_F(Name, BelowAFileIsRefused) { expectRefused(files.make("a", "abc") + "/b"); }

// The path is lengthened by steps that lead nowhere.
TEST_F(Name, IsReachedByAPathOf4095BytesAndNotOf4096) {
    const auto pathOf = [this](std::size_t size) {
        std::string path = files.path("");
        while (path.size() + 2 < size) path += "./";
        return path + std::string(size - path.size(), 'a');
    };
    ASSERT_EQ(pathOf(PATH_MAX - 1).size(), 4095u);
    ASSERT_EQ(pathOf(PATH_MAX).size(), 4096u);
    expectKept(pathOf(PATH_MAX - 1));
    expectRefused(pathOf(PATH_MAX));
}

using Link = WithFiles;

TEST_F(Link, ToAFileIsFollowedAndKept) {
    files.make("target", "before");
    stdfs::create_symlink("target", files.path("link"));
    expectKept(files.path("link"));
    EXPECT_TRUE(stdfs::is_symlink(files.path("link")));
    EXPECT_EQ(files.content("target").raw, "kept");
}

TEST_F(Link, ToNothingIsNotReadAndWritesItsTarget) {
    stdfs::create_symlink("target", files.path("link"));
    File file;
    EXPECT_EQ(afterOpen(file, files.path("link"), Mode::Read), kRefused);
    expectKept(files.path("link"));
    EXPECT_TRUE(stdfs::is_symlink(files.path("link")));
    EXPECT_EQ(files.content("target").raw, "kept");
}

TEST_F(Link, ToItselfIsRefused) {
    stdfs::create_symlink("loop", files.path("loop"));
    expectRefused(files.path("loop"));
}

TEST_F(Link, InALoopOfTwoIsRefused) {
    stdfs::create_symlink("there", files.path("back"));
    stdfs::create_symlink("back", files.path("there"));
    expectRefused(files.path("there"));
}

// Linux follows 40 of them in one path.
TEST_F(Link, InAChainThatIsTooLongIsRefused) {
    files.make("link0", "before");
    for (int i = 1; i <= 41; ++i) {
        stdfs::create_symlink("link" + std::to_string(i - 1), files.path("link" + std::to_string(i)));
    }
    expectKept(files.path("link30"));
    expectRefused(files.path("link41"));
    EXPECT_EQ(files.content("link0").raw, "kept");
}

}  // namespace
}  // namespace qor::test
