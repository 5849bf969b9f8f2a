// The comparison of what was read back with what was written.
#pragma once

#include <optional>
#include <string>

#include "tools/qor/forms.h"
#include "tools/qor/world.h"

namespace tool {

/// A value that differs: the file that it was read from, and the value in words, such as "points[17].x: 42 in the
/// source, 41 in world.qbin".
struct Difference {
    std::string file;
    std::string what;
};

/// The first value of `reading`, in the order of `eachPart`, that is not the one of `source`. A value that cannot be
/// read is one, and so is anything that follows after the last value.
std::optional<Difference> firstDifference(const World& source, const Reading& reading, const Form& form);

}  // namespace tool
