// LZ4 frames.
//
//     magic               04 22 4D 18
//     flags, block size   1 byte each
//     content size        8 bytes, if the flags say so
//     header checksum     1 byte, of flags to content size
//     blocks              each of 4 bytes for its size and kind, its data, and 4 bytes of checksum if the flags say so
//     end mark            4 bytes, zero
//     content checksum    4 bytes, if the flags say so
//
// The checksums are XXH32; the header's is the second byte of one. Frames that are made here have the size and the
// checksum of their content and none of blocks, and their blocks are linked: with the whole content at hand that costs
// nothing. Frames that are read may have any flags, except that there are no dictionaries.
//
// Source: LZ4 Frame Format Description, 1.6.4. Nothing in a frame is trusted.
#include "qor/core/codec/lz4_frame.h"

#include <algorithm>
#include <cassert>

#include "qor/core/codec/lz4.h"
#include "qor/core/codec/xxhash.h"

namespace qor::impl::lz4 {
namespace {

constexpr std::uint32_t kMagic = 0x184D2204;

// The flags.
constexpr unsigned kVersion = 1 << 6;
constexpr unsigned kVersionBits = 3 << 6;
constexpr unsigned kIndependentBlocks = 1 << 5;  // no match reaches from one block into another
constexpr unsigned kBlockChecksums = 1 << 4;
constexpr unsigned kContentSize = 1 << 3;
constexpr unsigned kContentChecksum = 1 << 2;
constexpr unsigned kReserved = 1 << 1;
constexpr unsigned kDictionary = 1 << 0;

// The most content of a block: a code in the high half of its byte, whose low half is reserved.
constexpr unsigned kSmallestBlockCode = 4;
constexpr unsigned kLargestBlockCode = 7;
constexpr std::size_t blockSizeOf(unsigned code) { return std::size_t{1} << (8 + 2 * code); }  // 64 KiB to 4 MiB

// The four bytes in front of a block are the size of its data, which is no more than that of the largest content.
constexpr std::uint32_t kStored = 1u << 31;  // added to it if the data are the content itself
constexpr std::uint32_t kEndMark = 0;

constexpr std::size_t kHeaderSize = 15;  // of frames that are made here
constexpr std::size_t kEndSize = 8;

// The code of the smallest block size that holds `size` bytes, or of the largest one.
unsigned blockCodeFor(std::size_t size) {
    unsigned code = kSmallestBlockCode;
    while (code < kLargestBlockCode && blockSizeOf(code) < size) ++code;
    return code;
}

unsigned char headerChecksum(Bytes descriptor) { return static_cast<unsigned char>(xxh32(descriptor) >> 8); }

// Reads a frame part by part. False from any of them: the part is cut off or breaks a rule of the format.
class FrameReader {
 public:
    explicit FrameReader(Bytes frame) : rest(frame) {}

    bool readHeader();

    // The next block, or the end mark.
    struct Block {
        enum class Kind { Encoded, Stored, EndMark } kind = Kind::EndMark;
        Bytes data;
        std::uint32_t checksum = 0;  // if blocks have one
    };
    bool readBlock(Block& block);

    // The content's checksum, if there is one, behind which nothing may follow.
    bool readEnd();

    bool has(unsigned flag) const { return (flags & flag) != 0; }
    std::size_t blockSize() const { return blockSize_; }
    std::uint64_t contentSize() const { return contentSize_; }
    std::uint32_t contentChecksum() const { return contentChecksum_; }

 private:
    // The next `n` bytes, or none if there are not so many.
    Bytes take(std::size_t n) {
        const Bytes taken = rest.first(n <= rest.size() ? n : 0);
        rest = rest.subspan(taken.size());
        return taken;
    }

    template <typename T>
    bool read(T& number) {
        const Bytes bytes = take(sizeof(T));
        if (bytes.empty()) return false;
        number = load<T>(bytes.data());
        return true;
    }

