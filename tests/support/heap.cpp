#include "support/heap.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

using qor::test::Heap;

// What stands before each block, so that its size is known when it goes.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* take(std::size_t size) noexcept {
    ++Heap::requests;
    if (Heap::requests >= Heap::firstRefused && Heap::requests <= Heap::lastRefused) return nullptr;
    if (size >= Heap::kTooLarge) return nullptr;
    void* const block = std::malloc(kHeader + size);
    if (!block) return nullptr;
    *static_cast<std::size_t*>(block) = size;
    ++Heap::blocks;
    Heap::held += size;
    Heap::peak = std::max(Heap::peak, Heap::held);
    return static_cast<char*>(block) + kHeader;
}

void* takeOrThrow(std::size_t size) {
    if (void* const memory = take(size)) return memory;
    throw std::bad_alloc();
}

void giveBack(void* memory) noexcept {
    if (!memory) return;
    void* const block = static_cast<char*>(memory) - kHeader;
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
