// Runs a target over files and the files in folders, once each, without libFuzzer: replay <file or folder>...
//
// The bytes of each end where a page begins that cannot be read, so that no sanitizer is needed to see a read too far.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/target.h"

namespace {

void run(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    qor::fuzz::require(in.good() || in.eof(), "the file can be read");

    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t pages = (bytes.size() + page - 1) / page * page;
    void* const memory = mmap(nullptr, pages + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    qor::fuzz::require(memory != MAP_FAILED, "there is memory");
    auto* const guard = static_cast<unsigned char*>(memory) + pages;
    qor::fuzz::require(mprotect(guard, page, PROT_NONE) == 0, "a page can be closed");
    unsigned char* const start = guard - bytes.size();
    std::memcpy(start, bytes.data(), bytes.size());

    // Told beforehand, for the case that the program ends there.
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(start, bytes.size());
    munmap(memory, pages + page);
}

}  // namespace

int main(int argc, char** argv) {
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            run(argv[i]);
            ++files;
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file()) continue;
            run(entry.path());
            ++files;
        }
    }
    qor::fuzz::require(files > 0, "there are files to run");
    return 0;
}
