// Whatever the text, it is refused with a line, a column and a caret, or it is a layout whose own text describes the
// same layout.
#include "tools/qor/layout.h"

#include <string_view>

#include "fuzz/target.h"

namespace qor::fuzz {
namespace {

constexpr std::size_t kMostTold = 400;

void requireTold(std::string_view mistake) {
    require(mistake.starts_with("line "), "a mistake has a line");
    require(mistake.find(", column ") != mistake.npos, "a mistake has a column");
    require(mistake.ends_with("^"), "a mistake has a caret");
    require(mistake.size() < kMostTold, "a mistake is told briefly");
    require(std::ranges::count(mistake, '\n') == 2, "a mistake is told in three lines");
    require(std::ranges::all_of(mistake, [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); }),
            "a mistake is told in characters that print");
}

void parse(std::string_view text) {
    try {
        const tool::Layout layout = tool::parseLayout(text);
        require(!layout.empty(), "a layout has records");
        const std::string again = tool::textOf(layout);
        require(tool::parseLayout(again) == layout, "the text of a layout describes it");
        require(tool::textOf(tool::parseLayout(again)) == again, "a layout has one text");
    } catch (const tool::BadLayout& bad) {
        requireTold(bad.what());
    }
}

}  // namespace
}  // namespace qor::fuzz

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::parse({reinterpret_cast<const char*>(data), size});
    return 0;
}
