// The forms in which a world is stored. A form is a sink and a source of single numbers and texts, which are told where
// a table begins and where a part ends; the walk over the parts of a world is the same for all of them.
#include "tools/qor/forms.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <type_traits>
#include <utility>

#include "qor/core/endian.h"
#include "qor/core/number_text.h"
#include "tools/qor/text.h"

namespace tool {
namespace {

using qor::File;

// ---- The walk -------------------------------------------------------------------------------------------------------

template <typename Sink, typename T>
bool putItem(Sink& sink, const T& value) {
    return sink.put(value);
}

template <typename Sink>
bool putItem(Sink& sink, const Point& point) {
    return sink.put(point.x) && sink.put(point.y);
}

template <typename Sink, typename Items>
bool putItems(Sink& sink, const Items& items) {
    for (const auto& item : items) {
        if (!putItem(sink, item)) return false;
    }
    return true;
}

template <typename Sink>
bool putPart(Sink& sink, const std::string& text) {
    return sink.put(text);
}

template <typename Sink, std::size_t Size>
bool putPart(Sink& sink, const std::array<double, Size>& numbers) {
    return putItems(sink, numbers);
}

template <typename Sink, typename T>
bool putPart(Sink& sink, const std::vector<T>& table) {
    return sink.beginTable(table.size()) && putItems(sink, table);
}

// Writes until something fails; the sink's `finish` then says what.
template <typename Sink>
void writeForm(const Form& form, const World& world, const Folder& to) {
    Sink sink(form, to);
    eachPartOf(form, [&](const char*, auto part) { return putPart(sink, world.*part) && sink.endPart(); });
    sink.finish();
}

template <typename Source, typename T>
bool takeItem(Source& source, T& value) {
    return source.take(value);
}

template <typename Source>
bool takeItem(Source& source, Point& point) {
    return source.take(point.x) && source.take(point.y);
}

// Each of these leaves in `damage` how far it came.
template <typename Source>
bool takePart(Source& source, std::string& text, Damage&) {
    return source.take(text);
}

template <typename Source, std::size_t Size>
bool takePart(Source& source, std::array<double, Size>& numbers, Damage& damage) {
    while (damage.done < Size && source.take(numbers[damage.done])) ++damage.done;
    return damage.done == Size;
}

// The count is only a claim: the table grows with the items that are there.
template <typename Source, typename T>
bool takePart(Source& source, std::vector<T>& table, Damage& damage) {
    unsigned long count = 0;
    if (!source.template beginTable<T>(count)) return false;
    damage.count = count;
    for (; damage.done < count; ++damage.done) {
        T item{};
        if (!takeItem(source, item)) return false;
        table.push_back(std::move(item));
    }
    return true;
}

template <typename Source>
Reading readForm(const Form& form, const Folder& from) {
    Source source(form, from);
    Reading reading;
    const bool isWhole = eachPartOf(form, [&](const char* name, auto part) {
        Damage damage{name, std::nullopt, 0, ""};
        if (source.beginPart() && takePart(source, reading.world.*part, damage) && source.endPart()) return true;
        damage.reason = source.reason();
        reading.damage = damage;
        return false;
    });
    if (isWhole) reading.rest = source.rest();
    return reading;
}

// What the sources of forms of one file have in common.
class FileSource {
 public:
    FileSource(const Form& form, const Folder& from) : name(form.files.front()), label(from.label(name)) {
        openToRead(file, from.path(name), label, form.format);
    }

    std::optional<Rest> rest() const {
        if (file.eof()) return std::nullopt;
        return Rest{name, counted(file.len() - file.pos(), "byte")};
    }

 protected:
    std::string name;
    std::string label;
    File file;
};

// ---- The binary form ------------------------------------------------------------------------------------------------

class BinarySink {
 public:
    BinarySink(const Form& form, const Folder& to) : file(to, form.files.front(), form.format) {}

    bool beginTable(unsigned long count) { return put(count); }
    template <typename T>
    bool put(const T& value) {
        return file.put(value);
    }
    bool endPart() { return true; }
    void finish() { file.finish(); }

 private:
    OutputFile file;
};

class BinarySource : public FileSource {
 public:
    using FileSource::FileSource;

    bool beginPart() { return true; }
    template <typename T>
    bool beginTable(unsigned long& count) {
        return take(count);
    }
    // A file that is too short is damaged; any other failure is one of reading. The library tells them apart by text.
    template <typename T>
    bool take(T& value) {
        errno = 0;
        if (file.read(value)) return true;
        if (file.error() != "Attempted to read beyond file size.") failOf(file, label);
        return false;
    }
    bool endPart() { return true; }
    std::string reason() const { return file.error().buf(); }
};

// ---- The text form --------------------------------------------------------------------------------------------------

class TextSink {
 public:
    TextSink(const Form& form, const Folder& to)
        : numbers(to, form.files.front(), form.format), texts(to, form.files.back(), form.format) {}

    bool beginTable(unsigned long count) { return put(count); }
    template <typename T>
    bool put(T number) {
        const bool separated = isFirst || numbers.put(' ');
        isFirst = false;
        return separated && numbers.put(number);
    }
    bool put(const std::string& text) { return texts.put(text) && texts.put('\n'); }
    bool endPart() { return true; }
    void finish() {
        numbers.finish();
        texts.finish();
    }

 private:
    OutputFile numbers;
    OutputFile texts;
    bool isFirst = true;
};

// The whole of a text file, given out piece by piece. A separator stands between pieces, or ends each.
class Pieces {
 public:
    Pieces(const Folder& from, const std::string& fileName, char between) : name(fileName), separator(between) {
        File file;
        openToRead(file, from.path(name), from.label(name), File::Format::Text);
        errno = 0;
        text = file.read();
        if (!file.ok()) failOf(file, from.label(name));
        left = text.view();
        isCut = text.length() != file.len();
    }

