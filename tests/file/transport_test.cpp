// How bytes pass through the staging buffer, and how a file is moved within.
#include <algorithm>
#include <filesystem>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "file/contents.h"

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

// ---- Staging and spilling -------------------------------------------------------------------------------------------

using Transport = WithFiles;

TEST_F(Transport, AFullBufferStaysStagedUntilTheNextWrite) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    for (std::uint64_t i = 0; i < kMiB; ++i) ASSERT_TRUE(file.write('x'));
    EXPECT_EQ(file.pos(), kMiB);
    EXPECT_EQ(stdfs::file_size(files.path("a")), 0u);
    EXPECT_TRUE(file.write('y'));
    EXPECT_EQ(file.pos(), kMiB + 1);
    EXPECT_GT(stdfs::file_size(files.path("a")), 0u);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{std::string(kMiB, 'x') + "y"});
}

TEST_F(Transport, AWriteLargerThanTheBufferPassesIt) {
    const std::string text = pattern(kMiB + 1);
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    EXPECT_TRUE(file.write(text));
    EXPECT_EQ(file.pos(), kMiB + 1);
    EXPECT_GT(stdfs::file_size(files.path("a")), 0u);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{text});
}

TEST_F(Transport, BytesReachTheFileInTheOrderOfTheWrites) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    std::string all;
    for (const std::uint64_t size :
         {1ul, kMiB - 1, 1ul, kMiB, 10ul, kMiB + 1, 3ul, 2 * kMiB, kMiB - 3, 5ul, kMiB / 2, kMiB / 2, 1ul}) {
        const std::string piece(size, static_cast<char>('a' + all.size() % 26));
        EXPECT_TRUE(file.write(piece));
        all += piece;
        EXPECT_EQ(file.pos(), all.size());
    }
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{all});
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST_F(Transport, AReadPastTheEndConsumesNothing) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Binary);
    char c;
    EXPECT_TRUE(file.read(c));
    int tooLong = 5;
    EXPECT_FALSE(file.read(tooLong));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(tooLong, 5);
    EXPECT_EQ(file.pos(), 1u);
    short rest;
    EXPECT_TRUE(file.read(rest));
    EXPECT_EQ(rest, 0x6362);
    EXPECT_EQ(file.pos(), 3u);
    EXPECT_TRUE(file.eof());
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.pos(), 3u);
}

TEST_F(Transport, ReadingAnEmptyFileIsReadingPastItsEnd) {
    File file = opened(files.make("a", ""), Mode::Read, Format::Binary);
    char c;
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(file.pos(), 0u);
}

TEST_F(Transport, AReadOfMoreThanTwoChunksIsServedWhole) {
    const std::string characters = pattern(2 * kMiB + kMiB / 2 - 8);
    File file = opened(files.make("a", record(characters) + pattern(kMiB / 2)), Mode::Read, Format::Binary);
    EXPECT_EQ(file.len(), 3 * kMiB);
    std::string text;
    EXPECT_TRUE(file.read(text));
    EXPECT_TRUE(text == characters);
    EXPECT_EQ(file.pos(), 2 * kMiB + kMiB / 2);
    char next;
    EXPECT_TRUE(file.read(next));
    EXPECT_EQ(next, 1);
}

TEST_F(Transport, OneReadOfTwoAndAHalfMiBTakesThreeChunks) {
    const std::string bytes = pattern(3 * kMiB);
    File file = opened(files.make("a", bytes), Mode::Read, Format::Binary);
    std::vector<unsigned char> read(2 * kMiB + kMiB / 2);
    EXPECT_TRUE(file.read(std::span(read), Compression::None));
    EXPECT_TRUE(std::equal(read.begin(), read.end(), reinterpret_cast<const unsigned char*>(bytes.data())));
    EXPECT_EQ(file.pos(), 2621440u);
    EXPECT_EQ(file.skip(0), 3 * kMiB) << "of the third chunk, half is unread";
}

