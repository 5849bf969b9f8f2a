// What a binary file holds by a layout, read through the library.
//
// The result is one JSON object, which programs get as it is and people as a table:
//
//     length      of the file
//     records     name, type, offset, bytes, and then
//         value                             of a record without a count
//         count, first                      of one with a count: the first values, strings or blocks
//         least, mean, greatest             of each component of its values, NaNs left out; null if there are none
//         nan                               how many scalars are NaN, of types that have NaNs
//         block                             of an array of bytes that stands as a block: the block
//     rest        offset and bytes of what follows the last record
//     failed      in the place of `rest`, the record that could not be read: name, type, count where it is known,
//                 offset, wanted, left, error; of several strings or blocks the item that it was, and its offset
//
// A value of several scalars is a list of them. Floating-point values that JSON does not have are texts: "nan", "-nan",
// "inf", "-inf". A block is an object: kind, payload, content (the last two in bytes).
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "qor/file/qor_file.h"
#include "tools/qor/layout.h"

namespace tool {

/// Called with the name of the record that is being read, at least once for every MiB.
using Step = std::function<void(const std::string& name)>;

/// Reads `file`, which has just been opened, in pieces: an array takes no more memory than its first values, be it
/// as large as it may. Of those, `first` are kept, or a few if that is not given.
nlohmann::ordered_json readRecords(qor::File& file, const Layout& layout, std::optional<std::uint64_t> first,
                                   const Step& step);

}  // namespace tool
