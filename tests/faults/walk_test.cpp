// Random walks against the model: after every operation the library and the model agree in its result, the text, the
// counters, the calls on the stream and the bytes of the files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <iostream>
#include <random>

#include "faults/walk.h"
#include "support/figures.h"

namespace qor::test {
namespace {

constexpr std::uint64_t kFirstSeed = 20240607;

// Another seed, in the environment, walks other ways.
std::uint64_t firstSeed() {
    const char* const given = std::getenv("QOR_WALK_SEED");
    return given ? std::strtoull(given, nullptr, 10) : kFirstSeed;
}

// Several walks, so that several processors can go them.
class RandomWalk : public ::testing::TestWithParam<std::uint64_t> {};

TEST_P(RandomWalk, AgreesWithTheModelAtEveryStep) {
    const std::uint64_t seed = firstSeed() + GetParam();
    std::cout << "QOR_WALK_SEED=" << seed << " (the first walk of that seed)\n";
    std::mt19937_64 random(seed);
    Walk walk([&](std::uint64_t limit) { return random() % limit; }, ~std::uint64_t{0});

    const std::uint64_t operations = rounds(250'000, 25'000'000);
    SideBySide both([](Disk&) {});
    std::deque<std::string> latest;
    for (std::uint64_t i = 0; i < operations; ++i) {
        const Step step = walk.next(both.disk.openStreams() > 0);
        latest.push_back(step.name);
        if (latest.size() > 20) latest.pop_front();
        const std::string difference = both.after(step);
        if (difference.empty()) continue;
        std::string story;
        for (const std::string& name : latest) story += "  " + name + '\n';
        FAIL() << "operation " << i << " differs: " << difference << "\nafter\n" << story;
    }
    EXPECT_EQ(both.atTheEnd(), "");
    std::cout << both.disk.faultsMet() << " of the calls failed on cue\n";
    figure("random operations compared with the model, walk " + std::to_string(GetParam() + 1) + " of 4", operations,
           rounds(250'000, 25'000'000));
}

INSTANTIATE_TEST_SUITE_P(Four, RandomWalk, ::testing::Range<std::uint64_t>(0, 4));

}  // namespace
}  // namespace qor::test
