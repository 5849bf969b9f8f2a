// The comparison of what was read back with what was written.
#include "tools/qor/compare.h"

#include <fmt/format.h>

#include <cstring>
#include <string_view>
#include <type_traits>

#include "qor/core/number_text.h"
#include "tools/qor/text.h"

namespace tool {
namespace {

// What does not print is escaped: the text may be anybody's.
std::string shown(const std::string& text) { return fmt::format("{:?}", text); }

template <typename T>
std::string shown(const T& value) {
    if constexpr (std::is_arithmetic_v<T>) {
        char text[qor::kMaxDecimalText];
        return std::string(text, qor::formatNumber(text, value));
    } else {
        std::string text;
        for (const auto number : value) text += (text.empty() ? "(" : ", ") + shown(number);
        return text + ')';
    }
}

// Values are the same if the bits of their numbers are: 0 and -0 are two values.
bool same(const std::string& a, const std::string& b) { return a == b; }

template <typename T>
bool same(const T& a, const T& b) {
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c): the bits are what is compared
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// What the numbers of a value are called.
std::string nameOf(const Vec2i&, std::size_t i) { return i == 0 ? ".x" : ".y"; }
std::string nameOf(const Rgbad&, std::size_t i) { return std::string(".") + "rgba"[i]; }
std::string nameOf(const Rgba8&, std::size_t i) { return std::string(".") + "rgba"[i]; }
std::string nameOf(const Mat3d&, std::size_t i) { return fmt::format("({}, {})", i / 3, i % 3); }

// Compares part after part. Each step gives false at the first difference, which is then in `found`.
class Comparison {
 public:
    Comparison(const Reading& itsReading, const Form& itsForm) : reading(itsReading), form(itsForm) {}

    template <typename Part>
    bool part(const std::string& name, const Part& expectedPart, const Part& actualPart) {
        const bool isDamaged = reading.damage && reading.damage->part == name;
        const auto expected = itemsOf(expectedPart);
        const auto actual = itemsOf(actualPart);
        using Item = typename decltype(expected)::value_type;
        const std::size_t count = isDamaged ? reading.damage->done : actual.size();
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (i < count && same(expected[i], actual[i])) continue;
            const std::string itemName = kHasItems<Part> ? fmt::format("{}[{}]", name, i) : name;
            return i < count ? differ(itemName, expected[i], actual[i])
                             : unreadable<Item>(itemName, shown(expected[i]));
        }
        // All of them could be read; the part is damaged if more stands behind them.
        if (!isDamaged) return true;
        return unreadable<Item>(name, kHasItems<Part> ? counted(expected.size(), "item") : shown(expected.front()));
    }

    void rest(const Rest& rest) {
        found = {rest.file, fmt::format("after the last value: nothing in the source, {} in {}", rest.what, rest.file)};
    }

    Difference found;

 private:
    template <typename T>
    bool differ(const std::string& name, const T& expected, const T& actual) {
        if constexpr (requires { nameOf(expected, 0); }) {
            std::size_t i = 0;
            while (same(expected[i], actual[i])) ++i;
            return differ(name + nameOf(expected, i), expected[i], actual[i]);
        } else {
            const std::string& file = fileOf<T>();
            found = {file, fmt::format("{}: {} in the source, {} in {}", name, shown(expected), shown(actual), file)};
            return false;
        }
    }

    template <typename T>
    bool unreadable(const std::string& name, const std::string& expected) {
        found = {fileOf<T>(), fmt::format("{}: {} in the source, and cannot be read back: {}", name, expected,
                                          reading.damage->reason)};
        return false;
    }

    template <typename T>
    const std::string& fileOf() const {
        return std::is_same_v<T, std::string> ? form.files.back() : form.files.front();
    }

    const Reading& reading;
    const Form& form;
};

}  // namespace

std::optional<Difference> firstDifference(const World& source, const Reading& reading, const Form& form) {
    Comparison comparison(reading, form);
    const bool isSame = eachPart(
        [&](const char* name, auto part, auto...) { return comparison.part(name, source.*part, reading.world.*part); });
    if (isSame && !reading.rest) return std::nullopt;
    if (isSame) comparison.rest(*reading.rest);
    return comparison.found;
}

}  // namespace tool
