// The staging buffer's promise: whatever was cleared counts as zero, and nothing stays in memory after a wipe.
#include "qor/file/staging_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

namespace qor::impl {
namespace {

class Staging : public ::testing::Test {
 protected:
    // A buffer that is full of 0xee and has then been cleared: what is stale can be told from what is zero.
    Staging() {
        std::memset(buffer->at(0), 0xee, kStagingSize);
        buffer->keep(kStagingSize);
        buffer->clear();
    }

    void put(std::uint64_t offset, const char* text) {
        std::memcpy(buffer->at(offset), text, std::strlen(text));
        buffer->keep(offset + std::strlen(text));
    }

    std::string look(std::uint64_t offset, std::uint64_t n) {
        return {reinterpret_cast<const char*>(buffer->view(offset, n)), n};
    }

    std::unique_ptr<StagingBuffer> buffer = std::make_unique<StagingBuffer>();
};

TEST(StagingSize, IsOneMiB) { EXPECT_EQ(kStagingSize, 1048576u); }

TEST_F(Staging, WhatWasClearedReadsAsZero) { EXPECT_EQ(look(0, kStagingSize), std::string(kStagingSize, '\0')); }

TEST_F(Staging, WhatIsPutCanBeViewed) {
    put(0, "abcdef");
    EXPECT_EQ(look(2, 3), "cde");
}

TEST_F(Staging, BehindWhatIsPutAreZeros) {
    put(0, "abc");
    EXPECT_EQ(look(1, 5), std::string("bc\0\0\0", 5));
}

TEST_F(Staging, BetweenWhatIsPutAndWhatIsViewedAreZeros) {
    put(0, "abc");
    EXPECT_EQ(look(100, 2), std::string("\0\0", 2));
    EXPECT_EQ(look(0, 6), std::string("abc\0\0\0", 6));
}

TEST_F(Staging, WhatIsPutOverViewedZerosReplacesThem) {
    look(0, 8);
    put(2, "xy");
    EXPECT_EQ(look(0, 8), std::string("\0\0xy\0\0\0\0", 8));
}

TEST_F(Staging, KeepingLessThanIsLiveLosesNothing) {
    put(0, "abcdef");
    buffer->keep(2);
    EXPECT_EQ(look(0, 6), "abcdef");
}

TEST_F(Staging, ClearingForgetsWhatWasPut) {
    put(0, "abcdef");
    buffer->clear();
    put(0, "x");
    EXPECT_EQ(look(0, 4), std::string("x\0\0\0", 4));
}

TEST_F(Staging, ItsLastByteIsWithinReach) {
    put(kStagingSize - 1, "z");
    EXPECT_EQ(look(kStagingSize - 1, 1), "z");
    EXPECT_EQ(look(kStagingSize, 0), "");
}

// In each of these the buffer has been wiped once, so that what is in memory afterwards was put there by the test.
class Wipe : public Staging {
 protected:
    Wipe() { buffer->wipe(); }

    bool memoryIsZero() {
        const unsigned char* const bytes = buffer->at(0);
        return std::all_of(bytes, bytes + kStagingSize, [](unsigned char byte) { return byte == 0; });
    }
};

TEST_F(Wipe, OverwritesWhatWasClearedLongBefore) { EXPECT_TRUE(memoryIsZero()); }

TEST_F(Wipe, OverwritesWhatWasKept) {
    put(0, "secret");
    EXPECT_FALSE(memoryIsZero());
    buffer->wipe();
    EXPECT_TRUE(memoryIsZero());
}

TEST_F(Wipe, OverwritesWhatWasPutAndOnlyNamedInClear) {
    std::memcpy(buffer->at(0), "secret", 6);
    buffer->clear(6);
    buffer->wipe();
    EXPECT_TRUE(memoryIsZero());
}

TEST_F(Wipe, OverwritesALongRunAfterAShortOne) {
    put(0, "a long secret");
    buffer->clear();
    put(0, "short");
    buffer->wipe();
    EXPECT_TRUE(memoryIsZero());
}

TEST_F(Wipe, LeavesABufferThatReadsAsZero) {
    put(0, "secret");
    buffer->wipe();
    EXPECT_EQ(look(0, 8), std::string(8, '\0'));
}

}  // namespace
}  // namespace qor::impl
