// Signals. The library catches none, leaves each as the program set it, and tells of what one interrupted as it tells
// of any other failure.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <vector>

#include "platform/platform.h"

namespace qor::test {
namespace {

volatile std::sig_atomic_t alarms = 0;

// As long as it lives, an alarm strikes this process again and again. The handler only counts; `flags` are those of
// sigaction: without SA_RESTART, an alarm interrupts a call that waits.
class Alarm {
 public:
    Alarm(long microseconds, int flags) {
        alarms = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { alarms = alarms + 1; };
        action.sa_flags = flags;
        EXPECT_EQ(sigaction(SIGALRM, &action, &before), 0);
        const itimerval timer = {{0, microseconds}, {0, microseconds}};
        EXPECT_EQ(setitimer(ITIMER_REAL, &timer, nullptr), 0);
    }
    ~Alarm() {
        const itimerval none = {};
        setitimer(ITIMER_REAL, &none, nullptr);
        sigaction(SIGALRM, &before, nullptr);
    }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

 private:
    struct sigaction before = {};
};

class Signals : public WithFiles {
 protected:
    const std::string bytes = pattern(4 * kMiB);
    const std::string path = files.path("a");
};

TEST_F(Signals, ThatStrikeWhileAFileIsWrittenChangeNothing) {
    for (const int flags : {0, SA_RESTART}) {
        {
            const Alarm alarm(100, flags);
            int rounds = 0;
            do {
                File file = opened(path, Mode::Write, Format::Binary);
                for (std::size_t i = 0; i < kMiB; ++i) ASSERT_TRUE(file.write(bytes[i])) << file.error();
                ASSERT_TRUE(file.write(bytes.data() + kMiB, 3 * kMiB, Compression::None)) << file.error();
                EXPECT_EQ(after(true, file), (Outcome{true, "", 0, 4 * kMiB, true}));
                EXPECT_EQ(after(file.close(), file), (Outcome{true, "", 0, 0, true}));
            } while (++rounds < 16 || alarms < 100);
        }
        EXPECT_TRUE(files.content("a").raw == bytes);
    }
}

TEST_F(Signals, ThatStrikeWhileAFileIsReadChangeNothing) {
    files.make("a", bytes);
    for (const int flags : {0, SA_RESTART}) {
        std::string got(4 * kMiB, '\0');
        const Alarm alarm(100, flags);
        int rounds = 0;
        do {
            File file = opened(path, Mode::Read, Format::Binary);
            got.assign(got.size(), '-');
            for (std::size_t i = 0; i < kMiB; ++i) ASSERT_TRUE(file.read(got[i])) << file.error();
            const BufRef rest = {.ptr = got.data() + kMiB, .type = DataType::Char, .count = 3 * kMiB};
            ASSERT_TRUE(file.read(rest)) << file.error();
            EXPECT_EQ(after(true, file), (Outcome{true, "", 4 * kMiB, 4 * kMiB, true}));
            EXPECT_TRUE(got == bytes);
        } while (++rounds < 16 || alarms < 100);
    }
}

// A pipe holds less than what is written here, and nobody reads it; so the write waits until it is interrupted.
TEST_F(Signals, ThatInterruptAWriteToAPipeFailIt) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int both = ::open(path.c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_GE(both, 0);
    const std::string room = std::to_string(fcntl(both, F_GETPIPE_SZ));
    File file = opened(path, Mode::Write, Format::Binary);
    {
        const Alarm alarm(10'000, 0);
        EXPECT_EQ(after(file.write(bytes.data(), bytes.size(), Compression::None), file),
                  (Outcome{false, "Fwrite failed. Requested 0, read " + room + ".", 0, 0, true}));
    }
    EXPECT_GE(alarms, 1);
    ::close(both);
}

TEST_F(Signals, ThatInterruptAnOpenWhichWaitsForAWriterRefuseIt) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const Alarm alarm(10'000, 0);
    File file;
    EXPECT_EQ(afterOpen(file, path, Mode::Read), kRefused);
    EXPECT_GE(alarms, 1);
}

TEST_F(Signals, StayAsTheProgramSetThem) {
    std::vector<struct sigaction> before(NSIG), then(NSIG);
    for (int signal = 1; signal < NSIG; ++signal) sigaction(signal, nullptr, &before[static_cast<std::size_t>(signal)]);
    sigset_t blockedBefore, blockedThen;
    pthread_sigmask(SIG_SETMASK, nullptr, &blockedBefore);

    File file = opened(path, Mode::Write, Format::Binary);
    EXPECT_TRUE(file.write(bytes.data(), bytes.size(), Compression::Zstd));
    EXPECT_TRUE(file.close());
    ASSERT_TRUE(file.open(path.c_str(), Mode::Read, Format::Binary));
    ds::Vector<unsigned char> back;
    EXPECT_TRUE(file.read(back, Compression::Zstd));

    pthread_sigmask(SIG_SETMASK, nullptr, &blockedThen);
    for (int signal = 1; signal < NSIG; ++signal) {
        const auto at = static_cast<std::size_t>(signal);
        sigaction(signal, nullptr, &then[at]);
        EXPECT_EQ(then[at].sa_handler, before[at].sa_handler) << signal;
        EXPECT_EQ(then[at].sa_flags, before[at].sa_flags) << signal;
        EXPECT_EQ(sigismember(&blockedThen, signal), sigismember(&blockedBefore, signal)) << signal;
    }
}

}  // namespace
}  // namespace qor::test
