// The forms in which a world is stored, each written and read through the library.
//
// All hold the same values in the same order, the one of `eachPart`: a text; six numbers; then tables, each a count and
// its items. A point is two numbers. The forms differ in how they hold one number and one text:
//
//     binary      world.qbin        numbers as scalars: the transform as `double`, counts as `unsigned long`, starts as
//                                   `unsigned int`, steps, ids and arc indexes as `int`; texts as string records
//     text        world.txt         the numbers, one space between any two
//                 names.txt         the texts, each with a line feed after it
//     lz4         world.lz4.qbin    each part as a compressed block, and after the last the thumbnail; the bytes in a
//     zlib        world.zlib.qbin   block are described below
//     zstd        world.zstd.qbin
//     zstd text   world.zstd.txt    the same as text
//
// A block of texts holds each with a line feed after it. A block of numbers holds them at the widths that they have in
// the binary form, little-endian, but in planes: the first bytes of all numbers, then the second bytes, and so on. An
// `int` n stands as the unsigned 2n, or as -2n - 1 if it is negative, so that the high bytes of small ones are zero
// whatever the sign. No count is stored: a block has a size.
//
// Nearly all steps are small, so that of their planes all but the first are nearly all zero. The block of all steps of
// the large world, 630 KiB as `int`s, takes in KiB:
//
//                                        lz4   zlib   zstd
//     as in the binary form              296    218    211
//     all x before all y                 285    212    207
//     in planes, in two's complement     295    211    214
//     in planes                          189    160    160
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
    qor::File::Format format;
    qor::Compression compression;  ///< of its blocks; None if it has none
    void (*write)(const Form& form, const World& world, const Folder& to);
    Reading (*read)(const Form& form, const Folder& from);
};

std::span<const Form> allForms();

/// As `eachPart`, for the parts that a form holds: all if it has blocks, or else all but the thumbnail.
template <typename Visit>
bool eachPartOf(const Form& form, Visit visit) {
    return eachPart(visit) && (form.compression == qor::Compression::None || visit("thumbnail", &World::thumbnail));
}

}  // namespace tool
