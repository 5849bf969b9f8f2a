// Files that lie about their length or about what is in them: a failure with its text, nothing thrown, nothing touched
// out of bounds, and memory taken only for bytes that are there.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <vector>

#include "file/contents.h"
#include "support/heap.h"

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;
using namespace std::literals;

TEST(CountedHeap, CountsAndRefuses) {
    // Called by name, since a compiler may leave out a string that nobody looks at.
    EXPECT_EQ(peakOf([] { operator delete(operator new(5000)); }), 5000u);
    EXPECT_EQ(operator new(Heap::kTooLarge, std::nothrow), nullptr);
}

// ---- Records that claim more than there is --------------------------------------------------------------------------

using HostileRecord = WithFiles;

// Reads a record into each kind of text; each must fail, with nothing consumed but the count.
void expectRefused(File& file, std::uint64_t at, std::uint64_t present) {
    const auto expectOne = [&](auto text, auto isUnchanged) {
        file.seek(0);
        String before;
        EXPECT_TRUE(at == 0 || file.read(before));
        ASSERT_EQ(file.pos(), at);
        bool done = true;
        EXPECT_LE(peakOf([&] { done = file.read(text); }), 2 * present + kMiB);
        EXPECT_FALSE(done);
        EXPECT_TRUE(isUnchanged(text));
        EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
        EXPECT_EQ(file.pos(), at + 8);
        char next;
        EXPECT_TRUE(file.read(next));
        EXPECT_EQ(next, 'p');
    };
    expectOne(String("before"), [](const String& text) { return text == "before"; });
    expectOne(StringIO() << "before", [](const StringIO& text) { return text.buf() == "before"sv; });
    expectOne("before"s, [](const std::string& text) { return text == "before"; });
}

TEST_F(HostileRecord, ClaimsMoreThanIsThere) {
    constexpr std::string_view kPresent = "present characters";
    for (const std::uint64_t at : {std::uint64_t{0}, std::uint64_t{8}, kMiB - 1, kMiB}) {
        const std::uint64_t length = at + 8 + kPresent.size();
        for (const std::uint64_t claim :
             {18446744073709551615u, 18446744073709551608u, 18446744073709551607u, 9223372036854775808u,
              9223372036854775807u, 1099511627776u, length + 1, length, length - 1, kPresent.size() + 1}) {
            SCOPED_TRACE(std::to_string(claim) + " characters at " + std::to_string(at));
            const std::string path = files.make("a", (at > 0 ? filler(at) : "") + count(claim) + std::string(kPresent));
            File binary = opened(path, Mode::Read, Format::Binary);
            expectRefused(binary, at, kPresent.size());
            File text = opened(path, kSeven, Format::Text);
            expectRefused(text, at, kPresent.size());
        }
    }
}

TEST_F(HostileRecord, ThatClaimsJustWhatIsThereIsRead) {
    for (const std::uint64_t at : {std::uint64_t{8}, kMiB - 1, kMiB}) {
        File file = opened(files.make("a", filler(at) + count(3) + "abc"), Mode::Read, Format::Binary);
        String before, text;
        EXPECT_TRUE(file.read(before) && file.read(text));
        EXPECT_EQ(text, "abc");
        EXPECT_TRUE(file.eof());
    }
}

// The claim was true when the file was measured.
TEST_F(HostileRecord, OfAFileThatWasCutTakesMemoryForWhatIsLeft) {
    constexpr std::uint64_t kLeft = 3 * kMiB;
    const auto expectOne = [&](auto text) {
        File file = opened(files.make("a", record(std::string(16 * kMiB, 'x'))), Mode::Read, Format::Binary);
        stdfs::resize_file(files.path("a"), kLeft);
        EXPECT_LE(peakOf([&] { EXPECT_FALSE(file.read(text)); }), 2 * kLeft + kMiB);
        EXPECT_EQ(file.error(), "Fread failed. Requested 1048576, read 0.");
        EXPECT_EQ(file.pos(), kLeft);
    };
    expectOne(String());
    expectOne(StringIO());
    expectOne(std::string());
}

