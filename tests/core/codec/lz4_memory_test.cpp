// The memory that LZ4 frames and Base64 take, and what becomes of them where memory is refused. A program of its own,
// since it replaces the global operator new.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "core/codec/lz4_contents.h"
#include "qor/core/codec/base64.h"
#include "qor/core/codec/lz4_frame.h"

namespace {

// Bytes in use and the most that were, and how many allocations are let through.
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
    most = std::max(most, inUse);
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

namespace qor::test {
namespace {

namespace lz4 = impl::lz4;

constexpr std::size_t kKiB = 1024;

// The most memory that `step` had in use beside what was there before.
template <typename Step>
std::size_t memoryOf(Step step) {
    const std::size_t before = inUse;
    most = inUse;
    step();
    return most - before;
}

// Lets no allocation of `step` through, then one, then two, until it succeeds: each time before, it is to say false.
template <typename Step>
void expectFalseUntilMemorySuffices(Step step, long atMost) {
    for (long allocations = 0;; ++allocations) {
        ASSERT_LE(allocations, atMost);
        allowed = allocations;
        const bool done = step();
        allowed = -1;
        if (done) break;
    }
}

ds::Vector<unsigned char> encoded(std::string_view content) {
    ds::Vector<unsigned char> payload;
    EXPECT_TRUE(lz4::encode(view(content), payload));
    return payload;
}

TEST(Lz4Memory, EncodingTakesTheLargestPayloadAndTables) {
    for (const auto& [size, tables] : {std::pair{100ul, 1 * kKiB}, {5'000ul, 12 * kKiB}, {3'000'000ul, 48 * kKiB}}) {
        const std::string content = text(size);
        ds::Vector<unsigned char> payload;
        EXPECT_LE(memoryOf([&] { EXPECT_TRUE(lz4::encode(view(content), payload)); }), size + tables + 64) << size;
    }
}

TEST(Lz4Memory, DecodingTakesTheResultAlone) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{1000}, std::size_t{3'000'000}}) {
        for (const std::string& bytes : {text(size), noise(size)}) {
            const auto payload = encoded(bytes);
            ds::Vector<unsigned char> content;
            const std::size_t memory = memoryOf([&] { EXPECT_TRUE(lz4::decode(view(payload), size, content)); });
            // Above a certain expansion the result is moved once or twice as it grows.
            EXPECT_LE(memory, size <= payload.size() + 1024 * kKiB ? size : 2 * size) << size;
        }
    }
}

TEST(Lz4Memory, EncodingThatIsRefusedMemorySaysSo) {
    const std::string content = text(10'000);
    expectFalseUntilMemorySuffices(
        [&] {
            ds::Vector<unsigned char> payload;
            return lz4::encode(view(content), payload);
        },
        2);
}

TEST(Lz4Memory, DecodingThatIsRefusedMemorySaysSo) {
    for (const std::string& bytes : {text(10'000), noise(10'000), std::string(20'000'000, 'a')}) {
        const auto payload = encoded(bytes);
        expectFalseUntilMemorySuffices(
            [&] {
                ds::Vector<unsigned char> content;
                return lz4::decode(view(payload), bytes.size(), content);
            },
            4);
    }
}

TEST(Base64Memory, IsThatOfTheResult) {
    const std::string bytes = noise(100'000);
    ds::Vector<unsigned char> text;
    EXPECT_EQ(memoryOf([&] { EXPECT_TRUE(impl::encodeBase64(view(bytes), text)); }), 133'336u);
    ds::Vector<unsigned char> restored;
    EXPECT_EQ(memoryOf([&] { EXPECT_TRUE(impl::decodeBase64(view(text), restored)); }), 100'000u);
}

TEST(Base64Memory, ThatIsRefusedIsSaid) {
    ds::Vector<unsigned char> result;
    allowed = 0;
    const bool isEncoded = impl::encodeBase64(view("some bytes"), result);
    const bool isDecoded = impl::decodeBase64(view("c29tZSBieXRlcw=="), result);
    allowed = -1;
    EXPECT_FALSE(isEncoded);
    EXPECT_FALSE(isDecoded);
}

}  // namespace
}  // namespace qor::test
