// fs.h: each wrapper behaves as the stdio function of its name.
#include "qor/core/fs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/test_files.h"

namespace qor::test {
namespace {

constexpr std::int64_t kGiB = std::int64_t{1} << 30;

class FsTest : public WithFiles {
 protected:
    // A stream that is closed when the test ends.
    fs::Stream* open(const std::string& path, const char* mode) {
        stream = fs::Fopen(path.c_str(), mode);
        EXPECT_NE(stream, nullptr) << path;
        return stream;
    }
    fs::Stream* openFull() { return open("/dev/full", "wb"); }

    void close() {
        if (stream) fs::Fclose(stream);
        stream = nullptr;
    }
    void TearDown() override { close(); }

    fs::Stream* stream = nullptr;
};

TEST_F(FsTest, OpeningAMissingFileToReadGivesNull) {
    EXPECT_EQ(fs::Fopen(files.path("missing").c_str(), "rb"), nullptr);
}

TEST_F(FsTest, OpeningInAMissingFolderGivesNull) {
    EXPECT_EQ(fs::Fopen(files.path("missing/file").c_str(), "wb"), nullptr);
}

TEST_F(FsTest, OpeningTheEmptyPathGivesNull) {
    EXPECT_EQ(fs::Fopen("", "rb"), nullptr);
    EXPECT_EQ(fs::Fopen(String(), "wb"), nullptr);
}

TEST_F(FsTest, OpeningAFolderToWriteGivesNull) { EXPECT_EQ(fs::Fopen(files.path("").c_str(), "wb"), nullptr); }

TEST_F(FsTest, OpeningToWriteMakesTheFileOrEmptiesIt) {
    files.make("old", "content");
    open(files.path("old"), "wb");
    close();
    open(files.path("new"), "wb");
    close();
    EXPECT_EQ(files.content("old"), ""_bytes);
    EXPECT_TRUE(std::filesystem::exists(files.path("new")));
}

TEST_F(FsTest, PathsMayHoldAnythingButAZero) {
    for (const char* name : {"with space", "gr\xc3\xbc\xc3\x9f", "\xff\xfe", "line\nfeed", "%d%s"}) {
        open(files.path(name), "wb");
        close();
        EXPECT_TRUE(std::filesystem::exists(files.path(name))) << name;
    }
}

TEST_F(FsTest, ReadingGivesTheBytesAsTheyStand) {
    char bytes[6] = {};
    EXPECT_EQ(fs::Fread(bytes, 1, 6, open(files.make("in", "a\r\nb\x1a\xff"), "rb")), 6U);
    EXPECT_EQ(std::string(bytes, 6), "a\r\nb\x1a\xff");
}

TEST_F(FsTest, ReadingCountsWhatThereIs) {
    char bytes[8] = {};
    open(files.make("in", "abc"), "rb");
    EXPECT_EQ(fs::Fread(bytes, 1, 8, stream), 3U);
    EXPECT_EQ(fs::Fread(bytes, 1, 8, stream), 0U);
}

TEST_F(FsTest, ReadingCountsWholeItems) {
    char bytes[12] = {};
    EXPECT_EQ(fs::Fread(bytes, 4, 3, open(files.make("in", "0123456789"), "rb")), 2U);
}

TEST_F(FsTest, ReadingNothingGivesZero) {
    char byte = '-';
    EXPECT_EQ(fs::Fread(&byte, 1, 0, open(files.make("in", "abc"), "rb")), 0U);
    EXPECT_EQ(byte, '-');
    EXPECT_EQ(fs::Ftell(stream), 0);
}

TEST_F(FsTest, ReadingAStreamThatWritesGivesZero) {
    char byte;
    EXPECT_EQ(fs::Fread(&byte, 1, 1, open(files.path("out"), "wb")), 0U);
}

TEST_F(FsTest, WritingPutsTheBytesAsTheyStand) {
    EXPECT_EQ(fs::Fwrite("a\r\n\0b", 1, 5, open(files.path("out"), "wb")), 5U);
    EXPECT_EQ(fs::Fclose(stream), 0);
    stream = nullptr;
    EXPECT_EQ(files.content("out"), "61 0d 0a 00 62"_bytes);
}

TEST_F(FsTest, WritingCountsWholeItems) { EXPECT_EQ(fs::Fwrite("01234567", 4, 2, open(files.path("out"), "wb")), 2U); }

TEST_F(FsTest, WritingNothingGivesZero) { EXPECT_EQ(fs::Fwrite("abc", 1, 0, open(files.path("out"), "wb")), 0U); }

TEST_F(FsTest, WritingAStreamThatReadsGivesZero) {
    EXPECT_EQ(fs::Fwrite("a", 1, 1, open(files.make("in", "abc"), "rb")), 0U);
    close();
    EXPECT_EQ(files.content("in"), "61 62 63"_bytes);
}

TEST_F(FsTest, WritingMoreThanADiskTakesGivesAShortCount) {
    const std::string megabyte(1 << 20, 'x');
    EXPECT_LT(fs::Fwrite(megabyte.data(), 1, megabyte.size(), openFull()), megabyte.size());
}

TEST_F(FsTest, OriginsAreNumberedAsTheFileLayerNumbersThem) {
    EXPECT_EQ(fs::kFromStart, 0U);
    EXPECT_EQ(fs::kFromCurrent, 1U);
    EXPECT_EQ(fs::kFromEnd, 2U);
}

TEST_F(FsTest, SeekingCountsFromItsOrigin) {
    const struct {
        std::int64_t offset;
        fs::Origin origin;
        std::int64_t arrivesAt;
    } kMoves[] = {
        {3, fs::kFromStart, 3}, {4, fs::kFromCurrent, 7}, {-2, fs::kFromCurrent, 5},  {0, fs::kFromEnd, 10},
        {-1, fs::kFromEnd, 9},  {5, fs::kFromEnd, 15},    {100, fs::kFromStart, 100}, {0, fs::kFromStart, 0},
    };
    open(files.make("in", "0123456789"), "rb");
    for (const auto& move : kMoves) {
        SCOPED_TRACE(::testing::Message() << "offset " << move.offset << ", origin " << move.origin);
        EXPECT_EQ(fs::Fseek(stream, move.offset, move.origin), 0);
        EXPECT_EQ(fs::Ftell(stream), move.arrivesAt);
    }
}

TEST_F(FsTest, SeekingDecidesWhatIsReadNext) {
    char byte = 0;
    open(files.make("in", "0123456789"), "rb");
    EXPECT_EQ(fs::Fseek(stream, -3, fs::kFromEnd), 0);
    EXPECT_EQ(fs::Fread(&byte, 1, 1, stream), 1U);
    EXPECT_EQ(byte, '7');
}

TEST_F(FsTest, SeekingBeforeTheStartFailsAndStaysWhereItWas) {
    open(files.make("in", "0123456789"), "rb");
    EXPECT_EQ(fs::Fseek(stream, 4, fs::kFromStart), 0);
    EXPECT_NE(fs::Fseek(stream, -5, fs::kFromCurrent), 0);
    EXPECT_NE(fs::Fseek(stream, -1, fs::kFromStart), 0);
    EXPECT_EQ(fs::Ftell(stream), 4);
}

TEST_F(FsTest, AnUnknownOriginFails) { EXPECT_NE(fs::Fseek(open(files.make("in", "abc"), "rb"), 0, 99), 0); }

TEST_F(FsTest, OffsetsHaveSixtyFourBits) {
    open(files.path("out"), "wb");
    EXPECT_EQ(fs::Fseek(stream, 5 * kGiB, fs::kFromStart), 0);
    EXPECT_EQ(fs::Ftell(stream), 5 * kGiB);
    EXPECT_EQ(fs::Fwrite("x", 1, 1, stream), 1U);
    close();
    EXPECT_EQ(std::filesystem::file_size(files.path("out")), 5U * kGiB + 1U);

    open(files.path("out"), "rb");
    EXPECT_EQ(fs::Fseek(stream, 0, fs::kFromEnd), 0);
    EXPECT_EQ(fs::Ftell(stream), 5 * kGiB + 1);
}

TEST_F(FsTest, TellingCountsTheBytesReadAndWritten) {
    char bytes[3];
    EXPECT_EQ(fs::Fwrite("0123456789", 1, 10, open(files.path("file"), "wb")), 10U);
    EXPECT_EQ(fs::Ftell(stream), 10);
    close();
    open(files.path("file"), "rb");
    EXPECT_EQ(fs::Ftell(stream), 0);
    EXPECT_EQ(fs::Fread(bytes, 1, 3, stream), 3U);
    EXPECT_EQ(fs::Ftell(stream), 3);
}

TEST_F(FsTest, APipeHasNoOffset) {
    const std::string pipe = files.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int otherEnd = ::open(pipe.c_str(), O_RDWR);  // so that opening the pipe does not wait for a writer
    ASSERT_GE(otherEnd, 0);
    open(pipe, "rb");
    EXPECT_EQ(fs::Ftell(stream), -1);
    EXPECT_NE(fs::Fseek(stream, 0, fs::kFromStart), 0);
    ::close(otherEnd);
}

TEST_F(FsTest, FlushingHandsTheBytesToTheSystem) {
    EXPECT_EQ(fs::Fwrite("abc", 1, 3, open(files.path("out"), "wb")), 3U);
    EXPECT_EQ(fs::Fflush(stream), 0);
    EXPECT_EQ(files.content("out"), "61 62 63"_bytes);
}

TEST_F(FsTest, FlushingToAFullDiskFails) {
    EXPECT_EQ(fs::Fwrite("abc", 1, 3, openFull()), 3U);
    EXPECT_NE(fs::Fflush(stream), 0);
}

TEST_F(FsTest, ClosingOnAFullDiskFails) {
    EXPECT_EQ(fs::Fwrite("abc", 1, 3, openFull()), 3U);
    EXPECT_NE(fs::Fclose(stream), 0);
    stream = nullptr;
}

TEST_F(FsTest, ClosingWritesWhatIsLeft) {
    EXPECT_EQ(fs::Fwrite("abc", 1, 3, open(files.path("out"), "wb")), 3U);
    EXPECT_EQ(fs::Fclose(stream), 0);
    stream = nullptr;
    EXPECT_EQ(files.content("out"), "61 62 63"_bytes);
}

}  // namespace
}  // namespace qor::test
