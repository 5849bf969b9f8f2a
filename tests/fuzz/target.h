// What the fuzz targets share. A target states one property in one sentence and is run in two ways: by libFuzzer, which
// looks for bytes that break it (scripts/fuzz), and over the files of its corpus, as a test.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

#include "qor/core/compression.h"
#include "support/heap.h"

// A foreign host has no public libraries to ask.
#if QOR_HAS_PEERS
#include "support/peers.h"
#endif

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

namespace qor::fuzz {

using View = std::span<const unsigned char>;
using Vector = ds::Vector<unsigned char>;

/// The most memory that a target may hold at any moment, in bytes.
inline constexpr std::size_t kMostMemory = std::size_t{256} << 20;
inline const bool kIsMemoryLimited = (test::Heap::limit(kMostMemory), true);

/// Ends the program, which is how a finding is told, if `holds` is false.
inline void require(bool holds, const char* claim) {
    if (holds) return;
    std::fprintf(stderr, "Broken: %s\n", claim);
    std::abort();
}

/// The most content that a decoder is asked for: enough to leave the first block or window of each format behind. With
/// much more, a fuzzer would mostly wait.
inline constexpr std::size_t kMost = 140'000;

inline bool equal(View a, View b) { return std::ranges::equal(a, b); }

inline View viewOf(const Vector& vector) { return {vector.data(), vector.size()}; }

inline Vector vectorOf(View bytes) {
    Vector vector;
    require(vector.resizeForOverwrite(bytes.size()), "there is memory for the input");
    std::ranges::copy(bytes, vector.begin());
    return vector;
}

/// Decodes, and requires what holds whatever the payload is. No decoder is ever asked for nothing.
template <typename Decode>
bool decodes(Decode decode, View payload, std::uint64_t size, Vector& content) {
    content.clear();
    if (size == 0) return false;
    const bool done = decode(payload, size, content);
    require(!done || content.size() == size, "what is decoded has the size that was claimed");
    return done;
}

}  // namespace qor::fuzz
