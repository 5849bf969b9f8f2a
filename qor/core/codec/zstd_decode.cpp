// Zstandard: decoding.
//
// A frame is a header, blocks, and a checksum. A block's content is given raw, as a run of one byte, or as literals
// (zstd_huffman.h) and sequences (zstd_sequences.h), which are executed straight into the result: it holds all of the
// content so far, and so is the window too.
//
// Source: RFC 8878. Nothing in a payload is trusted: a walk over the block headers bounds the content before anything
// is decoded, and every size is compared with what is left before it is used.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "qor/core/codec/result.h"
#include "qor/core/codec/xxhash.h"
#include "qor/core/codec/zstd.h"
#include "qor/core/codec/zstd_decode.h"
#include "qor/core/codec/zstd_huffman.h"
#include "qor/core/codec/zstd_sequences.h"
#include "qor/core/codec/zstd_tables.h"

namespace qor::impl::zstd {
namespace {

// The largest window, 2^31 bytes and up to 7/8 more: the public tools make and open none that is larger. Here a window
// takes no memory, since the result is the window, but offsets have 32 bits and could not reach through one of twice
// the size.
constexpr unsigned kLargestWindowLog = 31;

struct FrameHeader {
    std::size_t size = 0;  // in bytes
    std::uint64_t window = 0;
    std::uint64_t contentSize = 0;
    bool hasContentSize = false;
    bool hasChecksum = false;

    std::size_t largestBlock() const {
        return static_cast<std::size_t>(std::min<std::uint64_t>(window, kLargestBlock));
    }
};

// The little-endian number of `n` bytes at `from`, 8 at most.
std::uint64_t loadNumber(const unsigned char* from, std::size_t n) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < n; ++i) value |= std::uint64_t{from[i]} << (8 * i);
    return value;
}

// 3.1.1.1.
bool readFrameHeader(Bytes payload, FrameHeader& header) {
    constexpr std::size_t kFixed = 5;  // the magic number and the descriptor
    if (payload.size() < kFixed || !recognises(payload)) return false;
    const unsigned descriptor = payload[4];
    const bool isSingleSegment = descriptor >> 5 & 1;
    if (descriptor >> 3 & 1) return false;
    header.hasChecksum = descriptor >> 2 & 1;

    constexpr std::size_t kContentSizes[4] = {0, 2, 4, 8};
    constexpr std::size_t kDictionarySizes[4] = {0, 1, 2, 4};
    const unsigned contentSizeCode = descriptor >> 6;
    const std::size_t windowSize = isSingleSegment ? 0 : 1;
    const std::size_t dictionarySize = kDictionarySizes[descriptor & 3];
    const std::size_t contentSizeSize = contentSizeCode == 0 && isSingleSegment ? 1 : kContentSizes[contentSizeCode];
    header.size = kFixed + windowSize + dictionarySize + contentSizeSize;
    if (payload.size() < header.size) return false;

    const unsigned char* at = payload.data() + kFixed;
    if (!isSingleSegment) {
        const unsigned log = 10 + (*at >> 3u);
        if (log > kLargestWindowLog) return false;
        header.window = (std::uint64_t{1} << log) + (std::uint64_t{1} << log) / 8 * (*at & 7u);
        ++at;
    }
    // There are no dictionaries here; the identifier 0 says that there is none.
    if (loadNumber(at, dictionarySize) != 0) return false;
    at += dictionarySize;
    header.hasContentSize = contentSizeSize > 0;
    header.contentSize = loadNumber(at, contentSizeSize) + (contentSizeSize == 2 ? 256 : 0);
    if (isSingleSegment) header.window = header.contentSize;
    return true;
}

// A block, as its header says (3.1.1.2).
struct Block {
    bool isLast;
    BlockType type;
    std::size_t size;  // of the content, or of the data if compressed
    Bytes data;
};