TEST_F(Transport, EveryByteOfSeveralChunksIsRead) {
    for (const std::uint64_t size : {kMiB - 1, kMiB, kMiB + 1, 2 * kMiB, 2 * kMiB + 1}) {
        SCOPED_TRACE(size);
        const std::string bytes = pattern(size);
        File file = opened(files.make("a", bytes), Mode::Read, Format::Binary);
        std::string read;
        char c;
        while (!file.eof() && file.read(c)) read += c;
        EXPECT_TRUE(read == bytes);
        EXPECT_TRUE(file.ok());
        EXPECT_EQ(file.pos(), size);
        EXPECT_FALSE(file.read(c));
        EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
        EXPECT_EQ(file.pos(), size);
    }
}

TEST_F(Transport, AReadRefusedAfterARefillGivesUpTheChunk) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Binary);
    int tooLong = 5;
    EXPECT_FALSE(file.read(tooLong));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(file.pos(), 0u);

    char c = '-';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(c, '-');
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_FALSE(file.eof());

    EXPECT_EQ(file.seek(0), 0u);
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'a');
}

TEST_F(Transport, AReadRefusedWithinALoadedChunkKeepsIt) {
    File file = opened(files.make("a", "abcd"), Mode::Read, Format::Binary);
    char c;
    int tooLong;
    file >> c >> tooLong >> c;
    EXPECT_EQ(c, 'b');
}

// ---- Files that change while they are open --------------------------------------------------------------------------

// They are far longer than what stdio keeps in a buffer of its own, in which it would not notice the change.
using ChangedFile = WithFiles;

TEST_F(ChangedFile, OneThatWasEmptiedFailsTheRefill) {
    File file = opened(files.make("a", pattern(kMiB - 1)), Mode::Read, Format::Binary);
    stdfs::resize_file(files.path("a"), 0);
    char c = '-';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Fread failed. Requested 1048575, read 0.");
    EXPECT_EQ(c, '-');
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_EQ(file.len(), kMiB - 1);
}

TEST_F(ChangedFile, OneThatWasCutFailsTheRefillThatComesShort) {
    File file = opened(files.make("a", pattern(3 * kMiB)), Mode::Read, Format::Binary);
    stdfs::resize_file(files.path("a"), kMiB + kMiB / 2);
    unsigned char c = 0;
    for (std::uint64_t i = 0; i < kMiB; ++i) ASSERT_TRUE(file.read(c));
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Fread failed. Requested 1048576, read 524288.");
    EXPECT_EQ(file.pos(), kMiB);
}

TEST_F(ChangedFile, AReadAcrossTheCutHasCountedWhatItGot) {
    File file = opened(files.make("a", filler(kMiB - 3) + pattern(kMiB)), Mode::Read, Format::Binary);
    String text;
    EXPECT_TRUE(file.read(text));
    EXPECT_EQ(file.pos(), kMiB - 3);
    stdfs::resize_file(files.path("a"), kMiB);
    long value = 5;
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(file.error(), "Fread failed. Requested 1048573, read 0.");
    EXPECT_EQ(value, 5);
    EXPECT_EQ(file.pos(), kMiB);
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(file.error(), "Fread failed. Requested 1048573, read 0.");
    EXPECT_EQ(file.pos(), kMiB);
}

TEST_F(ChangedFile, ARecordAcrossTheCutChangesNothing) {
    File file = opened(files.make("a", record(pattern(4 * kMiB - 8))), Mode::Read, Format::Binary);
    stdfs::resize_file(files.path("a"), 2 * kMiB);
    String string = "before";
    EXPECT_FALSE(file.read(string));
    EXPECT_EQ(file.error(), "Fread failed. Requested 1048576, read 0.");
    EXPECT_EQ(string, "before");
    EXPECT_EQ(file.pos(), 2 * kMiB);
    StringIO builder;
    builder << "before";
    file.seek(0);
    EXPECT_FALSE(file.read(builder));
    EXPECT_STREQ(builder.buf(), "before");
}

