// Outlines on the globe: arcs in degrees, and rings that cross the 180th meridian or go round a pole.
#pragma once

#include <span>
#include <vector>

#include "tools/qor/world.h"

namespace tool {

/// A place in degrees. Along a line that is unwrapped, the longitude goes on beyond 180.
struct Place {
    double longitude = 0;
    double latitude = 0;

    friend bool operator==(const Place&, const Place&) = default;
};

using Line = std::vector<Place>;

/// Each arc of the world, from grid to degrees.
std::vector<Line> arcLines(const World& world);

/// The rings of a country: arcs joined end to end, unwrapped, and closed.
std::vector<Line> ringsOf(const World& world, std::span<const Line> arcs, std::size_t country);

/// Makes a line that jumps by more than 180 degrees of longitude go on on the side where it was.
void unwrap(Line& line);

/// Closes an unwrapped ring that ends 360 degrees away from its start, since it goes round a pole: it is led to the
/// pole that is nearer, along it, and back. The ways there and back lie on the 180th meridian, the edge of the map.
void close(Line& ring);

/// By how many degrees a line is to be moved for each copy of it that shows on a map from -180 to 180.
std::vector<double> shiftsOf(const Line& line);

/// For each arc, the countries that it bounds.
std::vector<std::vector<std::size_t>> countriesOfArcs(const World& world);

}  // namespace tool
