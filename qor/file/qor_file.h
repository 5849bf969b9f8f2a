// File: open a file, move values through it, close it.
//
//     qor::File file;
//     if (!file.open("lap.bin", qor::File::Mode::Write, qor::File::Format::Binary)) return 1;
//     file << 3 << "first lap" << 92.418;
//     if (!file.ok() || !file.close()) std::puts(file.error().buf());
//
// Nothing throws but the construction of a File, which allocates a little over 1 MiB. Every operation tells of a
// failure with `false`, with 0, or with the empty text, and leaves the reason in `error()`.
#pragma once

#include <concepts>
#include <cstdarg>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "qor/core/compression.h"
#include "qor/core/endian.h"
#include "qor/core/fs.h"
#include "qor/core/math.h"
#include "qor/core/ref_counted.h"
#include "qor/core/string.h"
#include "qor/core/string_io.h"
#include "qor/core/vector.h"
#include "qor/data/buf_ref.h"
#include "qor/data/buf_ref_of.h"
#include "qor/file/staging_buffer.h"

namespace qor {

namespace impl {

class File;

/// The scalars of the file format, by the names that C++ gives them.
template <typename T>
concept Scalar = std::same_as<T, char> || std::same_as<T, bool> || std::same_as<T, signed char> ||
    std::same_as<T, unsigned char> || std::same_as<T, short> || std::same_as<T, unsigned short> ||
    std::same_as<T, int> || std::same_as<T, unsigned int> || std::same_as<T, long> || std::same_as<T, unsigned long> ||
    std::same_as<T, float> || std::same_as<T, double>;

template <typename T>
concept BoolEnum = requires {
    { std::underlying_type_t<T>() } -> std::same_as<bool>;
};

/// What C++ would quietly turn into a number although it is none that a file holds. An enumeration of `bool` is
/// promoted to `int` by one compiler and to `bool` by the other, so its bytes would depend on who compiled the program.
template <typename T>
concept NotStored = BoolEnum<T> || std::same_as<T, wchar_t> || std::same_as<T, char8_t> || std::same_as<T, char16_t> ||
    std::same_as<T, char32_t> || std::same_as<T, long double>;

template <typename T>
concept NotCharacter = !std::is_same_v<std::remove_const_t<T>, char>;

/// A class whose objects turn into a pointer other than to characters, and from there into a truth value: a lambda, an
/// atomic pointer.
template <typename T>
concept TurnsIntoPointer = std::is_class_v<T> && requires(const T& value) {
    requires std::is_pointer_v<decltype(+value)>;
    requires NotCharacter<std::remove_pointer_t<decltype(+value)>>;
};

template <typename T>
concept Number = std::is_arithmetic_v<T> || std::is_enum_v<T>;

template <typename T, typename AnyFile>
concept NumberFor = requires(AnyFile& file, T value) {
    requires Number<T>;
    file.write(value);
};

template <typename T, typename AnyFile>
concept ObjectFor = requires(AnyFile& file, const T& value) {
    requires !Number<T>;
    file.write(value);
};

template <typename T, typename AnyFile>
concept ReadableFrom = requires(AnyFile& file, T& value) {
    file.read(value);
};

}  // namespace impl

/// A file on disk, open for reading or for writing. Copies are handles to the same open file, which is flushed and
/// closed when the last of them goes. One thread at a time may use a file; different files are independent.
class File : public RefersTo<RefCounted> {
 public:
    enum class Mode : std::uint32_t {
        Read = 0,   ///< An existing file, from its start. Its length is measured once, when it is opened.
        Write = 1,  ///< A new file, or an existing one made empty.
        /// As Write, and reads are admitted too. Bytes that have not been spilled are dropped by flush, seek and close.
        /// It is no update mode: use Read or Write.
        ReadWrite = 2,
    };

    /// How values are encoded. Both formats hold exactly the bytes that are written: no line end is ever translated.
    enum class Format : std::uint32_t {
        Text = 0,    ///< Values are printed. Only `char` values and whole texts can be read back.
        Binary = 1,  ///< Values are stored little-endian, at the same width on every host.
    };

    /// A closed file. Throws std::bad_alloc if there is no memory for its buffer; no other operation throws.
    File();

    // A handle always has its file: it is copied and never moved from.
    File(const File&) = default;
    File& operator=(const File&) = default;

    // ---- Opening, closing, and what can be asked --------------------------------------------------------------------

