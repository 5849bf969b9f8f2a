// TopoJSON: the countries of a quantized topology.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "tools/qor/world.h"

namespace tool {

/// What is wrong with a document, and where in it: a line and column, or the path of a value.
class BadDocument : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The countries of the TopoJSON document `text`: the geometries of its object `countries`, which are polygons with
/// names. Nothing in it is trusted; whatever cannot be stored or drawn throws a BadDocument. The title is made here;
/// colours and thumbnail are left for later.
World parseTopology(std::string_view text);

}  // namespace tool
