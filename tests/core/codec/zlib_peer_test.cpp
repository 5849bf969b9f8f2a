// Streams in the ways that only zlib and libdeflate have: strategies, small windows, small memory, flushes.
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include "qor/core/codec/adler32.h"
#include "qor/core/codec/deflate.h"
#include "qor/core/codec/zlib.h"

namespace qor::impl::zlib {
namespace {

Bytes bytesOf(const std::string& text) { return {reinterpret_cast<const unsigned char*>(text.data()), text.size()}; }

// Content of several kinds, and of all of them one after the other.
const std::vector<std::string>& contents() {
    static const std::vector<std::string> all = [] {
        std::mt19937 engine(11);
        std::string noise, text, numbers, few, runs;
        for (int i = 0; i < 40000; ++i) noise += static_cast<char>(engine());
        std::vector<std::string> words;
        for (int i = 0; i < 300; ++i) {
            words.emplace_back();
            for (std::size_t n = 1 + engine() % 9; n > 0; --n) words.back() += static_cast<char>('a' + engine() % 26);
        }
        while (text.size() < 100000) text += words[engine() % (1 + engine() % words.size())] + " ";
        for (std::uint32_t i = 0, value = 0; i < 20000; ++i) {
            value += static_cast<std::uint32_t>(engine() % 500);
            for (int k = 0; k < 4; ++k) numbers += static_cast<char>(value >> 8 * k);
        }
        for (int i = 0; i < 60000; ++i) few += "\x01\x05\x7F"[engine() % 3];
        while (runs.size() < 80000) runs += std::string(1 + engine() % 400, static_cast<char>(engine() % 4));
        return std::vector<std::string>{
            "a", noise, text, numbers, few, runs, text + noise + few + runs + numbers + text};
    }();
    return all;
}

std::string encodedByUs(const std::string& content) {
    ds::Vector<unsigned char> payload;
    EXPECT_TRUE(encode(bytesOf(content), payload));
    return std::string(payload.begin(), payload.end());
}

void expectDecoded(const std::string& payload, const std::string& content, const std::string& what) {
    ds::Vector<unsigned char> result;
    ASSERT_TRUE(decode(bytesOf(payload), content.size(), result)) << what;
    ASSERT_TRUE(std::string(result.begin(), result.end()) == content) << what;

    ds::Vector<unsigned char> plain;
    Result into(plain, content.size(), payload.size());
    ASSERT_TRUE(deflate::decodePlainly(bytesOf(payload).subspan(2, payload.size() - 6), 15, into)) << what;
    ASSERT_TRUE(std::string(plain.begin(), plain.end()) == content) << what;
}

struct Settings {
    int level = 6;
    int windowBits = 15;
    int memLevel = 8;
    int strategy = Z_DEFAULT_STRATEGY;
    int flush = Z_NO_FLUSH;  // after each piece
    std::size_t piece = 1000000;

