// Files in memory, which take the place of qor/core/fs.cpp in the targets that read files: a file that holds the bytes
// that are tried, and one that is written.
#pragma once

#include <cstdint>
#include <vector>

#include "fuzz/choices.h"
#include "fuzz/target.h"
#include "qor/file/qor_file.h"

namespace qor::fuzz {

/// What the library finds when it opens a file, whatever its name.
struct Disk {
    /// What is told of a file's length: what it is, 2^63-1, as of a directory, or nothing.
    enum class Told { Right, TooMuch, Nothing };

    View content;  ///< of the file that is read
    Told length = Told::Right;
    std::vector<unsigned char> written;  ///< what the latest file holds that was opened for writing
};

inline Disk disk;

/// Texts of failures that several targets wait for.
inline constexpr const char* kBeyond = "Attempted to read beyond file size.";

/// A file open for reading, with what is tried before it. The first byte of `input` says how that lies in the file:
///
///     bits 0, 1    its length is told as it is (0, 1), as 2^63-1 (2), or not at all (3)
///     bits 2, 3    the other bytes are the file, or (3) a chunk comes before them but for so many bytes and one as the
///                  next byte says
class TriedFile {
 public:
    TriedFile(View input, File::Format format);

    /// Whether the file's length is known, so that it is known too what a read has to give.
    bool isMeasured() const { return disk.length == Disk::Told::Right; }

    /// Bytes read since `bytes` began.
    std::uint64_t taken() const { return file.pos() - start; }

    /// The most that reading may take of the heap: twice what is tried, 1 MiB, and the text of a failure.
    std::size_t mostMemory() const { return 2 * bytes.size() + 0x100000 + 100; }

    /// Requires that the file says why a read failed, if it has.
    void requireReason(bool done) const { require(done || !file.ok(), "a failure has its text"); }

    File& file;
    View bytes;           ///< what is tried
    std::uint64_t start;  ///< where it begins
};

/// The bytes that `put(file)` writes to a file.
template <typename Put>
std::vector<unsigned char> written(File::Format format, Put put) {
    static File file;
    require(file.open("out", File::Mode::Write, format), "a file can be opened");
    put(file);
    require(file.ok() && file.close(), "what is in memory can be written");
    return disk.written;
}

/// A file of these bytes, open for reading.
inline File& opened(View bytes, File::Format format) {
    static File file;
    disk.length = Disk::Told::Right;
    disk.content = bytes;
    require(file.open("in", File::Mode::Read, format), "a file can be opened");
    return file;
}

}  // namespace qor::fuzz
