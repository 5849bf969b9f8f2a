// What does it cost to open a file, move 100 bytes and close it, against the system's own calls?
//
// Data      25 ints, binary. Written to 1000 files that are not there yet; read 1000 times from one that is
// Limit     open(2), write(2), close(2); open(2), fstat(2), read(2), close(2)
// Peers     fopen with fwrite and fread of all 100 bytes; std::ofstream and std::ifstream, made for each file
// Check     each written file holds the limit's bytes; each int that was read last is right
//
// Half of what qor's open asks of the system are questions about the path, so its time depends on how many folders
// stand in it: here two, /dev/shm/qor-bench-....
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "qor/file/qor_file.h"
#include "support/job.h"

namespace {

using Mode = qor::File::Mode;
using Format = qor::File::Format;

constexpr std::int64_t kFiles = 1000;

std::array<int, 25> makeInts() {
    std::array<int, 25> ints;
    for (int i = 0; i < 25; ++i) ints[static_cast<std::size_t>(i)] = i * i * 1000003;
    return ints;
}

const std::array<int, 25> kInts = makeInts();
std::array<int, 25> readBack;

// ---- Writing --------------------------------------------------------------------------------------------------------

bool writeBare(const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) return false;
    const bool done = ::write(file, kInts.data(), sizeof(kInts)) == sizeof(kInts);
    return (::close(file) == 0) & done;
}

bool writeQor(qor::File& file, const std::string& path) {
    if (!file.open(path.c_str(), Mode::Write, Format::Binary)) return false;
    for (const int value : kInts) file << value;
    return file.ok() && file.close();
}

bool writeQorAnew(const std::string& path) {
    qor::File file;
    return writeQor(file, path);
}

bool writeStdio(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    const bool done = std::fwrite(kInts.data(), sizeof(kInts), 1, file) == 1;
    return (std::fclose(file) == 0) & done;
}

bool writeStream(const std::string& path) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(kInts.data()), sizeof(kInts));
    out.close();
    return out.good();
}

// ---- Reading --------------------------------------------------------------------------------------------------------

bool readBare(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    struct stat status;
    const bool measured = ::fstat(file, &status) == 0 && status.st_size == sizeof(readBack);
    const bool done = measured && ::read(file, readBack.data(), sizeof(readBack)) == sizeof(readBack);
    return (::close(file) == 0) & done;
}

bool readQor(qor::File& file, const std::string& path) {
    if (!file.open(path.c_str(), Mode::Read, Format::Binary)) return false;
    for (int& value : readBack) file >> value;
    return file.ok() && file.close();
}

bool readQorAnew(const std::string& path) {
    qor::File file;
    return readQor(file, path);
}

bool readStdio(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (!file) return false;
    const bool done = std::fread(readBack.data(), sizeof(readBack), 1, file) == 1;
    return (std::fclose(file) == 0) & done;
}

bool readStream(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    in.read(reinterpret_cast<char*>(readBack.data()), sizeof(readBack));
    return in.good();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string expected = bench::pathOf("expected.bin");
    bench::require(writeBare(expected), "write " + expected);
    std::vector<std::string> paths;
    for (std::int64_t i = 0; i < kFiles; ++i) paths.push_back(bench::pathOf("small-" + std::to_string(i) + ".bin"));
    qor::File reused;

    const auto forEachFile = [&paths](auto write) {
        return [&paths, write] { return std::all_of(paths.begin(), paths.end(), write); };
    };
    const bench::Job write = {
        .name = "open a new file, write 100 bytes, close",
        .aim = 1.6,
        .items = kFiles,
        .prepare = [&] { std::for_each(paths.begin(), paths.end(), [](auto& path) { std::remove(path.c_str()); }); },
        .check = forEachFile([&](const std::string& path) { return bench::sameContent(path, expected); }),
        .ways = {{"qor, one File", forEachFile([&](const std::string& path) { return writeQor(reused, path); })},
                 {"qor, a File each", forEachFile(writeQorAnew)},
                 {"limit", forEachFile(writeBare)},
                 {"fopen", forEachFile(writeStdio)},
                 {"ofstream", forEachFile(writeStream)}},
    };

    const auto forEachTime = [&expected](auto read) {
        return [&expected, read] {
            bool done = true;
            for (std::int64_t i = 0; i < kFiles; ++i) done = read(expected) && done;
            return done;
        };
    };
    const bench::Job read = {
        .name = "open, read 100 bytes, close",
        .aim = 4,
        .items = kFiles,
        .prepare = [] { readBack.fill(0); },
        .check = [] { return readBack == kInts; },
        .ways = {{"qor, one File", forEachTime([&](const std::string& path) { return readQor(reused, path); })},
                 {"qor, a File each", forEachTime(readQorAnew)},
                 {"limit", forEachTime(readBare)},
                 {"fopen", forEachTime(readStdio)},
                 {"ifstream", forEachTime(readStream)}},
    };
    return bench::runJobs(argc, argv, {write, read});
}
