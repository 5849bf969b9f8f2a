// Blocks of bytes: how they stand in a file, what comes back, what each failure leaves, and headers that lie in memory.
#include <algorithm>
#include <numeric>
#include <span>
#include <vector>

#include "file/contents.h"
#include "qor/core/endian.h"

namespace qor::test {
namespace {

using namespace std::literals;
using Vector = ds::Vector<unsigned char>;

constexpr Compression kKinds[] = {Compression::Lz4, Compression::Zlib, Compression::Zstd};

const Bytes kEmptyBlock = "2e 31 2e  00 00 00 00 00 00 00 00  2e  00 00 00 00 00 00 00 00  2e"_bytes;

Vector bytesOf(std::string_view text) {
    Vector bytes;
    bytes.resize(text.size());
    std::copy(text.begin(), text.end(), bytes.begin());
    return bytes;
}
std::string textOf(const Vector& bytes) { return {bytes.begin(), bytes.end()}; }

std::string payloadOf(std::string_view text, Compression kind, bool asText = false) {
    const Vector bytes = bytesOf(text);
    return textOf(compress(bytes.data(), bytes.size(), asText, kind));
}

// A block as a binary file holds it.
std::string header(std::uint64_t size, std::uint64_t payloadSize) {
    return ".1." + count(size) + '.' + count(payloadSize) + '.';
}
std::string block(std::string_view text, Compression kind) {
    const std::string payload = payloadOf(text, kind);
    return header(text.size(), payload.size()) + payload;
}

// What a read of a block makes of a file: the result, the bytes, the text, and where it left off.
struct ReadBlock {
    bool done;
    std::string bytes;
    std::string error;
    std::uint64_t pos;

    friend bool operator==(const ReadBlock&, const ReadBlock&) = default;
    friend std::ostream& operator<<(std::ostream& out, const ReadBlock& outcome) {
        return out << (outcome.done ? "true" : "false") << ", \"" << outcome.bytes.substr(0, 50) << "\", \""
                   << outcome.error << "\", pos " << outcome.pos;
    }
};

ReadBlock readFrom(File& file, Compression kind = Compression::Lz4, std::string_view before = "before") {
    Vector bytes = bytesOf(before);
    const bool done = file.read(bytes, kind);
    return {done, textOf(bytes), file.error().buf(), file.pos()};
}

class Block : public WithFiles {
 protected:
    ReadBlock readOf(std::string_view content, Format format = Format::Binary, Mode mode = Mode::Read) {
        File file = opened(files.make("a", content), mode, format);
        return readFrom(file);
    }
};

// ---- In a binary file -----------------------------------------------------------------------------------------------

TEST_F(Block, InABinaryFileIsAHeaderOf21BytesAndThePayload) {
    const Bytes bytes = written(Format::Binary, [](File& file) { EXPECT_TRUE(file.write("a", 1, Compression::Zlib)); });
    EXPECT_EQ(bytes,
              "2e 31 2e  01 00 00 00 00 00 00 00  2e  09 00 00 00 00 00 00 00  2e"
              "78 9c 4b 04 00 00 62 00 62"_bytes);
}

TEST_F(Block, OfEachKindReadsBackWithAnyKind) {
    for (const Compression kind : kKinds) {
        const Bytes bytes =
            written(Format::Binary, [&](File& file) { EXPECT_TRUE(file.write(bytesOf("the bytes"), kind)); });
        EXPECT_EQ(bytes.raw[1], '1');
        for (const Compression any :
             {Compression::Lz4, Compression::Zlib, Compression::Zstd, static_cast<Compression>(9)}) {
            File file = opened(files.make("a", bytes.raw), Mode::Read, Format::Binary);
            EXPECT_EQ(readFrom(file, any), (ReadBlock{true, "the bytes", "", bytes.raw.size()}));
        }
    }
}

TEST_F(Block, LongerThanTheBufferComesBack) {
    const std::string text = pattern(3 * kMiB + 7);
    std::string noise(kMiB + 9, '\0');
    std::uint32_t state = 1;
    for (char& byte : noise) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    for (const Format format : {Format::Binary, Format::Text}) {
        for (const Compression kind : kKinds) {
            File file = opened(files.path("a"), Mode::Write, format);
            EXPECT_TRUE(file.write(noise.data(), noise.size(), kind) && file.write(text.data(), text.size(), kind));
            EXPECT_TRUE(file.close());
            file = opened(files.path("a"), Mode::Read, format);
            EXPECT_TRUE(readFrom(file).bytes == noise && readFrom(file).bytes == text);
            EXPECT_TRUE(file.ok() && file.eof());
        }
    }
}

TEST_F(Block, MixesWithOtherValues) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    file << 7;
    file.write(bytesOf("first"), Compression::Zstd);
    file << "text";
    file.write(bytesOf("raw"), Compression::None);
    file.write(nullptr, 0, Compression::Zstd);
    file << 'x';
    ASSERT_TRUE(file.close());

