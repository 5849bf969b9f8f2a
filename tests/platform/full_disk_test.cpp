// Disks without room: a device that never has any, and a limit to the size of files, which stands for a disk that fills
// up at a known byte. (That limit kills a program unless it ignores the signal, as these tests do.)
#include <gtest/gtest.h>

#include "platform/platform.h"

namespace qor::test {
namespace {

// ---- No room at all -------------------------------------------------------------------------------------------------

// What becomes of one write of `size` bytes to the full device, and of what follows it.
struct FullDisk {
    std::uint64_t size;
    Outcome write;
    const char* flushError;  // empty if the flush succeeds
    const char* closeError;
};

// Up to 1 MiB is staged, and lost at the first attempt to write it: the next flush has nothing to write, and succeeds.
// What is larger goes to the stream at once, where it fails at once, and only once: nothing is left over that flush or
// close could fail to write, and they clear the text. Look at the result of each write, or at ok() before close().
const FullDisk kFullDisk[] = {
    {3, {true, "", 0, 3, true}, "fflush failed.", "Fclose failed."},
    {kMiB, {true, "", 0, kMiB, true}, "Fwrite failed. fflush failed.", "Fclose failed."},
    {kMiB + 1, {false, "Fwrite failed. Requested 0, read 0.", 0, 0, true}, "", ""},
    {2 * kMiB, {false, "Fwrite failed. Requested 0, read 0.", 0, 0, true}, "", ""},
    {3 * kMiB, {false, "Fwrite failed. Requested 0, read 0.", 0, 0, true}, "", ""},
};

class FullDiskOf : public testing::TestWithParam<FullDisk> {
 protected:
    // The device, after the write.
    File file = opened("/dev/full", Mode::Write, Format::Binary);
    const std::string bytes = pattern(GetParam().size);
    const Outcome write = after(file.write(bytes.data(), bytes.size(), Compression::None), file);

