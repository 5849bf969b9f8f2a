// Processes that are killed without a warning, in the middle of whatever they do.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <random>
#include <thread>

namespace qor::test {

using Microseconds = std::chrono::microseconds;

/// Starts a process that runs `program`, and nothing after it.
template <typename Program>
pid_t start(Program program) {
    const pid_t child = fork();
    if (child == 0) {
        program();
        _exit(0);
    }
    EXPECT_GT(child, 0);
    return child;
}

/// Kills a process, and tells whether it was still running.
inline bool kill(pid_t child) {
    EXPECT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    if (WIFSIGNALED(status)) {
        EXPECT_EQ(WTERMSIG(status), SIGKILL);
        return true;
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
    return false;
}

/// Lets a process run to its end. Returns how long that took.
inline Microseconds finish(pid_t child) {
    const auto begun = std::chrono::steady_clock::now();
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    return std::chrono::duration_cast<Microseconds>(std::chrono::steady_clock::now() - begun);
}

/// Waits until something is so.
template <typename Condition>
void await(Condition isSo) {
    const auto begun = std::chrono::steady_clock::now();
    while (!isSo()) {
        if (std::chrono::steady_clock::now() - begun < std::chrono::minutes(1)) continue;
        ADD_FAILURE() << "it has not come to that within a minute";
        return;
    }
}

/// Waits for a random part of `whole`.
class RandomMoment {
 public:
    explicit RandomMoment(Microseconds whole) : moments(0, whole.count()) {}
    void wait() { std::this_thread::sleep_for(Microseconds(moments(random))); }

 private:
    std::mt19937_64 random{20261121};
    std::uniform_int_distribution<Microseconds::rep> moments;
};

}  // namespace qor::test
