// The map of a world: paths in pixels and their colours, ready for whatever draws them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/qor/outlines.h"
#include "tools/qor/world.h"

namespace tool {

/// A position on the picture, from its upper left corner.
struct Spot {
    double x = 0;
    double y = 0;
};

using Path = std::vector<std::vector<Spot>>;

struct Stroke {
    Rgbad colour;
    double width = 1;
};

/// A line of text, its foot centred on `at`.
struct Label {
    std::string text;
    Spot at;
    double size = 0;
    bool isBold = false;
    Rgbad colour;
};

/// A country, to be filled even-odd: its rings, and the copies of those that cross the edge of the map.
struct Land {
    std::string name;
    Rgbad colour;
    Path rings;
};

/// Drawn in this order. Lands and borders reach beyond the globe and are cut off at its edge.
struct Map {
    int width = 0;
    int height = 0;
    Rgbad paper;
    Rgbad ocean;
    std::vector<Spot> globe;

    Path graticule;
    Stroke graticuleStroke;
    std::vector<Land> lands;
    Stroke landStroke;
    Path borders;  // between two countries, over the strokes of both
    Stroke borderStroke;
    Stroke globeStroke;
    std::vector<Label> labels;
};

/// A map of the whole world in the Natural Earth projection, with the world's title above it and `caption` below. Its
/// countries have their colours.
Map mapOf(const World& world, const std::string& caption);

/// A colour for each country, from a few that go well together: always the same ones for the same world.
std::vector<Rgbad> coloursOf(const World& world);

/// The number of each country's colour, below `colourCount`. Countries with a border in common have different ones as
/// long as there are enough colours, and all colours are used about as often.
std::vector<std::size_t> colourNumbers(const World& world, std::size_t colourCount);

}  // namespace tool
