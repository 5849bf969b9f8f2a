// Zstandard frames of the encoder, read by the format's own library, which checks their checksums.
#include <gtest/gtest.h>
#include <zstd.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>

#include "core/codec/zstd_frame_view.h"

namespace qor::test {
namespace {

using zstd::encoded;

::testing::AssertionResult holds(const std::string& content) {
    const std::string payload = encoded(content);
    if (ZSTD_getFrameContentSize(payload.data(), payload.size()) != content.size()) {
        return ::testing::AssertionFailure() << "another content size";
    }
    std::string result(content.size() + 1, '\0');
    const std::size_t size = ZSTD_decompress(result.data(), result.size(), payload.data(), payload.size());
    if (ZSTD_isError(size)) return ::testing::AssertionFailure() << ZSTD_getErrorName(size);
    result.resize(size);
    if (result != content) return ::testing::AssertionFailure() << "other content";
    return ::testing::AssertionSuccess();
}

std::string noise(std::size_t size, unsigned values, std::mt19937& random) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % values);
    return bytes;
}

TEST(ZstdEncodePeer, EverySizeTo300) {
    std::mt19937 random(1);
    for (std::size_t size = 0; size <= 300; ++size) {
        EXPECT_TRUE(holds(std::string(size, 'a'))) << size;
        for (const unsigned values : {2u, 5u, 30u, 256u}) {
            EXPECT_TRUE(holds(noise(size, values, random))) << size << ' ' << values;
        }
    }
}

