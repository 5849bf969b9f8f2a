// The files that a run leaves: all of them new, or all of them as they were.
#include "tools/qor/outputs.h"

#include <stdlib.h>

#include <cerrno>
#include <system_error>

#include "tools/qor/failure.h"
#include "tools/qor/text.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

// Beside the new file in the hidden folder stands the old one, until all new ones are in place.
std::string oldName(const std::string& name) { return name + ".old"; }

[[noreturn]] void fail(const fs::path& path, const std::error_code& failure) {
    throw Failure(path.string(), reasonAndAdvice(failure.value()));
}

fs::file_type typeOf(const fs::path& path) {
    std::error_code ignored;
    return fs::symlink_status(path, ignored).type();
}

bool isThere(const fs::path& path) {
    const fs::file_type type = typeOf(path);
    return type != fs::file_type::not_found && type != fs::file_type::none;
}

}  // namespace

void refuseExisting(const fs::path& folder, std::span<const std::string> names, bool mayReplace) {
    for (const std::string& name : names) {
        const fs::path path = folder / name;
        if (!isThere(path)) continue;
        if (!mayReplace) {
            throw Failure(path.string(),
                          "exists already; replace it with --force, or choose another folder with -o DIR");
        }
        if (typeOf(path) == fs::file_type::directory) {
            throw Failure(path.string(), "is a folder; move it away, or choose another folder with -o DIR");
        }
    }
}

Outputs::Outputs(const fs::path& itsFolder) : folder(itsFolder) {
    makeFolder();
    std::string pattern = (folder / ".qor-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        const std::error_code failure(errno, std::generic_category());
        removeMade();
        fail(folder, failure);
    }
    files = {pattern, folder};
}

Outputs::~Outputs() {
    std::error_code ignored;
    fs::remove_all(files.place, ignored);
    removeMade();
}

void Outputs::makeFolder() {
    std::error_code failure;
    for (fs::path path = folder; !path.empty() && !isThere(path); path = path.parent_path()) firstMade = path;
    fs::create_directories(folder, failure);
    if (failure) {
        removeMade();
        fail(folder, failure);
    }
    if (!fs::is_directory(folder, failure)) fail(folder, std::make_error_code(std::errc::not_a_directory));
}

// Folders of our own go if they are empty, from the innermost out.
void Outputs::removeMade() {
    if (firstMade.empty()) return;
    std::error_code failure;
    for (fs::path path = folder;; path = path.parent_path()) {
        fs::remove(path, failure);
        if (path == firstMade || path.empty()) return;
    }
}

void Outputs::commit(std::span<const std::string> names) {
    for (const std::string& name : names) keepOld(name);
    std::size_t moved = 0;
    for (const std::string& name : names) {
        std::error_code failure;
        fs::rename(files.path(name), folder / name, failure);
        if (failure) {
            putBack(names.first(moved));
            fail(folder / name, failure);
        }
        ++moved;
    }
}

// A second name for the old file, or a copy of it where the file system has no second names.
void Outputs::keepOld(const std::string& name) {
    const fs::path path = folder / name;
    if (!isThere(path)) return;
    std::error_code failure;
    fs::create_hard_link(path, files.path(oldName(name)), failure);
    if (failure) fs::copy(path, files.path(oldName(name)), fs::copy_options::copy_symlinks, failure);
    if (failure) fail(path, failure);
}

void Outputs::putBack(std::span<const std::string> names) {
    std::error_code ignored;
    for (const std::string& name : names) {
        if (isThere(files.path(oldName(name)))) {
            fs::rename(files.path(oldName(name)), folder / name, ignored);
        } else {
            fs::remove(folder / name, ignored);
        }
    }
}

}  // namespace tool
