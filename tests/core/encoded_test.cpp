// The payloads that the encoders make, known by their sizes and fingerprints: the same on every host, from every
// compiler, and after every change that was not meant to change them.
//
// The public tools restore each of them, as other tests show of payloads like these. Where an encoder has become
// better, its figures are put in anew, and a size that grew wants a reason.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "qor/core/compression.h"
#include "support/made_data.h"

namespace qor::test {
namespace {

struct Payload {
    std::size_t size;
    std::uint32_t fingerprint;

    friend bool operator==(const Payload&, const Payload&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Payload& payload) {
        return out << payload.size << " bytes, " << std::hex << payload.fingerprint << std::dec;
    }
};

// FNV-1a in 32 bits. For telling payloads apart, nothing more.
std::uint32_t fingerprint(std::span<const unsigned char> bytes) {
    std::uint64_t hash = 0x811C9DC5;
    for (const unsigned char byte : bytes) hash = (hash ^ byte) * 0x01000193 & 0xFFFFFFFF;
    return static_cast<std::uint32_t>(hash);
}

// Contents of each sort and of several sizes, and mixtures of them.
std::vector<Content> encodedContents() {
    std::vector<Content> contents;
    for (const std::size_t size : {std::size_t{30}, std::size_t{700}, std::size_t{5000}, std::size_t{70000}}) {
        for (Content& content : madeContents(size)) contents.push_back(std::move(content));
    }
    contents.push_back({"text", textBytes(400000, 2)});
    contents.push_back({"a smooth surface", surfaceFloats(400000)});

    // Pieces of all sorts, each longer than the one before, so that codes have to change on the way.
    Content pieces{"pieces of all sorts", {}};
    for (std::size_t size = 300; size < 60000; size = size * 3 / 2) {
        for (const Content& piece : madeContents(size)) {
            pieces.bytes.insert(pieces.bytes.end(), piece.bytes.begin(), piece.bytes.end());
        }
    }
    contents.push_back(std::move(pieces));

    // Long matches at all distances, which few bytes interrupt.
    Content versions{"versions of a text", {}};
    std::vector<unsigned char> text = textBytes(20000, 3);
    for (std::size_t version = 0; version < 12; ++version) {
        for (std::size_t i = version * 7; i < text.size(); i += 301 + 97 * version)
            text[i] = static_cast<unsigned char>('A' + version);
        versions.bytes.insert(versions.bytes.end(), text.begin(), text.end());
    }
    contents.push_back(std::move(versions));

    // Few symbols, of very different frequency.
    Content skewed{"skewed letters", {}};
    for (const unsigned char byte : randomBytes(150000, 5))
        skewed.bytes.push_back(static_cast<unsigned char>('a' + std::countl_zero(byte)));
    contents.push_back(std::move(skewed));
    return contents;
}

struct Row {
    std::string content;
    std::size_t size;
    Payload lz4;
    Payload zlib;
    Payload zstd;
};

const Row kRows[] = {
    {"a constant", 30, {38, 0xebd1cb10}, {10, 0xeb6f734d}, {14, 0x1a65bb04}},
    {"random bytes", 30, {57, 0x8572b781}, {39, 0x3e177fbc}, {43, 0x31755e33}},
    {"text", 30, {57, 0xfde85b88}, {38, 0x505edcc9}, {43, 0x656c4884}},
    {"a period of 12", 30, {48, 0x99b77dd4}, {22, 0x0e4f069c}, {31, 0x8b4a01e1}},
    {"a smooth surface", 30, {57, 0x4d1ac3b7}, {39, 0x05005203}, {43, 0x7d0cc38e}},
    {"noisy pixels", 30, {57, 0xe790313d}, {35, 0x904f6cd4}, {43, 0x4fcd0723}},
    {"triangles", 30, {53, 0x2978dd32}, {25, 0x1ff49d3a}, {34, 0x0e84e886}},
    {"a constant", 700, {40, 0x9370f2a5}, {14, 0x9fd421be}, {15, 0x1930f7ee}},
    {"random bytes", 700, {727, 0x97f39c43}, {711, 0x915041f2}, {714, 0x79ecf890}},
    {"text", 700, {708, 0xd0fbc9d1}, {405, 0xa2038d77}, {426, 0x63a1a94e}},
    {"a period of 12", 700, {51, 0x6d168498}, {27, 0x2a18db6a}, {33, 0xfc02a741}},
    {"a smooth surface", 700, {727, 0x626b9462}, {501, 0x5c64b583}, {551, 0xa84bf3d2}},
    {"noisy pixels", 700, {716, 0xa2483b5b}, {479, 0x76feaf39}, {516, 0x8d860dd1}},
    {"triangles", 700, {390, 0xacd04e6f}, {157, 0x9f8f9662}, {137, 0xff3ae565}},
    {"a constant", 5000, {57, 0x254af2be}, {28, 0xece9ba7c}, {15, 0x243250a3}},
    {"random bytes", 5000, {5027, 0xace5d960}, {5011, 0x63fde77f}, {5014, 0xb3600997}},
    {"text", 5000, {4364, 0xf375e1f8}, {2554, 0xc16225ab}, {2592, 0x5a3b01b3}},
    {"a period of 12", 5000, {68, 0xc9ce9efd}, {55, 0x4fff29f2}, {34, 0x95393a14}},
    {"a smooth surface", 5000, {4643, 0x801c9a92}, {3305, 0x818141bc}, {3202, 0xdae06128}},
    {"noisy pixels", 5000, {4856, 0x394811ae}, {3144, 0x9b5a3cca}, {3632, 0x7d40439b}},
    {"triangles", 5000, {2542, 0xdeda24e6}, {1049, 0xf6450ebf}, {813, 0x0d8431a7}},
    {"a constant", 70000, {312, 0x9e8635a0}, {91, 0xe26edf5f}, {17, 0x681fe20e}},
    {"random bytes", 70000, {70027, 0x180ebd1f}, {70016, 0x11df3a58}, {70016, 0x2c0850f1}},
    {"text", 70000, {48357, 0x5f937761}, {30683, 0xa3113695}, {30754, 0x90fc127e}},
    {"a period of 12", 70000, {323, 0xd9993705}, {181, 0xf800210f}, {36, 0x1b17ebce}},
    {"a smooth surface", 70000, {66306, 0xa7013c95}, {45987, 0x4651f8fb}, {41642, 0xa36481fb}},
    {"noisy pixels", 70000, {64757, 0x045bf465}, {38873, 0x39135093}, {40661, 0xd3f0492f}},
    {"triangles", 70000, {35073, 0xdc30cff2}, {14941, 0xf8c6b75f}, {11427, 0x05400b92}},
    {"text", 400000, {261878, 0x2fad0858}, {170102, 0x01bf1f18}, {165105, 0x7a498abe}},
    {"a smooth surface", 400000, {372392, 0xed46ffa9}, {260803, 0xed09603f}, {263715, 0x3c3867ed}},
    {"pieces of all sorts", 1220961, {661486, 0x24d38925}, {489043, 0xe38f7077}, {179925, 0xd3844142}},
    {"versions of a text", 240000, {31715, 0xb0cfa1cc}, {12245, 0x1f41b496}, {10035, 0x0ab187f4}},
    {"skewed letters", 150000, {70343, 0xddf01ed0}, {45350, 0x8879e5a3}, {47708, 0xc0ed78b2}},
};

void expectKnown(Compression kind, Payload Row::*known) {
    const std::vector<Content> contents = encodedContents();
    ASSERT_EQ(contents.size(), std::size(kRows));
    for (std::size_t i = 0; i < contents.size(); ++i) {
        const auto& [name, bytes] = contents[i];
        SCOPED_TRACE(name + ", " + std::to_string(bytes.size()) + " bytes");
        ASSERT_EQ(name, kRows[i].content);
        ASSERT_EQ(bytes.size(), kRows[i].size);
        const ds::Vector<unsigned char> payload = compress(bytes.data(), bytes.size(), false, kind);
        EXPECT_EQ((Payload{payload.size(), fingerprint({payload.data(), payload.size()})}), kRows[i].*known);
        const ds::Vector<unsigned char> restored = decompress(payload, false, bytes.size());
        EXPECT_TRUE(std::equal(restored.begin(), restored.end(), bytes.begin(), bytes.end()));
    }
}

TEST(Encoded, Lz4IsAsKnown) { expectKnown(Compression::Lz4, &Row::lz4); }
TEST(Encoded, ZlibIsAsKnown) { expectKnown(Compression::Zlib, &Row::zlib); }
TEST(Encoded, ZstdIsAsKnown) { expectKnown(Compression::Zstd, &Row::zstd); }

// ---- Beginnings of a content, of many sizes: their payloads one behind another --------------------------------------

std::vector<std::size_t> everySizeUpTo300() {
    std::vector<std::size_t> sizes;
    for (std::size_t size = 1; size <= 300; ++size) sizes.push_back(size);
    return sizes;
}

std::vector<std::size_t> sizesAroundPowersOfTwo() {
    std::vector<std::size_t> sizes;
    for (std::size_t power = 512; power <= 1 << 17; power *= 2)
        sizes.insert(sizes.end(), {power - 1, power, power + 1});
    return sizes;
}

// Bytes of which few sequences come twice, so that nearly all of them stay literals.
std::vector<unsigned char> fewLetters(std::size_t size) {
    std::vector<unsigned char> bytes = randomBytes(size, 7);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>('0' + byte % 8 * (byte / 8 % 8));
    return bytes;
}

Payload payloadsOfBeginnings(const Content& content, const std::vector<std::size_t>& sizes, Compression kind) {
    std::vector<unsigned char> all;
    for (const std::size_t size : sizes) {
        const ds::Vector<unsigned char> payload = compress(content.bytes.data(), size, false, kind);
        all.insert(all.end(), payload.begin(), payload.end());
    }
    return {all.size(), fingerprint(all)};
}

void expectKnownBeginnings(const std::vector<Content>& contents, const std::vector<std::size_t>& sizes,
                           std::span<const Row> rows) {
    ASSERT_EQ(contents.size(), rows.size());
    for (std::size_t i = 0; i < contents.size(); ++i) {
        SCOPED_TRACE(contents[i].name);
        ASSERT_EQ(contents[i].name, rows[i].content);
        ASSERT_EQ(contents[i].bytes.size(), rows[i].size);
        EXPECT_EQ(payloadsOfBeginnings(contents[i], sizes, Compression::Lz4), rows[i].lz4);
        EXPECT_EQ(payloadsOfBeginnings(contents[i], sizes, Compression::Zlib), rows[i].zlib);
        EXPECT_EQ(payloadsOfBeginnings(contents[i], sizes, Compression::Zstd), rows[i].zstd);
    }
}

TEST(Encoded, ShortContentsOfEverySizeAreAsKnown) {
    static const Row rows[] = {
        {"a constant", 300, {11358, 0xe86f06be}, {3352, 0x020cc051}, {4245, 0xc4ef23e6}},
        {"random bytes", 300, {53250, 0xe4ebf4c4}, {48332, 0x7d8c0065}, {49095, 0x67f8dae1}},
        {"text", 300, {53000, 0xf49aa65d}, {32644, 0x8e077a3d}, {35157, 0x7b81a8b8}},
        {"a period of 12", 300, {14471, 0x3c6073d0}, {6808, 0x70f49109}, {9415, 0xe6cd1cc5}},
        {"a smooth surface", 300, {53250, 0xc09f8375}, {42052, 0x9e143bea}, {43776, 0xf0a303f0}},
        {"noisy pixels", 300, {51638, 0x7decc459}, {30598, 0xddd5f533}, {35326, 0xbeed3398}},
        {"triangles", 300, {34486, 0x5f4839d0}, {15329, 0x6125c1fd}, {17715, 0xd386657a}},
    };
    expectKnownBeginnings(madeContents(300), everySizeUpTo300(), rows);
}

TEST(Encoded, ContentsAroundThePowersOfTwoAreAsKnown) {
    static const Row rows[] = {
        {"text", 131073, {551680, 0xcfd0e4fb}, {351247, 0xc1ad3d47}, {349863, 0xb45d646f}},
        {"few letters", 131073, {770600, 0x67c79d28}, {432932, 0xe47e1741}, {453011, 0x2b393b22}},
        {"a smooth surface", 131073, {724969, 0x5fdadda3}, {513411, 0xcc28a4d2}, {477062, 0x9e467af7}},
    };
    constexpr std::size_t kLargest = (1 << 17) + 1;
    const std::vector<Content> contents = {{"text", textBytes(kLargest, 4)},
                                           {"few letters", fewLetters(kLargest)},
                                           {"a smooth surface", surfaceFloats(kLargest)}};
    expectKnownBeginnings(contents, sizesAroundPowersOfTwo(), rows);
}

// ---- Mixtures: where to begin a block and which match to take is seldom plain in them -------------------------------

// Noise in few or many letters, common and rare ones, and between it what came before, from near or far.
std::vector<unsigned char> mixtureBytes(std::mt19937_64& random) {
    const auto below = [&random](std::size_t end) { return static_cast<std::size_t>(random() % end); };
    const auto ofAnyMagnitude = [&below](std::size_t magnitudes) {
        return 1 + below(std::size_t{2} << below(magnitudes));
    };
    const std::size_t size = 20 + ofAnyMagnitude(16);
    std::vector<unsigned char> bytes;
    while (bytes.size() < size) {
        std::size_t length = ofAnyMagnitude(11);
        const std::size_t letters = ofAnyMagnitude(8);
        const std::size_t distance = ofAnyMagnitude(16);
        const bool isNoise = distance > bytes.size() || below(3) == 0;
        const bool isEven = below(2) == 0;
        for (; length > 0; --length) {
            const std::size_t letter = isEven ? below(letters) : below(letters) * below(letters) / letters;
            bytes.push_back(isNoise ? static_cast<unsigned char>(letter) : bytes[bytes.size() - distance]);
        }
    }
    return bytes;
}

// Random bytes, in which something comes again now and then: so seldom that no form of a block is much smaller than the
// bytes as they stand.
std::vector<unsigned char> noiseWithFewMatches(std::mt19937_64& random) {
    const auto below = [&random](std::size_t end) { return static_cast<std::size_t>(random() % end); };
    const std::size_t size = 12 + below(std::size_t{16} << below(9));
    const std::size_t letters = below(3) != 0 ? 256 : 200 + below(57);
    const std::size_t rarity = std::size_t{8} << below(7);
    std::vector<unsigned char> bytes;
    while (bytes.size() < size) {
        if (bytes.size() <= 8 || below(rarity) != 0) {
            bytes.push_back(static_cast<unsigned char>(below(letters)));
            continue;
        }
        std::size_t length = 3 + below(std::size_t{2} << below(6));
        const std::size_t distance = 1 + below(std::min(bytes.size(), std::size_t{2} << below(12)));
        for (; length > 0; --length) bytes.push_back(bytes[bytes.size() - distance]);
    }
    return bytes;
}

// A thousand contents and their payloads of each kind, one behind another.
void expectKnownThousand(std::vector<unsigned char> (*make)(std::mt19937_64&), std::size_t size, Payload lz4,
                         Payload zlib, Payload zstd) {
    std::mt19937_64 random(11);
    std::size_t sizes = 0;
    std::vector<unsigned char> payloads[3];
    for (int i = 0; i < 1000; ++i) {
        const std::vector<unsigned char> content = make(random);
        sizes += content.size();
        const auto add = [&content](Compression kind, std::vector<unsigned char>& all) {
            const ds::Vector<unsigned char> payload = compress(content.data(), content.size(), false, kind);
            all.insert(all.end(), payload.begin(), payload.end());
        };
        add(Compression::Lz4, payloads[0]);
        add(Compression::Zlib, payloads[1]);
        add(Compression::Zstd, payloads[2]);
    }
    EXPECT_EQ(sizes, size);
    EXPECT_EQ((Payload{payloads[0].size(), fingerprint(payloads[0])}), lz4);
    EXPECT_EQ((Payload{payloads[1].size(), fingerprint(payloads[1])}), zlib);
    EXPECT_EQ((Payload{payloads[2].size(), fingerprint(payloads[2])}), zstd);
}

TEST(Encoded, MixturesAreAsKnown) {
    expectKnownThousand(mixtureBytes, 4724926, {1584956, 0x984742db}, {1097195, 0x891e38fe}, {1091570, 0xe1ad2e18});
}

TEST(Encoded, NoiseWithFewMatchesIsAsKnown) {
    expectKnownThousand(noiseWithFewMatches, 484901, {428033, 0x68d890db}, {396153, 0xb73b2857}, {398507, 0x6d3bf2c2});
}

// ---- Contents on a border: two ways to encode them take nearly the same, and an estimate decides --------------------

// 256 bytes, of which some are commoner than others.
std::vector<unsigned char> commonAndRareLetters(std::mt19937_64& random) {
    const auto below = [&random](std::size_t end) { return static_cast<std::size_t>(random() % end); };
    const std::size_t letters = 2 + below(254);
    const std::size_t common = 1 + below(letters);
    const std::size_t rarity = 1 + below(8);
    std::vector<unsigned char> bytes(256);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(below(below(rarity) != 0 ? common : letters));
    return bytes;
}

TEST(Encoded, ContentsOnABorderAreAsKnown) {
    static const struct {
        const char* border;
        std::vector<unsigned char> (*make)(std::mt19937_64&);
        unsigned seed;
        Compression kind;
        std::size_t size;
        Payload known;
    } rows[] = {
        {"stored, or with a match", noiseWithFewMatches, 1924, Compression::Zlib, 541, {552, 0x2a3244ba}},
        {"raw literals, or coded ones", mixtureBytes, 3316, Compression::Zstd, 660, {153, 0xc991a5ab}},
        {"raw literals, or four streams of them", commonAndRareLetters, 15, Compression::Zstd, 256, {270, 0xf6a15085}},
        {"one block, or two", mixtureBytes, 7600, Compression::Zstd, 10035, {2465, 0x59a140ae}},
        {"few bytes, sought in a table that begins empty", mixtureBytes, 7668, Compression::Zstd, 52, {56, 0x65c1fd2d}},
    };
    for (const auto& row : rows) {
        std::mt19937_64 random(row.seed);
        const std::vector<unsigned char> content = row.make(random);
        ASSERT_EQ(content.size(), row.size) << row.border;
        const ds::Vector<unsigned char> payload = compress(content.data(), content.size(), false, row.kind);
        EXPECT_EQ((Payload{payload.size(), fingerprint({payload.data(), payload.size()})}), row.known) << row.border;
    }
}

}  // namespace
}  // namespace qor::test
