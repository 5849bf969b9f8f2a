// The property of the two readers of typed arrays: whatever the file and however the array lies, each scalar is the one
// that stands in the file or what it was, just what is read is consumed, the text says what was in the way, and nothing
// beside the array is touched. What is read is written and read again.
//
//     byte 0   type: one of the sixty, or none
//     byte 1   stride
//     byte 2   offset
//     3 to 6   count: two bytes, low byte first; shifted up by the low 6 bits of the third, if that is 128 or more; and
//              the fourth added
//     7        how the file lies (memory_disk.h), and then the file
#pragma once

#include <cinttypes>
#include <limits>
#include <string>

#include "fuzz/block.h"
#include "qor/data/elem_text.h"

namespace qor::fuzz {

/// What reading an array has to give.
struct ArrayRead {
    bool done = true;
    std::string error;
    std::uint64_t taken = 0;

    bool fails(const std::string& reason) {
        error = reason;
        return done = false;
    }
};

/// An array in memory whose bytes were no file's, and the reading of a file into it, step by step, as it is described.
class PlainArray {
 public:
    PlainArray(DataType type, std::uint64_t count, std::uint64_t stride, std::uint64_t offset)
        : ref{nullptr, type, count, stride, offset, 0},
          itemSize(typeSize(type)),
          elemSize(typeElemSize(type)),
          step(stride ? stride : itemSize) {}

    /// Takes memory for the first `items`, where there is no use in more.
    void holdsJust(std::uint64_t items) {
        memory.assign(ref.offset + (items == 0 ? 0 : (items - 1) * std::max(step, itemSize) + itemSize), '?');
    }

    /// The same array in other memory.
    BufRef in(std::vector<unsigned char>& other) const {
        BufRef same = ref;
        same.ptr = other.data();
        return same;
    }

    bool isOfBytes() const { return elemSize == 1; }
    bool isPacked() const { return step == itemSize; }

    /// A block: what its items hold, as far as an item goes, without gaps.
    ArrayRead fromBlock(const Block& block) {
        ArrayRead read;
        read.taken = block.taken;
        if (!block.error.empty()) {
            char text[200];
            std::snprintf(text, sizeof(text),
                          "Decompression failed attempting to read %s[%" PRIu64 "] using stride %" PRIu64 ".",
                          dataTypeName(ref.type), ref.count, step);
            read.fails(text);
            return read;
        }
        const std::uint64_t stored = block.content.size() / ref.count;
        for (std::uint64_t k = 0; stored > 0 && k < ref.count; ++k) {
            for (std::uint64_t i = 0; i < std::min(stored, itemSize); ++i) {
                memory[ref.offset + k * itemSize + i] = block.content[k * stored + i];
            }
        }
        return read;
    }

    /// Bytes without gaps: all of them or none.
    ArrayRead fromBytes(View file) {
        ArrayRead read;
        if (ref.count > file.size() / itemSize) {
            read.fails(kBeyond);
            return read;
        }
        read.taken = ref.count * itemSize;
        std::copy_n(file.begin(), read.taken, memory.begin() + static_cast<std::ptrdiff_t>(ref.offset));
        return read;
    }

    /// Scalars, low byte first.
    ArrayRead fromScalars(View file) {
        ArrayRead read;
        // Of an array whose bytes cannot be counted, all are wanted at once.
        if (ref.count > ~std::uint64_t{0} / itemSize) {
            read.fails(kBeyond);
            return read;
        }
        for (std::uint64_t k = 0; k < ref.count && read.done; ++k) {
            for (std::uint64_t j = 0; j < itemSize; j += elemSize) {
                if (file.size() - read.taken < elemSize) {
                    read.fails(kBeyond);
                    break;
                }
                unsigned char* const to = memory.data() + ref.offset + k * step + j;
                for (std::uint64_t i = 0; i < elemSize; ++i) {
                    to[isLittleEndian ? i : elemSize - 1 - i] = file[read.taken++];
                }
            }
        }
        return read;
    }

    /// Numbers with spaces between them, each into the first scalar of an item, without gaps, from `ptr` on.
    ArrayRead fromNumbers(View file) {
        ArrayRead read;
        bool areNumbers = true;
        for (std::uint64_t k = 0; k < ref.count; ++k) {
            const auto rest = file.subspan(read.taken);
            const auto size = static_cast<std::size_t>(std::ranges::find(rest, ' ') - rest.begin());
            const std::string token(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(size));
            areNumbers = parse(token, k) && areNumbers;
            read.taken += size;
            if (size < rest.size()) {
                ++read.taken;
                continue;
            }
            read.error = kBeyond;
            if (k + 1 == ref.count) break;
            areNumbers = false;  // no text is a number, and there is none left
            break;
        }
        read.done = areNumbers;
        if (dataElemType(ref.type) == DataType::Ptr) read.fails("Invalid typeElemType: Ptr");
        return read;
    }

