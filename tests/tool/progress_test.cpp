// When progress is shown, and what is left of it.
#include "tools/qor/progress.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace tool {
namespace {

// What a run shows that begins its steps at these seconds.
std::string shown(bool isTerminal, std::initializer_list<double> moments) {
    std::FILE* const out = std::tmpfile();
    double now = 10;
    {
        Progress progress(out, isTerminal, [&] { return now; });
        for (const double moment : moments) {
            now = 10 + moment;
            progress.step("step at " + std::to_string(static_cast<int>(moment * 10)));
        }
    }
    std::string text(static_cast<std::size_t>(std::ftell(out)), '\0');
    std::rewind(out);
    EXPECT_EQ(std::fread(text.data(), 1, text.size(), out), text.size());
    std::fclose(out);
    return text;
}

TEST(Progress, AShortRunShowsNothing) { EXPECT_EQ(shown(true, {0, 0.2, 0.5}), ""); }

TEST(Progress, AfterHalfASecondEachStepReplacesTheOneBefore) {
    EXPECT_EQ(shown(true, {0, 0.6, 0.8}), "\r\033[Kqor: step at 6 ...\r\033[Kqor: step at 8 ...\r\033[K");
}

TEST(Progress, WhereThereIsNoTerminalNothingIsShown) { EXPECT_EQ(shown(false, {0, 0.6, 5}), ""); }

}  // namespace
}  // namespace tool
