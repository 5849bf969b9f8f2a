// What the platform tests share: the whole outcome of an operation in one comparison, and the ways in which a test
// changes what the system grants to this process, each undone when it ends.
#pragma once

#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/vfs.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>

#include "file/contents.h"

namespace qor::test {

/// The result of an operation, and all that the file tells of itself after it.
struct Outcome {
    std::uint64_t result;
    std::string error;
    std::uint64_t len;
    std::uint64_t pos;
    bool eof;

    friend bool operator==(const Outcome&, const Outcome&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
        return out << '{' << outcome.result << ", \"" << outcome.error << "\", len " << outcome.len << ", pos "
                   << outcome.pos << (outcome.eof ? ", at the end}" : ", not at the end}");
    }
};

/// after(file.flush(), file)
inline Outcome after(std::uint64_t result, const File& file) {
    return {result, std::string(file.error().view()), file.len(), file.pos(), file.eof()};
}

/// A file that could not be opened.
inline const Outcome kRefused = {false, "", 0, 0, true};

/// Opens a file for writing, or for reading, in a way that may be refused.
inline Outcome afterOpen(File& file, const std::string& path, Mode mode, Format format = Format::Binary) {
    const bool isOpen = file.open(path.c_str(), mode, format);
    return after(isOpen, file);
}

/// As long as it lives, this process may use less of a resource. See setrlimit(2).
class Limit {
 public:
    Limit(__rlimit_resource itsResource, rlim_t most) : resource(itsResource) {
        EXPECT_EQ(getrlimit(resource, &before), 0);
        const rlimit limited = {most, before.rlim_max};
        EXPECT_EQ(setrlimit(resource, &limited), 0);
    }
    ~Limit() { setrlimit(resource, &before); }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

 private:
    __rlimit_resource resource;
    rlimit before = {};
};

/// As long as it lives, a signal is ignored.
class Ignored {
 public:
    explicit Ignored(int itsSignal) : signal(itsSignal), before(std::signal(itsSignal, SIG_IGN)) {}
    ~Ignored() { std::signal(signal, before); }
    Ignored(const Ignored&) = delete;
    Ignored& operator=(const Ignored&) = delete;

 private:
    int signal;
    sighandler_t before;
};

/// The kind of file system that temporary files are on.
inline std::string fileSystem() {
    struct statfs system = {};
    EXPECT_EQ(statfs(std::filesystem::temp_directory_path().c_str(), &system), 0);
    switch (system.f_type) {
        case EXT4_SUPER_MAGIC:
            return "ext4";
        case TMPFS_MAGIC:
            return "tmpfs";
        case OVERLAYFS_SUPER_MAGIC:
            return "overlayfs";
        default:
            return "another file system";
    }
}

}  // namespace qor::test
