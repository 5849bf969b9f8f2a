// The map in pixels: as a PNG file, and as a thumbnail.
#pragma once

#include <vector>

#include "tools/qor/file_io.h"
#include "tools/qor/map.h"

namespace tool {

/// Writes `map` to a file in `to`, or throws a Failure.
void writePng(const Map& map, const Folder& to, std::string_view name);

inline constexpr int kThumbnailWidth = 256;
inline constexpr int kThumbnailHeight = 128;

/// The globe of `map` on a small picture that is transparent around it: rows from the upper edge down, and for each
/// pixel its red, green, blue and opacity, from 0 to 255. Throws a Failure if it cannot be drawn.
std::vector<unsigned char> thumbnailOf(const Map& map);

}  // namespace tool