TEST_F(HostileRecord, OfManyMiBTakesAtMostTwiceItsSize) {
    constexpr std::uint64_t kSize = 16 * kMiB;
    const auto expectOne = [&](auto text) {
        File file = opened(files.make("a", record(std::string(kSize, 'x'))), Mode::Read, Format::Binary);
        EXPECT_LE(peakOf([&] { EXPECT_TRUE(file.read(text)); }), 2 * kSize + kMiB);
    };
    expectOne(String());
    expectOne(StringIO());
    expectOne(std::string());
}

TEST_F(HostileRecord, ThatClaimsMoreThanASparseTebibyteIsRefused) {
    files.make("a", count(18446744073709551615u));
    stdfs::resize_file(files.path("a"), 1099511627776);
    File file = opened(files.path("a"), Mode::Read, Format::Binary);
    String text = "before";
    EXPECT_LE(peakOf([&] { EXPECT_FALSE(file.read(text)); }), kMiB);
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(text, "before");
    EXPECT_EQ(file.pos(), 8u);
}

// ---- Texts that no memory holds -------------------------------------------------------------------------------------

using HostileText = WithFiles;

TEST_F(HostileText, OfATebibyteIsNoText) {
    files.make("a", "begin");
    stdfs::resize_file(files.path("a"), 1099511627776);
    File file = opened(files.path("a"), Mode::Read, Format::Text);
    EXPECT_EQ(file.len(), 1099511627776u);
    char c;
    file >> c >> c;

    String text = "before";
    EXPECT_LE(peakOf([&] { text = file.read(); }), kMiB);
    EXPECT_EQ(text, "");
    EXPECT_EQ(file.error(), "Failed to read file.");
    EXPECT_EQ(file.pos(), 2u);

    text = "before";
    EXPECT_FALSE(file.read(text));
    EXPECT_EQ(text, "");
    StringIO builder;
    builder << "before";
    EXPECT_FALSE(file.read(builder));
    EXPECT_TRUE(builder.isEmpty());
    std::string standard = "before";
    EXPECT_FALSE(file.read(standard));
    EXPECT_EQ(standard, "");
    EXPECT_EQ(file.error(), "Failed to read file.");

    EXPECT_TRUE(file.read(c));
    EXPECT_EQ(c, 'g');
    EXPECT_EQ(file.pos(), 3u);
}

// ---- Blocks that claim more than there is ---------------------------------------------------------------------------

using HostileBlock = WithFiles;

constexpr std::uint64_t kClaims[] = {18446744073709551615u, 9223372036854775808u, 9223372036854775807u,
                                     1152921504606846976u, 1099511627776u};

std::string blockHeader(std::uint64_t size, std::uint64_t payloadSize) {
    return ".1." + count(size) + '.' + count(payloadSize) + '.';
}

bool readBlock(File& file) {
    ds::Vector<unsigned char> bytes;
    const bool done = file.read(bytes, Compression::Lz4);
    EXPECT_EQ(done, !bytes.isEmpty());
    return done;
}

TEST_F(HostileBlock, WhosePayloadIsLongerThanTheFileTakesNoMemory) {
    for (const std::uint64_t at : {std::uint64_t{0}, kMiB - 21, kMiB}) {
        for (const std::uint64_t claim : kClaims) {
            const std::string before = at > 0 ? filler(at) : "";
            File file = opened(files.make("a", before + blockHeader(5, claim) + "12345"), Mode::Read, Format::Binary);
            String text;
            EXPECT_TRUE(at == 0 || file.read(text));
            EXPECT_LE(peakOf([&] { EXPECT_FALSE(readBlock(file)); }), 1000u);
            EXPECT_EQ(file.error(), "Failed to read compressed buffer.");
            EXPECT_EQ(file.pos(), at + 21);
        }
    }
}

TEST_F(HostileBlock, WhosePayloadNoMemoryHoldsIsRefused) {
    files.make("a", blockHeader(5, 1099511627776));
    stdfs::resize_file(files.path("a"), 1099511627776 + 21);
    File file = opened(files.path("a"), Mode::Read, Format::Binary);
    EXPECT_LE(peakOf([&] { EXPECT_FALSE(readBlock(file)); }), 1000u);
    EXPECT_EQ(file.error(), "Failed to read compressed buffer.");
}

