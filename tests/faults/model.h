// The file layer a second time, written for plainness alone: what every operation does, in numbered steps.
//
// It moves whole texts and scalar by scalar, and shares no code with the library but the codecs, so that the two agree
// only if both are right. It runs on a Disk of its own, and the tests compare after every operation what can be seen
// from outside: result, error text, counters, the calls on the stream and the bytes in the files.
#pragma once

#include <algorithm>
#include <bit>
#include <charconv>
#include <concepts>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "faults/scripted_fs.h"
#include "qor/core/compression.h"
#include "qor/file/qor_file.h"
#include "support/element_types.h"

namespace qor::test {

class Model {
 public:
    using Mode = File::Mode;
    using Format = File::Format;

    explicit Model(Disk& simulated) : disk(simulated), buffer(kStagingSize, '\0') {}
    ~Model() { close(); }
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    // ---- State ------------------------------------------------------------------------------------------------------

    std::uint64_t len() const { return length; }
    std::uint64_t pos() const { return position; }
    bool eof() const { return position >= length; }
    Format format() const { return format_; }
    std::string error() const { return error_; }
    bool ok() const { return error_.empty(); }

    // ---- Life cycle -------------------------------------------------------------------------------------------------

    bool open(const std::string& path, Mode mode, Format format) {
        // 1. Nothing has failed yet.
        error_ = "";
        // 2. Close what is open; a failure is told, and opening goes on.
        if (stream) {
            const bool flushed = flush();
            const bool closed = disk.Fclose(stream) == 0;
            if (!closed || !flushed) error_ = "Fclose failed.";
        }
        // 3. Reset.
        reset();
        // 4. Format and mode are kept even if the stream cannot be opened.
        format_ = format;
        mode_ = mode;
        // 5. (A simulated path is never a real file, so it is used as it stands.)
        // 6, 7, 8. Only the modes 1 and 2 write. A stream that cannot be opened leaves no text.
        const bool writes = mode == Mode::Write || mode == Mode::ReadWrite;
        stream = disk.Fopen(path, writes ? "wb" : "rb");
        if (!stream) return false;
        // 9. Writing needs no length.
        if (mode == Mode::Write) return true;
        // 10. The third mode measures and stays at the end.
        length = seek(0, kFromEnd);
        if (mode == Mode::ReadWrite) return true;
        // 11. Everything else measures and goes back to the start.
        if (seek(0, kFromStart) != 0) {
            close();
            error_ = "Failed to rewind file while opening.";
            return false;
        }
        return true;
    }

    bool flush() {
        error_ = "";
        if (!stream) return true;
        return flushStep();
    }

    bool close() {
        // 1. Nothing has failed yet.
        error_ = "";
        bool result = true;
        // 2, 3, 4. Flush and close. One text for whatever failed.
        if (stream) {
            const bool flushed = flushStep();
            const bool closed = disk.Fclose(stream) == 0;
            result = closed && flushed;
            if (!result) error_ = "Fclose failed.";
        }
        // 5, 6. Forget everything but the text.
        reset();
        mode_ = Mode::Read;
        format_ = Format::Text;
        return result;
    }

    // ---- Moving within the file -------------------------------------------------------------------------------------

    std::uint64_t seek(std::int64_t offset) { return seek(offset, kFromStart); }
    std::uint64_t skip(std::int64_t n) { return seek(n, kFromCurrent); }

    unsigned char peek() {
        // 1. Only reading looks ahead.
        if (mode_ != Mode::Read) {
            error_ = "File::peek() only supported in read mode.";
            return 0;
        }
        // 2. Remember where the caller is.
        const std::uint64_t p = position;
        // 3. Take a byte, or 0.
        std::string byte;
        if (!stream) error_ = "File not successfully opened, cannot read.";
        if (!stream || !readInternal(byte, 1)) byte = std::string(1, '\0');
        // 4. Go back, which clears the text and drops the chunk.
        seek(static_cast<std::int64_t>(p), kFromStart);
        // 5. Give the byte.
        return static_cast<unsigned char>(byte[0]);
    }

    // ---- Numbers ----------------------------------------------------------------------------------------------------

    bool write(char value) {
        if (!okToWrite()) return false;
        return writeInternal(std::string(1, value));
    }

