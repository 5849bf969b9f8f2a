// Files that lie about their length or about what is in them: a failure with its text, nothing thrown, nothing touched
// out of bounds, and memory taken only for bytes that are there.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <vector>

#include "file/contents.h"

// ---- The heap -------------------------------------------------------------------------------------------------------

namespace {

// A machine on which a block this large is never to be had.
constexpr std::size_t kTooLarge = std::size_t{1} << 30;

// What stands before each block, so that its size is known when it goes.
constexpr std::size_t kHeader = alignof(std::max_align_t);

std::size_t held = 0;
std::size_t peak = 0;

void* take(std::size_t size) noexcept {
    if (size >= kTooLarge) return nullptr;
    void* const block = std::malloc(kHeader + size);
    if (!block) return nullptr;
    *static_cast<std::size_t*>(block) = size;
    held += size;
    peak = std::max(peak, held);
    return static_cast<char*>(block) + kHeader;
}

void* takeOrThrow(std::size_t size) {
    if (void* const memory = take(size)) return memory;
    throw std::bad_alloc();
}

void giveBack(void* memory) noexcept {
    if (!memory) return;
    void* const block = static_cast<char*>(memory) - kHeader;
    held -= *static_cast<std::size_t*>(block);
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return takeOrThrow(size); }
void* operator new[](std::size_t size) { return takeOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return take(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return take(size); }
void operator delete(void* memory) noexcept { giveBack(memory); }
void operator delete[](void* memory) noexcept { giveBack(memory); }
void operator delete(void* memory, std::size_t) noexcept { giveBack(memory); }
void operator delete[](void* memory, std::size_t) noexcept { giveBack(memory); }

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;
using namespace std::literals;

/// The most memory held at any moment of `act`, beyond what was held before.
template <typename Act>
std::size_t peakOf(Act act) {
    const std::size_t before = peak = held;
    act();
    return peak - before;
}

TEST(CountedHeap, CountsAndRefuses) {
    EXPECT_GE(peakOf([] { std::string text(5000, 'x'); }), 5000u);
    EXPECT_EQ(operator new(kTooLarge, std::nothrow), nullptr);
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
