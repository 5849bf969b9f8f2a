// What a block takes from the heap: its payload, and its content only where that is wanted.
#include <span>
#include <string>
#include <vector>

#include "file/contents.h"
#include "support/heap.h"

namespace qor::test {
namespace {

std::string blockOf(std::string_view payload, std::uint64_t size) {
    return ".1." + count(size) + "." + count(payload.size()) + "." + std::string(payload);
}

class BlockMemory : public WithFiles {};

TEST_F(BlockMemory, OfALongPayloadIsItsSize) {
    constexpr std::uint64_t kSize = 16 * kMiB;
    File file = opened(files.make("a", blockOf(pattern(kSize), 5)), Mode::Read, Format::Binary);
    ds::Vector<unsigned char> bytes;
    EXPECT_LE(peakOf([&] { EXPECT_FALSE(file.read(bytes, Compression::Lz4)); }), kSize + 1000);
    EXPECT_EQ(file.error(), "Failed to decompress data (compressed size: 16777216, decompressed size: 5).");
    EXPECT_TRUE(file.eof());
}

// 64 MiB of zeros in a few KiB, where ten bytes are wanted.
TEST_F(BlockMemory, OfMoreThanTheMemoryItIsReadIntoIsThatOfThePayload) {
    const std::vector<unsigned char> zeros(64 * kMiB);
    for (const Compression kind : {Compression::Lz4, Compression::Zlib, Compression::Zstd}) {
        const auto bomb = written(Format::Binary, [&](File& file) { file.write(zeros, kind); });
        File file = opened(files.make("a", bomb.raw), Mode::Read, Format::Binary);
        std::vector<unsigned char> ten(10, 7);
        EXPECT_LE(peakOf([&] { EXPECT_FALSE(file.read(std::span(ten), kind)); }), bomb.raw.size() + 1000);
        EXPECT_EQ(file.error().view(), "Failed to decompress data (compressed size: " +
                                           std::to_string(bomb.raw.size() - 21) + ", decompressed size: 67108864).");
        EXPECT_EQ(ten, std::vector<unsigned char>(10, 7));
        EXPECT_TRUE(file.eof());
    }
}

}  // namespace
}  // namespace qor::test