TEST_F(ChangedFile, OneThatWasCutIsNoWholeText) {
    File file = opened(files.make("a", pattern(kMiB)), Mode::Read, Format::Text);
    EXPECT_EQ(file.seek(2), 2u);
    stdfs::resize_file(files.path("a"), 0);
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(file.error(), "Failed to read file.");
    EXPECT_EQ(file.pos(), 2u);
    String text = "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_EQ(text, "");
    EXPECT_EQ(file.error(), "Failed to read file.");
}

TEST_F(ChangedFile, OneThatHasGrownIsAsLongAsItWas) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Text);
    stdfs::resize_file(files.path("a"), 100);
    EXPECT_EQ(file.len(), 3u);
    EXPECT_EQ(file.read(), "abc");
    char c;
    file >> c >> c >> c;
    EXPECT_TRUE(file.eof());
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(c, 'c');
}

TEST_F(ChangedFile, WhatHasGrownBehindTheLengthIsReportedAndNotRead) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Binary);
    stdfs::resize_file(files.path("a"), 100);
    EXPECT_EQ(file.seek(50), 50u);
    char c = '-';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Fread failed. Requested 18446744073709551569, read 50.");
    EXPECT_EQ(c, '-');
    EXPECT_EQ(file.pos(), 50u);
}

TEST_F(ChangedFile, MoreThanTheBufferHoldsIsNeverLoadedFromBehindTheLength) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Binary);
    stdfs::resize_file(files.path("a"), 3 * kMiB);
    EXPECT_EQ(file.seek(4), 4u);
    char c = '-';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Fread failed. Requested 18446744073709551615, read 1048576.");
    EXPECT_EQ(c, '-');
}

TEST_F(ChangedFile, OneThatWasRemovedIsReadToItsEnd) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Text);
    stdfs::remove(files.path("a"));
    EXPECT_EQ(file.read(), "abc");
    EXPECT_TRUE(file.close());
}

// ---- Seek -----------------------------------------------------------------------------------------------------------

using Seek = WithFiles;

TEST_F(Seek, MovesWhatIsReadNext) {
    File file = opened(files.make("a", "0123456789"), Mode::Read, Format::Binary);
    char c;
    EXPECT_EQ(file.seek(7), 7u);
    EXPECT_EQ(file.pos(), 7u);
    file >> c;
    EXPECT_EQ(c, '7');
    EXPECT_EQ(file.seek(2), 2u);
    file >> c >> c;
    EXPECT_EQ(c, '3');
    EXPECT_EQ(file.pos(), 4u);
    EXPECT_EQ(file.seek(0), 0u);
    EXPECT_TRUE(file.ok());
    file >> c;
    EXPECT_EQ(c, '0');
}

TEST_F(Seek, ToTheEndLeavesNothingToRead) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Binary);
    EXPECT_EQ(file.seek(3), 3u);
    EXPECT_TRUE(file.eof());
    char c;
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
}

TEST_F(Seek, BeyondTheEndSucceedsAndTheNextReadReportsAWrappedFigure) {
    File file = opened(files.make("a", std::string(100, 'x')), Mode::Read, Format::Binary);
    char c = '-';
    EXPECT_EQ(file.seek(101), 101u);
    EXPECT_TRUE(file.ok());
    EXPECT_TRUE(file.eof());
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Fread failed. Requested 18446744073709551615, read 0.");
    EXPECT_EQ(file.pos(), 101u);

    EXPECT_EQ(file.seek(2097252), 2097252u);
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Fread failed. Requested 18446744073707454464, read 0.");
    EXPECT_EQ(c, '-');

    EXPECT_EQ(file.seek(99), 99u);
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'x');
}

