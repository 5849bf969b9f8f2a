// The forms in which a world is stored, each written and read through the library.
//
// All hold the same parts in the same order, the one of `eachPart`:
//
//     binary      world.qbin        each part as a typed array, or as string records; world.h has all of it
//     text        world.txt         the arrays in text: numbers, one space between any two, and the thumbnail's block
//                 names.txt         the texts, each with a line feed after it
//     lz4         world.lz4.qbin    each part as a compressed block; the bytes in a block are described below
//     zlib        world.zlib.qbin
//     zstd        world.zstd.qbin
//     zstd text   world.zstd.txt    the same as text
//
// A block of texts holds each with a line feed after it. A block of numbers holds them at the widths that they have in
// the binary form, little-endian, but in planes: the first bytes of all numbers, then the second bytes, and so on. An
// `int` n stands as the unsigned 2n, or as -2n - 1 if it is negative, so that the high bytes of small ones are zero
// whatever the sign.
//
// Nearly all points are small steps, so that of their planes all but the first are nearly all zero. The block of all
// points of the large world, 630 KiB as `Vec2i`s, takes in KiB:
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
    std::string part;      ///< as `eachPart` names it
    std::size_t done = 0;  ///< how many of its items were read
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
    qor::Compression compression;  ///< of its blocks; None if it is not made of blocks
    void (*write)(const Form& form, const World& world, const Folder& to);
    Reading (*read)(const Form& form, const Folder& from);
};

std::span<const Form> allForms();

}  // namespace tool
