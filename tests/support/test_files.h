// What the tests of files share: a folder of their own, whole files as bytes, and bytes written as a reader of a hex
// dump writes them.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "qor/file/qor_file.h"

namespace qor::test {

using Mode = File::Mode;
using Format = File::Format;

/// A run of bytes that prints as hex when a comparison fails.
struct Bytes {
    std::string raw;

    friend bool operator==(const Bytes&, const Bytes&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Bytes& bytes) {
        constexpr char kDigits[] = "0123456789abcdef";
        out << bytes.raw.size() << " bytes:";
        for (std::size_t i = 0; i < bytes.raw.size() && i < 64; ++i) {
            const auto byte = static_cast<unsigned char>(bytes.raw[i]);
            out << ' ' << kDigits[byte >> 4] << kDigits[byte & 15];
        }
        return bytes.raw.size() > 64 ? out << " ..." : out;
    }
};

/// Bytes in hex: "02 01 00 00"_bytes. Anything that is not a hex digit only separates.
inline Bytes operator""_bytes(const char* text, std::size_t size) {
    Bytes bytes;
    int high = -1;
    for (const char c : std::string_view(text, size)) {
        const std::size_t digit = std::string_view("0123456789abcdef").find(static_cast<char>(c | 0x20));
        if (c == ' ' || digit == std::string_view::npos) continue;
        if (high < 0) {
            high = static_cast<int>(digit);
        } else {
            bytes.raw += static_cast<char>(high * 16 + static_cast<int>(digit));
            high = -1;
        }
    }
    return bytes;
}

/// The bytes of a file; none if it cannot be read.
inline Bytes contentOf(const std::filesystem::path& path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return {std::move(bytes).str()};
}

/// A folder that is there for one test and gone after it.
class TestFolder {
 public:
    TestFolder() {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string("qor-") + info->test_suite_name() + "." + info->name() + "-XXXXXX";
        for (char& c : name) {
            if (c == '/') c = '_';
        }
        std::string pattern = (std::filesystem::temp_directory_path() / name).string();
        if (!mkdtemp(pattern.data())) std::abort();
        folder = pattern;
    }
    ~TestFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::string path(std::string_view name) const { return (folder / name).string(); }

    /// Makes a file of these bytes and returns its path.
    std::string make(std::string_view name, std::string_view content) const {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }

    Bytes content(std::string_view name) const { return contentOf(path(name)); }

 private:
    std::filesystem::path folder;
};

/// The fixture of tests that need files.
class WithFiles : public ::testing::Test {
 protected:
    TestFolder files;
};

/// What a file holds after `put(file)` wrote to it and it was closed.
template <typename Put>
Bytes written(Format format, Put put, Mode mode = Mode::Write) {
    const TestFolder folder;
    File file;
    EXPECT_TRUE(file.open(folder.path("written").c_str(), mode, format));
    put(file);
    EXPECT_TRUE(file.close()) << file.error();
    return folder.content("written");
}

}  // namespace qor::test
