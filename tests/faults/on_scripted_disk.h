// The fixture of tests whose disk fails on cue.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "faults/scripted_fs.h"
#include "qor/file/qor_file.h"
#include "support/test_files.h"

namespace qor::test {

inline constexpr std::uint64_t kBuffer = 0x100000;
inline constexpr std::uint64_t kAllBitsSet = 0xFFFFFFFFFFFFFFFF;
inline constexpr auto kFourthMode = static_cast<Mode>(7);

/// All that a file tells of itself: "pos 4, len 9, binary", with ", eof" at the end of the file, and after a colon the
/// text of the failure if there is one.
inline std::string stateOf(const File& file) {
    std::string state = "pos " + std::to_string(file.pos()) + ", len ";
    state += file.len() == kAllBitsSet ? "all bits set" : std::to_string(file.len());
    state += file.format() == Format::Text ? ", text" : ", binary";
    if (file.eof()) state += ", eof";
    EXPECT_EQ(file.ok(), file.error().isEmpty());
    return file.ok() ? state : state + ": " + file.error().buf();
}

/// A file on a scripted disk. All tests use the one path.
class OnScriptedDisk : public ::testing::Test {
 protected:
    static constexpr const char* kPath = "simulated/a";

    ScriptedFs disk;
    File file;

    /// Opens the file without a fault; the transcript begins after it.
    void opened(Mode mode, Format format = Format::Binary) {
        ASSERT_TRUE(file.open(kPath, mode, format)) << file.error();
        disk.takeTranscript();
    }

    /// Opens a file of these bytes for reading.
    void openedOn(std::string_view bytes, Format format = Format::Binary, Mode mode = Mode::Read) {
        disk.make(kPath, bytes);
        opened(mode, format);
    }

    /// Opens a file whose measured length has all bits set, since the stream could not tell it.
    void openedWithoutALength(Mode mode, Format format = Format::Binary) {
        disk.tell(1).fails();
        opened(mode, format);
        ASSERT_EQ(file.len(), kAllBitsSet);
    }

    /// Stages `n` bytes, 'x' each.
    void stage(std::uint64_t n) {
        for (std::uint64_t i = 0; i < n; ++i) ASSERT_TRUE(file.write('x'));
    }

    Bytes content() const { return {disk.content(kPath)}; }
};

}  // namespace qor::test
