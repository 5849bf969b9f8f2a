// Files of the library, with failures that say which file, what went wrong, and what to do.
#pragma once

#include <cerrno>
#include <filesystem>
#include <string>
#include <string_view>

#include "qor/file/qor_file.h"

namespace tool {

/// A folder, which may be a temporary one that stands in for the folder that the user named.
struct Folder {
    std::filesystem::path place;
    std::filesystem::path shown;

    std::string path(std::string_view name) const { return (place / name).string(); }

    /// What messages call the file.
    std::string label(std::string_view name) const { return (shown / name).string(); }
};

/// A file that is being written. Its writers give false once one has failed; `finish` then says why.
class OutputFile {
 public:
    OutputFile(const Folder& folder, std::string_view name, qor::File::Format format);

    /// As File::write.
    template <typename... Args>
    bool put(const Args&... args) {
        return file.write(args...);
    }

    /// Closes the file. Throws a Failure if not all of it arrived.
    void finish();

 private:
    std::string label;
    qor::File file;
};

/// Opens an existing file for reading, or throws a Failure.
void openToRead(qor::File& file, const std::string& path, const std::string& label, qor::File::Format format);

/// All of a text file, which is known not to be empty and to hold no zero byte. Throws a Failure otherwise.
std::string readWhole(const std::string& path);

/// Throws the Failure of an operation that has just failed: the library's own text, and the system's reason.
[[noreturn]] void failOf(const qor::File& file, const std::string& label);

}  // namespace tool
