// The disk that fails on cue: that it is the library's disk, and that it does what its script says.
#include <filesystem>

#include "faults/on_scripted_disk.h"

namespace qor::test {
namespace {

using StandIn = OnScriptedDisk;

TEST_F(StandIn, TakesThePlaceOfTheRealFileSystem) {
    ASSERT_TRUE(file.open(kPath, Mode::Write, Format::Binary));
    file << 7;
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "open wb; write 4; flush; tell; close");
    EXPECT_EQ(content(), "07 00 00 00"_bytes);
    EXPECT_FALSE(std::filesystem::exists(kPath));
}

// The functions by themselves.
class Simulated : public ::testing::Test {
 protected:
    Disk disk;
    char bytes[16] = {};

    Disk::Stream* opened(const char* mode) {
        Disk::Stream* const stream = disk.Fopen("a", mode);
        disk.takeTranscript();
        return stream;
    }
};

TEST_F(Simulated, AFileIsReadOnlyIfItIsThere) {
    EXPECT_EQ(disk.Fopen("a", "rb"), nullptr);
    disk.make("a", "abc");
    EXPECT_NE(disk.Fopen("a", "rb"), nullptr);
    EXPECT_EQ(disk.transcript(), "open rb -> null; open rb");
    EXPECT_EQ(disk.openStreams(), 1u);
}

TEST_F(Simulated, AFileOpenedForWritingIsEmptied) {
    disk.make("a", "abc");
    opened("wb");
    EXPECT_EQ(disk.content("a"), "");
}

TEST_F(Simulated, AReadEndsWithTheFile) {
    disk.make("a", "abc");
    Disk::Stream* const stream = opened("rb");
    EXPECT_EQ(disk.Fread(bytes, 2, stream), 2u);
    EXPECT_EQ(disk.Fread(bytes, 2, stream), 1u);
    EXPECT_EQ(disk.Ftell(stream), 3);
    EXPECT_EQ(disk.transcript(), "read 2; read 2 -> 1; tell");
    EXPECT_EQ(bytes[0], 'c');
}

TEST_F(Simulated, AStreamMovesBytesOneWayOnly) {
    disk.make("a", "abc");
    EXPECT_EQ(disk.Fwrite("xyz", 3, opened("rb")), 0u);
    EXPECT_EQ(disk.content("a"), "abc");
    EXPECT_EQ(disk.Fread(bytes, 3, opened("wb")), 0u);
}

TEST_F(Simulated, AWriteBehindTheEndLeavesZerosBetween) {
    Disk::Stream* const stream = opened("wb");
    EXPECT_EQ(disk.Fseek(stream, 2, fs::kFromStart), 0);
    EXPECT_EQ(disk.Fwrite("xy", 2, stream), 2u);
    EXPECT_EQ(Bytes{disk.content("a")}, "00 00 78 79"_bytes);
}

TEST_F(Simulated, ARemovedFileStaysWithTheStreamsThatHaveIt) {
    disk.make("a", "abc");
    Disk::Stream* const stream = opened("rb");
    disk.remove("a");
    EXPECT_FALSE(disk.has("a"));
    disk.make("a", "xyz");
    EXPECT_EQ(disk.Fread(bytes, 3, stream), 3u);
    EXPECT_EQ(bytes[0], 'a');
}

TEST_F(Simulated, SeeksCountFromTheirOrigin) {
    disk.make("a", "abcdef");
    Disk::Stream* const stream = opened("rb");
    EXPECT_EQ(disk.Fseek(stream, 4, fs::kFromStart), 0);
    EXPECT_EQ(disk.Fseek(stream, -1, fs::kFromCurrent), 0);
    EXPECT_EQ(disk.Ftell(stream), 3);
    EXPECT_EQ(disk.Fseek(stream, 2, fs::kFromEnd), 0);
    EXPECT_EQ(disk.Ftell(stream), 8);
    EXPECT_EQ(disk.Fseek(stream, -9, fs::kFromCurrent), -1);
    EXPECT_EQ(disk.Ftell(stream), 8);
    EXPECT_EQ(disk.transcript(),
              "seek 4; seek -1 from here; tell; seek 2 from end; tell; seek -9 from here -> -1; tell");
}

TEST_F(Simulated, AFileCanClaimALengthItDoesNotHave) {
    disk.make("a", "abc");
    disk.claimLength("a", INT64_MAX);
    Disk::Stream* const stream = opened("rb");
    EXPECT_EQ(disk.Fseek(stream, 0, fs::kFromEnd), 0);
    EXPECT_EQ(disk.Ftell(stream), INT64_MAX);
    EXPECT_EQ(disk.Fread(bytes, 1, stream), 0u);
    EXPECT_EQ(disk.Fseek(stream, 1, fs::kFromCurrent), -1);
}

TEST_F(Simulated, OneCallFailsOnce) {
    Disk::Stream* const stream = opened("wb");
    disk.flush(2).fails();
    for (int i = 0; i < 3; ++i) disk.Fflush(stream);
    EXPECT_EQ(disk.transcript(), "flush; flush -> -1; flush");
    EXPECT_EQ(disk.faultsMet(), 1u);
}

TEST_F(Simulated, OrSeveralTimes) {
    Disk::Stream* const stream = opened("wb");
    disk.flush(2).times(2).fails();
    for (int i = 0; i < 4; ++i) disk.Fflush(stream);
    EXPECT_EQ(disk.transcript(), "flush; flush -> -1; flush -> -1; flush");
    EXPECT_EQ(disk.faultsMet(), 2u);
}

TEST_F(Simulated, OrEveryCallFromThereOn) {
    Disk::Stream* const stream = opened("wb");
    disk.tell(2).andLater().fails();
    for (int i = 0; i < 4; ++i) disk.Ftell(stream);
    EXPECT_EQ(disk.transcript(), "tell; tell -> -1; tell -> -1; tell -> -1");
    EXPECT_EQ(disk.faultsMet(), 3u);
}

TEST_F(Simulated, CallsAreCountedFromTheMomentTheyAreScripted) {
    Disk::Stream* const stream = opened("wb");
    disk.Fflush(stream);
    disk.flush(1).fails();
    EXPECT_EQ(disk.Fflush(stream), -1);
}

TEST_F(Simulated, CallsAreCountedUpToTheLastThatFailed) {
    disk.tell(2).fails();
    Disk::Stream* const stream = opened("wb");
    for (int i = 0; i < 5; ++i) disk.Ftell(stream);
    EXPECT_EQ(disk.callsOf(Call::Tell), 5u);
    EXPECT_EQ(disk.callsUntilTheLastFault(Call::Tell), 2u);
    EXPECT_EQ(disk.callsUntilTheLastFault(Call::Open), 1u);
}

TEST_F(Simulated, AWriteFallsShortAsItIsTold) {
    Disk::Stream* const stream = opened("wb");
    disk.write(1).takesOnly(2);
    disk.write(2).isShortBy(1);
    disk.write(3).takesHalf();
    disk.write(4).fails();
    for (int i = 0; i < 5; ++i) disk.Fwrite("abcdefgh", 8, stream);
    EXPECT_EQ(disk.transcript(), "write 8 -> 2; write 8 -> 7; write 8 -> 4; write 8 -> 0; write 8");
    EXPECT_EQ(disk.content("a"), "ababcdefgabcdabcdefgh");
}

TEST_F(Simulated, AReadThatFallsShortLeavesTheRestToTheNext) {
    disk.make("a", "abcdef");
    Disk::Stream* const stream = opened("rb");
    disk.read(1).takesOnly(2);
    EXPECT_EQ(disk.Fread(bytes, 4, stream), 2u);
    EXPECT_EQ(disk.Fread(bytes, 4, stream), 4u);
    EXPECT_EQ(std::string(bytes), "cdef");
}

TEST_F(Simulated, ASeekThatFailsDoesNotMove) {
    disk.make("a", "abcdef");
    Disk::Stream* const stream = opened("rb");
    disk.seek(1).fails();
    EXPECT_EQ(disk.Fseek(stream, 3, fs::kFromStart), -1);
    EXPECT_EQ(disk.Ftell(stream), 0);
    EXPECT_EQ(disk.transcript(), "seek 3 -> -1; tell");
}

TEST_F(Simulated, AStreamIsGoneAfterItsCloseEvenIfThatFails) {
    disk.close(1).fails();
    EXPECT_EQ(disk.Fclose(opened("wb")), -1);
    EXPECT_EQ(disk.transcript(), "close -> -1");
    EXPECT_EQ(disk.openStreams(), 0u);
}

TEST_F(Simulated, AnOpenThatFailsTouchesNothing) {
    disk.make("a", "abc");
    disk.open(1).fails();
    EXPECT_EQ(disk.Fopen("a", "wb"), nullptr);
    EXPECT_EQ(disk.content("a"), "abc");
    EXPECT_EQ(disk.transcript(), "open wb -> null");
}

}  // namespace
}  // namespace qor::test