    template <typename T>
    requires(std::is_arithmetic_v<T> && !std::is_same_v<T, char>) bool write(T value) {
        // 1. Admission.
        if (!okToWrite()) return false;
        // 2. Printed, with nothing around it.
        if (mode_ == Mode::Write && format_ == Format::Text) return write(printed(value).c_str());
        // 3. Or its bytes, the lowest first.
        return writeInternal(stored(value));
    }

    template <typename T>
    requires(std::is_arithmetic_v<T>) bool read(T& value) {
        // 1. Admission.
        if (!okToRead()) return false;
        // 2, 3. All of its bytes or none.
        std::string bytes;
        if (!readInternal(bytes, sizeof(T))) return false;
        // 4, 5. The host's order, into the caller's variable.
        if (std::endian::native == std::endian::big) bytes = std::string(bytes.rbegin(), bytes.rend());
        std::memcpy(&value, bytes.data(), sizeof(T));
        return true;
    }

    // ---- Texts ------------------------------------------------------------------------------------------------------

    bool write(const char* text) {
        const bool counted = mode_ == Mode::Write && format_ == Format::Binary;
        // 1. Admission.
        if (!okToWrite()) return false;
        // 2, 3. No text: at most its count, whose result nobody asks for.
        if (!text || !*text) {
            if (counted) write(0ul);
            return true;
        }
        // 4. The count; again nobody asks.
        const std::string characters = text;
        if (counted) write(static_cast<unsigned long>(characters.size()));
        // 5. The characters.
        return writeInternal(characters);
    }

    /// What printf prints; nothing if a conversion fails.
    [[gnu::format(printf, 2, 3)]] bool print(const char* fmt, ...) {
        va_list arguments;
        va_start(arguments, fmt);
        const std::string text = formatted(fmt, arguments);
        va_end(arguments);
        return write(text.c_str());
    }

    /// The same and a line feed.
    [[gnu::format(printf, 2, 3)]] bool printLn(const char* fmt, ...) {
        va_list arguments;
        va_start(arguments, fmt);
        const std::string text = formatted(fmt, arguments) + '\n';
        va_end(arguments);
        return write(text.c_str());
    }

    /// The whole of a text file.
    std::string read() {
        // 1, 2. Admission.
        if (!okToRead()) return "";
        if (mode_ == Mode::Read && format_ == Format::Binary) {
            error_ = "read() is not supported in binary mode.";
            return "";
        }
        // 3, 4. Remember where the caller is.
        const std::uint64_t p = position;
        // 5. To the start.
        seek(0, kFromStart);
        // 6. All of it, past the buffer; of a length that no memory holds, as much as the buffer would.
        std::string block(length > kMostThatMemoryHolds ? kStagingSize : length, '\0');
        const std::uint64_t count = disk.Fread(block.data(), block.size(), stream);
        block.resize(count);
        // 7. Back again.
        seek(static_cast<std::int64_t>(p), kFromStart);
        // 8. All came: the text up to the first zero byte.
        if (count == length) return block.c_str();
        // 9. It did not.
        error_ = "Failed to read file.";
        return "";
    }

    bool read(std::string& out) {
        // 1. Admission.
        if (!okToRead()) return false;
        // 2. A text file is one text.
        if (mode_ == Mode::Read && format_ == Format::Text) {
            out = read();
            return !out.empty();
        }
        // 3. The count.
        std::string characters;
        std::uint64_t count = 0;
        if (!readCount(count)) return false;
        // 4, 5. The characters, up to the first zero byte.
        if (count > 0 && !readInternal(characters, count)) return false;
        out = characters.c_str();
        return true;
    }

    /// Reads into a string builder, which keeps what it holds and grows.
    bool readInto(std::string& out) {
        if (!okToRead()) return false;
        if (mode_ == Mode::Read && format_ == Format::Text) {
            out = read();
            return !out.empty();
        }
        std::string characters;
        std::uint64_t count = 0;
        if (!readCount(count)) return false;
        if (count == 0) {
            out = "";
            return true;
        }
        if (!readInternal(characters, count)) return false;
        out += characters.c_str();
        return true;
    }

    // ---- Blocks -----------------------------------------------------------------------------------------------------

