// Files whose measured length is not what they hold: each way of reading fails as a read that came up short does, and
// the length stays what was measured.
#include <span>
#include <string>

#include "faults/on_scripted_disk.h"

namespace qor::test {
namespace {

// Twenty-four bytes.
const std::string kContent = "settings, made up, short";

struct Claim {
    const char* who;
    std::uint64_t length;
    const char* refill;  // the first call that a read makes, and the text that it leaves
    const char* text;
    const char* wholeText;  // the text of a whole-text read, which makes the same call
};

const Claim kClaims[] = {
    {"a file made up as it is read", 0, "read 0", "Attempted to read beyond file size.", ""},
    {"a page of settings", 4096, "read 4096 -> 24", "Fread failed. Requested 4096, read 24.", "Failed to read file."},
    {"a folder", 0x7fffffffffffffff, "read 1048576 -> 24", "Fread failed. Requested 1048576, read 24.",
     "Failed to read file."},
    {"a stream that cannot tell", kAllBitsSet, "read 1048576 -> 24", "Fread failed. Requested 1048576, read 24.",
     "Failed to read file."},
};

class ClaimedLength : public OnScriptedDisk {
 protected:
    /// Does something with a file of each claim.
    template <typename Act>
    void forEach(Format format, Act act) {
        for (const Claim& claim : kClaims) {
            SCOPED_TRACE(claim.who);
            disk.remove(kPath);
            disk.make(kPath, kContent);
            if (claim.length == kAllBitsSet) {
                openedWithoutALength(Mode::Read, format);
            } else {
                disk.claimLength(kPath, claim.length);
                opened(Mode::Read, format);
            }
            EXPECT_TRUE(file.ok());
            act(claim);
            EXPECT_EQ(file.len(), claim.length);
            EXPECT_EQ(file.pos(), 0u);
        }
    }

    /// A value of which no byte is read.
    template <typename Value>
    void expectUnread(Value before) {
        forEach(Format::Binary, [&](const Claim& claim) {
            Value value = before;
            EXPECT_FALSE(file.read(value));
            EXPECT_TRUE(value == before);
            EXPECT_EQ(disk.transcript(), claim.refill);
            EXPECT_EQ(file.error(), claim.text);
        });
    }
};

TEST_F(ClaimedLength, HoldsNoNumbers) {
    expectUnread('c');
    expectUnread(5);
    expectUnread(0.5);
}

TEST_F(ClaimedLength, HoldsNoRecords) {
    expectUnread(String("before"));
    expectUnread(std::string("before"));
    expectUnread(math::Vec2d(5, 5));
}

TEST_F(ClaimedLength, HoldsNoArrays) {
    forEach(Format::Binary, [&](const Claim& claim) {
        int numbers[] = {5};
        EXPECT_FALSE(file.read(bufRef(std::span(numbers))));
        EXPECT_EQ(numbers[0], 5);
        EXPECT_EQ(disk.transcript(), claim.refill);
        EXPECT_EQ(file.error(), claim.text);
    });
}

// The look at the first byte and the read after it fail alike.
TEST_F(ClaimedLength, HoldsNoArraysOfBytes) {
    forEach(Format::Binary, [&](const Claim& claim) {
        unsigned char bytes[] = {5};
        EXPECT_FALSE(file.read(bufRef(std::span(bytes))));
        EXPECT_EQ(bytes[0], 5);
        EXPECT_EQ(disk.transcript(), claim.refill + std::string("; seek 0; tell; ") + claim.refill);
        EXPECT_EQ(file.error(), claim.text);
    });
}

TEST_F(ClaimedLength, HoldsNoBlocks) {
    forEach(Format::Binary, [&](const Claim& claim) {
        ds::Vector<unsigned char> bytes = {1, 2, 3};
        EXPECT_FALSE(file.read(bytes, Compression::Lz4));
        EXPECT_TRUE(bytes.isEmpty());
        EXPECT_EQ(disk.transcript(), claim.refill);
        EXPECT_EQ(file.error(), "Failed to read un/compressed length.");
    });
}

// Memory for all that is claimed is taken only where there is as much.
TEST_F(ClaimedLength, IsNotTheNumberOfItsBytes) {
    forEach(Format::Binary, [&](const Claim& claim) {
        ds::Vector<unsigned char> bytes;
        EXPECT_EQ(file.read(bytes, Compression::None), claim.length == 0);
        EXPECT_EQ(bytes.size(), claim.length == 4096 ? 4096u : 0u);
        EXPECT_EQ(disk.transcript(), claim.refill);
        EXPECT_EQ(file.error(), claim.length == 0 ? "" : claim.text);
    });
}

TEST_F(ClaimedLength, IsThatOfNoWholeText) {
    forEach(Format::Text, [&](const Claim& claim) {
        EXPECT_EQ(file.read(), "");
        EXPECT_EQ(disk.transcript(), std::string("seek 0; tell; ") + claim.refill + "; seek 0; tell");
        EXPECT_EQ(file.error(), claim.wholeText);
    });
}

TEST_F(ClaimedLength, LeavesNothingToPeekAt) {
    forEach(Format::Binary, [&](const Claim& claim) {
        EXPECT_EQ(file.peek(), 0);
        EXPECT_EQ(disk.transcript(), claim.refill + std::string("; seek 0; tell"));
        EXPECT_TRUE(file.ok());
    });
}

}  // namespace
}  // namespace qor::test
