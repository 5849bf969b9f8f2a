// The golden files: small files of every kind of record, whose bytes are kept in the folder files/. A library that
// writes one of them otherwise, or cannot read one any more, has changed the file format.
//
// The script `make` tells the bytes in its own words, without the library, and the tests compare: what the script
// makes, what lies in the folder, and what the library writes, on every host. A new file is an entry of the catalogue,
// its bytes in the script, and what this adds to the folder:
//
//     build/test/tests/golden/golden_files write tests/golden/files
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "qor/file/qor_file.h"

namespace qor::test {

/// What came of reading a file, value after value to its end, whether or not one of them failed.
struct Found {
    bool isRead = true;   ///< Every read said so.
    bool isRight = true;  ///< The values are those that were written.
    bool saysWhy = true;  ///< Each read that failed left a text, but for those that never leave one.
};

struct Golden {
    std::string name;
    File::Format format;
    std::function<bool(File&)> write;  ///< Null where the payloads are those of other tools.
    std::function<Found(File&)> read;
};

const std::vector<Golden>& goldens();

/// Opens a file of the catalogue as what it is.
inline bool openGolden(File& file, const std::string& folder, const Golden& golden, File::Mode mode) {
    return file.open((folder + "/" + golden.name).c_str(), mode, golden.format);
}

/// Writes a file of the catalogue below a folder.
inline bool writeGolden(const std::string& folder, const Golden& golden) {
    File file;
    return openGolden(file, folder, golden, File::Mode::Write) && golden.write(file) && file.close();
}

/// Whether a file of the catalogue, below a folder, gives back its values and ends there.
inline bool readGolden(const std::string& folder, const Golden& golden) {
    File file;
    if (!openGolden(file, folder, golden, File::Mode::Read)) return false;
    const Found found = golden.read(file);
    return found.isRead && found.isRight && file.eof() && file.close();
}

}  // namespace qor::test