// Reads the block at the start of `in` and moves `in` on.
bool readBlock(Bytes& in, std::size_t largest, Block& block) {
    if (in.size() < kBlockHeaderSize) return false;
    const auto header = static_cast<std::size_t>(loadNumber(in.data(), kBlockHeaderSize));
    block.isLast = header & 1;
    block.type = static_cast<BlockType>(header >> 1 & 3);
    block.size = header >> 3;
    if (block.size > largest || block.type == BlockType::Reserved) return false;
    const std::size_t dataSize = block.type == BlockType::Run ? 1 : block.size;
    in = in.subspan(kBlockHeaderSize);
    if (dataSize > in.size()) return false;
    block.data = in.first(dataSize);
    in = in.subspan(dataSize);
    return true;
}

// Walks over the blocks without decoding any. False unless they and the checksum end where the payload ends, and could
// make `size` bytes. Of a compressed block this is the largest block, however small its data are: a run of literals or
// a single match can fill it.
bool canMake(Bytes blocks, const FrameHeader& header, std::uint64_t size) {
    std::uint64_t most = 0;
    Block block;
    do {
        if (!readBlock(blocks, header.largestBlock(), block)) return false;
        most += block.type == BlockType::Compressed ? header.largestBlock() : block.size;
    } while (!block.isLast);
    return size <= most && blocks.size() == (header.hasChecksum ? kChecksumSize : 0);
}

// 3.1.1.3.1.1: the literals section's header.
struct LiteralsHeader {
    LiteralsType type;
    std::size_t size;      // of the header
    std::size_t literals;  // how many
    std::size_t data;      // bytes of tree and streams, of a run's byte, or of the literals themselves
    bool hasFourStreams;
};

bool readLiteralsHeader(Bytes in, LiteralsHeader& header) {
    if (in.empty()) return false;
    header.type = static_cast<LiteralsType>(in[0] & 3);
    const unsigned format = in[0] >> 2 & 3;
    if (header.type == LiteralsType::Raw || header.type == LiteralsType::Run) {
        constexpr std::size_t kSizes[4] = {1, 2, 1, 3};
        header.size = kSizes[format];
        if (in.size() < header.size) return false;
        header.literals = static_cast<std::size_t>(loadNumber(in.data(), header.size)) >> (header.size == 1 ? 3 : 4);
        header.data = header.type == LiteralsType::Run ? 1 : header.literals;
        header.hasFourStreams = false;
    } else {
        constexpr std::size_t kSizes[4] = {3, 3, 4, 5};
        constexpr unsigned kBits[4] = {10, 10, 14, 18};  // of each of the two numbers
        header.size = kSizes[format];
        if (in.size() < header.size) return false;
        const auto numbers = static_cast<std::size_t>(loadNumber(in.data(), header.size)) >> 4;
        header.literals = numbers & ((std::size_t{1} << kBits[format]) - 1);
        header.data = numbers >> kBits[format];
        header.hasFourStreams = format != 0;
    }
    return header.data <= in.size() - header.size;
}

// What compressed blocks need beside the payload and the result.
struct Workspace {
    HuffmanDecoder huffman;
    SequenceDecoder sequences;
};

class FrameDecoder {
 public:
    FrameDecoder(const FrameHeader& frameHeader, std::uint64_t claimedSize, std::size_t payloadSize,
                 ds::Vector<unsigned char>& content, Loops whichLoops)
        : header(frameHeader), size(claimedSize), loops(whichLoops), result(content, claimedSize, payloadSize) {}

    bool decode(Bytes blocks) {
        Xxh64 hash;
        Block block;
        do {
            if (!readBlock(blocks, header.largestBlock(), block)) return false;
            const std::uint64_t before = produced;
            if (!decodeBlock(block)) return false;
            if (header.hasChecksum) hash.add({result.at(before), static_cast<std::size_t>(produced - before)});
        } while (!block.isLast);
        if (!result.finish(produced)) return false;
        return !header.hasChecksum || load<std::uint32_t>(blocks.data()) == static_cast<std::uint32_t>(hash.value());
    }

