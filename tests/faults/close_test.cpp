// Flushing, closing and letting go on a disk that fails.
#include <optional>

#include "faults/on_scripted_disk.h"

namespace qor::test {
namespace {

using Flush = OnScriptedDisk;
using Close = OnScriptedDisk;
using LettingGo = OnScriptedDisk;

// ---- Flush ----------------------------------------------------------------------------------------------------------

TEST_F(Flush, WritesWhatIsStagedFlushesAndAsksForTheOffset) {
    opened(Mode::Write);
    file << 7;
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell");
    EXPECT_EQ(content(), "07 00 00 00"_bytes);
    EXPECT_EQ(stateOf(file), "pos 4, len 0, binary, eof");
}

TEST_F(Flush, OfNothingStagedDoesNotWrite) {
    opened(Mode::Write);
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(disk.transcript(), "flush; tell");
}

TEST_F(Flush, OutsideModeWriteAsksNothingOfTheStream) {
    for (const Mode mode : {Mode::Read, Mode::ReadWrite, kFourthMode}) {
        openedOn("abc", Format::Binary, mode);
        EXPECT_TRUE(file.flush());
        EXPECT_EQ(disk.transcript(), "") << static_cast<int>(mode);
    }
}

TEST_F(Flush, OfAShortWriteHasTwoTexts) {
    opened(Mode::Write);
    file << 7;
    disk.write(1).takesOnly(2);
    EXPECT_FALSE(file.flush());
    EXPECT_EQ(disk.transcript(), "write 4 -> 2; flush; tell");
    EXPECT_EQ(stateOf(file), "pos 2, len 0, binary, eof: Fwrite failed. fflush failed.");
}

TEST_F(Flush, ThatTheStreamRefusesHasOneText) {
    opened(Mode::Write);
    file << 7;
    disk.flush(1).fails();
    EXPECT_FALSE(file.flush());
    EXPECT_EQ(disk.transcript(), "write 4; flush -> -1; tell");
    EXPECT_EQ(stateOf(file), "pos 4, len 0, binary, eof: fflush failed.");
}

TEST_F(Flush, WhereWriteAndFlushFailHasEachTextOnce) {
    opened(Mode::Write);
    file << 7;
    disk.write(1).fails();
    disk.flush(1).fails();
    EXPECT_FALSE(file.flush());
    EXPECT_EQ(disk.transcript(), "write 4 -> 0; flush -> -1; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Fwrite failed. fflush failed.");
}

TEST_F(Flush, ThatFailsDropsWhatWasStaged) {
    opened(Mode::Write);
    file << 0x04030201;
    disk.write(1).takesOnly(2);
    EXPECT_FALSE(file.flush());
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(disk.transcript(), "write 4 -> 2; flush; tell; flush; tell");
    EXPECT_EQ(content(), "01 02"_bytes);
    EXPECT_EQ(stateOf(file), "pos 2, len 0, binary, eof");
}

TEST_F(Flush, SucceedsWithATextIfTheStreamCannotTellItsOffset) {
    opened(Mode::Write);
    file << 7;
    disk.tell(1).fails();
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Tell failed.");
    EXPECT_EQ(content(), "07 00 00 00"_bytes);
}

TEST_F(Flush, ThatCannotTellTheOffsetPutsThePositionWhereItWasLastKnown) {
    opened(Mode::Write);
    file << 7;
    EXPECT_TRUE(file.flush());
    file << 8;
    disk.tell(1).fails();
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(stateOf(file), "pos 4, len 0, binary, eof: Tell failed.");
}

TEST_F(Flush, ThatCannotTellTheOffsetCountsADirectWriteAmongWhatWasKnown) {
    opened(Mode::Write, Format::Text);
    EXPECT_TRUE(file.write(std::string(kBuffer + 1, 'x').c_str()));
    file << 'y';
    disk.tell(1).fails();
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(stateOf(file), "pos 1048577, len 0, text, eof: Tell failed.");
}

TEST_F(Flush, WhereAllFailsHasTheTextOfTheLast) {
    opened(Mode::Write);
    file << 7;
    disk.write(1).fails();
    disk.flush(1).fails();
    disk.tell(1).fails();
    EXPECT_FALSE(file.flush());
    EXPECT_EQ(disk.transcript(), "write 4 -> 0; flush -> -1; tell -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Tell failed.");
}

// ---- Close ----------------------------------------------------------------------------------------------------------

TEST_F(Close, WritesFlushesTellsAndCloses) {
    opened(Mode::Write);
    file << 7;
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell; close");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof");
}

TEST_F(Close, OfAReaderOnlyCloses) {
    openedOn("abc");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "close");
}

