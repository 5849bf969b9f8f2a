// How jobs are registered, run and checked, and where their files lie.
#include "support/job.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace bench {
namespace {

bool anyFailed = false;

// Memory, so that the noise of a disk stays out.
constexpr const char* kMemoryFolder = "/dev/shm";

class Folder {
 public:
    Folder() {
        if (const char* const given = std::getenv("QOR_BENCH_FOLDER")) {
            path = given;
            return;
        }
        path = std::string(kMemoryFolder) + "/qor-bench-XXXXXX";
        require(mkdtemp(path.data()), "make a folder in " + std::string(kMemoryFolder));
        isOwn = true;
    }
    ~Folder() {
        std::error_code ignored;
        if (isOwn) std::filesystem::remove_all(path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string path;

 private:
    bool isOwn = false;
};

void runWay(benchmark::State& state, const Job& job, const Way& way) {
    for (auto _ : state) {
        state.PauseTiming();
        job.prepare();
        state.ResumeTiming();
        const bool done = way.run();
        state.PauseTiming();
        if (!done || !job.check()) {
            anyFailed = true;
            state.SkipWithError(done ? "The result is wrong." : "Failed; is there room for the files?");
            break;
        }
        state.ResumeTiming();
    }
    state.counters["aim"] = job.aim;
    state.counters["items"] = static_cast<double>(job.items);
}

}  // namespace

std::string pathOf(const std::string& name) {
    static const Folder folder;
    return folder.path + "/" + name;
}

bool sameContent(const std::string& path, const std::string& otherPath) {
    constexpr std::size_t kPiece = 1 << 16;
    std::ifstream one(path, std::ios::binary);
    std::ifstream other(otherPath, std::ios::binary);
    if (!one || !other) return false;
    static char onePiece[kPiece];
    static char otherPiece[kPiece];
    while (one && other) {
        one.read(onePiece, kPiece);
        other.read(otherPiece, kPiece);
        if (one.gcount() != other.gcount()) return false;
        if (!std::equal(onePiece, onePiece + one.gcount(), otherPiece)) return false;
    }
    return one.eof() && other.eof();
}

void require(bool done, const std::string& what) {
    if (done) return;
    std::fprintf(stderr, "Cannot %s. Is there room for the files? Their folder is set by QOR_BENCH_FOLDER.\n",
                 what.c_str());
    std::exit(1);
}

int runJobs(int argc, char** argv, const std::vector<Job>& jobs) {
    std::vector<std::string> arguments = {argv[0], "--benchmark_repetitions=7",
                                          "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.2",
                                          "--benchmark_display_aggregates_only=true"};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) return 1;

    for (const Job& job : jobs) {
        for (const Way& way : job.ways) {
            const auto run = [&job, &way](benchmark::State& state) { runWay(state, job, way); };
            benchmark::RegisterBenchmark((job.name + "/" + way.name).c_str(), run)->Unit(benchmark::kMillisecond);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return anyFailed ? 1 : 0;
}

}  // namespace bench