    file = opened(files.path("a"), Mode::Read, Format::Binary);
    int number = 0;
    String text;
    char last = 0;
    file >> number;
    EXPECT_EQ(readFrom(file).bytes, "first");
    file >> text;
    EXPECT_EQ(readFrom(file, Compression::None, "???").bytes, "raw");
    EXPECT_EQ(readFrom(file).bytes, "");
    file >> last;
    EXPECT_TRUE(file.ok() && file.eof());
    EXPECT_EQ(number, 7);
    EXPECT_EQ(text, "text");
    EXPECT_EQ(last, 'x');
}

TEST_F(Block, ReadIntoAVectorReplacesWhatItHolds) {
    File file = opened(files.make("a", block("new", Compression::Lz4)), Mode::Read, Format::Binary);
    EXPECT_EQ(readFrom(file, Compression::Lz4, "old bytes, more of them").bytes, "new");
}

// ---- The empty block ------------------------------------------------------------------------------------------------

TEST_F(Block, OfNoBytesIsAHeaderAlone) {
    const auto empty = [](auto put) { return written(Format::Binary, put); };
    for (const Compression kind : kKinds) {
        EXPECT_EQ(empty([&](File& file) { EXPECT_TRUE(file.write(nullptr, 0, kind)); }), kEmptyBlock);
        EXPECT_EQ(empty([&](File& file) { EXPECT_TRUE(file.write(nullptr, 100, kind)); }), kEmptyBlock);
        EXPECT_EQ(empty([&](File& file) { EXPECT_TRUE(file.write("abc", 0, kind)); }), kEmptyBlock);
        EXPECT_EQ(empty([&](File& file) { EXPECT_TRUE(file.write(Vector(), kind)); }), kEmptyBlock);
    }
}

// Nothing is compressed, so no kind is asked for.
TEST_F(Block, OfNoBytesHasAnyKind) {
    EXPECT_EQ(written(Format::Binary, [](File& file) { EXPECT_TRUE(file.write("", 0, static_cast<Compression>(9))); }),
              kEmptyBlock);
}

TEST_F(Block, OfNoBytesReadsBackAsNone) { EXPECT_EQ(readOf(kEmptyBlock.raw), (ReadBlock{true, "", "", 21})); }

TEST_F(Block, WithoutAPayloadIsEmptyWhateverLengthItClaims) {
    EXPECT_EQ(readOf(header(~0ull, 0)), (ReadBlock{true, "", "", 21}));
    EXPECT_EQ(readOf(".1.1000.0.", Format::Text), (ReadBlock{true, "", "", 10}));
}

// ---- In a text file -------------------------------------------------------------------------------------------------

TEST_F(Block, InATextFileHasItsLengthsInDigitsAndItsPayloadInBase64) {
    const Bytes bytes = written(Format::Text, [](File& file) { EXPECT_TRUE(file.write("a", 1, Compression::Zlib)); });
    EXPECT_EQ(bytes.raw, ".1.1.12.eJxLBAAAYgBi");
    EXPECT_EQ(readOf(bytes.raw, Format::Text), (ReadBlock{true, "a", "", 20}));
}

TEST_F(Block, OfNoBytesInATextFileIsItsMarksAndZeros) {
    EXPECT_EQ(written(Format::Text, [](File& file) { EXPECT_TRUE(file.write("", 0, Compression::Zstd)); }).raw,
              ".1.0.0.");
    EXPECT_EQ(readOf(".1.0.0.", Format::Text), (ReadBlock{true, "", "", 7}));
}

TEST_F(Block, InATextFileIsText) {
    std::string all(256, '\0');
    std::iota(all.begin(), all.end(), '\0');
    for (const Compression kind : kKinds) {
        const Bytes bytes = written(Format::Text, [&](File& file) { EXPECT_TRUE(file.write(bytesOf(all), kind)); });
        EXPECT_TRUE(std::all_of(bytes.raw.begin(), bytes.raw.end(), [](char c) { return c > ' ' && c < 127; }));
        EXPECT_EQ(readOf(bytes.raw, Format::Text).bytes, all);
    }
}

struct LengthText {
    const char* text;  // of the first length; the second is 0, so that what is parsed does not matter
    bool isRead;
};
const LengthText kLengthTexts[] = {
    {"0", true},
    {"1", true},
    {"007", true},
    {"9999999999", true},
    {"9223372036854775807", true},
    {"9223372036854775808", true},
    {"18446744073709551615", true},
    {"00000000000018446744073709551615", true},  // 32 characters, and a number
    {"00000000000000000000000000000000", true},
    {"000000000000000000000000000000001", false},  // 33
    {"11111111111111111111111111111111", false},   // 32, and too large
    {"18446744073709551616", false},
    {"20000000000000000000", false},
    {"99999999999999999999", false},
    {"", false},
    {"-", false},
    {"-0", false},
    {"-1", false},
    {"-18446744073709551615", false},
    {"+", false},
    {"+0", false},
    {"+1", false},
    {" ", false},
    {" 1", false},
    {"1 ", false},
    {"1 1", false},
    {"\t1", false},
    {"1\n", false},
    {"\r\n", false},
    {"0x1", false},
    {"0b1", false},
    {"1h", false},
    {"1u", false},
    {"1'000", false},
    {"1,000", false},
    {"1_000", false},
    {"1e3", false},
    {"a", false},
    {"ff", false},
    {"inf", false},
    {"true", false},
    {"\xb2", false},              // a raised 2 in Latin-1
    {"\xd9\xa1", false},          // an Arabic 1 in UTF-8
    {"\xef\xbb\xbf\x31", false},  // behind a byte order mark
};

TEST_F(Block, InATextFileHasLengthsThatAreNumbersOfAtMost32Characters) {
    for (const LengthText& length : kLengthTexts) {
        const ReadBlock outcome = readOf(".1."s + length.text + ".0.", Format::Text);
        EXPECT_EQ(outcome.done, length.isRead) << '"' << length.text << '"';
        EXPECT_EQ(outcome.error, length.isRead ? "" : "Failed to read un/compressed length.") << length.text;
    }
}

TEST_F(Block, InATextFileHasLengthsThatEndAtAZeroByte) {
    EXPECT_TRUE(readOf(".1.7\0abc.0."sv, Format::Text).done);
    EXPECT_FALSE(readOf(".1.\0007.0."sv, Format::Text).done);
}

TEST_F(Block, WhoseFirstLengthIsNoNumberIsNotReadOn) {
    EXPECT_EQ(readOf(".1.x.12.eJxLBAAAYgBi", Format::Text),
              (ReadBlock{false, "", "Failed to read un/compressed length.", 5}));
}

TEST_F(Block, WhoseLengthHas33CharactersIsReadUpToThere) {
    EXPECT_EQ(readOf(".1." + std::string(50, '0') + ".0.", Format::Text).pos, 3u + 33u);
}

// ---- In the other modes ---------------------------------------------------------------------------------------------

// More than the buffer holds, so that it is there when the file is closed.
TEST_F(Block, OfTheThirdModeHasTheBinaryFormWhateverTheFormat) {
    for (const Format format : {Format::Binary, Format::Text}) {
        File file = opened(files.path("a"), kThird, format);
        EXPECT_TRUE(file.write("a", 1, Compression::Zlib));
        EXPECT_TRUE(file.write(pattern(kMiB).data(), kMiB, Compression::None));
        EXPECT_TRUE(file.close());
        EXPECT_EQ(Bytes{files.content("a").raw.substr(0, 30)}, Bytes{block("a", Compression::Zlib)});
    }
}

// A mode that is none of the three reads, and its lengths are text.
TEST_F(Block, OfAnyModeButReadHasLengthsInDigitsAndItsPayloadInBytes) {
    const std::string payload = payloadOf("abc", Compression::Lz4);
    const std::string content = ".1.3." + std::to_string(payload.size()) + '.' + payload;
    for (const Format format : {Format::Binary, Format::Text}) {
        EXPECT_EQ(readOf(content, format, kSeven), (ReadBlock{true, "abc", "", content.size()}));
    }
}

TEST_F(Block, OfAnUnknownFormatHasLengthsInDigitsAndItsPayloadInBytes) {
    const std::string payload = payloadOf("abc", Compression::Lz4);
    const std::string content = ".1.3." + std::to_string(payload.size()) + '.' + payload;
    EXPECT_EQ(readOf(content, static_cast<Format>(2)), (ReadBlock{true, "abc", "", content.size()}));
}

// ---- As they stand --------------------------------------------------------------------------------------------------

TEST_F(Block, WithoutCompressionIsItsBytes) {
    for (const Format format : {Format::Binary, Format::Text}) {
        EXPECT_EQ(written(format, [](File& file) { EXPECT_TRUE(file.write("\0\1a"sv.data(), 3, Compression::None)); }),
                  "00 01 61"_bytes);
        EXPECT_EQ(written(format, [](File& file) { EXPECT_TRUE(file.write("abc", 0, Compression::None)); }), ""_bytes);
        EXPECT_EQ(written(format, [](File& file) { EXPECT_TRUE(file.write(nullptr, 0, Compression::None)); }),
                  ""_bytes);
    }
}

TEST_F(Block, WithoutCompressionFillsTheVectorAsItIsSized) {
    File file = opened(files.make("a", "abcdef"), Mode::Read, Format::Binary);
    EXPECT_EQ(readFrom(file, Compression::None, "????"), (ReadBlock{true, "abcd", "", 4}));
    EXPECT_EQ(readFrom(file, Compression::None, "????"),
              (ReadBlock{false, "????", "Attempted to read beyond file size.", 4}));
    EXPECT_EQ(readFrom(file, Compression::None, "??"),
              (ReadBlock{true, "ef", "Attempted to read beyond file size.", 6}));
}

TEST_F(Block, WithoutCompressionGivesAnEmptyVectorTheWholeFile) {
    for (const Format format : {Format::Binary, Format::Text}) {
        File file = opened(files.make("a", "abcdef"), Mode::Read, format);
        EXPECT_EQ(readFrom(file, Compression::None, ""), (ReadBlock{true, "abcdef", "", 6}));
    }
    const std::string large = pattern(2 * kMiB + 5);
    File file = opened(files.make("a", large), Mode::Read, Format::Binary);
    EXPECT_TRUE(readFrom(file, Compression::None, "").bytes == large);
}

TEST_F(Block, WithoutCompressionAsksForTheWholeFileWhereverItStands) {
    File file = opened(files.make("a", "abcdef"), Mode::Read, Format::Binary);
    char c;
    file >> c;
    EXPECT_EQ(readFrom(file, Compression::None, ""),
              (ReadBlock{false, "\0\0\0\0\0\0"s, "Attempted to read beyond file size.", 1}));
}

TEST_F(Block, WithoutCompressionOfAnEmptyFileIsEmpty) {
    File file = opened(files.make("a", ""), Mode::Read, Format::Binary);
    EXPECT_EQ(readFrom(file, Compression::None, ""), (ReadBlock{true, "", "", 0}));
}

// The file was longer when it was measured: what came of it is there, the rest is zeros.
TEST_F(Block, WithoutCompressionOfAFileThatWasCutKeepsItsSize) {
    File file = opened(files.make("a", pattern(2 * kMiB)), Mode::Read, Format::Binary);
    std::filesystem::resize_file(files.path("a"), kMiB + 5);
    const ReadBlock outcome = readFrom(file, Compression::None, "");
    EXPECT_FALSE(outcome.done);
    EXPECT_EQ(outcome.error, "Fread failed. Requested 1048576, read 5.");
    EXPECT_TRUE(outcome.bytes == pattern(kMiB) + std::string(kMiB, '\0'));
}

// ---- Other memory of the caller -------------------------------------------------------------------------------------

TEST_F(Block, OfASpanIsThatOfItsBytes) {
    const std::vector<unsigned char> bytes = {1, 2, 3};
    for (const Compression kind : {Compression::None, Compression::Lz4, Compression::Zlib, Compression::Zstd}) {
        EXPECT_EQ(written(Format::Binary, [&](File& file) { EXPECT_TRUE(file.write(bytes, kind)); }),
                  written(Format::Binary, [&](File& file) { EXPECT_TRUE(file.write(bytes.data(), 3, kind)); }));
    }
}

TEST_F(Block, FillsAStandardVectorAsItDoesTheOther) {
    File file = opened(files.make("a", block("some bytes", Compression::Zstd) + "rest"), Mode::Read, Format::Binary);
    std::vector<unsigned char> bytes = {9, 9};
    EXPECT_TRUE(file.read(bytes, Compression::Lz4));
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "some bytes");
    bytes.resize(4);
    EXPECT_TRUE(file.read(bytes, Compression::None));
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "rest");
    EXPECT_FALSE(file.read(bytes, Compression::Zstd));
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(file.error(), "Failed to read un/compressed length.");
}