TEST_F(Seek, BeforeTheStartFailsAndDropsTheChunk) {
    File file = opened(files.make("a", std::string(kMiB, 'x') + "next"), Mode::Read, Format::Binary);
    char c;
    file >> c;
    EXPECT_EQ(file.seek(-1), 0u);
    EXPECT_EQ(file.error(), "Seek failed, returning zero.");
    EXPECT_EQ(file.pos(), 1u);
    file >> c;
    EXPECT_EQ(c, 'n');
    EXPECT_EQ(file.seek(kLowest), 0u);
    EXPECT_EQ(file.error(), "Seek failed, returning zero.");
}

TEST_F(Seek, WhileWritingPutsTheStagedBytesWhereTheyBelong) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    file << "abcdef";
    EXPECT_EQ(file.seek(0), 0u);
    EXPECT_EQ(files.content("a"), Bytes{"abcdef"});
    EXPECT_EQ(file.pos(), 0u);
    file << "XY";
    EXPECT_EQ(file.pos(), 2u);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"XYcdef"});
}

TEST_F(Seek, WhileWritingBeyondTheEndLeavesZerosBetween) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    file << "ab";
    EXPECT_EQ(file.seek(4), 4u);
    file << "cd";
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), "61 62 00 00 63 64"_bytes);
}

TEST_F(Seek, ThatFailsWhileWritingHasFlushed) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    file << "abc";
    EXPECT_EQ(file.seek(-1), 0u);
    EXPECT_EQ(file.error(), "Seek failed, returning zero.");
    EXPECT_EQ(files.content("a"), Bytes{"abc"});
    EXPECT_EQ(file.pos(), 3u);
    file << "def";
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"abcdef"});
}

TEST_F(Seek, OfAClosedHandleFails) {
    File file;
    EXPECT_EQ(file.seek(0), 0u);
    EXPECT_EQ(file.error(), "Cannot seek, file is not opened.");
    EXPECT_EQ(file.skip(0), 0u);
    EXPECT_EQ(file.error(), "Cannot seek, file is not opened.");
}

// ---- Skip -----------------------------------------------------------------------------------------------------------

using Skip = WithFiles;

TEST_F(Skip, BeforeTheFirstReadCountsFromTheStart) {
    File file = opened(files.make("a", "0123456789"), Mode::Read, Format::Binary);
    EXPECT_EQ(file.skip(4), 4u);
    EXPECT_EQ(file.pos(), 4u);
    EXPECT_EQ(file.skip(-1), 3u);
    char c;
    file >> c;
    EXPECT_EQ(c, '3');
}

TEST_F(Skip, AfterAReadCountsFromTheEndOfTheChunk) {
    File file = opened(files.make("a", std::string(100, 'x')), Mode::Read, Format::Binary);
    char c;
    file >> c;
    EXPECT_EQ(file.skip(4), 104u);
    EXPECT_EQ(file.pos(), 104u);
    EXPECT_TRUE(file.ok());
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Fread failed. Requested 18446744073709551612, read 0.");
    EXPECT_EQ(file.seek(5), 5u);
    EXPECT_EQ(file.pos(), 5u);
    EXPECT_TRUE(file.read(c));
}

TEST_F(Skip, BackFromTheEndOfTheChunk) {
    File file = opened(files.make("a", "0123456789"), Mode::Read, Format::Binary);
    char c;
    file >> c;
    EXPECT_EQ(file.skip(-4), 6u);
    file >> c;
    EXPECT_EQ(c, '6');
}

TEST_F(Skip, OfNothingStillLeavesTheChunk) {
    File file = opened(files.make("a", std::string(kMiB, 'x') + "next"), Mode::Read, Format::Binary);
    char c;
    file >> c;
    EXPECT_EQ(file.skip(0), kMiB);
    EXPECT_EQ(file.pos(), kMiB);
    file >> c;
    EXPECT_EQ(c, 'n');
}

