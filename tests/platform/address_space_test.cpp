// Files that claim more than this process may hold, in 256 MiB of address space.
#include <gtest/gtest.h>

#include <chrono>
#include <span>
#include <vector>

#include "platform/platform.h"

namespace qor::test {
namespace {

constexpr std::uint64_t kTebibyte = std::uint64_t{1} << 40;

class LittleMemory : public WithFiles {
 protected:
    // A file that begins with these bytes and is zeros from there on, of which the disk keeps none.
    std::string sparse(std::string_view start, std::uint64_t size) const {
        const std::string path = files.make("sparse", start);
        std::filesystem::resize_file(path, size);
        return path;
    }

    const Limit limit{RLIMIT_AS, 256 * kMiB};
};

TEST_F(LittleMemory, ARecordThatClaimsMoreThanTheFileIsRefused) {
    File file = opened(files.make("a", count(kTebibyte) + "abc"), Mode::Read, Format::Binary);
    String text = "before";
    EXPECT_EQ(after(file.read(text), file), (Outcome{false, "Attempted to read beyond file size.", 11, 8, false}));
    EXPECT_EQ(text, "before");
}

// A text ends at a zero byte, so the zeros of a sparse file need not be held.
TEST_F(LittleMemory, ARecordTakesMemoryForItsTextAlone) {
    const std::uint64_t size = 1024 * kMiB;
    File file = opened(sparse(count(size - 8) + "x", size), Mode::Read, Format::Binary);
    std::string text = "before";
    EXPECT_EQ(after(file.read(text), file), (Outcome{true, "", size, size, true}));
    EXPECT_EQ(text, "x");
}

TEST_F(LittleMemory, AWholeTextThatIsTooLargeIsRefused) {
    const std::uint64_t size = 1024 * kMiB;
    File file = opened(sparse("x", size), Mode::Read, Format::Text);
    String text = "before";
    EXPECT_EQ(file.read(), "");
    EXPECT_EQ(after(0, file), (Outcome{0, "Failed to read file.", size, 0, false}));
    EXPECT_EQ(after(file.read(text), file), (Outcome{false, "Failed to read file.", size, 0, false}));
    EXPECT_EQ(text, "");
}

TEST_F(LittleMemory, ABlockThatClaimsMoreThanTheFileIsRefused) {
    const std::string header = ".1." + count(kTebibyte) + "." + count(kTebibyte) + ".";
    File file = opened(files.make("a", header + "payload"), Mode::Read, Format::Binary);
    ds::Vector<unsigned char> bytes = {1, 2, 3};
    EXPECT_EQ(after(file.read(bytes, Compression::Zlib), file),
              (Outcome{false, "Failed to read compressed buffer.", 28, 21, false}));
    EXPECT_TRUE(bytes.isEmpty());
}

TEST_F(LittleMemory, ABlockWhosePayloadIsThereAndTooLargeIsRefused) {
    const std::uint64_t size = 1024 * kMiB;
    const std::string header = ".1." + count(100) + "." + count(size - 21) + ".";
    File file = opened(sparse(header, size), Mode::Read, Format::Binary);
    ds::Vector<unsigned char> bytes = {1, 2, 3};
    EXPECT_FALSE(file.read(bytes, Compression::Zlib));
    EXPECT_EQ(file.error(), "Failed to read compressed buffer.");
    EXPECT_TRUE(bytes.isEmpty());
}

TEST_F(LittleMemory, BytesAsTheyStandThatAreTooManyAreRefused) {
    const std::uint64_t size = 1024 * kMiB;
    File file = opened(sparse("x", size), Mode::Read, Format::Binary);
    ds::Vector<unsigned char> bytes;
    EXPECT_FALSE(file.read(bytes, Compression::None));
    EXPECT_EQ(file.error(), "Out of memory.");
}

TEST_F(LittleMemory, ATrillionNumbersInAShortTextAreReadAtOnce) {
    std::vector<int> values(10, -1);
    File file = opened(files.make("a", "1 2 3 4 56"), Mode::Read, Format::Text);
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(after(file.read({values.data(), DataType::Int32, kTebibyte}), file),
              (Outcome{false, "Attempted to read beyond file size.", 10, 10, true}));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(1));
    EXPECT_EQ(values, (std::vector<int>{1, 2, 3, 4, 56, -1, -1, -1, -1, -1}));
}

TEST_F(LittleMemory, AFileOfAnySizeIsReadPieceByPiece) {
    const std::uint64_t size = 6144 * kMiB;
    File file = opened(sparse("", size), Mode::Read, Format::Binary);
    EXPECT_EQ(file.seek(static_cast<std::int64_t>(size - 8 * kMiB)), size - 8 * kMiB);
    long value = -1;
    while (!file.eof()) ASSERT_TRUE(file.read(value)) << file.error();
    EXPECT_EQ(after(true, file), (Outcome{true, "", size, size, true}));
    EXPECT_EQ(value, 0);
}

}  // namespace
}  // namespace qor::test
