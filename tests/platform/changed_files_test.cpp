// Files that someone else changes while they are open. A reader believes the length that it measured when it opened the
// file; what it has not yet loaded, it finds as it is by then.
//
// The files are longer than what stdio keeps in a buffer of its own, in which it would not notice the change.
#include <gtest/gtest.h>

#include "platform/platform.h"

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;

class ChangedFile : public WithFiles {
 protected:
    const std::string bytes = pattern(3 * kMiB);
    const std::string path = files.make("a", bytes);

    // All that is left, or as much of it as can be read.
    static std::string rest(File& file) {
        std::string got;
        for (char c = 0; file.read(c);) got += c;
        return got;
    }
};

TEST_F(ChangedFile, RemovedIsReadToItsEnd) {
    File file = opened(path, Mode::Read, Format::Binary);
    stdfs::remove(path);
    EXPECT_TRUE(rest(file) == bytes);
    EXPECT_EQ(after(false, file), (Outcome{false, "Attempted to read beyond file size.", 3 * kMiB, 3 * kMiB, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
}

TEST_F(ChangedFile, RemovedIsWrittenInVain) {
    File file = opened(path, Mode::Write, Format::Text);
    stdfs::remove(path);
    EXPECT_EQ(after(file.write("abc"), file), (Outcome{true, "", 0, 3, true}));
    EXPECT_EQ(after(file.flush(), file), (Outcome{true, "", 0, 3, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
    EXPECT_FALSE(stdfs::exists(path));
}

TEST_F(ChangedFile, CutFailsTheFirstRefillThatComesShort) {
    File file = opened(path, Mode::Read, Format::Binary);
    stdfs::resize_file(path, kMiB + 5);
    EXPECT_TRUE(rest(file) == bytes.substr(0, kMiB));
    EXPECT_EQ(after(false, file), (Outcome{false, "Fread failed. Requested 1048576, read 5.", 3 * kMiB, kMiB, false}));
}

TEST_F(ChangedFile, CutHasDeliveredAndCountedWhatWasBeforeTheCut) {
    File file = opened(path, Mode::Read, Format::Binary);
    stdfs::resize_file(path, kMiB);
    ds::Vector<unsigned char> got;
    got.resize(2 * kMiB);
    EXPECT_EQ(after(file.read(got, Compression::None), file),
              (Outcome{false, "Fread failed. Requested 1048576, read 0.", 3 * kMiB, kMiB, false}));
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.begin() + kMiB, reinterpret_cast<const char*>(got.data())));
    EXPECT_EQ(got[kMiB], 0);
}

TEST_F(ChangedFile, CutIsNoWholeText) {
    File file = opened(path, Mode::Read, Format::Text);
    stdfs::resize_file(path, kMiB);
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(after(false, file), (Outcome{false, "Failed to read file.", 3 * kMiB, 0, false}));
}

TEST_F(ChangedFile, GrownIsAsLongAsItWas) {
    File file = opened(path, Mode::Read, Format::Binary);
    stdfs::resize_file(path, 5 * kMiB);
    EXPECT_TRUE(rest(file) == bytes);
    EXPECT_EQ(after(false, file), (Outcome{false, "Attempted to read beyond file size.", 3 * kMiB, 3 * kMiB, true}));
}

TEST_F(ChangedFile, GrownIsNotReadBehindItsFormerEnd) {
    File file = opened(path, Mode::Read, Format::Binary);
    stdfs::resize_file(path, 5 * kMiB);
    EXPECT_EQ(file.seek(3 * kMiB + 1), 3 * kMiB + 1);
    char c = '-';
    EXPECT_EQ(after(file.read(c), file), (Outcome{false, "Fread failed. Requested 18446744073709551615, read 1048576.",
                                                  3 * kMiB, 3 * kMiB + 1, true}));
    EXPECT_EQ(c, '-');
}

TEST_F(ChangedFile, CutWhileItIsWrittenGetsAHoleOfZeros) {
    File file = opened(path, Mode::Write, Format::Text);
    file << "abc";
    EXPECT_TRUE(file.flush());
    stdfs::resize_file(path, 0);
    EXPECT_EQ(after(file.write("def"), file), (Outcome{true, "", 0, 6, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
    EXPECT_EQ(files.content("a").raw, std::string("\0\0\0def", 6));
}

TEST_F(ChangedFile, ReplacedIsReadAsItWas) {
    File file = opened(path, Mode::Read, Format::Binary);
    stdfs::rename(files.make("new", "new"), path);
    EXPECT_TRUE(rest(file) == bytes);
    EXPECT_EQ(afterOpen(file, path, Mode::Read, Format::Text), (Outcome{true, "", 3, 0, false}));
    EXPECT_EQ(file.read(), "new");
}

TEST_F(ChangedFile, ReplacedIsWrittenInVain) {
    File file = opened(path, Mode::Write, Format::Text);
    stdfs::rename(files.make("new", "new"), path);
    file << "abc";
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
    EXPECT_EQ(files.content("a").raw, "new");
}

}  // namespace
}  // namespace qor::test
