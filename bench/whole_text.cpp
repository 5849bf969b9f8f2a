// What does it cost to have the whole of a text file in memory, against reading it straight into a block of its size?
//
// Data      a text of 100 MiB
// Limit     open(2), fstat(2), malloc, read(2), close(2). The memory is fresh each time, as the library's must be: the
//           system takes the old text's back when it goes, which is not timed
// Peers     fread into a std::string of the file's size; std::ifstream into a std::string, with seek, resize and read;
//           the same with std::istreambuf_iterator
// Check     every text is compared with what was written
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include "qor/file/qor_file.h"
#include "support/job.h"

namespace {

using Mode = qor::File::Mode;
using Format = qor::File::Format;

constexpr std::size_t kSize = 100 << 20;

std::string makeText() {
    std::mt19937_64 random(5);
    std::string text(kSize, '\0');
    for (char& c : text) c = random() % 64 == 0 ? '\n' : static_cast<char>(' ' + random() % 95);
    return text;
}

// What was read last, in whichever form the way that read it makes.
struct Result {
    std::unique_ptr<char, decltype(&std::free)> block{nullptr, std::free};
    std::string text;
    qor::String string;
    std::string_view view;
};
std::unique_ptr<Result> result;

bool readBare(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status;
    if (file < 0 || ::fstat(file, &status) != 0) return false;
    const auto size = static_cast<std::size_t>(status.st_size);
    result->block.reset(static_cast<char*>(std::malloc(size)));
    std::size_t done = 0;
    while (result->block && done < size) {
        const ssize_t loaded = ::read(file, result->block.get() + done, size - done);
        if (loaded <= 0) break;
        done += static_cast<std::size_t>(loaded);
    }
    result->view = {result->block.get(), done};
    return ::close(file) == 0;
}

bool readQor(const std::string& path) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Read, Format::Text)) return false;
    result->string = file.read();
    result->view = result->string.view();
    return file.ok() && file.close();
}

bool readStdio(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (!file) return false;
    result->text.resize(std::filesystem::file_size(path));
    result->view = {result->text.data(), std::fread(result->text.data(), 1, result->text.size(), file)};
    return std::fclose(file) == 0;
}

bool readStream(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = in.tellg();
    in.seekg(0);
    result->text.resize(static_cast<std::size_t>(size));
    in.read(result->text.data(), size);
    result->view = result->text;
    return in.good();
}

bool readIterators(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    result->text = std::string(std::istreambuf_iterator<char>(in), {});
    result->view = result->text;
    return in.good();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string path = bench::pathOf("whole.txt");
    const std::string text = makeText();
    bench::require(std::ofstream(path, std::ios::binary).write(text.data(), kSize).flush().good(), "write " + path);

    const bench::Job read = {
        .name = "whole text of 100 MiB, read",
        .aim = 1.6,
        .items = 1,
        .prepare = [] { result = std::make_unique<Result>(); },
        .check = [&] { return result->view == text; },
        .ways = {{"qor", [&] { return readQor(path); }},
                 {"limit", [&] { return readBare(path); }},
                 {"fread", [&] { return readStdio(path); }},
                 {"ifstream read", [&] { return readStream(path); }},
                 {"ifstream iterators", [&] { return readIterators(path); }}},
    };
    return bench::runJobs(argc, argv, {read});
}
