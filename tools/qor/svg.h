// The map as SVG: one path for each country, with its name as a tooltip.
#pragma once

#include "tools/qor/file_io.h"
#include "tools/qor/map.h"

namespace tool {

/// Writes `map` to a file in `to`, or throws a Failure.
void writeSvg(const Map& map, const Folder& to, std::string_view name);

}  // namespace tool
