// The world as the tool holds it in memory and as its files hold it: a few flat tables.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace tool {

/// One point of an arc, as the step from the point before it; the first step of an arc starts at (0, 0).
struct Point {
    int x = 0;
    int y = 0;

    friend bool operator==(const Point&, const Point&) = default;
};

/// The id of a country that has none.
inline constexpr int kNoId = -1;

/// Countries made of polygons made of rings made of arcs. A table of starts has one entry more than there are things
/// in it: those of thing i begin at starts[i] and end before starts[i + 1].
struct World {
    std::string title;

    /// From grid to degrees: longitude = t[0] x + t[1] y + t[2], latitude = t[3] x + t[4] y + t[5].
    std::array<double, 6> transform{};

    std::vector<unsigned int> arcStarts;  // in points
    std::vector<Point> points;

    std::vector<std::string> names;
    std::vector<int> ids;                     // ISO 3166-1 numbers, or kNoId
    std::vector<unsigned int> polygonStarts;  // of countries, in polygons
    std::vector<unsigned int> ringStarts;     // of polygons, in rings; the first ring of a polygon is its outside
    std::vector<unsigned int> indexStarts;    // of rings, in arcIndexes
    std::vector<int> arcIndexes;              // i is arc i; ~i, which is negative, is arc i backwards

    /// A small picture of the world, in the bytes of its pixels; drawn, and so in no source.
    std::vector<unsigned char> thumbnail;

    std::size_t countryCount() const { return names.size(); }
    std::size_t arcCount() const { return arcStarts.size() - 1; }
    std::size_t ringCount() const { return indexStarts.size() - 1; }
};

/// Calls `visit(name, member)` for each part of a world but the thumbnail, in the order in which files hold them, until
/// one call gives false. True if none did.
template <typename Visit>
bool eachPart(Visit visit) {
    return visit("title", &World::title) && visit("transform", &World::transform) &&
           visit("arcStarts", &World::arcStarts) && visit("points", &World::points) && visit("names", &World::names) &&
           visit("ids", &World::ids) && visit("polygonStarts", &World::polygonStarts) &&
           visit("ringStarts", &World::ringStarts) && visit("indexStarts", &World::indexStarts) &&
           visit("arcIndexes", &World::arcIndexes);
}

}  // namespace tool