TEST(ZstdEncodePeer, SizesAroundBlocksAndTheWindow) {
    std::mt19937 random(2);
    for (const std::size_t edge : {65'536u, 131'072u, 262'144u, 2'097'152u}) {
        for (const std::size_t size : {edge - 1, edge, edge + 1}) {
            EXPECT_TRUE(holds(std::string(size, 'a'))) << size;
            EXPECT_TRUE(holds(noise(size, 3, random))) << size;
            EXPECT_TRUE(holds(noise(size, 256, random))) << size;
        }
    }
}

TEST(ZstdEncodePeer, EveryPeriodTo300) {
    std::mt19937 random(3);
    for (std::size_t period = 1; period <= 300; ++period) {
        std::string bytes = noise(period, 256, random);
        while (bytes.size() < 10'000) bytes += bytes;
        EXPECT_TRUE(holds(bytes)) << period;
    }
}

TEST(ZstdEncodePeer, EveryNumberOfDistinctLiterals) {
    // Equally often each, and with one that is commoner: weights that are all equal, and trees of every size.
    std::mt19937 random(4);
    for (unsigned values = 1; values <= 256; ++values) {
        std::string equal;
        while (equal.size() < 2000) equal += static_cast<char>(equal.size() % values);
        std::shuffle(equal.begin(), equal.end(), random);
        EXPECT_TRUE(holds(equal)) << values;
        for (std::size_t i = 0; i < equal.size(); i += 2) equal[i] = static_cast<char>(values / 2);
        EXPECT_TRUE(holds(equal)) << values;
    }
}

TEST(ZstdEncodePeer, LiteralsWhoseCodeNeedsTheLimit) {
    // Counts that grow like Fibonacci's numbers give a tree as deep as it has symbols.
    std::mt19937 random(5);
    std::string bytes;
    std::size_t a = 1;
    std::size_t b = 1;
    for (char symbol = 0; symbol < 24; ++symbol) {
        bytes += std::string(a, symbol);
        b += a;
        std::swap(a, b);
    }
    std::shuffle(bytes.begin(), bytes.end(), random);
    EXPECT_TRUE(holds(bytes));
}

TEST(ZstdEncodePeer, LongLiteralsAndLongMatches) {
    std::mt19937 random(6);
    const std::string bytes = noise(131'072, 256, random);
    for (const std::size_t n : {65'535u, 65'536u, 65'537u, 65'538u, 65'539u, 65'540u}) {
        EXPECT_TRUE(holds(bytes.substr(0, n) + bytes.substr(0, 131'072 - n))) << n;
        EXPECT_TRUE(holds(bytes.substr(0, 131'072 - n) + bytes.substr(0, n))) << n;
    }
}

TEST(ZstdEncodePeer, MoreSequencesThanTwoBytesCount) {
    // Four bytes from a small set of quadruples each, no two neighbours as before: close to 32,768 sequences a block.
    std::mt19937 random(7);
    const std::string quadruples = noise(4 * 4096, 256, random);
    std::string bytes = quadruples;
    while (bytes.size() < 400'000) bytes += quadruples.substr(4 * (random() % 4096), 4);
    EXPECT_TRUE(holds(bytes));
}

TEST(ZstdEncodePeer, ContentOverTheWindow) {
    // What comes again from within the window, at its very edge and from beyond.
    std::mt19937 random(8);
    std::string bytes = noise(6'000'000, 256, random);
    for (const std::size_t distance :
         {2'097'000u, 2'097'150u, 2'097'151u, 2'097'152u, 2'097'153u, 2'097'155u, 2'100'000u}) {
        const std::size_t at = 2'200'000 + random() % 3'000'000;
        bytes.replace(at, 3000, bytes.substr(at - distance, 3000));
    }
    EXPECT_TRUE(holds(bytes));
}

TEST(ZstdEncodePeer, ARawPartWithMatchesInIt) {
    // They move the repeat offsets only for who believes in them. Noise with a few short matches at one distance lies
    // between letters that have matches at the same distance.
    std::mt19937 random(10);
    const auto letters = [&] {
        std::string bytes = noise(30'000, 16, random);
        for (char& byte : bytes) byte = static_cast<char>('a' + (byte & (byte >> 1)));
        for (std::size_t at = 5000; at < bytes.size() - 100; at += 200)
            bytes.replace(at, 50, bytes.substr(at - 5000, 50));
        return bytes;
    };
    std::string middle = noise(60'000, 256, random);
    for (std::size_t at = 5000; at < middle.size() - 100; at += 3000)
        middle.replace(at, 12, middle.substr(at - 5000, 12));
    const std::string content = letters() + middle + letters();
    bool wasRaw = false;
    bool isCompressedAfterwards = false;
    for (const auto& block : zstd::frameOf(encoded(content)).blocks) {
        wasRaw = wasRaw || block.type == zstd::BlockType::Raw;
        isCompressedAfterwards = wasRaw && block.type == zstd::BlockType::Compressed;
    }
    EXPECT_TRUE(isCompressedAfterwards);
    EXPECT_TRUE(holds(content));
}

TEST(ZstdEncodePeer, ContentThatChangesItsKind) {
    // Runs, noise, few symbols and repetitions from anywhere, so that blocks of all kinds follow each other.
    for (unsigned seed = 1; seed <= 200; ++seed) {
        std::mt19937 random(seed);
        const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
        const std::size_t size = below(4) == 0 ? below(600'000) : below(20'000);
        std::string bytes = "x";
        unsigned values = 1 + static_cast<unsigned>(below(256));
        while (bytes.size() < size) {
            const std::size_t n = 1 + below(below(8) != 0 ? 20 : below(16) != 0 ? 700 : 80'000);
            switch (below(6)) {
                case 0:
                    bytes += std::string(n, static_cast<char>(below(256)));
                    break;
                case 1:
                    bytes += noise(n, values, random);
                    break;
                default: {
                    const std::size_t offset =
                        1 + below(below(3) != 0 ? std::min<std::size_t>(bytes.size(), 64) : bytes.size());
                    for (std::size_t i = 0; i < n; ++i) bytes += bytes[bytes.size() - offset];
                }
            }
            if (below(200) == 0) values = 1 + static_cast<unsigned>(below(256));
        }
        EXPECT_TRUE(holds(bytes)) << "seed " << seed;
    }
}

TEST(ZstdEncodePeer, ArraysOfNumbers) {
    std::mt19937 random(9);
    std::string floats;
    float value = 0;
    for (int i = 0; i < 100'000; ++i) {
        value += static_cast<float>(random() % 1000) / 1000 - 0.5f;
        unsigned char bytes[4];
        storeLittle(bytes, value);
        floats.append(bytes, bytes + 4);
    }
    EXPECT_TRUE(holds(floats));
}

}  // namespace
}  // namespace qor::test
