// One job, done in several ways: by qor, by the limit (the barest loop that does the same), and by the peers that a
// program might use instead. The ways of a job run in one process, their repetitions in random order, and every run is
// checked before its time counts.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One way to do a job. A name that begins with "qor" is measured against the way named "limit"; the others are for
/// comparison. `run` does the whole job once, false if something failed.
struct Way {
    std::string name;
    std::function<bool()> run;
};

struct Job {
    std::string name;

    /// What qor may take at most, as a multiple of the limit's time.
    double aim;

    /// How many values (or texts, or files) one run moves: the table gives the time of one.
    std::int64_t items;

    /// Before each run, outside the time.
    std::function<void()> prepare;

    /// After each run, outside the time: whether the result is right.
    std::function<bool()> check;

    std::vector<Way> ways;
};

/// Runs the jobs as the command line says (Google Benchmark's options; seven interleaved repetitions if it says
/// nothing). The exit code of the program: 1 if a way failed or its result was wrong.
int runJobs(int argc, char** argv, const std::vector<Job>& jobs);

/// The path of a file of this name in the benchmarks' folder: the folder that QOR_BENCH_FOLDER names, or one of the
/// program's own in memory, which goes when the program ends.
std::string pathOf(const std::string& name);

/// Whether both files can be read and hold the same bytes.
bool sameContent(const std::string& path, const std::string& otherPath);

/// `check` once, for files that the program makes for itself: ends the program with a message if it is false.
void require(bool done, const std::string& what);

}  // namespace bench
