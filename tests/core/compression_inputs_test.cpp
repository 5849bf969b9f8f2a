// Some hundred inputs of every sort and size through each kind of compression, against the public library and the
// public tool of its format, at each of their levels and in both directions. Sizes and settings in all their
// combinations are in compression_peers_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "qor/core/compression.h"
#include "support/figures.h"
#include "support/made_data.h"
#include "support/peers.h"
#include "support/test_files.h"

namespace qor::test {
namespace {

using Vector = ds::Vector<unsigned char>;
using ByteVector = std::vector<unsigned char>;

constexpr std::uint64_t kUsualInputs = 300;
constexpr std::uint64_t kMostInputs = 5000;

Vector compressed(View bytes, Compression kind) { return compress(bytes.data(), bytes.size(), false, kind); }

bool restores(View payload, View bytes) {
    Vector copy;
    if (!copy.resizeForOverwrite(payload.size())) return false;
    std::ranges::copy(payload, copy.begin());
    return std::ranges::equal(decompress(copy, false, bytes.size()), bytes);
}

/// Something of each sort, one after the other.
ByteVector mixture(std::size_t size, std::uint64_t seed) {
    ByteVector bytes = textBytes(size / 2, seed);
    for (const ByteVector& part : {randomBytes(size / 4, seed), bytes, constantBytes(size / 8)}) {
        bytes.insert(bytes.end(), part.begin(), part.end());
    }
    bytes.resize(size);
    return bytes;
}

/// The n-th input: another sort each time, and sizes of which there are as many from 1 to 10 as from 10 to 100, and so
/// on up to 20,000.
ByteVector input(std::uint64_t n) {
    std::mt19937_64 random(n);
    const double share = static_cast<double>(random() % 10'000) / 10'000;
    const auto size = static_cast<std::size_t>(std::pow(20'000.0, share));
    switch (n % 8) {
        case 0:
            return textBytes(size, n);
        case 1:
            return randomBytes(size, n);
        case 2:
            return periodicBytes(size, 1 + random() % 300);
        case 3:
            return surfaceFloats(size);
        case 4:
            return noisyPixels(size);
        case 5:
            return gridTriangles(size);
        case 6:
            return mixture(size, n);
        default:
            return constantBytes(size);
    }
}

/// One kind of compression, and the tool of its format as it makes and restores many files at once.
struct Kind {
    const char* name;
    Compression kind;
    const char* ending;
    const char* restore;
    const char* store;  // and the level behind it
    int leastLevel;
    int mostLevel;
};

class Inputs : public WithFiles, public ::testing::WithParamInterface<Kind> {
 protected:
    Compression kind = GetParam().kind;
    std::uint64_t inputs = rounds(kUsualInputs, kMostInputs);

    void tell(const char* with) const {
        figure(std::string("inputs through ") + GetParam().name + ", both ways with " + with, inputs,
               rounds(kUsualInputs, kMostInputs));
    }

    /// In the folder of the test's files.
    void run(const std::string& command) const {
        ASSERT_EQ(std::system(("cd '" + files.path("") + "' && " + command).c_str()), 0) << command;
    }

    std::string fileOf(std::uint64_t n) const { return "input" + std::to_string(n); }
    std::string streamOf(std::uint64_t n) const { return fileOf(n) + GetParam().ending; }
};

TEST_P(Inputs, GoBothWaysWithTheLibrary) {
    const std::vector<PeerSetting> settings = peerSettings(kind);
    for (std::uint64_t n = 0; n < inputs; ++n) {
        SCOPED_TRACE("input " + std::to_string(n));
        const ByteVector bytes = input(n);
        const Vector ours = compressed(bytes, kind);
        const auto restored = peerDecode(kind, {ours.data(), ours.size()}, bytes.size());
        ASSERT_TRUE(restored && *restored == bytes);
        for (const PeerSetting& setting : settings) {
            if (setting.takesMuchMemory && n % 50 != 0) continue;  // which takes much time too
            ASSERT_TRUE(restores(setting.encode(bytes), bytes)) << setting.name;
        }
    }
    tell("its library");
}

std::string textOf(View bytes) { return {bytes.begin(), bytes.end()}; }

TEST_P(Inputs, GoBothWaysWithTheTool) {
    std::vector<std::string> contents;
    for (std::uint64_t n = 0; n < inputs; ++n) {
        contents.push_back(textOf(input(n)));
        const Vector ours = compressed(input(n), kind);
        files.make(streamOf(n), textOf({ours.data(), ours.size()}));
    }
    run(std::string(GetParam().restore) + " *" + GetParam().ending);
    for (std::uint64_t n = 0; n < inputs; ++n) ASSERT_EQ(files.content(fileOf(n)), Bytes{contents[n]}) << n;

    for (int level = GetParam().leastLevel; level <= GetParam().mostLevel; ++level) {
        SCOPED_TRACE("level " + std::to_string(level));
        run("rm *" + std::string(GetParam().ending));
        run(GetParam().store + std::to_string(level) + " input*");
        for (std::uint64_t n = 0; n < inputs; ++n) {
            const std::string stream = files.content(streamOf(n)).raw;
            const auto view = [](const std::string& raw) {
                return View(reinterpret_cast<const unsigned char*>(raw.data()), raw.size());
            };
            ASSERT_TRUE(restores(view(stream), view(contents[n]))) << "input " << n;
        }
    }
    tell("its tool");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Inputs,
    ::testing::Values(Kind{"LZ4", Compression::Lz4, ".lz4", "lz4 -q -f -d -m", "lz4 -q -f -m -", 1, 12},
                      Kind{"zlib", Compression::Zlib, ".zz", "pigz -f -k -d", "pigz -f -k -z -", 0, 9},
                      Kind{"Zstandard", Compression::Zstd, ".zst", "zstd -q -f -d", "zstd -q -f -", 1, 19}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace qor::test