TEST_F(Block, GivesAnEmptyStandardVectorTheWholeFile) {
    File file = opened(files.make("a", "all of it"), Mode::Read, Format::Binary);
    std::vector<unsigned char> bytes;
    EXPECT_TRUE(file.read(bytes, Compression::None));
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "all of it");
}

TEST_F(Block, FillsASpanOfJustItsSize) {
    const std::string content = block("some bytes", Compression::Lz4);
    for (const std::size_t size : {std::size_t{9}, std::size_t{10}, std::size_t{11}}) {
        File file = opened(files.make("a", content), Mode::Read, Format::Binary);
        std::string bytes(size, '-');
        const std::span<unsigned char> span(reinterpret_cast<unsigned char*>(bytes.data()), size);
        EXPECT_EQ(file.read(span, Compression::Lz4), size == 10);
        EXPECT_EQ(bytes, size == 10 ? "some bytes" : std::string(size, '-'));
        EXPECT_EQ(file.error(), size == 10 ? ""
                                           : ("Failed to decompress data (compressed size: " +
                                              std::to_string(content.size() - 21) + ", decompressed size: 10).")
                                                 .c_str());
    }
}

TEST_F(Block, WithoutCompressionFillsASpanAsItIsSized) {
    File file = opened(files.make("a", "0123456789"), Mode::Read, Format::Binary);
    std::string bytes = "------";
    const std::span<unsigned char> span(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
    EXPECT_TRUE(file.read(span, Compression::None));
    EXPECT_EQ(bytes, "012345");
    EXPECT_FALSE(file.read(span, Compression::None));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(bytes, "012345");
}

// A read of no bytes would load a chunk and give it up.
TEST_F(Block, WithoutCompressionReadsNothingIntoAnEmptySpan) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Binary);
    EXPECT_TRUE(file.read(std::span<unsigned char>(), Compression::None));
    char c = 0;
    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'a');
    File closed;
    EXPECT_FALSE(closed.read(std::span<unsigned char>(), Compression::None));
}