TEST_F(HostileBlock, WhoseContentIsClaimedToBeHugeTakesLittleMoreThanThePayload) {
    const std::string content = pattern(40);
    for (const Compression kind : {Compression::Lz4, Compression::Zlib, Compression::Zstd}) {
        const auto payload =
            compress(reinterpret_cast<const unsigned char*>(content.data()), content.size(), false, kind);
        for (const std::uint64_t claim : kClaims) {
            const std::string stream(payload.begin(), payload.end());
            File file = opened(files.make("a", blockHeader(claim, stream.size()) + stream), Mode::Read, Format::Binary);
            EXPECT_LE(peakOf([&] { EXPECT_FALSE(readBlock(file)); }), 4096u);
            EXPECT_EQ(file.error(), ("Failed to decompress data (compressed size: " + std::to_string(stream.size()) +
                                     ", decompressed size: " + std::to_string(claim) + ").")
                                        .c_str());
        }
    }
}

TEST_F(HostileBlock, InATextFileClaimsInVainToo) {
    File file = opened(files.make("a", ".1.5.18446744073709551615.12345"), Mode::Read, Format::Text);
    EXPECT_LE(peakOf([&] { EXPECT_FALSE(readBlock(file)); }), 1000u);
    EXPECT_EQ(file.error(), "Failed to read compressed buffer.");
}

// A whole file that no memory holds, as it stands: the transport has the last word, and the vector stays empty.
TEST_F(HostileBlock, OfATebibyteAsItStandsIsRefused) {
    files.make("a", "begin");
    stdfs::resize_file(files.path("a"), 1099511627776);
    File file = opened(files.path("a"), Mode::Read, Format::Binary);
    ds::Vector<unsigned char> bytes;
    EXPECT_FALSE(file.read(bytes, Compression::None));
    EXPECT_TRUE(bytes.isEmpty());
    EXPECT_EQ(file.error(), "Out of memory.");
    EXPECT_EQ(file.pos(), 0u);
    char c;
    EXPECT_TRUE(file.read(c));
    EXPECT_FALSE(file.read(bytes, Compression::None));
    EXPECT_TRUE(bytes.isEmpty());
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
}

// ---- Arrays ---------------------------------------------------------------------------------------------------------

using HostileArray = WithFiles;

TEST_F(HostileArray, OfATrillionNumbersInAShortTextFileTakesNoMemory) {
    std::vector<int> values(10, -1);
    for (const char* content : {"1 2 3 4 56", ""}) {
        for (const DataType type : {DataType::Int32, DataType::Ptr}) {
            File file = opened(files.make("a", content), Mode::Read, Format::Text);
            EXPECT_LE(peakOf([&] { EXPECT_FALSE(file.read({values.data(), type, std::uint64_t{1} << 40})); }), 4096u);
        }
    }
    EXPECT_EQ(values[4], 56);
    EXPECT_EQ(values[5], -1);
}

