// Damaged files: whatever is wrong with one, each reader ends with a result and, where that is false, with a text; at
// once, without an exception, and with little memory. Run under the sanitizers this is also where they look.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "golden/golden.h"
#include "golden/memory_file.h"
#include "support/figures.h"
#include "support/heap.h"

namespace qor::test {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::uint64_t kMiB = 1 << 20;
constexpr auto kMostTime = 100ms;
constexpr auto kLongTime = 2ms;
constexpr int kMostComplaints = 20;  // who has read so many learns nothing from more

/// The golden files' bytes, in the order of the catalogue.
std::vector<std::string> contents() {
    std::vector<std::string> contents;
    for (const Golden& golden : goldens()) {
        std::ifstream in(std::string(QOR_GOLDEN_FILES) + "/" + golden.name, std::ios::binary);
        contents.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        EXPECT_FALSE(contents.back().empty()) << golden.name;
    }
    return contents;
}

/// Reads damaged files, and counts them.
class Readers {
 public:
    /// Lets the reader of the file read these bytes, and two readers of other files.
    template <typename What>
    void read(const std::string& bytes, std::size_t which, What what) {
        MemoryFile::bytes = bytes;
        for (const std::size_t distance : {0U, 5U, 37U}) {
            const Golden& reader = goldens()[(which + distance) % goldens().size()];
            const Seen seen = look(reader);
            slowest = std::max(slowest, seen.time);
            most = std::max(most, seen.memory);
            if (seen.isWell(bytes.size()) || ++complaints > kMostComplaints) continue;
            ADD_FAILURE() << goldens()[which].name << ' ' << what() << ", read as " << reader.name << ": "
                          << (seen.threw ? "an exception, " : "") << (seen.saysWhy ? "" : "false without a text, ")
                          << seen.memory << " bytes of memory, " << std::chrono::nanoseconds(seen.time).count()
                          << " ns";
        }
        ++inputs;
    }

    void tell() const {
        std::cout << "slowest reading: " << std::chrono::duration_cast<std::chrono::microseconds>(slowest).count()
                  << " us\n";
        std::cout << "most memory: " << most << " bytes\n";
    }

    std::uint64_t inputs = 0;

 private:
    struct Seen {
        bool threw = false;
        bool saysWhy = true;
        std::size_t memory = 0;
        Clock::duration time = Clock::duration::max();

        bool isWell(std::uint64_t size) const {
            return !threw && saysWhy && memory <= 2 * size + kMiB && time < kMostTime;
        }
    };

    Seen look(const Golden& reader) {
        Seen seen;
        // What takes long once may have had to wait for the machine; what takes long each time, does.
        for (int attempt = 0; attempt < 5 && seen.time >= kLongTime; ++attempt) {
            const auto start = Clock::now();
            try {
                seen.memory = peakOf([&] {
                    if (!file.open("memory", File::Mode::Read, reader.format)) seen.saysWhy = false;
                    seen.saysWhy = seen.saysWhy && reader.read(file).saysWhy;
                });
            } catch (...) {
                seen.threw = true;
            }
            seen.time = std::min(seen.time, Clock::now() - start);
        }
        return seen;
    }

    File file;
    Clock::duration slowest{};
    std::size_t most = 0;
    int complaints = 0;
};

// ---- All that is listed ---------------------------------------------------------------------------------------------

constexpr unsigned char kByteValues[] = {0x00, 0x01, ' ', '.', '9', 0x7f, 0x80, 0xff};

/// At these, sizes and counts wrap, grow a byte longer, or exceed what a buffer or a memory holds; and `left` is what
/// the file holds behind the number.
std::array<std::uint64_t, 24> fieldValues(std::uint64_t left) {
    const auto power = [](int exponent) { return std::uint64_t{1} << exponent; };
    const std::uint64_t largest = ~std::uint64_t{0};
    return {0,         1,         8,         left - 1,      left,      left + 1,      power(8) - 1, power(16) - 1,
            power(16), kMiB - 1,  kMiB,      kMiB + 1,      power(31), power(32) - 1, power(32),    power(40),
            power(60), power(61), power(62), power(63) - 1, power(63), largest - 8,   largest - 7,  largest};
}

void setField(std::string& bytes, std::size_t at, std::uint64_t value) {
    for (std::size_t i = 0; i < 8; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i) & 0xff);
}

