// The memory that decoding a Zstandard frame takes, and what becomes of it where memory is refused. A program of its
// own, since it replaces the global operator new.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/codec/zstd_builder.h"
#include "support/heap.h"

namespace qor::test::zstd {
namespace {

constexpr std::size_t kKiB = 1024;
constexpr std::size_t kLargestBlock = 128 * kKiB;

// Decodes and returns the most memory that was in use, the result's included.
std::size_t memoryFor(const std::string& frame, std::uint64_t size, bool expected) {
    const std::vector<unsigned char> payload(frame.begin(), frame.end());
    ds::Vector<unsigned char> content;
    return peakOf([&] { EXPECT_EQ(impl::zstd::decode(payload, size, content), expected); });
}

std::string large(std::uint64_t contentSize) { return "28 b5 2f fd e0"_bytes.raw + number(contentSize, 8); }

// Literals in a Huffman code of two symbols, which take all that the decoder has.
std::string codedBlock(std::size_t count, Last last = Last::Yes) {
    const std::string tree = number(127 + 98, 1) + std::string(48, '\0') + "\x01";
    const std::vector<Bits> quarter((count + 3) / 4, Bits{0, 1});
    const std::vector<Bits> rest(count - 3 * quarter.size(), Bits{1, 1});
    const std::string stream = backward(quarter);
    const std::string sizes = number(stream.size(), 2) + number(stream.size(), 2) + number(stream.size(), 2);
    return compressedBlock(
        fourStreams(2, count, tree + sizes + stream + stream + stream + backward(rest)) + kNoSequences, last);
}

TEST(ZstdMemory, AClaimThatTheBlocksCannotMeetTakesNone) {
    const std::uint64_t claimed = std::uint64_t{1} << 60;
    EXPECT_EQ(memoryFor(large(claimed) + rawBlock("a"), claimed, false), 0u);
    EXPECT_EQ(memoryFor(large(claimed) + compressedBlock(rawLiterals("a") + kNoSequences), claimed, false), 0u);
    EXPECT_EQ(memoryFor(header() + runBlock('a', kLargestBlock), kLargestBlock + 1, false), 0u);
}

// 8,000 blocks of a few bytes each that could be a gigabyte, but are nothing.
TEST(ZstdMemory, GrowsWithWhatIsProduced) {
    std::string frame = header();
    for (int i = 0; i < 7999; ++i) frame += compressedBlock(rawLiterals("a") + kNoSequences, Last::No);
    frame += compressedBlock(rawLiterals("a") + kNoSequences);
    EXPECT_LT(memoryFor(frame, 8000 * kLargestBlock, false), 2048 * kKiB);
}

// A payload that is honest for a while.
TEST(ZstdMemory, StopsAtTheFirstDamage) {
    std::string frame = header() + runBlock('a', kLargestBlock, Last::No) + compressedBlock("damaged", Last::No);
    for (int i = 0; i < 8000; ++i) frame += runBlock('a', kLargestBlock, Last::No);
    frame += rawBlock("");
    EXPECT_LT(memoryFor(frame, 8001 * kLargestBlock, false), 2048 * kKiB);
}

TEST(ZstdMemory, BesideTheResultIsBounded) {
    EXPECT_LE(memoryFor(header() + codedBlock(kLargestBlock), kLargestBlock, true), kLargestBlock + 192 * kKiB);
}

TEST(ZstdMemory, BesideASmallResultIsSmall) {
    EXPECT_LE(memoryFor(header() + codedBlock(1000), 1000, true), 24 * kKiB);
}

TEST(ZstdMemory, OfRawAndRunBlocksIsTheResultAlone) {
    EXPECT_EQ(memoryFor(header() + rawBlock("abc", Last::No) + runBlock('x', 5000), 5003, true), 5003u);
}

TEST(ZstdMemory, RefusedMakesDecodingFail) {
    const std::string frame = header() + rawBlock("abc", Last::No) + codedBlock(5000, Last::No) + runBlock('x', 100);
    const std::vector<unsigned char> payload(frame.begin(), frame.end());
    std::uint64_t granted = 0;
    for (;; ++granted) {
        ds::Vector<unsigned char> content;
        const RefusedRequests refused(granted + 1, true);
        if (impl::zstd::decode(payload, 5103, content)) break;
        ASSERT_LT(granted, 100u);
    }
    EXPECT_GE(granted, 3u);
}

}  // namespace
}  // namespace qor::test::zstd