TEST_F(HostileArray, IsMovedWithoutTheHeap) {
    std::vector<double> values(100'000);
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = 0.1 * static_cast<double>(i);
    std::vector<double> back(values.size());
    for (const Format format : {Format::Binary, Format::Text}) {
        File file = opened(files.path("a"), Mode::Write, format);
        std::uint64_t before = Heap::requests();
        EXPECT_TRUE(file.write(bufRef(std::span(values)), true));
        EXPECT_EQ(Heap::requests(), before);
        file << ' ';
        ASSERT_TRUE(file.close());

        file = opened(files.path("a"), Mode::Read, format);
        before = Heap::requests();
        EXPECT_TRUE(file.read(bufRef(std::span(back))));
        EXPECT_LE(Heap::requests(), before + 10) << "tokens that the end of a chunk parts";
        EXPECT_EQ(back, values);
    }
}

TEST_F(HostileArray, OfBytesWithGapsThatNoMemoryHoldsIsNotWritten) {
    std::vector<unsigned char> bytes(8, 'x');
    const BufRef ref = {.ptr = bytes.data(), .type = DataType::Byte, .count = 4, .stride = 2};
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    for (const bool compress : {false, true}) {
        const RefusedRequests refused(1);
        EXPECT_FALSE(file.write(ref, compress));
        EXPECT_TRUE(refused.met());
        EXPECT_EQ(file.error(), "Out of memory.");
        EXPECT_EQ(file.pos(), 0u);
    }
    EXPECT_FALSE(file.write(BufRef{bytes.data(), DataType::Byte, std::uint64_t{1} << 60, 2}, false));
    EXPECT_EQ(file.error(), "Out of memory.");
    EXPECT_EQ(file.pos(), 0u);
}

TEST_F(HostileArray, WhoseTokenNoMemoryHoldsIsNotRead) {
    double value = -1;
    File file = opened(files.make("a", std::string(2 * kMiB, '1') + " 2"), Mode::Read, Format::Text);
    bool done = true;
    {
        const RefusedRequests refused(1, true);
        done = file.read({&value, DataType::Double, 1});
    }
    EXPECT_FALSE(done);
    EXPECT_EQ(file.error(), "Out of memory.");
    EXPECT_EQ(value, -1);
}

// The part of the token that lies in the first chunk is a number too.
TEST_F(HostileArray, WhoseTokenIsHeldInPartIsNotRead) {
    double value = -1;
    std::vector<unsigned char> skipped(kMiB - 1);
    const std::string content = std::string(kMiB - 1, '-') + '1' + std::string(100, '2') + ' ';
    File file = opened(files.make("a", content), Mode::Read, Format::Text);
    ASSERT_TRUE(file.read(skipped, Compression::None));
    bool done = true, met = false;
    {
        const RefusedRequests refused(1, true);
        done = file.read({&value, DataType::Double, 1});
        met = refused.met();
    }
    EXPECT_TRUE(met);
    EXPECT_FALSE(done);
    EXPECT_EQ(file.error(), "Out of memory.");
    EXPECT_EQ(value, -1);
}

// ---- What is no file ------------------------------------------------------------------------------------------------

// A folder can be opened for reading, and has a length that the file system makes up: nothing, a block, or 2^63 - 1.
class Folder : public WithFiles {
 protected:
    File open(Format format) {
        files.make("some file", "x");
        return opened(files.path(""), Mode::Read, format);
    }

    static std::string refillError(const File& file) {
        if (file.len() == 0) return "Attempted to read beyond file size.";
        return "Fread failed. Requested " + std::to_string(std::min(file.len(), kMiB)) + ", read 0.";
    }
};

TEST_F(Folder, HasNoNumbers) {
    File file = open(Format::Binary);
    EXPECT_TRUE(file.ok());
    char c = 'c';
    double d = 0.5;
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), refillError(file).c_str());
    EXPECT_FALSE(file.read(d));
    EXPECT_EQ(file.error(), refillError(file).c_str());
    EXPECT_EQ(c, 'c');
    EXPECT_EQ(d, 0.5);
    EXPECT_EQ(file.pos(), 0u);
}

TEST_F(Folder, HasNoRecords) {
    File file = open(Format::Binary);
    String string = "before";
    StringIO builder;
    builder << "before";
    std::string standard = "before";
    EXPECT_FALSE(file.read(string));
    EXPECT_FALSE(file.read(builder));
    EXPECT_FALSE(file.read(standard));
    EXPECT_EQ(file.error(), refillError(file).c_str());
    EXPECT_EQ(string, "before");
    EXPECT_STREQ(builder.buf(), "before");
    EXPECT_EQ(standard, "before");
}

TEST_F(Folder, HasNoText) {
    File file = open(Format::Text);
    String text = "before";
    EXPECT_LE(peakOf([&] { text = file.read(); }), kMiB);
    EXPECT_EQ(text, "");
    EXPECT_EQ(file.error(), file.len() == 0 ? "" : "Failed to read file.");
    EXPECT_EQ(file.pos(), 0u);
}

TEST_F(Folder, HasNoBlocks) {
    File file = open(Format::Binary);
    ds::Vector<unsigned char> bytes;
    EXPECT_FALSE(file.read(bytes, Compression::Zstd));
    EXPECT_EQ(file.error(), "Failed to read un/compressed length.");
}

TEST_F(Folder, HasNoBytesAsTheyStand) {
    File file = open(Format::Binary);
    ds::Vector<unsigned char> bytes;
    const bool isEmpty = file.len() == 0;
    EXPECT_EQ(file.read(bytes, Compression::None), isEmpty);
    EXPECT_EQ(file.error(), isEmpty ? "" : refillError(file).c_str());
}

