// Files whose length lies: a stream that could not tell it, so that all its bits are set, or a system that makes one
// up. The length refuses what is beyond it and is believed in nothing else.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "faults/on_scripted_disk.h"
#include "support/heap.h"

namespace qor::test {
namespace {

using Vector = ds::Vector<unsigned char>;

constexpr std::uint64_t kMiB = 0x100000;

// What the scripted disk notes of its calls.
constexpr std::size_t kNotes = 4096;

std::string count(std::uint64_t n) {
    std::string bytes;
    for (int shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(n >> shift & 0xff);
    return bytes;
}

class UnmeasuredFile : public OnScriptedDisk {
 protected:
    // Opens the file twice as long as it is on the disk: without a length, and with one that a folder can have.
    template <typename Look>
    void eachLie(const std::string& bytes, Format format, Look look) {
        disk.make(kPath, bytes);
        openedWithoutALength(Mode::Read, format);
        look();
        disk.claimLength(kPath, kFolder);
        opened(Mode::Read, format);
        ASSERT_EQ(file.len(), kFolder);
        look();
    }

    static constexpr std::uint64_t kFolder = 0x7FFFFFFFFFFFFFFF;
};

TEST_F(UnmeasuredFile, AsItStandsTakesNoMemory) {
    eachLie("abc", Format::Binary, [this] {
        Vector bytes;
        EXPECT_LE(peakOf([&] { EXPECT_FALSE(file.read(bytes, Compression::None)); }), kNotes);
        EXPECT_TRUE(bytes.isEmpty());
        EXPECT_EQ(file.error(), "Fread failed. Requested 1048576, read 3.");
    });
}

TEST_F(UnmeasuredFile, AsAWholeTextTakesNoMemory) {
    eachLie("abc", Format::Text, [this] {
        EXPECT_LE(peakOf([&] { EXPECT_EQ(file.read(), ""); }), kNotes);
        EXPECT_EQ(file.error(), "Failed to read file.");
        EXPECT_EQ(file.pos(), 0u);
    });
}

TEST_F(UnmeasuredFile, TakesMemoryForTheCharactersThatAreThere) {
    const std::string there = count(900 * kMiB) + std::string(5 * kMiB - 8, 'x');
    disk.make(kPath, there);
    openedWithoutALength(Mode::Read);
    String text("before");
    EXPECT_LE(peakOf([&] { EXPECT_FALSE(file.read(text)); }), 2 * there.size() + kMiB);
    EXPECT_EQ(text, "before");
    EXPECT_EQ(file.error(), "Fread failed. Requested 1048576, read 0.");
}

TEST_F(UnmeasuredFile, TakesMemoryForThePayloadThatIsThere) {
    const std::string there = ".1." + count(5) + '.' + count(900 * kMiB) + '.' + std::string(5 * kMiB - 21, 'x');
    eachLie(there, Format::Binary, [&] {
        Vector bytes;
        EXPECT_LE(peakOf([&] { EXPECT_FALSE(file.read(bytes, Compression::Lz4)); }), 2 * there.size() + kMiB);
        EXPECT_EQ(bytes.capacity(), 0u);
        EXPECT_EQ(file.error(), "Failed to read compressed buffer.");
        EXPECT_EQ(file.pos(), there.size());
    });
}

// Noise, so that the payload is longer than two chunks; and the file ends with a chunk, since a shorter one is not read
// where no length is known.
TEST_F(UnmeasuredFile, GivesBackABlockOfSeveralChunks) {
    std::mt19937 noise(1);
    Vector content;
    content.resize(3 * kMiB);
    for (unsigned char& byte : content) byte = static_cast<unsigned char>(noise());
    const Vector payload = compress(content.data(), content.size(), false, Compression::Lz4);
    std::string bytes = ".1." + count(content.size()) + '.' + count(payload.size()) + '.';
    bytes.append(payload.begin(), payload.end()).resize(4 * kMiB, '-');
    eachLie(bytes, Format::Binary, [&] {
        Vector back;
        EXPECT_LE(peakOf([&] { EXPECT_TRUE(file.read(back, Compression::Lz4)); }), 2 * payload.size() + kMiB);
        EXPECT_TRUE(back == content) << file.error();
        EXPECT_EQ(file.pos(), 21 + payload.size());
    });
}

}  // namespace
}  // namespace qor::test
