// lz4.h: blocks byte by byte, every reason to refuse one, and the fast loop beside the plain one.
#include "qor/core/codec/lz4.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/codec/lz4_contents.h"
#include "support/test_files.h"

namespace qor::test {
namespace {

namespace lz4 = impl::lz4;

// The block of `content`, in memory that holds nothing else.
std::string encodedBlock(std::string_view content) {
    lz4::BlockEncoder encoder(view(content));
    EXPECT_TRUE(encoder.prepare());
    ds::Vector<unsigned char> block;
    const std::size_t room = content.size() + content.size() / 255 + 16;
    EXPECT_TRUE(block.resize(room + impl::kWildSlack));
    const std::size_t size = encoder.encode(content.size(), block.data(), room);
    EXPECT_GT(size, 0u);
    EXPECT_TRUE(block.resize(size));
    return asString(block);
}

// A block that comes behind `before`, into a result of `size` bytes in all; by both loops, which agree.
std::optional<std::string> decodedBehind(std::string_view before, std::string_view block, std::size_t size,
                                         std::uint64_t first = 0, std::uint64_t limit = 1 << 22) {
    std::optional<std::string> contents[2];
    for (const bool plain : {false, true}) {
        const auto own = ownBytes(block);
        ds::Vector<unsigned char> content;
        impl::Result result(content, size, block.size());
        EXPECT_TRUE(result.makeRoom(0, before.size()));
        std::copy(before.begin(), before.end(), result.begin());
        std::uint64_t produced = before.size();
        const auto decode = plain ? lz4::decodeBlockPlainly : lz4::decodeBlock;
        if (decode(view(own), first, limit, result, produced) && produced == size) contents[plain] = asString(content);
    }
    EXPECT_EQ(contents[false], contents[true]) << "the fast loop and the plain one";
    return contents[false];
}

std::optional<std::string> decoded(std::string_view block, std::size_t size) { return decodedBehind("", block, size); }

// A sequence as a reader of the format writes it: literals, then a match, or none at the block's end.
std::string sequence(std::string_view literals, std::size_t offset = 0, std::size_t length = 0) {
    const auto more = [](std::size_t count) {
        std::string bytes;
        if (count < 15) return bytes;
        for (count -= 15; count >= 255; count -= 255) bytes += '\xff';
        return bytes + static_cast<char>(count);
    };
    const std::size_t matchCount = length > 0 ? length - 4 : 0;
    std::string bytes(
        1, static_cast<char>(std::min<std::size_t>(literals.size(), 15) << 4 | std::min<std::size_t>(matchCount, 15)));
    bytes += more(literals.size());
    bytes += literals;
    if (length == 0) return bytes;
    bytes += static_cast<char>(offset);
    bytes += static_cast<char>(offset >> 8);
    return bytes + more(matchCount);
}

// What a sequence adds to what is there.
void play(std::string& content, std::string_view literals, std::size_t offset = 0, std::size_t length = 0) {
    content += literals;
    for (; length > 0; --length) content += content[content.size() - offset];
}

TEST(Lz4Block, ARunOfLiteralsIsATokenAndTheBytes) {
    EXPECT_EQ(Bytes{encodedBlock("a")}, "10 61"_bytes);
    EXPECT_EQ(Bytes{encodedBlock("0123456789abcde")}, "f0 00 30313233343536373839 6162636465"_bytes);
    EXPECT_EQ(Bytes{encodedBlock("")}, "00"_bytes);
}

TEST(Lz4Block, ARepeatedByteIsAMatchOfOffsetOne) {
    EXPECT_EQ(Bytes{encodedBlock(std::string(1000, 'a'))}, "1f 61 01 00 ff ff ff d2 50 61 61 61 61 61"_bytes);
}

TEST(Lz4Block, CountsOf15AndOf255MoreEndInAZero) {
    for (const std::size_t count : std::initializer_list<std::size_t>{14, 15, 16, 269, 270, 271, 524, 525, 526}) {
        const std::string literals = noise(count);
        EXPECT_EQ(encodedBlock(literals), sequence(literals)) << count << " literals";
        std::string content = "a";
        play(content, "", 1, count + 4);
        play(content, "bcdef");
        EXPECT_EQ(encodedBlock(content), sequence("a", 1, count + 4) + sequence("bcdef")) << count << " and 4";
        EXPECT_EQ(decoded(encodedBlock(content), content.size()), content) << count << " and 4";
    }
}

TEST(Lz4Block, ContentOfEverySizeComesBack) {
    for (std::size_t size = 0; size <= 300; ++size) {
        for (const auto& [name, content] : contentsOf(size)) {
            SCOPED_TRACE(::testing::Message() << size << " bytes of " << name);
            ASSERT_EQ(decoded(encodedBlock(content), size), content);
        }
    }
}

TEST(Lz4Block, ContentAroundTheWindowComesBack) {
    for (const std::size_t size : std::initializer_list<std::size_t>{4095, 4096, 4097, 65'534, 65'535, 65'536, 65'537,
                                                                     131'072, 131'073, 1'000'000}) {
        for (const auto& [name, content] : contentsOf(size)) {
            SCOPED_TRACE(::testing::Message() << size << " bytes of " << name);
            ASSERT_EQ(decoded(encodedBlock(content), size), content);
        }
    }
}

TEST(Lz4Block, EveryPeriodComesBack) {
    for (std::size_t period = 1; period <= 300; ++period) {
        const std::string content = periodic(5 * period + 100, period);
        ASSERT_EQ(decoded(encodedBlock(content), content.size()), content) << "period " << period;
    }
}

// The two rules by which an encoder lets a decoder copy more than it has to at the end.
TEST(Lz4Block, NoMatchStartsOrEndsTooNearToTheEnd) {
    for (const std::size_t size : std::initializer_list<std::size_t>{13, 14, 20, 100, 5000}) {
        for (const auto& [name, content] : contentsOf(size)) {
            SCOPED_TRACE(::testing::Message() << size << " bytes of " << name);
            const std::string block = encodedBlock(content);
            std::size_t at = 0;
            std::size_t produced = 0;
            const auto byte = [&] { return static_cast<unsigned char>(block[at++]); };
            const auto count = [&](std::size_t n) {
                if (n < 15) return n;
                unsigned more;
                do n += more = byte();
                while (more == 255);
                return n;
            };
            for (;;) {
                const unsigned token = byte();
                const std::size_t literals = count(token >> 4);
                at += literals;
                produced += literals;
                if (at == block.size()) {
                    EXPECT_TRUE(literals >= 5 || produced == literals) << literals << " literals at the end";
                    break;
                }
                EXPECT_LE(produced + 12, size) << "a match starts at " << produced;
                at += 2;
                produced += count(token & 15) + 4;
                ASSERT_LE(produced, size);
            }
            EXPECT_EQ(produced, size);
        }
    }
}

TEST(Lz4Block, TheEncoderKeepsToItsRoomAndSaysWhenItDoesNotSuffice) {
    for (const auto& [name, content] : contentsOf(700)) {
        const std::string block = encodedBlock(content);
        for (std::size_t room = 0; room <= block.size() + 10; ++room) {
            SCOPED_TRACE(::testing::Message() << name << ", room for " << room << " of " << block.size());
            lz4::BlockEncoder encoder(view(content));
            ASSERT_TRUE(encoder.prepare());
            auto memory = ownBytes(std::string(room + impl::kWildSlack, '~'));
            const std::size_t size = encoder.encode(content.size(), memory.data(), room);
            if (room < block.size()) {
                ASSERT_EQ(size, 0u);
            } else if (room >= block.size() + 2) {
                ASSERT_EQ(size, block.size());
            }
            if (size != 0) {
                ASSERT_EQ(asString(memory).substr(0, size), block);
            }
        }
    }
}

TEST(Lz4Block, LaterBlocksReachIntoEarlierOnes) {
    const std::string sentence = noise(1000);
    const std::string content = sentence + sentence;
    lz4::BlockEncoder encoder(view(content));
    ASSERT_TRUE(encoder.prepare());
    unsigned char block[1100 + impl::kWildSlack];
    ASSERT_GT(encoder.encode(1000, block, 1100), 1000u);
    const std::size_t size = encoder.encode(1000, block, 1100);
    ASSERT_GT(size, 0u);
    ASSERT_LT(size, 40u);
    EXPECT_EQ(decodedBehind(sentence, asString(ownBytes({reinterpret_cast<char*>(block), size})), 2000), content);
}

TEST(Lz4Block, AMatchReaches65535BytesBackAndNoFurther) {
    const std::string start = noise(100);
    for (const std::size_t distance : std::initializer_list<std::size_t>{65'534, 65'535, 65'536, 65'537}) {
        const std::string content = start + std::string(distance - 100, 'a') + start + "the end";
        const std::string block = encodedBlock(content);
        EXPECT_EQ(decoded(block, content.size()), content);
        EXPECT_EQ(block.size() < 430, distance <= 65'535) << distance;
    }
}

TEST(Lz4Block, MatchesOfEveryOffsetAndLengthAreCopiedByteByByte) {
    const std::string start = noise(50);
    for (const std::string& end : {std::string("near"), noise(100, 2)}) {
        for (std::size_t offset = 1; offset <= 40; ++offset) {
            for (std::size_t length = 4; length <= 300; ++length) {
                std::string content;
                play(content, start, offset, length);
                play(content, end);
                const std::string block = sequence(start, offset, length) + sequence(end);
                ASSERT_EQ(decoded(block, content.size()), content) << "offset " << offset << ", length " << length;
            }
        }
    }
}

TEST(Lz4Block, ALongRunOfAShortPatternEndsWithTheContent) {
    for (std::size_t period = 1; period <= 40; ++period) {
        std::string content;
        play(content, noise(period), period, 100'000 + period);
        EXPECT_EQ(decoded(sequence(noise(period), period, 100'000 + period) + sequence(""), content.size()), content)
            << "period " << period;
    }
}

TEST(Lz4Block, ManySequencesOfEveryShapeComeBack) {
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(::testing::Message() << "seed " << seed);
        Chance chance(seed);
        std::string content;
        std::string block;
        for (int i = 0; i < 200; ++i) {
            const std::uint32_t most = chance.below(10) == 0 ? 600 : 20;
            const std::string literals = noise(chance.below(most) + (i == 0 ? 1 : 0), seed + chance.below(1000));
            const auto reach =
                static_cast<std::uint32_t>(std::min<std::size_t>(65'535, content.size() + literals.size()));
            const std::size_t offset = 1 + chance.below(chance.below(2) == 0 ? std::min(reach, 40u) : reach);
            const std::size_t length = 4 + chance.below(most);
            block += sequence(literals, offset, length);
            play(content, literals, offset, length);
        }
        block += sequence("the end");
        play(content, "the end");
        ASSERT_EQ(decoded(block, content.size()), content);
        ASSERT_EQ(decoded(block, content.size() - 1), std::nullopt);
        ASSERT_EQ(decoded(block, content.size() + 1), std::nullopt);
    }
}

struct RefusedBlock {
    Bytes block;
    std::size_t size;
    std::string_view reason;
};

TEST(Lz4Block, DamagedBlocksAreRefused) {
    const RefusedBlock kRefused[] = {
        {""_bytes, 0, "no token"},
        {"30 61 62"_bytes, 3, "literals beyond the end"},
        {"f0"_bytes, 15, "a literal count that goes on, at the end"},
        {"f0 ff"_bytes, 270, "a literal count that goes on after 255, at the end"},
        {"f0 ff ff ff ff ff ff ff ff"_bytes, 2055, "a literal count that never ends"},
        {"f0 02 61 62 63 64 65 66 67 68 69 6a 6b 6c 6d 6e 6f 70"_bytes, 17, "one literal less than counted"},
        {"10 61 01"_bytes, 5, "half an offset"},
        {"10 61 01 00"_bytes, 5, "a match at the end"},
        {"1f 61 01 00"_bytes, 20, "a match length that goes on, at the end"},
        {"1f 61 01 00 ff"_bytes, 275, "a match length that goes on after 255, at the end"},
        {"10 61 00 00 00"_bytes, 5, "offset 0"},
        {"10 61 02 00 00"_bytes, 5, "a match that starts before the content"},
        {"00 01 00 00"_bytes, 4, "a match of nothing"},
        {"10 61 ff ff 00"_bytes, 5, "the largest offset, before the content"},
        {"10 61 01 00 00"_bytes, 4, "more content than there is to be, by a match"},
        {"10 61 01 00 10 62"_bytes, 5, "more content than there is to be, by literals"},
        {"10 61 01 00 00"_bytes, 6, "less content than there is to be"},
    };
    for (const auto& [block, size, reason] : kRefused) {
        EXPECT_EQ(decoded(block.raw, size), std::nullopt) << reason;
    }
    for (const auto& [block, size, reason] : kRefused) {
        if (reason.find("content than there is to be") != reason.npos) continue;  // the claim is what is wrong
        for (std::size_t claimed = 0; claimed < 64; ++claimed) {
            EXPECT_EQ(decoded(block.raw, claimed), std::nullopt) << reason << ", " << claimed << " bytes claimed";
        }
    }
    EXPECT_EQ(decoded("10 61 01 00 00"_bytes.raw, 5), "aaaaa") << "what most rows are damaged from";
}

// As above with so much on both sides that the fast loop meets the damage first.
TEST(Lz4Block, DamageInTheMiddleIsRefused) {
    const std::string before = sequence(noise(100), 50, 60);
    const std::string after = sequence(noise(300));
    const auto sizeWith = [](std::size_t middle) { return 160 + middle + 300; };
    EXPECT_NE(decoded(before + sequence("ab", 100, 10) + after, sizeWith(12)), std::nullopt);
    EXPECT_EQ(decoded(before + sequence("ab", 0, 10) + after, sizeWith(12)), std::nullopt) << "offset 0";
    EXPECT_NE(decoded(before + sequence("ab", 162, 10) + after, sizeWith(12)), std::nullopt);
    EXPECT_EQ(decoded(before + sequence("ab", 163, 10) + after, sizeWith(12)), std::nullopt) << "too far";
    EXPECT_EQ(decoded(before + sequence("ab", 163, 1000) + after, sizeWith(1002)), std::nullopt) << "too far and long";
    EXPECT_EQ(decoded(before + sequence("ab", 100, 10) + after, sizeWith(11)), std::nullopt) << "too much content";
    EXPECT_EQ(decoded(before + "\xf0" + std::string(50, '\xff'), sizeWith(12'765)), std::nullopt) << "a count too long";
}

TEST(Lz4Block, AMatchMayStartAtTheFirstPositionAllowedAndNotBefore) {
    const std::string block = sequence("x", 4, 8) + sequence("the end");
    EXPECT_EQ(decodedBehind("abcdef", block, 22, 3), "abcdefxdefxdefxthe end");
    EXPECT_EQ(decodedBehind("abcdef", block, 22, 4), std::nullopt);
}

TEST(Lz4Block, ABlockHoldsNoMoreThanItsLimit) {
    std::string content = "before";
    play(content, "x", 1, 99);
    const std::string block = sequence("x", 1, 99) + sequence("the end");
    play(content, "the end");
    EXPECT_EQ(decodedBehind("before", block, content.size(), 0, 107), content);
    EXPECT_EQ(decodedBehind("before", block, content.size(), 0, 106), std::nullopt) << "by literals";
    EXPECT_EQ(decodedBehind("before", block, content.size(), 0, 99), std::nullopt) << "by a match";
}

TEST(Lz4Block, EveryPrefixIsRefused) {
    for (const auto& [name, content] : contentsOf(200)) {
        const std::string block = encodedBlock(content);
        for (std::size_t size = 0; size < block.size(); ++size) {
            EXPECT_EQ(decoded(block.substr(0, size), content.size()), std::nullopt) << name << ", " << size << " bytes";
        }
    }
}

// Without a checksum a changed block may still be a block; both loops have to say the same of it.
TEST(Lz4Block, ABlockWithAChangedBitIsReadAlikeByBothLoops) {
    for (const auto& [name, content] : contentsOf(300)) {
        SCOPED_TRACE(name);
        const std::string block = encodedBlock(content);
        for (std::size_t bit = 0; bit < block.size() * 8; ++bit) {
            std::string changed = block;
            changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ 1 << bit % 8);
            const auto restored = decoded(changed, content.size());
            if (restored) {
                EXPECT_EQ(restored->size(), content.size());
            }
        }
    }
}

// ---- The fast loop: slow where it stops too soon, wrong where it stops too late ------------------------------------

using Reach = std::pair<std::size_t, std::size_t>;

// How far the fast loop comes in a block, and in the content, for which there are `room` bytes.
Reach reachOfFastLoop(std::string_view block, std::size_t room = 5000) {
    const auto own = ownBytes(block);
    std::vector<unsigned char> out(room);
    const unsigned char* const start = view(own).data();
    const lz4::Place place = lz4::decodeFast({start, out.data()}, start + block.size(), out.data(), out.data() + room);
    return {static_cast<std::size_t>(place.in - start), static_cast<std::size_t>(place.out - out.data())};
}

TEST(Lz4FastLoop, TakesSequencesOfEveryShape) {
    const std::string start = sequence(noise(14), 14, 18);  // a match from the very first byte on
    const std::string tail(100, '\xee');
    EXPECT_EQ(reachOfFastLoop(start + tail).first, start.size());
    for (const std::size_t literals : {0u, 1u, 14u, 15u, 16u, 40u, 269u, 270u, 600u}) {
        for (const std::size_t length : {4u, 18u, 19u, 40u, 273u, 274u, 600u}) {
            for (const std::size_t offset : {1u, 7u, 8u, 32u}) {
                const std::string block = start + sequence(noise(literals), offset, length);
                EXPECT_EQ(reachOfFastLoop(block + tail), Reach(block.size(), 32 + literals + length))
                    << literals << " literals, " << length << " bytes at " << offset;
            }
        }
    }
}

TEST(Lz4FastLoop, StopsBeforeASequenceThatIsTooNearToTheEndOfTheBlock) {
    const std::string shortOne = sequence(noise(14), 14, 18);
    EXPECT_EQ(reachOfFastLoop(shortOne + "12"), Reach(shortOne.size(), 32));
    EXPECT_EQ(reachOfFastLoop(shortOne + "1"), Reach(0, 0));
    const std::string longOne = sequence(noise(40), 14, 18);
    EXPECT_EQ(reachOfFastLoop(longOne + std::string(impl::kWildSlack, '\xee')), Reach(longOne.size(), 58));
    EXPECT_EQ(reachOfFastLoop(longOne + std::string(impl::kWildSlack - 1, '\xee')), Reach(0, 0));
}

TEST(Lz4FastLoop, StopsBeforeASequenceThatIsTooNearToTheEndOfTheRoom) {
    const std::string tail(100, '\xee');
    const std::string shortOne = sequence(noise(14), 14, 18) + tail;
    EXPECT_EQ(reachOfFastLoop(shortOne, 32 + impl::kWildSlack).second, 32u);
    EXPECT_EQ(reachOfFastLoop(shortOne, 32 + impl::kWildSlack - 1).second, 0u);
    const std::string manyLiterals = sequence(noise(40), 14, 18) + tail;
    EXPECT_EQ(reachOfFastLoop(manyLiterals, 40 + 32 + impl::kWildSlack).second, 58u);
    EXPECT_EQ(reachOfFastLoop(manyLiterals, 40 + 32 + impl::kWildSlack - 1).second, 0u);
    const std::string longMatch = sequence(noise(14), 14, 100) + tail;
    EXPECT_EQ(reachOfFastLoop(longMatch, 114 + impl::kWildSlack).second, 114u);
    EXPECT_EQ(reachOfFastLoop(longMatch, 114 + impl::kWildSlack - 1).second, 0u);
}

TEST(Lz4FastLoop, StopsBeforeASequenceThatIsDamaged) {
    const std::string tail(100, '\xee');
    EXPECT_EQ(reachOfFastLoop(sequence(noise(14), 15, 18) + tail), Reach(0, 0)) << "a match from before the content";
    EXPECT_EQ(reachOfFastLoop(sequence(noise(14), 0, 18) + tail), Reach(0, 0)) << "an offset of 0";
    EXPECT_EQ(reachOfFastLoop(std::string(100, '\xff')), Reach(0, 0)) << "a count of literals without an end";
    EXPECT_EQ(reachOfFastLoop("0f 61 01 00"_bytes.raw + std::string(100, '\xff')), Reach(0, 0))
        << "a length without an end";
}

TEST(Lz4Block, MemoryGrowsWithWhatIsProduced) {
    // Two million bytes out of a small block, then damage; a hundred million are claimed.
    const std::string block = sequence("a", 1, 2'000'000) + sequence("b", 0, 4);
    ds::Vector<unsigned char> content;
    impl::Result result(content, 100'000'000, block.size());
    std::uint64_t produced = 0;
    EXPECT_FALSE(lz4::decodeBlock(view(block), 0, 1 << 22, result, produced));
    EXPECT_LE(content.capacity(), 8'000'004u);
}

}  // namespace
}  // namespace qor::test