 private:
    bool decodeBlock(const Block& block) {
        if (block.type == BlockType::Compressed) return decodeCompressed(block.data);
        if (!result.makeRoom(produced, block.size)) return false;
        if (block.size == 0) return true;
        if (block.type == BlockType::Raw) {
            std::memcpy(result.at(produced), block.data.data(), block.size);
        } else {
            std::memset(result.at(produced), block.data[0], block.size);
        }
        produced += block.size;
        return true;
    }

    bool decodeCompressed(Bytes data) {
        // Nothing says how large its content is, so there is to be room for the largest.
        const std::uint64_t most = std::min<std::uint64_t>(header.largestBlock(), size - produced);
        if (!result.makeRoom(produced, most)) return false;
        if (!work) {
            work.reset(new (std::nothrow) Workspace);
            if (!work) return false;
        }
        Literals literals;
        if (!readLiterals(data, static_cast<std::size_t>(most), literals)) return false;
        Output output{result, result.at(produced), header.window};
        if (!work->sequences.execute(data, literals, output, loops)) return false;
        const std::uint64_t after = result.positionOf(output.at);
        if (after - produced > header.largestBlock()) return false;
        produced = after;
        return true;
    }

    // Reads the literals section at the start of `data`, and moves `data` on. There are at most `most` of them.
    bool readLiterals(Bytes& data, std::size_t most, Literals& literals) {
        LiteralsHeader section;
        if (!readLiteralsHeader(data, section) || section.literals > most) return false;
        Bytes in = data.subspan(section.size, section.data);
        data = data.subspan(section.size + section.data);
        if (section.type == LiteralsType::Raw && data.size() >= kWildSlack) {
            literals = {in.data(), in.data() + in.size()};
            return true;
        }
        // The first block that asks has the most before it, so later ones find enough.
        if (scratch.isEmpty() && !scratch.resizeForOverwrite(most + kWildSlack)) return false;
        literals = {scratch.data(), scratch.data() + section.literals};
        switch (section.type) {
            case LiteralsType::Raw:
                std::memcpy(scratch.data(), in.data(), section.literals);
                return true;
            case LiteralsType::Run:
                std::memset(scratch.data(), in[0], section.literals);
                return true;
            case LiteralsType::Huffman: {
                const std::size_t tree = work->huffman.readTree(in);
                if (tree == 0) return false;
                in = in.subspan(tree);
                break;
            }
            case LiteralsType::SameTree:
                if (!work->huffman.hasTree()) return false;
                break;
        }
        return section.hasFourStreams ? work->huffman.decodeFour(in, scratch.data(), section.literals, loops)
                                      : work->huffman.decodeOne(in, scratch.data(), section.literals);
    }

    const FrameHeader header;
    const std::uint64_t size;
    const Loops loops;
    Result result;
    std::uint64_t produced = 0;
    std::unique_ptr<Workspace> work;
    ds::Vector<unsigned char> scratch;  // decoded literals
};

}  // namespace

bool recognises(Bytes payload) { return payload.size() >= 4 && load<std::uint32_t>(payload.data()) == kMagic; }

bool decode(Bytes payload, std::uint64_t size, ds::Vector<unsigned char>& content, Loops loops) {
    FrameHeader header;
    if (!readFrameHeader(payload, header)) return false;
    if (header.hasContentSize && header.contentSize != size) return false;
    const Bytes blocks = payload.subspan(header.size);
    if (!canMake(blocks, header, size)) return false;
    return FrameDecoder(header, size, payload.size(), content, loops).decode(blocks);
}

bool decode(Bytes payload, std::uint64_t size, ds::Vector<unsigned char>& content) {
    return decode(payload, size, content, Loops::Fast);
}

}  // namespace qor::impl::zstd
