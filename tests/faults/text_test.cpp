// Texts on a disk that fails: whole text files, and the records of binary files.
#include "faults/on_scripted_disk.h"
#include "qor/core/string_io.h"

namespace qor::test {
namespace {

using WholeText = OnScriptedDisk;
using TextRecord = OnScriptedDisk;

// ---- A text file, read whole ----------------------------------------------------------------------------------------

TEST_F(WholeText, IsReadInOneCallAndThePositionIsRestored) {
    openedOn("some text", Format::Text);
    char c;
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(file.read(), "some text");
    EXPECT_EQ(disk.transcript(), "read 9; seek 0; tell; read 9; seek 1; tell");
    EXPECT_EQ(stateOf(file), "pos 1, len 9, text");
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'o');
}

TEST_F(WholeText, OfAnEmptyFileReadsNothing) {
    openedOn("", Format::Text);
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(disk.transcript(), "seek 0; tell; read 0; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, text, eof");
}

TEST_F(WholeText, LongerThanTheBufferIsStillOneCall) {
    const std::string text(2 * kBuffer + 7, 'x');
    openedOn(text, Format::Text);
    EXPECT_TRUE(file.read() == text.c_str());
    EXPECT_EQ(disk.transcript(), "seek 0; tell; read 2097159; seek 0; tell");
}

TEST_F(WholeText, IsReadFromWhereTheStreamStandsIfTheFirstSeekFails) {
    openedOn("some text", Format::Text);
    disk.seek(1).fails();
    EXPECT_EQ(file.read(), "some text");
    EXPECT_EQ(disk.transcript(), "seek 0 -> -1; read 9; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 9, text");
}

TEST_F(WholeText, ComesUpShortIfTheFirstSeekFailsAfterARead) {
    openedOn("some text", Format::Text);
    char c;
    EXPECT_TRUE(file.read(c));
    disk.seek(1).fails();
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(disk.transcript(), "read 9; seek 0 -> -1; read 9 -> 0; seek 1; tell");
    EXPECT_EQ(stateOf(file), "pos 1, len 9, text: Failed to read file.");
}

TEST_F(WholeText, NeedsNotKnowTheOffsetItStartsAt) {
    openedOn("some text", Format::Text);
    disk.tell(1).fails();
    EXPECT_EQ(file.read(), "some text");
    EXPECT_EQ(disk.transcript(), "seek 0; tell -> -1; read 9; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 9, text");
}

TEST_F(WholeText, ThatComesUpShortIsEmptyAndThePositionIsRestored) {
    openedOn("some text", Format::Text);
    char c;
    EXPECT_TRUE(file.read(c));
    disk.read(1).isShortBy(1);
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(disk.transcript(), "read 9; seek 0; tell; read 9 -> 8; seek 1; tell");
    EXPECT_EQ(stateOf(file), "pos 1, len 9, text: Failed to read file.");
}

TEST_F(WholeText, OfAFileThatShrankIsEmpty) {
    openedOn("some text", Format::Text);
    disk.make(kPath, "some");
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(disk.transcript(), "seek 0; tell; read 9 -> 4; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 9, text: Failed to read file.");
}

TEST_F(WholeText, OfAFileThatGrewEndsWithItsLength) {
    openedOn("some", Format::Text);
    disk.make(kPath, "some text");
    EXPECT_EQ(file.read(), "some");
    EXPECT_EQ(stateOf(file), "pos 0, len 4, text");
}

TEST_F(WholeText, IsThereEvenIfTheSeekBackFails) {
    openedOn("some text", Format::Text);
    char c;
    EXPECT_TRUE(file.read(c));
    disk.seek(2).fails();
    EXPECT_EQ(file.read(), "some text");
    EXPECT_EQ(disk.transcript(), "read 9; seek 0; tell; read 9; seek 1 -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 9, text: Seek failed, returning zero.");
}

TEST_F(WholeText, IsThereEvenIfTheStreamCannotTellThatItIsBack) {
    openedOn("some text", Format::Text);
    char c;
    EXPECT_TRUE(file.read(c));
    disk.tell(2).fails();
    EXPECT_EQ(file.read(), "some text");
    EXPECT_EQ(disk.transcript(), "read 9; seek 0; tell; read 9; seek 1; tell -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 9, text: Tell failed.");
}

TEST_F(WholeText, ThatComesUpShortHasTheLastWord) {
    openedOn("some text", Format::Text);
    disk.seek(1).andLater().fails();
    disk.read(1).fails();
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(disk.transcript(), "seek 0 -> -1; read 9 -> 0; seek 0 -> -1");
    EXPECT_EQ(stateOf(file), "pos 0, len 9, text: Failed to read file.");
}

TEST_F(WholeText, ThatFailsEmptiesAString) {
    openedOn("some text", Format::Text);
    disk.read(1).fails();
    String text = "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_EQ(text, "");
    EXPECT_EQ(stateOf(file), "pos 0, len 9, text: Failed to read file.");
}

TEST_F(WholeText, ThatFailsEmptiesAStandardString) {
    openedOn("some text", Format::Text);
    disk.read(1).fails();
    std::string text = "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_EQ(text, "");
}

TEST_F(WholeText, ThatFailsEmptiesAStringBuilder) {
    openedOn("some text", Format::Text);
    disk.read(1).fails();
    StringIO text;
    text << "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_TRUE(text.isEmpty());
    EXPECT_EQ(stateOf(file), "pos 0, len 9, text: Failed to read file.");
}

TEST_F(WholeText, WithoutALengthComesUpShort) {
    disk.make(kPath, "some text");
    openedWithoutALength(Mode::Read, Format::Text);
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(stateOf(file), "pos 0, len all bits set, text: Failed to read file.");
}

TEST_F(WholeText, WithoutALengthComesUpShortHoweverMuchThereIs) {
    disk.make(kPath, std::string(2 * kBuffer, 'x'));
    openedWithoutALength(Mode::Read, Format::Text);
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(stateOf(file), "pos 0, len all bits set, text: Failed to read file.");
}

TEST_F(WholeText, OfALengthThatNoMemoryHoldsComesUpShort) {
    disk.make(kPath, "some text");
    disk.claimLength(kPath, 0x7FFF'FFFF'FFFF'FFFF);
    opened(Mode::Read, Format::Text);
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(stateOf(file), "pos 0, len 9223372036854775807, text: Failed to read file.");
    char c = '?';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(stateOf(file), "pos 0, len 9223372036854775807, text: Fread failed. Requested 1048576, read 9.");
}

TEST_F(WholeText, InTheThirdModeIsReadWhateverTheFormat) {
    opened(Mode::ReadWrite);
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(disk.transcript(), "seek 0; tell; read 0; seek 0; tell");
    EXPECT_EQ(stateOf(file), "pos 0, len 0, binary, eof");
}

TEST_F(WholeText, InTheThirdModeOnADeviceComesUpShort) {
    disk.claimLength(kPath, 5);
    opened(Mode::ReadWrite);
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(disk.transcript(), "seek 0; tell; read 5 -> 0; seek 5; tell");
    EXPECT_EQ(stateOf(file), "pos 5, len 5, binary, eof: Failed to read file.");
}

TEST_F(WholeText, InAModeOutsideTheThreeIsReadWhateverTheFormat) {
    openedOn("some text", Format::Binary, kFourthMode);
    EXPECT_EQ(file.read(), "some text");
    EXPECT_EQ(stateOf(file), "pos 0, len 9, binary");
}

TEST_F(WholeText, ThatIsRefusedAsksNothingOfTheStream) {
    openedOn("some text");
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(disk.transcript(), "");
    EXPECT_EQ(stateOf(file), "pos 0, len 9, binary: read() is not supported in binary mode.");
}

// ---- Records --------------------------------------------------------------------------------------------------------

constexpr std::string_view kAbc("\3\0\0\0\0\0\0\0abc", 11);

TEST_F(TextRecord, WhoseCountCannotBeReadLeavesTheTextAlone) {
    openedOn(kAbc);
    disk.read(1).takesOnly(7);
    String text = "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(disk.transcript(), "read 11 -> 7");
    EXPECT_EQ(stateOf(file), "pos 0, len 11, binary: Fread failed. Requested 11, read 7.");
}

TEST_F(TextRecord, ThatFailsInTheNextChunkHasCountedWhatItTook) {
    openedOn(std::string("\0\0\x10\0\0\0\0\0", 8) + std::string(kBuffer, 'x'));
    disk.read(2).isShortBy(1);
    String text = "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(disk.transcript(), "read 1048576; read 8 -> 7");
    EXPECT_EQ(stateOf(file), "pos 1048576, len 1048584, binary: Fread failed. Requested 8, read 7.");
}

TEST_F(TextRecord, ThatFailsAddsNothingToAStringBuilder) {
    openedOn(std::string("\0\0\x10\0\0\0\0\0", 8) + std::string(kBuffer, 'x'));
    disk.read(2).fails();
    StringIO text;
    text << "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_STREQ(text.buf(), "before");
}

TEST_F(TextRecord, ThatClaimsMoreThanIsLeftConsumesOnlyItsCount) {
    openedOn(std::string(8, '\xff') + "abc");
    String text = "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(disk.transcript(), "read 11");
    EXPECT_EQ(stateOf(file), "pos 8, len 11, binary: Attempted to read beyond file size.");
    char c = '?';
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'a');
}

TEST_F(TextRecord, WithoutALengthThatClaimsAlmostAllThereCouldBeEndsWithTheFile) {
    disk.make(kPath, std::string(7, '\xff') + '\x7f' + std::string(2 * kBuffer, 'x'));
    openedWithoutALength(Mode::Read);
    String text = "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(disk.transcript(), "read 1048576; read 1048576; read 1048576 -> 8");
    EXPECT_EQ(stateOf(file), "pos 2097152, len all bits set, binary: Fread failed. Requested 1048576, read 8.");
}

TEST_F(TextRecord, WithoutALengthThatClaimsMoreThanCanBeAddedUpIsRefused) {
    disk.make(kPath, std::string(8, '\xff') + std::string(2 * kBuffer, 'x'));
    openedWithoutALength(Mode::Read);
    String text = "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(disk.transcript(), "read 1048576");
    EXPECT_EQ(stateOf(file), "pos 8, len all bits set, binary: Attempted to read beyond file size.");
}

TEST_F(TextRecord, IsReportedWrittenIfOnlyItsCountWasNot) {
    opened(Mode::Write);
    stage(kBuffer - 4);
    disk.write(1).fails();
    EXPECT_TRUE(file.write("abc"));
    EXPECT_EQ(disk.transcript(), "write 1048572 -> 0");
    EXPECT_EQ(stateOf(file), "pos 1048575, len 0, binary, eof: Fwrite failed. Requested 1048572, read 0.");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(content(), Bytes{std::string(kBuffer - 4, 'x') + "abc"});
}

TEST_F(TextRecord, OfNoCharactersIsReportedWrittenWhateverBecameOfItsCount) {
    opened(Mode::Write);
    stage(kBuffer);
    disk.write(1).andLater().fails();
    EXPECT_TRUE(file.write(""));
    EXPECT_TRUE(file.write(static_cast<const char*>(nullptr)));
    EXPECT_EQ(disk.transcript(), "write 1048576 -> 0; write 1048576 -> 0");
    EXPECT_EQ(stateOf(file), "pos 1048576, len 0, binary, eof: Fwrite failed. Requested 1048576, read 0.");
}

TEST_F(TextRecord, WhoseCharactersCannotBeWrittenIsAFailure) {
    opened(Mode::Write);
    stage(kBuffer - 9);
    disk.write(1).takesOnly(1);
    EXPECT_FALSE(file.write("abc"));
    EXPECT_EQ(disk.transcript(), "write 1048575 -> 1");
    EXPECT_EQ(stateOf(file), "pos 1048575, len 0, binary, eof: Fwrite failed. Requested 1048575, read 1.");
}

TEST_F(TextRecord, OfPrintIsAFailureIfItCannotBeWritten) {
    opened(Mode::Write, Format::Text);
    stage(kBuffer - 3);
    disk.write(1).fails();
    EXPECT_FALSE(file.printLn("x=%d", 5));
    EXPECT_EQ(disk.transcript(), "write 1048573 -> 0");
    EXPECT_EQ(stateOf(file), "pos 1048573, len 0, text, eof: Fwrite failed. Requested 1048573, read 0.");
}

// The locale of the tests has no bytes for the character, and no `int` can tell the width.
TEST_F(TextRecord, OfAPrintThatCannotBeFormattedIsEmpty) {
    const wchar_t character[] = {0x20ac, 0};
    const std::string tooWide = "ab%99999999999d";
    opened(Mode::Write, Format::Binary);
    EXPECT_TRUE(file.print("ab%ls", character));
    EXPECT_TRUE(file.print(tooWide.c_str(), 1));
    EXPECT_TRUE(file.printLn(tooWide.c_str(), 1));
    EXPECT_EQ(stateOf(file), "pos 25, len 0, binary, eof");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(content(), "00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  01 00 00 00 00 00 00 00 0a"_bytes);
}

TEST_F(TextRecord, OfAPrintedNumberIsAFailureIfItCannotBeWritten) {
    opened(Mode::Write, Format::Text);
    stage(kBuffer - 1);
    disk.write(1).takesOnly(7);
    EXPECT_FALSE(file.write(10));
    EXPECT_TRUE(file.write(9));
    EXPECT_EQ(disk.transcript(), "write 1048575 -> 7");
    EXPECT_EQ(stateOf(file), "pos 1048576, len 0, text, eof: Fwrite failed. Requested 1048575, read 7.");
}

}  // namespace
}  // namespace qor::test
