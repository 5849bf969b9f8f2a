// The memory that decoding a Zstandard frame takes, and what becomes of it where memory is refused. A program of its
// own, since it replaces the global operator new.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "core/codec/zstd_builder.h"

namespace {

// Bytes in use and the most that were, since `watch`; and how many allocations are let through.
std::size_t inUse = 0;
std::size_t most = 0;
long allowed = -1;  // -1: all

// Each allocation is preceded by its size.
constexpr std::size_t kPrefix = alignof(std::max_align_t);

void* allocate(std::size_t size) {
    if (allowed == 0) return nullptr;
    if (allowed > 0) --allowed;
    auto* const memory = static_cast<unsigned char*>(std::malloc(size + kPrefix));
    if (!memory) return nullptr;
    *reinterpret_cast<std::size_t*>(memory) = size;
    inUse += size;
    if (inUse > most) most = inUse;
    return memory + kPrefix;
}

void release(void* pointer) {
    if (!pointer) return;
    auto* const memory = static_cast<unsigned char*>(pointer) - kPrefix;
    inUse -= *reinterpret_cast<std::size_t*>(memory);
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
    if (void* const memory = allocate(size)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* pointer) noexcept { release(pointer); }
void operator delete[](void* pointer) noexcept { release(pointer); }
void operator delete(void* pointer, std::size_t) noexcept { release(pointer); }
void operator delete[](void* pointer, std::size_t) noexcept { release(pointer); }
void operator delete(void* pointer, const std::nothrow_t&) noexcept { release(pointer); }
void operator delete[](void* pointer, const std::nothrow_t&) noexcept { release(pointer); }

namespace qor::test::zstd {
namespace {

constexpr std::size_t kKiB = 1024;
constexpr std::size_t kLargestBlock = 128 * kKiB;

// Decodes and returns the most memory that was in use, the result's included.
std::size_t memoryFor(const std::string& frame, std::uint64_t size, bool expected) {
    const std::vector<unsigned char> payload(frame.begin(), frame.end());
    ds::Vector<unsigned char> content;
    const std::size_t before = inUse;
    most = inUse;
    EXPECT_EQ(impl::zstd::decode(payload, size, content), expected);
    return most - before;
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
    long refused = 0;
    for (;; ++refused) {
        ds::Vector<unsigned char> content;
        allowed = refused;
        const bool isDecoded = impl::zstd::decode(payload, 5103, content);
        allowed = -1;
        if (isDecoded) break;
        ASSERT_LT(refused, 100);
    }
    EXPECT_GE(refused, 3);
}

}  // namespace
}  // namespace qor::test::zstd
