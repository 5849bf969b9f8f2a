// What is refused to this user. An open that the system refuses has no text, and changes nothing.
#include <gtest/gtest.h>

#include "platform/platform.h"
#include "qor/core/path.h"

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;
using stdfs::perms;

class Permissions : public WithFiles {
 protected:
    ~Permissions() override { allow(files.path(""), perms::owner_all); }

    static void allow(const std::string& path, perms all) { stdfs::permissions(path, all); }

    static constexpr perms kReadOnly = perms::owner_read;
    static constexpr perms kReadOnlyFolder = perms::owner_read | perms::owner_exec;
    const std::string path = files.make("a", "abc");
};

TEST_F(Permissions, AReadOnlyFileIsReadAndNotWritten) {
    allow(path, kReadOnly);
    for (const Mode mode : {Mode::Write, Mode::ReadWrite}) {
        File file;
        EXPECT_EQ(afterOpen(file, path, mode), kRefused);
    }
    File file;
    EXPECT_EQ(afterOpen(file, path, Mode::Read, Format::Text), (Outcome{true, "", 3, 0, false}));
    EXPECT_EQ(file.read(), "abc");
}

TEST_F(Permissions, AFileOfAnotherUserIsReadAndNotWritten) {
    File file;
    EXPECT_EQ(afterOpen(file, "/etc/passwd", Mode::Write), kRefused);
    ASSERT_TRUE(file.open("/etc/passwd", Mode::Read, Format::Binary));
    EXPECT_EQ(file.len(), stdfs::file_size("/etc/passwd"));
    EXPECT_TRUE(file.ok());
}

TEST_F(Permissions, AFileThatMayNotBeReadCanBeWritten) {
    allow(path, perms::owner_write);
    File file;
    EXPECT_EQ(afterOpen(file, path, Mode::Read), kRefused);
    EXPECT_EQ(afterOpen(file, path, Mode::Write), (Outcome{true, "", 0, 0, true}));
}

TEST_F(Permissions, AReadOnlyFolderKeepsNewFilesOut) {
    allow(files.path(""), kReadOnlyFolder);
    for (const Mode mode : {Mode::Write, Mode::ReadWrite}) {
        File file;
        EXPECT_EQ(afterOpen(file, files.path("new"), mode), kRefused);
    }
    EXPECT_FALSE(stdfs::exists(files.path("new")));
}

TEST_F(Permissions, AFileInAReadOnlyFolderIsWrittenAndRead) {
    allow(files.path(""), kReadOnlyFolder);
    File file = opened(path, Mode::Write, Format::Text);
    file << "new";
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
    EXPECT_EQ(afterOpen(file, path, Mode::Read, Format::Text), (Outcome{true, "", 3, 0, false}));
    EXPECT_EQ(file.read(), "new");
}

TEST_F(Permissions, InAFolderThatMayNotBeSearchedThereAreNoFiles) {
    allow(files.path(""), perms::owner_read | perms::owner_write);
    for (const Mode mode : {Mode::Read, Mode::Write, Mode::ReadWrite}) {
        File file;
        EXPECT_EQ(afterOpen(file, path, mode), kRefused);
    }
    EXPECT_FALSE(Path(path.c_str(), true).isFile());
    EXPECT_EQ(Path(path.c_str(), true).canonical(), path.c_str());
}

TEST_F(Permissions, AFileInAFolderThatMayNotBeListedIsOpened) {
    allow(files.path(""), perms::owner_exec);
    File file;
    EXPECT_EQ(afterOpen(file, path, Mode::Read, Format::Text), (Outcome{true, "", 3, 0, false}));
    EXPECT_EQ(file.read(), "abc");
}

// What was granted when the file was opened stays granted.
TEST_F(Permissions, AnOpenFileIsWrittenWhateverIsForbiddenThen) {
    File file = opened(path, Mode::Write, Format::Text);
    file << "new";
    allow(path, perms::none);
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
    allow(path, kReadOnly);
    EXPECT_EQ(files.content("a").raw, "new");
}

}  // namespace
}  // namespace qor::test