    /// Opens the file at `path`, closing first what is open. False if it cannot be opened; `error()` is then empty
    /// unless closing the former file failed ("Fclose failed.") or the new one cannot be rewound.
    [[nodiscard]] bool open(String path, Mode mode, Format format);

    /// Writes out what is staged, closes the file, and forgets everything but `error()`. True if nothing is open. False
    /// with "Fclose failed." if any of it failed. A large write that failed earlier is not reported again: look at
    /// `ok()` before you close.
    [[nodiscard]] bool close();

    /// Hands the staged bytes to the system. While reading, drops the chunk in memory instead: reading then goes on at
    /// the chunk's end, not at `pos()`.
    bool flush();

    /// The length in bytes as it was when the file was opened; 0 in Mode::Write.
    std::uint64_t len() const;

    /// Bytes read or written so far, or where the last seek went.
    std::uint64_t pos() const;

    /// True when `pos()` has reached `len()`; so always in Mode::Write.
    bool eof() const;

    Format format() const;

    /// The reason of the latest failure since the last open, close, flush, seek, skip, peek, or read of a whole text,
    /// which begin by clearing it; empty if there was none.
    String error() const;
    bool ok() const;

    // ---- Moving within the file -------------------------------------------------------------------------------------

    /// Moves to `offset` bytes from the start and returns the new position. 0, with a text in `error()`, if it cannot;
    /// all bits set if the system moved but cannot tell where to.
    std::uint64_t seek(std::int64_t offset);

    /// Moves `n` bytes on, or back, from the stream's own offset and returns the new position, or fails as `seek` does.
    /// While reading, that offset is the end of the chunk in memory, not `pos()`: to step over the next `n` bytes of
    /// what you are reading, seek to `pos() + n`.
    std::uint64_t skip(std::int64_t n);

    /// The next byte, which stays unread. 0 at the end of the file, with nothing in `error()`: ask `eof()`. Each call
    /// loads the chunk anew, and in other modes than Mode::Read it fails.
    unsigned char peek();

    // ---- Numbers ----------------------------------------------------------------------------------------------------

    /// Writes one character: its byte, in both formats.
    bool write(char value);

    /// Writes one number. A binary file receives its bytes, low byte first, at the width of its type: 1 for `bool` and
    /// the character types, 2 for `short`, 4 for `int` and `float`, 8 for `long`, `long long` and `double`. A text file
    /// receives its digits (or `true`, `false`) and nothing around them, so two numbers in a row run together unless
    /// the caller writes a separator: `file << 1 << ' ' << 2`. False if the file is not open for writing or the bytes
    /// could not be written; `error()` says which.
    bool write(bool value);
    bool write(signed char value);
    bool write(unsigned char value);
    bool write(short value);
    bool write(unsigned short value);
    bool write(int value);
    bool write(unsigned int value);
    bool write(long value);
    bool write(unsigned long value);
    bool write(long long value);
    bool write(unsigned long long value);
    bool write(float value);
    bool write(double value);

    /// Reads one number, in the form that a binary file holds, whatever the format: digits are never parsed. False at
    /// the end of the file ("Attempted to read beyond file size.") or where the stream fails; `value` is then
    /// unchanged. A `bool` takes the byte as it is; where that may be other than 0 and 1, read an `unsigned char`
    /// instead.
    bool read(char& value);
    bool read(bool& value);
    bool read(signed char& value);
    bool read(unsigned char& value);
    bool read(short& value);
    bool read(unsigned short& value);
    bool read(int& value);
    bool read(unsigned int& value);
    bool read(long& value);
    bool read(unsigned long& value);
    bool read(long long& value);
    bool read(unsigned long long& value);
    bool read(float& value);
    bool read(double& value);

    // ---- Texts ------------------------------------------------------------------------------------------------------

    /// Writes the characters of `text` up to its first zero byte. In a binary file opened with Mode::Write their number
    /// stands before them, in 8 bytes, so that the text can be read back; everywhere else the characters stand alone. A
    /// null `text` counts as the empty text.
    bool write(const char* text);
    bool write(const String& text);
    bool write(const StringIO& text);
    bool write(std::string_view text);

    /// Writes what printf would print, as one text. False with "Out of memory." if there is none for a long one; if a
    /// conversion fails, the text is empty.
    [[gnu::format(printf, 2, 3)]] bool print(const char* fmt, ...);

