// What do short texts cost in a binary file, against the barest loop that makes and reads the same records?
//
// Data      5 million texts of 5 to 40 letters: 16384 random ones, over and over. A record is the length in 8 bytes and
//           the letters
// Limit     a hand-written buffer of 1 MiB before write(2) and read(2). It is given a `const char*` and measures it: a
//           record ends before the text's first zero byte, whatever form the text has, so qor looks for it too. It
//           reads into one std::string, used again and again: like a qor::String this is a text that its reader may
//           keep, of any length and with its end marked, where an array of char would be neither
// Peers     fwrite_unlocked and fread_unlocked with 1 MiB (setvbuf); std::ofstream and std::ifstream with their own
//           buffer; both write a `const char*` and read into a std::string that is used again. "length known" is the
//           limit given a std::string, so that it need not measure
// Check     every written file holds the limit's bytes; of the texts read, lengths, first and last letters are tallied
#include <stdio.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "qor/file/qor_file.h"
#include "support/bare_io.h"
#include "support/job.h"

namespace {

using Mode = qor::File::Mode;
using Format = qor::File::Format;

constexpr std::size_t kTexts = 16384;
constexpr int kPasses = 306;
constexpr std::int64_t kWritten = std::int64_t{kTexts} * kPasses;

std::vector<std::string> makeTexts() {
    std::mt19937_64 random(2);
    std::vector<std::string> texts(kTexts);
    for (std::string& text : texts) {
        for (auto left = 5 + random() % 36; left > 0; --left) text += static_cast<char>('a' + random() % 26);
    }
    return texts;
}

const std::vector<std::string> kTable = makeTexts();

// The same texts in the forms that a program may have them in.
template <typename Text>
std::vector<Text> tableOf() {
    std::vector<Text> texts;
    for (const std::string& text : kTable) texts.push_back(text.c_str());
    return texts;
}
const std::vector<const char*> kPointers = tableOf<const char*>();
const std::vector<qor::String> kStrings = tableOf<qor::String>();

// What a reader makes of the texts, so that they are looked at and can be checked.
struct Tally {
    std::uint64_t sum = 0;

    void add(std::string_view text) {
        sum = sum * 31 + text.size() * 65536 + static_cast<unsigned char>(text.front()) * 256u +
              static_cast<unsigned char>(text.back());
    }

    friend bool operator==(const Tally&, const Tally&) = default;
};

template <typename Texts, typename Move>
void forEachText(const Texts& texts, Move move) {
    for (int pass = 0; pass < kPasses; ++pass) {
        for (const auto& text : texts) move(text);
    }
}

Tally tallyOfAll() {
    Tally tally;
    forEachText(kTable, [&tally](const std::string& text) { tally.add(text); });
    return tally;
}

const Tally kExpected = tallyOfAll();
Tally tallied;

// ---- Writing --------------------------------------------------------------------------------------------------------

// `move(characters, length)` is given each text of the table, measured here if it does not know its length.
template <typename Texts, typename Move>
void forEachRecord(const Texts& texts, Move move) {
    forEachText(texts, [&move](const auto& text) {
        const std::string_view view(text);
        move(view.data(), view.size());
    });
}

template <typename Texts>
bool writeBare(const std::string& path, const Texts& texts) {
    bench::BareWriter out(path);
    forEachRecord(texts, [&out](const char* characters, std::uint64_t length) {
        out.append(&length, sizeof(length));
        out.append(characters, length);
    });
    return out.close();
}

template <typename Texts>
bool writeQor(const std::string& path, const Texts& texts) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Write, Format::Binary)) return false;
    forEachText(texts, [&file](const auto& text) { file << text; });
    return file.ok() && file.close();
}

bool writeStdio(const std::string& path, const std::vector<const char*>& texts) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (!file || std::setvbuf(file, nullptr, _IOFBF, bench::kBareSize) != 0) return false;
    forEachRecord(texts, [file](const char* characters, std::uint64_t length) {
        fwrite_unlocked(&length, sizeof(length), 1, file);
        fwrite_unlocked(characters, 1, length, file);
    });
    return (std::ferror(file) == 0) & (std::fclose(file) == 0);
}