    Bytes rest;
    unsigned flags = 0;
    std::size_t blockSize_ = 0;
    std::uint64_t contentSize_ = 0;
    std::uint32_t contentChecksum_ = 0;
};

bool FrameReader::readHeader() {
    std::uint32_t magic = 0;
    if (!read(magic) || magic != kMagic) return false;

    const Bytes descriptor = rest;
    std::uint8_t flagByte = 0;
    std::uint8_t sizeByte = 0;
    if (!read(flagByte) || !read(sizeByte)) return false;
    flags = flagByte;
    if ((flags & kVersionBits) != kVersion || has(kReserved) || has(kDictionary)) return false;
    const unsigned code = sizeByte >> 4;
    if ((sizeByte & 15) != 0 || code < kSmallestBlockCode || code > kLargestBlockCode) return false;
    blockSize_ = blockSizeOf(code);
    if (has(kContentSize) && !read(contentSize_)) return false;

    const std::size_t size = descriptor.size() - rest.size();
    std::uint8_t checksum = 0;
    return read(checksum) && checksum == headerChecksum(descriptor.first(size));
}

bool FrameReader::readBlock(Block& block) {
    std::uint32_t word = 0;
    if (!read(word)) return false;
    if (word == kEndMark) {
        block = {};
        return true;
    }
    block.kind = (word & kStored) != 0 ? Block::Kind::Stored : Block::Kind::Encoded;
    const std::size_t size = word & ~kStored;
    if (size > blockSize_ || size > rest.size()) return false;
    block.data = take(size);
    return !has(kBlockChecksums) || read(block.checksum);
}

bool FrameReader::readEnd() { return (!has(kContentChecksum) || read(contentChecksum_)) && rest.empty(); }

// Walks over the blocks from the first to the frame's end, before anything is decoded: false if the frame is not whole,
// or if its blocks cannot hold `size` bytes whatever is in them.
bool canHold(FrameReader reader, std::uint64_t size) {
    std::uint64_t most = 0;
    for (FrameReader::Block block; reader.readBlock(block);) {
        switch (block.kind) {
            case FrameReader::Block::Kind::Encoded:
                most += std::min<std::uint64_t>(block.data.size() * kMaxExpansion, reader.blockSize());
                break;
            case FrameReader::Block::Kind::Stored:
                most += block.data.size();
                break;
            case FrameReader::Block::Kind::EndMark:
                return reader.readEnd() && size <= most;
        }
    }
    return false;
}

bool storeBlock(Bytes data, Result& result, std::uint64_t& produced) {
    while (!data.empty()) {
        if (!result.makeRoom(produced, 1)) return false;
        unsigned char* const to = result.at(produced);
        const Bytes part = data.first(std::min(data.size(), static_cast<std::size_t>(result.end() - to)));
        std::copy(part.begin(), part.end(), to);
        produced += part.size();
        data = data.subspan(part.size());
    }
    return true;
}

}  // namespace

bool recognises(Bytes payload) { return payload.size() >= 4 && load<std::uint32_t>(payload.data()) == kMagic; }

bool encode(Bytes content, ds::Vector<unsigned char>& payload) {
    const unsigned code = blockCodeFor(content.size());
    const std::size_t blockSize = blockSizeOf(code);
    const std::size_t blocks = content.size() / blockSize + (content.size() % blockSize != 0 ? 1 : 0);
    // A block that does not shrink is stored, so this suffices whatever the content is.
    const std::size_t most = kHeaderSize + blocks * 4 + content.size() + kEndSize;
    BlockEncoder encoder(content);
    if (!payload.resizeForOverwrite(most + kWildSlack) || !encoder.prepare()) return false;

    unsigned char* to = payload.data();
    store(to, kMagic);
    to[4] = kVersion | kContentSize | kContentChecksum;
    to[5] = static_cast<unsigned char>(code << 4);
    store(to + 6, std::uint64_t{content.size()});
    to[14] = headerChecksum({to + 4, 10});
    to += kHeaderSize;

    Xxh32 checksum;
    for (Bytes rest = content; !rest.empty();) {
        const Bytes block = rest.first(std::min(blockSize, rest.size()));
        rest = rest.subspan(block.size());
        checksum.add(block);
        std::size_t size = encoder.encode(block.size(), to + 4, block.size() - 1);
        if (size > 0) {
            store(to, static_cast<std::uint32_t>(size));
        } else {
            size = block.size();
            store(to, static_cast<std::uint32_t>(size) | kStored);
            std::copy(block.begin(), block.end(), to + 4);
        }
        to += 4 + size;
    }
    store(to, kEndMark);
    store(to + 4, checksum.value());
    to += kEndSize;
    assert(to <= payload.data() + most);
    return payload.resizeForOverwrite(static_cast<std::size_t>(to - payload.data()));
}

bool decode(Bytes payload, std::uint64_t size, ds::Vector<unsigned char>& content) {
    FrameReader reader(payload);
    if (!reader.readHeader()) return false;
    if (reader.has(kContentSize) && reader.contentSize() != size) return false;
    if (!canHold(reader, size)) return false;

    Result result(content, size, payload.size());
    std::uint64_t produced = 0;
    Xxh32 checksum;
    FrameReader::Block block;
    while (reader.readBlock(block) && block.kind != FrameReader::Block::Kind::EndMark) {
        if (reader.has(kBlockChecksums) && xxh32(block.data) != block.checksum) return false;
        const std::uint64_t start = produced;
        if (block.kind == FrameReader::Block::Kind::Stored) {
            if (!storeBlock(block.data, result, produced)) return false;
        } else {
            const std::uint64_t first = reader.has(kIndependentBlocks) ? start : 0;
            if (!decodeBlock(block.data, first, reader.blockSize(), result, produced)) return false;
        }
        if (reader.has(kContentChecksum)) {  // while the block is in the processor's cache
            result.forEachPiece(start, produced, [&checksum](Bytes bytes) { checksum.add(bytes); });
        }
    }
    return reader.readEnd() && result.finish(produced) &&
           (!reader.has(kContentChecksum) || checksum.value() == reader.contentChecksum());
}

}  // namespace qor::impl::lz4
