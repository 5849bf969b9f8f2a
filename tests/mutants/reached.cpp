// Notes of each test which mutants it reaches and how long it takes: a line to a test in the file that the environment
// names in QOR_REACHED, with the test's name, its milliseconds of processor time, and the mutants' numbers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>

#include "mutants/mutant.h"

namespace {

class Notes : public ::testing::EmptyTestEventListener {
 public:
    explicit Notes(std::FILE* newFile) : file(newFile) {}

 private:
    void OnTestStart(const ::testing::TestInfo&) override {
        // What was reached before the first test counts for each.
        if (!isStarted) std::copy(std::begin(mutant::reached), std::end(mutant::reached), beforeAll);
        isStarted = true;
        std::copy(std::begin(beforeAll), std::end(beforeAll), mutant::reached);
        start = std::clock();
    }

    void OnTestEnd(const ::testing::TestInfo& test) override {
        const double milliseconds = 1000.0 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        std::fprintf(file, "%s.%s %.1f", test.test_suite_name(), test.name(), milliseconds);
        for (int n = 0; n < mutant::kMost; ++n) {
            if (mutant::reached[n]) std::fprintf(file, " %d", n);
        }
        std::fputc('\n', file);
        std::fflush(file);
    }

    std::FILE* file;
    std::clock_t start = 0;
    bool isStarted = false;
    bool beforeAll[mutant::kMost] = {};
};

[[maybe_unused]] const bool kIsNoting = [] {
    const char* const path = std::getenv("QOR_REACHED");
    std::FILE* const file = path ? std::fopen(path, "w") : nullptr;
    if (file) ::testing::UnitTest::GetInstance()->listeners().Append(new Notes(file));
    return file != nullptr;
}();

}  // namespace
