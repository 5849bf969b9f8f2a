// deflate.h: tables, streams bit by bit, every reason to refuse one, the fast loop beside the plain one, and what the
// encoder makes of content of all kinds.
#include "qor/core/codec/deflate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/codec/deflate_stream.h"
#include "qor/core/codec/bits.h"
#include "qor/core/codec/deflate_tables.h"

namespace qor::impl::deflate {
namespace {

using test::DeflateStream;

Bytes bytesOf(std::string_view text) { return {reinterpret_cast<const unsigned char*>(text.data()), text.size()}; }

using Decode = bool (*)(Bytes stream, int windowBits, Result& result);

// What a stream holds, if it is not refused.
struct Decoded {
    bool whole = false;
    std::string content;
    friend bool operator==(const Decoded&, const Decoded&) = default;
};

Decoded decoded(std::string_view stream, std::size_t claimed, Decode with = decode, int windowBits = 15) {
    // In memory of its own, so that a step beyond the end is noticed.
    const std::vector<unsigned char> exact(stream.begin(), stream.end());
    ds::Vector<unsigned char> content;
    Result result(content, claimed, exact.size());
    if (!with(exact, windowBits, result)) return {};
    return {true, std::string(content.begin(), content.end())};
}

std::string encoded(std::string_view content) {
    std::string stream(largestStream(content.size()) + kEncodeSlack, '\xEE');
    auto* const start = reinterpret_cast<unsigned char*>(stream.data());
    const unsigned char* const end = encode(bytesOf(content), start);
    EXPECT_NE(end, nullptr);
    stream.resize(static_cast<std::size_t>(end - start));
    return stream;
}

// True if the stream of the content is no longer than it may be and gives the content back, by both loops.
void expectRoundTrip(const std::string& content, const std::string& what) {
    const std::string stream = encoded(content);
    ASSERT_LE(stream.size(), largestStream(content.size())) << what;
    ASSERT_TRUE(decoded(stream, content.size()) == (Decoded{true, content})) << what;
    ASSERT_TRUE(decoded(stream, content.size(), decodePlainly) == (Decoded{true, content})) << what;
}

std::string noise(std::size_t size, unsigned seed, unsigned symbols = 256) {
    std::mt19937 engine(seed);
    std::string text(size, '\0');
    for (char& c : text) c = static_cast<char>(engine() % symbols);
    return text;
}

std::string periodic(std::size_t size, std::size_t period) {
    std::string text = noise(period, static_cast<unsigned>(period));
    while (text.size() < size) text += text.substr(0, size - text.size());
    return text;
}

// Words of few letters, which make matches of all lengths and codes of all kinds.
std::string prose(std::size_t size, unsigned seed) {
    std::mt19937 engine(seed);
    std::vector<std::string> words;
    for (int i = 0; i < 500; ++i) {
        std::string word;
        for (std::size_t n = 1 + engine() % 9; n > 0; --n)
            word += static_cast<char>('a' + engine() % 5 * (engine() % 6));
        words.push_back(word);
    }
    std::string text;
    while (text.size() < size) text += words[engine() % (1 + engine() % words.size())] + " ";
    text.resize(size);
    return text;
}

// --- Tables ----------------------------------------------------------------------------------------------------------

TEST(DeflateTables, LengthsFollowTheirRule) {
    unsigned base = 3;
    for (unsigned i = 0; i < 28; ++i) {
        const unsigned extraBits = i < 8 ? 0 : i / 4 - 1;
        EXPECT_EQ(kLengths[i].base, base) << i;
        EXPECT_EQ(kLengths[i].extraBits, extraBits) << i;
        base += 1u << extraBits;
    }
    EXPECT_EQ(kLengths[28].base, 258);
    EXPECT_EQ(kLengths[28].extraBits, 0);
}

TEST(DeflateTables, DistancesFollowTheirRule) {
    unsigned base = 1;
    for (unsigned i = 0; i < 30; ++i) {
        const unsigned extraBits = i < 4 ? 0 : i / 2 - 1;
        EXPECT_EQ(kDistances[i].base, base) << i;
        EXPECT_EQ(kDistances[i].extraBits, extraBits) << i;
        base += 1u << extraBits;
    }
    EXPECT_EQ(base, 32769u);
}

TEST(DeflateTables, FixedCodesAreComplete) {
    const auto sum = [](const auto& lengths) {
        unsigned result = 0;
        for (const unsigned length : lengths) result += 1u << (15 - length);
        return result;
    };
    EXPECT_EQ(sum(kFixedLiteralLengths), 1u << 15);
    EXPECT_EQ(sum(kFixedDistanceLengths), 1u << 15);
    EXPECT_EQ(kFixedLiteralLengths[143], 8);
    EXPECT_EQ(kFixedLiteralLengths[144], 9);
    EXPECT_EQ(kFixedLiteralLengths[255], 9);
    EXPECT_EQ(kFixedLiteralLengths[256], 7);
    EXPECT_EQ(kFixedLiteralLengths[279], 7);
    EXPECT_EQ(kFixedLiteralLengths[280], 8);
}

TEST(DeflateTables, TheOrderOfCodeLengthsHasEachOnce) {
    EXPECT_EQ(std::set<int>(kLengthOrder.begin(), kLengthOrder.end()).size(), 19u);
    EXPECT_EQ(kLengthOrder.front(), 16);
    EXPECT_EQ(kLengthOrder.back(), 15);
}

// --- What a decoder reads --------------------------------------------------------------------------------------------

// Lengths of a literal code with the words 'a' 0, end of block 10, length 3 11; behind them those of distances.
DeflateStream& threeSymbols(DeflateStream& stream) { return stream.zeros(97).length(1).zeros(158).lengths({2, 2}); }

TEST(Inflate, AStoredBlock) { EXPECT_EQ(decoded(DeflateStream().stored(true, "abc").bytes, 3).content, "abc"); }

TEST(Inflate, EmptyStoredBlocksBetweenOthers) {
    DeflateStream stream;
    stream.stored(false, "")
        .block(false, 1)
        .fixed("ab")
        .symbol(256)
        .stored(false, "")
        .stored(false, "c")
        .stored(true, "");
    EXPECT_EQ(decoded(stream.bytes, 3).content, "abc");
}

TEST(Inflate, FixedCodesHoldForTheNextBlockOfThem) {
    DeflateStream stream;
    stream.block(false, 1).fixed("ab").symbol(256).block(true, 1).fixed("cd").symbol(256);
    EXPECT_EQ(decoded(stream.bytes, 4).content, "abcd");
}

TEST(Inflate, FixedCodesComeBackAfterADynamicBlock) {
    DeflateStream stream;
    stream.block(false, 1).fixed("b").symbol(256);
    threeSymbols(stream.dynamic(false, 258, 2)).lengths({1, 1}).word(0, 1).word(2, 2);
    stream.block(true, 1).fixed("cd").symbol(256);
    EXPECT_EQ(decoded(stream.bytes, 4).content, "bacd");
}

TEST(Inflate, AMatchReachesIntoEarlierBlocks) {
    DeflateStream stream;
    stream.stored(false, "abcd").block(true, 1).symbol(258).distance(3).symbol(256);
    EXPECT_EQ(decoded(stream.bytes, 8).content, "abcdabcd");
}

TEST(Inflate, AMatchOverlapsItself) {
    DeflateStream stream;
    stream.block(true, 1).fixed("ab").symbol(261).distance(1).symbol(256);
    EXPECT_EQ(decoded(stream.bytes, 9).content, "ababababa");
}

TEST(Inflate, BothWaysToWriteALengthOf258) {
    for (const bool byExtraBits : {false, true}) {
        DeflateStream stream;
        stream.block(true, 1).fixed("x");
        byExtraBits ? stream.symbol(284).number(31, 5) : stream.symbol(285);
        stream.distance(0).symbol(256);
        EXPECT_EQ(decoded(stream.bytes, 259).content, std::string(259, 'x')) << byExtraBits;
    }
}

TEST(Inflate, EveryLengthAndDistanceSymbolWithItsLeastAndGreatestExtraBits) {
    const std::string before = noise(32768, 5);
    for (unsigned length = 0; length < 29; ++length) {
        for (unsigned distance = 0; distance < 30; ++distance) {
            for (const unsigned greatest : {0u, 1u}) {
                const unsigned lengthExtra = greatest * ((1u << kLengths[length].extraBits) - 1);
                const unsigned distanceExtra = greatest * ((1u << kDistances[distance].extraBits) - 1);
                DeflateStream stream;
                stream.stored(false, before).block(true, 1);
                stream.symbol(257 + length).number(lengthExtra, kLengths[length].extraBits);
                stream.distance(distance).number(distanceExtra, kDistances[distance].extraBits).symbol(256);
                std::string content = before;
                for (unsigned n = kLengths[length].base + lengthExtra; n > 0; --n) {
                    content += content[content.size() - kDistances[distance].base - distanceExtra];
                }
                ASSERT_TRUE(decoded(stream.bytes, content.size()) == (Decoded{true, content}))
                    << length << " " << distance;
            }
        }
    }
}

TEST(Inflate, ADynamicBlock) {
    DeflateStream stream;
    threeSymbols(stream.dynamic(true, 258, 2)).lengths({1, 1}).word(0, 1).word(3, 2).word(0, 1).word(2, 2);
    EXPECT_EQ(decoded(stream.bytes, 4).content, "aaaa");
}

TEST(Inflate, ADistanceCodeOfOneWord) {
    DeflateStream stream;
    threeSymbols(stream.dynamic(true, 258, 1)).lengths({1}).word(0, 1).word(3, 2).word(0, 1).word(2, 2);
    EXPECT_EQ(decoded(stream.bytes, 4).content, "aaaa");
}

TEST(Inflate, ADistanceCodeOfNoWords) {
    DeflateStream stream;
    threeSymbols(stream.dynamic(true, 258, 1)).lengths({0}).word(0, 1).word(2, 2);
    EXPECT_EQ(decoded(stream.bytes, 1).content, "a");
}

TEST(Inflate, ALiteralCodeOfTheEndAlone) {
    DeflateStream stream;
    stream.dynamic(true, 257, 1).zeros(256).lengths({1, 0}).word(0, 1);
    EXPECT_TRUE(decoded(stream.bytes, 0).whole);
}

TEST(Inflate, ARunOfLengthsFromOneCodeIntoTheOther) {
    DeflateStream stream;  // 'a' 1, end 3, lengths 3, 4, 5 3; distances 1, 2 and 3 to 4 with words of 2 bits
    stream.dynamic(true, 260, 8).zeros(97).length(1).zeros(158).length(3).again(6).again(5);
    stream.word(0, 1).word(5, 3).word(0, 3).word(4, 3);
    EXPECT_EQ(decoded(stream.bytes, 4).content, "aaaa");
}

TEST(Inflate, WordsOfFifteenBits) {
    // Both codes have words of 1, 2, ... 14, 15 and 15 bits.
    for (unsigned n = 0; n < 16; ++n) {
        DeflateStream stream;
        stream.dynamic(true, 257, 16).zeros(97);
        for (unsigned i = 0; i < 15; ++i) stream.length(1 + i);  // 'a' to 'o'
        stream.zeros(144).length(15);
        for (unsigned i = 0; i < 15; ++i) stream.length(1 + i);
        stream.length(15);
        if (n < 15) stream.word((2u << n) - 2, static_cast<int>(n) + 1);
        stream.word(0x7FFF, 15);
        const std::string content = n < 15 ? std::string(1, static_cast<char>('a' + n)) : "";
        EXPECT_TRUE(decoded(stream.bytes, content.size()) == (Decoded{true, content})) << n;
    }
}

// The bits at hand suffice for the longest match and for the look-up of the word behind it.
TEST(Inflate, MatchesOfTheMostBitsBetweenTheLongestWords) {
    DeflateStream stream;
    std::string content = noise(32768, 9);
    stream.stored(false, content).dynamic(true, 286, 30).zeros(97);
    for (unsigned i = 1; i <= 13; ++i) stream.length(i);                           // 'a' to 'm'
    stream.zeros(12).length(15).zeros(133).length(14).zeros(27).lengths({15, 0});  // 'z', end, lengths from 227 on
    for (unsigned i = 1; i <= 14; ++i) stream.length(i);                           // the nearest distances
    stream.zeros(14).lengths({15, 15});                                            // the furthest two
    const auto literal = [&](unsigned n) {
        stream.word(n < 13 ? (2u << n) - 2 : 0x7FFE, n < 13 ? static_cast<int>(n) + 1 : 15);
        content += n < 13 ? static_cast<char>('a' + n) : 'z';
    };
    for (unsigned first = 0; first <= 13; ++first) {
        for (unsigned second = 0; second <= 13; ++second) {
            literal(first);
            literal(second);
            stream.word(0x7FFF, 15).number(31, 5).word(0x7FFF, 15).number(8191, 13);
            for (int i = 0; i < 258; ++i) content += content[content.size() - 32768];
        }
    }
    stream.word(0x3FFE, 14);
    EXPECT_TRUE(decoded(stream.bytes, content.size()) == (Decoded{true, content}));
    EXPECT_TRUE(decoded(stream.bytes, content.size(), decodePlainly) == (Decoded{true, content}));
}

TEST(Inflate, WindowsOfEverySizeReachAllOfIt) {
    for (int windowBits = 8; windowBits <= 15; ++windowBits) {
        const std::string before = noise(std::size_t{1} << windowBits, 9);
        const auto symbol = static_cast<unsigned>(2 * windowBits - 1);
        DeflateStream stream;
        stream.stored(false, before).block(true, 1).symbol(257).distance(symbol);
        stream.number(0xFFFF, kDistances[symbol].extraBits).symbol(256);
        EXPECT_EQ(decoded(stream.bytes, before.size() + 3, decode, windowBits).content, before + before.substr(0, 3));
    }
}

// --- What it refuses -------------------------------------------------------------------------------------------------

// Each row is a damaged stream beside a sound one that differs from it in the thing named.
struct Damage {
    const char* reason;
    DeflateStream sound;
    DeflateStream damaged;
    int windowBits = 15;
    std::size_t size = 4;
};

DeflateStream fixedBlock(const std::function<void(DeflateStream&)>& fill) {
    DeflateStream stream;
    fill(stream.block(true, 1).fixed("a"));
    return stream.symbol(256);
}

DeflateStream dynamicBlock(unsigned literalCount, unsigned distanceCount,
                           const std::function<void(DeflateStream&)>& fill) {
    DeflateStream stream;
    fill(stream.dynamic(true, literalCount, distanceCount));
    return stream.word(0, 1).word(3, 2).word(0, 1).word(2, 2);
}

// A block with a code length code of these lengths, in the order of the format, and the lengths of `threeSymbols`.
DeflateStream lengthCode(std::initializer_list<unsigned> lengths, const std::function<void(DeflateStream&)>& fill) {
    DeflateStream stream;
    stream.block(true, 2).number(1, 5).number(0, 5).number(static_cast<unsigned>(lengths.size()) - 4, 4);
    for (const unsigned length : lengths) stream.number(length, 3);
    fill(stream);
    return stream.word(0, 1).word(3, 2).word(0, 1).word(2, 2);
}

std::vector<Damage> damages() {
    using S = DeflateStream;
    std::vector<Damage> rows;
    rows.push_back({"a block of type 3", S().block(true, 1).symbol(256), S().block(true, 3).symbol(256), 15, 0});
    rows.push_back({"a complement that is not one, in its low byte", S().storedAs(true, 4, 0xFFFB, "aaaa"),
                    S().storedAs(true, 4, 0xFFFA, "aaaa")});
    rows.push_back({"a complement that is not one, in its high byte", S().storedAs(true, 4, 0xFFFB, "aaaa"),
                    S().storedAs(true, 4, 0x7FFB, "aaaa")});
    rows.push_back({"a stored block longer than what is left", S().storedAs(true, 4, 0xFFFB, "aaaa"),
                    S().storedAs(true, 5, 0xFFFA, "aaaa")});

    rows.push_back({"a match from before the start, behind all of the content",
                    fixedBlock([](S& s) { s.fixed("aaa"); }),
                    fixedBlock([](S& s) { s.fixed("aaa").symbol(257).distance(4); })});
    rows.push_back({"length symbol 286", fixedBlock([](S& s) { s.symbol(257).distance(0); }),
                    fixedBlock([](S& s) { s.symbol(286).distance(0); })});
    rows.push_back({"length symbol 287", fixedBlock([](S& s) { s.symbol(257).distance(0); }),
                    fixedBlock([](S& s) { s.symbol(287).distance(0); })});
    rows.push_back({"distance symbol 30", fixedBlock([](S& s) { s.symbol(257).distance(0); }),
                    fixedBlock([](S& s) { s.symbol(257).distance(30); })});
    rows.push_back({"distance symbol 31", fixedBlock([](S& s) { s.symbol(257).distance(0); }),
                    fixedBlock([](S& s) { s.symbol(257).distance(31); })});
    rows.push_back({"a distance to before the content", fixedBlock([](S& s) { s.symbol(257).distance(0); }),
                    fixedBlock([](S& s) { s.symbol(257).distance(1); })});
    rows.push_back({"a match before any content", S().block(true, 1).symbol(256),
                    S().block(true, 1).symbol(257).distance(0).symbol(256), 15, 0});
    const auto far = [&](unsigned symbol, unsigned extra) {
        S s;
        s.stored(false, std::string(60000, 'a')).block(true, 1).symbol(257).distance(symbol);
        return s.number(extra, symbol < 4 ? 0 : static_cast<int>(symbol / 2 - 1)).symbol(256);
    };
    rows.push_back({"a distance of 257 with a window of 256", far(15, 63), far(16, 0), 8, 60003});
    rows.push_back({"a distance of 16385 with a window of 16384", far(27, 4095), far(28, 0), 14, 60003});
    rows.push_back({"distance symbol 30 with much content", far(29, 8191), far(30, 0), 15, 60003});
    rows.push_back({"distance symbol 31 with much content", far(29, 8191), far(31, 0), 15, 60003});

    const auto good = dynamicBlock(258, 1, [](S& s) { threeSymbols(s).length(1); });
    rows.push_back({"287 literal and length symbols",
                    dynamicBlock(286, 1, [](S& s) { threeSymbols(s).zeros(28).length(1); }),
                    dynamicBlock(287, 1, [](S& s) { threeSymbols(s).zeros(29).length(1); })});
    rows.push_back({"288 literal and length symbols",
                    dynamicBlock(286, 1, [](S& s) { threeSymbols(s).zeros(28).length(1); }),
                    dynamicBlock(288, 1, [](S& s) { threeSymbols(s).zeros(30).length(1); })});
    rows.push_back({"31 distance symbols", dynamicBlock(258, 30, [](S& s) { threeSymbols(s).length(1).zeros(29); }),
                    dynamicBlock(258, 31, [](S& s) { threeSymbols(s).length(1).zeros(30); })});
    rows.push_back({"32 distance symbols", dynamicBlock(258, 30, [](S& s) { threeSymbols(s).length(1).zeros(29); }),
                    dynamicBlock(258, 32, [](S& s) { threeSymbols(s).length(1).zeros(31); })});

    rows.push_back({"too many words of literals", good, dynamicBlock(258, 1, [](S& s) {
                        s.zeros(96).lengths({2, 1}).zeros(158).lengths({2, 2, 1});
                    })});
    rows.push_back({"too few words of literals", good, dynamicBlock(258, 1, [](S& s) {
                        s.zeros(97).length(1).zeros(158).lengths({2, 3, 1});
                    })});
    rows.push_back({"a single literal word of two bits",
                    S().dynamic(true, 257, 1).zeros(256).lengths({1, 0}).word(0, 1),
                    S().dynamic(true, 257, 1).zeros(256).lengths({2, 0}).word(0, 2), 15, 0});
    rows.push_back({"the unused word of a literal code of the end alone",
                    S().dynamic(true, 257, 1).zeros(256).lengths({1, 0}).word(0, 1),
                    S().dynamic(true, 257, 1).zeros(256).lengths({1, 0}).word(1, 1), 15, 0});
    rows.push_back({"too many words of distances",
                    dynamicBlock(258, 2,
                                 [](S& s) {
                                     threeSymbols(s).lengths({1, 1});
                                 }),
                    dynamicBlock(258, 3, [](S& s) {
                        threeSymbols(s).lengths({1, 1, 1});
                    })});
    rows.push_back({"too few words of distances",
                    dynamicBlock(258, 3,
                                 [](S& s) {
                                     threeSymbols(s).lengths({1, 2, 2});
                                 }),
                    dynamicBlock(258, 3, [](S& s) {
                        threeSymbols(s).lengths({1, 2, 3});
                    })});
    rows.push_back({"a single distance word of two bits", good,
                    dynamicBlock(258, 1, [](S& s) { threeSymbols(s).length(2).word(0, 1).word(3, 2).word(0, 1); })});
    rows.push_back({"the unused word of a distance code of one", good, S(dynamicBlock(258, 1, [](S& s) {
                        threeSymbols(s).length(1).word(0, 1).word(3, 2).word(1, 1).word(2, 2);
                    }))});
    rows.push_back(
        {"a match without a distance code", good, dynamicBlock(258, 1, [](S& s) { threeSymbols(s).length(0); })});
    const auto secondBlock = [](unsigned distanceWord) {
        S s;
        threeSymbols(s.dynamic(false, 258, 1)).length(1).word(0, 1).word(3, 2).word(0, 1).word(2, 2);
        return threeSymbols(s.dynamic(true, 258, 1)).length(distanceWord).word(0, 1).word(3, 2).word(0, 9).word(2, 2);
    };
    rows.push_back({"a match without a distance code, in a block behind one that has a code", secondBlock(1),
                    secondBlock(0), 15, 16});
    rows.push_back({"no word for the end of the block", good, dynamicBlock(258, 1, [](S& s) {
                        s.zeros(97).length(1).zeros(157).lengths({2, 0, 2, 1});
                    })});
    rows.push_back({"a repeat before any length", good, dynamicBlock(258, 1, [](S& s) {
                        s.again(3).zeros(94).length(1).zeros(158).lengths({2, 2, 1});
                    })});
    rows.push_back({"a repeat past the last length",
                    dynamicBlock(258, 3,
                                 [](S& s) {
                                     threeSymbols(s).zeros(0).lengths({1, 0, 0});
                                 }),
                    dynamicBlock(258, 2, [](S& s) { threeSymbols(s).length(1).zeros(3); })});
    rows.push_back({"zeros past the last length",
                    dynamicBlock(258, 30, [](S& s) { threeSymbols(s).length(1).zeros(29); }),
                    dynamicBlock(258, 29, [](S& s) { threeSymbols(s).length(1).zeros(29); })});

    // The words of 18, 0, 1 and 2 in the code length code, and with them the lengths of three symbols and a distance.
    const auto lengths = [](S& s) {
        s.word(3, 2).number(97 - 11, 7).word(1, 2).word(3, 2).number(127, 7).word(3, 2).number(9, 7);
        s.word(2, 2).word(2, 2).word(1, 2);
    };
    rows.push_back({"too many words of code lengths",
                    lengthCode({0, 0, 2, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 2}, lengths),
                    lengthCode({0, 0, 2, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 2, 2}, lengths)});
    rows.push_back({"too few words of code lengths",
                    lengthCode({0, 0, 2, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 2}, lengths),
                    lengthCode({0, 0, 3, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 2}, lengths)});

    rows.push_back({"a byte behind the last block", S().stored(true, "aaaa"), S().stored(true, "aaaa").raw("\x01")});
    rows.push_back({"no last block", S().stored(true, "aaaa"), S().stored(false, "aaaa")});
    rows.push_back({"less content than claimed", S().stored(true, "aaaa"), S().stored(true, "aaa")});
    rows.push_back({"more stored content than claimed", S().stored(true, "aaaa"), S().stored(true, "aaaaa")});
    rows.push_back({"a byte more than claimed", fixedBlock([](S& s) { s.fixed("aaa"); }),
                    fixedBlock([](S& s) { s.fixed("aaaa"); })});
    rows.push_back({"a match that ends behind what is claimed", fixedBlock([](S& s) { s.symbol(257).distance(0); }),
                    fixedBlock([](S& s) { s.symbol(258).distance(0); })});
    return rows;
}

TEST(Inflate, RefusesACodeOfLengthsWithOneWord) {
    DeflateStream stream;
    stream.block(true, 2).number(1, 5).number(0, 5).number(0, 4);
    for (const unsigned length : {0u, 0u, 1u, 0u}) stream.number(length, 3);  // of 16, 17, 18 and 0
    // 258 zeros, by the one word, which would be codes of no words.
    stream.word(0, 1).number(127, 7).word(0, 1).number(109, 7);
    for (const Decode with : {decode, decodePlainly}) EXPECT_FALSE(decoded(stream.bytes, 0, with).whole);
}

TEST(Inflate, RefusesWhatIsDamaged) {
    for (const Damage& row : damages()) {
        for (const Decode with : {decode, decodePlainly}) {
            EXPECT_TRUE(decoded(row.sound.bytes, row.size, with, row.windowBits).whole) << "beside " << row.reason;
            EXPECT_FALSE(decoded(row.damaged.bytes, row.size, with, row.windowBits).whole) << row.reason;
        }
    }
}

// A decoder that took a part for the whole would give what came before the damage.
TEST(Inflate, RefusesWhatIsDamagedWhateverSizeIsClaimed) {
    for (const Damage& row : damages()) {
        if (std::string_view(row.reason).find("claimed") != std::string_view::npos) continue;  // the claim is wrong
        for (std::size_t claimed = 0; claimed < 64; ++claimed) {
            for (const Decode with : {decode, decodePlainly}) {
                EXPECT_FALSE(decoded(row.damaged.bytes, claimed, with, row.windowBits).whole)
                    << row.reason << ", " << claimed << " bytes claimed";
            }
        }
    }
}

// The same damage where the fast loop meets it: with enough content and stream behind it.
TEST(Inflate, RefusesDamageInTheMiddle) {
    const auto around = [](const std::function<void(DeflateStream&)>& middle) {
        DeflateStream stream;
        stream.block(true, 1).fixed(std::string(500, 'a'));
        middle(stream);
        return stream.fixed(std::string(500, 'a')).symbol(256).bytes;
    };
    using S = DeflateStream;
    EXPECT_TRUE(decoded(around([](S& s) { s.symbol(257).distance(17).number(115, 7); }), 1003).whole);
    // In the last one the distance's bits and four more are those of a byte, so that all behind it can still be read.
    const std::string damaged[] = {around([](S& s) { s.symbol(257).distance(17).number(116, 7); }),  // 501 back
                                   around([](S& s) { s.symbol(286); }),
                                   around([](S& s) { s.symbol(257).distance(30); }),
                                   around([](S& s) { s.symbol(257).distance(30).number(0, 4); })};
    for (const std::string& stream : damaged) {
        for (std::size_t claimed = 990; claimed < 1010; ++claimed) EXPECT_FALSE(decoded(stream, claimed).whole);
    }
}

// Whatever bits follow, they are not read by the code of the block before.
TEST(Inflate, RefusesARepeatBeforeAnyLengthBehindABlockThatHadACode) {
    for (int bytes = 1; bytes <= 8; ++bytes) {
        for (int bits = 0; bits < 8; ++bits) {
            DeflateStream stream;
            threeSymbols(stream.dynamic(false, 258, 1)).length(1).word(0, bytes).word(2, 2);
            stream.dynamic(true, 258, 1).length(16).word(2, 2).number(0xFF, bits);
            for (std::size_t claimed = 0; claimed < 16; ++claimed) {
                EXPECT_FALSE(decoded(stream.bytes, claimed).whole) << bytes << " bytes, " << bits << " bits";
            }
        }
    }
}

// --- The two loops, the encoder --------------------------------------------------------------------------------------

TEST(Inflate, TheFastLoopAgreesWithThePlainOneOnDamage) {
    const std::string content = prose(3000, 3);
    const std::string stream = encoded(content);
    std::mt19937 engine(4);
    for (int i = 0; i < 20000; ++i) {
        std::string damaged = stream;
        for (std::size_t n = 1 + engine() % 3; n > 0; --n)
            damaged[engine() % damaged.size()] ^= static_cast<char>(1 << engine() % 8);
        const std::size_t claimed = content.size() - 200 + engine() % 400;
        ASSERT_TRUE(decoded(damaged, claimed) == decoded(damaged, claimed, decodePlainly)) << i;
    }
}

TEST(Inflate, ResultsGrowAsTheyAreProduced) {
    // Content of 8 MiB in a few KiB: far more than the memory that is granted at once.
    const std::string content(8 << 20, 'z');
    const std::string stream = encoded(content);
    ASSERT_LT(stream.size(), 16384u);
    EXPECT_TRUE(decoded(stream, content.size()) == (Decoded{true, content}));
    EXPECT_FALSE(decoded(stream, content.size() + 1).whole);
    EXPECT_FALSE(decoded(stream, content.size() - 1).whole);
}

TEST(Deflate, EverySizeTo300) {
    for (std::size_t size = 0; size <= 300; ++size) {
        const std::string what = std::to_string(size) + " bytes";
        expectRoundTrip(noise(size, 1), what);
        expectRoundTrip(noise(size, 2, 3), what);
        expectRoundTrip(prose(size, 3), what);
        expectRoundTrip(std::string(size, 'c'), what);
    }
}

TEST(Deflate, EveryPeriodTo300) {
    for (std::size_t period = 1; period <= 300; ++period) {
        const std::string content = periodic(4000, period);
        expectRoundTrip(content, "period " + std::to_string(period));
        EXPECT_LT(encoded(content).size(), period + 200) << period;
    }
}

TEST(Deflate, SizesAroundTheWindowAndTheStoredBlock) {
    for (const std::size_t edge :
         {std::size_t{32768}, std::size_t{65535}, std::size_t{65536}, std::size_t{131070}, std::size_t{300000}}) {
        for (std::size_t size = edge - 2; size <= edge + 2; ++size) {
            const std::string what = std::to_string(size) + " bytes";
            expectRoundTrip(noise(size, 1), what);
            expectRoundTrip(noise(size, 2, 4), what);
            expectRoundTrip(prose(size, 3), what);
            expectRoundTrip(std::string(size, '\0'), what);
        }
    }
}

TEST(Deflate, NoiseGrowsByTheStoredBlocksOwnBytes) {
    for (const std::size_t size : {100u, 65535u, 65536u, 1000000u}) {
        EXPECT_EQ(encoded(noise(size, 6)).size(), largestStream(size)) << size;
    }
    EXPECT_EQ(largestStream(0), 5u);
    EXPECT_EQ(largestStream(65535), 65540u);
    EXPECT_EQ(largestStream(65536), 65546u);
}

TEST(Deflate, FindsAMatchAtTheFarEndOfTheWindow) {
    const std::string block = noise(32768, 7);
    EXPECT_LT(encoded(block + block).size(), 34000u);
    expectRoundTrip(block + block, "32768 back");
}

TEST(Deflate, DoesNotReachBehindTheWindow) {
    const std::string block = noise(32769, 8);
    expectRoundTrip(block + block + block, "32769 back");
}

TEST(Deflate, PositionsWrapWithoutHarm) {
    std::string content;
    for (unsigned i = 0; i < 40; ++i) content += noise(5000 + 371 * i, i % 7, 16) + prose(3000, i % 3);
    expectRoundTrip(content, "mixed");
}

TEST(Deflate, CodesChangeWithTheContent) {
    // Text, then noise: the noise is stored, and does not spoil the code of the text.
    const std::string text = prose(60000, 10);
    const std::string mixed = text + noise(60000, 11) + text;
    EXPECT_LT(encoded(mixed).size(), 2 * encoded(text).size() + 60000 + 1000);
    expectRoundTrip(mixed, "mixed");
}

// The longest word of the first distance code that a stream gives (RFC 1951, 3.2.7).
std::size_t longestDistanceWord(const std::string& stream) {
    BitReader in(bytesOf(stream));
    const auto take = [&in](unsigned bits) {
        in.refill();
        return in.take(bits);
    };
    while (take(3) >> 1 == 0 && !in.overran()) {  // stored
        in.alignToByte();
        const std::size_t size = take(16);
        in.alignToByte();
        in.at += 2 + size;
    }
    const std::size_t literals = kFirstLength + take(5);
    const std::size_t all = literals + 1 + take(5);
    std::array<int, kLengthSymbols> bitsOf{};
    for (std::size_t i = 0, end = 4 + take(4); i < end; ++i) bitsOf[kLengthOrder[i]] = static_cast<int>(take(3));
    std::map<std::pair<int, unsigned>, std::size_t> symbols;  // by the bits of a word, and the word
    unsigned word = 0;
    for (int bits = 1; bits <= kMaxLengthCodeBits; ++bits, word *= 2) {
        for (std::size_t symbol = 0; symbol < kLengthSymbols; ++symbol) {
            if (bitsOf[symbol] == bits) symbols[{bits, word++}] = symbol;
        }
    }
    std::vector<std::size_t> lengths;
    while (lengths.size() < all) {
        int bits = 1;
        for (word = take(1); bits < kMaxLengthCodeBits && !symbols.contains({bits, word}); ++bits) {
            word = word * 2 + take(1);
        }
        const std::size_t symbol = symbols.at({bits, word});
        if (symbol < kRepeatLength) {
            lengths.push_back(symbol);
        } else {
            const Range run = kRuns[symbol - kRepeatLength];
            lengths.insert(lengths.end(), run.base + take(run.extraBits), symbol == kRepeatLength ? lengths.back() : 0);
        }
    }
    return *std::max_element(lengths.begin() + static_cast<std::ptrdiff_t>(literals), lengths.end());
}

// Distances of sixteen symbols in one block, each two thirds more frequent than the one before: the rarest then have
// words of fifteen bits. Each match is of eight bytes that no other has, so that it is found at that distance alone.
TEST(Deflate, DistancesMayHaveWordsOfFifteenBits) {
    constexpr std::size_t kMatched = 8, kFresh = 20;
    std::vector<std::size_t> symbols;
    for (std::size_t symbol = 14, count = 1; symbol < kDistances.size(); ++symbol, count += count * 2 / 3 + 1) {
        symbols.insert(symbols.end(), count, symbol);
    }
    std::shuffle(symbols.begin(), symbols.end(), std::mt19937(13));
    const std::string fresh = noise(kWindowSize + kFresh * symbols.size(), 14);
    std::string content = fresh.substr(0, kWindowSize);
    std::string isTaken(content.size(), '\0');
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        const auto [base, extraBits] = kDistances[symbols[i]];
        const std::size_t nearest = content.size() - base;
        const std::size_t from = isTaken.rfind(std::string(kMatched, '\0'), nearest);
        ASSERT_LT(nearest - from, std::size_t{1} << extraBits);
        content += content.substr(from, kMatched) + fresh.substr(kWindowSize + kFresh * i, kFresh);
        isTaken.replace(from, kMatched, kMatched, '\1').append(kMatched, '\1').append(kFresh, '\0');
    }
    EXPECT_EQ(longestDistanceWord(encoded(content)), 15u);
    expectRoundTrip(content, "distances of all kinds");
}

TEST(Deflate, EqualContentMakesEqualStreams) {
    const std::string content = prose(100000, 12);
    EXPECT_EQ(encoded(content), encoded(std::string(content)));
}

}  // namespace
}  // namespace qor::impl::deflate
