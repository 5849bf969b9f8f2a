// The map in pixels: as a PNG file, and as a thumbnail.
#pragma once

#include "tools/qor/file_io.h"
#include "tools/qor/map.h"

namespace tool {

/// Writes `map` to a file in `to`, or throws a Failure.
void writePng(const Map& map, const Folder& to, std::string_view name);

/// The globe of `map` on a small picture that is transparent around it. Throws a Failure if it cannot be drawn.
Thumbnail thumbnailOf(const Map& map);

}  // namespace tool
