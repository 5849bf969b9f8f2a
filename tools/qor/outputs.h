// The files that a run leaves: all of them new, or all of them as they were.
#pragma once

#include <filesystem>
#include <span>
#include <string>

#include "tools/qor/file_io.h"

namespace tool {

/// Throws a Failure if one of the files exists in `folder` and may not be replaced, or cannot be.
void refuseExisting(const std::filesystem::path& folder, std::span<const std::string> names, bool mayReplace);

/// Makes the files of a run in a hidden folder inside the real one, and moves them where they belong when all of them
/// are complete. Until then, and if anything fails, the files there stay as they are, and nothing else stays.
class Outputs {
 public:
    /// Makes the folder, if it is not there, and the hidden one. Throws a Failure if that is not possible.
    explicit Outputs(const std::filesystem::path& itsFolder);
    ~Outputs();
    Outputs(const Outputs&) = delete;
    Outputs& operator=(const Outputs&) = delete;

    /// Where the files are made. In messages they have the names that they will have.
    const Folder& hidden() const { return files; }

    /// Moves the named files to the real folder, over what is there. Throws a Failure, with all of them as they were,
    /// if one cannot be moved.
    void commit(std::span<const std::string> names);

 private:
    void keepOld(const std::string& name);
    void putBack(std::span<const std::string> names);
    void makeFolder();
    void removeMade();

    std::filesystem::path folder;
    std::filesystem::path firstMade;  // the outermost folder that was not there; empty if all were
    Folder files;
};

}  // namespace tool
