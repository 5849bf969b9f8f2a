// path.h: what is a file, what a path is called in full, and that no path makes either throw.
#include "qor/core/path.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "support/test_files.h"

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;

bool isFile(const std::string& path) { return Path(path.c_str(), true).isFile(); }

std::string canonical(const std::string& path) { return Path(path.c_str(), true).canonical().buf(); }

class PathTest : public WithFiles {
 protected:
    // The folder's own path may lead through links.
    std::string full(std::string_view name) const { return (stdfs::canonical(files.path("")) / name).string(); }

    void expectNoFile(const std::string& path) {
        EXPECT_FALSE(isFile(path));
        EXPECT_EQ(canonical(path), path);
    }
};

TEST_F(PathTest, ARegularFileIsAFile) { EXPECT_TRUE(isFile(files.make("file", "content"))); }

TEST_F(PathTest, AnEmptyFileIsAFile) { EXPECT_TRUE(isFile(files.make("file", ""))); }

TEST_F(PathTest, AMissingFileIsNone) { expectNoFile(files.path("missing")); }

TEST_F(PathTest, AFileInAMissingFolderIsNone) { expectNoFile(files.path("missing/file")); }

TEST_F(PathTest, AFileBelowAFileIsNone) { expectNoFile(files.make("file", "") + "/below"); }

TEST_F(PathTest, TheEmptyPathIsNone) { expectNoFile(""); }

TEST_F(PathTest, AFolderIsNoFile) {
    stdfs::create_directory(files.path("folder"));
    EXPECT_FALSE(isFile(files.path("folder")));
    EXPECT_FALSE(isFile(files.path("folder/")));
    EXPECT_FALSE(isFile("/"));
    EXPECT_FALSE(isFile("."));
}

TEST_F(PathTest, APipeAndADeviceAreNoFiles) {
    ASSERT_EQ(mkfifo(files.path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(isFile(files.path("pipe")));
    EXPECT_FALSE(isFile("/dev/null"));
}

TEST_F(PathTest, ALinkToAFileIsAFileAndIsCalledAsTheFile) {
    files.make("file", "content");
    stdfs::create_symlink("file", files.path("link"));
    stdfs::create_symlink("link", files.path("link to link"));
    EXPECT_TRUE(isFile(files.path("link to link")));
    EXPECT_EQ(canonical(files.path("link")), full("file"));
    EXPECT_EQ(canonical(files.path("link to link")), full("file"));
}

TEST_F(PathTest, ALinkToAFolderIsNoFile) {
    stdfs::create_directory_symlink(".", files.path("link"));
    EXPECT_FALSE(isFile(files.path("link")));
}

TEST_F(PathTest, ADanglingLinkIsNoFile) {
    stdfs::create_symlink("missing", files.path("link"));
    expectNoFile(files.path("link"));
}

TEST_F(PathTest, ALoopOfLinksIsNoFile) {
    stdfs::create_symlink("b", files.path("a"));
    stdfs::create_symlink("a", files.path("b"));
    expectNoFile(files.path("a"));
    stdfs::create_symlink("self", files.path("self"));
    expectNoFile(files.path("self"));
}

TEST_F(PathTest, ANameOf255BytesIsTheLongest) {
    const std::string longest(255, 'n');
    EXPECT_TRUE(isFile(files.make(longest, "content")));
    EXPECT_EQ(canonical(files.path(longest)), full(longest));
    expectNoFile(files.path(longest + 'n'));
}

TEST_F(PathTest, APathOf5000BytesIsNoFile) {
    std::string path = files.path("");
    while (path.size() < 5000) path += "folder/";
    expectNoFile(path);
    expectNoFile(std::string(5000, 'n'));
}

TEST_F(PathTest, ANameIsAnyBytes) {
    for (const char* name : {"gr\xc3\xbc\xc3\x9f", "\xff\xfe", "line\nfeed", " ", "*?", "back\\slash", "~"}) {
        SCOPED_TRACE(name);
        EXPECT_TRUE(isFile(files.make(name, "content")));
        EXPECT_EQ(canonical(files.path(name)), full(name));
    }
}

TEST_F(PathTest, BytesThatNameNothingAreNoFile) {
    expectNoFile(files.path("\xff\xfe"));
    expectNoFile(files.path("line\nfeed"));
}

TEST_F(PathTest, CanonicalIsFreeOfDots) {
    stdfs::create_directories(files.path("a/b"));
    files.make("a/file", "content");
    EXPECT_EQ(canonical(files.path("a/./b/.././file")), full("a/file"));
    EXPECT_EQ(canonical(files.path("a//file")), full("a/file"));
}

TEST_F(PathTest, CanonicalFollowsALinkBeforeTheDotsThatComeAfterIt) {
    stdfs::create_directories(files.path("deep/folder"));
    files.make("deep/file", "content");
    stdfs::create_directory_symlink("deep/folder", files.path("link"));
    EXPECT_EQ(canonical(files.path("link/../file")), full("deep/file"));
}

TEST_F(PathTest, CanonicalIsAbsolute) {
    const stdfs::path before = stdfs::current_path();
    files.make("file", "content");
    stdfs::current_path(files.path(""));
    EXPECT_TRUE(isFile("file"));
    EXPECT_EQ(canonical("file"), full("file"));
    EXPECT_EQ(canonical("./file"), full("file"));
    stdfs::current_path(before);
}

TEST_F(PathTest, CanonicalOfAFolderIsItsPath) {
    EXPECT_EQ(canonical(files.path("")), stdfs::canonical(files.path("")).string());
    EXPECT_EQ(canonical("/"), "/");
}

TEST_F(PathTest, AFileThatVanishedIsCalledAsItWasGiven) {
    const std::string given = files.path("./file");
    files.make("file", "content");
    const Path path(given.c_str(), true);
    ASSERT_TRUE(path.isFile());
    stdfs::remove(given);
    EXPECT_EQ(path.canonical(), given.c_str());
}

TEST_F(PathTest, WhereThereIsNoFileTheTextIsSharedAndNotCopied) {
    const String text = files.path("missing").c_str();
    EXPECT_EQ(Path(text, true).canonical().buf(), text.buf());
}

TEST_F(PathTest, BothWaysOfWritingAPathNameTheSameFile) {
    stdfs::create_directory(files.path("folder"));
    const String path = files.make("folder/file", "content").c_str();
    EXPECT_TRUE(Path(path, false).isFile());
    EXPECT_EQ(Path(path, false).canonical(), Path(path, true).canonical());
}

}  // namespace
}  // namespace qor::test
