// What do matrices and vectors cost in a binary file, one by one?
//
// Data      2 million records, a Mat4d and a Vec3d in turn: 76 bytes of components on average, from a table of 1024
// Limit     a hand-written buffer of 1 MiB before write(2) and read(2)
// Peers     std::ofstream and std::ifstream, write() and read(), with their own buffer
// Check     every written file holds the limit's bytes; the last pass over the table is read back as it was
#include <cstdio>
#include <fstream>
#include <vector>

#include "qor/file/qor_file.h"
#include "support/bare_io.h"
#include "support/job.h"

namespace {

using qor::math::Mat4d;
using qor::math::Vec3d;
using Mode = qor::File::Mode;
using Format = qor::File::Format;

struct Record {
    Mat4d matrix;
    Vec3d vector;

    friend bool operator==(const Record&, const Record&) = default;
};

constexpr std::size_t kRecords = 1024;
constexpr int kPasses = 977;
constexpr std::int64_t kValues = std::int64_t{kRecords} * 2 * kPasses;

const std::vector<Record> kTable = [] {
    std::vector<Record> table(kRecords);
    double next = 0;
    for (Record& record : table) {
        for (double& component : record.matrix) component = next += 0.37;
        for (double& component : record.vector) component = next += 0.73;
    }
    return table;
}();
std::vector<Record> readBack(kRecords);

template <typename Records, typename Move>
void forEachValue(Records& records, Move move) {
    for (int pass = 0; pass < kPasses; ++pass) {
        for (auto& record : records) {
            move(record.matrix);
            move(record.vector);
        }
    }
}

bool writeBare(const std::string& path) {
    bench::BareWriter out(path);
    forEachValue(kTable, [&out](const auto& value) { out.append(value.data(), sizeof(value)); });
    return out.close();
}

bool writeQor(const std::string& path) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Write, Format::Binary)) return false;
    forEachValue(kTable, [&file](const auto& value) { file << value; });
    return file.ok() && file.close();
}

bool writeStream(const std::string& path) {
    std::ofstream out(path, std::ios::binary);
    forEachValue(kTable,
                 [&out](const auto& value) { out.write(reinterpret_cast<const char*>(value.data()), sizeof(value)); });
    out.close();
    return out.good();
}

bool readBare(const std::string& path) {
    bench::BareReader in(path);
    forEachValue(readBack, [&in](auto& value) { in.take(value.data(), sizeof(value)); });
    return in.close();
}

bool readQor(const std::string& path) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Read, Format::Binary)) return false;
    forEachValue(readBack, [&file](auto& value) { file >> value; });
    return file.ok() && file.eof() && file.close();
}

bool readStream(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    forEachValue(readBack, [&in](auto& value) { in.read(reinterpret_cast<char*>(value.data()), sizeof(value)); });
    return in.good();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string expected = bench::pathOf("expected.bin");
    const std::string path = bench::pathOf("records.bin");
    bench::require(writeBare(expected), "write " + expected);
    const std::vector<bench::Job> jobs = {
        {.name = "Mat4d and Vec3d, write",
         .aim = 1.05,
         .items = kValues,
         .prepare = [&] { std::remove(path.c_str()); },
         .check = [&] { return bench::sameContent(path, expected); },
         .ways = {{"qor", [&] { return writeQor(path); }},
                  {"limit", [&] { return writeBare(path); }},
                  {"ofstream", [&] { return writeStream(path); }}}},
        {.name = "Mat4d and Vec3d, read",
         .aim = 1.05,
         .items = kValues,
         .prepare = [] { readBack.assign(kRecords, Record()); },
         .check = [] { return readBack == kTable; },
         .ways = {{"qor", [&] { return readQor(expected); }},
                  {"limit", [&] { return readBare(expected); }},
                  {"ifstream", [&] { return readStream(expected); }}}},
    };
    return bench::runJobs(argc, argv, jobs);
}
