// What does a binary file cost, number by number, against the barest loop that makes and reads the same bytes?
//
// Data      50 million values of the twelve types in turn, 44 bytes to every twelve: a table of 4096 random records,
//           over and over, so that the values come from the cache and the time is that of moving them
// Limit     a hand-written buffer of 1 MiB before write(2) and read(2)
// Peers     fwrite and fread to each value, with stdio's own buffer; fwrite_unlocked and fread_unlocked with 1 MiB
//           (setvbuf); std::ofstream and std::ifstream, write() and read(), with their own buffer
// Check     every written file holds the limit's bytes; every value of the last pass over the table is read back
//
// The peers write what the host has in memory, so the check fails on a big-endian one.
#include <stdio.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <random>
#include <vector>

#include "qor/file/qor_file.h"
#include "support/bare_io.h"
#include "support/job.h"

namespace {

using Mode = qor::File::Mode;
using Format = qor::File::Format;

struct Record {
    char character;
    bool truth;
    signed char signedChar;
    unsigned char unsignedChar;
    short signedShort;
    unsigned short unsignedShort;
    int signedInt;
    unsigned int unsignedInt;
    long signedLong;
    unsigned long unsignedLong;
    float single;
    double twice;

    friend bool operator==(const Record&, const Record&) = default;
};

constexpr std::size_t kRecords = 4096;
constexpr int kPasses = 1018;
constexpr std::int64_t kValues = std::int64_t{kRecords} * 12 * kPasses;

// Calls `move` with each value of every record, as often as there are passes.
template <typename Records, typename Move>
void forEachValue(Records& records, Move move) {
    for (int pass = 0; pass < kPasses; ++pass) {
        for (auto& record : records) {
            move(record.character);
            move(record.truth);
            move(record.signedChar);
            move(record.unsignedChar);
            move(record.signedShort);
            move(record.unsignedShort);
            move(record.signedInt);
            move(record.unsignedInt);
            move(record.signedLong);
            move(record.unsignedLong);
            move(record.single);
            move(record.twice);
        }
    }
}

std::vector<Record> makeRecords() {
    std::mt19937_64 random(1);
    std::vector<Record> records(kRecords);
    for (Record& record : records) {
        const auto bits = [&random] { return random(); };
        record = {static_cast<char>(bits()),        bits() % 2 == 1,
                  static_cast<signed char>(bits()), static_cast<unsigned char>(bits()),
                  static_cast<short>(bits()),       static_cast<unsigned short>(bits()),
                  static_cast<int>(bits()),         static_cast<unsigned int>(bits()),
                  static_cast<long>(bits()),        bits(),
                  static_cast<float>(bits()),       static_cast<double>(bits())};
    }
    return records;
}

const std::vector<Record> kTable = makeRecords();
std::vector<Record> readBack(kRecords);

// ---- Writing --------------------------------------------------------------------------------------------------------

bool writeBare(const std::string& path) {
    bench::BareWriter out(path);
    forEachValue(kTable, [&out](const auto& value) { out.append(&value, sizeof(value)); });
    return out.close();
}

bool writeQor(const std::string& path) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Write, Format::Binary)) return false;
    forEachValue(kTable, [&file](const auto& value) { file << value; });
    return file.ok() && file.close();
}

bool writeStdio(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    forEachValue(kTable, [file](const auto& value) { std::fwrite(&value, sizeof(value), 1, file); });
    return (std::ferror(file) == 0) & (std::fclose(file) == 0);
}

bool writeStdioUnlocked(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (!file || std::setvbuf(file, nullptr, _IOFBF, bench::kBareSize) != 0) return false;
    forEachValue(kTable, [file](const auto& value) { fwrite_unlocked(&value, sizeof(value), 1, file); });
    return (std::ferror(file) == 0) & (std::fclose(file) == 0);
}

bool writeStream(const std::string& path) {
    std::ofstream out(path, std::ios::binary);
    forEachValue(kTable,
                 [&out](const auto& value) { out.write(reinterpret_cast<const char*>(&value), sizeof(value)); });
    out.close();
    return out.good();
}

// ---- Reading --------------------------------------------------------------------------------------------------------

bool readBare(const std::string& path) {
    bench::BareReader in(path);
    forEachValue(readBack, [&in](auto& value) { in.take(&value, sizeof(value)); });
    return in.close();
}

bool readQor(const std::string& path) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Read, Format::Binary)) return false;
    forEachValue(readBack, [&file](auto& value) { file >> value; });
    return file.ok() && file.eof() && file.close();
}

bool readStdio(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (!file) return false;
    std::size_t values = 0;
    forEachValue(readBack, [&](auto& value) { values += std::fread(&value, sizeof(value), 1, file); });
    return (values == kValues) & (std::fclose(file) == 0);
}

bool readStdioUnlocked(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (!file || std::setvbuf(file, nullptr, _IOFBF, bench::kBareSize) != 0) return false;
    std::size_t values = 0;
    forEachValue(readBack, [&](auto& value) { values += fread_unlocked(&value, sizeof(value), 1, file); });
    return (values == kValues) & (std::fclose(file) == 0);
}

bool readStream(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    forEachValue(readBack, [&in](auto& value) { in.read(reinterpret_cast<char*>(&value), sizeof(value)); });
    return in.good();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string expected = bench::pathOf("expected.bin");
    const std::string path = bench::pathOf("scalars.bin");
    bench::require(writeBare(expected), "write " + expected);

    const bench::Job write = {
        .name = "binary scalars, write",
        .aim = 1.2,
        .items = kValues,
        .prepare = [&] { std::remove(path.c_str()); },
        .check = [&] { return bench::sameContent(path, expected); },
        .ways = {{"qor", [&] { return writeQor(path); }},
                 {"limit", [&] { return writeBare(path); }},
                 {"fwrite_unlocked 1 MiB", [&] { return writeStdioUnlocked(path); }},
                 {"ofstream", [&] { return writeStream(path); }},
                 {"fwrite", [&] { return writeStdio(path); }}},
    };
    const bench::Job read = {
        .name = "binary scalars, read",
        .aim = 1.25,
        .items = kValues,
        .prepare = [] { std::fill(readBack.begin(), readBack.end(), Record()); },
        .check = [] { return readBack == kTable; },
        .ways = {{"qor", [&] { return readQor(expected); }},
                 {"limit", [&] { return readBare(expected); }},
                 {"fread_unlocked 1 MiB", [&] { return readStdioUnlocked(expected); }},
                 {"ifstream", [&] { return readStream(expected); }},
                 {"fread", [&] { return readStdio(expected); }}},
    };
    return bench::runJobs(argc, argv, {write, read});
}