    bool write(const void* data, std::uint64_t size, Compression kind) {
        // 1. Admission.
        if (!okToWrite()) return false;
        // 2. As they stand.
        const std::string bytes(static_cast<const char*>(data), data ? size : 0);
        if (kind == Compression::None) return writeInternal(bytes);
        // 3. The empty block.
        if (bytes.empty()) return writeHeader(0, 0);
        // 4. The payload.
        const bool asText = mode_ == Mode::Write && format_ == Format::Text;
        const auto payload = compress(static_cast<const unsigned char*>(data), size, asText, kind);
        if (payload.isEmpty()) {
            error_ = "Compression failed.";
            return false;
        }
        // 5. The header and the payload, until something fails.
        return writeHeader(size, payload.size()) && writeInternal(std::string(payload.begin(), payload.end()));
    }

    bool readBlock(std::string& bytes, Compression kind) {
        // 1. Admission.
        if (!okToRead()) return false;
        // 2. As they stand: as many as there is room for, or as the whole file has.
        if (kind == Compression::None) {
            if (bytes.empty()) {
                if (beyondMemory(length)) return false;
                bytes.resize(length);
            }
            std::string loaded;
            const bool done = readInternal(loaded, bytes.size());
            bytes.replace(0, loaded.size(), loaded);
            return done;
        }
        // 3. From here on a failure leaves nothing.
        bytes = "";
        // 4, 5. The header.
        unsigned long size = 0, payloadSize = 0;
        if (!readMark('.') || !readMark('1') || !readMark('.') || !readLength(size) || !readLength(payloadSize)) {
            error_ = "Failed to read un/compressed length.";
            return false;
        }
        // 6. No payload.
        if (payloadSize == 0) return true;
        // 7. The payload.
        std::string payload;
        // A length of 2^63 - 1 or more is none: of such a file nothing is known beforehand.
        const bool isMeasured = length < ~std::uint64_t{0} >> 1;
        if ((isMeasured && beyondMemory(payloadSize)) || !readInternal(payload, payloadSize)) {
            error_ = "Failed to read compressed buffer.";
            return false;
        }
        // 8. What it holds.
        ds::Vector<unsigned char> given;
        given.resize(payload.size());
        std::memcpy(given.data(), payload.data(), payload.size());
        const auto content = decompress(given, mode_ == Mode::Read && format_ == Format::Text, size);
        bytes.assign(content.begin(), content.end());
        // 9. Nothing?
        if (bytes.empty()) {
            error_ = "Failed to decompress data (compressed size: " + std::to_string(payloadSize) +
                     ", decompressed size: " + std::to_string(size) + ").";
        }
        return !bytes.empty();
    }

    // ---- Blocks in memory -------------------------------------------------------------------------------------------

    static bool decodeRawFileBlock(const unsigned char* block, Compression& compression, unsigned long& compressedSize,
                                   unsigned long& uncompressedSize, unsigned char*& payload) {
        // 1. Nothing found yet.
        compression = static_cast<Compression>(0);
        compressedSize = uncompressedSize = 0;
        payload = nullptr;
        // 2 to 8. Mark by mark. A wrong one ends it; what was found before stays. Lengths are in host byte order.
        if (block[0] != '.') return false;
        if (block[1] != '0' && block[1] != '1' && block[1] != '2' && block[1] != '3') return false;
        compression = static_cast<Compression>(block[1] - '0');
        if (block[2] != '.') return false;
        std::memcpy(&uncompressedSize, block + 3, 8);
        if (block[11] != '.') return false;
        std::memcpy(&compressedSize, block + 12, 8);
        if (block[20] != '.') return false;
        // 9. The payload follows.
        payload = const_cast<unsigned char*>(block) + 21;
        return true;
    }

    static bool decodeRawFileData(const ds::Vector<unsigned char>& data, Compression& compression,
                                  unsigned long& compressedSize, unsigned long& uncompressedSize,
                                  unsigned char*& payload) {
        // 1. Nothing found yet.
        compression = static_cast<Compression>(0);
        compressedSize = uncompressedSize = 0;
        payload = nullptr;
        // 2. Room for a header.
        if (data.size() < 21) return false;
        // 3. The header.
        if (!decodeRawFileBlock(data.data(), compression, compressedSize, uncompressedSize, payload)) return false;
        // 4. The payload and nothing behind it.
        return data.size() - 21 == compressedSize;
    }

    // ---- Typed arrays -----------------------------------------------------------------------------------------------

