// The forms in which a world is stored. A form is a sink and a source of parts, each a span of texts or of what a typed
// array is made of; the walk over the parts of a world is the same for all forms.
#include "tools/qor/forms.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

#include "qor/core/endian.h"
#include "tools/qor/text.h"

namespace tool {
namespace {

using qor::bufRef;
using qor::Compression;
using qor::File;
using Format = File::Format;

// ---- The walk -------------------------------------------------------------------------------------------------------

// Writes until something fails; the sink's `finish` then says what.
template <typename Sink>
void writeForm(const Form& form, const World& world, const Folder& to) {
    Sink sink(form, to);
    eachPart([&](const char*, auto part, auto...) { return sink.put(itemsOf(world.*part)); });
    sink.finish();
}

// Makes room for the items of a table. Their count is only a claim: where the file cannot hold as many there is room
// for the most that it can, and for one more, which then cannot be read.
template <typename Source, typename T>
void makeRoom(const Source& source, std::vector<T>& table, unsigned long count) {
    table.resize(std::min<std::size_t>(count, source.template most<T>() + 1));
}

template <typename Source>
Reading readForm(const Form& form, const Folder& from) {
    Source source(form, from);
    Reading reading;
    World& world = reading.world;
    const bool isWhole = eachPart([&](const char* name, auto part, auto... count) {
        std::size_t done = 0;
        if (source.beginPart()) {
            (makeRoom(source, world.*part, world.*count), ...);
            if (source.take(itemsOf(world.*part), done)) return true;
        }
        reading.damage = {name, done, source.reason()};
        return false;
    });
    if (isWhole) reading.rest = source.rest();
    return reading;
}

// The file of a source, and why something in it could not be read.
class FileSource {
 public:
    FileSource(const Form& form, const Folder& from) : name(form.files.front()), label(from.label(name)) {
        openToRead(file, from.path(name), label, form.format);
    }

    bool beginPart() { return true; }

    // Pixels are compressed: all of them come back or none, and how many were done stays 0.
    bool take(std::span<Rgba8> pixels, std::size_t&) { return read(bufRef(pixels)); }

    std::string reason() const { return why; }

    std::optional<Rest> rest() const {
        if (file.eof()) return std::nullopt;
        return Rest{name, counted(left(), "byte")};
    }

 protected:
    // A file that is too short or makes no sense is damaged. Where the system has a reason, reading has failed.
    template <typename... Args>
    bool read(Args&&... args) {
        errno = 0;
        if (file.read(args...)) return true;
        if (errno != 0) failOf(file, label);
        return fail(file.error().buf());
    }

    bool fail(std::string reason) {
        why = std::move(reason);
        return false;
    }

    std::uint64_t left() const { return file.len() - file.pos(); }

