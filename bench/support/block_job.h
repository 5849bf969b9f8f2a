// Blocks of bytes that are made small and restored, by qor and by others, measured side by side: the ways take turns
// run by run, so that what disturbs one disturbs them all, and what they make is checked before any time counts.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "qor/core/vector.h"

namespace bench {

using Bytes = std::span<const unsigned char>;
using Buffer = qor::ds::Vector<unsigned char>;

/// One way to store a block. Both functions give their result the size that it has, and are false if they fail.
/// `restore` is given the size that its result has to have.
struct BlockWay {
    std::string name;
    std::function<bool(Bytes content, Buffer& payload)> store;
    std::function<bool(const Buffer& payload, std::size_t size, Buffer& content)> restore;
};

/// Blocks that are done in a row, each by itself. The first way is ours and the second the one that it is measured
/// against; the others are for comparison.
struct BlockJob {
    std::string group;  ///< What the report puts in one table.
    std::string name;
    std::vector<Bytes> blocks;
    std::vector<BlockWay> ways;
};

/// Runs the jobs whose "group/name" the filter finds, and writes what was measured to a file of JSON, as the command
/// line says:
///
///     --benchmark_out=FILE  --benchmark_repetitions=N  --benchmark_filter=REGEX
///
/// The exit code of the program: 1 if a way failed or its result was wrong.
int runBlockJobs(int argc, char** argv, const std::vector<BlockJob>& jobs);

}  // namespace bench
