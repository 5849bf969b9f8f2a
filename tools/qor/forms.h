// The forms in which a world is stored, each written and read through the library.
//
// All hold the same values in the same order, the one of `eachPart`: a text; six numbers; then tables, each a count and
// its items. A point is two numbers. The forms differ in how they hold one number and one text:
//
//     binary   world.qbin   numbers as scalars: the transform as `double`, counts as `unsigned long`, starts as
//                           `unsigned int`, steps, ids and arc indexes as `int`; texts as string records
//     text     world.txt    the numbers, one space between any two
//              names.txt    the texts, each with a line feed after it
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/qor/file_io.h"
#include "tools/qor/world.h"

namespace tool {

/// Where the reading of a form ended before the end.
struct Damage {
    std::string part;                    ///< as `eachPart` names it
    std::optional<unsigned long> count;  ///< how many items a table claims; none if that could not be read
    std::size_t done = 0;                ///< how many items were read
    std::string reason;
};

/// What follows in a file after the last value.
struct Rest {
    std::string file;
    std::string what;
};

/// What was read of a form.
struct Reading {
    World world;
    std::optional<Damage> damage;  ///< the world is then whole up to there
    std::optional<Rest> rest;
};

/// One form. Its first file holds the numbers, its last the texts; they may be the same. `write` and `read` throw a
/// Failure if the files cannot be written or read; files that can be read and make no sense are no failure but damage.
struct Form {
    std::string name;
    std::vector<std::string> files;
    void (*write)(const World& world, const Folder& to);
    Reading (*read)(const Folder& from);
};

std::span<const Form> allForms();

}  // namespace tool