    bool write(const BufRef& ref, bool compressed) {
        // 1. Admission.
        if (!okToWrite()) return false;
        // 2 to 6. What the reference describes.
        if (!describesAnArray(ref)) return false;
        const ElementType& type = typeOf(ref);
        if (!canBeCounted(ref)) {
            error_ = moved("Fwrite", 0, 0);
            return false;
        }
        // 7, 9. Where the items are.
        const Address first = addressOf(ref) + ref.offset;
        const std::uint64_t stride = ref.stride == 0 ? type.size : ref.stride;
        // 8. Single bytes: one block of them.
        if (type.elemSize == 1) {
            std::string packed;
            for (std::uint64_t k = 0; k < ref.count; ++k) packed += load(first + k * stride, type.size);
            return write(packed.data(), packed.size(), static_cast<Compression>(compressed ? 1 : 0));
        }
        // 10. Scalar by scalar, the lowest byte first. Nothing stops the loops.
        bool result = true;
        if (mode_ == Mode::Write && format_ == Format::Binary) {
            for (std::uint64_t k = 0; k < ref.count; ++k) {
                for (std::uint64_t j = 0; j < type.elemCount; ++j) {
                    const std::string bytes = load(first + k * stride + j * type.elemSize, type.elemSize);
                    const bool written = okToWrite() && writeInternal(inFileOrder(bytes));
                    result = result && written;
                }
            }
            return result;
        }
        // 11. Scalar by scalar as text, a space after each but the last. Nothing stops the loops here either.
        for (std::uint64_t k = 0; k < ref.count; ++k) {
            for (std::uint64_t j = 0; j < type.elemCount; ++j) {
                const std::string bytes = load(first + k * stride + j * type.elemSize, type.elemSize);
                if (const auto text = textOf(type.elemType, bytes)) {
                    const bool written = write(text->c_str());
                    result = result && written;
                } else {
                    error_ = std::string("Invalid typeElemType: ") + type.elemType;
                    result = false;
                }
                if (k + 1 == ref.count && j + 1 == type.elemCount) continue;
                const bool parted = okToWrite() && writeInternal(" ");
                result = result && parted;
            }
        }
        return result;
    }

    bool read(const BufRef& ref) {
        // 1. Admission.
        if (!okToRead()) return false;
        // 2. What the reference describes.
        if (!describesAnArray(ref)) return false;
        const ElementType& type = typeOf(ref);
        // 3. Where the items are.
        const Address first = addressOf(ref) + ref.offset;
        const std::uint64_t stride = ref.stride == 0 ? type.size : ref.stride;
        // 4. Single bytes.
        if (type.elemSize == 1) {
            // 4.1. Is it a block?
            bool isBlock = false;
            if (mode_ != Mode::Read) {
                error_ = "File::peek() only supported in read mode.";
            } else {
                const std::uint64_t p = position;
                std::string byte;
                isBlock = readInternal(byte, 1) && byte == ".";
                seek(static_cast<std::int64_t>(p), kFromStart);
            }
            // 4.2. Its bytes, packed, to each item its share.
            if (isBlock) {
                std::string bytes;
                if (!readBlock(bytes, static_cast<Compression>(1))) {
                    error_ = std::string("Decompression failed attempting to read ") + type.name + '[' +
                             std::to_string(ref.count) + "] using stride " + std::to_string(stride) + '.';
                    return false;
                }
                const std::uint64_t share = bytes.size() / ref.count;
                if (share == 0) return true;
                for (std::uint64_t k = 0; k < ref.count; ++k) {
                    store(first + k * type.size, bytes.substr(k * share, std::min(share, type.size)));
                }
                return true;
            }
            // 4.4. As they stand, if there are no gaps.
            if (stride == type.size) return readBytes(first, ref);
        }
        // 5. Scalar by scalar, the lowest byte first. Nothing stops the loops.
        bool result = true;
        if (mode_ == Mode::Read && format_ == Format::Binary) {
            if (type.elemSize > 1 && !canBeCounted(ref)) return readBytes(first, ref);
            for (std::uint64_t k = 0; k < ref.count; ++k) {
                for (std::uint64_t j = 0; j < type.elemCount; ++j) {
                    if (type.elemSize == 1) {
                        error_ = "Invalid typeElemSize: 1";
                        result = false;
                        continue;
                    }
                    std::string bytes;
                    const bool done = okToRead() && readInternal(bytes, type.elemSize);
                    if (done) store(first + k * stride + j * type.elemSize, inFileOrder(bytes));
                    result = result && done;
                }
            }
            return result;
        }
        // 6.1. All tokens first. A space ends one, and so does a read that fails.
        std::vector<std::string> tokens;
        std::string token;
        while (tokens.size() < ref.count) {
            takeMostOf(token);
            std::string character;
            const bool done = okToRead() && readInternal(character, 1);
            if (done && character != " ") {
                token += character;
            } else {
                tokens.push_back(token);
                token = "";
            }
        }
        // 6.2. (As many are held as were counted.)
        // 6.3. Then each into the first scalar of its item, packed from where the memory begins.
        for (std::uint64_t i = 0; i < ref.count; ++i) {
            bool known = true;
            const auto bytes = bytesOf(type.elemType, tokens[i], known);
            if (!known) error_ = std::string("Invalid typeElemType: ") + type.elemType;
            if (bytes) store(addressOf(ref) + i * type.size, *bytes);
            result = result && bytes.has_value();
        }
        // 6.4. The result.
        return result;
    }

