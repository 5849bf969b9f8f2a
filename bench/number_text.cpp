// What do numbers cost in a text file, one by one and as arrays, against bare loops of std::to_chars and
// std::from_chars?
//
// Data      5 million numbers with a space after each, or as arrays with a space between any two: 65536 random ones,
// over and over. Doubles of 17 digits between
//           0.001 and 1000000000, so that the shortest text is what "%.17g" prints and all ways make the same file;
//           ints of either sign, with as many of one digit as of ten
// Limit     std::to_chars into a hand-written buffer of 1 MiB before write(2); std::from_chars on one behind read(2)
// Peers     fmt::print to a FILE, with its "{} "; fprintf ("%.17g ", "%d ") and std::ofstream (precision 17), with
// their
//           own buffers; for reading fscanf and std::ifstream
// Check     every written file holds the limit's bytes; what is read is what was written
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <span>
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

// ---- Arrays ---------------------------------------------------------------------------------------------------------

// All numbers in a row, and where they are read to.
template <typename T>
struct Array {
    explicit Array(const std::vector<T>& numbers) {
        values.reserve(kWritten);
        forEachNumber(numbers, [this](T number) { values.push_back(number); });
    }

    std::vector<T> values;
    std::vector<T> readBack;
};

template <typename T>
bool writeArrayBare(const std::string& path, const Array<T>& array) {
    bench::BareWriter out(path);
    bool isFirst = true;
    for (const T number : array.values) {
        char* const text = out.room(kRoom);
        char* at = text;
        if (!isFirst) *at++ = ' ';
        isFirst = false;
        out.advance(static_cast<std::size_t>(std::to_chars(at, text + kRoom, number).ptr - text));
    }
    return out.close();
}

template <typename T>
bool writeArrayQor(const std::string& path, const Array<T>& array) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Write, Format::Text)) return false;
    file << qor::bufRef(std::span(array.values));
    return file.ok() && file.close();
}

// A buffer of 1 MiB behind read(2), whose last, cut number is moved to the front before more is read.
template <typename T>
bool readArrayBare(const std::string& path, Array<T>& array) {
    const int file = ::open(path.c_str(), O_RDONLY);
    std::vector<char> buffer(bench::kBareSize);
    const char* from = buffer.data();
    const char* end = from;
    bool more = true;
    bool done = true;
    for (T& number : array.readBack) {
        if (more && end - from < static_cast<std::ptrdiff_t>(kRoom)) {
            const std::size_t left = static_cast<std::size_t>(end - from);
            std::copy(from, end, buffer.data());
            const ssize_t loaded = ::read(file, buffer.data() + left, buffer.size() - left);
            more = loaded > 0;
            from = buffer.data();
            end = from + left + (more ? loaded : 0);
        }
        const auto result = std::from_chars(from, end, number);
        done = done && result.ec == std::errc();
        from = result.ptr + 1;
    }
    return (::close(file) == 0) & done;
}

// Reading the last number meets the end of the file, which leaves its text.
template <typename T>
bool readArrayQor(const std::string& path, Array<T>& array) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Read, Format::Text)) return false;
    return file.read(qor::bufRef(std::span(array.readBack))) && file.close();
}

bool scanFrom(std::FILE* file, double& number) { return std::fscanf(file, "%lf", &number) == 1; }
bool scanFrom(std::FILE* file, int& number) { return std::fscanf(file, "%d", &number) == 1; }

template <typename T>
bool readArrayStdio(const std::string& path, Array<T>& array) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (!file) return false;
    const bool done =
        std::all_of(array.readBack.begin(), array.readBack.end(), [file](T& number) { return scanFrom(file, number); });
    return (std::fclose(file) == 0) & done;
}

template <typename T>
bool readArrayStream(const std::string& path, Array<T>& array) {
    std::ifstream in(path, std::ios::binary);
    for (T& number : array.readBack) in >> number;
    return !in.fail();
}

template <typename T>
void addArrayJobs(std::vector<bench::Job>& jobs, const std::string& name, double writeAim, double readAim,
                  Array<T>& array) {
    const std::string path = bench::pathOf("array.txt");
    const std::string expected = bench::pathOf(name + " array");
    bench::require(writeArrayBare(expected, array), "write " + expected);
    jobs.push_back({
        .name = name + " array as text, write",
        .aim = writeAim,
        .items = kWritten,
        .prepare = [path] { std::remove(path.c_str()); },
        .check = [path, expected] { return bench::sameContent(path, expected); },
        .ways = {{"qor", [path, &array] { return writeArrayQor(path, array); }},
                 {"limit", [path, &array] { return writeArrayBare(path, array); }}},
    });
    jobs.push_back({
        .name = name + " array as text, read",
        .aim = readAim,
        .items = kWritten,
        .prepare = [&array] { array.readBack.assign(array.values.size(), T()); },
        .check = [&array] { return array.readBack == array.values; },
        .ways = {{"qor", [expected, &array] { return readArrayQor(expected, array); }},
                 {"limit", [expected, &array] { return readArrayBare(expected, array); }},
                 {"fscanf", [expected, &array] { return readArrayStdio(expected, array); }},
                 {"ifstream", [expected, &array] { return readArrayStream(expected, array); }}},
    });
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
    Array<double> doubles(kDoubles);
    Array<int> ints(kInts);
    std::vector<bench::Job> jobs = {jobOf("doubles as text", 1.05, kDoubles), jobOf("ints as text", 1.15, kInts)};
    addArrayJobs(jobs, "doubles", 1.05, 1.05, doubles);
    addArrayJobs(jobs, "ints", 1.15, 1.15, ints);
    return bench::runJobs(argc, argv, jobs);
}