    std::string name;
    std::string label;
    File file;
    std::string why;
};

std::size_t lineCount(std::string_view text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// Takes line after line off the front of `text`; how many there are, at most as many as `lines` has room for.
std::size_t takeLines(std::string_view& text, std::span<std::string> lines) {
    std::size_t done = 0;
    for (; done < lines.size(); ++done) {
        const std::size_t end = text.find('\n');
        if (end == std::string_view::npos) break;
        lines[done] = text.substr(0, end);
        text.remove_prefix(end + 1);
    }
    return done;
}

// ---- The binary form ------------------------------------------------------------------------------------------------

class BinarySink {
 public:
    BinarySink(const Form& form, const Folder& to) : file(to, form.files.front(), form.format) {}

    template <typename T>
    bool put(std::span<T> items) {
        return items.empty() || file.put(bufRef(items), true);
    }
    bool put(std::span<const std::string> texts) {
        return std::all_of(texts.begin(), texts.end(), [this](const std::string& text) { return file.put(text); });
    }
    void finish() { file.finish(); }

 private:
    OutputFile file;
};

class BinarySource : public FileSource {
 public:
    using FileSource::FileSource;
    using FileSource::take;

    template <typename T>
    std::size_t most() const {
        return left() / (std::is_same_v<T, std::string> ? sizeof(unsigned long) : sizeof(T));
    }

    template <typename T>
    bool take(std::span<T> items, std::size_t& done) {
        const std::uint64_t start = file.pos();
        const bool isWhole = items.empty() || read(bufRef(items));
        done = (file.pos() - start) / sizeof(T);
        return isWhole;
    }
    bool take(std::span<std::string> texts, std::size_t& done) {
        while (done < texts.size() && read(texts[done])) ++done;
        return done == texts.size();
    }
};

// ---- The text form --------------------------------------------------------------------------------------------------

class TextSink {
 public:
    TextSink(const Form& form, const Folder& to)
        : numbers(to, form.files.front(), form.format), texts(to, form.files.back(), form.format) {}

    template <typename T>
    bool put(std::span<T> items) {
        if (items.empty()) return true;
        const bool isSeparated = isFirst || numbers.put(' ');
        isFirst = false;
        return isSeparated && numbers.put(bufRef(items), true);
    }
    bool put(std::span<const std::string> lines) {
        return std::all_of(lines.begin(), lines.end(),
                           [this](const std::string& line) { return texts.put(line) && texts.put('\n'); });
    }
    void finish() {
        numbers.finish();
        texts.finish();
    }

 private:
    OutputFile numbers;
    OutputFile texts;
    bool isFirst = true;
};

class TextSource : public FileSource {
 public:
    TextSource(const Form& form, const Folder& from) : FileSource(form, from), textsName(form.files.back()) {
        File texts;
        openToRead(texts, from.path(textsName), from.label(textsName), form.format);
        errno = 0;
        text = texts.read();
        if (!texts.ok()) failOf(texts, from.label(textsName));
        linesLeft = text.view();
        isCut = text.length() != texts.len();
    }

    using FileSource::take;

    // A number is at least a digit, and has a space before the next one.
    template <typename T>
    std::size_t most() const {
        if constexpr (std::is_same_v<T, std::string>) {
            return lineCount(linesLeft);
        } else {
            return (left() + 1) / (2 * kNumbersIn<T>);
        }
    }

    // The library tells that numbers cannot be read, and not which: they are read again one by one.
    template <typename T>
    bool take(std::span<T> items, std::size_t& done) {
        const auto numbers = numbersOf(items);
        std::uint64_t at = file.pos();
        if (items.empty() || read(bufRef(numbers))) return true;
        file.seek(static_cast<std::int64_t>(at));
        std::size_t good = 0;
        for (; good < numbers.size() && read(bufRef(numbers.subspan(good, 1))); ++good) at = file.pos();
        done = good / kNumbersIn<T>;
        return fail(whyNoNumber(at));
    }

    bool take(std::span<std::string> texts, std::size_t& done) {
        done = takeLines(linesLeft, texts);
        return done == texts.size() || fail(fmt::format("{} ends here{}", textsName, isCut ? ", at a zero byte" : ""));
    }

    std::optional<Rest> rest() const {
        if (std::optional<Rest> more = FileSource::rest()) return more;
        if (!linesLeft.empty()) return Rest{textsName, counted(linesLeft.size(), "byte")};
        if (isCut) return Rest{textsName, "a zero byte"};
        return std::nullopt;
    }

 private:
    std::string whyNoNumber(std::uint64_t at) {
        file.seek(static_cast<std::int64_t>(at));
        if (file.eof()) return name + " ends here";
        std::string word;
        for (char c = 0; word.size() < 40 && file.read(c) && c != ' ' && c != 0;) word += c;
        return fmt::format("{} has '{}' there", name, word);
    }

    std::string textsName;
    qor::String text;
    std::string_view linesLeft;
    bool isCut = false;
};

// ---- The forms of blocks --------------------------------------------------------------------------------------------

// From 0, -1, 1, -2 to 0, 1, 2, 3. Other numbers stay as they are.
template <typename T>
T folded(T number) {
    return number;
}
unsigned int folded(int n) {
    const unsigned int twice = static_cast<unsigned int>(n) << 1;
    return n < 0 ? ~twice : twice;
}
template <typename T>
void unfold(T&) {}
void unfold(int& n) {
    const unsigned int stored = static_cast<unsigned int>(n);
    n = static_cast<int>((stored & 1) != 0 ? ~(stored >> 1) : stored >> 1);
}

class BlockSink {
 public:
    BlockSink(const Form& form, const Folder& to)
        : file(to, form.files.front(), form.format), compression(form.compression) {}

    template <typename T>
    bool put(std::span<T> items) {
        const auto numbers = numbersOf(items);
        std::vector<unsigned char> block(items.size_bytes());
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            unsigned char bytes[sizeof(numbers[i])];
            qor::storeLittle(bytes, folded(numbers[i]));
            for (std::size_t k = 0; k < sizeof(bytes); ++k) block[k * numbers.size() + i] = bytes[k];
        }
        return file.put(block, compression);
    }
    bool put(std::span<const std::string> texts) {
        std::string block;
        for (const std::string& text : texts) block += text + '\n';
        return file.put(block.data(), block.size(), compression);
    }
    void finish() { file.finish(); }

 private:
    OutputFile file;
    Compression compression;
};

class BlockSource : public FileSource {
 public:
    BlockSource(const Form& form, const Folder& from) : FileSource(form, from), compression(form.compression) {}

    bool beginPart() { return read(block, compression); }

    template <typename T>
    std::size_t most() const {
        return std::is_same_v<T, std::string> ? lineCount(text()) : block.size() / sizeof(T);
    }

    template <typename T>
    bool take(std::span<T> items, std::size_t&) {
        if (items.size_bytes() != block.size()) return fail("its block holds " + counted(block.size(), "byte"));
        const auto numbers = numbersOf(items);
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            unsigned char bytes[sizeof(numbers[i])];
            for (std::size_t k = 0; k < sizeof(bytes); ++k) bytes[k] = block[k * numbers.size() + i];
            qor::loadLittle(bytes, numbers[i]);
            unfold(numbers[i]);
        }
        return true;
    }

    bool take(std::span<std::string> texts, std::size_t& done) {
        std::string_view left = text();
        done = takeLines(left, texts);
        if (done < texts.size()) return fail("its block ends here");
        return left.empty() || fail("its block goes on for " + counted(left.size(), "byte"));
    }

 private:
    std::string_view text() const { return {reinterpret_cast<const char*>(block.data()), block.size()}; }

    Compression compression;
    std::vector<unsigned char> block;
};

const Form kForms[] = {
    {"binary", {"world.qbin"}, Format::Binary, Compression::None, writeForm<BinarySink>, readForm<BinarySource>},
    {"text", {"world.txt", "names.txt"}, Format::Text, Compression::None, writeForm<TextSink>, readForm<TextSource>},
    {"lz4", {"world.lz4.qbin"}, Format::Binary, Compression::Lz4, writeForm<BlockSink>, readForm<BlockSource>},
    {"zlib", {"world.zlib.qbin"}, Format::Binary, Compression::Zlib, writeForm<BlockSink>, readForm<BlockSource>},
    {"zstd", {"world.zstd.qbin"}, Format::Binary, Compression::Zstd, writeForm<BlockSink>, readForm<BlockSource>},
    {"zstd text", {"world.zstd.txt"}, Format::Text, Compression::Zstd, writeForm<BlockSink>, readForm<BlockSource>},
};

}  // namespace

std::span<const Form> allForms() { return kForms; }

}  // namespace tool
