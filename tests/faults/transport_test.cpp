// Bytes on their way through the staging buffer: the calls they make on the stream, and what a failing one leaves.
#include <span>
#include <string>

#include "faults/on_scripted_disk.h"

namespace qor::test {
namespace {

using Transport = OnScriptedDisk;
using ThirdMode = OnScriptedDisk;
using FourthMode = OnScriptedDisk;

constexpr std::uint64_t kTwoAndAHalfMiB = 0x280000;

std::string many(std::uint64_t n, char c = 'x') { return std::string(n, c); }

// ---- Writing --------------------------------------------------------------------------------------------------------

TEST_F(Transport, ThreeMiBOfSmallWritesReachTheStreamBufferByBuffer) {
    opened(Mode::Write);
    for (int i = 0; i < 3 * 0x40000; ++i) ASSERT_TRUE(file.write(i));
    EXPECT_EQ(disk.transcript(), "write 1048576; write 1048576");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "write 1048576; write 1048576; write 1048576; flush; tell; close");
    EXPECT_EQ(disk.content(kPath).size(), 0x300000u);
}

TEST_F(Transport, AFullBufferWaitsForTheNextByte) {
    opened(Mode::Write);
    stage(kBuffer);
    EXPECT_EQ(disk.transcript(), "");
    stage(1);
    EXPECT_EQ(disk.transcript(), "write 1048576");
    EXPECT_EQ(stateOf(file), "pos 1048577, len 0, binary, eof");
}

TEST_F(Transport, ATextOfAsMuchAsTheBufferHoldsIsStaged) {
    opened(Mode::Write, Format::Text);
    EXPECT_TRUE(file.write(many(kBuffer).c_str()));
    EXPECT_EQ(disk.transcript(), "");
}

TEST_F(Transport, AWriteOfMoreThanTheBufferFollowsASpillOfNothing) {
    opened(Mode::Write, Format::Text);
    EXPECT_TRUE(file.write(many(kBuffer + 1).c_str()));
    EXPECT_EQ(disk.transcript(), "write 0; write 1048577");
    EXPECT_EQ(stateOf(file), "pos 1048577, len 0, text, eof");
}

TEST_F(Transport, ALongTextFollowsItsCount) {
    opened(Mode::Write);
    EXPECT_TRUE(file.write(many(kTwoAndAHalfMiB).c_str()));
    EXPECT_EQ(disk.transcript(), "write 8; write 2621440");
    EXPECT_EQ(stateOf(file), "pos 2621448, len 0, binary, eof");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "write 8; write 2621440; flush; tell; close");
    EXPECT_EQ(content(), Bytes{std::string("\0\0\x28\0\0\0\0\0", 8) + many(kTwoAndAHalfMiB)});
}

TEST_F(Transport, AFailedSpillReportsWhatWasStaged) {
    opened(Mode::Write);
    stage(kBuffer - 1);
    disk.write(1).takesOnly(5);
    EXPECT_FALSE(file.write(short{1}));
    EXPECT_EQ(disk.transcript(), "write 1048575 -> 5");
    EXPECT_EQ(stateOf(file), "pos 1048575, len 0, binary, eof: Fwrite failed. Requested 1048575, read 5.");
}

TEST_F(Transport, AFailedSpillKeepsWhatIsStagedAndTheNextAttemptWritesAllOfItAgain) {
    opened(Mode::Write);
    stage(kBuffer);
    disk.write(1).takesOnly(5);
    EXPECT_FALSE(file.write('y'));
    EXPECT_TRUE(file.write('z'));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "write 1048576 -> 5; write 1048576; write 1; flush; tell; close");
    EXPECT_EQ(content(), Bytes{many(kBuffer + 5) + "z"});
}

