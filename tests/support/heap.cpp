#include "support/heap.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define QOR_SANITIZES_ADDRESSES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QOR_SANITIZES_ADDRESSES 1
#elif __has_feature(memory_sanitizer)
#define QOR_SANITIZES_MEMORY 1
#endif
#endif
#if QOR_SANITIZES_ADDRESSES
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(start, size)
#define ASAN_UNPOISON_MEMORY_REGION(start, size)
#endif

namespace {

using qor::test::Heap;

std::size_t held = 0;  // bytes
std::size_t heldBefore = 0;
std::size_t peak = 0;
std::size_t most = std::numeric_limits<std::size_t>::max();
std::size_t blocks = 0;
std::uint64_t requests = 0;

// Of the requests, counted from 1, these are refused.
std::uint64_t firstRefused = 0;
std::uint64_t lastRefused = 0;
std::uint64_t alsoRefused = 0;

// What stands before each block, so that its size is known when it goes. Nobody else may look at it.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* take(std::size_t size) noexcept {
    ++requests;
    if (requests >= firstRefused && requests <= lastRefused) return nullptr;
    if (requests == alsoRefused) return nullptr;
    if (size >= Heap::kTooLarge) return nullptr;
    void* const block = std::malloc(kHeader + size);
    if (!block) return nullptr;
    *static_cast<std::size_t*>(block) = size;
    ++blocks;
    held += size;
    peak = std::max(peak, held);
    if (held > most) {
        std::fprintf(stderr, "Broken: %zu bytes are held at once\n", held);
        std::abort();
    }
    ASAN_POISON_MEMORY_REGION(block, kHeader);
    return static_cast<char*>(block) + kHeader;
}

[[maybe_unused]] void* takeOrThrow(std::size_t size) {
    if (void* const memory = take(size)) return memory;
    throw std::bad_alloc();
}

[[maybe_unused]] void giveBack(void* memory) noexcept {
    if (!memory) return;
    void* const block = static_cast<char*>(memory) - kHeader;
    ASAN_UNPOISON_MEMORY_REGION(block, kHeader);
    --blocks;
    held -= *static_cast<std::size_t*>(block);
    std::free(block);
}

}  // namespace

// The memory sanitizer has these itself and lets nobody replace them: with it, nothing is counted.
#if !QOR_SANITIZES_MEMORY
void* operator new(std::size_t size) { return takeOrThrow(size); }
void* operator new[](std::size_t size) { return takeOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return take(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return take(size); }
void operator delete(void* memory) noexcept { giveBack(memory); }
void operator delete[](void* memory) noexcept { giveBack(memory); }
void operator delete(void* memory, std::size_t) noexcept { giveBack(memory); }
void operator delete[](void* memory, std::size_t) noexcept { giveBack(memory); }
#endif

namespace qor::test {

std::size_t Heap::blocks() { return ::blocks; }
std::uint64_t Heap::requests() { return ::requests; }
void Heap::limit(std::size_t bytes) { most = bytes; }
void Heap::startPeak() { heldBefore = ::peak = held; }
std::size_t Heap::peak() { return ::peak - heldBefore; }

RefusedRequests::RefusedRequests(std::uint64_t n, bool everAfter) : RefusedRequests(n, std::uint64_t{0}) {
    if (everAfter) lastRefused = std::numeric_limits<std::uint64_t>::max();
}

RefusedRequests::RefusedRequests(std::uint64_t n, std::uint64_t later)
    : first(::requests + n), also(::requests + later) {
    firstRefused = lastRefused = first;
    alsoRefused = also;
}

RefusedRequests::~RefusedRequests() { firstRefused = lastRefused = alsoRefused = 0; }

}  // namespace qor::test
