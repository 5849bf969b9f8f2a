// How a run of the tool ends, and the exception that ends it early.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tool {

enum ExitCode {
    kAllWell = 0,
    kDiffers = 1,     // what was read is not what was written, or not what a layout says
    kWrongUsage = 2,  // of the command line
    kCannot = 3,      // read or write
};

/// Ends the run with kCannot and the message `qor: SUBJECT: WHAT`.
class Failure : public std::runtime_error {
 public:
    Failure(std::string_view subject, std::string_view what)
        : std::runtime_error(std::string(subject).append(": ").append(what)) {}
};

/// Ends the run as the signal would have done, once everything is tidied up.
struct Interrupted {
    int signal;
};

}  // namespace tool
