// Blocks in files whose length is not known, or is no length: memory is taken for what has arrived.
#include <limits>
#include <random>

#include "faults/on_scripted_disk.h"
#include "support/heap.h"

namespace qor::test {
namespace {

std::string lowBytesFirst(std::uint64_t n) {
    std::string bytes;
    for (int shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(n >> shift & 0xff);
    return bytes;
}

class UnmeasuredBlock : public OnScriptedDisk {
 protected:
    /// Opens a file of a header and what follows it, first without a length, then with that of a folder, and reads it.
    template <typename Check>
    void readInBoth(std::uint64_t size, std::uint64_t payloadSize, const std::string& rest, Check check) {
        disk.make(kPath, ".1." + lowBytesFirst(size) + "." + lowBytesFirst(payloadSize) + "." + rest);
        for (const bool isFolder : {false, true}) {
            SCOPED_TRACE(isFolder ? "the length of a folder" : "no length");
            if (isFolder) {
                disk.claimLength(kPath, std::numeric_limits<std::int64_t>::max());
                opened(Mode::Read);
            } else {
                openedWithoutALength(Mode::Read);
            }
            ds::Vector<unsigned char> content;
            bool done = false;
            const std::size_t peak = peakOf([&] { done = file.read(content, Compression::Lz4); });
            check(done, content, peak);
        }
    }
};

// Noise, so that the payload is longer than two chunks; and the file ends with a chunk, since a shorter one is not read
// where no length is known.
TEST_F(UnmeasuredBlock, OfSeveralChunksIsRead) {
    std::mt19937 noise(1);
    ds::Vector<unsigned char> wanted;
    wanted.resize(3 * kBuffer);
    for (unsigned char& byte : wanted) byte = static_cast<unsigned char>(noise());
    const auto payload = compress(wanted.data(), wanted.size(), false, Compression::Lz4);
    std::string rest(payload.begin(), payload.end());
    rest.resize(4 * kBuffer - 21, '-');
    readInBoth(wanted.size(), payload.size(), rest, [&](bool done, const auto& content, std::size_t peak) {
        EXPECT_TRUE(done) << file.error();
        EXPECT_TRUE(content == wanted);
        EXPECT_LE(peak, 2 * payload.size() + kBuffer);
        EXPECT_EQ(file.pos(), 21 + payload.size());
    });
}

TEST_F(UnmeasuredBlock, ThatIsNotThereTakesNoMoreThanThereIs) {
    readInBoth(5, (1 << 30) - 1, std::string(2 * kBuffer, '-'), [&](bool done, const auto& content, std::size_t peak) {
        EXPECT_FALSE(done);
        EXPECT_EQ(content.capacity(), 0u);
        EXPECT_LE(peak, 2 * 2 * kBuffer + kBuffer);
        EXPECT_EQ(file.error(), "Failed to read compressed buffer.");
        EXPECT_EQ(file.pos(), 2 * kBuffer);
    });
}

}  // namespace
}  // namespace qor::test
