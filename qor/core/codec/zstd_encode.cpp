// Zstandard: encoding a frame (RFC 8878, 3.1.1).
#include <algorithm>
#include <memory>
#include <new>

#include "qor/core/codec/xxhash.h"
#include "qor/core/codec/zstd.h"
#include "qor/core/codec/zstd_parse.h"
#include "qor/core/codec/zstd_sections.h"
#include "qor/core/codec/zstd_split.h"

namespace qor::impl::zstd {

unsigned char* writeFrameHeader(std::uint64_t size, unsigned char* to) {
    constexpr unsigned kSingleSegment = 1 << 5;
    constexpr unsigned kHasChecksum = 1 << 2;
    store(to, kMagic);
    to += 4;
    // A content that is larger than the window has at least four bytes for its size.
    static_assert(Parser::kWindow >= 65536 + 256);
    const bool isSingle = size <= Parser::kWindow;
    const unsigned sizeCode = size >> 32 ? 3 : size >= 65536 + 256 ? 2 : size >= 256 ? 1 : 0;
    *to++ = static_cast<unsigned char>(sizeCode << 6 | (isSingle ? kSingleSegment : 0) | kHasChecksum);
    if (!isSingle) *to++ = (Parser::kWindowBits - 10) << 3;
    switch (sizeCode) {
        case 0:
            *to = static_cast<unsigned char>(size);
            return to + 1;
        case 1:
            store(to, static_cast<std::uint16_t>(size - 256));
            return to + 2;
        case 2:
            store(to, static_cast<std::uint32_t>(size));
            return to + 4;
        default:
            store(to, size);
            return to + 8;
    }
}

namespace {

void writeBlockHeader(bool isLast, BlockType type, std::size_t size, unsigned char* to) {
    const auto header = static_cast<std::uint32_t>(size << 3 | static_cast<unsigned>(type) << 1 | (isLast ? 1 : 0));
    store(to, static_cast<std::uint16_t>(header));
    to[2] = static_cast<unsigned char>(header >> 16);
}

unsigned char* writeRaw(Bytes content, bool isLast, unsigned char* to) {
    writeBlockHeader(isLast, BlockType::Raw, content.size(), to);
    to += kBlockHeaderSize;
    if (!content.empty()) std::memcpy(to, content.data(), content.size());
    return to + content.size();
}

unsigned char* writeRun(Bytes content, bool isLast, unsigned char* to) {
    writeBlockHeader(isLast, BlockType::Run, content.size(), to);
    to[kBlockHeaderSize] = content[0];
    return to + kBlockHeaderSize + 1;
}

bool isRun(Bytes content) {
    if (content.size() < 2) return false;
    const unsigned char* const begin = content.data();
    return commonLength(begin + 1, begin, begin + content.size()) == content.size() - 1;
}

// What a decoder remembers from block to block, and so the encoder. A raw block leaves it as it is.
struct State {
    LiteralCode literals;
    SequenceTables tables;
    RepeatOffsets offsets = {kFirstRepeatOffsets[0], kFirstRepeatOffsets[1], kFirstRepeatOffsets[2]};
};

class Encoder {
 public:
    // False if memory is refused.
    bool start(Bytes content) {
        const std::size_t block = std::min(content.size(), kLargestBlock);
        return parser.start(content) && codes.resizeForOverwrite(Parser::mostSequences(block)) && splitter.start(block);
    }

    // Writes the next blocks, of `content`, which has kLargestBlock bytes at most, and returns their end. They take
    // `content.size()` plus a block header at most, and up to kSlack more are touched.
    unsigned char* encode(Bytes content, bool isFirst, bool isLast, unsigned char* to) {
        parser.parse(content.size());
        // Readers before 2020 stumble over a run that is the first of several blocks.
        if (isRun(content) && (!isFirst || isLast)) return writeRun(content, isLast, to);

        const std::span<const Sequence> sequences = parser.sequences();
        const Block whole = {content, parser.literals(), sequences, {codes.data(), sequences.size()}};
        splitter.split(whole, state.offsets);
        const State before = state;
        unsigned char* const begin = to;
        bool isCounted = true;
        Cut cut;
        for (std::size_t i = 0; i < splitter.size(); ++i) {
            const auto& [end, counts] = splitter[i];
            const Block block = whole.between(cut, end);
            const bool isLastBlock = isLast && i + 1 == splitter.size();
            unsigned char* const compressed =
                encodeBlock(block, isCounted ? counts : countBlock(block, state.offsets), isLastBlock, to);
            to = compressed ? compressed : writeRaw(block.content, isLastBlock, to);
            // A raw block does not move the repeat offsets, on which the codes that follow had counted.
            isCounted = isCounted && compressed;
            cut = end;
        }
        if (static_cast<std::size_t>(to - begin) < kBlockHeaderSize + content.size()) return to;
        state = before;
        return writeRaw(content, isLast, begin);
    }

    static constexpr std::size_t kSlack = kSequencesSlack;

 private:
    // Null, with the state as it was, if the block does not shrink enough to be worth decoding.
    unsigned char* encodeBlock(const Block& block, const BlockCounts& counts, bool isLast, unsigned char* to) {
        const std::size_t leastGain = block.content.size() / 256 + 1;
        if (block.content.size() < leastGain + kLiteralsHeader) return nullptr;
        unsigned char* const begin = to + kBlockHeaderSize;
        const unsigned char* const limit = begin + block.content.size() - leastGain;

        State next = state;
        unsigned char* end = encodeLiterals(block.literals, counts, next.literals, begin);
        if (end <= limit) end = encodeSequences(block, counts, next.tables, end, limit);
        if (!end || end > limit) return nullptr;
        next.offsets = counts.repeatOffsets;
        state = next;
        writeBlockHeader(isLast, BlockType::Compressed, static_cast<std::size_t>(end - begin), to);
        return end;
    }

    Parser parser;
    Splitter splitter;
    ds::Vector<SequenceCodes> codes;
    State state;
};

}  // namespace

bool encode(Bytes content, ds::Vector<unsigned char>& payload) {
    const std::uint64_t headers = kLargestFrameHeader + mostBlocks(content.size()) * kBlockHeaderSize + kChecksumSize;
    const std::unique_ptr<Encoder> encoder(new (std::nothrow) Encoder);
    if (!encoder || !encoder->start(content)) return false;
    if (!payload.resizeForOverwrite(content.size() + headers + Encoder::kSlack)) return false;

    Xxh64 checksum;
    unsigned char* to = writeFrameHeader(content.size(), payload.data());
    std::size_t at = 0;
    do {
        const Bytes next = content.subspan(at, std::min(kLargestBlock, content.size() - at));
        const bool isFirst = at == 0;
        at += next.size();
        to = encoder->encode(next, isFirst, at == content.size(), to);
        checksum.add(next);
    } while (at < content.size());
    store(to, static_cast<std::uint32_t>(checksum.value()));
    to += kChecksumSize;
    return payload.resizeForOverwrite(static_cast<std::size_t>(to - payload.data()));
}

}  // namespace qor::impl::zstd
