// The property of the two readers of blocks: whatever the file, a block is read exactly if it is one, else the vector
// is empty and the text says which part of it is wrong, no byte more has been consumed, and memory was taken for what
// there is. What is read is written and read again.
#pragma once

#include <cinttypes>
#include <string>

#include "fuzz/memory_disk.h"
#include "qor/core/string.h"

namespace qor::fuzz {

/// What a reader of a block has to find.
struct Block {
    std::string error;
    std::uint64_t taken = 0;  ///< bytes of the file
    std::uint64_t size = 0;   ///< that is claimed
    Vector content;
};

/// The parts of a block, each of which is missing or wrong if it cannot be taken from the front of the file.
class BlockParts {
 public:
    explicit BlockParts(View file) : bytes(file) {}

    bool mark(char wanted) { return at < bytes.size() && bytes[at++] == wanted; }

    /// 8 bytes, low byte first, and a mark.
    bool storedLength(std::uint64_t& length) {
        if (bytes.size() - at < 8) return false;
        length = Choices(bytes.subspan(at)).number(8);
        at += 8;
        return mark('.');
    }

    /// At most 32 characters and a mark; a number up to the first zero byte.
    bool printedLength(std::uint64_t& length) {
        std::string text;
        for (; at < bytes.size(); ++at) {
            if (bytes[at] == '.') {
                ++at;
                return isNumber(text.c_str(), length);
            }
            if (text.size() == 32) {
                ++at;
                return false;
            }
            text += static_cast<char>(bytes[at]);
        }
        return false;
    }

    bool payload(std::uint64_t size, Vector& payload) {
        if (bytes.size() - at < size) return false;
        payload = vectorOf(bytes.subspan(at, size));
        at += size;
        return true;
    }

    std::size_t taken() const { return at; }

 private:
    static bool isNumber(const char* text, std::uint64_t& number) {
        number = 0;
        if (!*text) return false;
        for (; *text; ++text) {
            if (*text < '0' || *text > '9') return false;
            const auto digit = static_cast<std::uint64_t>(*text - '0');
            if (number > (~std::uint64_t{0} - digit) / 10) return false;
            number = number * 10 + digit;
        }
        return true;
    }

    View bytes;
    std::size_t at = 0;
};

inline Block expectedBlock(View file, bool isText) {
    Block block;
    BlockParts parts(file);
    std::uint64_t payloadSize = 0;
    const bool isHeader = parts.mark('.') && parts.mark('1') && parts.mark('.') &&
                          (isText ? parts.printedLength(block.size) && parts.printedLength(payloadSize)
                                  : parts.storedLength(block.size) && parts.storedLength(payloadSize));
    block.taken = parts.taken();
    if (!isHeader) {
        block.error = "Failed to read un/compressed length.";
        return block;
    }
    if (payloadSize == 0) return block;
    Vector payload;
    if (!parts.payload(payloadSize, payload)) {
        block.error = "Failed to read compressed buffer.";
        return block;
    }
    block.taken = parts.taken();
    block.content = decompress(payload, isText, block.size);
    if (block.content.isEmpty()) {
        char text[200];
        std::snprintf(text, sizeof(text),
                      "Failed to decompress data (compressed size: %" PRIu64 ", decompressed size: %" PRIu64 ").",
                      payloadSize, block.size);
        block.error = text;
    }
    return block;
}

/// Whether memory was taken for what there is. A payload is held twice where it is text, and content that grows lies in
/// two places for a moment, the former at most a quarter of the latter; it is never more than what is claimed.
inline bool isModest(std::size_t peak, const TriedFile& tried, std::uint64_t claimed) {
    return peak <= tried.mostMemory() + std::min<std::uint64_t>(claimed, kMostMemory) / 4 * 5;
}

inline void readBlock(View input, File::Format format) {
    const bool isText = format == File::Format::Text;
    TriedFile tried(input, format);
    const Block wanted = expectedBlock(tried.bytes, isText);

    Vector content = vectorOf(View(tried.bytes).first(std::min<std::size_t>(tried.bytes.size(), 3)));
    bool done = false;
    const std::size_t peak = test::peakOf([&] { done = tried.file.read(content, Compression::Zstd); });
    require(isModest(peak, tried, wanted.size), "memory is taken for what there is");
    tried.requireReason(done);
    require(done || content.capacity() == 0, "nothing is kept of what is refused");
    if (!tried.isMeasured()) return;
    require(done == wanted.error.empty(), "a block is read exactly if it is one");
    require(tried.file.error().view() == wanted.error, "the text says what is wrong");
    require(tried.taken() == wanted.taken, "just the block is consumed");
    require(content == wanted.content, "a block gives its content");

    // The other ways to take it: a vector of the standard library, memory of the right size and of another.
    const auto again = [&] { tried.file.seek(static_cast<std::int64_t>(tried.start)); };
    std::vector<unsigned char> bytes(5);
    again();
    require(tried.file.read(bytes, Compression::Lz4) == done, "a vector of any kind takes it");
    require(equal(bytes, viewOf(content)), "in a vector of any kind it is the same");
    bytes.assign(content.size(), '?');
    again();
    require(tried.file.read(std::span(bytes), Compression::Lz4) == done, "memory of its size takes it");
    require(!done || equal(bytes, viewOf(content)), "in memory it is the same");
    if (!done) return;
    bytes.assign(content.size() + 1, '?');
    again();
    require(!tried.file.read(std::span(bytes), Compression::Lz4), "memory of another size refuses it");
    require(std::ranges::count(bytes, '?') == std::ssize(bytes), "what is refused is not delivered");

    const auto kind = static_cast<Compression>(content.size() % 3 + 1);
    const auto file = written(format, [&](File& out) { out.write(content, kind); });
    Vector same;
    require(opened(file, format).read(same, Compression::Lz4), "what is written is read");
    require(same == content, "what is written is read the same");
}

}  // namespace qor::fuzz
