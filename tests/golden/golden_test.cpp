// The golden files: the library writes their bytes, and reads their values, on every host.
#include "golden/golden.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "qor/core/endian.h"
#include "support/figures.h"
#include "support/test_files.h"

namespace qor::test {
namespace {

const std::string kFolder = QOR_GOLDEN_FILES;

Bytes kept(const std::string& name) { return contentOf(kFolder + "/" + name); }

using GoldenFiles = WithFiles;

TEST_F(GoldenFiles, AreWrittenByteForByte) {
    std::uint64_t identical = 0;
    for (const Golden& golden : goldens()) {
        if (!golden.write) continue;
        SCOPED_TRACE(golden.name);
        EXPECT_TRUE(writeGolden(files.path(""), golden));
        const Bytes bytes = files.content(golden.name);
        EXPECT_EQ(bytes, kept(golden.name));
        if (bytes == kept(golden.name)) ++identical;
    }
    figure("golden files that are written byte for byte", identical, 40);
}

TEST_F(GoldenFiles, GiveBackTheirValues) {
    std::uint64_t right = 0;
    for (const Golden& golden : goldens()) {
        const bool isRight = readGolden(kFolder, golden);
        EXPECT_TRUE(isRight) << golden.name;
        if (isRight) ++right;
    }
    figure("golden files that give back their values", right, 40);
}

TEST_F(GoldenFiles, AreAllInTheCatalogueOnce) {
    std::multiset<std::string> listed, lying;
    for (const Golden& golden : goldens()) listed.insert(golden.name);
    for (const auto& file : std::filesystem::directory_iterator(kFolder)) lying.insert(file.path().filename().string());
    EXPECT_EQ(listed, lying);
}

// A reader that took everything for right would let all of the above pass.
TEST_F(GoldenFiles, WhoseLastByteIsAnotherAreToldApart) {
    for (const Golden& golden : goldens()) {
        std::string bytes = kept(golden.name).raw;
        bytes.back() = static_cast<char>(bytes.back() ^ 0x15);
        files.make(golden.name, bytes);
        EXPECT_FALSE(readGolden(files.path(""), golden)) << golden.name;
    }
}

// Deliberate: the memory parsers take the lengths of a header in the host's byte order, not in the file's.
TEST_F(GoldenFiles, HaveBlocksWhoseLengthsTheMemoryParsersDoNotTurn) {
    const std::string raw = kept("block_zlib_sentence").raw;
    const auto* const block = reinterpret_cast<const unsigned char*>(raw.data());
    Compression kind;
    unsigned long payloadSize = 0;
    unsigned long contentSize = 0;
    unsigned char* payload = nullptr;
    ASSERT_TRUE(File::decodeRawFileBlock(block, kind, payloadSize, contentSize, payload));
    EXPECT_EQ(payloadSize, isLittleEndian ? 52u : 0x3400000000000000u);
    EXPECT_EQ(contentSize, isLittleEndian ? 60u : 0x3c00000000000000u);
    EXPECT_EQ(payload, block + 21);
}

}  // namespace
}  // namespace qor::test
