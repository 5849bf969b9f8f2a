// Zstandard frames made by libzstd, in all the ways in which it makes them.
#include <gtest/gtest.h>
#include <zstd.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "core/codec/zstd_builder.h"

namespace qor::test::zstd {
namespace {

using Parameters = std::vector<std::pair<ZSTD_cParameter, int>>;

// A frame of `content`, which is given to libzstd in pieces with a flush after each; 0 for all at once.
std::string byPeer(const std::string& content, const Parameters& parameters, std::size_t piece = 0) {
    ZSTD_CCtx* const context = ZSTD_createCCtx();
    for (const auto& [parameter, value] : parameters) {
        EXPECT_FALSE(ZSTD_isError(ZSTD_CCtx_setParameter(context, parameter, value))) << parameter << ' ' << value;
    }
    std::string frame(ZSTD_compressBound(content.size()) + content.size() / 2 + 1000, '\0');
    std::size_t size = 0;
    if (piece == 0) {
        size = ZSTD_compress2(context, frame.data(), frame.size(), content.data(), content.size());
    } else {
        ZSTD_outBuffer out = {frame.data(), frame.size(), 0};
        for (std::size_t at = 0; at <= content.size(); at += piece) {
            const bool isLast = content.size() - at < piece;
            ZSTD_inBuffer in = {content.data() + at, isLast ? content.size() - at : piece, 0};
            EXPECT_EQ(ZSTD_compressStream2(context, &out, &in, isLast ? ZSTD_e_end : ZSTD_e_flush), 0u);
        }
        size = out.pos;
    }
    EXPECT_FALSE(ZSTD_isError(size));
    ZSTD_freeCCtx(context);
    frame.resize(size);
    return frame;
}

void expectDecoded(const std::string& content, const Parameters& parameters, std::size_t piece = 0) {
    const std::string frame = byPeer(content, parameters, piece);
    for (const Loops loops : {Loops::Fast, Loops::Plain}) {
        // Not EXPECT_EQ, which would print the content.
        const auto got = decoded(frame, content.size(), loops);
        EXPECT_TRUE(got) << "refused";
        EXPECT_TRUE(got == content) << "other content";
    }
}

// Contents of different kinds, made from a seed.

std::string noise(std::size_t size, unsigned symbols) {
    std::mt19937 random(static_cast<unsigned>(size) + symbols);
    std::string content;
    while (content.size() < size) content += static_cast<char>(random() % symbols);
    return content;
}

// Words of a vocabulary, the frequent ones short, as in prose.
std::string prose(std::size_t size) {
    std::mt19937 random(10211);
    std::vector<std::string> words;
    for (std::size_t i = 0; i < 2000; ++i) {
        std::string word;
        for (std::size_t n = 1 + i % 3 + i / 200; n > 0; --n)
            word += static_cast<char>('a' + random() % 8 * (random() % 4));
        words.push_back(word);
    }
    std::string content;
    while (content.size() < size) {
        const double share = static_cast<double>(random() % 10000) / 10000;
        content += words[static_cast<std::size_t>(share * share * share * 2000)] + (random() % 12 == 0 ? ",\n" : " ");
    }
    return content.substr(0, size);
}

// Numbers of 32 bits that drift, as measurements do: matches at distances of 4 and its multiples.
std::string measurements(std::size_t size) {
    std::mt19937 random(10212);
    std::string content;
    float value = 20;
    while (content.size() < size) {
        value += static_cast<float>(static_cast<int>(random() % 7) - 3) / 8;
        unsigned char bytes[4];
        storeLittle(bytes, value);
        content.append(bytes, bytes + 4);
    }
    return content.substr(0, size);
}

// Runs of a few bytes that repeat with every period to 40.
std::string periods(std::size_t size) {
    std::mt19937 random(10213);
    std::string content;
    while (content.size() < size) {
        std::string period;
        for (auto n = 1 + random() % 40; n > 0; --n) period += static_cast<char>(random());
        for (auto n = 1 + random() % 200; n > 0; n -= std::min(n, period.size())) content += period.substr(0, n);
    }
    return content.substr(0, size);
}

std::vector<std::pair<const char*, std::string>> contents(std::size_t size) {
    return {{"noise", noise(size, 256)},
            {"noise of 20 symbols", noise(size, 20)},
            {"noise of 2 symbols", noise(size, 2)},
            {"prose", prose(size)},
            {"measurements", measurements(size)},
            {"periods", periods(size)},
            {"one byte", std::string(size, 'x')}};
}

TEST(ZstdPeer, FramesOfEveryLevel) {
    for (const std::size_t size : std::initializer_list<std::size_t>{100, 3000, 140000, 400000}) {
        for (const auto& [name, content] : contents(size)) {
            for (int level = -5; level <= 22; ++level) {
                if (level > 12 && size > 200000) continue;  // slow to make
                SCOPED_TRACE(testing::Message() << size << " bytes of " << name << ", level " << level);
                expectDecoded(content, {{ZSTD_c_compressionLevel, level}, {ZSTD_c_checksumFlag, 1}});
            }
        }
    }
}

TEST(ZstdPeer, FramesOfEverySmallSize) {
    const std::string text = prose(300);
    for (std::size_t size = 0; size <= text.size(); ++size) {
        for (const int level : {1, 6, 19}) {
            SCOPED_TRACE(testing::Message() << size << " bytes, level " << level);
            expectDecoded(text.substr(0, size), {{ZSTD_c_compressionLevel, level}, {ZSTD_c_checksumFlag, 1}});
        }
    }
}

TEST(ZstdPeer, FramesOfSizesAroundABlock) {
    for (const auto& [name, content] : contents(2 * 131072 + 2)) {
        for (const std::size_t size :
             std::initializer_list<std::size_t>{131071, 131072, 131073, 262143, 262144, 262145}) {
            SCOPED_TRACE(testing::Message() << size << " bytes of " << name);
            expectDecoded(content.substr(0, size), {{ZSTD_c_compressionLevel, 3}});
        }
    }
}

TEST(ZstdPeer, FramesWithoutContentSizeOrChecksum) {
    for (const auto& [name, content] : contents(200000)) {
        for (const int hasSize : {0, 1}) {
            for (const int hasChecksum : {0, 1}) {
                SCOPED_TRACE(testing::Message() << name << ", size " << hasSize << ", checksum " << hasChecksum);
                expectDecoded(content, {{ZSTD_c_contentSizeFlag, hasSize}, {ZSTD_c_checksumFlag, hasChecksum}});
            }
        }
    }
}

// Flushes end a block each, so that there are many small ones which repeat the tables of those before.
TEST(ZstdPeer, FramesOfManySmallBlocks) {
    for (const auto& [name, content] : contents(60000)) {
        for (const std::size_t piece : std::initializer_list<std::size_t>{7, 100, 333, 1000, 5000}) {
            for (const int level : {-1, 1, 5, 9, 19}) {
                SCOPED_TRACE(testing::Message() << name << " in pieces of " << piece << ", level " << level);
                expectDecoded(content.substr(0, piece * 100),
                              {{ZSTD_c_compressionLevel, level}, {ZSTD_c_checksumFlag, 1}}, piece);
            }
        }
    }
}

// Windows from 1 KiB to 16 MiB. In a small one blocks are small as well.
TEST(ZstdPeer, FramesOfEveryWindow) {
    for (const auto& [name, content] : contents(50000)) {
        for (int log = 10; log <= 24; ++log) {
            SCOPED_TRACE(testing::Message() << name << ", window log " << log);
            expectDecoded(content, {{ZSTD_c_compressionLevel, 4}, {ZSTD_c_windowLog, log}, {ZSTD_c_contentSizeFlag, 0}},
                          20000);
        }
    }
}

TEST(ZstdPeer, FramesWithLongDistanceMatching) {
    const std::string start = noise(300000, 256);
    const std::string content = start + prose(3000000) + start + measurements(100000) + start;
    for (const int log : {20, 23, 27}) {
        SCOPED_TRACE(log);
        expectDecoded(content,
                      {{ZSTD_c_enableLongDistanceMatching, 1}, {ZSTD_c_windowLog, log}, {ZSTD_c_checksumFlag, 1}});
    }
}

TEST(ZstdPeer, FramesOfEveryStrategy) {
    for (const auto& [name, content] : contents(150000)) {
        for (int strategy = ZSTD_fast; strategy <= ZSTD_btultra2; ++strategy) {
            for (const int minMatch : {3, 5, 7}) {
                SCOPED_TRACE(testing::Message() << name << ", strategy " << strategy << ", least match " << minMatch);
                expectDecoded(content, {{ZSTD_c_strategy, strategy}, {ZSTD_c_minMatch, minMatch}});
            }
        }
    }
}

// An experimental parameter, which this header shows to static users alone: blocks of about that many bytes of data.
constexpr auto kTargetBlockSize = static_cast<ZSTD_cParameter>(1003);
// Another one: literals are left raw or are Huffman-coded, whatever is smaller.
constexpr auto kLiteralsMode = static_cast<ZSTD_cParameter>(1002);

TEST(ZstdPeer, FramesOfBlocksOfATargetSize) {
    for (const auto& [name, content] : contents(300000)) {
        for (const int target : {64, 200, 1340, 5000, 30000}) {
            for (const int level : {1, 6, 16}) {
                SCOPED_TRACE(testing::Message() << name << ", target " << target << ", level " << level);
                expectDecoded(content,
                              {{ZSTD_c_compressionLevel, level}, {kTargetBlockSize, target}, {ZSTD_c_checksumFlag, 1}});
            }
        }
    }
}

TEST(ZstdPeer, FramesWithLiteralsCodedOrNot) {
    for (const auto& [name, content] : contents(150000)) {
        for (const int mode : {1, 2}) {
            SCOPED_TRACE(testing::Message() << name << ", mode " << mode);
            expectDecoded(content, {{ZSTD_c_compressionLevel, 1}, {kLiteralsMode, mode}});
        }
    }
}

}  // namespace
}  // namespace qor::test::zstd