// ---- Refusals -------------------------------------------------------------------------------------------------------

TEST_F(Block, IsNotWrittenToAClosedFile) {
    File file;
    for (const Compression kind : {Compression::None, Compression::Lz4}) {
        EXPECT_FALSE(file.write("abc", 3, kind));
        EXPECT_EQ(file.error(), "File not successfully opened, cannot write.");
    }
}

TEST_F(Block, IsNotWrittenToAFileThatIsRead) {
    File file = opened(files.make("a", "abc"), Mode::Read, Format::Binary);
    for (const Compression kind : {Compression::None, Compression::Lz4}) {
        EXPECT_FALSE(file.write("abc", 3, kind));
        EXPECT_EQ(file.error(), "Cannot write while in read mode.");
    }
}

TEST_F(Block, IsNotReadFromAClosedFileAndTheBytesStay) {
    File file;
    for (const Compression kind : {Compression::None, Compression::Lz4}) {
        EXPECT_EQ(readFrom(file, kind), (ReadBlock{false, "before", "File not successfully opened, cannot read.", 0}));
    }
}

TEST_F(Block, IsNotReadFromAFileThatIsWrittenAndTheBytesStay) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    for (const Compression kind : {Compression::None, Compression::Lz4}) {
        EXPECT_EQ(readFrom(file, kind), (ReadBlock{false, "before", "Cannot write while in write mode.", 0}));
    }
}

