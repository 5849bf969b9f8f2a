// What do numbers cost in a text file, against a bare loop of std::to_chars?
//
// Data      5 million numbers with a space after each: 65536 random ones, over and over. Doubles of 17 digits between
//           0.001 and 1000000000, so that the shortest text is what "%.17g" prints and all ways make the same file;
//           ints of either sign, with as many of one digit as of ten
// Limit     std::to_chars into a hand-written buffer of 1 MiB before write(2)
// Peers     fmt::print to a FILE, with its "{} "; fprintf ("%.17g ", "%d ") and std::ofstream (precision 17), with
// their
//           own buffers
// Check     every written file holds the limit's bytes
#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "qor/file/qor_file.h"
#include "support/bare_io.h"
#include "support/job.h"

namespace {

using Mode = qor::File::Mode;
using Format = qor::File::Format;

constexpr std::size_t kNumbers = 65536;
constexpr int kPasses = 77;
constexpr std::int64_t kWritten = std::int64_t{kNumbers} * kPasses;

// More than any number here needs.
constexpr std::size_t kRoom = 32;

std::string shortest(double value) {
    char text[kRoom];
    return {text, std::to_chars(text, text + kRoom, value).ptr};
}

std::string seventeenDigits(double value) {
    char text[kRoom];
    return {text, static_cast<std::size_t>(std::snprintf(text, kRoom, "%.17g", value))};
}

std::vector<double> makeDoubles() {
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> exponent(-3, 9);
    std::vector<double> doubles;
    while (doubles.size() < kNumbers) {
        const double value = std::pow(10, exponent(random)) * (random() % 2 == 0 ? 1 : -1);
        if (shortest(value) == seventeenDigits(value)) doubles.push_back(value);
    }
    return doubles;
}

std::vector<int> makeInts() {
    std::mt19937_64 random(4);
    std::vector<int> ints(kNumbers);
    for (int& value : ints) {
        const double magnitude = std::uniform_real_distribution<double>(0, std::log10(2147483647.0))(random);
        value = static_cast<int>(std::pow(10, magnitude)) * (random() % 2 == 0 ? 1 : -1);
    }
    return ints;
}

const std::vector<double> kDoubles = makeDoubles();
const std::vector<int> kInts = makeInts();

template <typename T, typename Print>
void forEachNumber(const std::vector<T>& numbers, Print print) {
    for (int pass = 0; pass < kPasses; ++pass) {
        for (const T number : numbers) print(number);
    }
}

template <typename T>
bool writeBare(const std::string& path, const std::vector<T>& numbers) {
    bench::BareWriter out(path);
    forEachNumber(numbers, [&out](T number) {
        char* const text = out.room(kRoom);
        char* const end = std::to_chars(text, text + kRoom - 1, number).ptr;
        *end = ' ';
        out.advance(static_cast<std::size_t>(end + 1 - text));
    });
    return out.close();
}

template <typename T>
bool writeQor(const std::string& path, const std::vector<T>& numbers) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Write, Format::Text)) return false;
    forEachNumber(numbers, [&file](T number) { file << number << ' '; });
    return file.ok() && file.close();
}

template <typename T>
bool writeFmt(const std::string& path, const std::vector<T>& numbers) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    forEachNumber(numbers, [file](T number) { fmt::print(file, "{} ", number); });
    return (std::ferror(file) == 0) & (std::fclose(file) == 0);
}

void printTo(std::FILE* file, double number) { std::fprintf(file, "%.17g ", number); }
void printTo(std::FILE* file, int number) { std::fprintf(file, "%d ", number); }

template <typename T>
bool writeStdio(const std::string& path, const std::vector<T>& numbers) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    forEachNumber(numbers, [file](T number) { printTo(file, number); });
    return (std::ferror(file) == 0) & (std::fclose(file) == 0);
}

template <typename T>
bool writeStream(const std::string& path, const std::vector<T>& numbers) {
    std::ofstream out(path, std::ios::binary);
    out.precision(17);
    forEachNumber(numbers, [&out](T number) { out << number << ' '; });
    out.close();
    return out.good();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string path = bench::pathOf("numbers.txt");
    const auto jobOf = [&path](const std::string& name, double aim, const auto& numbers) {
        const std::string expected = bench::pathOf(name);
        bench::require(writeBare(expected, numbers), "write " + expected);
        return bench::Job{
            .name = name,
            .aim = aim,
            .items = kWritten,
            .prepare = [path] { std::remove(path.c_str()); },
            .check = [path, expected] { return bench::sameContent(path, expected); },
            .ways = {{"qor", [path, &numbers] { return writeQor(path, numbers); }},
                     {"limit", [path, &numbers] { return writeBare(path, numbers); }},
                     {"fmt to a FILE", [path, &numbers] { return writeFmt(path, numbers); }},
                     {"fprintf", [path, &numbers] { return writeStdio(path, numbers); }},
                     {"ofstream", [path, &numbers] { return writeStream(path, numbers); }}},
        };
    };
    return bench::runJobs(argc, argv, {jobOf("doubles as text", 1.05, kDoubles), jobOf("ints as text", 1.15, kInts)});
}
