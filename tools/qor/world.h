// The world as the tool holds it in memory and as its files hold it: a few numbers, then flat tables.
//
// The binary form, world.qbin, holds the parts one after the other in the order of `eachPart`, and nothing else:
//
//     title:String, toDegrees:Mat3d,
//     countryCount:UInt64, polygonCount:UInt64, ringCount:UInt64, indexCount:UInt64, arcCount:UInt64,
//     pointCount:UInt64,
//     names:String[countryCount], ids:Int32[countryCount], colours:Rgbad[countryCount],
//     polygonEnds:Int32[countryCount], ringEnds:Int32[polygonCount], indexEnds:Int32[ringCount],
//     arcIndexes:Int32[indexCount], arcEnds:Int32[arcCount], points:Vec2i[pointCount],
//     thumbnail:Rgba8[32768]
//
// The thumbnail's bytes are compressed, which a reader of typed arrays sees for itself. forms.h says how the other
// forms hold the same parts.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "qor/core/math.h"
#include "qor/data/buf_ref_of.h"

namespace tool {

using qor::math::Mat3d;
using qor::math::Rgba8;
using qor::math::Rgbad;
using qor::math::Vec2i;

/// The id of a country that has none.
inline constexpr int kNoId = -1;

inline constexpr int kThumbnailWidth = 256;
inline constexpr int kThumbnailHeight = 128;

/// Rows from the upper edge down.
using Thumbnail = std::array<Rgba8, std::size_t{kThumbnailWidth} * kThumbnailHeight>;

/// Countries made of polygons made of rings made of arcs. In a table of ends, those of thing i end before ends[i], and
/// begin where those of thing i - 1 end: see `startOf`.
struct World {
    std::string title;
    Mat3d toDegrees;  ///< from (x, y, 1) on the grid to (longitude, latitude, 1)

    unsigned long countryCount = 0;
    unsigned long polygonCount = 0;
    unsigned long ringCount = 0;
    unsigned long indexCount = 0;
    unsigned long arcCount = 0;
    unsigned long pointCount = 0;

    std::vector<std::string> names;
    std::vector<int> ids;          ///< ISO 3166-1 numbers, or kNoId
    std::vector<Rgbad> colours;    ///< on the map; chosen, and so in no source
    std::vector<int> polygonEnds;  ///< of countries, in polygons
    std::vector<int> ringEnds;     ///< of polygons, in rings; the first ring of a polygon is its outside
    std::vector<int> indexEnds;    ///< of rings, in arcIndexes
    std::vector<int> arcIndexes;   ///< i is arc i; ~i, which is negative, is arc i backwards
    std::vector<int> arcEnds;      ///< of arcs, in points
    std::vector<Vec2i> points;     ///< each as the step from the one before; an arc's first step starts at (0, 0)

    Thumbnail thumbnail;  ///< drawn, and so in no source
};

/// Where the things of `i` begin according to a table of ends; for its size, where the last ones end.
inline std::size_t startOf(const std::vector<int>& ends, std::size_t i) {
    return i == 0 ? 0 : static_cast<std::size_t>(ends[i - 1]);
}

/// Calls `visit(name, member)` for each part of a world, in the order in which files hold them, until one call gives
/// false; `visit(name, member, count)` for a table, which has as many items as that other member says. True if none
/// did.
template <typename Visit>
bool eachPart(Visit visit) {
    using W = World;
    return visit("title", &W::title) && visit("toDegrees", &W::toDegrees) && visit("countryCount", &W::countryCount) &&
           visit("polygonCount", &W::polygonCount) && visit("ringCount", &W::ringCount) &&
           visit("indexCount", &W::indexCount) && visit("arcCount", &W::arcCount) &&
           visit("pointCount", &W::pointCount) && visit("names", &W::names, &W::countryCount) &&
           visit("ids", &W::ids, &W::countryCount) && visit("colours", &W::colours, &W::countryCount) &&
           visit("polygonEnds", &W::polygonEnds, &W::countryCount) &&
           visit("ringEnds", &W::ringEnds, &W::polygonCount) && visit("indexEnds", &W::indexEnds, &W::ringCount) &&
           visit("arcIndexes", &W::arcIndexes, &W::indexCount) && visit("arcEnds", &W::arcEnds, &W::arcCount) &&
           visit("points", &W::points, &W::pointCount) && visit("thumbnail", &W::thumbnail);
}

template <typename Part>
inline constexpr bool kHasItems = false;
template <typename T>
inline constexpr bool kHasItems<std::vector<T>> = true;
template <typename T, std::size_t n>
inline constexpr bool kHasItems<std::array<T, n>> = true;

/// The items of a part, which is the only one where it is no table.
template <typename Part>
auto itemsOf(Part& part) {
    if constexpr (kHasItems<std::remove_const_t<Part>>) {
        return std::span(part.data(), part.size());
    } else {
        return std::span(&part, 1);
    }
}

/// The numbers that items are made of.
template <typename T>
auto numbersOf(std::span<T> items) {
    if constexpr (std::is_arithmetic_v<std::remove_const_t<T>>) {
        return items;
    } else {
        return qor::scalarsOf(items);
    }
}
template <typename T>
inline constexpr std::size_t kNumbersIn = sizeof(T) / sizeof(numbersOf(std::span<T>())[0]);

}  // namespace tool
