// Compressed blocks against the public libraries and tools of the same formats, in both directions: what compress()
// makes they restore, and what they make, at each of their levels, decompress() restores. Nothing is accepted that they
// refuse.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "qor/core/compression.h"
#include "support/made_data.h"
#include "support/peers.h"
#include "support/test_files.h"

namespace qor {

void PrintTo(Compression kind, std::ostream* out) {
    constexpr const char* kNames[] = {"None", "Lz4", "Zlib", "Zstd"};
    *out << kNames[static_cast<int>(kind)];
}

namespace test {
namespace {

using Vector = ds::Vector<unsigned char>;

Vector vectorOf(View bytes) {
    Vector vector;
    if (!vector.resizeForOverwrite(bytes.size())) std::abort();
    std::ranges::copy(bytes, vector.begin());
    return vector;
}

View viewOf(const Vector& vector) { return {vector.data(), vector.size()}; }

bool equal(View a, View b) { return std::ranges::equal(a, b); }

// The grid's columns: contents of 1 byte and more, since none is stored for the empty block.
struct Group {
    const char* name;
    std::function<std::vector<Content>()> contents;
};

std::vector<Content> allSizesTo300() {
    std::vector<Content> contents;
    for (std::size_t size = 1; size <= 300; ++size) {
        const std::string bytes = std::to_string(size) + " bytes of ";
        contents.push_back({bytes + "text", textBytes(size)});
        contents.push_back({bytes + "a constant", constantBytes(size)});
        contents.push_back({bytes + "anything", randomBytes(size)});
    }
    return contents;
}

std::vector<Content> allPeriodsTo300() {
    std::vector<Content> contents;
    for (std::size_t period = 1; period <= 300; ++period) {
        contents.push_back({"a period of " + std::to_string(period), periodicBytes(1500, period)});
    }
    return contents;
}

// Where blocks and windows of the formats end.
std::vector<Content> edges() {
    std::vector<Content> contents;
    for (const std::size_t edge : {1U << 15, 1U << 16, 1U << 17}) {
        for (const std::size_t size : {edge - 1, edge, edge + 1}) {
            const std::string bytes = std::to_string(size) + " bytes of ";
            contents.push_back({bytes + "a constant", constantBytes(size)});
            contents.push_back({bytes + "anything", randomBytes(size)});
            contents.push_back({bytes + "text", textBytes(size)});
        }
    }
    return contents;
}

std::vector<Content> aMebibyteAndOne() { return madeContents((1 << 20) + 1); }

// The files of the folder that QOR_TEST_DATA names. Without it, what the project has itself: countries as text, a
// picture, a program, sources.
std::vector<Content> files() {
    if (const char* const folder = std::getenv("QOR_TEST_DATA")) return filesBelow(folder);
    std::vector<Content> contents;
    for (const char* const folder : {"data", "docs", "qor/core"}) {
        for (Content& file : filesBelow(std::filesystem::path(QOR_SOURCE_DIR) / folder)) {
            contents.push_back(std::move(file));
        }
    }
    Content program{"this program", std::vector<unsigned char>(1 << 20)};
    std::ifstream("/proc/self/exe", std::ios::binary).read(reinterpret_cast<char*>(program.bytes.data()), 1 << 20);
    contents.push_back(std::move(program));
    return contents;
}

// The start of each file, for what is slow.
std::vector<Content> startsOfFiles() {
    std::vector<Content> contents = files();
    for (Content& content : contents) content.bytes.resize(std::min<std::size_t>(content.bytes.size(), 50'000));
    return contents;
}

std::string nameOf(Compression kind) { return ::testing::PrintToString(kind); }

class OfEachKind : public ::testing::TestWithParam<std::tuple<Compression, Group>> {
 protected:
    const Compression kind = std::get<0>(GetParam());
    const std::vector<Content> contents = std::get<1>(GetParam()).contents();
};

std::string nameOfRow(const ::testing::TestParamInfo<OfEachKind::ParamType>& row) {
    return nameOf(std::get<0>(row.param)) + std::get<1>(row.param).name;
}

constexpr auto kKinds = {Compression::Lz4, Compression::Zlib, Compression::Zstd};

// ---- What compress() makes ------------------------------------------------------------------------------------------

using PeersRestore = OfEachKind;

TEST_P(PeersRestore, WhatCompressMakes) {
    ASSERT_FALSE(contents.empty());
    for (const auto& [name, bytes] : contents) {
        SCOPED_TRACE(name);
        const Vector payload = compress(bytes.data(), bytes.size(), false, kind);
        const auto restored = peerDecode(kind, viewOf(payload), bytes.size());
        ASSERT_TRUE(restored.has_value()) << payload.size() << " bytes are no stream to the library";
        ASSERT_TRUE(*restored == bytes);

        const Vector text = compress(bytes.data(), bytes.size(), true, kind);
        ASSERT_TRUE(equal(viewOf(text), peerBase64(viewOf(payload)))) << "as text";
        ASSERT_TRUE(equal(viewOf(decompress(text, true, bytes.size())), bytes)) << "as text";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, PeersRestore,
    ::testing::Combine(::testing::ValuesIn(kKinds),
                       ::testing::Values(Group{"AllSizesTo300", allSizesTo300},
                                         Group{"AllPeriodsTo300", allPeriodsTo300}, Group{"Edges", edges},
                                         Group{"AMebibyteAndOne", aMebibyteAndOne}, Group{"Files", files})),
    nameOfRow);

// ---- What decompress() takes ----------------------------------------------------------------------------------------

using DecompressRestores = OfEachKind;

TEST_P(DecompressRestores, WhatEachSettingMakes) {
    ASSERT_FALSE(contents.empty());
    for (const PeerSetting& setting : peerSettings(kind)) {
        SCOPED_TRACE(setting.name);
        for (const auto& [name, bytes] : contents) {
            SCOPED_TRACE(name);
            const std::vector<unsigned char> payload = setting.encode(bytes);
            ASSERT_FALSE(payload.empty()) << "the library makes nothing";
            ASSERT_TRUE(equal(viewOf(decompress(vectorOf(payload), false, bytes.size())), bytes));
            ASSERT_TRUE(equal(viewOf(decompress(vectorOf(peerBase64(payload)), true, bytes.size())), bytes));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, DecompressRestores,
                         ::testing::Combine(::testing::ValuesIn(kKinds),
                                            ::testing::Values(Group{"AllSizesTo300", allSizesTo300},
                                                              Group{"AllPeriodsTo300", allPeriodsTo300},
                                                              Group{"Edges", edges},
                                                              Group{"StartsOfFiles", startsOfFiles})),
                         nameOfRow);

class DecompressRestoresWhole : public ::testing::TestWithParam<Compression> {};

TEST_P(DecompressRestoresWhole, FilesAtSomeLevels) {
    std::vector<Content> contents = files();
    for (Content& made : aMebibyteAndOne()) contents.push_back(std::move(made));
    for (const PeerSetting& setting : peerSettings(GetParam())) {
        if (setting.name != "level 1" && setting.name != "level 6" && setting.name != "level 9") continue;
        SCOPED_TRACE(setting.name);
        for (const auto& [name, bytes] : contents) {
            SCOPED_TRACE(name);
            ASSERT_TRUE(equal(viewOf(decompress(vectorOf(setting.encode(bytes)), false, bytes.size())), bytes));
        }
    }
}

// Far beyond every window, block and 16-bit number.
TEST_P(DecompressRestoresWhole, AHundredMebibytesBothWays) {
    const std::vector<Content> made = madeContents(1 << 20);
    std::vector<unsigned char> bytes;
    bytes.reserve(100 << 20);
    for (std::size_t i = 0; i < 100; ++i) {
        const auto& part = made[i % made.size()].bytes;
        bytes.insert(bytes.end(), part.begin(), part.end());
        bytes[bytes.size() - 1 - i] ^= 0x55;
    }

    const Vector payload = compress(bytes.data(), bytes.size(), false, GetParam());
    EXPECT_TRUE(equal(viewOf(decompress(payload, false, bytes.size())), bytes));
    const auto restored = peerDecode(GetParam(), viewOf(payload), bytes.size());
    ASSERT_TRUE(restored.has_value());
    EXPECT_TRUE(*restored == bytes);

    const std::vector<unsigned char> theirs = peerSettings(GetParam()).front().encode(bytes);
    EXPECT_TRUE(equal(viewOf(decompress(vectorOf(theirs), false, bytes.size())), bytes));
}

INSTANTIATE_TEST_SUITE_P(Kinds, DecompressRestoresWhole, ::testing::ValuesIn(kKinds),
                         [](const auto& row) { return nameOf(row.param); });

// ---- Damage ---------------------------------------------------------------------------------------------------------

class Damaged : public ::testing::TestWithParam<Compression> {};

// Nearly always that is nothing at all. But some bits mean nothing to anybody, such as the unused one in a Zstandard
// descriptor, and Adler-32 sees no difference between 13 8 130 and 12 10 129.
TEST_P(Damaged, ByOneBitGivesNothingThatTheLibraryWouldNotGive) {
    for (const auto& [name, bytes] : madeContents(240)) {
        SCOPED_TRACE(name);
        Vector payload = compress(bytes.data(), bytes.size(), false, GetParam());
        for (std::size_t bit = 0; bit < 8 * payload.size(); ++bit) {
            payload[bit / 8] ^= static_cast<unsigned char>(1U << bit % 8);
            const Vector restored = decompress(payload, false, bytes.size());
            const auto theirs = peerDecode(GetParam(), viewOf(payload), bytes.size());
            EXPECT_TRUE(restored.isEmpty() || (theirs && equal(viewOf(restored), *theirs))) << "bit " << bit;
            payload[bit / 8] ^= static_cast<unsigned char>(1U << bit % 8);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Damaged, ::testing::ValuesIn(kKinds),
                         [](const auto& row) { return nameOf(row.param); });

// ---- The command-line tools -----------------------------------------------------------------------------------------

// Commands read standard input and write standard output.
struct Tool {
    Compression kind;
    const char* restore;
    std::vector<const char*> store;
};

class Tools : public WithFiles, public ::testing::WithParamInterface<Tool> {
 protected:
    std::string output(const std::string& command, View input) const {
        files.make("in", {reinterpret_cast<const char*>(input.data()), input.size()});
        EXPECT_EQ(std::system((command + " < " + files.path("in") + " > " + files.path("out")).c_str()), 0) << command;
        return files.content("out").raw;
    }
};

View viewOf(const std::string& raw) { return {reinterpret_cast<const unsigned char*>(raw.data()), raw.size()}; }

TEST_P(Tools, OpenOurStreamsAndMakeTheirOwn) {
    for (const auto& [name, bytes] : madeContents(300'000)) {
        SCOPED_TRACE(name);
        const Vector ours = compress(bytes.data(), bytes.size(), false, GetParam().kind);
        EXPECT_TRUE(equal(viewOf(output(GetParam().restore, viewOf(ours))), bytes));
        for (const char* const command : GetParam().store) {
            const std::string theirs = output(command, bytes);
            EXPECT_TRUE(equal(viewOf(decompress(vectorOf(viewOf(theirs)), false, bytes.size())), bytes)) << command;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Tools,
    ::testing::Values(Tool{Compression::Lz4, "lz4 -q -d -c", {"lz4 -q -c", "lz4 -q -c -12 -B4 -BD -BX"}},
                      Tool{Compression::Zlib, "pigz -d -c", {"pigz -z -c", "pigz -z -c -9 -b 32 -i"}},
                      Tool{Compression::Zstd, "zstd -q -d -c", {"zstd -q -c", "zstd -q -c -T2 --long=31"}}),
    [](const auto& row) { return nameOf(row.param.kind); });

}  // namespace
}  // namespace test
}  // namespace qor
