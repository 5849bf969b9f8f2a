// What a Zstandard frame is made of, for tests of the encoder: which kinds of block, literals and tables it chose, and
// its sequences as they stand there. The frames are the encoder's own, so nothing here is checked; whether they hold
// their content is for decoders to say.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "qor/core/codec/fse.h"
#include "qor/core/codec/zstd.h"
#include "qor/core/codec/zstd_tables.h"

namespace qor::test::zstd {

using impl::zstd::BlockType;
using impl::zstd::LiteralsType;
using impl::zstd::TableMode;

/// The payload that the encoder makes of `content`.
inline std::string encoded(const std::string& content) {
    const std::vector<unsigned char> bytes(content.begin(), content.end());  // so that a sanitizer knows where it ends
    ds::Vector<unsigned char> payload;
    if (!impl::zstd::encode(bytes, payload)) return "refused";
    return {payload.begin(), payload.end()};
}

struct SequenceView {
    std::uint32_t literals;
    std::uint32_t length;
    std::uint32_t offsetValue;  // 1 to 3 for repeat offsets, else the offset plus 3

    friend bool operator==(const SequenceView&, const SequenceView&) = default;
    friend std::ostream& operator<<(std::ostream& out, const SequenceView& sequence) {
        return out << '(' << sequence.literals << ", " << sequence.length << ", " << sequence.offsetValue << ')';
    }
};

struct BlockView {
    BlockType type = BlockType::Reserved;
    bool isLast = false;
    std::size_t size = 0;  // as its header has it
    std::string data;

    // Of compressed blocks only.
    LiteralsType literals = LiteralsType::Raw;
    std::size_t literalCount = 0;
    int streams = 0;
    int treeByte = 0;  // the first byte of the tree: below 128 for weights in FSE
    std::size_t sequenceCount = 0;
    TableMode literalLengths = TableMode::Default;
    TableMode offsets = TableMode::Default;
    TableMode matchLengths = TableMode::Default;
    std::vector<SequenceView> sequences;
};

struct FrameView {
    bool isSingleSegment = false;
    std::uint64_t window = 0;
    std::uint64_t contentSize = 0;
    std::size_t headerSize = 0;
    std::vector<BlockView> blocks;
};

namespace view {

using impl::fse::Distribution;

inline std::uint64_t number(const std::string& bytes, std::size_t at, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value |= std::uint64_t{static_cast<unsigned char>(bytes.at(at + i))} << (8 * i);
    }
    return value;
}

struct Row {
    int symbol = 0;
    int bits = 0;
    int baseline = 0;
};

struct Table {
    int accuracy = 0;
    std::vector<Row> rows;
};

inline Table tableOf(const Distribution& distribution) {
    Table table{distribution.accuracy, {}};
    impl::fse::forEachRow(distribution, [&](int, int symbol, int bits, int baseline) {
        table.rows.push_back({symbol, bits, baseline});
    });
    return table;
}

// Bits from the end of the bytes down.
class Backward {
 public:
    explicit Backward(const std::string& from) : bytes(from), left(8 * from.size()) {
        while (takeBit() == 0) {}
    }
    std::uint32_t take(int n) {
        std::uint32_t value = 0;
        for (; n > 0; --n) value = value << 1 | takeBit();
        return value;
    }

 private:
    unsigned takeBit() {
        --left;
        return static_cast<unsigned char>(bytes.at(left / 8)) >> (left % 8) & 1u;
    }
    std::string bytes;
    std::size_t left;
};

// One of the three tables of sequences: its alphabet, and what it has been in this frame.
struct Kind {
    const Distribution& defaults;
    int largestAccuracy;
    int alphabet;
    Table last = {};