TEST_F(Skip, AfterASeekOrAPeekCountsFromThePosition) {
    File file = opened(files.make("a", "0123456789"), Mode::Read, Format::Binary);
    char c;
    file >> c >> c;
    EXPECT_EQ(file.peek(), '2');
    EXPECT_EQ(file.skip(3), 5u);
    file >> c;
    EXPECT_EQ(c, '5');
    file.seek(1);
    EXPECT_EQ(file.skip(3), 4u);
}

TEST_F(Skip, WhileWritingCountsFromThePosition) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    file << "abc";
    EXPECT_EQ(file.skip(2), 5u);
    EXPECT_EQ(file.pos(), 5u);
    file << "def";
    EXPECT_EQ(file.skip(-7), 1u);
    file << "X";
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), "61 58 63 00 00 64 65 66"_bytes);
}

TEST_F(Skip, BeforeTheStartFails) {
    File file = opened(files.make("a", "0123456789"), Mode::Read, Format::Binary);
    EXPECT_EQ(file.skip(-1), 0u);
    EXPECT_EQ(file.error(), "Seek failed, returning zero.");
    EXPECT_EQ(file.pos(), 0u);
    char c;
    file >> c;
    EXPECT_EQ(c, '0');
    EXPECT_EQ(file.skip(-11), 0u);
    EXPECT_EQ(file.error(), "Seek failed, returning zero.");
    EXPECT_EQ(file.pos(), 1u);
}

TEST_F(Skip, PastTheLargestAndTheSmallestOffsetFails) {
    File reading = opened(files.make("a", "0123456789"), Mode::Read, Format::Binary);
    char c;
    for (const std::int64_t n : {kHighest, kLowest}) {
        reading.seek(1);
        reading >> c;
        EXPECT_EQ(reading.skip(n), 0u);
        EXPECT_EQ(reading.error(), "Seek failed, returning zero.");
        EXPECT_EQ(reading.pos(), 2u);
    }
    File writing = opened(files.path("b"), Mode::Write, Format::Text);
    writing << "abc";
    for (const std::int64_t n : {kHighest, kLowest}) {
        EXPECT_EQ(writing.skip(n), 0u);
        EXPECT_EQ(writing.error(), "Seek failed, returning zero.");
        EXPECT_EQ(writing.pos(), 3u);
    }
    EXPECT_TRUE(writing.close());
    EXPECT_EQ(files.content("b"), Bytes{"abc"});
}

// ---- Peek -----------------------------------------------------------------------------------------------------------

using Peek = WithFiles;

TEST_F(Peek, LeavesTheByteUnread) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Binary);
    EXPECT_EQ(file.peek(), 'a');
    EXPECT_EQ(file.peek(), 'a');
    EXPECT_EQ(file.pos(), 0u);
    char c;
    file >> c;
    EXPECT_EQ(c, 'a');
    EXPECT_EQ(file.peek(), 'b');
    EXPECT_EQ(file.pos(), 1u);
    file >> c >> c;
    EXPECT_EQ(c, 'c');
}

TEST_F(Peek, GivesEveryByteWithoutASign) {
    static_assert(std::is_same_v<decltype(std::declval<File&>().peek()), unsigned char>);
    File file = opened(files.make("a", "\x01\x7f\x80\xff"), Mode::Read, Format::Text);
    for (const int expected : {0x01, 0x7f, 0x80, 0xff}) {
        EXPECT_EQ(file.peek(), expected);
        char c;
        file >> c;
    }
}

TEST_F(Peek, AtTheEndIsZeroAndNoError) {
    File file = opened(files.make("a", "a"), Mode::Read, Format::Binary);
    char c;
    file >> c;
    EXPECT_EQ(file.peek(), 0);
    EXPECT_EQ(file.peek(), 0);
    EXPECT_TRUE(file.ok());
    EXPECT_TRUE(file.eof());
    EXPECT_EQ(file.pos(), 1u);
}

TEST_F(Peek, OfAZeroByteIsZeroAndNotTheEnd) {
    File file = opened(files.make("a", std::string(1, '\0')), Mode::Read, Format::Binary);
    EXPECT_EQ(file.peek(), 0);
    EXPECT_FALSE(file.eof());
}