    // ---- Records ----------------------------------------------------------------------------------------------------

    template <typename Value>
    requires(std::same_as<typename Value::value_type, double>) bool write(const Value& value) {
        // 1. As numbers, until one fails.
        if (mode_ == Mode::Write && format_ == Format::Binary) {
            for (const double component : value) {
                if (!write(component)) return false;
            }
            return true;
        }
        // 2. As text, with a space between two.
        std::string text;
        for (const double component : value) text += (text.empty() ? "" : " ") + printed(component);
        // 3, 4.
        return okToWrite() && writeInternal(text);
    }

    template <typename Value>
    requires(std::same_as<typename Value::value_type, double>) bool read(Value& value) {
        // 1. From binary files alone, and this is asked first.
        if (mode_ != Mode::Read || format_ != Format::Binary) {
            error_ = std::string("read(") + nameOf(value) + "&) not supported in text mode.";
            return false;
        }
        // 2. Admission.
        if (!okToRead()) return false;
        // 3, 4, 5. Until one fails.
        for (double& component : value) {
            if (!read(component)) return false;
        }
        return true;
    }

    // ---- Streaming --------------------------------------------------------------------------------------------------

    template <typename T>
    Model& operator<<(const T& value) {
        write(value);
        return *this;
    }
    template <typename T>
    Model& operator>>(T& value) {
        read(value);
        return *this;
    }

    /// An array of single bytes becomes a block.
    Model& operator<<(const BufRef& ref) {
        write(ref, true);
        return *this;
    }

 private:
    static constexpr std::uint64_t kStagingSize = 0x100000;
    static constexpr std::uint64_t kMostThatMemoryHolds = std::uint64_t{1} << 47;
    static constexpr std::uint64_t kAllBitsSet = 0xFFFFFFFFFFFFFFFF;
    enum Origin : std::uint32_t { kFromStart, kFromCurrent, kFromEnd };

    // ---- Admission --------------------------------------------------------------------------------------------------

    bool okToWrite() {
        if (!stream) {
            error_ = "File not successfully opened, cannot write.";
            return false;
        }
        if (mode_ == Mode::Read) {
            error_ = "Cannot write while in read mode.";
            return false;
        }
        return true;
    }

    bool okToRead() {
        if (!stream) {
            error_ = "File not successfully opened, cannot read.";
            return false;
        }
        if (mode_ == Mode::Write) {
            error_ = "Cannot write while in write mode.";
            return false;
        }
        return true;
    }

    // ---- Steps that several operations take -------------------------------------------------------------------------

    // All of the buffer becomes zero. Nothing behind `used` is anything else, which saves most of the work.
    void zeroBuffer() {
        std::memset(buffer.data(), 0, used);
        used = 0;
    }

    void reset() {
        stream = nullptr;
        bufPos = 0;
        position = 0;
        length = filePos = chunkStart = chunkEnd = 0;
        zeroBuffer();
    }

    bool flushStep() {
        // Only the mode Write has bytes for the stream; everything else drops what is in the buffer.
        if (mode_ != Mode::Write) {
            zeroBuffer();
            bufPos = chunkStart = chunkEnd = 0;
            return true;
        }
        // 1. The staged bytes are handed over, and gone even if they were not taken.
        bool result = true;
        if (bufPos > 0) {
            const std::uint64_t count = disk.Fwrite(buffer.data(), bufPos, stream);
            if (count != bufPos) {
                error_ = "Fwrite failed. ";
                result = false;
            }
            bufPos = chunkStart = chunkEnd = 0;
        }
        // 2. The stream is flushed in any case; its text also follows a failed write.
        if (disk.Fflush(stream) != 0) result = false;
        if (!result) error_ += "fflush failed.";
        // 3. Where are we? Not knowing is no failure, but has the last word.
        tell();
        return result;
    }

