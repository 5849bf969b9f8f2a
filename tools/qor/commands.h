// The command line: what the commands are, and what every one of them does alike.
#pragma once

#include <functional>
#include <string_view>

namespace CLI {
class App;
}

namespace tool {

/// Runs the command that was chosen, and gives the exit code.
using Run = std::function<int()>;

/// Parses the command line and runs the command that it names. Gives the exit code; messages are on standard error.
int runCommandLine(int argc, char** argv);

/// Prints `qor: MESSAGE` on standard error.
void complain(std::string_view message);

/// Prints a report on standard output. Throws a Failure if not all of it gets there.
void print(std::string_view text);

/// Whether standard output is a capable terminal, and NO_COLOR is not set to anything.
bool wantsColour();

// Each command is a file of its own. It adds itself to `app`, and sets `run` if it is chosen.
void addShowCommand(CLI::App& app, Run& run);
void addTypesCommand(CLI::App& app, Run& run);
void addWorldCommand(CLI::App& app, Run& run);

}  // namespace tool
