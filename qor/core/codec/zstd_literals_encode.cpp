// Zstandard: encoding the literals section (RFC 8878, 3.1.1.3.1) with its Huffman code (4.2.1).
#include <algorithm>
#include <bit>

#include "qor/core/codec/bits.h"
#include "qor/core/codec/huffman.h"
#include "qor/core/codec/zstd_sections.h"

namespace qor::impl::zstd {
namespace {

// Below this many literals a Huffman code hardly pays for its tree.
constexpr std::size_t kFewestToCode = 32;
// One stream below this many literals, else four, which decoders read side by side; their sizes take 6 bytes.
constexpr std::size_t kFewestForFourStreams = 256;
constexpr std::size_t kStreamSizes = 6;

using Lengths = std::array<unsigned char, kLiteralSymbols>;

// The header of raw and run literals: type, size format, number of literals in 5, 12 or 20 bits.
unsigned char* writeHeader(LiteralsType type, std::size_t literals, unsigned char* to) {
    const auto low = static_cast<std::uint32_t>(type);
    const auto n = static_cast<std::uint32_t>(literals);
    if (n < 1 << 5) {
        store(to, static_cast<std::uint8_t>(low | n << 3));
        return to + 1;
    }
    if (n < 1 << 12) {
        store(to, static_cast<std::uint16_t>(low | 1 << 2 | n << 4));
        return to + 2;
    }
    store(to, low | 3 << 2 | n << 4);
    return to + 3;
}

unsigned char* writeRaw(Bytes literals, unsigned char* to) {
    to = writeHeader(LiteralsType::Raw, literals.size(), to);
    if (!literals.empty()) std::memcpy(to, literals.data(), literals.size());
    return to + literals.size();
}

unsigned char* writeRun(Bytes literals, unsigned char* to) {
    to = writeHeader(LiteralsType::Run, literals.size(), to);
    *to = literals[0];
    return to + 1;
}

std::size_t codedHeaderSize(std::size_t literals) { return literals < 1 << 10 ? 3 : literals < 1 << 14 ? 4 : 5; }

// The header of coded literals: type, size format, number of literals and size of tree and streams in 10, 14 or 18 bits
// each. It is written last, where `codedHeaderSize` left room.
void writeCodedHeader(LiteralsType type, std::size_t literals, std::size_t size, unsigned char* to) {
    const std::size_t bytes = codedHeaderSize(literals);
    const unsigned width = bytes == 3 ? 10 : bytes == 4 ? 14 : 18;
    const unsigned format = literals < kFewestForFourStreams ? 0 : static_cast<unsigned>(bytes) - 2;
    const std::uint64_t header =
        static_cast<unsigned>(type) | format << 2 | std::uint64_t{literals} << 4 | std::uint64_t{size} << (4 + width);
    for (std::size_t i = 0; i < bytes; ++i) to[i] = static_cast<unsigned char>(header >> (8 * i));
}

// The words of a code: going through the symbols from the longest words to the shortest, and for one length by their
// numbers, each word is the next one of its length.
void assignWords(const Lengths& lengths, LiteralCode& code) {
    std::array<std::uint32_t, kHuffmanMaxBits + 2> next{};
    for (const unsigned char length : lengths) ++next[length];
    std::uint32_t word = 0;
    for (std::size_t length = kHuffmanMaxBits; length > 0; --length) {
        const std::uint32_t words = next[length];
        next[length] = word;
        word = (word + words) >> 1;
    }
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        const unsigned char length = lengths[i];
        code.words[i] = length == 0 ? 0 : next[length]++ << 8 | length;
    }
    code.isGiven = true;
}

// Bits that the literals take in this code; fse::kImpossible if it lacks a word for one of them.
std::uint64_t bitsOf(fse::Counts counts, const LiteralCode& code) {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const std::uint32_t length = code.words[i] & 255;
        if (length == 0 && counts[i] != 0) return fse::kImpossible;
        bits += std::uint64_t{length} * counts[i];
    }
    return bits;
}

// What writing a tree may touch: weights in FSE are written before it is known that they take too much.
constexpr std::size_t kTreeScratch = 1 + fse::kMostDescriptionBytes + kLiteralSymbols;

// Weights in FSE (4.2.1.2): two states take turns, so that a decoder can work on both. Null if that takes more than 127
// bytes or cannot be done, since an FSE table has two symbols at least.
unsigned char* writeWeightsInFse(std::span<const unsigned char> weights, unsigned char* to) {
    std::array<std::uint32_t, kLargestWeight + 1> counts{};
    for (const unsigned char weight : weights) ++counts[weight];
    const auto distinct = static_cast<int>(std::count_if(counts.begin(), counts.end(), [](auto n) { return n != 0; }));
    if (distinct < 2) return nullptr;

    const auto distribution =
        fse::distributionOf(counts, fse::suitableAccuracy(weights.size(), distinct, kWeightAccuracy));
    const fse::EncodingTable table(distribution);
    BitWriter out(fse::writeDistribution(distribution, to));
    // Weight i belongs to state i % 2, from the last to the first.
    std::size_t i = weights.size() - 2;
    std::uint32_t states[2];
    states[i % 2] = table.start(weights[i]);
    states[(i + 1) % 2] = table.start(weights[i + 1]);
    while (i > 0) {
        --i;
        table.encode(states[i % 2], weights[i], out);
        out.flush();
    }
    table.finish(states[1], out);
    table.finish(states[0], out);
    unsigned char* const end = out.close();
    return end - to < 128 ? end : nullptr;
}

