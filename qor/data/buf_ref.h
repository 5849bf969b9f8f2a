// BufRef: a typed array in the caller's memory, as the file layer writes and reads it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "qor/core/endian.h"
#include "qor/core/string.h"
#include "qor/core/wrapping.h"
#include "qor/data/data_type.h"

namespace qor {

/// `count` values of `type` in memory that the caller keeps. Value k begins `offset` bytes, and k times `stride`,
/// behind `ptr`; a stride of 0 means that each follows right after the one before. Within a value its scalars are
/// packed. `bufRef` makes one of a span.
struct BufRef {
    void* ptr = nullptr;
    DataType type = DataType::Null;
    std::uint64_t count = 0;
    std::uint64_t stride = 0;
    std::uint64_t offset = 0;
    std::uint64_t tag = 0;  ///< The caller's own: carried along and never looked at.
};

namespace impl {

/// Why a BufRef describes no array, as a text for error(); null if it does. Neither a stride below the size of a value
/// nor memory that is too short can be told.
inline StaticText* whyInvalid(const BufRef& ref) {
    static constinit StaticText noPtr("BufRef 'ptr' is null.");
    static constinit StaticText noCount("BufRef 'count' is zero.");
    static constinit StaticText noSize("BufRef typeSize is zero.");
    static constinit StaticText noElemSize("BufRef typeElemSize is zero.");
    static constinit StaticText unevenSize("BufRef typeSize != typeElemSize * typeElemCount.");
    if (!ref.ptr) return &noPtr;
    if (ref.count == 0) return &noCount;
    if (typeSize(ref.type) == 0) return &noSize;
    if (typeElemSize(ref.type) == 0) return &noElemSize;
    if (typeElemSize(ref.type) * typeElemCount(ref.type) != typeSize(ref.type)) return &unevenSize;
    return nullptr;
}

/// Where the items of a valid BufRef lie.
class Items {
 public:
    explicit Items(const BufRef& ref)
        : first(wrappedSum(reinterpret_cast<std::uintptr_t>(ref.ptr), ref.offset)),
          itemSize(typeSize(ref.type)),
          stride(ref.stride ? ref.stride : itemSize),
          count(ref.count) {}

    bool isPacked() const { return stride == itemSize; }

    /// Whether the bytes of all items can be counted at all.
    bool fits() const { return count <= kManyItems || count <= ~std::uint64_t{0} / itemSize; }

    /// Bytes of all items, without the gaps. Only where it fits.
    std::uint64_t size() const { return count * itemSize; }

    /// Item `k`. Strides and offsets may be such that the address wraps: that is how an array runs backwards.
    unsigned char* at(std::uint64_t k) const {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): pointers must not wrap, numbers may
        return reinterpret_cast<unsigned char*>(wrappedSum(first, wrappedProduct(k, stride)));
    }

    std::uintptr_t first;
    std::uint64_t itemSize;
    std::uint64_t stride;
    std::uint64_t count;

 private:
    // Of items of any type, so many fit: no size has more than 8 bits.
    static constexpr std::uint64_t kManyItems = ~std::uint64_t{0} >> 8;
};

/// Copies `n` scalars between memory and a file's bytes, either way.
template <typename Bits>
void copyScalars(unsigned char* to, const unsigned char* from, std::uint64_t n) {
    if constexpr (isLittleEndian) {
        std::memcpy(to, from, n * sizeof(Bits));
    } else {
        for (; n > 0; --n, to += sizeof(Bits), from += sizeof(Bits)) {
            Bits bits;
            loadLittle(from, bits);
            std::memcpy(to, &bits, sizeof(Bits));
        }
    }
}

/// Where the `next`-th scalar of all lies.
template <typename Bits>
unsigned char* scalarAt(const Items& items, std::uint64_t next) {
    const std::uint64_t perItem = items.itemSize / sizeof(Bits);
    return items.at(next / perItem) + next % perItem * sizeof(Bits);
}

/// Calls `copy(scalars, n)` for each run of scalars that lie in a row, `n` in all from the `next`-th on.
template <typename Bits, typename Copy>
void eachRun(const Items& items, std::uint64_t next, std::uint64_t n, Copy copy) {
    if (items.isPacked()) {
        copy(items.at(0) + next * sizeof(Bits), n);
        return;
    }
    const std::uint64_t perItem = items.itemSize / sizeof(Bits);
    const std::uint64_t run = std::min(perItem - next % perItem, n);
    copy(scalarAt<Bits>(items, next), run);
    n -= run;
    std::uint64_t k = next / perItem + 1;
    // Sizes that the compiler knows make each copy a move or two.
    const auto whole = [&](auto size) {
        for (; n >= size; n -= size) copy(items.at(k++), size);
    };
    if (perItem == 1) {
        whole(std::integral_constant<std::uint64_t, 1>());
    } else if (perItem == 2) {
        whole(std::integral_constant<std::uint64_t, 2>());
    } else if (perItem == 3) {
        whole(std::integral_constant<std::uint64_t, 3>());
    } else if (perItem == 4) {
        whole(std::integral_constant<std::uint64_t, 4>());
    } else {
        whole(perItem);
    }
    if (n > 0) copy(items.at(k), n);
}

}  // namespace impl
}  // namespace qor