void readCut(Readers& readers, const std::string& bytes, std::size_t which) {
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        readers.read(bytes.substr(0, size), which, [&] { return "cut to " + std::to_string(size) + " bytes"; });
    }
}

void readWithOtherBytes(Readers& readers, const std::string& bytes, std::size_t which) {
    std::string damaged = bytes;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        for (const unsigned char value : kByteValues) {
            damaged[at] = static_cast<char>(value);
            if (damaged[at] == bytes[at]) continue;
            readers.read(damaged, which,
                         [&] { return "with the byte " + std::to_string(value) + " at " + std::to_string(at); });
        }
        damaged[at] = bytes[at];
    }
}

void readWithOtherFields(Readers& readers, const std::string& bytes, std::size_t which) {
    std::string damaged = bytes;
    for (std::size_t at = 0; at + 8 <= bytes.size(); ++at) {
        for (const std::uint64_t value : fieldValues(bytes.size() - at - 8)) {
            setField(damaged, at, value);
            readers.read(damaged, which,
                         [&] { return "with the number " + std::to_string(value) + " at " + std::to_string(at); });
        }
        damaged.replace(at, 8, bytes, at, 8);
    }
}

// ---- At random ------------------------------------------------------------------------------------------------------

/// Changes a file in up to four places: a byte, a number, a part of another file put in or laid over, a part taken out
/// or doubled.
class Vandal {
 public:
    explicit Vandal(std::uint64_t seed) : chance(seed) {}

    std::size_t below(std::size_t limit) { return limit > 0 ? chance() % limit : 0; }

    void damage(std::string& bytes, const std::string& other) {
        for (std::size_t changes = 1 + below(4); changes > 0; --changes) change(bytes, other);
    }

 private:
    void change(std::string& bytes, const std::string& other) {
        const std::size_t at = below(bytes.size());
        const std::size_t size = below(std::min<std::size_t>(bytes.size() - at, 40) + 1);
        const std::string part = other.substr(below(other.size()), 1 + below(40));
        switch (below(7)) {
            case 0:
                if (!bytes.empty()) bytes[at] = static_cast<char>(chance());
                break;
            case 1:
                if (!bytes.empty()) bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(8)));
                break;
            case 2:
                if (bytes.size() >= at + 8) setField(bytes, at, chance() >> below(64));
                break;
            case 3:
                bytes.insert(at, part);
                break;
            case 4:
                bytes.replace(at, std::min(part.size(), bytes.size() - at), part);
                break;
            case 5:
                bytes.erase(at, size);
                break;
            default:
                bytes.insert(at, bytes, at, size);
        }
    }

    std::mt19937_64 chance;
};

// Another one each time, unless QOR_TEST_SEED names the one to repeat.
std::uint64_t seed() {
    const char* const given = std::getenv("QOR_TEST_SEED");
    const std::uint64_t chosen = given ? std::strtoull(given, nullptr, 10) : std::random_device()();
    std::cout << "QOR_TEST_SEED=" << chosen << '\n';
    return chosen;
}

void readVandalised(Readers& readers, const std::vector<std::string>& all, std::uint64_t inputs) {
    Vandal vandal(seed());
    while (readers.inputs < inputs) {
        const std::size_t which = vandal.below(all.size());
        std::string bytes = all[which];
        vandal.damage(bytes, all[vandal.below(all.size())]);
        const std::uint64_t n = readers.inputs;
        readers.read(bytes, which, [&] { return "damaged at random, as input " + std::to_string(n); });
    }
}

// In two parts, which can be run side by side.
class DamagedFiles : public ::testing::TestWithParam<std::size_t> {};

TEST_P(DamagedFiles, EndInAResultAndAText) {
    Readers readers;
    const std::vector<std::string> all = contents();
    for (std::size_t which = GetParam(); which < all.size(); which += isBrief() ? 40 : 2) {
        readCut(readers, all[which], which);
        readWithOtherBytes(readers, all[which], which);
        readWithOtherFields(readers, all[which], which);
    }
    readVandalised(readers, all, rounds(readers.inputs + 10'000, 2'500'000));
    readers.tell();
    figure("damaged files read by three readers each, part " + std::to_string(GetParam() + 1) + " of 2", readers.inputs,
           rounds(250'000, 2'500'000));
}

INSTANTIATE_TEST_SUITE_P(Half, DamagedFiles, ::testing::Values(0, 1));

}  // namespace
}  // namespace qor::test
