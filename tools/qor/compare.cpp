// The comparison of what was read back with what was written.
#include "tools/qor/compare.h"

#include <fmt/format.h>

#include <bit>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "qor/core/number_text.h"
#include "tools/qor/text.h"

namespace tool {
namespace {

std::string shown(const std::string& text) { return '"' + text + '"'; }
std::string shown(const Point& point) { return fmt::format("({}, {})", point.x, point.y); }

template <typename T>
std::string shown(T number) {
    char text[qor::kMaxDecimalText];
    return std::string(text, qor::formatNumber(text, number));
}

// Numbers are the same if their bits are: 0 and -0 are two values.
bool same(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

template <typename T>
bool same(const T& a, const T& b) {
    return a == b;
}

// Compares part after part. Each step gives false at the first difference, which is then in `found`.
class Comparison {
 public:
    Comparison(const Reading& itsReading, const Form& itsForm) : reading(itsReading), form(itsForm) {}

    bool part(const std::string& name, const std::string& expected, const std::string& actual) {
        return isDamaged(name) ? unreadable<std::string>(name, shown(expected)) : item(name, expected, actual);
    }

    template <std::size_t Size>
    bool part(const std::string& name, const std::array<double, Size>& expected,
              const std::array<double, Size>& actual) {
        return items(name, expected, actual, isDamaged(name) ? reading.damage->done : Size);
    }

    template <typename T>
    bool part(const std::string& name, const std::vector<T>& expected, const std::vector<T>& actual) {
        const std::string size = counted(expected.size(), "item");
        if (isDamaged(name) && !reading.damage->count) return unreadable<unsigned long>(name, size);
        const unsigned long count = isDamaged(name) ? *reading.damage->count : actual.size();
        if (count != expected.size()) return differ<unsigned long>(name, size, grouped(count));
        return items(name, expected, actual, actual.size());
    }

    void rest(const Rest& rest) {
        found = {rest.file, fmt::format("after the last value: nothing in the source, {} in {}", rest.what, rest.file)};
    }

    Difference found;

 private:
    bool isDamaged(const std::string& name) const { return reading.damage && reading.damage->part == name; }

    // The first `count` items of a part were read; if there are more of them, the reading failed there.
    template <typename Items>
    bool items(const std::string& name, const Items& expected, const Items& actual, std::size_t count) {
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (i < count && same(expected[i], actual[i])) continue;
            const std::string itemName = fmt::format("{}[{}]", name, i);
            if (i < count) return item(itemName, expected[i], actual[i]);
            return unreadable<typename Items::value_type>(itemName, shown(expected[i]));
        }
        // All of them could be read; the part is damaged if more stands behind them.
        return !isDamaged(name) || unreadable<typename Items::value_type>(name, counted(expected.size(), "item"));
    }

    bool item(const std::string& name, const Point& expected, const Point& actual) {
        return item(name + ".x", expected.x, actual.x) && item(name + ".y", expected.y, actual.y);
    }

    template <typename T>
    bool item(const std::string& name, const T& expected, const T& actual) {
        return same(expected, actual) || differ<T>(name, shown(expected), shown(actual));
    }

    template <typename T>
    bool differ(const std::string& name, const std::string& expected, const std::string& actual) {
        const std::string file = fileOf<T>();
        found = {file, fmt::format("{}: {} in the source, {} in {}", name, expected, actual, file)};
        return false;
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
    const bool isSame = eachPartOf(
        form, [&](const char* name, auto part) { return comparison.part(name, source.*part, reading.world.*part); });
    if (isSame && !reading.rest) return std::nullopt;
    if (isSame) comparison.rest(*reading.rest);
    return comparison.found;
}

}  // namespace tool
