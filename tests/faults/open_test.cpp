// Opening on a disk that fails: what each mode asks of the stream, and what is left of a failure.
#include "faults/on_scripted_disk.h"

namespace qor::test {
namespace {

using Open = OnScriptedDisk;

// ---- The calls of an open that goes well ----------------------------------------------------------------------------

TEST_F(Open, ForReadingMeasuresAndGoesBackToTheStart) {
    disk.make(kPath, "abc");
    EXPECT_TRUE(file.open(kPath, Mode::Read, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open rb; seek 0 from end; tell; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 3, binary");
}

TEST_F(Open, ForWritingAsksNothingOfTheStream) {
    EXPECT_TRUE(file.open(kPath, Mode::Write, Format::Text));
    EXPECT_EQ(disk.transcript(), "open wb");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof");
}

TEST_F(Open, InTheThirdModeMeasuresAndStaysAtTheEnd) {
    disk.make(kPath, "abc");
    disk.claimLength(kPath, 9);
    EXPECT_TRUE(file.open(kPath, Mode::ReadWrite, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open wb; seek 0 from end; tell");
    EXPECT_EQ(stateOf(file), "pos 9, len 9, binary, eof");
}

TEST_F(Open, InAModeOutsideTheThreeIsAsForReading) {
    disk.make(kPath, "abc");
    EXPECT_TRUE(file.open(kPath, kFourthMode, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open rb; seek 0 from end; tell; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 3, binary");
}

// Whoever opens a file through a link goes on with that file, wherever the link leads by then.
TEST_F(Open, OfALinkOpensTheFileThatItLeadsTo) {
    const TestFolder real;
    const std::string target = std::filesystem::canonical(real.make("target", "")).string();
    std::filesystem::create_symlink(target, real.path("link"));
    disk.make(target, "abc");
    EXPECT_TRUE(file.open(real.path("link").c_str(), Mode::Read, Format::Binary));
    EXPECT_EQ(stateOf(file), "pos 0, len 3, binary");
}

// ---- A stream that cannot be opened ---------------------------------------------------------------------------------

TEST_F(Open, OfAMissingFileLeavesNoText) {
    EXPECT_FALSE(file.open(kPath, Mode::Read, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open rb -> null");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof");
}

TEST_F(Open, ForWritingThatIsRefusedLeavesNoText) {
    disk.open(1).fails();
    EXPECT_FALSE(file.open(kPath, Mode::Write, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open wb -> null");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof");
}

TEST_F(Open, ThatIsRefusedCanBeTriedAgain) {
    disk.open(1).fails();
    EXPECT_FALSE(file.open(kPath, Mode::Write, Format::Binary));
    EXPECT_TRUE(file.open(kPath, Mode::Write, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open wb -> null; open wb");
}

// ---- A length that cannot be measured -------------------------------------------------------------------------------

TEST_F(Open, InTheThirdModeSucceedsWithoutALengthIfTheMeasuringSeekFails) {
    disk.claimLength(kPath, 9);
    disk.seek(1).fails();
    EXPECT_TRUE(file.open(kPath, Mode::ReadWrite, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open wb; seek 0 from end -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Seek failed, returning zero.");
}

TEST_F(Open, InTheThirdModeTakesAFailedTellForTheLength) {
    disk.tell(1).fails();
    EXPECT_TRUE(file.open(kPath, Mode::ReadWrite, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open wb; seek 0 from end; tell -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len all bits set, binary: Tell failed.");
}

TEST_F(Open, ForReadingForgetsThatTheMeasuringSeekFailed) {
    disk.make(kPath, "abc");
    disk.seek(1).fails();
    EXPECT_TRUE(file.open(kPath, Mode::Read, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open rb; seek 0 from end -> -1; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof");
}

TEST_F(Open, ForReadingForgetsThatTheMeasuringTellFailed) {
    disk.make(kPath, "abc");
    disk.tell(1).fails();
    EXPECT_TRUE(file.open(kPath, Mode::Read, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open rb; seek 0 from end; tell -> -1; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len all bits set, binary");
}

// ---- A stream that cannot be rewound --------------------------------------------------------------------------------

TEST_F(Open, ForReadingSucceedsAtTheEndIfTheRewindingSeekFails) {
    disk.make(kPath, "abc");
    disk.seek(2).fails();
    EXPECT_TRUE(file.open(kPath, Mode::Read, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open rb; seek 0 from end; tell; seek 0 -> -1");
    EXPECT_EQ(stateOf(file), "pos 3, len 3, binary, eof: Seek failed, returning zero.");
}

TEST_F(Open, ForReadingSucceedsIfBothSeeksFail) {
    disk.make(kPath, "abc");
    disk.seek(1).andLater().fails();
    EXPECT_TRUE(file.open(kPath, Mode::Read, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open rb; seek 0 from end -> -1; seek 0 -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Seek failed, returning zero.");
}

TEST_F(Open, ForReadingFailsIfTheStreamCannotTellThatItIsAtTheStart) {
    disk.make(kPath, "abc");
    disk.tell(2).fails();
    EXPECT_FALSE(file.open(kPath, Mode::Read, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open rb; seek 0 from end; tell; seek 0; tell -> -1; close");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Failed to rewind file while opening.");
}

TEST_F(Open, ThatCannotRewindHasItsOwnTextWhateverItsCloseDid) {
    disk.make(kPath, "abc");
    disk.tell(2).fails();
    disk.close(1).fails();
    EXPECT_FALSE(file.open(kPath, Mode::Read, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open rb; seek 0 from end; tell; seek 0; tell -> -1; close -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Failed to rewind file while opening.");
}

TEST_F(Open, InAModeOutsideTheThreeFailsIfItCannotRewind) {
    disk.make(kPath, "abc");
    disk.tell(1).andLater().fails();
    EXPECT_FALSE(file.open(kPath, kFourthMode, Format::Binary));
    EXPECT_EQ(disk.transcript(), "open rb; seek 0 from end; tell -> -1; seek 0; tell -> -1; close");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof: Failed to rewind file while opening.");
}

TEST_F(Open, ThatCannotRewindLeavesAClosedFile) {
    disk.make(kPath, "abc");
    disk.tell(2).fails();
    EXPECT_FALSE(file.open(kPath, Mode::Read, Format::Binary));
    char c = 'x';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "File not successfully opened, cannot read.");
}

// ---- Opening what is open -------------------------------------------------------------------------------------------

TEST_F(Open, FlushesAndClosesTheFormerFile) {
    opened(Mode::Write);
    file << 7;
    EXPECT_TRUE(file.open("simulated/b", Mode::Write, Format::Text));
    EXPECT_EQ(disk.transcript(), "write 4; flush; tell; close; open wb");
    EXPECT_EQ(content(), "07 00 00 00"_bytes);
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof");
}

TEST_F(Open, TellsOfAFormerFileThatDidNotClose) {
    opened(Mode::Write);
    disk.close(1).fails();
    EXPECT_TRUE(file.open("simulated/b", Mode::Write, Format::Binary));
    EXPECT_EQ(disk.transcript(), "flush; tell; close -> -1; open wb");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Fclose failed.");
}

TEST_F(Open, TellsOfAFormerFileThatWasNotWritten) {
    opened(Mode::Write);
    file << 7;
    disk.write(1).takesOnly(3);
    EXPECT_TRUE(file.open("simulated/b", Mode::Write, Format::Binary));
    EXPECT_EQ(disk.transcript(), "write 4 -> 3; flush; tell; close; open wb");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Fclose failed.");
}

TEST_F(Open, TellsOfAFormerFileThatWasNotFlushed) {
    opened(Mode::Write);
    disk.flush(1).fails();
    EXPECT_TRUE(file.open("simulated/b", Mode::Write, Format::Binary));
    EXPECT_EQ(disk.transcript(), "flush -> -1; tell; close; open wb");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Fclose failed.");
}

TEST_F(Open, TellsThatAFormerFileDidNotKnowItsOffset) {
    opened(Mode::Write);
    disk.tell(1).fails();
    EXPECT_TRUE(file.open("simulated/b", Mode::Write, Format::Binary));
    EXPECT_EQ(disk.transcript(), "flush; tell -> -1; close; open wb");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Tell failed.");
}

TEST_F(Open, ForReadingForgetsThatTheFormerFileDidNotClose) {
    disk.make("simulated/b", "abc");
    for (const Mode mode : {Mode::Read, kFourthMode}) {
        opened(Mode::Write);
        disk.close(1).fails();
        EXPECT_TRUE(file.open("simulated/b", mode, Format::Binary));
        EXPECT_EQ(disk.transcript(), "flush; tell; close -> -1; open rb; seek 0 from end; tell; seek 0; tell");
        EXPECT_EQ(stateOf(file), "pos 0, len 3, binary");
    }
}

TEST_F(Open, InTheThirdModeForgetsThatTheFormerFileDidNotClose) {
    opened(Mode::Write);
    disk.close(1).fails();
    EXPECT_TRUE(file.open("simulated/b", Mode::ReadWrite, Format::Binary));
    EXPECT_EQ(disk.transcript(), "flush; tell; close -> -1; open wb; seek 0 from end; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof");
}

TEST_F(Open, ThatIsRefusedStillTellsOfTheFormerFile) {
    opened(Mode::Write);
    disk.close(1).fails();
    EXPECT_FALSE(file.open("simulated/none", Mode::Read, Format::Binary));
    EXPECT_EQ(disk.transcript(), "flush; tell; close -> -1; open rb -> null");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof: Fclose failed.");
}

TEST_F(Open, OfAFormerReaderOnlyClosesIt) {
    openedOn("abc");
    char c;
    EXPECT_TRUE(file.read(c));
    EXPECT_TRUE(file.open("simulated/b", Mode::Write, Format::Binary));
    EXPECT_EQ(disk.transcript(), "read 3; close; open wb");
}

}  // namespace
}  // namespace qor::test