    void read(TableMode mode, const std::string& data, std::size_t& at) {
        if (mode == TableMode::Default) last = tableOf(defaults);
        if (mode == TableMode::Run) last = {0, {{static_cast<unsigned char>(data.at(at++)), 0, 0}}};
        if (mode != TableMode::Described) return;
        const std::vector<unsigned char> rest(data.begin() + static_cast<std::ptrdiff_t>(at), data.end());
        Distribution distribution;
        at += impl::fse::readDistribution(rest, largestAccuracy, alphabet, distribution);
        last = tableOf(distribution);
    }
};

struct Kinds {
    Kind literalLengths{impl::zstd::kDefaultLiteralLengths, impl::zstd::kLiteralLengthAccuracy,
                        impl::zstd::kLiteralLengthSymbols};
    Kind offsets{impl::zstd::kDefaultOffsets, impl::zstd::kOffsetAccuracy, impl::zstd::kOffsetSymbols};
    Kind matchLengths{impl::zstd::kDefaultMatchLengths, impl::zstd::kMatchLengthAccuracy,
                      impl::zstd::kMatchLengthSymbols};
};

// Returns where the section ends.
inline std::size_t readLiterals(BlockView& block) {
    const std::uint64_t first = number(block.data, 0, 1);
    const auto format = first >> 2 & 3;
    block.literals = static_cast<LiteralsType>(first & 3);
    if (block.literals == LiteralsType::Raw || block.literals == LiteralsType::Run) {
        const std::size_t header = format == 1 ? 2 : format == 3 ? 3 : 1;
        block.literalCount = number(block.data, 0, header) >> (header == 1 ? 3 : 4);
        return header + (block.literals == LiteralsType::Raw ? block.literalCount : 1);
    }
    const std::size_t header = format < 2 ? 3 : format + 2;
    const std::size_t width = format < 2 ? 10 : format == 2 ? 14 : 18;
    const std::uint64_t value = number(block.data, 0, header);
    block.streams = format == 0 ? 1 : 4;
    block.literalCount = value >> 4 & ((1u << width) - 1);
    if (block.literals == LiteralsType::Huffman) block.treeByte = static_cast<int>(number(block.data, header, 1));
    return header + (value >> (4 + width) & ((1u << width) - 1));
}

inline void readSequences(BlockView& block, std::size_t at, Kinds& kinds) {
    block.sequenceCount = number(block.data, at++, 1);
    if (block.sequenceCount == 255) {
        block.sequenceCount = number(block.data, at, 2) + 0x7F00;
        at += 2;
    } else if (block.sequenceCount >= 128) {
        block.sequenceCount = (block.sequenceCount - 128) * 256 + number(block.data, at++, 1);
    }
    if (block.sequenceCount == 0) return;
    const std::uint64_t modes = number(block.data, at++, 1);
    block.literalLengths = static_cast<TableMode>(modes >> 6);
    block.offsets = static_cast<TableMode>(modes >> 4 & 3);
    block.matchLengths = static_cast<TableMode>(modes >> 2 & 3);
    kinds.literalLengths.read(block.literalLengths, block.data, at);
    kinds.offsets.read(block.offsets, block.data, at);
    kinds.matchLengths.read(block.matchLengths, block.data, at);

    Backward bits(block.data.substr(at));
    const Table& literals = kinds.literalLengths.last;
    const Table& offsets = kinds.offsets.last;
    const Table& matches = kinds.matchLengths.last;
    std::size_t literalState = bits.take(literals.accuracy);
    std::size_t offsetState = bits.take(offsets.accuracy);
    std::size_t matchState = bits.take(matches.accuracy);
    const auto move = [&](const Table& table, std::size_t& state) {
        const Row row = table.rows.at(state);
        state = static_cast<std::size_t>(row.baseline) + bits.take(row.bits);
    };
    for (std::size_t i = 0; i < block.sequenceCount; ++i) {
        const int offset = offsets.rows.at(offsetState).symbol;
        const impl::zstd::Code match = impl::zstd::kMatchLengthCodes[matches.rows.at(matchState).symbol];
        const impl::zstd::Code literal = impl::zstd::kLiteralLengthCodes[literals.rows.at(literalState).symbol];
        SequenceView sequence;
        sequence.offsetValue = (1u << offset) + bits.take(offset);
        sequence.length = match.base + bits.take(match.extraBits);
        sequence.literals = literal.base + bits.take(literal.extraBits);
        block.sequences.push_back(sequence);
        if (i + 1 == block.sequenceCount) break;
        move(literals, literalState);
        move(matches, matchState);
        move(offsets, offsetState);
    }
}

}  // namespace view

inline FrameView frameOf(const std::string& payload) {
    using view::number;
    FrameView frame;
    const std::uint64_t descriptor = number(payload, 4, 1);
    std::size_t at = 5;
    frame.isSingleSegment = descriptor >> 5 & 1;
    if (!frame.isSingleSegment) {
        const std::uint64_t window = number(payload, at++, 1);
        frame.window = (std::uint64_t{1} << (10 + (window >> 3))) / 8 * (8 + (window & 7));
    }
    const std::size_t sizeBytes = std::size_t{1} << (descriptor >> 6);
    frame.contentSize = number(payload, at, sizeBytes) + (sizeBytes == 2 ? 256 : 0);
    at += sizeBytes;
    frame.headerSize = at;

    view::Kinds kinds;
    do {
        BlockView block;
        const std::uint64_t header = number(payload, at, 3);
        block.isLast = header & 1;
        block.type = static_cast<BlockType>(header >> 1 & 3);
        block.size = header >> 3;
        block.data = payload.substr(at + 3, block.type == BlockType::Run ? 1 : block.size);
        at += 3 + block.data.size();
        if (block.type == BlockType::Compressed) view::readSequences(block, view::readLiterals(block), kinds);
        frame.blocks.push_back(block);
    } while (!frame.blocks.back().isLast);
    return frame;
}

}  // namespace qor::test::zstd
