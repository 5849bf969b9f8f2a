// Seeking, skipping and peeking on a disk that fails.
#include "faults/on_scripted_disk.h"

namespace qor::test {
namespace {

using Seek = OnScriptedDisk;
using Peek = OnScriptedDisk;

// ---- Seek while writing ---------------------------------------------------------------------------------------------

TEST_F(Seek, WhileWritingFlushesAndTellsTwice) {
    opened(Mode::Write);
    file << 0x04030201;
    EXPECT_EQ(file.seek(1), 1u);
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell; seek 1; tell");
    EXPECT_EQ(stateOf(file), "pos 1, len 0, binary, eof");
    file << 'x';
    EXPECT_TRUE(file.close());
    EXPECT_EQ(content(), "01 78 03 04"_bytes);
}

TEST_F(Seek, SkipsFromWhereTheStreamStandsAfterTheFlush) {
    opened(Mode::Write);
    file << 0x04030201;
    EXPECT_EQ(file.skip(-3), 1u);
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell; seek -3 from here; tell");
    EXPECT_EQ(stateOf(file), "pos 1, len 0, binary, eof");
}

TEST_F(Seek, ThatFailsWhileWritingHasWrittenWhatWasStaged) {
    opened(Mode::Write);
    file << 7;
    disk.seek(1).fails();
    EXPECT_EQ(file.seek(2), 0u);
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell; seek 2 -> -1");
    EXPECT_EQ(stateOf(file), "pos 4, len 0, binary, eof: Seek failed, returning zero.");
    EXPECT_EQ(content(), "07 00 00 00"_bytes);
}

TEST_F(Seek, GivesAllBitsSetIfTheStreamCannotTellWhereItIs) {
    opened(Mode::Write);
    file << 7;
    disk.tell(2).fails();
    EXPECT_EQ(file.seek(2), kAllBitsSet);
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell; seek 2; tell -> -1");
    EXPECT_EQ(stateOf(file), "pos 4, len 0, binary, eof: Tell failed.");
}

TEST_F(Seek, ThatSucceedsKeepsTheTextOfItsFlush) {
    opened(Mode::Write);
    file << 7;
    disk.write(1).takesOnly(3);
    EXPECT_EQ(file.seek(1), 1u);
    EXPECT_EQ(disk.transcript(), "write 4 -> 3; flush; tell; seek 1; tell");
    EXPECT_EQ(stateOf(file), "pos 1, len 0, binary, eof: Fwrite failed. fflush failed.");
}

TEST_F(Seek, ThatSucceedsKeepsTheTextOfItsFirstTell) {
    opened(Mode::Write);
    file << 7;
    disk.tell(1).fails();
    EXPECT_EQ(file.seek(1), 1u);
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell -> -1; seek 1; tell");
    EXPECT_EQ(stateOf(file), "pos 1, len 0, binary, eof: Tell failed.");
}

TEST_F(Seek, ThatFailsReplacesTheTextOfItsFlush) {
    opened(Mode::Write);
    disk.flush(1).fails();
    disk.seek(1).fails();
    EXPECT_EQ(file.seek(1), 0u);
    EXPECT_EQ(disk.transcript(), "flush -> -1; tell; seek 1 -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Seek failed, returning zero.");
}

TEST_F(Seek, OfANegativeOffsetFails) {
    opened(Mode::Write);
    EXPECT_EQ(file.seek(-1), 0u);
    EXPECT_EQ(disk.transcript(), "flush; tell; seek -1 -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Seek failed, returning zero.");
}

// ---- Seek while reading ---------------------------------------------------------------------------------------------

TEST_F(Seek, HandsAnyOffsetToTheStreamAsItIs) {
    openedOn("abc");
    EXPECT_EQ(file.seek(INT64_MAX), 0x7fffffffffffffffu);
    EXPECT_EQ(file.seek(INT64_MIN), 0u);
    EXPECT_EQ(file.skip(INT64_MAX), 0u);
    EXPECT_EQ(file.skip(INT64_MIN), 0u);
    EXPECT_EQ(disk.transcript(),
              "seek 9223372036854775807; tell; seek -9223372036854775808 -> -1; "
              "seek 9223372036854775807 from here -> -1; seek -9223372036854775808 from here -> -1");
    EXPECT_EQ(stateOf(file), "pos 9223372036854775807, len 3, binary, eof: Seek failed, returning zero.");
}

TEST_F(Seek, WhileReadingMovesAndTells) {
    openedOn("abcdef");
    EXPECT_EQ(file.seek(5), 5u);
    EXPECT_EQ(file.skip(-2), 3u);
    EXPECT_EQ(disk.transcript(), "seek 5; tell; seek -2 from here; tell");
    EXPECT_EQ(stateOf(file), "pos 3, len 6, binary");
}

TEST_F(Seek, SkipsFromTheEndOfTheLoadedChunk) {
    openedOn(std::string(100, 'x'));
    char c;
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(file.skip(4), 104u);
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 100; seek 4 from here; tell; read 1048576 -> 0");
    EXPECT_EQ(stateOf(file), "pos 104, len 100, binary, eof: Fread failed. Requested 18446744073709551612, read 0.");
}

TEST_F(Seek, ThatFailsWhileReadingHasDroppedTheChunk) {
    openedOn("abc");
    char c = '?';
    EXPECT_TRUE(file.read(c));
    disk.seek(1).fails();
    EXPECT_EQ(file.seek(0), 0u);
    EXPECT_EQ(stateOf(file), "pos 1, len 3, binary: Seek failed, returning zero.");
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(disk.transcript(), "read 3; seek 0 -> -1; read 0");
    EXPECT_EQ(stateOf(file), "pos 1, len 3, binary: Attempted to read beyond file size.");
}

TEST_F(Seek, WhileReadingThatCannotTellCountsFromTheEndOfTheChunk) {
    openedOn("abc");
    char c = '?';
    EXPECT_TRUE(file.read(c));
    disk.tell(1).fails();
    EXPECT_EQ(file.seek(0), kAllBitsSet);
    EXPECT_EQ(disk.transcript(), "read 3; seek 0; tell -> -1");
    EXPECT_EQ(stateOf(file), "pos 3, len 3, binary, eof: Tell failed.");
}

TEST_F(Seek, OfAClosedFileAsksNothingOfTheDisk) {
    EXPECT_EQ(file.seek(3), 0u);
    EXPECT_EQ(file.skip(3), 0u);
    EXPECT_EQ(disk.transcript(), "");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Cannot seek, file is not opened.");
}

TEST_F(Seek, InTheThirdModeOnlyMovesAndTells) {
    opened(Mode::ReadWrite);
    file << 7;
    EXPECT_EQ(file.seek(2), 2u);
    EXPECT_EQ(disk.transcript(), "seek 2; tell");
    EXPECT_EQ(stateOf(file), "pos 2, len 0, binary, eof");
    EXPECT_EQ(content(), ""_bytes);
}

TEST_F(Seek, InTheThirdModeThatFailsHasDroppedWhatWasStaged) {
    opened(Mode::ReadWrite);
    file << 7;
    disk.seek(1).fails();
    EXPECT_EQ(file.seek(2), 0u);
    EXPECT_EQ(stateOf(file), "pos 4, len 0, binary, eof: Seek failed, returning zero.");
    EXPECT_TRUE(file.write(std::string(kBuffer, 'x').c_str()));
    EXPECT_EQ(disk.transcript(), "seek 2 -> -1");
}

TEST_F(Seek, BeyondFourGiBTellsAndMeasuresInFull) {
    disk.make(kPath, "abc");
    disk.claimLength(kPath, 0x7'0000'0001);
    opened(Mode::Read);
    EXPECT_EQ(file.seek(0x6'FFFF'FFFF), 0x6'FFFF'FFFFu);
    EXPECT_EQ(file.skip(1), 0x7'0000'0000u);
    EXPECT_EQ(disk.transcript(), "seek 30064771071; tell; seek 1 from here; tell");
    EXPECT_EQ(stateOf(file), "pos 30064771072, len 30064771073, binary");
}

// ---- Peek -----------------------------------------------------------------------------------------------------------

TEST_F(Peek, LoadsTheChunkAnewEachTimeAndGoesBack) {
    openedOn("abc");
    EXPECT_EQ(file.peek(), 'a');
    EXPECT_EQ(file.peek(), 'a');
    EXPECT_EQ(disk.transcript(), "read 3; seek 0; tell; read 3; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 3, binary");
}

TEST_F(Peek, WithinAChunkDropsItAndGoesBack) {
    openedOn("abc");
    char c;
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(file.peek(), 'b');
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'b');
    EXPECT_EQ(disk.transcript(), "read 3; seek 1; tell; read 2");
}

TEST_F(Peek, AtTheEndIsZeroWithoutAText) {
    openedOn("a");
    char c;
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(file.peek(), 0);
    EXPECT_EQ(disk.transcript(), "read 1; seek 1; tell");
    EXPECT_EQ(stateOf(file), "pos 1, len 1, binary, eof");
    EXPECT_EQ(file.peek(), 0);
    EXPECT_EQ(disk.transcript(), "read 1; seek 1; tell; read 0; seek 1; tell");
}

TEST_F(Peek, ThatCannotReadIsZeroWithoutAText) {
    openedOn("abc");
    disk.read(1).takesOnly(2);
    EXPECT_EQ(file.peek(), 0);
    EXPECT_EQ(disk.transcript(), "read 3 -> 2; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 3, binary");
    EXPECT_EQ(file.peek(), 'a');
}

TEST_F(Peek, ThatCannotGoBackGivesTheByteAndConsumesIt) {
    openedOn("abc");
    disk.seek(1).fails();
    EXPECT_EQ(file.peek(), 'a');
    EXPECT_EQ(disk.transcript(), "read 3; seek 0 -> -1");
    EXPECT_EQ(stateOf(file), "pos 1, len 3, binary: Seek failed, returning zero.");
}

TEST_F(Peek, ThatCannotTellWhereItIsCountsFromTheEndOfTheChunk) {
    openedOn("abc");
    disk.tell(1).fails();
    EXPECT_EQ(file.peek(), 'a');
    EXPECT_EQ(disk.transcript(), "read 3; seek 0; tell -> -1");
    EXPECT_EQ(stateOf(file), "pos 3, len 3, binary, eof: Tell failed.");
}

TEST_F(Peek, OutsideModeReadAsksNothingOfTheStream) {
    for (const Mode mode : {Mode::Write, Mode::ReadWrite, kFourthMode}) {
        openedOn("abc", Format::Binary, mode);
        EXPECT_EQ(file.peek(), 0);
        EXPECT_EQ(file.error(), "File::peek() only supported in read mode.");
        EXPECT_EQ(disk.transcript(), "") << static_cast<int>(mode);
    }
}

TEST_F(Peek, OfAClosedFileAsksNothingOfTheDisk) {
    EXPECT_EQ(file.peek(), 0);
    EXPECT_EQ(disk.transcript(), "");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Cannot seek, file is not opened.");
}

}  // namespace
}  // namespace qor::test
