// Progress for people who wait, and the moment to stop for those who do not want to.
#include "tools/qor/progress.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "tools/qor/failure.h"

namespace tool {
namespace {

constexpr double kPatience = 0.5;  // seconds

volatile std::sig_atomic_t caughtSignal = 0;

extern "C" void keepSignal(int signal) { caughtSignal = signal; }

}  // namespace

bool isCapableTerminal(int descriptor) {
    const char* const kind = std::getenv("TERM");
    return isatty(descriptor) == 1 && kind && std::string_view(kind) != "dumb";
}

double secondsNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Progress::Progress() : Progress(stderr, isCapableTerminal(STDERR_FILENO), secondsNow) {}

Progress::Progress(std::FILE* itsOut, bool isItsTerminal, Clock itsClock)
    : out(itsOut), isTerminal(isItsTerminal), clock(std::move(itsClock)), start(clock()) {}

Progress::~Progress() {
    if (!isShown) return;
    std::fputs("\r\033[K", out);
    std::fflush(out);
}

void Progress::step(const std::string& what) {
    if (caughtSignal != 0) throw Interrupted{caughtSignal};
    if (!isTerminal || clock() - start <= kPatience) return;
    isShown = true;
    std::fprintf(out, "\r\033[Kqor: %s ...", what.c_str());
    std::fflush(out);
}

void catchSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before;
        if (sigaction(signal, nullptr, &before) != 0 || before.sa_handler == SIG_IGN) continue;
        struct sigaction keep = {};
        keep.sa_handler = keepSignal;
        keep.sa_flags = SA_RESTART;
        sigaction(signal, &keep, nullptr);
    }
    std::signal(SIGXFSZ, SIG_IGN);
}

void dieOf(int signal) {
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::abort();
}

}  // namespace tool