    BufRef ref;
    std::uint64_t itemSize;
    std::uint64_t elemSize;
    std::uint64_t step;
    std::vector<unsigned char> memory;

 private:
    bool parse(const std::string& token, std::uint64_t k) {
        return impl::withElemType(dataElemType(ref.type), [&](auto zero) {
            using T = decltype(zero);
            T value{};
            if (!parseNumber(std::string_view(token.c_str()), value)) return false;
            std::memcpy(memory.data() + k * itemSize, &value, sizeof(T));
            return true;
        });
    }
};

inline void readArray(View input, File::Format format) {
    const bool isText = format == File::Format::Text;
    Choices choices(input);
    const auto type = static_cast<DataType>(choices.byte() % 64);
    const std::uint64_t stride = choices.byte();
    const std::uint64_t offset = choices.byte();
    std::uint64_t count = choices.number(2);
    if (const unsigned shift = choices.byte(); shift >= 128) count <<= shift % 64;
    count += choices.byte();
    TriedFile tried(choices.rest(), format);
    const View bytes = tried.bytes;
    // The stream of a file of no known length is asked for every scalar there is to read.
    if (!tried.isMeasured()) count = std::min<std::uint64_t>(count, 64);

    PlainArray array(type, count, stride, offset);
    const bool isBlock = array.isOfBytes() && !bytes.empty() && bytes[0] == '.';
    Block block;
    if (isBlock) block = expectedBlock(bytes, isText);
    // No file gives more items than it has bytes, but for a block: that gives them all or none.
    std::uint64_t items = std::min<std::uint64_t>(count, bytes.size() + 1);
    if (isBlock && count <= block.content.size()) items = count;
    if (items * std::max(array.step, array.itemSize) > 16 * 0x100000) return;
    array.holdsJust(items);
    std::vector<unsigned char> memory = array.memory;
    unsigned char none = 0;
    BufRef ref = array.in(memory);
    if (memory.empty()) ref.ptr = &none;

    bool done = false;
    const std::size_t peak = test::peakOf([&] { done = tried.file.read(ref); });
    require(isModest(peak, tried, block.size), "memory is taken for what there is");
    if (!tried.isMeasured()) return;

    ArrayRead wanted;
    if (count == 0) {
        wanted.fails("BufRef 'count' is zero.");
    } else if (array.itemSize == 0) {
        wanted.fails("BufRef typeSize is zero.");
    } else if (array.elemSize == 0) {
        wanted.fails("BufRef typeElemSize is zero.");
    } else if (isBlock) {
        wanted = array.fromBlock(block);
    } else if (array.isOfBytes() && array.isPacked()) {
        wanted = array.fromBytes(bytes);
    } else if (isText) {
        wanted = array.fromNumbers(bytes);
    } else if (array.isOfBytes()) {
        wanted.fails("Invalid typeElemSize: 1");
    } else {
        wanted = array.fromScalars(bytes);
    }
    require(done == wanted.done, "an array is read exactly if all of it is there");
    require(tried.file.error().view() == wanted.error, "the text says what was in the way");
    require(tried.taken() == wanted.taken, "just what is read is consumed");
    require(memory == array.memory, "each scalar is what stands in the file, or what it was");

    // A text file gives one scalar of each item, items that lie over each other are not what was read, and a block may
    // hold nothing for them.
    if (!done || items < count || (isText && typeElemCount(type) > 1) || array.step < array.itemSize) return;
    // What was read without gaps is written without gaps, and numbers were read from `ptr` on.
    const bool areNumbers = isText && !isBlock && !(array.isOfBytes() && array.isPacked());
    if (isBlock || areNumbers) ref.stride = 0;
    if (areNumbers) ref.offset = 0;
    const auto file = written(format, [&](File& out) { out.write(ref, isBlock); });
    if (!isBlock && !isText) require(equal(file, bytes.first(wanted.taken)), "what is written is what was read");
    std::vector<unsigned char> again(memory.size(), '?');
    ref.ptr = again.data();
    if (memory.empty()) ref.ptr = &none;
    // Bytes that begin as a block does pass for one unless they are one.
    if (!isBlock && array.isOfBytes() && !file.empty() && file[0] == '.') return;
    require(opened(file, format).read(ref), "what is written is read");
    require(again == memory, "what is written is read the same");
}

}  // namespace qor::fuzz