bool writeStream(const std::string& path, const std::vector<const char*>& texts) {
    std::ofstream out(path, std::ios::binary);
    forEachRecord(texts, [&out](const char* characters, std::uint64_t length) {
        out.write(reinterpret_cast<const char*>(&length), sizeof(length));
        out.write(characters, static_cast<std::streamsize>(length));
    });
    out.close();
    return out.good();
}

// ---- Reading --------------------------------------------------------------------------------------------------------

bool readBare(const std::string& path) {
    bench::BareReader in(path);
    std::string text;
    for (std::int64_t i = 0; i < kWritten; ++i) {
        std::uint64_t length = 0;
        in.take(&length, sizeof(length));
        text.resize(length);
        in.take(text.data(), length);
        tallied.add(text);
    }
    return in.close();
}

template <typename Text>
bool readQor(const std::string& path) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Read, Format::Binary)) return false;
    Text text;
    for (std::int64_t i = 0; i < kWritten; ++i) {
        file >> text;
        if constexpr (std::is_same_v<Text, qor::String>) {
            tallied.add(text.view());
        } else {
            tallied.add(text);
        }
    }
    return file.ok() && file.eof() && file.close();
}

bool readStdio(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (!file || std::setvbuf(file, nullptr, _IOFBF, bench::kBareSize) != 0) return false;
    std::string text;
    for (std::int64_t i = 0; i < kWritten; ++i) {
        std::uint64_t length = 0;
        if (fread_unlocked(&length, sizeof(length), 1, file) != 1) break;
        text.resize(length);
        if (fread_unlocked(text.data(), 1, length, file) != length) break;
        tallied.add(text);
    }
    return std::fclose(file) == 0;
}

bool readStream(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string text;
    for (std::int64_t i = 0; i < kWritten; ++i) {
        std::uint64_t length = 0;
        if (!in.read(reinterpret_cast<char*>(&length), sizeof(length))) break;
        text.resize(length);
        if (!in.read(text.data(), static_cast<std::streamsize>(length))) break;
        tallied.add(text);
    }
    return in.good();
}

}  // namespace

int main(int argc, char** argv) {
    const std::string expected = bench::pathOf("expected.bin");
    const std::string path = bench::pathOf("strings.bin");
    bench::require(writeBare(expected, kTable), "write " + expected);

    const bench::Job write = {
        .name = "texts, write",
        .aim = 1.2,
        .items = kWritten,
        .prepare = [&] { std::remove(path.c_str()); },
        .check = [&] { return bench::sameContent(path, expected); },
        .ways = {{"qor, const char*", [&] { return writeQor(path, kPointers); }},
                 {"qor, String", [&] { return writeQor(path, kStrings); }},
                 {"qor, std::string", [&] { return writeQor(path, kTable); }},
                 {"limit", [&] { return writeBare(path, kPointers); }},
                 {"length known", [&] { return writeBare(path, kTable); }},
                 {"fwrite_unlocked 1 MiB", [&] { return writeStdio(path, kPointers); }},
                 {"ofstream", [&] { return writeStream(path, kPointers); }}},
    };
    const bench::Job read = {
        .name = "texts, read",
        .aim = 1.35,
        .items = kWritten,
        .prepare = [] { tallied = Tally(); },
        .check = [] { return tallied == kExpected; },
        .ways = {{"qor, String", [&] { return readQor<qor::String>(expected); }},
                 {"qor, std::string", [&] { return readQor<std::string>(expected); }},
                 {"limit", [&] { return readBare(expected); }},
                 {"fread_unlocked 1 MiB", [&] { return readStdio(expected); }},
                 {"ifstream", [&] { return readStream(expected); }}},
    };
    return bench::runJobs(argc, argv, {write, read});
}
