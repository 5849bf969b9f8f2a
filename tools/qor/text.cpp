// Small texts: figures for people, the reasons of the system, the word that someone may have meant.
#include "tools/qor/text.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace tool {
namespace {

std::string_view adviceFor(int number) {
    switch (number) {
        case ENOSPC:
        case EDQUOT:
            return "make room there, or choose another folder with -o DIR";
        case EFBIG:
            return "raise the limit (ulimit -f), or choose another folder with -o DIR";
        case EROFS:
            return "choose another folder with -o DIR";
        case EACCES:
        case EPERM:
            return "check its permissions, or choose another";
        case ENOENT:
        case ENOTDIR:
            return "check the spelling of the path";
        default:
            return "";
    }
}

// The least number of letters to change, add, drop or swap with the next that turns one word into the other.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::vector<std::size_t>> steps(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i) steps[i][0] = i;
    for (std::size_t j = 0; j <= to.size(); ++j) steps[0][j] = j;
    for (std::size_t i = 1; i <= from.size(); ++i) {
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t change = from[i - 1] == to[j - 1] ? 0 : 1;
            steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + change});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
            }
        }
    }
    return steps[from.size()][to.size()];
}

}  // namespace

std::string grouped(std::uint64_t value) {
    std::string digits = std::to_string(value);
    for (std::size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, 1, ',');
    return digits;
}

std::string counted(std::uint64_t number, std::string_view thing) {
    return grouped(number).append(" ").append(thing).append(number == 1 ? "" : "s");
}

std::string reasonOf(int number) { return number == 0 ? "" : std::generic_category().message(number); }

std::string reasonAndAdvice(int number) {
    std::string reason = reasonOf(number);
    if (const std::string_view advice = adviceFor(number); !advice.empty()) reason.append("; ").append(advice);
    return reason;
}

std::string nearest(std::string_view typed, const std::vector<std::string>& words) {
    std::string best;
    std::size_t bestDistance = typed.size() / 3 + 2;
    if (typed.size() > 40) return best;
    for (const std::string& word : words) {
        const std::size_t wordDistance = distance(typed, word);
        if (wordDistance >= std::min(bestDistance, word.size())) continue;
        bestDistance = wordDistance;
        best = word;
    }
    return best;
}

std::string escapedXml(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

}  // namespace tool