TEST_F(Block, IsReadIntoAStandardVectorByAFileThatReadsAlone) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    std::vector<unsigned char> bytes = {1, 2};
    for (const Compression kind : {Compression::None, Compression::Lz4}) {
        EXPECT_FALSE(file.read(bytes, kind));
        EXPECT_EQ(file.error(), "Cannot write while in write mode.");
        EXPECT_EQ(bytes, (std::vector<unsigned char>{1, 2}));
    }
}

// The buffer of a full disk has room for a part of the header, which is what it keeps.
TEST_F(Block, WhoseHeaderCannotBeWrittenEndsWithTheValueThatHadNoRoom) {
    struct Part {
        std::uint64_t room;
        std::uint64_t staged;
    };
    // Mark, kind, mark, length, mark, length, mark: 1 + 1 + 1 + 8 + 1 + 8 + 1 bytes.
    for (const Part part : {Part{0, 0}, {1, 1}, {2, 2}, {3, 3}, {10, 3}, {11, 11}, {12, 12}, {19, 12}, {20, 20}}) {
        SCOPED_TRACE(part.room);
        File file = opened("/dev/full", Mode::Write, Format::Binary);
        const std::string before(kMiB - part.room, '-');
        EXPECT_TRUE(file.write(before.data(), before.size(), Compression::None));
        EXPECT_FALSE(file.write("some bytes", 10, Compression::Lz4));
        EXPECT_EQ(file.error(),
                  ("Fwrite failed. Requested " + std::to_string(before.size() + part.staged) + ", read 0.").c_str());
        EXPECT_EQ(file.pos(), before.size() + part.staged);
    }
}