    // Takes the stream's offset over. Gives it, or all bits set if the stream does not know.
    std::uint64_t tell() {
        const std::int64_t told = disk.Ftell(stream);
        if (told == -1) {
            error_ = "Tell failed.";
            position = filePos;
            return kAllBitsSet;
        }
        filePos = position = static_cast<std::uint64_t>(told);
        return position;
    }

    std::uint64_t seek(std::int64_t offset, Origin origin) {
        // 1. There must be a stream.
        if (!stream) {
            error_ = "Cannot seek, file is not opened.";
            return 0;
        }
        // 2. Nothing has failed yet.
        error_ = "";
        // 3. Flush; its result is not asked for, and its text stands until something else fails.
        flushStep();
        // 4. Move.
        if (disk.Fseek(stream, offset, origin) != 0) {
            error_ = "Seek failed, returning zero.";
            return 0;
        }
        // 5. Where to?
        return tell();
    }

    // ---- Transport --------------------------------------------------------------------------------------------------

    bool writeInternal(const std::string& data) {
        const std::uint64_t n = data.size();
        // 1. What does not fit goes after what is staged, even if nothing is.
        if (bufPos + n > kStagingSize) {
            const std::uint64_t count = disk.Fwrite(buffer.data(), bufPos, stream);
            if (count != bufPos) {
                error_ = moved("Fwrite", bufPos, count);
                return false;
            }
            zeroBuffer();
            bufPos = 0;
        }
        // 2. What never fits goes straight to the stream. A failure tells bufPos, which is 0, and not n.
        if (n > kStagingSize) {
            const std::uint64_t count = disk.Fwrite(data.data(), n, stream);
            if (count != n) {
                error_ = moved("Fwrite", bufPos, count);
                return false;
            }
            filePos += n;
            position += n;
            return true;
        }
        // 3. The rest is staged.
        std::memcpy(buffer.data() + bufPos, data.data(), n);
        bufPos += n;
        used = std::max(used, bufPos);
        position += n;
        return true;
    }

    // Steps 1 to 3 of every read.
    bool canRead(std::uint64_t n) {
        // 1. What a refill asks for; the difference wraps where the stream is past the end.
        std::uint64_t chunk = kStagingSize;
        if (filePos + kStagingSize > length) chunk = length - filePos;
        // 2. Refill if no chunk is loaded. The stream never gets more room than the buffer has.
        if (bufPos == 0) {
            const std::uint64_t asked = chunk < kStagingSize ? chunk : kStagingSize;
            const std::uint64_t count = disk.Fread(buffer.data(), asked, stream);
            used = std::max(used, count);
            if (count != chunk) {
                error_ = moved("Fread", chunk, count);
                return false;
            }
            chunkStart = filePos;
            chunkEnd = filePos = chunkStart + chunk;
        }
        // 3. Bound check, as if sums could not wrap.
        const std::uint64_t at = chunkStart + bufPos;
        if (at > length || n > length - at) {
            error_ = "Attempted to read beyond file size.";
            return false;
        }
        return true;
    }

    // Appends `n` bytes to `to`, or fewer and gives false.
    bool readInternal(std::string& to, std::uint64_t n) {
        // 1, 2, 3. Refill and bound check.
        if (!canRead(n)) return false;
        const std::uint64_t at = chunkStart + bufPos;
        // 4. The rest of the chunk is enough. Where bytes are staged and no chunk is loaded, the difference wraps: what
        // may be read then is what the buffer holds, zeros after the staged bytes.
        std::uint64_t avail = chunkEnd - at;
        if (avail > kStagingSize - bufPos) avail = kStagingSize - bufPos;
        if (n <= avail) {
            to.append(buffer, bufPos, n);
            bufPos += n;
            position += n;
            return true;
        }
        // 5. It is not: take it all and go on with the next chunk.
        to.append(buffer, bufPos, avail);
        zeroBuffer();
        position += avail;
        bufPos = 0;
        return readInternal(to, n - avail);
    }