    /// As `print`, with a line feed at the end of the text, on every platform.
    [[gnu::format(printf, 2, 3)]] bool printLn(const char* fmt, ...);

    /// The whole of a text file up to its first zero byte, wherever in it the caller is; `pos()` stays. The empty text
    /// on failure. The text is held in memory at once.
    String read();

    /// Reads one text: of a text file, the whole of it, as `read()` does, and false if that is empty; of a binary file,
    /// the record that `write` made, up to its first zero byte. `out` is unchanged if a record cannot be read.
    bool read(String& out);
    bool read(std::string& out);

    /// As above, but the characters of a record are added to what `out` holds; a record of none empties it.
    bool read(StringIO& out);

    // ---- Blocks of bytes --------------------------------------------------------------------------------------------

    /// Writes `size` bytes as one block: a header that holds both lengths, and what `compress` made of the bytes, in a
    /// text file as text. No bytes make a header alone. With Compression::None the bytes stand as they are, without a
    /// header. False, with nothing written, if the file is not open for writing or the bytes cannot be compressed
    /// ("Compression failed.": there was no memory, or the kind is none); also if not all could be written.
    ///
    /// The header does not name the kind: `read` finds it out from the payload.
    bool write(const void* data, unsigned long size, Compression compression);
    bool write(const ds::Vector<unsigned char>& bytes, Compression compression);
    bool write(std::span<const unsigned char> bytes, Compression compression);

    /// Reads one block, of any kind, if `compression` is any but None. False, with `bytes` empty, if none stands here,
    /// if the file ends within it, or if the payload is damaged in any way; what has been consumed stays consumed.
    /// Memory is taken for a payload only if the file has it, and for the content only as it is produced, whatever
    /// lengths a damaged header claims.
    ///
    /// With Compression::None, fills `bytes` as it is sized; an empty one is first given the length of the whole file,
    /// wherever in it the caller is, and keeps that size if the read fails.
    bool read(ds::Vector<unsigned char>& bytes, Compression compression);
    bool read(std::vector<unsigned char>& bytes, Compression compression);

    /// As above, into memory of just the right size: a block of another size is refused, as a damaged one is, and one
    /// that claims to be larger is not even decompressed. Nothing is read for no bytes without compression.
    bool read(std::span<unsigned char> bytes, Compression compression);

    /// Takes apart the header of a block that lies in memory, at least 21 bytes of it, as it stands in a binary file
    /// written on a little-endian host; `payload` then points behind it. False if it is none; outputs from the first
    /// wrong byte on are 0 or null. Neither the lengths nor the payload are looked at: `decompress` restores it.
    static bool decodeRawFileBlock(const unsigned char* block, Compression& compression, unsigned long& compressedSize,
                                   unsigned long& uncompressedSize, unsigned char*& payload);

    /// As above, and false unless `data` holds this one block and nothing behind it; with fewer than 21 bytes all
    /// outputs are 0 or null.
    static bool decodeRawFileData(const ds::Vector<unsigned char>& data, Compression& compression,
                                  unsigned long& compressedSize, unsigned long& uncompressedSize,
                                  unsigned char*& payload);

    // ---- Typed arrays -----------------------------------------------------------------------------------------------

    /// Writes the values of an array, one after the other, and nothing else: who reads it has to know type and count.
    ///
    /// - Types made of single bytes (`Byte`, `Char`, `Bool`, `Rgba8`, ...), in any file: the bytes as they stand, or
    /// with
    ///   `compress` one block. Take care with what begins with the byte '.': without `compress` it cannot be read back.
    /// - All others in a binary file: their scalars, low byte first. They are not compressed.
    /// - All others in a text file: their scalars as numbers, one space between any two.
    ///
    /// False if the file is not open for writing or the BufRef describes no array, with nothing written; also if not
    /// all could be written, where what follows a scalar that could not be written has been tried all the same.
    bool write(const BufRef& ref, bool compress);
    bool write(const ConstBufRef& ref, bool compress) { return write(ref.ref, compress); }

    /// Fills an array with what `write` stored. False at the end of the file or where the stream fails: a scalar that
    /// could not be read is unchanged, and those that follow it have been tried all the same. Three things to know:
    ///
    /// - Bytes that were compressed are restored without gaps, whatever stride is given.
    /// - Bytes that were not compressed cannot be read with gaps ("Invalid typeElemSize: 1").
    /// - A text file gives `count` numbers and no more, into the first scalar of each value, with neither `offset` nor
    ///   `stride`. Aggregates go through text as their scalars: see `scalarsOf`.
    bool read(const BufRef& ref);

