// The layout of a binary file: its records in the order in which they stand, as a person writes them down.
//
//     # what the map was drawn from
//     title : String
//     toMap : Mat3d
//     n     : UInt64
//     xy    : Vec2i[n]
//
// or, in a line, `title:String, toMap:Mat3d, n:UInt64, xy:Vec2i[n]`: a comma is as good as the end of a line. What
// follows a # is a comment. Spaces and empty entries mean nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "qor/data/data_type.h"

namespace tool {

/// What a record is made of.
enum class Made {
    OfValues,  ///< of an element type, one after the other
    OfStrings,
    OfBlocks,
    OfText,  ///< characters as they stand, without a count before them
};

struct Record {
    std::string name;
    Made made = Made::OfValues;
    qor::DataType type = qor::DataType::Null;  ///< of its values; Null if it is not made of any
    bool isArray = false;                      ///< whether a count was given
    std::uint64_t count = 1;                   ///< of values, strings, blocks or characters
    std::optional<std::size_t> counter;        ///< the earlier record whose value is the count, instead

    friend bool operator==(const Record&, const Record&) = default;
};

using Layout = std::vector<Record>;

/// The catalogue of element types, in the order of their values.
std::vector<qor::DataType> allDataTypes();

/// What a layout calls the type of a record: "Vec2i", "String", "block", "text".
std::string typeName(const Record& record);

/// What is wrong with a layout, behind its line and column, and below that the place itself.
class BadLayout : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The layout that `text` describes. Throws a BadLayout if it describes none.
Layout parseLayout(std::string_view text);

/// The text of a layout, a record to a line. It describes the same layout.
std::string textOf(const Layout& layout);

}  // namespace tool
