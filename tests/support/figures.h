// What the large checks reach, told in figures: how many faults were injected, how many files damaged.
//
// A check calls `figure` at its end, which prints a line, fails the test where the figure is too small, and adds the
// line to the file that the environment names in QOR_FIGURES, so that a run of all tests can end with a table of them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string_view>

namespace qor::test {

/// Whether this run may take hours (`./test --thorough`).
inline bool isThorough() { return std::getenv("QOR_THOROUGH") != nullptr; }

/// Whether this run is to be short, since each step of it is slow (on an emulated host). Its figures do not count.
inline bool isBrief() { return std::getenv("QOR_BRIEF") != nullptr; }

/// How many rounds a check takes: `usual` in every run, `most` in a thorough one.
inline std::uint64_t rounds(std::uint64_t usual, std::uint64_t most) {
    if (isBrief()) return usual / 20 + 1;
    return isThorough() ? most : usual;
}

/// The seconds that something may take, `usual` where a step takes as long as it usually does.
inline double patience(double usual) { return isBrief() ? 20 * usual : usual; }

/// Tells that of `subject` there were `reached`, and fails the test if that is below `least`.
inline void figure(std::string_view subject, std::uint64_t reached, std::uint64_t least) {
    std::ostringstream line;
    line << subject << ": " << reached << " (at least " << least << ")\n";
    std::cout << line.str();
    if (isBrief()) return;
    if (const char* path = std::getenv("QOR_FIGURES")) {
        if (std::FILE* figures = std::fopen(path, "a")) {
            std::fputs(line.str().c_str(), figures);
            std::fclose(figures);
        }
    }
    EXPECT_GE(reached, least) << subject;
}

}  // namespace qor::test