// Whatever part of the buffer the stream took, it is given all of it again: the file is damaged, and longer than pos().
TEST_F(Transport, HoweverMuchOfASpillWasTakenItIsWrittenTwice) {
    for (const std::uint64_t taken : {std::uint64_t{1}, kBuffer / 2, kBuffer - 1}) {
        opened(Mode::Write);
        stage(kBuffer);
        disk.write(1).takesOnly(taken);
        EXPECT_FALSE(file.write('y'));
        EXPECT_EQ(file.pos(), kBuffer);
        EXPECT_TRUE(file.write('z'));
        EXPECT_EQ(file.pos(), kBuffer + 1);
        EXPECT_TRUE(file.close());
        EXPECT_EQ(content(), Bytes{many(kBuffer + taken) + "z"});
    }
}

TEST_F(Transport, WhatAFailedSpillKeptIsWrittenByClose) {
    opened(Mode::Write);
    stage(kBuffer);
    disk.write(1).fails();
    EXPECT_FALSE(file.write('y'));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "write 1048576 -> 0; write 1048576; flush; tell; close");
    EXPECT_EQ(content(), Bytes{many(kBuffer)});
}

TEST_F(Transport, AfterAFailedSpillWhatFitsIsStagedAllTheSame) {
    opened(Mode::Write);
    stage(kBuffer - 1);
    disk.write(1).fails();
    EXPECT_FALSE(file.write(7));
    EXPECT_TRUE(file.write('y'));
    EXPECT_EQ(disk.transcript(), "write 1048575 -> 0");
    EXPECT_EQ(stateOf(file), "pos 1048576, len 0, binary, eof: Fwrite failed. Requested 1048575, read 0.");
}

TEST_F(Transport, AFailedDirectWriteReportsARequestOfZero) {
    opened(Mode::Write, Format::Text);
    disk.write(2).takesOnly(1000);
    EXPECT_FALSE(file.write(many(kBuffer + 1).c_str()));
    EXPECT_EQ(disk.transcript(), "write 0; write 1048577 -> 1000");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Fwrite failed. Requested 0, read 1000.");
    EXPECT_EQ(content(), Bytes{many(1000)});
}

TEST_F(Transport, AFailedDirectWriteLeavesWhatWasSpilledBeforeIt) {
    opened(Mode::Write, Format::Text);
    file << 'a' << 'b';
    disk.write(2).takesOnly(1);
    EXPECT_FALSE(file.write(many(kBuffer + 1).c_str()));
    EXPECT_EQ(disk.transcript(), "write 2; write 1048577 -> 1");
    EXPECT_EQ(stateOf(file), "pos 2, len 0, text, eof: Fwrite failed. Requested 0, read 1.");
    EXPECT_EQ(content(), Bytes{"abx"});
}

TEST_F(Transport, ADirectWriteIsNotTriedIfTheSpillBeforeItFails) {
    opened(Mode::Write, Format::Text);
    file << 'a' << 'b';
    disk.write(1).takesOnly(1);
    EXPECT_FALSE(file.write(many(kBuffer + 1).c_str()));
    EXPECT_EQ(disk.transcript(), "write 2 -> 1");
    EXPECT_EQ(stateOf(file), "pos 2, len 0, text, eof: Fwrite failed. Requested 2, read 1.");
}