TEST_F(Peek, BeyondTheEndIsZeroAndNoError) {
    File file = opened(files.make("a", "a"), Mode::Read, Format::Binary);
    file.seek(10);
    EXPECT_EQ(file.peek(), 0);
    EXPECT_TRUE(file.ok());
    EXPECT_EQ(file.pos(), 10u);
}

TEST_F(Peek, AtTheEdgeOfAChunkIsTheFirstByteOfTheNext) {
    File file = opened(files.make("a", filler(kMiB) + "next"), Mode::Read, Format::Binary);
    String text;
    file >> text;
    EXPECT_EQ(file.peek(), 'n');
    EXPECT_EQ(file.pos(), kMiB);
    char c;
    file >> c >> c;
    EXPECT_EQ(c, 'e');
}

TEST_F(Peek, AfterAReadRefusedAtOnceFindsNothingTheFirstTime) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Binary);
    int tooLong;
    EXPECT_FALSE(file.read(tooLong));
    EXPECT_EQ(file.peek(), 0);
    EXPECT_EQ(file.peek(), 'a');
}

TEST_F(Peek, OfAClosedHandleFails) {
    File file;
    EXPECT_EQ(file.peek(), 0);
    EXPECT_EQ(file.error(), "Cannot seek, file is not opened.");
}

TEST_F(Peek, IsOnlyForReading) {
    for (const Mode mode : {Mode::Write, Mode::ReadWrite}) {
        File file = opened(files.path("a"), mode, Format::Binary);
        file << 'a';
        EXPECT_EQ(file.peek(), 0);
        EXPECT_EQ(file.error(), "File::peek() only supported in read mode.");
        EXPECT_EQ(file.pos(), 1u);
    }
}

// ---- Large files ----------------------------------------------------------------------------------------------------

// The files are sparse: they take a few blocks of the disk.
using LargeFile = WithFiles;

TEST_F(LargeFile, BytesBeyondFourGiBAreWrittenAndReadBack) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    file << 'a';
    EXPECT_EQ(file.seek(5368709120), 5368709120u);
    EXPECT_EQ(file.pos(), 5368709120u);
    file << 258;
    EXPECT_EQ(file.pos(), 5368709124u);
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(file.pos(), 5368709124u);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(stdfs::file_size(files.path("a")), 5368709124u);

    ASSERT_TRUE(file.open(files.path("a").c_str(), Mode::Read, Format::Binary));
    EXPECT_EQ(file.len(), 5368709124u);
    int value = 0;
    EXPECT_EQ(file.seek(5368709120), 5368709120u);
    EXPECT_FALSE(file.eof());
    EXPECT_TRUE(file.read(value));
    EXPECT_EQ(value, 258);
    EXPECT_EQ(file.pos(), 5368709124u);
    EXPECT_TRUE(file.eof());
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
}

TEST_F(LargeFile, ANumberAcrossFourGiBIsReadBack) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    EXPECT_EQ(file.seek(4294967294), 4294967294u);
    file << 0x01020304;
    ASSERT_TRUE(file.open(files.path("a").c_str(), Mode::Read, Format::Binary));
    EXPECT_EQ(file.skip(4293918720), 4293918720u);
    char c;
    for (std::uint64_t i = 0; i < kMiB - 2; ++i) ASSERT_TRUE(file.read(c));
    int value = 0;
    EXPECT_TRUE(file.read(value));
    EXPECT_EQ(value, 0x01020304);
    EXPECT_EQ(file.pos(), 4294967298u);
}

TEST_F(LargeFile, SkipGoesBeyondFourGiBAndBack) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    file << "ab";
    EXPECT_EQ(file.skip(5368709120), 5368709122u);
    EXPECT_EQ(file.skip(-5368709121), 1u);
    file << "X";
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a"), Bytes{"aX"});
}

}  // namespace
}  // namespace qor::test
