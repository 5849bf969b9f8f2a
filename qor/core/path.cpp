// Path: what the file system says of a path. The standard library's path does the work; what it throws stays here.
#include "qor/core/path.h"

#include <new>
#include <system_error>

namespace qor {

Path::Path(const String& pathText, bool native) : text(pathText) {
    using std::filesystem::path;
    try {
        this->path.assign(path(text.view(), native ? path::native_format : path::generic_format));
    } catch (const std::bad_alloc&) {
        this->path.clear();
    }
}

bool Path::isFile() const {
    std::error_code failure;
    return std::filesystem::is_regular_file(path, failure);
}

String Path::canonical() const try {
    std::error_code failure;
    const String found = String(std::filesystem::canonical(path, failure).c_str());
    return failure || found.isEmpty() ? text : found;
} catch (const std::bad_alloc&) {
    return text;
}

}  // namespace qor