    // ---- Geometry and colours ---------------------------------------------------------------------------------------

    /// Writes the components in storage order: in a binary file opened with Mode::Write as `double`s, 8 bytes each,
    /// everywhere else as numbers with one space between them and nothing around.
    bool write(math::Vec2d value);
    bool write(math::Vec3d value);
    bool write(math::Vec4d value);
    bool write(math::Pos2d value);
    bool write(math::Pos3d value);
    bool write(math::Quatd value);
    bool write(math::Rgbad value);
    bool write(math::Mat3d value);
    bool write(math::Mat4d value);

    /// Reads the components, from binary files alone. Where the file ends within them, those before are new and the
    /// others as they were.
    bool read(math::Vec2d& value);
    bool read(math::Vec3d& value);
    bool read(math::Vec4d& value);
    bool read(math::Pos2d& value);
    bool read(math::Pos3d& value);
    bool read(math::Quatd& value);
    bool read(math::Rgbad& value);
    bool read(math::Mat3d& value);
    bool read(math::Mat4d& value);

    // ---- Streaming --------------------------------------------------------------------------------------------------

    /// Calls `write` or `read` with each value and drops its result: a chain attempts every step even after a failure,
    /// and `ok()` tells of it at the end.
    template <typename Self = File, impl::NumberFor<Self> T>
    File& operator<<(T value) {
        write(value);
        return *this;
    }
    template <typename Self = File, impl::ObjectFor<Self> T>
    File& operator<<(const T& value) {
        if constexpr (std::is_array_v<T>) {
            write(std::string_view(value, std::extent_v<T>));  // up to its first zero byte, or else its end
        } else {
            write(value);
        }
        return *this;
    }
    template <typename Self = File, impl::ReadableFrom<Self> T>
    File& operator>>(T& value) {
        read(value);
        return *this;
    }

    /// An array whose bytes are compressed if it is made of single ones.
    File& operator<<(const BufRef& ref) {
        write(ref, true);
        return *this;
    }
    File& operator<<(const ConstBufRef& ref) { return *this << ref.ref; }
    File& operator>>(const BufRef& ref) {
        read(ref);
        return *this;
    }

    // ---- Not stored -------------------------------------------------------------------------------------------------

    // A pointer would be taken for a truth value, a wide character for an integer, and a long double would be
    // ambiguous. Convert to what the file is to hold.
    template <impl::NotCharacter T>
    bool write(T* value) = delete;
    template <typename T, typename C>
    bool write(T C::*value) = delete;
    template <impl::TurnsIntoPointer T>
    bool write(const T& value) = delete;
    template <impl::NotStored T>
    bool write(T value) = delete;

    template <typename T>
    bool read(T* value) = delete;
    template <impl::NotStored T>
    bool read(T& value) = delete;

    template <impl::NotCharacter T>
    File& operator<<(T* value) = delete;
    template <typename T, typename C>
    File& operator<<(T C::*value) = delete;
    template <impl::TurnsIntoPointer T>
    File& operator<<(const T& value) = delete;
    template <impl::NotStored T>
    File& operator<<(T value) = delete;

    template <typename T>
    File& operator>>(T* value) = delete;
    template <impl::NotStored T>
    File& operator>>(T& value) = delete;

 private:
    impl::File& self() const;

    bool writeText(std::string_view text);
    template <typename T>
    bool writeScalar(T value);
    template <typename T>
    bool readScalar(T& value);
    template <typename Value>
    bool writeRecord(const Value& value);
    template <typename Value>
    bool readRecord(Value& value);
};

// A reader of the interface may stop here.

namespace impl {

/// The open file behind the handles: the stream, the buffer before it, and the counters that tie the two together.
class File final : public RefCounted {
 public:
    using Mode = qor::File::Mode;
    using Format = qor::File::Format;

    File() {}  // not defaulted: `new impl::File()` would then begin by zeroing the whole buffer
    ~File() override;

    bool open(String path, Mode newMode, Format newFormat);
    bool close();
    bool flush();

    /// The two questions that every write and every read asks first. A refusal leaves its text in `error`.
    bool okToWrite();
    bool okToRead();

    /// Stages `n` bytes, or writes them straight through if they exceed the buffer. The caller has passed `okToWrite`.
    bool writeInternal(const void* data, std::uint64_t n);

