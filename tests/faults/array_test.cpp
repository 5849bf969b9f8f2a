// Typed arrays on a disk that fails: for each value that is missing the stream is asked again, up to a point.
#include <span>
#include <string>
#include <vector>

#include "faults/on_scripted_disk.h"
#include "qor/data/buf_ref_of.h"

namespace qor::test {
namespace {

class ArrayOnDisk : public OnScriptedDisk {
 protected:
    bool readInto(std::vector<std::uint32_t>& values) { return file.read(bufRef(std::span(values))); }
};

// ---- The end of the file --------------------------------------------------------------------------------------------

TEST_F(ArrayOnDisk, OfAnEmptyFileAsksForEachValue) {
    for (const Format format : {Format::Binary, Format::Text}) {
        openedOn("", format);
        std::vector<std::uint32_t> values = {7, 7, 7};
        EXPECT_FALSE(readInto(values));
        EXPECT_EQ(disk.takeTranscript(), "read 0; read 0; read 0");
        EXPECT_EQ(stateOf(file), std::string("pos 0, len 0, ") + (format == Format::Text ? "text" : "binary") +
                                     ", eof: Attempted to read beyond file size.");
    }
}

TEST_F(ArrayOnDisk, ThatIsLongerThanTheFileAsksForNoMoreThanTheFile) {
    openedOn("01 00 00 00 02"_bytes.raw);
    std::vector<std::uint32_t> values = {7, 7, 7};
    EXPECT_FALSE(readInto(values));
    EXPECT_EQ(disk.transcript(), "read 5");
    EXPECT_EQ(values, (std::vector<std::uint32_t>{1, 7, 7}));
}

// ---- A stream that fails again and again ----------------------------------------------------------------------------

constexpr std::uint64_t kOftenEnough = 300'000;

// A chunk that begins with `first` and ends with a space, and what is behind it, which the stream is asked for anew.
std::string chunkAndMore(std::string_view first, char between, std::string_view behind) {
    std::string bytes(first);
    bytes.resize(kBuffer - 1, between);
    return bytes + ' ' + std::string(behind);
}

TEST_F(ArrayOnDisk, GivesUpAfterThreeHundredThousandFailuresInARow) {
    for (const Format format : {Format::Binary, Format::Text}) {
        openedOn("01 00 00 00"_bytes.raw, format);
        disk.read(1).andLater().fails();
        const std::uint64_t before = disk.callsOf(Call::Read);
        std::vector<std::uint32_t> values(kOftenEnough + 5);
        EXPECT_FALSE(readInto(values));
        EXPECT_EQ(disk.callsOf(Call::Read) - before, kOftenEnough);
        EXPECT_EQ(file.error(), "Fread failed. Requested 4, read 0.");
        disk.mend();
    }
}

TEST_F(ArrayOnDisk, OfNumbersGivesUpOnlyWhereNothingArrivesBetween) {
    constexpr std::uint64_t kMissing = kOftenEnough - 1;
    openedOn(chunkAndMore("", '\1', "05 00 00 00"_bytes.raw));
    disk.read(1).times(kMissing).fails();
    disk.read(1 + kMissing + 1).times(kMissing).fails();
    std::vector<std::uint32_t> values(kMissing + kBuffer / 4 + kMissing + 1);
    EXPECT_FALSE(readInto(values));
    EXPECT_EQ(values.back(), 5u);
}

TEST_F(ArrayOnDisk, OfTextsGivesUpOnlyWhereNothingArrivesBetween) {
    constexpr std::uint64_t kMissing = kOftenEnough - 1;
    openedOn(chunkAndMore("3 ", '0', "5"), Format::Text);
    disk.read(1).times(kMissing).fails();
    disk.read(1 + kMissing + 1).times(kMissing).fails();
    std::vector<std::uint32_t> values(kMissing + 2 + kMissing + 1);
    EXPECT_FALSE(readInto(values));
    EXPECT_EQ(values[kMissing], 3u);
    EXPECT_EQ(values.back(), 5u);
}

// ---- Behind staged bytes --------------------------------------------------------------------------------------------

TEST_F(ArrayOnDisk, OfTextsInTheThirdModeReadsTheZerosUpToTheLengthAsOneToken) {
    disk.claimLength(kPath, 10);
    opened(Mode::ReadWrite);
    EXPECT_EQ(file.seek(0), 0u);
    stage(4);
    std::vector<std::uint32_t> values = {7, 7};
    EXPECT_FALSE(readInto(values));
    EXPECT_EQ(values, (std::vector<std::uint32_t>{7, 7}));
    EXPECT_EQ(stateOf(file), "pos 10, len 10, binary, eof: Attempted to read beyond file size.");
}

TEST_F(ArrayOnDisk, OfTextsInTheThirdModeReadsNothingWhereMoreIsStagedThanTheLength) {
    disk.claimLength(kPath, 10);
    opened(Mode::ReadWrite);
    EXPECT_EQ(file.seek(0), 0u);
    stage(12);
    std::vector<std::uint32_t> values = {7};
    EXPECT_FALSE(readInto(values));
    EXPECT_EQ(stateOf(file), "pos 12, len 10, binary, eof: Attempted to read beyond file size.");
}

TEST_F(ArrayOnDisk, OfTextsWithoutALengthReadsTheZerosUpToTheEndOfTheBuffer) {
    openedWithoutALength(Mode::ReadWrite);
    stage(4);
    std::vector<std::uint32_t> values = {7};
    EXPECT_FALSE(readInto(values));
    EXPECT_EQ(disk.transcript(), "read 1048576 -> 0");
    EXPECT_EQ(stateOf(file), "pos 1048576, len all bits set, binary: Fread failed. Requested 1048576, read 0.");
}

TEST_F(ArrayOnDisk, OfTextsInAModeThatIsNoneGoesOnInTheChunkBehindWhatIsStaged) {
    openedOn("a_12 34 5", Format::Text, kFourthMode);
    char c = '?';
    EXPECT_TRUE(file.read(c));
    EXPECT_TRUE(file.write('x'));
    std::vector<std::uint32_t> values = {7, 7};
    EXPECT_TRUE(readInto(values));
    EXPECT_EQ(values, (std::vector<std::uint32_t>{12, 34}));
    EXPECT_EQ(stateOf(file), "pos 8, len 9, text");
}

}  // namespace
}  // namespace qor::test