    bool atEnd() const { return left.empty(); }

    std::string_view next() {
        const std::string_view piece = left.substr(0, left.find(separator));
        left.remove_prefix(std::min(piece.size() + 1, left.size()));
        return piece;
    }

    std::string endReason() const { return fmt::format("{} ends here{}", name, isCut ? ", at a zero byte" : ""); }

    std::optional<Rest> rest() const {
        if (!left.empty()) return Rest{name, counted(left.size(), "byte")};
        if (isCut) return Rest{name, "a zero byte"};
        return std::nullopt;
    }

 private:
    std::string name;
    char separator;
    qor::String text;
    std::string_view left;
    bool isCut = false;
};

class TextSource {
 public:
    TextSource(const Form& form, const Folder& from)
        : numbersName(form.files.front()), numbers(from, numbersName, ' '), texts(from, form.files.back(), '\n') {}

    bool beginPart() { return true; }
    template <typename T>
    bool beginTable(unsigned long& count) {
        return take(count);
    }
    template <typename T>
    bool take(T& number) {
        if (numbers.atEnd()) return fail(numbers.endReason());
        const std::string_view piece = numbers.next();
        if (qor::parseNumber(piece, number)) return true;
        return fail(fmt::format("{} has '{}' there", numbersName, piece.substr(0, 40)));
    }

    bool take(std::string& text) {
        if (texts.atEnd()) return fail(texts.endReason());
        text = texts.next();
        return true;
    }

    bool endPart() { return true; }
    std::string reason() const { return why; }
    std::optional<Rest> rest() const { return numbers.rest() ? numbers.rest() : texts.rest(); }

 private:
    bool fail(std::string reason) {
        why = std::move(reason);
        return false;
    }

    std::string numbersName;
    Pieces numbers;
    Pieces texts;
    std::string why;
};

// ---- The forms of blocks --------------------------------------------------------------------------------------------

// From 0, -1, 1, -2 to 0, 1, 2, 3.
unsigned int folded(int n) {
    const unsigned int twice = static_cast<unsigned int>(n) << 1;
    return n < 0 ? ~twice : twice;
}
int unfolded(unsigned int n) { return static_cast<int>((n & 1) != 0 ? ~(n >> 1) : n >> 1); }

class BlockSink {
 public:
    BlockSink(const Form& form, const Folder& to)
        : file(to, form.files.front(), form.format), compression(form.compression) {}

    bool beginTable(unsigned long) { return true; }
    bool put(int number) { return put(folded(number)); }
    template <typename T>
    bool put(T number) {
        unsigned char bytes[sizeof(T)];
        qor::storeLittle(bytes, number);
        for (std::size_t i = 0; i < sizeof(T); ++i) planes[i].push_back(static_cast<char>(bytes[i]));
        return true;
    }
    bool put(const std::string& text) {
        planes[0] += text;
        planes[0] += '\n';
        return true;
    }
    bool endPart() {
        std::string block;
        for (std::string& plane : planes) {
            block += plane;
            plane.clear();
        }
        return file.put(block.data(), block.size(), compression);
    }
    void finish() { file.finish(); }

 private:
    OutputFile file;
    qor::Compression compression;
    std::array<std::string, 8> planes;  // of the part so far; texts are in the first
};

class BlockSource : public FileSource {
 public:
    BlockSource(const Form& form, const Folder& from) : FileSource(form, from), compression(form.compression) {}

    // A block that makes no sense is damage. Where the system has a reason, it is a failure of reading.
    bool beginPart() {
        taken = 0;
        errno = 0;
        if (file.read(block, compression)) return true;
        if (errno != 0) failOf(file, label);
        return fail(file.error().buf());
    }

    template <typename Item>
    bool beginTable(unsigned long& count) {
        if constexpr (std::is_same_v<Item, std::string>) {
            count = static_cast<unsigned long>(std::count(block.begin(), block.end(), '\n'));
        } else {
            count = block.size() / sizeof(Item);
        }
        return true;
    }

    bool take(int& number) {
        unsigned int stored = 0;
        if (!take(stored)) return false;
        number = unfolded(stored);
        return true;
    }

    template <typename T>
    bool take(T& number) {
        if (block.size() - taken < sizeof(T)) return fail("its block ends here");
        const std::size_t planeSize = block.size() / sizeof(T);
        unsigned char bytes[sizeof(T)];
        for (std::size_t i = 0; i < sizeof(T); ++i) bytes[i] = block[i * planeSize + taken / sizeof(T)];
        qor::loadLittle(bytes, number);
        taken += sizeof(T);
        return true;
    }

    bool take(std::string& text) {
        const unsigned char* const begin = block.begin() + taken;
        const unsigned char* const end = std::find(begin, std::as_const(block).end(), '\n');
        if (end == block.end()) return fail("its block ends here");
        text.assign(begin, end);
        taken += text.size() + 1;
        return true;
    }

    bool endPart() {
        const std::size_t left = block.size() - taken;
        return left == 0 || fail(fmt::format("its block goes on for {}", counted(left, "byte")));
    }

    std::string reason() const { return why; }

 private:
    bool fail(std::string reason) {
        why = std::move(reason);
        return false;
    }

    qor::Compression compression;
    qor::ds::Vector<unsigned char> block;
    std::size_t taken = 0;  // of the block, in bytes, wherever in it they were
    std::string why;
};

using Format = File::Format;
using qor::Compression;

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