    /// Fills `n` bytes at `to`, chunk by chunk. False if the file ends before or the stream fails; what was delivered
    /// until then is in place and counted. The caller has passed `okToRead`.
    bool readInternal(void* to, std::uint64_t n);

    /// Moves the stream; `whence` is one of fs::Origin. The new offset, 0 if the move failed, all bits set if the
    /// system cannot tell the offset.
    std::uint64_t seek(std::int64_t offset, std::uint32_t whence);
    unsigned char peek();

    bool writeText(std::string_view text);
    bool print(const char* fmt, std::va_list args, std::string_view ending);

    /// Writes one scalar: a `char` as its byte, any other as the format asks.
    template <typename T>
    bool write(T value);

    String read();
    bool read(String& out);
    bool read(StringIO& out);
    bool read(std::string& out);

    /// Reads one scalar, always in its binary form.
    template <typename T>
    bool read(T& value);

    bool write(const void* data, unsigned long size, Compression compression);
    bool read(ds::Vector<unsigned char>& bytes, Compression compression);
    bool read(std::vector<unsigned char>& bytes, Compression compression);
    bool read(std::span<unsigned char> bytes, Compression compression);

    bool write(const BufRef& ref, bool compress);
    bool read(const BufRef& ref);

    /// Writes and reads a record of `double`s.
    template <typename Value>
    bool writeRecord(const Value& value);
    template <typename Value>
    bool readRecord(Value& value);

    // Which encoding the file asks for. Mode::ReadWrite is none of these, on purpose.
    bool writesText() const { return mode == Mode::Write && format == Format::Text; }
    bool writesBinary() const { return mode == Mode::Write && format == Format::Binary; }
    bool readsText() const { return mode == Mode::Read && format == Format::Text; }
    bool readsBinary() const { return mode == Mode::Read && format == Format::Binary; }

 private:
    friend class qor::File;

    /// Keeps the reason of a failure. Always false, so that a refusal is one line: `return fail(kReason);`
    bool fail(const String& reason);

    bool flushStep();
    std::uint64_t tellPosition();
    void reset();

    template <typename T>
    [[gnu::noinline]] bool writeAsking(T value);

    bool spill();
    bool refill();
    bool endsBefore(std::uint64_t n) const;
    std::uint64_t unread() const;
    std::string_view unreadText();
    template <typename Take>
    bool readPieces(std::uint64_t n, Take take);
    template <typename Text>
    bool readInto(Text& out);
    bool readCharacters(std::uint64_t count, String& out);

    bool writeBlockHeader(unsigned long size, unsigned long payloadSize);
    template <typename Take>
    bool readBlock(Take take, std::uint64_t most = ~std::uint64_t{0});
    bool readBlockHeader(unsigned long& size, unsigned long& payloadSize);
    bool readBlockLength(unsigned long& value);
    bool readMark(char mark);
    bool readPayload(ds::Vector<unsigned char>& payload, std::uint64_t size);
    bool readRaw(ds::Vector<unsigned char>& bytes);

    bool writeBytes(const Items& items, Compression compression);
    template <typename Bits>
    bool writeScalars(const Items& items);
    bool passThrough(const unsigned char* bytes);
    bool writeTexts(const Items& items, DataType elemType);
    template <typename T>
    bool writeNumbers(const Items& items);
    bool readItems(const BufRef& ref, const Items& items);
    template <typename Bits>
    bool readScalars(const Items& items);
    bool readMoreThanFits();
    bool isAtTheEnd(std::uint64_t n) const;
    bool readTexts(const BufRef& ref);
    template <typename Take, typename Parse>
    bool readTokens(std::uint64_t count, Take take, Parse parse);
    class Token;
    bool readToken(Token& token, bool& isWhole);
    template <typename Keep>
    bool takeToken(Keep keep);
    template <typename T>
    std::uint64_t takeNumbers(unsigned char* to, std::uint64_t itemSize, std::uint64_t count);

    // The common cases, in which a value needs the buffer alone: behind the staged bytes there is room for it, or all
    // of it lies in the loaded chunk.
    bool hasRoom(std::uint64_t n) const { return n <= kStagingSize && bufPos + n <= stageEnd; }
    bool hasUnread(std::uint64_t n) const { return n <= kStagingSize && bufPos + n <= readEnd; }

