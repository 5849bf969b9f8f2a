// Files larger than memory, and reads larger than memory. The files are sparse: what is not written takes no room.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>

#include "file/contents.h"
#include "memory/sanitized.h"
#include "support/figures.h"
#include "support/heap.h"

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;

constexpr std::uint64_t kGiB = 1024 * kMiB;

// The most memory that this process ever had, in bytes.
std::uint64_t mostResident() {
    rusage usage{};
    EXPECT_EQ(getrusage(RUSAGE_SELF, &usage), 0);
    return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

// Runs `act`, which may take 16 MiB, on the heap and in all.
template <typename Act>
void inLittleMemory(Act act) {
    const std::uint64_t before = mostResident();
    EXPECT_LE(peakOf(act), 16 * kMiB);
    EXPECT_TRUE(kIsSanitized || mostResident() - before <= 16 * kMiB) << mostResident() - before;
}

const std::string kText = pattern(3 * kMiB);

TEST(LargeFile, IsWrittenSoughtAndReadBeyond4GiB) {
    const TestFolder files;
    const std::uint64_t size = (isThorough() ? 64 : 6) * kGiB;
    const auto last = static_cast<std::int64_t>(size - 8);
    inLittleMemory([&] {
        File file = opened(files.path("a"), Mode::Write, Format::Binary);
        EXPECT_TRUE(file.write(1L));
        EXPECT_EQ(file.seek(4 * kGiB - 4), 4 * kGiB - 4);
        EXPECT_TRUE(file.write(2L)) << "across the line";
        EXPECT_EQ(file.pos(), 4 * kGiB + 4);
        EXPECT_EQ(file.skip(kGiB), 5 * kGiB + 4);
        EXPECT_TRUE(file.write(kText.c_str()));
        EXPECT_EQ(file.pos(), 5 * kGiB + 12 + kText.size());
        EXPECT_EQ(file.seek(last), size - 8);
        EXPECT_TRUE(file.write(3L));
        EXPECT_EQ(file.pos(), size);
        EXPECT_TRUE(file.close());
    });
    EXPECT_EQ(stdfs::file_size(files.path("a")), size);

    inLittleMemory([&] {
        File file = opened(files.path("a"), Mode::Read, Format::Binary);
        EXPECT_EQ(file.len(), size);
        long number = 0;
        EXPECT_TRUE(file.read(number) && number == 1);
        EXPECT_EQ(file.seek(4 * kGiB - 4), 4 * kGiB - 4);
        EXPECT_TRUE(file.read(number) && number == 2);
        EXPECT_EQ(file.pos(), 4 * kGiB + 4);
        EXPECT_EQ(file.seek(5 * kGiB + 4), 5 * kGiB + 4);
        String text;
        EXPECT_TRUE(file.read(text));
        EXPECT_EQ(text, kText.c_str());
        EXPECT_EQ(file.pos(), 5 * kGiB + 12 + kText.size());
        EXPECT_EQ(file.seek(last), size - 8);
        EXPECT_EQ(file.peek(), 3);
        EXPECT_TRUE(file.read(number) && number == 3);
        EXPECT_TRUE(file.eof());
        EXPECT_FALSE(file.read(number));
        EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    });
}

// Chunk by chunk across the line at 4 GiB; in a thorough run, from the file's start to its end.
TEST(LargeFile, IsReadInARowBeyond4GiB) {
    const TestFolder files;
    const std::string path = files.make("a", "");
    const std::uint64_t size = (isThorough() ? 64 : 6) * kGiB;
    const std::uint64_t from = isThorough() ? 0 : 4 * kGiB - 64 * kMiB;
    const std::uint64_t to = isThorough() ? size : 4 * kGiB + 64 * kMiB;
    stdfs::resize_file(path, size);
    inLittleMemory([&] {
        File file = opened(path, Mode::Read, Format::Binary);
        EXPECT_EQ(file.seek(static_cast<std::int64_t>(from)), from);
        ds::Vector<unsigned char> bytes;
        EXPECT_TRUE(bytes.resize(5 * kMiB / 2 + 3));
        std::uint64_t at = from;
        while (to - at >= bytes.size() && file.read(bytes, Compression::None)) at += bytes.size();
        EXPECT_LT(to - at, bytes.size());
        EXPECT_EQ(file.pos(), at);
        EXPECT_TRUE(file.ok());
    });
    figure("bytes in a row of a large file", to - from, 128 * kMiB);
}

// ---- One call -------------------------------------------------------------------------------------------------------

// A range of addresses that are all the same mebibyte, so that reading into it takes no more memory than that.
class FoldedMemory {
 public:
    explicit FoldedMemory(std::uint64_t wanted) : size((wanted + kMiB - 1) / kMiB * kMiB) {
        const int fold = memfd_create("fold", 0);
        EXPECT_EQ(ftruncate(fold, kMiB), 0);
        void* const range = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        EXPECT_NE(range, MAP_FAILED);
        start = static_cast<unsigned char*>(range);
        for (std::uint64_t at = 0; at < size; at += kMiB) {
            EXPECT_EQ(mmap(start + at, kMiB, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, fold, 0), start + at);
        }
        close(fold);
    }
    ~FoldedMemory() { munmap(start, size); }
    FoldedMemory(const FoldedMemory&) = delete;
    FoldedMemory& operator=(const FoldedMemory&) = delete;

    unsigned char* data() const { return start; }

 private:
    std::uint64_t size;
    unsigned char* start = nullptr;
};

// Runs `act` on a thread whose stack is as small as one for a thousand threads would be: 64 KiB, or what a host has for
// its smallest (128 KiB on powerpc64).
void onASmallStack(std::function<void()> act) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    const std::size_t least = kIsSanitized ? 512 * 1024 : 64 * 1024;
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::max(least, static_cast<std::size_t>(PTHREAD_STACK_MIN))), 0);
    pthread_t thread;
    const auto start = [](void* what) -> void* {
        (*static_cast<std::function<void()>*>(what))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, start, &act), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

