// The forms in which a world is stored. A form is a sink and a source of single numbers and texts; the walk over the
// parts of a world is the same for all of them.
#include "tools/qor/forms.h"

#include <fmt/format.h>

#include <cerrno>
#include <string_view>
#include <utility>

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
    return sink.put(static_cast<unsigned long>(table.size())) && putItems(sink, table);
}

// Writes until something fails; the sink's `finish` then says what.
template <typename Sink>
void writeForm(const World& world, const Folder& to) {
    Sink sink(to);
    eachPart([&](const char*, auto part) { return putPart(sink, world.*part); });
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
    if (!source.take(count)) return false;
    damage.count = count;
    for (; damage.done < count; ++damage.done) {
        T item{};
        if (!takeItem(source, item)) return false;
        table.push_back(std::move(item));
    }
    return true;
}

template <typename Source>
Reading readForm(const Folder& from) {
    Source source(from);
    Reading reading;
    const bool isWhole = eachPart([&](const char* name, auto part) {
        Damage damage{name, std::nullopt, 0, ""};
        if (takePart(source, reading.world.*part, damage)) return true;
        damage.reason = source.reason();
        reading.damage = damage;
        return false;
    });
    if (isWhole) reading.rest = source.rest();
    return reading;
}

// ---- The binary form ------------------------------------------------------------------------------------------------

constexpr const char* kBinaryName = "world.qbin";

class BinarySink {
 public:
    explicit BinarySink(const Folder& to) : file(to, kBinaryName, File::Format::Binary) {}

    template <typename T>
    bool put(const T& value) {
        return file.put(value);
    }
    void finish() { file.finish(); }

 private:
    OutputFile file;
};

class BinarySource {
 public:
    explicit BinarySource(const Folder& from) : label(from.label(kBinaryName)) {
        openToRead(file, from.path(kBinaryName), label, File::Format::Binary);
    }

    // A file that is too short is damaged; any other failure is one of reading. The library tells them apart by text.
    template <typename T>
    bool take(T& value) {
        errno = 0;
        if (file.read(value)) return true;
        if (file.error() != "Attempted to read beyond file size.") failOf(file, label);
        return false;
    }
    std::string reason() const { return file.error().buf(); }
    std::optional<Rest> rest() const {
        if (file.eof()) return std::nullopt;
        return Rest{kBinaryName, counted(file.len() - file.pos(), "byte")};
    }

 private:
    std::string label;
    File file;
};

// ---- The text form --------------------------------------------------------------------------------------------------

constexpr const char* kNumbersName = "world.txt";
constexpr const char* kTextsName = "names.txt";

class TextSink {
 public:
    explicit TextSink(const Folder& to)
        : numbers(to, kNumbersName, File::Format::Text), texts(to, kTextsName, File::Format::Text) {}

    template <typename T>
    bool put(T number) {
        const bool separated = isFirst || numbers.put(' ');
        isFirst = false;
        return separated && numbers.put(number);
    }
    bool put(const std::string& text) { return texts.put(text) && texts.put('\n'); }
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
    Pieces(const Folder& from, const char* fileName, char between) : name(fileName), separator(between) {
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
    const char* name;
    char separator;
    qor::String text;
    std::string_view left;
    bool isCut = false;
};

class TextSource {
 public:
    explicit TextSource(const Folder& from) : numbers(from, kNumbersName, ' '), texts(from, kTextsName, '\n') {}

    template <typename T>
    bool take(T& number) {
        if (numbers.atEnd()) return fail(numbers.endReason());
        const std::string_view piece = numbers.next();
        if (qor::parseNumber(piece, number)) return true;
        return fail(fmt::format("{} has '{}' there", kNumbersName, piece.substr(0, 40)));
    }

    bool take(std::string& text) {
        if (texts.atEnd()) return fail(texts.endReason());
        text = texts.next();
        return true;
    }

    std::string reason() const { return why; }
    std::optional<Rest> rest() const { return numbers.rest() ? numbers.rest() : texts.rest(); }

 private:
    bool fail(std::string reason) {
        why = std::move(reason);
        return false;
    }

    Pieces numbers;
    Pieces texts;
    std::string why;
};

const Form kForms[] = {
    {"binary", {kBinaryName}, writeForm<BinarySink>, readForm<BinarySource>},
    {"text", {kNumbersName, kTextsName}, writeForm<TextSink>, readForm<TextSource>},
};

}  // namespace

std::span<const Form> allForms() { return kForms; }

}  // namespace tool