    /// Stages the components of a record, or reads them, where all of them fit.
    template <typename Value>
    void stageRecord(const Value& value) {
        unsigned char* const to = buffer.at(bufPos);
        for (std::size_t i = 0; i < Value::size(); ++i) storeLittle(to + i * sizeof(value[i]), value[i]);
        bufPos += sizeof(Value);
    }
    template <typename Value>
    void takeRecord(Value& value) {
        const unsigned char* const from = buffer.at(bufPos);
        for (std::size_t i = 0; i < Value::size(); ++i) loadLittle(from + i * sizeof(value[i]), value[i]);
        bufPos += sizeof(Value);
    }

    /// Stages the bytes of a scalar for which there is room.
    template <typename T>
    void stage(T value) {
        storeLittle(buffer.at(bufPos), value);
        bufPos += sizeof(T);
    }

    /// Reads a scalar if all of it lies in the loaded chunk.
    template <typename T>
    bool take(T& value) {
        if (!hasUnread(sizeof(T))) return false;
        loadLittle(buffer.at(bufPos), value);
        bufPos += sizeof(T);
        return true;
    }

    /// Stages a text and, before it, its length, for which there is room.
    void stageText(std::string_view text) {
        stage<unsigned long>(text.size());
        text.copy(reinterpret_cast<char*>(buffer.at(bufPos)), text.size());
        bufPos += text.size();
    }

    /// Where the caller is.
    std::uint64_t pos() const { return position + bufPos; }

    /// What the buffer held is done with; `pos()` stays.
    void settle() {
        position += bufPos;
        bufPos = readEnd = 0;
    }

    // Between two operations:
    //   bufPos <= kStagingSize
    //   Mode::Write     chunkStart == chunkEnd == 0, and the first bufPos bytes of the buffer wait for the stream
    //   Mode::Read      chunkEnd - chunkStart <= kStagingSize. With bufPos > 0, that many bytes of the chunk are read,
    //                   and the stream stands at its end, filePos; with bufPos == 0, the next read loads a chunk
    void check() const;

    fs::Stream* stream = nullptr;
    Mode mode = Mode::Read;
    Format format = Format::Text;
    String error;
    std::uint64_t length = 0;
    std::uint64_t filePos = 0;
    std::uint64_t chunkStart = 0;
    std::uint64_t chunkEnd = 0;
    std::uint64_t bufPos = 0;

    // Up to where a value may be staged, or read, without a question: the buffer's end while a file is open in
    // Mode::Write; the chunk's end once a read has been served from it; otherwise nowhere.
    std::uint64_t stageEnd = 0;
    std::uint64_t readEnd = 0;

    StagingBuffer buffer;