TEST_F(Close, InTheThirdModeDropsWhatIsStaged) {
    opened(Mode::ReadWrite);
    file << 7;
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "close");
    EXPECT_EQ(content(), ""_bytes);
}

TEST_F(Close, OfAClosedFileAsksNothingOfTheDisk) {
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "");
}

TEST_F(Close, AShortLastWriteIsReportedAsAFailedClose) {
    opened(Mode::Write);
    file << 7;
    disk.write(1).takesOnly(2);
    EXPECT_FALSE(file.close());
    EXPECT_EQ(disk.transcript(), "write 4 -> 2; flush; tell; close");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Fclose failed.");
    EXPECT_EQ(content(), "07 00"_bytes);
}

TEST_F(Close, AFailedFlushIsReportedAsAFailedClose) {
    opened(Mode::Write);
    file << 7;
    disk.flush(1).fails();
    EXPECT_FALSE(file.close());
    EXPECT_EQ(disk.transcript(), "write 4; flush -> -1; tell; close");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Fclose failed.");
}

TEST_F(Close, AFailureOfTheStreamLeavesAClosedFile) {
    opened(Mode::Write);
    file << 7;
    disk.close(1).fails();
    EXPECT_FALSE(file.close());
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell; close -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Fclose failed.");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof");
}

TEST_F(Close, AFailureOfAReaderIsReported) {
    openedOn("abc");
    disk.close(1).fails();
    EXPECT_FALSE(file.close());
    EXPECT_EQ(disk.transcript(), "close -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Fclose failed.");
}

TEST_F(Close, AFailedTellReplacesTheTextButNotTheResult) {
    opened(Mode::Write);
    file << 7;
    disk.tell(1).fails();
    EXPECT_TRUE(file.close());
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell -> -1; close");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Tell failed.");
}

TEST_F(Close, AnEarlierFailureIsNotReportedAgain) {
    opened(Mode::Write, Format::Text);
    disk.write(2).fails();
    EXPECT_FALSE(file.write(std::string(kBuffer + 1, 'x').c_str()));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof");
}

TEST_F(Close, AndAFlushBeforeItForgetThatALargeWriteFailed) {
    opened(Mode::Write, Format::Text);
    disk.write(2).fails();
    EXPECT_FALSE(file.write(std::string(2 * kBuffer, 'x').c_str()));
    EXPECT_EQ(file.error(), "Fwrite failed. Requested 0, read 0.");
    EXPECT_TRUE(file.flush());
    EXPECT_TRUE(file.ok());
    EXPECT_TRUE(file.close());
    EXPECT_TRUE(file.ok());
    EXPECT_EQ(content(), Bytes{""});
}

// ---- Letting go -----------------------------------------------------------------------------------------------------

TEST_F(LettingGo, OfTheLastHandleWritesAndCloses) {
    opened(Mode::Write);
    file << 7;
    std::optional<File> copy(file);
    file = File();
    EXPECT_EQ(disk.transcript(), "");
    copy.reset();
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell; close");
    EXPECT_EQ(content(), "07 00 00 00"_bytes);
}

TEST_F(LettingGo, OfAFileThatCannotBeWrittenClosesItAllTheSame) {
    opened(Mode::Write);
    file << 7;
    disk.write(1).takesOnly(1);
    disk.flush(1).fails();
    disk.tell(1).fails();
    disk.close(1).fails();
    file = File();
    EXPECT_EQ(disk.transcript(), "write 4 -> 1; flush -> -1; tell -> -1; close -> -1");
    EXPECT_EQ(disk.openStreams(), 0u);
    EXPECT_EQ(content(), "07"_bytes);
}

TEST_F(LettingGo, OfAClosedFileAsksNothingOfTheDisk) {
    file = File();
    EXPECT_EQ(disk.transcript(), "");
}

TEST_F(LettingGo, OfTheThirdModeDropsWhatIsStaged) {
    opened(Mode::ReadWrite);
    file << 7;
    file = File();
    EXPECT_EQ(disk.transcript(), "close");
    EXPECT_EQ(content(), ""_bytes);
}

}  // namespace
}  // namespace qor::test