TEST_F(Transport, AWriteThatSucceedsKeepsTheTextOfOneThatFailed) {
    opened(Mode::Write, Format::Text);
    disk.write(2).fails();
    EXPECT_FALSE(file.write(many(kBuffer + 1).c_str()));
    EXPECT_TRUE(file.write('a'));
    EXPECT_EQ(stateOf(file), "pos 1, len 0, text, eof: Fwrite failed. Requested 0, read 0.");
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST_F(Transport, ReadsLoadTheFileChunkByChunk) {
    openedOn(many(kBuffer + 8));
    long value = 0;
    for (std::uint64_t i = 0; i < kBuffer / 8; ++i) ASSERT_TRUE(file.read(value));
    EXPECT_EQ(disk.transcript(), "read 1048576");
    EXPECT_TRUE(file.read(value));
    EXPECT_EQ(disk.transcript(), "read 1048576; read 8");
    EXPECT_EQ(stateOf(file), "pos 1048584, len 1048584, binary, eof");
}

TEST_F(Transport, AReadAtTheEndLoadsNothingAndIsRefused) {
    openedOn("abcd");
    int value = 0;
    EXPECT_TRUE(file.read(value));
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(disk.transcript(), "read 4");
    EXPECT_EQ(file.seek(4), 4u);
    disk.takeTranscript();
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(disk.transcript(), "read 0");
    EXPECT_EQ(stateOf(file), "pos 4, len 4, binary, eof: Attempted to read beyond file size.");
}

TEST_F(Transport, ALongTextIsReadChunkByChunk) {
    openedOn(std::string("\0\0\x28\0\0\0\0\0", 8) + many(kTwoAndAHalfMiB));
    std::string text;
    EXPECT_TRUE(file.read(text));
    EXPECT_EQ(disk.transcript(), "read 1048576; read 1048576; read 524296");
    EXPECT_EQ(stateOf(file), "pos 2621448, len 2621448, binary, eof");
    EXPECT_EQ(Bytes{text}, Bytes{many(kTwoAndAHalfMiB)});
}

TEST_F(Transport, AShortRefillIsAFailureAndTheNextReadLoadsWhatFollows) {
    openedOn("abcdefghij");
    disk.read(1).takesOnly(4);
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(stateOf(file), "pos 0, len 10, binary: Fread failed. Requested 10, read 4.");
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(stateOf(file), "pos 0, len 10, binary: Fread failed. Requested 10, read 6.");
    EXPECT_EQ(disk.transcript(), "read 10 -> 4; read 10 -> 6");
    EXPECT_EQ(c, '?');
}

TEST_F(Transport, AfterAShortRefillASeekReadsOn) {
    openedOn("abcdefghij");
    disk.read(1).takesOnly(4);
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.seek(0), 0u);
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'a');
    EXPECT_EQ(stateOf(file), "pos 1, len 10, binary");
}

// The stream has moved by what the short refill got, and the counters have not: the next chunk is taken for that one.
TEST_F(Transport, AfterAShortRefillTheNextChunkIsTakenForTheOneThatFailed) {
    openedOn("0123456789");
    disk.make(kPath, "0123");
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(stateOf(file), "pos 0, len 10, binary: Fread failed. Requested 10, read 4.");
    disk.make(kPath, "0123456789abcdef");
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, '4');
    EXPECT_EQ(file.pos(), 1u);
    long value = 5;
    EXPECT_TRUE(file.read(value));
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'd');
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 10 -> 4; read 10");
    EXPECT_EQ(file.pos(), 10u);
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
}

TEST_F(Transport, AReadThatFailsInTheNextChunkHasCountedItsFirstHalf) {
    openedOn(many(kBuffer + 6));
    short skipped;
    EXPECT_TRUE(file.read(skipped));
    long value = 5;
    for (std::uint64_t i = 0; i < kBuffer / 8 - 1; ++i) ASSERT_TRUE(file.read(value));
    disk.read(1).isShortBy(1);
    value = 5;
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(disk.transcript(), "read 1048576; read 6 -> 5");
    EXPECT_EQ(stateOf(file), "pos 1048576, len 1048582, binary: Fread failed. Requested 6, read 5.");
    EXPECT_EQ(value, 5);
}

TEST_F(Transport, AReadThatEndsWithTheFileInTheNextChunkIsRefusedBeforeItTakesAnything) {
    openedOn(many(kBuffer + 1));
    short skipped;
    EXPECT_TRUE(file.read(skipped));
    long value = 5;
    for (std::uint64_t i = 0; i < kBuffer / 8 - 1; ++i) ASSERT_TRUE(file.read(value));
    value = 5;
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(disk.transcript(), "read 1048576");
    EXPECT_EQ(stateOf(file), "pos 1048570, len 1048577, binary: Attempted to read beyond file size.");
    EXPECT_EQ(value, 5);
}

TEST_F(Transport, AReadRefusedAfterARefillGivesUpTheChunk) {
    openedOn("abc");
    int value = 5;
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(stateOf(file), "pos 0, len 3, binary: Attempted to read beyond file size.");
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 3; read 0");
    EXPECT_EQ(stateOf(file), "pos 0, len 3, binary: Attempted to read beyond file size.");
    EXPECT_EQ(c, '?');
}

