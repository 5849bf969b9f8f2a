// What zlib streams take of the heap, and what they do without it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "qor/core/codec/zlib.h"
#include "support/heap.h"

namespace qor::impl::zlib {
namespace {

using test::peakOf;

std::string numbers(std::size_t size) {
    std::string text;
    for (unsigned i = 0; text.size() < size; ++i) text += std::to_string(i * i % 1009) + ",";
    return text.substr(0, size);
}

Bytes bytesOf(const std::string& text) { return {reinterpret_cast<const unsigned char*>(text.data()), text.size()}; }

TEST(ZlibMemory, EncodingTakesTablesInProportionAndNoMoreThan768KiB) {
    for (const std::size_t size : {64u, 1024u, 16384u, 65536u, 5000000u}) {
        const std::string content = numbers(size);
        ds::Vector<unsigned char> payload;
        const std::size_t taken = peakOf([&] { ASSERT_TRUE(encode(bytesOf(content), payload)); });
        EXPECT_LE(taken - payload.capacity(), std::min<std::size_t>(768 << 10, 1024 + 16 * size)) << size;
    }
}

TEST(ZlibMemory, DecodingTakesNothingButTheResult) {
    const std::string content = numbers(500000);
    ds::Vector<unsigned char> payload, result;
    ASSERT_TRUE(encode(bytesOf(content), payload));
    const std::size_t taken = peakOf([&] {
        ASSERT_TRUE(decode({payload.data(), payload.size()}, content.size(), result));
    });
    EXPECT_EQ(taken, content.size());
}

TEST(ZlibMemory, EncodingAnswersFalseWhereverMemoryIsRefused) {
    const std::string content = numbers(10000);
    for (std::uint64_t n = 0;; ++n) {
        ds::Vector<unsigned char> payload;
        const test::RefusedRequests refused(n + 1, true);
        const bool done = encode(bytesOf(content), payload);
        if (done) {
            EXPECT_EQ(n, 3u);
            break;
        }
    }
}

TEST(ZlibMemory, DecodingAnswersFalseWhereverMemoryIsRefused) {
    const std::string content(8 << 20, 'x');
    ds::Vector<unsigned char> payload;
    ASSERT_TRUE(encode(bytesOf(content), payload));
    for (std::uint64_t n = 0;; ++n) {
        ds::Vector<unsigned char> result;
        const test::RefusedRequests refused(n + 1, true);
        const bool done = decode({payload.data(), payload.size()}, content.size(), result);
        if (done) {
            EXPECT_GE(n, 2u);
            break;
        }
    }
}

}  // namespace
}  // namespace qor::impl::zlib