    // Where the caller was when bufPos was last 0, so that a value moves one counter and not two.
    std::uint64_t position = 0;
};

}  // namespace impl

inline impl::File& File::self() const { return static_cast<impl::File&>(*get()); }

inline std::uint64_t File::len() const { return self().length; }
inline std::uint64_t File::pos() const { return self().pos(); }
inline bool File::eof() const { return self().pos() >= self().length; }
inline File::Format File::format() const { return self().format; }
inline String File::error() const { return self().error; }
inline bool File::ok() const { return self().error.isEmpty(); }

template <typename T>
bool File::writeScalar(T value) {
    impl::File& file = self();
    if (file.format != Format::Binary || !file.hasRoom(sizeof(T))) return file.write(value);
    file.stage(value);
    return true;
}

template <typename T>
bool File::readScalar(T& value) {
    impl::File& file = self();
    return file.take(value) || file.read(value);
}

template <typename Value>
bool File::writeRecord(const Value& value) {
    impl::File& file = self();
    if (!file.hasRoom(sizeof(Value)) || file.format != Format::Binary) return file.writeRecord(value);
    file.stageRecord(value);
    return true;
}

template <typename Value>
bool File::readRecord(Value& value) {
    impl::File& file = self();
    if (!file.hasUnread(sizeof(Value)) || file.format != Format::Binary) return file.readRecord(value);
    file.takeRecord(value);
    return true;
}

inline bool File::write(char value) {
    impl::File& file = self();
    if (!file.hasRoom(sizeof(value))) return file.write(value);
    file.stage(value);
    return true;
}
inline bool File::write(bool value) { return writeScalar(value); }
inline bool File::write(signed char value) { return writeScalar(value); }
inline bool File::write(unsigned char value) { return writeScalar(value); }
inline bool File::write(short value) { return writeScalar(value); }
inline bool File::write(unsigned short value) { return writeScalar(value); }
inline bool File::write(int value) { return writeScalar(value); }
inline bool File::write(unsigned int value) { return writeScalar(value); }
inline bool File::write(long value) { return writeScalar(value); }
inline bool File::write(unsigned long value) { return writeScalar(value); }
inline bool File::write(long long value) { return writeScalar(static_cast<long>(value)); }
inline bool File::write(unsigned long long value) { return writeScalar(static_cast<unsigned long>(value)); }
inline bool File::write(float value) { return writeScalar(value); }
inline bool File::write(double value) { return writeScalar(value); }

inline bool File::read(char& value) { return readScalar(value); }
inline bool File::read(bool& value) { return readScalar(value); }
inline bool File::read(signed char& value) { return readScalar(value); }
inline bool File::read(unsigned char& value) { return readScalar(value); }
inline bool File::read(short& value) { return readScalar(value); }
inline bool File::read(unsigned short& value) { return readScalar(value); }
inline bool File::read(int& value) { return readScalar(value); }
inline bool File::read(unsigned int& value) { return readScalar(value); }
inline bool File::read(long& value) { return readScalar(value); }
inline bool File::read(unsigned long& value) { return readScalar(value); }
inline bool File::read(long long& value) { return readScalar(value); }
inline bool File::read(unsigned long long& value) { return readScalar(value); }
inline bool File::read(float& value) { return readScalar(value); }
inline bool File::read(double& value) { return readScalar(value); }

inline bool File::writeText(std::string_view text) {
    impl::File& file = self();
    if (file.format != Format::Binary || !file.hasRoom(sizeof(unsigned long) + text.size())) {
        return file.writeText(text);
    }
    file.stageText(text);
    return true;
}
inline bool File::write(const char* text) { return writeText(text ? text : ""); }
inline bool File::write(const String& text) { return writeText(text.buf()); }
inline bool File::write(const StringIO& text) { return writeText(text.buf()); }

inline String File::read() { return self().read(); }
inline bool File::read(String& out) { return self().read(out); }
inline bool File::read(StringIO& out) { return self().read(out); }
inline bool File::read(std::string& out) { return self().read(out); }

inline bool File::write(math::Vec2d value) { return writeRecord(value); }
inline bool File::write(math::Vec3d value) { return writeRecord(value); }
inline bool File::write(math::Vec4d value) { return writeRecord(value); }
inline bool File::write(math::Pos2d value) { return writeRecord(value); }
inline bool File::write(math::Pos3d value) { return writeRecord(value); }
inline bool File::write(math::Quatd value) { return writeRecord(value); }
inline bool File::write(math::Rgbad value) { return writeRecord(value); }
inline bool File::write(math::Mat3d value) { return writeRecord(value); }
inline bool File::write(math::Mat4d value) { return writeRecord(value); }

inline bool File::read(math::Vec2d& value) { return readRecord(value); }
inline bool File::read(math::Vec3d& value) { return readRecord(value); }
inline bool File::read(math::Vec4d& value) { return readRecord(value); }
inline bool File::read(math::Pos2d& value) { return readRecord(value); }
inline bool File::read(math::Pos3d& value) { return readRecord(value); }
inline bool File::read(math::Quatd& value) { return readRecord(value); }
inline bool File::read(math::Rgbad& value) { return readRecord(value); }
inline bool File::read(math::Mat3d& value) { return readRecord(value); }
inline bool File::read(math::Mat4d& value) { return readRecord(value); }

inline bool File::write(const BufRef& ref, bool compress) { return self().write(ref, compress); }
inline bool File::read(const BufRef& ref) { return self().read(ref); }

inline bool File::write(const void* data, unsigned long size, Compression compression) {
    return self().write(data, size, compression);
}
inline bool File::write(const ds::Vector<unsigned char>& bytes, Compression compression) {
    return self().write(bytes.data(), bytes.size(), compression);
}
inline bool File::write(std::span<const unsigned char> bytes, Compression compression) {
    return self().write(bytes.data(), bytes.size(), compression);
}
inline bool File::read(ds::Vector<unsigned char>& bytes, Compression compression) {
    return self().read(bytes, compression);
}
inline bool File::read(std::vector<unsigned char>& bytes, Compression compression) {
    return self().read(bytes, compression);
}
inline bool File::read(std::span<unsigned char> bytes, Compression compression) {
    return self().read(bytes, compression);
}

}  // namespace qor
