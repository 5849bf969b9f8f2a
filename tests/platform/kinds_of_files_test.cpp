// What can be opened and is no regular file: folders, pipes, devices, and files that the system makes up.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <thread>

#include "platform/platform.h"

namespace qor::test {
namespace {

using namespace std::chrono_literals;

// ---- Folders --------------------------------------------------------------------------------------------------------

using Folder = WithFiles;

TEST_F(Folder, CannotBeOpenedForWriting) {
    for (const Mode mode : {Mode::Write, Mode::ReadWrite}) {
        File file;
        EXPECT_EQ(afterOpen(file, files.path(""), mode), kRefused);
    }
}

// The length is what the file system makes up. ext4 says 2^63 - 1, which is where its folders end.
TEST_F(Folder, OpensForReadingWithALengthThatMeansNothing) {
    File file = opened(files.path(""), Mode::Read, Format::Binary);
    const std::uint64_t length = fileSystem() == "ext4" ? 9223372036854775807 : file.len();
    EXPECT_EQ(after(true, file), (Outcome{true, "", length, 0, length == 0}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
}

TEST_F(Folder, HasNoByteToRead) {
    File file = opened(files.path(""), Mode::Read, Format::Binary);
    const std::uint64_t length = file.len();
    const std::string error = length == 0
                                  ? "Attempted to read beyond file size."
                                  : "Fread failed. Requested " + std::to_string(std::min(length, kMiB)) + ", read 0.";
    long value = 5;
    EXPECT_EQ(after(file.read(value), file), (Outcome{false, error, length, 0, length == 0}));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(after(file.peek(), file), (Outcome{0, "", length, 0, length == 0}));
}

TEST_F(Folder, IsNoText) {
    File file = opened(files.path(""), Mode::Read, Format::Text);
    const std::uint64_t length = file.len();
    String text = "before";
    EXPECT_EQ(after(file.read(text), file),
              (Outcome{false, length == 0 ? "" : "Failed to read file.", length, 0, length == 0}));
    EXPECT_EQ(text, "");
}

// ---- Pipes ----------------------------------------------------------------------------------------------------------

// A pipe has neither a length nor a position.
class Pipe : public WithFiles {
 protected:
    Pipe() { EXPECT_EQ(mkfifo(path.c_str(), 0600), 0); }

    // An end of the pipe that waits for nobody.
    int end(int flags) const {
        const int descriptor = ::open(path.c_str(), flags | O_NONBLOCK);
        EXPECT_GE(descriptor, 0);
        return descriptor;
    }

    const std::string path = files.path("pipe");
};

TEST_F(Pipe, OpensForReadingOnceSomeoneWrites) {
    File file;
    std::future<Outcome> open = std::async(std::launch::async, [&] { return afterOpen(file, path, Mode::Read); });
    EXPECT_EQ(open.wait_for(50ms), std::future_status::timeout) << "it waits for a writer";
    File writer;
    EXPECT_EQ(afterOpen(writer, path, Mode::Write), (Outcome{true, "", 0, 0, true}));
    EXPECT_EQ(open.get(), (Outcome{true, "Seek failed, returning zero.", 0, 0, true}));
}

TEST_F(Pipe, OpensForWritingOnceSomeoneReads) {
    File file;
    std::future<Outcome> open = std::async(std::launch::async, [&] { return afterOpen(file, path, Mode::Write); });
    EXPECT_EQ(open.wait_for(50ms), std::future_status::timeout) << "it waits for a reader";
    const int reader = end(O_RDONLY);
    EXPECT_EQ(open.get(), (Outcome{true, "", 0, 0, true}));
    ::close(reader);
}

TEST_F(Pipe, IsEmptyWhateverSomeoneWrites) {
    const int both = end(O_RDWR);
    EXPECT_EQ(::write(both, "abc", 3), 3);
    File file = opened(path, Mode::Read, Format::Binary);
    char c = '-';
    EXPECT_EQ(after(file.read(c), file), (Outcome{false, "Attempted to read beyond file size.", 0, 0, true}));
    EXPECT_EQ(c, '-');
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
    ::close(both);
}

TEST_F(Pipe, TakesWhatIsWrittenAndCannotTellThePosition) {
    const int both = end(O_RDWR);
    File file = opened(path, Mode::Write, Format::Text);
    EXPECT_EQ(after(file.write("abc"), file), (Outcome{true, "", 0, 3, true}));
    EXPECT_EQ(after(file.flush(), file), (Outcome{true, "Tell failed.", 0, 0, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "Tell failed.", 0, 0, true}));
    char got[4] = {};
    EXPECT_EQ(::read(both, got, sizeof got), 3);
    EXPECT_STREQ(got, "abc");
    ::close(both);
}

// Unless SIGPIPE is ignored, this kills a program.
TEST_F(Pipe, ThatNobodyReadsAnyMoreIsToldByFlush) {
    const Ignored signal(SIGPIPE);
    const int reader = end(O_RDONLY);
    File file = opened(path, Mode::Write, Format::Text);
    EXPECT_TRUE(file.write("abc"));
    ::close(reader);
    EXPECT_EQ(after(file.flush(), file), (Outcome{false, "Tell failed.", 0, 0, true}));
}

TEST_F(Pipe, ThatNobodyReadsAnyMoreIsToldByClose) {
    const Ignored signal(SIGPIPE);
    const int reader = end(O_RDONLY);
    File file = opened(path, Mode::Write, Format::Text);
    EXPECT_TRUE(file.write("abc"));
    ::close(reader);
    EXPECT_EQ(after(file.close(), file), (Outcome{false, "Fclose failed.", 0, 0, true}));
}

// ---- Devices --------------------------------------------------------------------------------------------------------

TEST(Device, NullTakesEverything) {
    File file = opened("/dev/null", Mode::Write, Format::Binary);
    const std::string bytes = pattern(3 * kMiB);
    EXPECT_EQ(after(file.write(bytes.data(), bytes.size(), Compression::None), file),
              (Outcome{true, "", 0, 3 * kMiB, true}));
    EXPECT_EQ(after(file.flush(), file), (Outcome{true, "", 0, 0, true})) << "its position is always the first";
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
}

// They have no length, and so the library finds nothing to read in them.
class FileWithoutLength : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Here, FileWithoutLength,
                         testing::Values("/dev/null", "/dev/zero", "/proc/self/status", "/proc/version"),
                         [](const auto& path) {
                             std::string name = path.param + 1;
                             for (char& c : name) {
                                 if (c == '/') c = '_';
                             }
                             return name;
                         });

TEST_P(FileWithoutLength, IsAtItsEndAtOnce) {
    File file;
    EXPECT_EQ(afterOpen(file, GetParam(), Mode::Read), (Outcome{true, "", 0, 0, true}));
    char c = '-';
    EXPECT_EQ(after(file.read(c), file), (Outcome{false, "Attempted to read beyond file size.", 0, 0, true}));
    EXPECT_EQ(c, '-');
    EXPECT_EQ(after(file.peek(), file), (Outcome{0, "", 0, 0, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
}

TEST_P(FileWithoutLength, IsAnEmptyText) {
    File file = opened(GetParam(), Mode::Read, Format::Text);
    String text = "before";
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(after(file.read(text), file), (Outcome{false, "", 0, 0, true}));
    EXPECT_EQ(text, "");
}

// ---- Large files ----------------------------------------------------------------------------------------------------

using SparseFile = WithFiles;

// Its 6 GiB take a few blocks of the disk.
TEST_F(SparseFile, OfSixGiBIsWrittenSoughtAndRead) {
    constexpr std::uint64_t kSize = 6442450944;
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    EXPECT_EQ(after(file.seek(kSize - 4), file), (Outcome{kSize - 4, "", 0, kSize - 4, true}));
    EXPECT_EQ(after(file.write(258), file), (Outcome{true, "", 0, kSize, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));

    EXPECT_EQ(afterOpen(file, files.path("a"), Mode::Read), (Outcome{true, "", kSize, 0, false}));
    int value = -1;
    EXPECT_EQ(after(file.read(value), file), (Outcome{true, "", kSize, 4, false}));
    EXPECT_EQ(value, 0);
    EXPECT_EQ(after(file.seek(kSize - 4), file), (Outcome{kSize - 4, "", kSize, kSize - 4, false}));
    EXPECT_EQ(after(file.read(value), file), (Outcome{true, "", kSize, kSize, true}));
    EXPECT_EQ(value, 258);
    EXPECT_EQ(after(file.read(value), file),
              (Outcome{false, "Attempted to read beyond file size.", kSize, kSize, true}));
}

}  // namespace
}  // namespace qor::test