TEST_F(Transport, AFileThatShrankIsAShortRefill) {
    openedOn("abcdef");
    disk.make(kPath, "ab");
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 6 -> 2");
    EXPECT_EQ(stateOf(file), "pos 0, len 6, binary: Fread failed. Requested 6, read 2.");
    EXPECT_EQ(c, '?');
}

TEST_F(Transport, AFileThatGrewEndsWhereItDidWhenItWasOpened) {
    openedOn("ab");
    disk.make(kPath, "abcdef");
    char c = '?';
    EXPECT_TRUE(file.read(c));
    EXPECT_TRUE(file.read(c));
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 2");
    EXPECT_EQ(stateOf(file), "pos 2, len 2, binary, eof: Attempted to read beyond file size.");
}

TEST_F(Transport, ARefillPastTheEndReportsAWrappedFigure) {
    openedOn("abcd");
    EXPECT_EQ(file.seek(8), 8u);
    disk.takeTranscript();
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 1048576 -> 0");
    EXPECT_EQ(stateOf(file), "pos 8, len 4, binary, eof: Fread failed. Requested 18446744073709551612, read 0.");
}

TEST_F(Transport, ARefillPastTheEndFailsEvenIfTheStreamFillsTheBuffer) {
    openedOn("abcd");
    disk.make(kPath, many(3 * kBuffer));
    EXPECT_EQ(file.seek(8), 8u);
    disk.takeTranscript();
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 1048576; read 1048576");
    EXPECT_EQ(stateOf(file), "pos 8, len 4, binary, eof: Fread failed. Requested 18446744073709551612, read 1048576.");
    EXPECT_EQ(c, '?');
}

TEST_F(Transport, ARefillPastTheEndChangesNothingHoweverMuchHasGrownThere) {
    const struct {
        std::uint64_t grown;
        const char* transcript;
        const char* text;
    } cases[] = {
        {0, "read 1048576 -> 0", "Fread failed. Requested 18446744073709551615, read 0."},
        {1, "read 1048576 -> 0", "Fread failed. Requested 18446744073709551615, read 0."},
        {kBuffer, "read 1048576 -> 1048575", "Fread failed. Requested 18446744073709551615, read 1048575."},
        {3 * kBuffer, "read 1048576", "Fread failed. Requested 18446744073709551615, read 1048576."},
    };
    for (const auto& [grown, transcript, text] : cases) {
        SCOPED_TRACE(grown);
        openedOn("abcd");
        disk.make(kPath, "abcd" + many(grown));
        EXPECT_EQ(file.seek(5), 5u);
        disk.takeTranscript();
        char c = '?';
        EXPECT_FALSE(file.read(c));
        EXPECT_EQ(disk.transcript(), transcript);
        EXPECT_EQ(stateOf(file), std::string("pos 5, len 4, binary, eof: ") + text);
        EXPECT_EQ(c, '?');
        EXPECT_EQ(file.seek(0), 0u);
        EXPECT_TRUE(file.read(c));
        EXPECT_EQ(c, 'a');
    }
}

// A read of no bytes would load the chunk and not count it as loaded, so that the next read took the one after it.
TEST_F(Transport, NoBytesAreReadWithoutAskingTheStream) {
    openedOn(many(kBuffer, 'a') + "b");
    EXPECT_TRUE(file.read(std::span<unsigned char>(), Compression::None));
    EXPECT_FALSE(file.read(bufRef(std::span<int>())));
    EXPECT_EQ(disk.transcript(), "");
    EXPECT_EQ(file.error(), "BufRef 'ptr' is null.");
    char c = '?';
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'a');
}

TEST_F(Transport, TheWholeOfAnEmptyFileIsARefillOfNothing) {
    openedOn("");
    ds::Vector<unsigned char> bytes;
    EXPECT_TRUE(file.read(bytes, Compression::None));
    EXPECT_EQ(disk.transcript(), "read 0");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof");
}

