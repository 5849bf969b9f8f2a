// The file layer: life cycle, transport, scalars, texts, blocks, typed arrays and records, in the order of the header.
//
// Every byte passes through `writeInternal` or `readInternal`, and with them through the one staging buffer; the
// reading of a whole text is the only exception. Which calls the stream receives, in which order and of which sizes, is
// part of the behaviour: a faster way that holds the same conversation is free, one that changes it is a different
// library.
#include "qor/file/qor_file.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "qor/core/number_text.h"
#include "qor/core/path.h"
#include "qor/core/wrapping.h"
#include "qor/data/elem_text.h"
#include "qor/file/block_header.h"
#include "qor/file/error_text.h"

namespace qor {

using namespace impl::errorText;

File::File() : RefersTo(new impl::File) {}

bool File::open(String path, Mode mode, Format format) { return self().open(std::move(path), mode, format); }
bool File::close() { return self().close(); }
bool File::flush() { return self().flush(); }

std::uint64_t File::seek(std::int64_t offset) { return self().seek(offset, fs::kFromStart); }
std::uint64_t File::skip(std::int64_t n) { return self().seek(n, fs::kFromCurrent); }
unsigned char File::peek() { return self().peek(); }

bool File::write(std::string_view text) { return writeText(text.substr(0, text.find('\0'))); }

bool File::print(const char* fmt, ...) {
    std::va_list args;
    va_start(args, fmt);
    const bool written = self().print(fmt, args, "");
    va_end(args);
    return written;
}

bool File::printLn(const char* fmt, ...) {
    std::va_list args;
    va_start(args, fmt);
    const bool written = self().print(fmt, args, "\n");
    va_end(args);
    return written;
}

bool File::decodeRawFileBlock(const unsigned char* block, Compression& compression, unsigned long& compressedSize,
                              unsigned long& uncompressedSize, unsigned char*& payload) {
    compression = Compression::None;
    compressedSize = uncompressedSize = 0;
    payload = nullptr;
    if (!impl::parseBlockHeader(block, compression, compressedSize, uncompressedSize)) return false;
    payload = const_cast<unsigned char*>(block) + impl::kBlockHeaderSize;
    return true;
}

bool File::decodeRawFileData(const ds::Vector<unsigned char>& data, Compression& compression,
                             unsigned long& compressedSize, unsigned long& uncompressedSize, unsigned char*& payload) {
    compression = Compression::None;
    compressedSize = uncompressedSize = 0;
    payload = nullptr;
    return data.size() >= impl::kBlockHeaderSize &&
           decodeRawFileBlock(data.data(), compression, compressedSize, uncompressedSize, payload) &&
           data.size() - impl::kBlockHeaderSize == compressedSize;
}

namespace impl {
namespace {

// The stream's answer where it cannot tell its offset.
constexpr std::uint64_t kNoPosition = ~std::uint64_t{0};

constinit StaticText kReadBytes("rb");
constinit StaticText kWriteBytes("wb");

std::string_view upToZero(const void* bytes, std::uint64_t n) {
    const char* const text = static_cast<const char*>(bytes);
    const void* const zero = std::memchr(text, '\0', n);
    return {text, zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - text) : n};
}

// How each kind of text takes a whole text file, and how a record. False, with `out` as it was, if memory is refused.
bool replace(std::string& out, std::string_view text) try {
    out = text;
    return true;
} catch (const std::bad_alloc&) {
    return false;
}
bool replace(std::string& out, const String& text) { return replace(out, text.view()); }
bool replace(String& out, const String& text) {
    out = text;
    return true;
}
bool replace(StringIO& out, const String& text) {
    out = text;
    return true;
}
bool put(String& out, std::string_view text) { return out.assign(text); }
bool put(String& out, const String& text) { return replace(out, text); }
bool put(std::string& out, std::string_view text) { return replace(out, text); }
bool put(std::string& out, const String& text) { return replace(out, text.view()); }
bool put(StringIO& out, std::string_view text) { return out.append(text); }
bool put(StringIO& out, const String& text) { return out.isEmpty() ? replace(out, text) : out.append(text.view()); }

bool replace(std::vector<unsigned char>& out, const ds::Vector<unsigned char>& bytes) try {
    out.assign(bytes.begin(), bytes.end());
    return true;
} catch (const std::bad_alloc&) {
    out.clear();
    return false;
}

bool add(std::string& out, std::string_view text) try {
    out += text;
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

bool addPiece(std::vector<String>& pieces, std::string_view text) try {
    String piece;
    if (!piece.assign(text)) return false;
    pieces.push_back(piece);
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

// Puts the pieces together in `out`, letting each go as soon as it is copied.
bool join(std::vector<String>& pieces, String& out) {
    std::size_t size = 0;
    for (const String& piece : pieces) size += piece.length();
    String whole;
    char* to = whole.makeRoom(size);
    if (!to) return false;
    for (String& piece : pieces) {
        to += piece.view().copy(to, piece.length());
        piece = String();
    }
    out = whole;
    return true;
}

}  // namespace

// A token on its way. It may be as long as the file, so a long one is kept in the pieces in which it arrives: to double
// a memory that is full would take three times what is there.
class File::Token {
 public:
    /// False if memory is refused.
    bool append(std::string_view more) {
        if (last.size() + more.size() <= kShort) return add(last, more);
        if (!last.empty() && !addPiece(pieces, last)) return false;
        last.clear();
        return more.size() <= kShort ? add(last, more) : addPiece(pieces, more);
    }

    /// Ends the token: its text is whole then. False if memory is refused.
    bool end() {
        if (pieces.empty()) return true;
        if (!last.empty() && !addPiece(pieces, last)) return false;
        std::string().swap(last);
        return join(pieces, whole);
    }

    std::string_view text() const { return whole.isEmpty() ? std::string_view(last) : whole.view(); }

    void clear() {
        last.clear();
        pieces.clear();
        whole = String();
    }

 private:
    static constexpr std::size_t kShort = 0x40000;

    std::string last;
    std::vector<String> pieces;
    String whole;
};

namespace {

// Figures of a message, as printf wants them.
String figures(const char* pattern, std::uint64_t requested, std::uint64_t done) {
    return String::format(pattern, static_cast<unsigned long long>(requested), static_cast<unsigned long long>(done));
}

}  // namespace

// ---- Opening and closing --------------------------------------------------------------------------------------------

File::~File() { static_cast<void>(close()); }

bool File::open(String path, Mode newMode, Format newFormat) {
    check();
    error = "";
    if (stream) {
        const bool flushed = flush();
        if (fs::Fclose(stream) != 0 || !flushed) fail(kCloseFailed);
    }
    reset();
    format = newFormat;
    mode = newMode;

    const Path named(path, true);
    if (named.isFile()) path = named.canonical();
    const bool writes = mode == Mode::Write || mode == Mode::ReadWrite;
    stream = fs::Fopen(path, writes ? kWriteBytes : kReadBytes);
    if (!stream) return false;
    if (mode == Mode::Write) {
        stageEnd = kStagingSize;
        return true;
    }

    length = seek(0, fs::kFromEnd);
    if (mode == Mode::ReadWrite || seek(0, fs::kFromStart) == 0) return true;
    static_cast<void>(close());
    return fail(kRewindFailed);
}

bool File::close() {
    check();
    error = "";
    bool closed = true;
    if (stream) {
        const bool flushed = flushStep();
        closed = fs::Fclose(stream) == 0 && flushed;
        if (!closed) fail(kCloseFailed);
    }
    reset();
    mode = Mode::Read;
    format = Format::Text;
    return closed;
}

bool File::flush() {
    check();
    error = "";
    return !stream || flushStep();
}

// Everything but `mode`, `format` and `error`, as it is in a closed file.
void File::reset() {
    buffer.clear(bufPos);
    buffer.wipe();
    stream = nullptr;
    length = filePos = chunkStart = chunkEnd = bufPos = position = 0;
    stageEnd = readEnd = 0;
}

// What flush, close and every seek begin with: staged bytes go to the stream, a loaded chunk is dropped.
bool File::flushStep() {
    if (mode != Mode::Write) {
        // Deliberate, while reading: the rest of the chunk is forgotten and the stream is not moved back, so the next
        // read goes on at the chunk's end. In Mode::ReadWrite what was staged is lost. Kept by
        // Flush.WhileReadingGoesOnAtTheEndOfTheChunk and ThirdMode.FlushDropsWhatIsStaged.
        buffer.clear(bufPos);
        settle();
        chunkStart = chunkEnd = 0;
        return true;
    }
    bool done = true;
    if (bufPos > 0) {
        done = fs::Fwrite(buffer.at(0), 1, bufPos, stream) == bufPos;
        if (!done) fail(kStagingWriteFailed);
        buffer.clear(bufPos);
        settle();
        chunkStart = chunkEnd = 0;
    }
    done = fs::Fflush(stream) == 0 && done;
    if (!done) fail(error + kFlushFailed);
    tellPosition();
    return done;
}

// Takes the stream's offset as the position of file and caller. All bits set if the stream cannot tell it.
std::uint64_t File::tellPosition() {
    const std::int64_t told = fs::Ftell(stream);
    if (told == -1) {
        fail(kTellFailed);
        position = filePos;
        return kNoPosition;
    }
    filePos = position = static_cast<std::uint64_t>(told);
    return position;
}

bool File::okToWrite() {
    if (!stream) return fail(kCannotWriteClosed);
    if (mode == Mode::Read) return fail(kCannotWriteReading);
    return true;
}

bool File::okToRead() {
    if (!stream) return fail(kCannotReadClosed);
    if (mode == Mode::Write) return fail(kCannotReadWriting);
    return true;
}

bool File::fail(const String& reason) {
    error = reason;
    if (error.isEmpty()) error = kOutOfMemory;  // there was no memory left to say what happened
    return false;
}

void File::check() const {
    assert(bufPos <= kStagingSize);
    assert(mode != Mode::Write || (chunkStart == 0 && chunkEnd == 0));
    assert(mode != Mode::Read || chunkEnd - chunkStart <= kStagingSize);
    assert(mode != Mode::Read || bufPos == 0 || (bufPos <= chunkEnd - chunkStart && chunkEnd == filePos));
}

// ---- The transport --------------------------------------------------------------------------------------------------

bool File::writeInternal(const void* data, std::uint64_t n) {
    check();
    if (n > kStagingSize - bufPos && !spill()) return false;
    if (n > kStagingSize) {
        const std::uint64_t written = fs::Fwrite(data, 1, n, stream);
        // Deliberate: the first figure is what is staged, which is 0 here, and not what was requested.
        // Kept by Transport.AFailedDirectWriteReportsARequestOfZero.
        if (written != n) return fail(figures(kWriteFailed, bufPos, written));
        filePos += n;
        position += n;
        return true;
    }
    if (n > 0) std::memcpy(buffer.at(bufPos), data, n);
    bufPos += n;
    buffer.keep(bufPos);
    return true;
}

// Hands all that is staged to the stream, be it nothing. Where the stream takes less, all of it stays staged.
bool File::spill() {
    const std::uint64_t written = fs::Fwrite(buffer.at(0), 1, bufPos, stream);
    if (written != bufPos) return fail(figures(kWriteFailed, bufPos, written));
    buffer.clear(bufPos);
    settle();
    return true;
}

bool File::readInternal(void* to, std::uint64_t n) {
    unsigned char* next = static_cast<unsigned char*>(to);
    return readPieces(n, [&next](const unsigned char* piece, std::uint64_t size) {
        std::memcpy(next, piece, size);
        next += size;
        return true;
    });
}

// Hands the next `n` bytes to `take(piece, size)`, a piece for each chunk they lie in. False if the file ends before,
// the stream fails, or `take` does for want of memory.
template <typename Take>
bool File::readPieces(std::uint64_t n, Take take) {
    check();
    for (;;) {
        if (bufPos == 0 && !refill()) return false;
        // Deliberate: a read that is refused right after a refill leaves bufPos at 0, and so does a read of 0 bytes, so
        // the next read loads the chunk that follows. Kept by Transport.AReadRefusedAfterARefillGivesUpTheChunk.
        if (endsBefore(n)) return fail(kBeyondFileSize);
        const std::uint64_t size = std::min(n, unread());
        if (size > 0 && !take(buffer.view(bufPos, size), size)) return fail(kOutOfMemory);
        bufPos += size;
        n -= size;
        if (n == 0) {
            if (mode == Mode::Read && bufPos > 0) readEnd = chunkEnd - chunkStart;
            return true;
        }
        buffer.clear();
        settle();
    }
}

// Loads the next chunk from wherever the stream stands.
bool File::refill() {
    // A position beyond a file's end makes this wrap, and the wrapped figure is what is reported then; everything else
    // in this file is computed so that it cannot wrap.
    const std::uint64_t left = wrappedDifference(length, filePos);
    const std::uint64_t chunk = filePos > length || left < kStagingSize ? left : kStagingSize;
    // Beyond the file's end `left` has wrapped. The stream is then asked for what the buffer holds and the wrapped
    // figure is reported, whatever the stream had to give.
    const std::uint64_t loaded = fs::Fread(buffer.at(0), 1, std::min(chunk, kStagingSize), stream);
    buffer.keep(loaded);
    if (loaded != chunk) return fail(figures(kReadFailed, chunk, loaded));
    chunkStart = filePos;
    chunkEnd = filePos = chunkStart + chunk;
    return true;
}

// Whether fewer than `n` bytes follow, by the length that was measured.
bool File::endsBefore(std::uint64_t n) const {
    const std::uint64_t at = chunkStart + bufPos;
    return at > length || n > length - at;
}

// Bytes that can be read without a refill. Where reads are admitted beside writes, staged bytes can pass for a chunk
// that is not there; its end then wraps, and the buffer's end or the file's is the limit.
std::uint64_t File::unread() const {
    if (endsBefore(0)) return 0;
    const std::uint64_t at = chunkStart + bufPos;
    return std::min({wrappedDifference(chunkEnd, at), kStagingSize - bufPos, length - at});
}

// Those bytes, but for a chunk that no read has begun.
std::string_view File::unreadText() {
    if (bufPos == 0) return {};
    const std::uint64_t size = unread();
    return {reinterpret_cast<const char*>(buffer.view(bufPos, size)), size};
}

std::uint64_t File::seek(std::int64_t offset, std::uint32_t whence) {
    check();
    if (!stream) {
        fail(kCannotSeekClosed);
        return 0;
    }
    error = "";
    flushStep();
    if (fs::Fseek(stream, offset, whence) != 0) {
        fail(kSeekFailed);
        return 0;
    }
    return tellPosition();
}

unsigned char File::peek() {
    if (mode != Mode::Read) {
        fail(kPeekOnlyReading);
        return 0;
    }
    const std::uint64_t here = pos();
    unsigned char byte = 0;
    if (okToRead()) static_cast<void>(readInternal(&byte, 1));
    seek(static_cast<std::int64_t>(here), fs::kFromStart);
    return byte;
}

// ---- Numbers --------------------------------------------------------------------------------------------------------

template <typename T>
bool File::write(T value) {
    static_assert(Scalar<T>);
    if constexpr (!std::same_as<T, char>) {
        if (format == Format::Text && hasRoom(kMaxDecimalText)) {
            char* const to = reinterpret_cast<char*>(buffer.at(bufPos));
            bufPos += static_cast<std::uint64_t>(formatNumber(to, value) - to);
            return true;
        }
    }
    return writeAsking(value);
}

// As `write`, where that is not the common case. Apart, so that the machine code of the common case is short.
template <typename T>
bool File::writeAsking(T value) {
    if (!okToWrite()) return false;
    if constexpr (!std::same_as<T, char>) {
        if (writesText()) {
            char text[kMaxDecimalText];
            return writeInternal(text, static_cast<std::uint64_t>(formatNumber(text, value) - text));
        }
    }
    unsigned char bytes[sizeof(T)];
    storeLittle(bytes, value);
    return writeInternal(bytes, sizeof(T));
}

template <typename T>
bool File::read(T& value) {
    static_assert(sizeof(T) <= 8 && std::is_arithmetic_v<T>);
    if (!okToRead()) return false;
    unsigned char bytes[sizeof(T)];
    if (!readInternal(bytes, sizeof(T))) return false;
    loadLittle(bytes, value);
    return true;
}

template bool File::write(char);
template bool File::write(bool);
template bool File::write(signed char);
template bool File::write(unsigned char);
template bool File::write(short);
template bool File::write(unsigned short);
template bool File::write(int);
template bool File::write(unsigned int);
template bool File::write(long);
template bool File::write(unsigned long);
template bool File::write(float);
template bool File::write(double);

template bool File::read(char&);
template bool File::read(bool&);
template bool File::read(signed char&);
template bool File::read(unsigned char&);
template bool File::read(short&);
template bool File::read(unsigned short&);
template bool File::read(int&);
template bool File::read(unsigned int&);
template bool File::read(long&);
template bool File::read(unsigned long&);
template bool File::read(long long&);
template bool File::read(unsigned long long&);
template bool File::read(float&);
template bool File::read(double&);

// ---- Texts ----------------------------------------------------------------------------------------------------------

// `text` holds no zero byte. The result is that of the characters alone, whatever became of their count.
bool File::writeText(std::string_view text) {
    if (!okToWrite()) return false;
    if (writesBinary()) write<unsigned long>(text.size());
    return text.empty() || writeInternal(text.data(), text.size());
}

bool File::print(const char* fmt, std::va_list args, std::string_view ending) {
    String text;
    if (!text.assignFormat(fmt, args) || !text.append(ending)) return fail(kOutOfMemory);
    return writeText(text.buf());
}

String File::read() {
    if (!okToRead()) return {};
    if (readsBinary()) {
        fail(kReadTextOnly);
        return {};
    }
    // One call reads all of the file, so this is the one text whose memory is taken before it has arrived. The measured
    // length can be anything (2^63-1 for a directory, all bits set after a failed tell). Where it cannot be held, as
    // much is read as the buffer holds; that is too little, and fails as any read does that came up short.
    String text;
    char* const block = text.makeRoom(length);
    const std::uint64_t here = pos();
    seek(0, fs::kFromStart);
    const std::uint64_t loaded = block ? fs::Fread(block, 1, length, stream)
                                       : fs::Fread(buffer.at(0), 1, std::min(length, kStagingSize), stream);
    if (!block) buffer.clear(loaded);
    seek(static_cast<std::int64_t>(here), fs::kFromStart);
    if (!block || loaded != length) {
        fail(kReadFileFailed);
        return {};
    }
    const std::string_view kept = upToZero(block, length);
    String cut;
    if (kept.size() < length / 2 && cut.assign(kept)) return cut;  // and not hold on to the whole block
    text.truncate(kept.size());
    return text;
}

bool File::read(String& out) { return readInto(out); }
bool File::read(StringIO& out) { return readInto(out); }
bool File::read(std::string& out) { return readInto(out); }

template <typename Text>
bool File::readInto(Text& out) {
    if (!okToRead()) return false;
    if (readsText()) {
        const String whole = read();
        if (!replace(out, whole)) return fail(kOutOfMemory);
        return !whole.isEmpty();
    }
    unsigned long count;
    if (!take(count) && !read(count)) return false;
    if (count == 0) return replace(out, String());
    if (hasUnread(count)) {
        if (!put(out, upToZero(buffer.at(bufPos), count))) return fail(kOutOfMemory);
        bufPos += count;
        return true;
    }
    String text;
    return readCharacters(count, text) && (put(out, text) || fail(kOutOfMemory));
}

// Reads `count` characters, more than none, and keeps those before the first zero byte. The count is a stranger's
// claim: beyond the chunk in the buffer, memory is taken only for characters that have arrived.
bool File::readCharacters(std::uint64_t count, String& out) {
    std::vector<String> pieces;  // stays empty if all of them lie in one chunk
    bool ended = false;
    const auto take = [&](const unsigned char* bytes, std::uint64_t size) {
        const std::string_view piece = upToZero(bytes, size);
        if (size == count) return out.assign(piece);
        if (!ended && !addPiece(pieces, piece)) return false;
        ended = ended || piece.size() < size;
        return true;
    };
    if (!readPieces(count, take)) return false;
    return pieces.empty() || join(pieces, out) || fail(kOutOfMemory);
}

// ---- Blocks of bytes ------------------------------------------------------------------------------------------------

bool File::write(const void* data, unsigned long size, Compression compression) {
    if (!okToWrite()) return false;
    if (compression == Compression::None) return writeInternal(data, size);
    if (!data || size == 0) return writeBlockHeader(0, 0);
    const ds::Vector<unsigned char> payload =
        compress(static_cast<const unsigned char*>(data), size, writesText(), compression);
    if (payload.isEmpty()) return fail(kCompressFailed);
    return writeBlockHeader(size, payload.size()) && writeInternal(payload.data(), payload.size());
}

bool File::writeBlockHeader(unsigned long size, unsigned long payloadSize) {
    return write(kBlockMark) && write(kBlockKind) && write(kBlockMark) &&  //
           write(size) && write(kBlockMark) &&                             //
           write(payloadSize) && write(kBlockMark);
}

bool File::read(ds::Vector<unsigned char>& bytes, Compression compression) {
    if (!okToRead()) return false;
    if (compression == Compression::None) return readRaw(bytes);
    bytes.clear();
    return readBlock([&bytes](ds::Vector<unsigned char>& content) {
        bytes = std::move(content);
        return true;
    });
}

bool File::read(std::vector<unsigned char>& bytes, Compression compression) {
    if (!okToRead()) return false;
    if (compression == Compression::None && !bytes.empty()) return readInternal(bytes.data(), bytes.size());
    ds::Vector<unsigned char> content;
    const bool done = read(content, compression);
    return replace(bytes, content) ? done : fail(kOutOfMemory);
}

bool File::read(std::span<unsigned char> bytes, Compression compression) {
    if (!okToRead()) return false;
    if (compression == Compression::None) return bytes.empty() || readInternal(bytes.data(), bytes.size());
    const auto take = [bytes](const ds::Vector<unsigned char>& content) {
        if (content.size() != bytes.size()) return false;
        std::copy(content.begin(), content.end(), bytes.begin());
        return true;
    };
    return readBlock(take, bytes.size());
}

// Reads a block and hands what it holds to `take(content)`, which may refuse it. What claims to be more than `most`
// bytes is not even decompressed.
template <typename Take>
bool File::readBlock(Take take, std::uint64_t most) {
    unsigned long size = 0;
    unsigned long payloadSize = 0;
    if (!readBlockHeader(size, payloadSize)) return fail(kBlockHeaderFailed);
    ds::Vector<unsigned char> content;
    if (payloadSize > 0) {
        ds::Vector<unsigned char> payload;
        if (!readPayload(payload, payloadSize)) return fail(kPayloadFailed);
        if (size <= most) content = decompress(std::move(payload), readsText(), size);
    }
    const bool isWhole = payloadSize == 0 || !content.isEmpty();
    return (isWhole && take(content)) || fail(figures(kDecompressFailed, payloadSize, size));
}

// Each byte is looked at as it is read, so that the first wrong one is the last that is consumed.
bool File::readBlockHeader(unsigned long& size, unsigned long& payloadSize) {
    return readMark(kBlockMark) && readMark(kBlockKind) && readMark(kBlockMark) &&  //
           readBlockLength(size) && readBlockLength(payloadSize);
}

// A length and the mark that ends it.
bool File::readBlockLength(unsigned long& value) {
    if (readsBinary()) return read(value) && readMark(kBlockMark);
    char digits[kMaxBlockDigits];
    std::size_t count = 0;
    for (char character = 0; read(character);) {
        if (character == kBlockMark) return parseNumber(upToZero(digits, count), value);
        if (count == kMaxBlockDigits) return false;
        digits[count++] = character;
    }
    return false;
}

bool File::readMark(char mark) {
    char found = 0;
    return read(found) && found == mark;
}

// The size is a stranger's claim: memory is taken once the file is known to be long enough. Of a file whose length
// could not be told nothing is known: more than a chunk ahead, memory is taken only for what has arrived.
bool File::readPayload(ds::Vector<unsigned char>& payload, std::uint64_t size) {
    constexpr std::uint64_t kNoLength = ~std::uint64_t{0} >> 1;  // a folder's; one more and above: the stream gave none
    std::vector<String> pieces;
    unsigned char* next = nullptr;
    const auto take = [&](const unsigned char* bytes, std::uint64_t n) {
        if (pieces.empty() && !next && (length < kNoLength || size - n <= kStagingSize)) {
            if (!payload.resizeForOverwrite(size)) return false;
            next = payload.data();
        }
        if (!next) return addPiece(pieces, {reinterpret_cast<const char*>(bytes), n});
        std::memcpy(next, bytes, n);
        next += n;
        return true;
    };
    if (!readPieces(size, take)) return false;
    if (pieces.empty()) return true;
    if (!payload.resizeForOverwrite(size)) return false;
    next = payload.data();
    for (String& piece : pieces) {
        next = std::copy(piece.view().begin(), piece.view().end(), next);
        piece = String();
    }
    return true;
}

bool File::readRaw(ds::Vector<unsigned char>& bytes) {
    const bool whole = bytes.isEmpty();
    if (whole && !bytes.resizeForOverwrite(length)) {
        return readPieces(length, [](const unsigned char*, std::uint64_t) { return false; });
    }
    const std::uint64_t here = pos();
    if (readInternal(bytes.data(), bytes.size())) return true;
    if (whole) std::fill(bytes.begin() + (pos() - here), bytes.end(), static_cast<unsigned char>(0));
    return false;
}

// ---- Typed arrays ---------------------------------------------------------------------------------------------------
//
// What is described here and in the header scalar by scalar is done in runs, as long as the buffer has room or the
// chunk has bytes; where either ends, one scalar goes the common way. The calls on the stream are the same.

namespace {

// Where a stream fails, or has ended with nothing loaded, it is asked again for each value that is missing. A
// stranger's count may miss a trillion of them: after so many in a row the others are taken to be missing too.
constexpr std::uint64_t kOftenEnough = 300'000;

}  // namespace

bool File::write(const BufRef& ref, bool compress) {
    if (!okToWrite()) return false;
    if (StaticText* const reason = whyInvalid(ref)) return fail(*reason);
    const Items items(ref);
    if (!items.fits()) return fail(figures(kWriteFailed, 0, 0));
    const std::uint64_t elemSize = typeElemSize(ref.type);
    if (elemSize == 1) return writeBytes(items, compress ? Compression::Lz4 : Compression::None);
    if (writesBinary()) {
        switch (elemSize) {
            case 2:
                return writeScalars<std::uint16_t>(items);
            case 4:
                return writeScalars<std::uint32_t>(items);
            default:
                return writeScalars<std::uint64_t>(items);
        }
    }
    return writeTexts(items, dataElemType(ref.type));
}

bool File::writeBytes(const Items& items, Compression compression) {
    if (items.isPacked()) return write(items.at(0), items.size(), compression);
    ds::Vector<unsigned char> packed;
    if (!packed.resizeForOverwrite(items.size())) return fail(kOutOfMemory);
    for (std::uint64_t k = 0; k < items.count; ++k) {
        std::memcpy(packed.data() + k * items.itemSize, items.at(k), items.itemSize);
    }
    return write(packed.data(), packed.size(), compression);
}

template <typename Bits>
bool File::writeScalars(const Items& items) {
    check();
    const bool areBytes = isLittleEndian && items.isPacked();
    bool written = true;
    const std::uint64_t end = items.size() / sizeof(Bits);
    for (std::uint64_t next = 0; next < end;) {
        const std::uint64_t n = std::min((kStagingSize - bufPos) / sizeof(Bits), end - next);
        const bool isSpilledNext = n * sizeof(Bits) == kStagingSize && n < end - next;
        if (n == 0 || (isSpilledNext && areBytes)) {
            // A scalar for which no room can be made is lost.
            const bool spilled = n == 0 ? spill() : passThrough(items.at(0) + next * sizeof(Bits));
            next += n + !spilled;
            written = written && spilled;
            continue;
        }
        unsigned char* to = buffer.at(bufPos);
        eachRun<Bits>(items, next, n, [&to](const unsigned char* scalars, auto run) {
            copyScalars<Bits>(to, scalars, run);
            to += run * sizeof(Bits);
        });
        bufPos += n * sizeof(Bits);
        next += n;
    }
    return written;
}

// Stages as many bytes as the empty buffer holds, and spills them, right from where they lie.
bool File::passThrough(const unsigned char* bytes) {
    const std::uint64_t written = fs::Fwrite(bytes, 1, kStagingSize, stream);
    if (written == kStagingSize) {
        position += kStagingSize;
        return true;
    }
    std::memcpy(buffer.at(0), bytes, kStagingSize);
    bufPos = kStagingSize;
    return fail(figures(kWriteFailed, kStagingSize, written));
}

// Writes the scalars as numbers with a space between any two. A Ptr has no number, so of those the spaces are written.
bool File::writeTexts(const Items& items, DataType elemType) {
    if (elemType != DataType::Ptr) {
        return withElemType(elemType, [&](auto zero) { return writeNumbers<decltype(zero)>(items); });
    }
    const String reason = String::format(kInvalidElemType, dataTypeName(elemType));
    for (std::uint64_t left = items.count; left > 0; --left) {
        fail(reason);
        if (left > 1) static_cast<void>(writeInternal(" ", 1));
    }
    return false;
}

template <typename T>
bool File::writeNumbers(const Items& items) {
    bool written = true;
    std::uint64_t left = items.size() / sizeof(T);
    eachRun<Bits<T>>(items, 0, left, [&](const unsigned char* scalars, std::uint64_t run) {
        for (; run > 0; --run, --left, scalars += sizeof(T)) {
            if (hasRoom(kMaxDecimalText + 1)) {
                char* const to = reinterpret_cast<char*>(buffer.at(bufPos));
                char* end = formatElem<T>(to, scalars);
                if (left > 1) *end++ = ' ';
                bufPos += static_cast<std::uint64_t>(end - to);
                continue;
            }
            char text[kMaxDecimalText];
            const auto size = static_cast<std::uint64_t>(formatElem<T>(text, scalars) - text);
            written = writeInternal(text, size) && written;
            if (left > 1) written = writeInternal(" ", 1) && written;
        }
    });
    return written;
}

bool File::read(const BufRef& ref) {
    if (!okToRead()) return false;
    if (StaticText* const reason = whyInvalid(ref)) return fail(*reason);
    const Items items(ref);
    const std::uint64_t elemSize = typeElemSize(ref.type);
    if (elemSize == 1) {
        if (peek() == kBlockMark) return readItems(ref, items);
        if (items.isPacked()) return items.fits() ? readInternal(items.at(0), items.size()) : readMoreThanFits();
    }
    if (readsBinary()) {
        if (elemSize == 1) return fail(String::format(kInvalidElemSize, 1));
        if (!items.fits()) return readMoreThanFits();
        switch (elemSize) {
            case 2:
                return readScalars<std::uint16_t>(items);
            case 4:
                return readScalars<std::uint32_t>(items);
            default:
                return readScalars<std::uint64_t>(items);
        }
    }
    return readTexts(ref);
}

// An array whose bytes cannot be counted: fails as the reading of all bits set does, and delivers nothing.
bool File::readMoreThanFits() {
    return readPieces(~std::uint64_t{0}, [](const unsigned char*, std::uint64_t) { return false; });
}

bool File::readItems(const BufRef& ref, const Items& items) {
    ds::Vector<unsigned char> bytes;
    if (!read(bytes, Compression::Lz4)) {
        return fail(String::format(kArrayBlockFailed, dataTypeName(ref.type),
                                   static_cast<unsigned long long>(ref.count),
                                   static_cast<unsigned long long>(items.stride)));
    }
    const std::uint64_t stored = bytes.size() / ref.count;
    const std::uint64_t taken = std::min(stored, items.itemSize);
    if (taken == 0) return true;
    // Deliberate: the items are restored without gaps. Kept by TypedArray.OfCompressedBytesIsRestoredPacked.
    for (std::uint64_t k = 0; k < ref.count; ++k) {
        std::memcpy(items.at(0) + k * items.itemSize, bytes.data() + k * stored, taken);
    }
    return true;
}

template <typename Bits>
bool File::readScalars(const Items& items) {
    bool done = true;
    std::uint64_t missing = 0;
    const std::uint64_t end = items.size() / sizeof(Bits);
    for (std::uint64_t next = 0; next < end;) {
        const std::uint64_t loaded = bufPos > 0 ? unread() / sizeof(Bits) : 0;
        const std::uint64_t n = std::min(loaded, end - next);
        if (n > 0) {
            const unsigned char* from = buffer.at(bufPos);
            eachRun<Bits>(items, next, n, [&from](unsigned char* scalars, auto run) {
                copyScalars<Bits>(scalars, from, run);
                from += run * sizeof(Bits);
            });
            bufPos += n * sizeof(Bits);
            next += n;
            continue;
        }
        unsigned char scalar[sizeof(Bits)];
        if (readInternal(scalar, sizeof(Bits))) {
            copyScalars<Bits>(scalarAt<Bits>(items, next), scalar, 1);
            missing = 0;
        } else {
            done = false;
            if (isAtTheEnd(sizeof(Bits)) || ++missing == kOftenEnough) return false;
        }
        ++next;
    }
    return done;
}

// Whether reads of `n` bytes will go on being refused as the latest was, without a call on the stream.
bool File::isAtTheEnd(std::uint64_t n) const { return bufPos > 0 && endsBefore(n); }

// Reads a number for each item, into its first scalar.
bool File::readTexts(const BufRef& ref) {
    // Deliberate: neither offset nor stride counts here. Kept by TypedArray.FromATextFileKnowsNeitherOffsetNorStride.
    unsigned char* const first = static_cast<unsigned char*>(ref.ptr);
    const std::uint64_t itemSize = typeSize(ref.type);
    const DataType elemType = dataElemType(ref.type);
    if (elemType == DataType::Ptr) {
        readTokens(
            ref.count, [](std::uint64_t) { return std::uint64_t{0}; },
            [](std::uint64_t, std::string_view) { return false; });
        return fail(String::format(kInvalidElemType, dataTypeName(elemType)));
    }
    return withElemType(elemType, [&](auto zero) {
        using T = decltype(zero);
        return readTokens(
            ref.count, [&](std::uint64_t i) { return takeNumbers<T>(first + i * itemSize, itemSize, ref.count - i); },
            [&](std::uint64_t i, std::string_view token) { return parseElem<T>(token, first + i * itemSize); });
    });
}

// Reads `count` tokens, each the characters up to a space or to a read that fails. `take(i)` takes as many as it can
// where they lie, from token i on, and gives their number; the next one is then handed to `parse(i, token)`. False if
// one of them cannot be parsed.
template <typename Take, typename Parse>
bool File::readTokens(std::uint64_t count, Take take, Parse parse) {
    bool done = true;
    std::uint64_t missing = 0;
    Token token;
    for (std::uint64_t i = 0; i < count; ++i) {
        i += take(i);
        if (i == count) break;
        bool isWhole = true;
        const bool ended = readToken(token, isWhole);
        done = isWhole && parse(i, token.text()) && done;
        missing = ended ? 0 : missing + 1;
        if (!ended && (isAtTheEnd(1) || missing == kOftenEnough)) return done && i + 1 == count;
    }
    return done;
}

// The characters up to a space, which is consumed, or up to a read that fails; false then. Where there is no memory for
// all of them, they are consumed all the same.
bool File::readToken(Token& token, bool& isWhole) {
    token.clear();
    const auto keep = [&](std::string_view characters) {
        if (isWhole && !token.append(characters)) isWhole = fail(kOutOfMemory);
    };
    const bool ended = takeToken(keep);
    if (isWhole && !token.end()) isWhole = fail(kOutOfMemory);
    return ended;
}

template <typename Keep>
bool File::takeToken(Keep keep) {
    for (;;) {
        const std::string_view loaded = unreadText();
        const std::size_t size = std::min(loaded.find(' '), loaded.size());
        const bool ended = size < loaded.size();
        keep(loaded.substr(0, size));
        bufPos += size + ended;
        if (ended) return true;
        char character = 0;
        if (!read(character)) return false;
        if (character == ' ') return true;
        keep({&character, 1});
    }
}

// Reads at most `count` numbers, each with the space behind it, while they lie in the buffer. Gives how many.
template <typename T>
std::uint64_t File::takeNumbers(unsigned char* to, std::uint64_t itemSize, std::uint64_t count) {
    const std::string_view loaded = unreadText();
    const char* const end = loaded.data() + loaded.size();
    const char* at = loaded.data();
    std::uint64_t taken = 0;
    for (; taken < count; ++taken, to += itemSize) {
        T value{};
        const char* const behind = parseNumberAt(at, end, value);
        if (!behind || behind == end || *behind != ' ') break;
        std::memcpy(to, &value, sizeof(T));
        at = behind + 1;
    }
    bufPos += static_cast<std::uint64_t>(at - loaded.data());
    return taken;
}

// ---- Geometry and colours -------------------------------------------------------------------------------------------

namespace {

template <typename Value>
StaticText& refusalOf();
template <>
StaticText& refusalOf<math::Vec2d>() {
    return kNoVec2;
}
template <>
StaticText& refusalOf<math::Vec3d>() {
    return kNoVec3;
}
template <>
StaticText& refusalOf<math::Vec4d>() {
    return kNoVec4;
}
template <>
StaticText& refusalOf<math::Pos2d>() {
    return kNoPos2;
}
template <>
StaticText& refusalOf<math::Pos3d>() {
    return kNoPos3;
}
template <>
StaticText& refusalOf<math::Quatd>() {
    return kNoQuat;
}
template <>
StaticText& refusalOf<math::Rgbad>() {
    return kNoRgba;
}
template <>
StaticText& refusalOf<math::Mat3d>() {
    return kNoMat3;
}
template <>
StaticText& refusalOf<math::Mat4d>() {
    return kNoMat4;
}

}  // namespace

template <typename Value>
bool File::writeRecord(const Value& value) {
    if (writesBinary()) {
        return std::all_of(value.begin(), value.end(), [this](double component) { return write(component); });
    }
    char text[Value::size() * (kMaxDecimalText + 1)];
    char* end = text;
    for (const double component : value) {
        if (end != text) *end++ = ' ';
        end = formatNumber(end, component);
    }
    return okToWrite() && writeInternal(text, static_cast<std::uint64_t>(end - text));
}

template <typename Value>
bool File::readRecord(Value& value) {
    if (!readsBinary()) return fail(refusalOf<Value>());
    if (!okToRead()) return false;
    return std::all_of(value.begin(), value.end(), [this](double& component) { return read(component); });
}

template bool File::writeRecord(const math::Vec2d&);
template bool File::writeRecord(const math::Vec3d&);
template bool File::writeRecord(const math::Vec4d&);
template bool File::writeRecord(const math::Pos2d&);
template bool File::writeRecord(const math::Pos3d&);
template bool File::writeRecord(const math::Quatd&);
template bool File::writeRecord(const math::Rgbad&);
template bool File::writeRecord(const math::Mat3d&);
template bool File::writeRecord(const math::Mat4d&);
template bool File::readRecord(math::Vec2d&);
template bool File::readRecord(math::Vec3d&);
template bool File::readRecord(math::Vec4d&);
template bool File::readRecord(math::Pos2d&);
template bool File::readRecord(math::Pos3d&);
template bool File::readRecord(math::Quatd&);
template bool File::readRecord(math::Rgbad&);
template bool File::readRecord(math::Mat3d&);
template bool File::readRecord(math::Mat4d&);

}  // namespace impl
}  // namespace qor
