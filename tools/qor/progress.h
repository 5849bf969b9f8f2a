// Progress for people who wait, and the moment to stop for those who do not want to.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

namespace tool {

/// Whether this is a terminal that can wipe a line and show colours.
bool isCapableTerminal(int descriptor);

/// Seconds from any moment on.
using Clock = std::function<double()>;

double secondsNow();

/// Tells on a terminal what a run is at, once it has taken longer than half a second; the line is wiped at the end.
class Progress {
 public:
    /// On standard error, if that is a capable terminal.
    Progress();
    Progress(std::FILE* itsOut, bool isItsTerminal, Clock itsClock);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// The next step begins. Throws Interrupted if a signal has asked to stop.
    void step(const std::string& what);

 private:
    std::FILE* out;
    bool isTerminal;
    Clock clock;
    double start;
    bool isShown = false;
};

/// From here on, signals that would end the program let it tidy up first, and writing more than the limit allows is a
/// failure like any other. Then `dieOf` ends the program as the signal would have done.
void catchSignals();
[[noreturn]] void dieOf(int signal);

}  // namespace tool
