// Path: what the file system says of a path. The standard library's path does the work; what it throws stays here.
#include "qor/core/path.h"

#include <filesystem>
#include <new>
#include <string>
#include <system_error>

namespace qor {
namespace {

std::filesystem::path pathOf(const String& text, bool isNative) {
    using std::filesystem::path;
    return path(std::string(text.view()), isNative ? path::native_format : path::generic_format);
}

}  // namespace

bool Path::isFile() const try {
    std::error_code failure;
    return std::filesystem::is_regular_file(pathOf(text, isNative), failure);
} catch (const std::bad_alloc&) {
    return false;
}

String Path::canonical() const try {
    std::error_code failure;
    const std::filesystem::path found = std::filesystem::canonical(pathOf(text, isNative), failure);
    const String foundText = failure ? String() : String(found.string().c_str());
    return foundText.isEmpty() ? text : foundText;
} catch (const std::bad_alloc&) {
    return text;
}

}  // namespace qor