TEST_F(Transport, WithoutALengthEveryRefillAsksForABufferful) {
    disk.make(kPath, many(kBuffer) + "yz");
    openedWithoutALength(Mode::Read);
    long value = 0;
    for (std::uint64_t i = 0; i < kBuffer / 8; ++i) ASSERT_TRUE(file.read(value));
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 1048576; read 1048576 -> 2");
    EXPECT_EQ(stateOf(file), "pos 1048576, len all bits set, binary: Fread failed. Requested 1048576, read 2.");
}

// ---- The third mode -------------------------------------------------------------------------------------------------

TEST_F(ThirdMode, SpillsReachTheStreamAndTheRestDoesNot) {
    opened(Mode::ReadWrite);
    stage(kBuffer);
    stage(3);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "write 1048576; close");
    EXPECT_EQ(content(), Bytes{many(kBuffer)});
}

TEST_F(ThirdMode, AFailedSpillKeepsWhatIsStaged) {
    opened(Mode::ReadWrite);
    stage(kBuffer);
    disk.write(1).takesOnly(2);
    EXPECT_FALSE(file.write('y'));
    EXPECT_EQ(stateOf(file), "pos 1048576, len 0, binary, eof: Fwrite failed. Requested 1048576, read 2.");
    EXPECT_TRUE(file.write('z'));
    EXPECT_EQ(disk.transcript(), "write 1048576 -> 2; write 1048576");
    EXPECT_EQ(content(), Bytes{many(kBuffer + 2)});
}

TEST_F(ThirdMode, AFailedDirectWriteReportsARequestOfZero) {
    opened(Mode::ReadWrite);
    disk.write(2).takesHalf();
    EXPECT_FALSE(file.write(many(kBuffer + 2).c_str()));
    EXPECT_EQ(disk.transcript(), "write 0; write 1048578 -> 524289");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Fwrite failed. Requested 0, read 524289.");
}

TEST_F(ThirdMode, AReadOfAnEmptyFileLoadsNothingAndIsRefused) {
    opened(Mode::ReadWrite);
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 0");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Attempted to read beyond file size.");
}

TEST_F(ThirdMode, OnADeviceTheStreamHasNothingToRead) {
    disk.claimLength(kPath, 100);
    opened(Mode::ReadWrite);
    EXPECT_EQ(file.seek(0), 0u);
    disk.takeTranscript();
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 100 -> 0");
    EXPECT_EQ(stateOf(file), "pos 0, len 100, binary: Fread failed. Requested 100, read 0.");
}

TEST_F(ThirdMode, OnADeviceWhatFollowsTheStagedBytesReadsAsZeros) {
    disk.claimLength(kPath, 100);
    opened(Mode::ReadWrite);
    EXPECT_EQ(file.seek(0), 0u);
    disk.takeTranscript();
    file << 0x01020304;
    int value = 5;
    EXPECT_TRUE(file.read(value));
    EXPECT_EQ(value, 0);
    EXPECT_EQ(disk.transcript(), "");
    EXPECT_EQ(stateOf(file), "pos 8, len 100, binary");
}

TEST_F(ThirdMode, OnADeviceNothingOfWhatWasSpilledIsRead) {
    disk.claimLength(kPath, 3 * kBuffer);
    opened(Mode::ReadWrite);
    EXPECT_EQ(file.seek(0), 0u);
    stage(kBuffer);
    file << 0x01020304;
    int value = 5;
    EXPECT_TRUE(file.read(value));
    EXPECT_EQ(value, 0);
}

TEST_F(ThirdMode, OnADeviceAReadBehindStagedBytesEndsWithTheLength) {
    disk.claimLength(kPath, 10);
    opened(Mode::ReadWrite);
    EXPECT_EQ(file.seek(0), 0u);
    file << 0x01020304;
    long value = 5;
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(stateOf(file), "pos 4, len 10, binary: Attempted to read beyond file size.");
}