    std::string name() const {
        return "level " + std::to_string(level) + ", window " + std::to_string(windowBits) + ", memory " +
               std::to_string(memLevel) + ", strategy " + std::to_string(strategy) + ", flush " + std::to_string(flush);
    }
};

std::string encodedByZlib(const std::string& content, const Settings& settings) {
    z_stream stream{};
    EXPECT_EQ(
        deflateInit2(&stream, settings.level, Z_DEFLATED, settings.windowBits, settings.memLevel, settings.strategy),
        Z_OK);
    std::string payload(2 * content.size() + 100000, '\0');
    std::string input = content;
    stream.next_out = reinterpret_cast<Bytef*>(payload.data());
    stream.avail_out = static_cast<uInt>(payload.size());
    for (std::size_t at = 0; at < content.size(); at += settings.piece) {
        stream.next_in = reinterpret_cast<Bytef*>(input.data() + at);
        stream.avail_in = static_cast<uInt>(std::min(settings.piece, content.size() - at));
        EXPECT_EQ(::deflate(&stream, settings.flush), Z_OK);
    }
    EXPECT_EQ(::deflate(&stream, Z_FINISH), Z_STREAM_END);
    payload.resize(stream.total_out);
    deflateEnd(&stream);
    return payload;
}

void expectReadsZlib(const Settings& settings) {
    for (const std::string& content : contents())
        expectDecoded(encodedByZlib(content, settings), content, settings.name());
}

TEST(ZlibPeer, ReadsEveryLevelAndStrategy) {
    for (const int strategy : {Z_DEFAULT_STRATEGY, Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED}) {
        for (int level = 0; level <= 9; level += strategy == Z_DEFAULT_STRATEGY ? 1 : 3) {
            expectReadsZlib({.level = level, .strategy = strategy});
        }
    }
}

TEST(ZlibPeer, ReadsEveryWindow) {
    for (int windowBits = 9; windowBits <= 15; ++windowBits) expectReadsZlib({.level = 9, .windowBits = windowBits});
}

TEST(ZlibPeer, ReadsEveryMemoryLevel) {
    for (int memLevel = 1; memLevel <= 9; ++memLevel) expectReadsZlib({.memLevel = memLevel});
}

TEST(ZlibPeer, ReadsFlushes) {
    for (const int flush : {Z_PARTIAL_FLUSH, Z_SYNC_FLUSH, Z_FULL_FLUSH, Z_BLOCK}) {
        for (const std::size_t piece : {100u, 1000u, 32768u}) expectReadsZlib({.flush = flush, .piece = piece});
    }
}

TEST(ZlibPeer, ReadsEveryLevelOfLibdeflate) {
    for (int level = 0; level <= 12; ++level) {
        libdeflate_compressor* const compressor = libdeflate_alloc_compressor(level);
        for (const std::string& content : contents()) {
            std::string payload(libdeflate_zlib_compress_bound(compressor, content.size()), '\0');
            payload.resize(
                libdeflate_zlib_compress(compressor, content.data(), content.size(), payload.data(), payload.size()));
            expectDecoded(payload, content, "level " + std::to_string(level));
        }
        libdeflate_free_compressor(compressor);
    }
}

TEST(ZlibPeer, IsReadByZlib) {
    for (const std::string& content : contents()) {
        const std::string payload = encodedByUs(content);
        std::string result(content.size(), '\0');
        uLongf size = result.size();
        ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(result.data()), &size,
                             reinterpret_cast<const Bytef*>(payload.data()), payload.size()),
                  Z_OK);
        EXPECT_TRUE(result == content);
    }
}

TEST(ZlibPeer, IsReadByLibdeflate) {
    libdeflate_decompressor* const decompressor = libdeflate_alloc_decompressor();
    for (const std::string& content : contents()) {
        const std::string payload = encodedByUs(content);
        std::string result(content.size(), '\0');
        ASSERT_EQ(libdeflate_zlib_decompress(decompressor, payload.data(), payload.size(), result.data(), result.size(),
                                             nullptr),
                  LIBDEFLATE_SUCCESS);
        EXPECT_TRUE(result == content);
    }
    libdeflate_free_decompressor(decompressor);
}

// What of a damaged stream we take, zlib takes too, and makes the same of it. The checksums are left out, so that more
// than their answers are compared.
TEST(ZlibPeer, RefusesWhatZlibRefuses) {
    std::mt19937 engine(12);
    int taken = 0;
    for (const std::string& whole : contents()) {
        const std::string content = whole.substr(0, 600);
        for (const std::string& sound : {encodedByUs(content), encodedByZlib(content, {.level = 9}),
                                         encodedByZlib(content, {.strategy = Z_FIXED})}) {
            for (int i = 0; i < 3000; ++i) {
                std::string payload = sound;
                for (std::size_t n = 1 + engine() % 2; n > 0; --n) {
                    payload[engine() % payload.size()] ^= static_cast<char>(1 << engine() % 8);
                }
                z_stream stream{};
                ASSERT_EQ(inflateInit(&stream), Z_OK);
                std::string result(200000, '\0');
                stream.next_in = reinterpret_cast<Bytef*>(payload.data());
                stream.avail_in = static_cast<uInt>(payload.size() - 4);
                stream.next_out = reinterpret_cast<Bytef*>(result.data());
                stream.avail_out = static_cast<uInt>(result.size());
                const int answer = inflate(&stream, Z_FINISH);
                // The deflate stream alone, whatever its checksum: it ends with all input used and four bytes missing.
                const bool isWhole = answer == Z_BUF_ERROR && stream.avail_in == 0 && stream.avail_out > 0;
                result.resize(stream.total_out);
                inflateEnd(&stream);

                ds::Vector<unsigned char> ours;
                Result into(ours, result.size(), payload.size());
                const Bytes bytes = bytesOf(payload);
                const bool isTaken = recognises(bytes) && !(bytes[1] & 0x20) &&
                                     deflate::decode(bytes.subspan(2, bytes.size() - 6), (bytes[0] >> 4) + 8, into);
                taken += isTaken;
                if (isTaken) {
                    ASSERT_TRUE(isWhole) << i;
                    ASSERT_TRUE(std::string(ours.begin(), ours.end()) == result) << i;
                }
            }
        }
    }
    EXPECT_GT(taken, 1000);
}

}  // namespace
}  // namespace qor::impl::zlib
