// XXH32 and XXH64, the checksums of LZ4 and Zstandard frames, always with seed 0.
//
// Both keep four lanes, each of which takes every fourth word; a stripe is one word for each. The lanes never meet
// before the end, so a processor works on all four at once.
//
// Source: xxHash fast digest algorithm, 0.1.1.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "qor/core/codec/bytes.h"

namespace qor::impl {

/// The hash of bytes that come piece by piece; the pieces may be cut anywhere. `Word` is the hash's type.
///
///     Xxh32 hash;
///     hash.add(header);
///     hash.add(body);
///     store(to, hash.value());
template <typename Word>
class Xxh {
 public:
    Xxh();

    void add(Bytes bytes);

    /// The hash of all bytes so far. More may follow.
    Word value() const;

 private:
    static constexpr std::size_t kStripe = 4 * sizeof(Word);

    std::array<Word, 4> lanes;
    std::uint64_t length = 0;
    unsigned char begun[kStripe];  // the last `length % kStripe` bytes, too few for a stripe
};

using Xxh32 = Xxh<std::uint32_t>;
using Xxh64 = Xxh<std::uint64_t>;

/// The hash of bytes that lie in one piece.
std::uint32_t xxh32(Bytes bytes);
std::uint64_t xxh64(Bytes bytes);

}  // namespace qor::impl