TEST_F(Block, OfNoKindIsNotWritten) {
    const auto put = [](File& file) {
        EXPECT_FALSE(file.write("abc", 3, static_cast<Compression>(4)));
        EXPECT_EQ(file.error(), "Compression failed.");
    };
    EXPECT_EQ(written(Format::Binary, put), ""_bytes);
}

struct DamagedHeader {
    const char* why;
    std::string_view bytes;
    std::uint64_t consumed;
};
const DamagedHeader kDamagedHeaders[] = {
    {"nothing there", "", 0},
    {"another first byte", "x1.", 1},
    {"a file that ends behind the first mark", ".", 1},
    {"the kind digit 0", ".0.", 2},
    {"the kind digit 2", ".2.", 2},
    {"the kind digit 3", ".3.", 2},
    {"no digit", ".a.", 2},
    {"another third byte", ".1x", 3},
    {"a length that is cut", ".1.\0\0\0\0\0\0\0"sv, 3},
    {"another byte between the lengths", ".1.\1\0\0\0\0\0\0\0,"sv, 12},
    {"no byte between the lengths", ".1.\1\0\0\0\0\0\0\0"sv, 11},
    {"a second length that is cut", ".1.\1\0\0\0\0\0\0\0.\1\0\0"sv, 12},
    {"another byte before the payload", ".1.\1\0\0\0\0\0\0\0.\1\0\0\0\0\0\0\0\0"sv, 21},
};

TEST_F(Block, WhoseHeaderIsDamagedIsReadUpToTheFirstWrongByte) {
    for (const DamagedHeader& damaged : kDamagedHeaders) {
        EXPECT_EQ(readOf(damaged.bytes),
                  (ReadBlock{false, "", "Failed to read un/compressed length.", damaged.consumed}))
            << damaged.why;
    }
}

TEST_F(Block, InATextFileThatEndsWithinALengthIsRefused) {
    for (const std::string_view content : {".1.", ".1.12", ".1.12.", ".1.12.3"}) {
        EXPECT_EQ(readOf(content, Format::Text),
                  (ReadBlock{false, "", "Failed to read un/compressed length.", content.size()}));
    }
}

TEST_F(Block, WhosePayloadIsCutIsRefusedBeforeAnyOfItIsConsumed) {
    const std::string whole = block("some bytes", Compression::Zlib);
    EXPECT_EQ(readOf(whole.substr(0, whole.size() - 1)),
              (ReadBlock{false, "", "Failed to read compressed buffer.", 21}));
}

// As in any read, what lies in the first chunks has been delivered by the time the last one is found to be missing.
TEST_F(Block, OfAFileThatWasCutIsRefused) {
    const std::string text = pattern(100);
    File file = opened(files.make("a", header(100, 2 * kMiB) + pattern(2 * kMiB)), Mode::Read, Format::Binary);
    std::filesystem::resize_file(files.path("a"), kMiB + 5);
    EXPECT_EQ(readFrom(file), (ReadBlock{false, "", "Failed to read compressed buffer.", kMiB}));
}