    static bool isLost(const char* error) { return *error != '\0'; }
};

INSTANTIATE_TEST_SUITE_P(OneWrite, FullDiskOf, testing::ValuesIn(kFullDisk),
                         [](const auto& row) { return std::to_string(row.param.size) + "Bytes"; });

TEST_P(FullDiskOf, IsToldByTheWriteIfItIsLargerThanTheBuffer) { EXPECT_EQ(write, GetParam().write); }

TEST_P(FullDiskOf, IsToldOnceByFlushIfItWasStaged) {
    const char* const error = GetParam().flushError;
    EXPECT_EQ(after(file.flush(), file), (Outcome{!isLost(error), error, 0, 0, true}));
    EXPECT_EQ(after(file.flush(), file), (Outcome{true, "", 0, 0, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
}

// The device has one position, the first, whatever is sought; so the result is 0 and only the text tells.
TEST_P(FullDiskOf, IsToldBySeekIfItWasStaged) {
    EXPECT_EQ(after(file.seek(1), file), (Outcome{0, GetParam().flushError, 0, 0, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
}

TEST_P(FullDiskOf, IsToldByCloseIfItWasStaged) {
    const char* const error = GetParam().closeError;
    EXPECT_EQ(after(file.close(), file), (Outcome{!isLost(error), error, 0, 0, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
}

TEST_P(FullDiskOf, IsToldByANextOpenForWritingIfItWasStaged) {
    EXPECT_EQ(afterOpen(file, "/dev/null", Mode::Write), (Outcome{true, GetParam().closeError, 0, 0, true}));
    EXPECT_EQ(after(file.write('x'), file), (Outcome{true, GetParam().closeError, 0, 1, true}));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
}

TEST_P(FullDiskOf, IsForgottenByANextOpenForReading) {
    EXPECT_EQ(afterOpen(file, "/dev/null", Mode::Read), (Outcome{true, "", 0, 0, true}));
}

TEST_P(FullDiskOf, IsToldByNobodyIfTheLastHandleJustGoes) {
    file = File();
    EXPECT_EQ(after(file.ok(), file), (Outcome{true, "", 0, 0, true}));
}

// The first MiB stays staged, and each further write tries again to make room.
TEST(FullDisk, IsToldByEachWriteThatFindsNoRoomInTheBuffer) {
    File file = opened("/dev/full", Mode::Write, Format::Binary);
    for (std::uint64_t i = 0; i < kMiB / 4; ++i) ASSERT_TRUE(file.write(258)) << i;
    EXPECT_EQ(after(file.write(258), file),
              (Outcome{false, "Fwrite failed. Requested 1048576, read 0.", 0, kMiB, true}));
    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_FALSE(file.write(258));
        EXPECT_EQ(file.error().view().substr(0, 39), "Fwrite failed. Requested 1048576, read ");
        EXPECT_EQ(file.pos(), kMiB);
    }
    EXPECT_EQ(after(file.close(), file), (Outcome{false, "Fclose failed.", 0, 0, true}));
}

// ---- Room up to a byte ----------------------------------------------------------------------------------------------

class LimitedFile : public WithFiles {
 protected:
    const Ignored signal{SIGXFSZ};
    const std::string path = files.path("a");
};

TEST_F(LimitedFile, TakesOneLargeWriteUpToTheLimit) {
    const struct {
        std::uint64_t limit;
        const char* error;
    } kRows[] = {
        {0, "Fwrite failed. Requested 0, read 0."},
        {1, "Fwrite failed. Requested 0, read 1."},
        {kMiB - 1, "Fwrite failed. Requested 0, read 1048575."},
        {kMiB, "Fwrite failed. Requested 0, read 1048576."},
        {5 * kMiB / 2, "Fwrite failed. Requested 0, read 2621440."},
    };
    const std::string bytes = pattern(3 * kMiB);
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.limit);
        {
            const Limit limit(RLIMIT_FSIZE, row.limit);
            File file = opened(path, Mode::Write, Format::Binary);
            EXPECT_EQ(after(file.write(bytes.data(), bytes.size(), Compression::None), file),
                      (Outcome{false, row.error, 0, 0, true}));
            EXPECT_EQ(after(file.flush(), file), (Outcome{true, "", 0, row.limit, true}));
            EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
        }
        EXPECT_TRUE(files.content("a").raw == bytes.substr(0, row.limit));
    }
}

TEST_F(LimitedFile, TakesStagedBytesUpToTheLimit) {
    const struct {
        std::uint64_t limit;
        std::uint64_t accepted;  // bytes; those that the buffer holds are among them
        const char* error;       // of the first write that is not
    } kRows[] = {
        {0, kMiB, "Fwrite failed. Requested 1048576, read 0."},
        {1, kMiB, "Fwrite failed. Requested 1048576, read 1."},
        {kMiB - 1, kMiB, "Fwrite failed. Requested 1048576, read 1048575."},
        {kMiB, 2 * kMiB, "Fwrite failed. Requested 1048576, read "},
        {5 * kMiB / 2, 3 * kMiB, "Fwrite failed. Requested 1048576, read 524288."},
    };
    const std::string bytes = pattern(4 * kMiB);
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.limit);
        {
            const Limit limit(RLIMIT_FSIZE, row.limit);
            File file = opened(path, Mode::Write, Format::Binary);
            std::uint64_t accepted = 0;
            while (accepted < bytes.size() && file.write(bytes[accepted])) ++accepted;
            EXPECT_EQ(accepted, row.accepted);
            EXPECT_EQ(file.error().view().substr(0, std::string_view(row.error).size()), row.error);
            EXPECT_EQ(file.pos(), row.accepted);
            EXPECT_EQ(after(file.close(), file), (Outcome{false, "Fclose failed.", 0, 0, true}));
        }
        EXPECT_TRUE(files.content("a").raw == bytes.substr(0, row.limit));
    }
}

TEST_F(LimitedFile, TellsByCloseThatTheLastBytesFoundNoRoom) {
    const struct {
        std::uint64_t limit;
        Outcome close;
    } kRows[] = {
        {0, {false, "Fclose failed.", 0, 0, true}},
        {1, {false, "Fclose failed.", 0, 0, true}},
        {2, {false, "Fclose failed.", 0, 0, true}},
        {3, {true, "", 0, 0, true}},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.limit);
        {
            const Limit limit(RLIMIT_FSIZE, row.limit);
            File file = opened(path, Mode::Write, Format::Text);
            EXPECT_EQ(after(file.write("abc"), file), (Outcome{true, "", 0, 3, true}));
            EXPECT_EQ(after(file.close(), file), row.close);
        }
        EXPECT_EQ(files.content("a").raw, std::string("abc").substr(0, row.limit));
    }
}

TEST_F(LimitedFile, IsWrittenWhereThereIsRoomAgain) {
    File file = opened(path, Mode::Write, Format::Binary);
    const std::string bytes = pattern(2 * kMiB);
    {
        const Limit limit(RLIMIT_FSIZE, 10);
        EXPECT_FALSE(file.write(bytes.data(), bytes.size(), Compression::None));
    }
    EXPECT_EQ(after(file.seek(0), file), (Outcome{0, "", 0, 0, true}));
    EXPECT_TRUE(file.write(bytes.data(), bytes.size(), Compression::None));
    EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
    EXPECT_TRUE(files.content("a").raw == bytes);
}

TEST(LimitedFileDeathTest, KillsAProgramThatDoesNotIgnoreTheSignal) {
    const TestFolder files;
    const auto writeTooMuch = [&files] {
        const Limit noCore(RLIMIT_CORE, 0);
        const Limit limit(RLIMIT_FSIZE, 1);
        File file = opened(files.path("a"), Mode::Write, Format::Text);
        file << "abc";
        static_cast<void>(file.close());
    };
    EXPECT_EXIT(writeTooMuch(), testing::KilledBySignal(SIGXFSZ), "");
    EXPECT_EQ(files.content("a").raw, "a");
}

}  // namespace
}  // namespace qor::test
