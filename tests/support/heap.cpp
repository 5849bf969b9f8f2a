#include "support/heap.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define QOR_SANITIZES_ADDRESSES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QOR_SANITIZES_ADDRESSES 1
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

// What stands before each block, so that its size is known when it goes. Nobody else may look at it.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* take(std::size_t size) noexcept {
    ++Heap::requests;
    if (Heap::requests >= Heap::firstRefused && Heap::requests <= Heap::lastRefused) return nullptr;
    if (Heap::requests == Heap::alsoRefused) return nullptr;
    if (size >= Heap::kTooLarge) return nullptr;
    void* const block = std::malloc(kHeader + size);
    if (!block) return nullptr;
    *static_cast<std::size_t*>(block) = size;
    ++Heap::blocks;
    Heap::held += size;
    Heap::peak = std::max(Heap::peak, Heap::held);
    if (Heap::held > Heap::limit) {
        std::fprintf(stderr, "Broken: %zu bytes are held at once\n", Heap::held);
        std::abort();
    }
    ASAN_POISON_MEMORY_REGION(block, kHeader);
    return static_cast<char*>(block) + kHeader;
}

void* takeOrThrow(std::size_t size) {
    if (void* const memory = take(size)) return memory;
    throw std::bad_alloc();
}

void giveBack(void* memory) noexcept {
    if (!memory) return;
    void* const block = static_cast<char*>(memory) - kHeader;
    ASAN_UNPOISON_MEMORY_REGION(block, kHeader);
    --Heap::blocks;
    Heap::held -= *static_cast<std::size_t*>(block);
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
