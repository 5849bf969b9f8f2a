// The public implementations of the three formats: liblz4, zlib and libzstd, in every way that they make streams. For
// tests only; the library has nothing to do with them.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "qor/core/compression.h"

namespace qor::test {

using View = std::span<const unsigned char>;

/// One way to make a stream: a level, or a level and what else can be chosen.
struct PeerSetting {
    std::string name;
    std::function<std::vector<unsigned char>(View content)> encode;  ///< Empty if the library fails.
    bool takesMuchMemory = false;                                    ///< However short the content is.
};

/// Every level of the kind's library, then its other choices.
std::vector<PeerSetting> peerSettings(Compression kind);

/// What the kind's library makes of a payload, if it is one whole stream of at most `limit` bytes to it, with nothing
/// behind it.
std::optional<std::vector<unsigned char>> peerDecode(Compression kind, View payload, std::size_t limit);

/// A zlib stream with the checksum put right and what lies behind it left out, if zlib finds that the rest of it is
/// sound. So a stream that was changed at random is not refused for its checksum alone.
std::optional<std::vector<unsigned char>> withRightChecksum(View zlibStream, std::size_t limit);

/// Base64 as RFC 4648, section 4, writes it, character by character.
std::vector<unsigned char> peerBase64(View bytes);

}  // namespace qor::test
