// The layout of a binary file: from text and to text.
#include "tools/qor/layout.h"

#include <algorithm>
#include <unordered_map>

#include "qor/core/number_text.h"
#include "tools/qor/text.h"

namespace tool {
namespace {

using qor::DataType;

// Of names, types and numbers; more than any needs, so that no message grows beyond reason.
constexpr std::size_t kMaxWord = 64;

struct OtherType {
    const char* name;
    Made made;
};
constexpr OtherType kOtherTypes[] = {
    {"String", Made::OfStrings},
    {"block", Made::OfBlocks},
    {"text", Made::OfText},
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isWord(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || isDigit(c) || c == '_'; }
bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r'; }
bool isPrintable(char c) { return c >= ' ' && c <= '~'; }

bool isInteger(DataType type) {
    switch (type) {
        case DataType::Byte:
        case DataType::Int16:
        case DataType::Int32:
        case DataType::Int64:
        case DataType::UInt16:
        case DataType::UInt32:
        case DataType::UInt64:
            return true;
        default:
            return false;
    }
}

bool canCount(const Record& record) {
    return record.made == Made::OfValues && !record.isArray && isInteger(record.type);
}

// Sets what a type's name says; false if there is no such type.
bool setType(Record& record, std::string_view name) {
    for (const OtherType& other : kOtherTypes) {
        if (name == other.name) {
            record.made = other.made;
            return true;
        }
    }
    for (const DataType type : allDataTypes()) {
        if (name == dataTypeName(type)) {
            record.type = type;
            return true;
        }
    }
    return false;
}

std::vector<std::string> typeNames() {
    std::vector<std::string> names;
    for (const DataType type : allDataTypes()) names.emplace_back(dataTypeName(type));
    for (const OtherType& other : kOtherTypes) names.emplace_back(other.name);
    return names;
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
bool differInCase(std::string_view a, std::string_view b) { return std::ranges::equal(a, b, {}, lower, lower); }

std::string meant(std::string_view typed, const std::vector<std::string>& words) {
    const auto same = std::ranges::find_if(words, [&](const std::string& word) { return differInCase(typed, word); });
    const std::string word = same != words.end() ? *same : nearest(typed, words);
    return word.empty() ? "" : "; did you mean " + word + "?";
}

class Parser {
 public:
    explicit Parser(std::string_view itsText) : text(itsText) {}

    Layout parse() {
        for (;;) {
            skipEmpty();
            if (atEnd()) break;
            record();
            skipSpaces();
            if (!atEnd() && !isOneOf(",\n#")) fail("expected a comma or the end of the line");
        }
        if (layout.empty()) fail("the layout names no record");
        return layout;
    }

 private:
    bool atEnd() const { return at == text.size(); }
    bool isOneOf(std::string_view characters) const { return !atEnd() && characters.find(text[at]) != text.npos; }

    void skipSpaces() {
        while (!atEnd() && isSpace(text[at])) ++at;
    }

    // Up to the next record: spaces, separators and comments.
    void skipEmpty() {
        while (!atEnd() && (isSpace(text[at]) || isOneOf(",\n#"))) {
            at = text[at] == '#' ? std::min(text.find('\n', at), text.size()) : at + 1;
        }
    }

    bool takes(char c) {
        skipSpaces();
        if (!isOneOf({&c, 1})) return false;
        ++at;
        return true;
    }

    // Letters, digits and underscores; none if something else stands here.
    std::string_view word() {
        skipSpaces();
        wordStart = at;
        while (!atEnd() && isWord(text[at])) ++at;
        const std::string_view found = text.substr(wordStart, at - wordStart);
        if (found.size() > kMaxWord) failAtWord("longer than " + counted(kMaxWord, "character"));
        return found;
    }

    void record() {
        Record next;
        next.name = word();
        if (!layout.empty() && layout.back().made == Made::OfText && !layout.back().isArray) {
            failAtWord("nothing follows " + layout.back().name + ": a text without a count takes the rest of the file");
        }
        if (next.name.empty() || isDigit(next.name[0])) failAtWord("expected a name: letters, digits and _");
        if (!numbers.try_emplace(next.name, layout.size()).second) {
            failAtWord("there is a record " + next.name + " already");
        }
        if (!takes(':')) fail("expected a ':' between name and type");
        type(next);
        if (takes('[')) count(next);
        layout.push_back(std::move(next));
    }

    void type(Record& next) {
        const std::string_view name = word();
        if (name.empty()) failAtWord("expected a type");
        if (!setType(next, name)) {
            const std::string advice = meant(name, typeNames());
            failAtWord("unknown type " + std::string(name) + (advice.empty() ? "; `qor types` shows them" : advice));
        }
        if (next.made == Made::OfValues && next.type == DataType::Null)
            failAtWord("no file holds a value of type Null");
    }

    void count(Record& next) {
        next.isArray = true;
        skipSpaces();
        if (isOneOf("-")) fail("a count is not negative");
        const std::string_view number = word();
        if (number.empty()) failAtWord("expected a count: a number, or the name of an earlier integer");
        if (isDigit(number[0])) {
            if (!std::ranges::all_of(number, isDigit)) failAtWord("neither a number nor a name");
            if (!qor::parseNumber(number, next.count)) failAtWord("the count is larger than 18446744073709551615");
        } else {
            next.counter = counterOf(std::string(number));
        }
        if (!takes(']')) fail("expected a ']' behind the count");
    }

    std::size_t counterOf(const std::string& name) const {
        const auto found = numbers.find(name);
        if (found == numbers.end() || found->second == layout.size()) {
            std::vector<std::string> words;
            for (const Record& earlier : layout) {
                if (canCount(earlier)) words.push_back(earlier.name);
            }
            failAtWord("no earlier record is called " + name + meant(name, words));
        }
        const Record& counter = layout[found->second];
        if (counter.isArray) failAtWord(name + " is an array, and a count is one integer");
        if (!canCount(counter)) failAtWord(name + " is a " + typeName(counter) + ", and a count is an integer");
        return found->second;
    }

    [[noreturn]] void fail(const std::string& what) const { failAt(at, what); }
    [[noreturn]] void failAtWord(const std::string& what) const { failAt(wordStart, what); }

    // Tells line and column, and shows the line around them with a caret below.
    [[noreturn]] void failAt(std::size_t place, const std::string& what) const {
        constexpr std::size_t kBefore = 60;
        constexpr std::size_t kAfter = 40;
        const std::string_view before = text.substr(0, place);
        const std::size_t lineStart = before.rfind('\n') + 1;  // 0 in the first line, where npos + 1 is
        const std::size_t lineEnd = std::min(text.find('\n', place), text.size());
        const std::size_t start = std::max(lineStart, place < kBefore ? 0 : place - kBefore);
        std::string shown(text.substr(start, std::min(lineEnd, place + kAfter) - start));
        std::ranges::replace_if(
            shown, [](char c) { return !isPrintable(c); }, ' ');
        shown.erase(shown.find_last_not_of(' ') + 1);
        const auto line = std::ranges::count(before, '\n') + 1;
        throw BadLayout("line " + std::to_string(line) + ", column " + std::to_string(place - lineStart + 1) + ": " +
                        what + "\n  " + shown + "\n  " + std::string(place - start, ' ') + '^');
    }

    std::string_view text;
    std::size_t at = 0;
    std::size_t wordStart = 0;
    Layout layout;
    std::unordered_map<std::string, std::size_t> numbers;  // of the records, by name
};

}  // namespace

std::vector<DataType> allDataTypes() {
    std::vector<DataType> types;
    for (std::uint32_t value = 0; typeSize(static_cast<DataType>(value)) > 0; ++value) {
        types.push_back(static_cast<DataType>(value));
    }
    return types;
}

std::string typeName(const Record& record) {
    for (const OtherType& other : kOtherTypes) {
        if (record.made == other.made) return other.name;
    }
    return dataTypeName(record.type);
}

Layout parseLayout(std::string_view text) { return Parser(text).parse(); }

std::string textOf(const Layout& layout) {
    std::string text;
    for (const Record& record : layout) {
        text += record.name + " : " + typeName(record);
        if (record.isArray) {
            text += '[' + (record.counter ? layout[*record.counter].name : std::to_string(record.count)) + ']';
        }
        text += '\n';
    }
    return text;
}

}  // namespace tool