TEST_F(Folder, HasNoArrays) {
    std::vector<int> numbers(3, -1);
    std::vector<unsigned char> bytes(3, 9);
    for (const Format format : {Format::Binary, Format::Text}) {
        File file = open(format);
        EXPECT_FALSE(file.read(bufRef(std::span(numbers))));
        EXPECT_EQ(file.error(), refillError(file).c_str());
        EXPECT_FALSE(file.read(bufRef(std::span(bytes))));
        EXPECT_EQ(file.error(), refillError(file).c_str());
    }
    EXPECT_EQ(numbers, (std::vector<int>(3, -1)));
    EXPECT_EQ(bytes, (std::vector<unsigned char>(3, 9)));
}

TEST_F(Folder, HasNothingToPeekAt) {
    File file = open(Format::Binary);
    EXPECT_EQ(file.peek(), 0);
    EXPECT_TRUE(file.ok());
    EXPECT_TRUE(file.close());
}

// A pipe can neither be measured nor moved within, so it has no length, and the move back to its start leaves its text.
class Pipe : public WithFiles {
 protected:
    // Both ends are kept open here, so that neither side of the tests waits for the other.
    Pipe() {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        ends = ::open(path.c_str(), O_RDWR | O_NONBLOCK);
        EXPECT_GE(ends, 0);
    }
    ~Pipe() override { ::close(ends); }

    const std::string path = files.path("pipe");
    int ends;
};

TEST_F(Pipe, ReadsAsAnEmptyFile) {
    EXPECT_EQ(::write(ends, "abc", 3), 3);
    File file = opened(path, Mode::Read, Format::Binary);
    EXPECT_EQ(file.error(), "Seek failed, returning zero.");
    EXPECT_EQ(file.len(), 0u);
    EXPECT_TRUE(file.eof());
    char c = '-';
    EXPECT_FALSE(file.read(c));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(c, '-');
    EXPECT_EQ(file.peek(), 0);
    EXPECT_EQ(file.error(), "Seek failed, returning zero.");
    EXPECT_TRUE(file.close());
    EXPECT_TRUE(file.ok());
}

TEST_F(Pipe, IsAnEmptyTextWithTheTextOfTheFailedMove) {
    EXPECT_EQ(::write(ends, "abc", 3), 3);
    File file = opened(path, Mode::Read, Format::Text);
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(file.error(), "Seek failed, returning zero.");
}

TEST_F(Pipe, TakesWhatIsWrittenAndCannotTellThePosition) {
    File file = opened(files.make("a", "of another file"), Mode::Read, Format::Text);
    file.seek(5);
    ASSERT_TRUE(file.open(path.c_str(), Mode::Write, Format::Binary));
    EXPECT_TRUE(file.write(258));
    EXPECT_EQ(file.pos(), 4u);
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(file.error(), "Tell failed.");
    EXPECT_EQ(file.pos(), 0u);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(file.error(), "Tell failed.");
    char got[5];
    EXPECT_EQ(::read(ends, got, 5), 4);
    EXPECT_EQ(Bytes{std::string(got, 4)}, "02 01 00 00"_bytes);
}

// Files that the system makes up as they are read have no length beforehand, and neither has a device without an end.
TEST(MadeUpFiles, ReadAsEmptyFiles) {
    std::vector<std::string> paths = {"/dev/zero"};
    for (const char* path : {"/proc/version", "/proc/self/status"}) {
        if (stdfs::exists(path)) paths.push_back(path);  // not everywhere is /proc mounted
    }
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        File file = opened(path, Mode::Read, Format::Text);
        EXPECT_TRUE(file.ok());
        EXPECT_EQ(file.len(), 0u);
        EXPECT_TRUE(file.eof());
        EXPECT_EQ(file.read(), "");
        EXPECT_TRUE(file.ok());
        EXPECT_EQ(file.peek(), 0);
        EXPECT_TRUE(file.ok());
        char c = '-';
        EXPECT_FALSE(file.read(c));
        EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
        EXPECT_EQ(c, '-');
    }
}

}  // namespace
}  // namespace qor::test