TEST_F(Block, WhosePayloadIsDamagedIsConsumedAndRefusedWithTheLengthsOfItsHeader) {
    for (const Compression kind : kKinds) {
        std::string damaged = block("some bytes", kind);
        damaged.back() ^= 1;
        const std::string lengths =
            "(compressed size: " + std::to_string(damaged.size() - 21) + ", decompressed size: 10)";
        EXPECT_EQ(readOf(damaged),
                  (ReadBlock{false, "", "Failed to decompress data " + lengths + ".", damaged.size()}));
    }
}

TEST_F(Block, WhoseHeaderLiesAboutItsContentIsRefused) {
    const std::string payload = payloadOf("some bytes", Compression::Zstd);
    for (const std::uint64_t claim : {std::uint64_t{0}, std::uint64_t{9}, std::uint64_t{11}, ~std::uint64_t{0}}) {
        EXPECT_EQ(readOf(header(claim, payload.size()) + payload).error,
                  "Failed to decompress data (compressed size: " + std::to_string(payload.size()) +
                      ", decompressed size: " + std::to_string(claim) + ").");
    }
}

TEST_F(Block, InATextFileWhosePayloadIsNoBase64IsRefused) {
    EXPECT_EQ(readOf(".1.1.12.eJxLBAAAYgB=", Format::Text),
              (ReadBlock{false, "", "Failed to decompress data (compressed size: 12, decompressed size: 1).", 20}));
}

TEST_F(Block, ThatFailedLeavesTheNextOneToBeRead) {
    std::string damaged = block("first", Compression::Lz4);
    damaged.back() ^= 1;
    File file = opened(files.make("a", damaged + block("second", Compression::Lz4)), Mode::Read, Format::Binary);
    EXPECT_FALSE(readFrom(file).done);
    EXPECT_EQ(readFrom(file).bytes, "second");
}

// ---- Headers in memory ----------------------------------------------------------------------------------------------

// What a parser left behind. The payload is told as its distance from the block.
struct Parsed {
    bool done;
    int kind;
    unsigned long compressedSize;
    unsigned long uncompressedSize;
    std::ptrdiff_t payloadAt;  // -1: null

    friend bool operator==(const Parsed&, const Parsed&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Parsed& parsed) {
        return out << (parsed.done ? "true" : "false") << ", kind " << parsed.kind << ", " << parsed.compressedSize
                   << " of " << parsed.uncompressedSize << ", payload at " << parsed.payloadAt;
    }
};

template <typename Parse>
Parsed parsed(const unsigned char* start, Parse parse) {
    auto kind = static_cast<Compression>(77);
    unsigned long compressedSize = 77, uncompressedSize = 77;
    unsigned char other = 0;
    unsigned char* payload = &other;
    const bool done = parse(kind, compressedSize, uncompressedSize, payload);
    return {done, static_cast<int>(kind), compressedSize, uncompressedSize, payload ? payload - start : -1};
}

Parsed parsedBlock(const std::string& block) {
    const auto* const start = reinterpret_cast<const unsigned char*>(block.data());
    return parsed(start, [&](auto&... outputs) { return File::decodeRawFileBlock(start, outputs...); });
}

Parsed parsedData(const std::string& data) {
    const Vector bytes = bytesOf(data);
    return parsed(bytes.data(), [&](auto&... outputs) { return File::decodeRawFileData(bytes, outputs...); });
}

// A header in memory is in the host's byte order.
std::string hostHeader(char kind, unsigned long size, unsigned long payloadSize) {
    std::string header(21, '.');
    header[1] = kind;
    std::memcpy(&header[3], &size, 8);
    std::memcpy(&header[12], &payloadSize, 8);
    return header;
}

TEST(RawBlock, SaysItsKindItsLengthsAndWhereItsPayloadIs) {
    EXPECT_EQ(parsedBlock(hostHeader('1', 1000, 57)), (Parsed{true, 1, 57, 1000, 21}));
}

TEST(RawBlock, MayHaveAnyOfFourKinds) {
    for (int kind = 0; kind <= 3; ++kind) {
        EXPECT_EQ(parsedBlock(hostHeader(static_cast<char>('0' + kind), 5, 6)), (Parsed{true, kind, 6, 5, 21}));
    }
}

