// The memory that LZ4 frames and Base64 take, and what becomes of them where memory is refused. A program of its own,
// since it replaces the global operator new.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "core/codec/lz4_contents.h"
#include "qor/core/codec/base64.h"
#include "qor/core/codec/lz4_frame.h"
#include "support/heap.h"

namespace qor::test {
namespace {

namespace lz4 = impl::lz4;

constexpr std::size_t kKiB = 1024;

// Lets no allocation of `step` through, then one, then two, until it succeeds: each time before, it is to say false.
template <typename Step>
void expectFalseUntilMemorySuffices(Step step, std::uint64_t atMost) {
    for (std::uint64_t allocations = 0;; ++allocations) {
        ASSERT_LE(allocations, atMost);
        const RefusedRequests refused(allocations + 1, true);
        if (step()) break;
    }
}

ds::Vector<unsigned char> encoded(std::string_view content) {
    ds::Vector<unsigned char> payload;
    EXPECT_TRUE(lz4::encode(view(content), payload));
    return payload;
}

TEST(Lz4Memory, EncodingTakesTheLargestPayloadAndTables) {
    for (const auto& [size, tables] : {std::pair{100ul, 1 * kKiB}, {5'000ul, 12 * kKiB}, {3'000'000ul, 48 * kKiB}}) {
        const std::string content = text(size);
        ds::Vector<unsigned char> payload;
        EXPECT_LE(peakOf([&] { EXPECT_TRUE(lz4::encode(view(content), payload)); }), size + tables + 64) << size;
    }
}

TEST(Lz4Memory, DecodingTakesTheResultAlone) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{1000}, std::size_t{3'000'000}}) {
        for (const std::string& bytes : {text(size), noise(size)}) {
            const auto payload = encoded(bytes);
            ds::Vector<unsigned char> content;
            const std::size_t memory = peakOf([&] { EXPECT_TRUE(lz4::decode(view(payload), size, content)); });
            // Above a certain expansion the result is made in pieces, which are put together.
            EXPECT_LE(memory, size <= payload.size() + 768 * kKiB ? size : 2 * size) << size;
        }
    }
}

TEST(Lz4Memory, EncodingThatIsRefusedMemorySaysSo) {
    const std::string content = text(10'000);
    expectFalseUntilMemorySuffices(
        [&] {
            ds::Vector<unsigned char> payload;
            return lz4::encode(view(content), payload);
        },
        2);
}

TEST(Lz4Memory, DecodingThatIsRefusedMemorySaysSo) {
    for (const std::string& bytes : {text(10'000), noise(10'000), std::string(20'000'000, 'a')}) {
        const auto payload = encoded(bytes);
        expectFalseUntilMemorySuffices(
            [&] {
                ds::Vector<unsigned char> content;
                return lz4::decode(view(payload), bytes.size(), content);
            },
            8);
    }
}

TEST(Base64Memory, IsThatOfTheResult) {
    const std::string bytes = noise(100'000);
    ds::Vector<unsigned char> text;
    EXPECT_EQ(peakOf([&] { EXPECT_TRUE(impl::encodeBase64(view(bytes), text)); }), 133'336u);
    ds::Vector<unsigned char> restored;
    EXPECT_EQ(peakOf([&] { EXPECT_TRUE(impl::decodeBase64(view(text), restored)); }), 100'000u);
}

TEST(Base64Memory, ThatIsRefusedIsSaid) {
    ds::Vector<unsigned char> result;
    const RefusedRequests refused(1, true);
    EXPECT_FALSE(impl::encodeBase64(view("some bytes"), result));
    EXPECT_FALSE(impl::decodeBase64(view("c29tZSBieXRlcw=="), result));
}

}  // namespace
}  // namespace qor::test
