// The command line: what the commands are, and what every one of them does alike.
#include "tools/qor/commands.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "tools/qor/failure.h"
#include "tools/qor/progress.h"
#include "tools/qor/text.h"

namespace tool {
namespace {

constexpr const char* kFooter =
    "Exit codes: 0 all well, 1 a value differs or does not fit, 2 wrong usage, 3 cannot read or write.\n"
    "`qor COMMAND --help` tells more about a command.";

std::string helpHint(const CLI::App& app) {
    const std::string name = app.get_parent() ? "qor " + app.get_name() : "qor";
    return fmt::format("`{} --help` shows what there is", name);
}

// What may have been meant by an argument that nothing took.
std::string explain(const CLI::App& app, const std::string& argument) {
    const bool isOption = argument.size() > 1 && argument[0] == '-';
    std::vector<std::string> words;
    if (isOption) {
        for (const CLI::Option* option : app.get_options()) {
            for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
        }
    } else {
        for (const CLI::App* command : app.get_subcommands(nullptr)) words.push_back(command->get_name());
    }
    const char* const kind = isOption ? "unknown option" : words.empty() ? "unexpected argument" : "unknown command";
    const std::string meant = nearest(argument, words);
    const std::string advice = meant.empty() ? helpHint(app) : "did you mean " + meant + "?";
    return fmt::format("{}: {}; {}", argument, kind, advice);
}

// Refuses what no option and no command took.
void checkExtras(const CLI::App& app) {
    std::vector<std::string> extras = app.remaining();
    std::erase(extras, "--");
    if (!extras.empty()) throw CLI::ExtrasError(explain(app, extras.front()), CLI::ExitCodes::ExtrasError);
    for (const CLI::App* command : app.get_subcommands()) checkExtras(*command);
}

int runGuarded(const Run& run) {
    try {
        return run();
    } catch (const Interrupted& interrupted) {
        dieOf(interrupted.signal);
    } catch (const std::bad_alloc&) {
        complain("out of memory");
    } catch (const std::exception& failure) {
        complain(failure.what());
    }
    return kCannot;
}

}  // namespace

int runCommandLine(int argc, char** argv) {
    Run run;
    CLI::App app("qor stores values in files through the qor library, and looks at such files.", "qor");
    app.footer(kFooter);
    app.set_version_flag("--version", "qor " QOR_VERSION);
    app.allow_extras();
    addShowCommand(app, run);
    addTypesCommand(app, run);
    addWorldCommand(app, run);
    for (CLI::App* command : app.get_subcommands(nullptr)) command->allow_extras();
    try {
        app.parse(argc, argv);
        checkExtras(app);
    } catch (const CLI::CallForHelp&) {
        return runGuarded([&] {
            const std::vector<CLI::App*> chosen = app.get_subcommands();
            print(chosen.empty() ? app.help() : chosen.front()->help("qor"));
            return kAllWell;
        });
    } catch (const CLI::CallForVersion& version) {
        return runGuarded([&] {
            print(std::string(version.what()) + '\n');
            return kAllWell;
        });
    } catch (const CLI::ParseError& error) {
        complain(error.what());
        return kWrongUsage;
    }
    if (!run) {
        complain("no command given; `qor --help` shows what there is");
        return kWrongUsage;
    }
    catchSignals();
    return runGuarded(run);
}

void complain(std::string_view message) { std::fputs(fmt::format("qor: {}\n", message).c_str(), stderr); }

void print(std::string_view text) {
    errno = 0;
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (std::fflush(stdout) != 0 || !written || std::ferror(stdout)) {
        throw Failure("standard output", reasonOf(errno) + "; the report is not complete, send it somewhere else");
    }
}

bool wantsColour() {
    const char* const noColour = std::getenv("NO_COLOR");
    return isCapableTerminal(STDOUT_FILENO) && (!noColour || !*noColour);
}

}  // namespace tool