TEST(RawBlock, LooksNeitherAtTheLengthsNorAtThePayload) {
    EXPECT_EQ(parsedBlock(hostHeader('2', ~0ul, ~0ul)), (Parsed{true, 2, ~0ul, ~0ul, 21}));
}

TEST(RawBlock, MayLieAtAnyAddress) {
    for (std::size_t shift = 0; shift < 16; ++shift) {
        const std::string memory = std::string(shift, '-') + hostHeader('1', 0x0102030405060708, 57);
        const auto* const start = reinterpret_cast<const unsigned char*>(memory.data()) + shift;
        EXPECT_EQ(parsed(start, [&](auto&... outputs) { return File::decodeRawFileBlock(start, outputs...); }),
                  (Parsed{true, 1, 57, 0x0102030405060708, 21}));
    }
}

TEST(RawBlock, KeepsWhatStandsBeforeTheFirstWrongByte) {
    const auto with = [](std::size_t offset, char byte) {
        std::string header = hostHeader('3', 5, 6);
        header[offset] = byte;
        return parsedBlock(header);
    };
    EXPECT_EQ(with(0, 'x'), (Parsed{false, 0, 0, 0, -1}));
    EXPECT_EQ(with(1, '4'), (Parsed{false, 0, 0, 0, -1}));
    EXPECT_EQ(with(1, '/'), (Parsed{false, 0, 0, 0, -1}));
    EXPECT_EQ(with(2, 'x'), (Parsed{false, 3, 0, 0, -1}));
    EXPECT_EQ(with(11, 'x'), (Parsed{false, 3, 0, 5, -1}));
    EXPECT_EQ(with(20, 'x'), (Parsed{false, 3, 6, 5, -1}));
}

// Deliberate: unlike in a file, the lengths are not turned on a big-endian host.
TEST(RawBlock, IsInTheByteOrderOfTheHost) {
    const std::string file = header(1, 2);
    EXPECT_EQ(parsedBlock(file), isLittleEndian ? (Parsed{true, 1, 2, 1, 21})
                                                : (Parsed{true, 1, 0x0200000000000000, 0x0100000000000000, 21}));
}

TEST(RawData, OfOneBlockIsTaken) {
    EXPECT_EQ(parsedData(hostHeader('1', 1000, 3) + "abc"), (Parsed{true, 1, 3, 1000, 21}));
    EXPECT_EQ(parsedData(hostHeader('1', 0, 0)), (Parsed{true, 1, 0, 0, 21}));
}

TEST(RawData, OfAnyOtherSizeIsRefusedWithAllOutputsFilled) {
    EXPECT_EQ(parsedData(hostHeader('1', 0, 0) + "x"), (Parsed{false, 1, 0, 0, 21}));
    EXPECT_EQ(parsedData(hostHeader('2', 9, 3) + "ab"), (Parsed{false, 2, 3, 9, 21}));
    EXPECT_EQ(parsedData(hostHeader('2', 9, ~0ul)), (Parsed{false, 2, ~0ul, 9, 21}));
}

TEST(RawData, OfFewerThan21BytesIsRefusedWithAllOutputsZero) {
    const std::string header = hostHeader('1', 5, 0);
    for (std::size_t size = 0; size <= 20; ++size) {
        EXPECT_EQ(parsedData(header.substr(0, size)), (Parsed{false, 0, 0, 0, -1})) << size;
    }
}

TEST(RawData, ThatIsNoBlockIsRefused) { EXPECT_EQ(parsedData(std::string(30, 'x')), (Parsed{false, 0, 0, 0, -1})); }

TEST_F(Block, InABinaryFileIsWhatTheMemoryParsersTakeOnALittleEndianHost) {
    for (const Compression kind : kKinds) {
        const Bytes bytes =
            written(Format::Binary, [&](File& file) { EXPECT_TRUE(file.write("some bytes", 10, kind)); });
        const unsigned long payloadSize = bytes.raw.size() - 21;
        EXPECT_EQ(parsedData(bytes.raw), isLittleEndian
                                             ? (Parsed{true, 1, payloadSize, 10, 21})
                                             : (Parsed{false, 1, swapEndian(payloadSize), swapEndian(10ul), 21}));
    }
}

}  // namespace
}  // namespace qor::test