constexpr std::uint64_t kRead = 4 * kGiB + 5;

TEST(LargeRead, Of4GiBInOneCallNeedsNeitherStackNorHeap) {
    const TestFolder files;
    const std::string path = files.make("a", "first");
    stdfs::resize_file(path, kRead);
    std::fstream(path, std::ios::binary | std::ios::in | std::ios::out).seekp(kRead - 4) << "last";
    const FoldedMemory memory(kRead);

    bool done = false;
    std::uint64_t position = 0;
    std::size_t peak = 0;
    onASmallStack([&] {
        File file = opened(path, Mode::Read, Format::Binary);
        peak = peakOf([&] { done = file.read(std::span(memory.data(), kRead), Compression::None); });
        position = file.pos();
    });
    EXPECT_TRUE(done);
    EXPECT_EQ(position, kRead);
    EXPECT_EQ(peak, 0u);
    // The last five bytes lie in the fold's first, over what was read before.
    EXPECT_EQ(std::string(memory.data(), memory.data() + 5), std::string("\0last", 5));
    EXPECT_EQ(memory.data()[kRead - 1], 't');
}

TEST(LargeRead, OfAnArrayOf4GiBIsOneCallToo) {
    const TestFolder files;
    const std::string path = files.make("a", "first");
    stdfs::resize_file(path, kRead + 3);
    const FoldedMemory memory(kRead + 3);
    bool done = false;
    std::uint64_t position = 0;
    onASmallStack([&] {
        File file = opened(path, Mode::Read, Format::Binary);
        done = file.read(BufRef{memory.data(), DataType::Int64, (kRead + 3) / 8});
        position = file.pos();
    });
    EXPECT_TRUE(done);
    EXPECT_EQ(position, kRead + 3);
}

TEST(LargeWrite, Of4GiBInOneCallGoesStraightThrough) {
    const FoldedMemory memory(kRead);
    bool done = false;
    std::uint64_t position = 0;
    onASmallStack([&] {
        File file = opened("/dev/null", Mode::Write, Format::Binary);
        done = file.write(std::span<const unsigned char>(memory.data(), kRead), Compression::None);
        position = file.pos();
    });
    EXPECT_TRUE(done);
    EXPECT_EQ(position, kRead);
}

TEST(LargePrint, OfMoreThanAnIntCountsIsTheEmptyText) {
    // The C library makes all of the first before it gives up. For a short run there is one that it refuses at once.
    const char* const fmt = isBrief() ? "%2147483648d" : "%*d and more";
    EXPECT_TRUE(String::format(fmt, std::numeric_limits<int>::max(), 5).isEmpty());
}

}  // namespace
}  // namespace qor::test