// Writes the tree (4.2.1.1): the weights of all symbols up to, not including, the last that occurs, in FSE or in 4 bits
// each, whichever is shorter. Returns its end, or null if it cannot be described.
unsigned char* writeTree(const Lengths& lengths, unsigned char* to) {
    std::array<unsigned char, kLiteralSymbols> weights{};
    const unsigned char longest = *std::max_element(lengths.begin(), lengths.end());
    std::size_t n = 0;  // weights before the last that is not 0
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        if (lengths[i] == 0) continue;
        weights[i] = static_cast<unsigned char>(longest + 1 - lengths[i]);
        n = i;
    }
    const std::size_t direct = (n + 1) / 2;
    unsigned char* const end = writeWeightsInFse({weights.data(), n}, to + 1);
    if (end && (n > kMostDirectWeights || static_cast<std::size_t>(end - to - 1) < direct)) {
        *to = static_cast<unsigned char>(end - to - 1);
        return end;
    }
    if (n > kMostDirectWeights) return nullptr;
    *to++ = static_cast<unsigned char>(127 + n);
    weights[n] = 0;
    for (std::size_t i = 0; i < n; i += 2) *to++ = static_cast<unsigned char>(weights[i] << 4 | weights[i + 1]);
    return to;
}

// Writes one stream: the literals from the last to the first.
unsigned char* writeStream(Bytes literals, const LiteralCode& code, unsigned char* to) {
    static_assert(5 * kHuffmanMaxBits <= BitWriter::kMostBits);
    BitWriter out(to);
    const auto add = [&](unsigned char literal) {
        const std::uint32_t word = code.words[literal];
        out.add(word >> 8, word & 255);
    };
    std::size_t i = literals.size();
    for (; i % 5 != 0; --i) add(literals[i - 1]);
    out.flush();
    for (; i > 0; i -= 5) {
        add(literals[i - 1]);
        add(literals[i - 2]);
        add(literals[i - 3]);
        add(literals[i - 4]);
        add(literals[i - 5]);
        out.flush();
    }
    return out.close();
}

unsigned char* writeStreams(Bytes literals, const LiteralCode& code, unsigned char* to) {
    if (literals.size() < kFewestForFourStreams) return writeStream(literals, code, to);
    unsigned char* const sizes = to;
    to += kStreamSizes;
    const std::size_t quarter = (literals.size() + 3) / 4;
    for (std::size_t i = 0; i < 4; ++i) {
        unsigned char* const end = writeStream(i < 3 ? literals.first(quarter) : literals, code, to);
        if (i < 3) {
            store(sizes + 2 * i, static_cast<std::uint16_t>(end - to));
            literals = literals.subspan(quarter);
        }
        to = end;
    }
    return to;
}

// An upper bound of what the streams take.
std::size_t streamsSize(std::uint64_t bits, std::size_t literals) {
    return static_cast<std::size_t>(bits / 8) + (literals < kFewestForFourStreams ? 1 : kStreamSizes + 4);
}

}  // namespace

unsigned char* encodeLiterals(Bytes literals, const BlockCounts& blockCounts, LiteralCode& code, unsigned char* to) {
    if (literals.size() < kFewestToCode) return writeRaw(literals, to);
    const auto& counts = blockCounts.literals;
    const std::uint32_t commonest = *std::max_element(counts.begin(), counts.end());
    if (commonest == literals.size()) return writeRun(literals, to);
    // Where even the commonest byte is rare, words differ too little in length.
    if (commonest <= literals.size() / 128 + 4) return writeRaw(literals, to);

    // Raw literals are read faster, so there is to be some gain.
    const std::size_t header = codedHeaderSize(literals.size());
    const std::size_t most = literals.size() - literals.size() / 64 - 2;
    unsigned char* const begin = to + header;

    Lengths lengths;
    codeLengths(counts, kHuffmanMaxBits, lengths);
    LiteralCode fresh;
    assignWords(lengths, fresh);
    unsigned char tree[kTreeScratch];
    unsigned char* const treeEnd = writeTree(lengths, tree);
    const auto treeSize = static_cast<std::size_t>(treeEnd ? treeEnd - tree : 0);
    const std::uint64_t freshBits = treeEnd ? bitsOf(counts, fresh) : fse::kImpossible;
    const std::uint64_t givenBits = code.isGiven ? bitsOf(counts, code) : fse::kImpossible;
    const bool isFresh = freshBits != fse::kImpossible && treeSize + freshBits / 8 < givenBits / 8;
    const std::uint64_t bits = isFresh ? freshBits : givenBits;
    if (bits == fse::kImpossible) return writeRaw(literals, to);
    if (header + (isFresh ? treeSize : 0) + streamsSize(bits, literals.size()) > most) return writeRaw(literals, to);

    unsigned char* streams = begin;
    if (isFresh) {
        std::memcpy(begin, tree, treeSize);
        streams += treeSize;
        code = fresh;
    }
    unsigned char* const end = writeStreams(literals, code, streams);
    writeCodedHeader(isFresh ? LiteralsType::Huffman : LiteralsType::SameTree, literals.size(),
                     static_cast<std::size_t>(end - begin), to);
    return end;
}

}  // namespace qor::impl::zstd