    // A token may be a buffer of zeros, for which character by character takes half a second with sanitizers: what of a
    // long one is in the buffer is taken in one go.
    void takeMostOf(std::string& token) {
        const std::uint64_t at = chunkStart + bufPos;
        if (bufPos == 0 || at > length) return;
        const std::uint64_t left = std::min({chunkEnd - at, kStagingSize - bufPos, length - at});
        const std::string_view loaded = std::string_view(buffer).substr(bufPos, left);
        const std::uint64_t n = std::min(loaded.find(' '), loaded.size());
        if (n < 4096) return;
        token += loaded.substr(0, n);
        bufPos += n;
        position += n;
    }

    static std::string moved(const char* function, std::uint64_t requested, std::uint64_t count) {
        return std::string(function) + " failed. Requested " + std::to_string(requested) + ", read " +
               std::to_string(count) + ".";
    }

    bool beyondMemory(std::uint64_t n) {
        if (n <= kMostThatMemoryHolds) return false;
        if (canRead(n)) error_ = "Out of memory.";
        return true;
    }

    bool readCount(std::uint64_t& count) {
        std::string bytes;
        if (!readInternal(bytes, 8)) return false;
        for (int i = 7; i >= 0; --i)
            count = count * 256 + static_cast<unsigned char>(bytes[static_cast<std::size_t>(i)]);
        return true;
    }

    // ---- Headers of blocks ------------------------------------------------------------------------------------------

    bool writeHeader(unsigned long size, unsigned long payloadSize) {
        if (!write('.') || !write('1') || !write('.')) return false;
        if (!write(size) || !write('.')) return false;
        return write(payloadSize) && write('.');
    }

    bool readMark(char mark) {
        unsigned char byte = 0;
        return read(byte) && byte == static_cast<unsigned char>(mark);
    }

    bool readLength(unsigned long& value) {
        if (mode_ == Mode::Read && format_ == Format::Binary) return read(value) && readMark('.');
        char text[33] = {};
        int count = 0;
        unsigned char byte = 0;
        while (read(byte)) {
            if (byte == '.') {
                const char* const end = text + std::strlen(text);
                const auto parsed = std::from_chars(text, end, value);
                return end != text && parsed.ec == std::errc() && parsed.ptr == end;
            }
            if (count == 32) return false;
            text[count++] = static_cast<char>(byte);
        }
        return false;
    }

    // ---- Formatted text ---------------------------------------------------------------------------------------------

    static std::string formatted(const char* fmt, va_list arguments) {
        va_list again;
        va_copy(again, arguments);
        const int size = std::vsnprintf(nullptr, 0, fmt, again);
        va_end(again);
        if (size < 0) return "";
        std::string text(static_cast<std::size_t>(size) + 1, '\0');
        std::vsnprintf(text.data(), text.size(), fmt, arguments);
        return text.c_str();
    }

    // ---- Numbers as bytes and as text -------------------------------------------------------------------------------

    template <typename T>
    static std::string stored(T value) {
        std::string bytes(sizeof(T), '\0');
        std::memcpy(bytes.data(), &value, sizeof(T));
        return std::endian::native == std::endian::little ? bytes : std::string(bytes.rbegin(), bytes.rend());
    }

    template <typename T>
    static std::string printed(T value) {
        if constexpr (std::is_same_v<T, bool>) {
            return value ? "true" : "false";
        } else if constexpr (std::is_integral_v<T>) {
            return std::to_string(value);
        } else {
            char text[64];
            return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
        }
    }

    // ---- Typed arrays and records -----------------------------------------------------------------------------------

    using Address = std::uintptr_t;

    static Address addressOf(const BufRef& ref) { return reinterpret_cast<Address>(ref.ptr); }
    static const ElementType& typeOf(const BufRef& ref) { return kElementTypes[static_cast<std::uint32_t>(ref.type)]; }

    bool describesAnArray(const BufRef& ref) {
        const auto type = static_cast<std::uint32_t>(ref.type);
        if (ref.ptr == nullptr) {
            error_ = "BufRef 'ptr' is null.";
        } else if (ref.count == 0) {
            error_ = "BufRef 'count' is zero.";
        } else if (type > 59) {
            error_ = "BufRef typeSize is zero.";
        } else if (type == 0) {
            error_ = "BufRef typeElemSize is zero.";
        } else {
            return true;
        }
        return false;
    }

