// Path: what the file system says of a path.
#pragma once

#include <filesystem>

#include "qor/core/string.h"

namespace qor {

/// A file-system path. Nothing throws: a question that cannot be answered (no permission, a link loop, a name that is
/// too long, no memory) is answered as if there were no such file.
class Path {
 public:
    /// `native` says how the text is written: true, as the platform writes its paths; false, with '/' between the parts
    /// on every platform.
    Path(const String& pathText, bool native);

    /// True if the path names an existing regular file, through however many links.
    bool isFile() const;

    /// The path of the same file, absolute and free of links, "." and ".."; the text as it was given if there is none.
    String canonical() const;

 private:
    String text;
    std::filesystem::path path;
};

}  // namespace qor
