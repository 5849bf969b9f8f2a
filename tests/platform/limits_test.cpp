// What the system runs out of: descriptors for open files.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include "platform/platform.h"

namespace qor::test {
namespace {

// As long as it lives, no file can be opened.
class NoDescriptors {
 public:
    NoDescriptors() {
        for (int taken = 0; (taken = ::open("/dev/null", O_RDONLY)) >= 0;) all.push_back(taken);
    }
    ~NoDescriptors() {
        for (const int taken : all) ::close(taken);
    }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
    const Limit limit{RLIMIT_NOFILE, 64};
    std::vector<int> all;
};

using WithoutDescriptors = WithFiles;

TEST_F(WithoutDescriptors, EveryOpenIsRefusedWithoutAText) {
    const std::string path = files.make("a", "abc");
    for (const Mode mode : {Mode::Read, Mode::Write, Mode::ReadWrite}) {
        File file;
        {
            const NoDescriptors none;
            EXPECT_EQ(afterOpen(file, path, mode), kRefused);
        }
        EXPECT_EQ(files.content("a").raw, "abc") << "nothing was emptied";
    }
}

TEST_F(WithoutDescriptors, AHandleCanBeOpenedOnceThereIsOneAgain) {
    const std::string path = files.make("a", "abc");
    File file;
    {
        const NoDescriptors none;
        EXPECT_EQ(afterOpen(file, path, Mode::Read), kRefused);
    }
    EXPECT_EQ(afterOpen(file, path, Mode::Read), (Outcome{true, "", 3, 0, false}));
}

TEST_F(WithoutDescriptors, AnOpenHandleChangesItsFileForAnother) {
    const std::string first = files.path("first");
    const std::string second = files.make("second", "abcd");
    File file = opened(first, Mode::Write, Format::Text);
    file << "kept";
    const NoDescriptors none;
    EXPECT_EQ(afterOpen(file, second, Mode::Read), (Outcome{true, "", 4, 0, false}));
    EXPECT_EQ(afterOpen(file, first, Mode::Read), (Outcome{true, "", 4, 0, false}));
}

TEST_F(WithoutDescriptors, AnOpenFileIsWrittenAndClosed) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    {
        const NoDescriptors none;
        EXPECT_EQ(after(file.write("abc"), file), (Outcome{true, "", 0, 3, true}));
        EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
    }
    EXPECT_EQ(files.content("a").raw, "abc");
}

TEST_F(WithoutDescriptors, NoHandleKeepsOneThatItDoesNotNeed) {
    const std::string path = files.make("a", "abc");
    const Limit limit(RLIMIT_NOFILE, 16);
    for (int i = 0; i < 100; ++i) {
        File file;
        ASSERT_TRUE(file.open(path.c_str(), Mode::Read, Format::Binary)) << i;
        ASSERT_FALSE(file.open(files.path("missing").c_str(), Mode::Read, Format::Binary)) << i;
        ASSERT_TRUE(file.open(path.c_str(), Mode::Write, Format::Binary)) << i;
    }
}

}  // namespace
}  // namespace qor::test