TEST_F(ThirdMode, WithoutALengthReadsBehindStagedBytesNeverLeaveTheBuffer) {
    openedWithoutALength(Mode::ReadWrite);
    file << 0x01020304;
    int reads = 0;
    int others = 0;
    for (int i = 0; i < 300'000; ++i) {
        int value = 5;
        if (file.read(value)) {
            ++reads;
            others += value != 0;
        }
    }
    // The buffer holds 262,144 numbers, one of which is the staged one. Then there is no chunk to go on with.
    EXPECT_EQ(reads, 262'143);
    EXPECT_EQ(others, 0);
    EXPECT_EQ(stateOf(file), "pos 1048576, len all bits set, binary: Fread failed. Requested 1048576, read 0.");
}

TEST_F(ThirdMode, WithoutALengthAReadAcrossTheEndOfTheBufferTakesTheRestOfItAndFails) {
    openedWithoutALength(Mode::ReadWrite);
    stage(kBuffer - 3);
    long value = 5;
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(disk.transcript(), "read 1048576 -> 0");
    EXPECT_EQ(stateOf(file), "pos 1048576, len all bits set, binary: Fread failed. Requested 1048576, read 0.");
}

TEST_F(ThirdMode, WithoutALengthATextBehindStagedBytesIsEmpty) {
    openedWithoutALength(Mode::ReadWrite);
    stage(3);
    String text = "before";
    EXPECT_TRUE(file.read(text));
    EXPECT_EQ(text, "");
    EXPECT_EQ(disk.transcript(), "");
    EXPECT_EQ(stateOf(file), "pos 11, len all bits set, binary: Tell failed.");
}

// ---- A mode outside the three ---------------------------------------------------------------------------------------

TEST_F(FourthMode, TheStreamTakesNoSpill) {
    openedOn("abc", Format::Binary, kFourthMode);
    stage(kBuffer);
    EXPECT_FALSE(file.write('y'));
    EXPECT_EQ(disk.transcript(), "write 1048576 -> 0");
    EXPECT_EQ(stateOf(file), "pos 1048576, len 3, binary, eof: Fwrite failed. Requested 1048576, read 0.");
}

TEST_F(FourthMode, TheStreamTakesNoDirectWrite) {
    openedOn("abc", Format::Binary, kFourthMode);
    EXPECT_FALSE(file.write(many(kBuffer + 1).c_str()));
    EXPECT_EQ(disk.transcript(), "write 0; write 1048577 -> 0");
    EXPECT_EQ(stateOf(file), "pos 0, len 3, binary: Fwrite failed. Requested 0, read 0.");
}

TEST_F(FourthMode, ClosingDropsWhatIsStaged) {
    openedOn("abc", Format::Binary, kFourthMode);
    file << 7;
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "close");
    EXPECT_EQ(content(), "61 62 63"_bytes);
}

TEST_F(FourthMode, ReadsLoadTheChunkAndWritesGoOverIt) {
    openedOn("abcdef", Format::Text, kFourthMode);
    char c = '?';
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'a');
    EXPECT_TRUE(file.write(short{0}));
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'd');
    EXPECT_EQ(disk.transcript(), "read 6");
    EXPECT_EQ(stateOf(file), "pos 4, len 6, text");
}

TEST_F(FourthMode, NothingOfAUsedUpChunkIsReadBehindStagedBytes) {
    openedOn(many(kBuffer) + "yz", Format::Binary, kFourthMode);
    disk.read(2).fails();
    long value = 0;
    for (std::uint64_t i = 0; i < kBuffer / 8; ++i) ASSERT_TRUE(file.read(value));
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(file.seek(0), 0u);
    file << 'a';
    EXPECT_TRUE(file.read(value));
    EXPECT_EQ(value, 0);
}

TEST_F(FourthMode, AShortRefillIsAFailure) {
    openedOn("abcdef", Format::Binary, kFourthMode);
    disk.read(1).takesOnly(1);
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(stateOf(file), "pos 0, len 6, binary: Fread failed. Requested 6, read 1.");
}

}  // namespace
}  // namespace qor::test
