// How block jobs are checked, run and written down.
#include "support/block_job.h"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <regex>
#include <string_view>

namespace bench {
namespace {

// A run goes over the blocks as often as takes this long, so that neither the clock nor a cold start matters.
constexpr double kRunNanoseconds = 3e6;

struct Time {
    double processor = 0;
    double clock = 0;
};

Time now() {
    const auto nanoseconds = [](clockid_t clock) {
        timespec time{};
        clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
    };
    return {nanoseconds(CLOCK_THREAD_CPUTIME_ID), nanoseconds(CLOCK_MONOTONIC)};
}

// A way at work on the blocks of a job.
class Runner {
 public:
    Runner(const BlockWay& how, const std::vector<Bytes>& what)
        : way(how), blocks(what), payloads(what.size()), contents(what.size()) {}

    /// Stores and restores all blocks once, and compares.
    bool isRight() {
        if (!store() || !restore()) return false;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            if (!std::ranges::equal(contents[i], blocks[i])) return false;
        }
        return true;
    }

    bool store() {
        bool done = true;
        for (std::size_t i = 0; i < blocks.size(); ++i) done &= way.store(blocks[i], payloads[i]);
        return done;
    }

    bool restore() {
        bool done = true;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            done &= way.restore(payloads[i], blocks[i].size(), contents[i]);
        }
        return done;
    }

    std::size_t payloadSize() const {
        std::size_t size = 0;
        for (const Buffer& payload : payloads) size += payload.size();
        return size;
    }

    const BlockWay& way;
    std::vector<Time> storing;
    std::vector<Time> restoring;

 private:
    const std::vector<Bytes>& blocks;
    std::vector<Buffer> payloads;
    std::vector<Buffer> contents;
};

// The time of going over the blocks once.
template <typename Run>
Time timeOf(Run run, int passes) {
    const Time start = now();
    for (int i = 0; i < passes; ++i) run();
    const Time end = now();
    return {(end.processor - start.processor) / passes, (end.clock - start.clock) / passes};
}

// One direction: how many passes make a run of each way, then the runs in turn.
template <typename Run>
void measure(std::vector<Runner>& runners, int repetitions, Run run, std::vector<Time> Runner::*times) {
    std::vector<int> passes;
    for (Runner& runner : runners) {
        const double once = timeOf([&] { run(runner); }, 1).processor;
        passes.push_back(static_cast<int>(std::clamp(kRunNanoseconds / once, 1.0, 1e6)));
    }
    for (int i = 0; i < repetitions; ++i) {
        for (std::size_t way = 0; way < runners.size(); ++way) {
            // Those that are for comparison only are run less often.
            if (way > 1 && i % 4 != 0) continue;
            (runners[way].*times).push_back(timeOf([&] { run(runners[way]); }, passes[way]));
        }
    }
}

void put(std::ostream& out, const std::vector<Time>& times) {
    out << '[';
    for (std::size_t i = 0; i < times.size(); ++i) {
        out << (i == 0 ? "" : ", ") << '[' << times[i].processor << ", " << times[i].clock << ']';
    }
    out << ']';
}

void put(std::ostream& out, const BlockJob& job, const std::vector<Runner>& runners) {
    std::size_t size = 0;
    for (const Bytes block : job.blocks) size += block.size();
    out << "  {\"group\": " << std::quoted(job.group) << ", \"name\": " << std::quoted(job.name)
        << ", \"blocks\": " << job.blocks.size() << ", \"size\": " << size << ", \"ways\": [";
    for (std::size_t i = 0; i < runners.size(); ++i) {
        out << (i == 0 ? "\n" : ",\n") << "    {\"name\": " << std::quoted(runners[i].way.name)
            << ", \"payload\": " << runners[i].payloadSize() << ", \"store\": ";
        put(out, runners[i].storing);
        out << ", \"restore\": ";
        put(out, runners[i].restoring);
        out << '}';
    }
    out << "]}";
}

}  // namespace

int runBlockJobs(int argc, char** argv, const std::vector<BlockJob>& jobs) {
    std::string path;
    std::regex filter("");
    int repetitions = 15;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        const std::string value(argument.substr(std::min(argument.find('='), argument.size() - 1) + 1));
        if (argument.starts_with("--benchmark_out=")) path = value;
        if (argument.starts_with("--benchmark_filter=")) filter = value;
        if (argument.starts_with("--benchmark_repetitions=")) repetitions = std::max(1, std::atoi(value.c_str()));
    }

    std::ofstream out(path);
    out << std::setprecision(10) << "{\"block_jobs\": [";
    bool isFirst = true;
    for (const BlockJob& job : jobs) {
        const std::string name = job.group + "/" + job.name;
        if (!std::regex_search(name, filter)) continue;
        std::vector<Runner> runners;
        for (const BlockWay& way : job.ways) {
            runners.emplace_back(way, job.blocks);
            if (runners.back().isRight()) continue;
            std::fprintf(stderr, "%s: %s does not restore what it stored.\n", name.c_str(), way.name.c_str());
            return 1;
        }
        measure(
            runners, repetitions, [](Runner& runner) { runner.store(); }, &Runner::storing);
        measure(
            runners, repetitions, [](Runner& runner) { runner.restore(); }, &Runner::restoring);
        out << (isFirst ? "\n" : ",\n");
        put(out, job, runners);
        isFirst = false;
    }
    out << "\n]}\n";
    out.close();
    if (path.empty() || out) return 0;
    std::fprintf(stderr, "Cannot write %s.\n", path.c_str());
    return 1;
}

}  // namespace bench
