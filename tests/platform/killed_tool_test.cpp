// `qor world`, killed while it replaces the results of a former run. Each of its files is the old one or the new one,
// whole; for a kill between two of the files' last steps, a few may be new already and the others still old. (A run
// that is interrupted by Ctrl-C, or that fails, puts all of them back.)
#include <gtest/gtest.h>

#include <fcntl.h>

#include <functional>
#include <map>

#include "platform/kills.h"
#include "platform/platform.h"
#include "support/figures.h"

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;

class KilledTool : public WithFiles {
 protected:
    KilledTool() {
        finish(startTool());
        for (const auto& entry : stdfs::directory_iterator(folder)) {
            const std::string name = entry.path().filename();
            wanted[name] = output(name);
        }
        EXPECT_EQ(wanted.count("world.qbin"), 1u);
    }

    pid_t startTool() const {
        return start([this] {
            dup2(::open("/dev/null", O_WRONLY), STDOUT_FILENO);
            execl(QOR_TOOL, QOR_TOOL, "world", QOR_DATA "/countries-110m.json", "-o", folder.c_str(), "--force",
                  nullptr);
            _exit(127);
        });
    }

    std::string output(const std::string& name) const { return files.content("out/" + name).raw; }

    // The folder as a former run left it, or as if there had been none.
    void putOld(bool isFirstRun) const {
        stdfs::remove_all(folder);
        if (isFirstRun) return;
        stdfs::create_directory(folder);
        for (const auto& [name, bytes] : wanted) files.make("out/" + name, "old " + name);
    }

    void expectOldOrNew(bool isFirstRun) const {
        for (const auto& [name, bytes] : wanted) {
            if (isFirstRun && !stdfs::exists(files.path("out/" + name))) continue;
            const std::string left = output(name);
            EXPECT_TRUE(left == bytes || (!isFirstRun && left == "old " + name)) << name << ": " << left.size();
        }
    }

    // Kills the tool so many times, when `wait` returns; every other time it has no former results to replace. Returns
    // how often it was killed.
    std::uint64_t expectOldOrNewAfter(std::uint64_t kills, const std::function<void()>& wait) const {
        std::uint64_t done = 0;
        while (done < kills && !HasFailure()) {
            SCOPED_TRACE("kill " + std::to_string(done + 1));
            const bool isFirstRun = done % 2 == 1;
            putOld(isFirstRun);
            const pid_t tool = startTool();
            wait();
            if (kill(tool)) ++done;
            expectOldOrNew(isFirstRun);
        }
        return done;
    }

    const std::string folder = files.path("out");
    std::map<std::string, std::string> wanted;  // the bytes of each file, after a run that nobody kills
};

TEST_F(KilledTool, LeavesEachFileOldOrNew) {
    putOld(true);
    RandomMoment moment(finish(startTool()));
    const std::uint64_t least = rounds(100, 2000);
    figure("kills of the tool", expectOldOrNewAfter(least, [&] { moment.wait(); }), least);
}

// The first file in its place is the sign that the others follow.
TEST_F(KilledTool, LeavesEachFileOldOrNewWhileItPutsThemInPlace) {
    const std::string first = files.path("out/world.qbin");
    expectOldOrNewAfter(rounds(10, 200), [&] {
        await([&] {
            std::error_code isMissing;
            return stdfs::file_size(first, isMissing) == wanted["world.qbin"].size();
        });
    });
}

TEST_F(KilledTool, IsMadeUpForByTheNextRun) {
    putOld(false);
    const pid_t tool = startTool();
    await([&] {  // a hidden folder beside the outputs
        return std::distance(stdfs::directory_iterator(folder), {}) > static_cast<std::ptrdiff_t>(wanted.size());
    });
    EXPECT_TRUE(kill(tool));
    expectOldOrNew(false);
    finish(startTool());
    for (const auto& [name, bytes] : wanted) EXPECT_TRUE(output(name) == bytes) << name;
}

}  // namespace
}  // namespace qor::test