    // Whether the number of all bytes is a number of 64 bits.
    static bool canBeCounted(const BufRef& ref) { return ref.count <= kAllBitsSet / typeOf(ref).size; }

    bool readBytes(Address to, const BufRef& ref) {
        const std::uint64_t n = canBeCounted(ref) ? ref.count * typeOf(ref).size : kAllBitsSet;
        if (beyondMemory(n)) return false;
        std::string bytes;
        const bool done = readInternal(bytes, n);
        store(to, bytes);
        return done;
    }

    static std::string load(Address from, std::uint64_t n) {
        return {reinterpret_cast<const char*>(from), static_cast<std::size_t>(n)};
    }
    static void store(Address to, const std::string& bytes) {
        if (!bytes.empty()) std::memcpy(reinterpret_cast<char*>(to), bytes.data(), bytes.size());
    }

    static std::string inFileOrder(const std::string& bytes) {
        return std::endian::native == std::endian::little ? bytes : std::string(bytes.rbegin(), bytes.rend());
    }

    // The text of a scalar that lies in memory as these bytes; none if its type has no text.
    static std::optional<std::string> textOf(const std::string& elemType, const std::string& bytes) {
        const auto as = [&]<typename T>(T value) {
            std::memcpy(&value, bytes.data(), sizeof(T));
            return printed(value);
        };
        if (elemType == "Int16") return as(short());
        if (elemType == "Int32") return as(int());
        if (elemType == "Int64") return as(long());
        if (elemType == "UInt16") return as(static_cast<unsigned short>(0));
        if (elemType == "UInt32") return as(0u);
        if (elemType == "UInt64") return as(0ul);
        if (elemType == "Float") return as(float());
        if (elemType == "Double") return as(double());
        return std::nullopt;
    }

    // The scalar that a token names, as it lies in memory; none if the token is no such scalar.
    static std::optional<std::string> bytesOf(const std::string& elemType, const std::string& token, bool& known) {
        const auto as = [&]<typename T>(T value) -> std::optional<std::string> {
            const char* const text = token.c_str();
            const char* const end = text + std::strlen(text);
            if constexpr (std::is_same_v<T, bool>) {
                if (std::strcmp(text, "true") != 0 && std::strcmp(text, "false") != 0) return std::nullopt;
                value = *text == 't';
            } else {
                const auto parsed = std::from_chars(text, end, value);
                if (parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
            }
            std::string bytes(sizeof(T), '\0');
            std::memcpy(bytes.data(), &value, sizeof(T));
            return bytes;
        };
        if (elemType == "Bool") return as(bool());
        if (elemType == "Char") return as(static_cast<signed char>(0));
        if (elemType == "Byte") return as(static_cast<unsigned char>(0));
        if (elemType == "Int16") return as(short());
        if (elemType == "Int32") return as(int());
        if (elemType == "Int64") return as(long());
        if (elemType == "UInt16") return as(static_cast<unsigned short>(0));
        if (elemType == "UInt32") return as(0u);
        if (elemType == "UInt64") return as(0ul);
        if (elemType == "Float") return as(float());
        if (elemType == "Double") return as(double());
        known = false;
        return std::nullopt;
    }

    static const char* nameOf(const math::Vec2d&) { return "Vec2"; }
    static const char* nameOf(const math::Vec3d&) { return "Vec3"; }
    static const char* nameOf(const math::Vec4d&) { return "Vec4"; }
    static const char* nameOf(const math::Pos2d&) { return "Pos2"; }
    static const char* nameOf(const math::Pos3d&) { return "Pos3"; }
    static const char* nameOf(const math::Quatd&) { return "Quat"; }
    static const char* nameOf(const math::Rgbad&) { return "Rgba"; }
    static const char* nameOf(const math::Mat3d&) { return "Mat3"; }
    static const char* nameOf(const math::Mat4d&) { return "Mat4"; }

    Disk& disk;
    Disk::Stream* stream = nullptr;
    Mode mode_ = Mode::Read;
    Format format_ = Format::Text;
    std::string error_;
    std::uint64_t length = 0;
    std::uint64_t filePos = 0;
    std::uint64_t chunkStart = 0;
    std::uint64_t chunkEnd = 0;
    std::uint64_t bufPos = 0;
    std::string buffer;
    std::uint64_t used = 0;
    std::uint64_t position = 0;
};

}  // namespace qor::test
