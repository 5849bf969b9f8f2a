// Programs that are killed while they write. What is in the file by then is the beginning of what it was to hold: the
// buffer is handed on whole, and in order.
#include <gtest/gtest.h>

#include "platform/kills.h"
#include "platform/platform.h"
#include "support/figures.h"

namespace qor::test {
namespace {

constexpr int kRounds = 16;
constexpr int kNumbers = 10'000;

// Numbers and short texts, which are staged, and bytes that are too many for that.
std::string textOf(int round) { return std::string(static_cast<std::size_t>(1000 * round + 1), 't'); }
std::string manyOf(int round) { return pattern(kMiB + static_cast<std::uint64_t>(round)); }

void writeBinary(File& file) {
    for (int round = 0; round < kRounds; ++round) {
        for (int number = 0; number < kNumbers; ++number) file << number;
        file << textOf(round);
        file.write(manyOf(round).data(), manyOf(round).size(), Compression::None);
    }
}

void writeText(File& file) {
    for (int round = 0; round < kRounds; ++round) {
        for (int number = 0; number < kNumbers; ++number) file << number << '\n';
        file << textOf(round) << manyOf(round);
    }
}

std::string binaryBytes() {
    std::string bytes;
    for (int round = 0; round < kRounds; ++round) {
        for (int number = 0; number < kNumbers; ++number) {
            for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xff);
        }
        bytes += record(textOf(round)) + manyOf(round);
    }
    return bytes;
}

std::string textBytes() {
    std::string bytes;
    for (int round = 0; round < kRounds; ++round) {
        for (int number = 0; number < kNumbers; ++number) bytes += std::to_string(number) + '\n';
        bytes += textOf(round) + manyOf(round);
    }
    return bytes;
}

class KilledWriter : public WithFiles {
 protected:
    // Kills the writer at random moments, so many times in the middle of the file, and returns how often that was.
    std::uint64_t expectBeginnings(std::uint64_t kills, Format format, void (*write)(File&), const std::string& all) {
        const std::string path = files.path("a");
        const auto program = [&] {
            File file;
            if (!file.open(path.c_str(), Mode::Write, format)) _exit(1);
            write(file);
            if (!file.ok() || !file.close()) _exit(2);
        };
        RandomMoment moment(finish(start(program)));
        EXPECT_TRUE(files.content("a").raw == all);

        std::uint64_t inTheMiddle = 0;
        while (inTheMiddle < kills && !HasFailure()) {
            files.make("a", "");
            const pid_t writer = start(program);
            moment.wait();
            if (!kill(writer)) continue;
            const std::string left = files.content("a").raw;
            EXPECT_TRUE(all.starts_with(left)) << left.size() << " bytes";
            if (!left.empty() && left != all) ++inTheMiddle;
        }
        return inTheMiddle;
    }
};

TEST_F(KilledWriter, LeavesTheBeginningOfWhatItWrote) {
    const std::uint64_t least = rounds(100, 2000);
    const std::uint64_t kills = expectBeginnings(least / 2, Format::Binary, writeBinary, binaryBytes()) +
                                expectBeginnings(least / 2, Format::Text, writeText, textBytes());
    figure("kills of a program that writes", kills, least);
}

}  // namespace
}  // namespace qor::test
