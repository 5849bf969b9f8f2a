// Runs the cases, which prove nothing where every permission is given, and tells how many there are.
#include <gtest/gtest.h>
#include <unistd.h>

#include <iostream>

#include "platform/platform.h"
#include "support/figures.h"

namespace {

class Figure : public testing::Environment {
 public:
    void TearDown() override {
        const testing::UnitTest& run = *testing::UnitTest::GetInstance();
        if (run.test_to_run_count() < run.total_test_count()) return;  // only some were asked for
        qor::test::figure("platform cases on " + qor::test::fileSystem(),
                          static_cast<std::uint64_t>(run.successful_test_count()), 30);
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (geteuid() == 0) {
        std::cerr << "Root is refused nothing; use tests/platform/as_nobody\n";
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    testing::AddGlobalTestEnvironment(new Figure);
    return RUN_ALL_TESTS();
}
