// What zlib streams take of the heap, and what they do without it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "qor/core/codec/zlib.h"

namespace {

// The allocations of a test: how many may still succeed, and how much memory is and was in use.
long allowed = -1;  // any number
std::size_t inUse = 0;
std::size_t mostInUse = 0;

constexpr std::size_t kHeader = alignof(std::max_align_t);

void* allocate(std::size_t size) {
    if (allowed == 0) return nullptr;
    if (allowed > 0) --allowed;
    auto* const memory = static_cast<unsigned char*>(std::malloc(size + kHeader));
    if (!memory) return nullptr;
    *reinterpret_cast<std::size_t*>(memory) = size;
    inUse += size;
    if (inUse > mostInUse) mostInUse = inUse;
    return memory + kHeader;
}

void release(void* memory) {
    if (!memory) return;
    auto* const start = static_cast<unsigned char*>(memory) - kHeader;
    inUse -= *reinterpret_cast<std::size_t*>(start);
    std::free(start);
}

}  // namespace

void* operator new(std::size_t size) {
    if (void* const memory = allocate(size)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { release(memory); }

namespace qor::impl::zlib {
namespace {

std::string numbers(std::size_t size) {
    std::string text;
    for (unsigned i = 0; text.size() < size; ++i) text += std::to_string(i * i % 1009) + ",";
    return text.substr(0, size);
}

Bytes bytesOf(const std::string& text) { return {reinterpret_cast<const unsigned char*>(text.data()), text.size()}; }

// The most memory in use during `run`, beyond what was in use before.
template <typename Run>
std::size_t memoryFor(Run run) {
    const std::size_t before = mostInUse = inUse;
    run();
    return mostInUse - before;
}

TEST(ZlibMemory, EncodingTakesTablesInProportionAndNoMoreThan768KiB) {
    for (const std::size_t size : {64u, 1024u, 16384u, 65536u, 5000000u}) {
        const std::string content = numbers(size);
        ds::Vector<unsigned char> payload;
        const std::size_t taken = memoryFor([&] { ASSERT_TRUE(encode(bytesOf(content), payload)); });
        EXPECT_LE(taken - payload.capacity(), std::min<std::size_t>(768 << 10, 1024 + 16 * size)) << size;
    }
}

TEST(ZlibMemory, DecodingTakesNothingButTheResult) {
    const std::string content = numbers(500000);
    ds::Vector<unsigned char> payload, result;
    ASSERT_TRUE(encode(bytesOf(content), payload));
    const std::size_t taken = memoryFor([&] {
        ASSERT_TRUE(decode({payload.data(), payload.size()}, content.size(), result));
    });
    EXPECT_EQ(taken, content.size());
}

TEST(ZlibMemory, EncodingAnswersFalseWhereverMemoryIsRefused) {
    const std::string content = numbers(10000);
    for (long n = 0;; ++n) {
        ds::Vector<unsigned char> payload;
        allowed = n;
        const bool done = encode(bytesOf(content), payload);
        allowed = -1;
        if (done) {
            EXPECT_EQ(n, 3);
            break;
        }
    }
}

TEST(ZlibMemory, DecodingAnswersFalseWhereverMemoryIsRefused) {
    const std::string content(8 << 20, 'x');
    ds::Vector<unsigned char> payload;
    ASSERT_TRUE(encode(bytesOf(content), payload));
    for (long n = 0;; ++n) {
        ds::Vector<unsigned char> result;
        allowed = n;
        const bool done = decode({payload.data(), payload.size()}, content.size(), result);
        allowed = -1;
        if (done) {
            EXPECT_GE(n, 2);
            break;
        }
    }
}

}  // namespace
}  // namespace qor::impl::zlib
