// Three bytes are 24 bits, the first byte highest, which are cut into four groups of 6, the highest first; a group is
// an index into the alphabet. One byte at the end makes two characters and "==", two bytes make three and "=": the
// groups that are there are filled up with zero bits.
#include "qor/core/codec/base64.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace qor::impl {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";  // table 1
constexpr unsigned char kPadding = '=';

constexpr unsigned char digit(unsigned group) { return static_cast<unsigned char>(kAlphabet[group & 63]); }

// The two characters of every 12 bits, the first of them in the low byte.
constexpr auto kPairs = [] {
    std::array<std::uint16_t, 4096> pairs{};
    for (unsigned bits = 0; bits != pairs.size(); ++bits) {
        pairs[bits] = static_cast<std::uint16_t>(digit(bits >> 6) | digit(bits) << 8);
    }
    return pairs;
}();

// What a character gives at each of the four places: its six bits where the number of the three bytes, low byte first,
// has them. A character that is not of the alphabet gives kBad, which lies above them.
constexpr std::uint32_t kBad = 1u << 31;
constexpr auto kPlaces = [] {
    std::array<std::array<std::uint32_t, 256>, 4> places{};
    for (auto& place : places) place.fill(kBad);
    for (std::uint32_t group = 0; group < 64; ++group) {
        const unsigned char c = digit(group);
        places[0][c] = group << 2;
        places[1][c] = group >> 4 | (group & 15) << 12;
        places[2][c] = (group >> 2) << 8 | (group & 3) << 22;
        places[3][c] = group << 16;
    }
    return places;
}();

// The eight bytes at `from` as a number with the first byte highest, as the format has its bits.
std::uint64_t loadBig(const unsigned char* from) {
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i) value = value << 8 | from[i];
    return value;
}

// The three bytes of four characters as a number, low byte first, with kBad if a character is none of the alphabet.
std::uint32_t decodeFour(unsigned char a, unsigned char b, unsigned char c, unsigned char d) {
    return kPlaces[0][a] | kPlaces[1][b] | kPlaces[2][c] | kPlaces[3][d];
}
std::uint32_t decodeFour(const unsigned char* text) { return decodeFour(text[0], text[1], text[2], text[3]); }

void storeThree(unsigned char* to, std::uint32_t three) {
    store(to, static_cast<std::uint16_t>(three));
    to[2] = static_cast<unsigned char>(three >> 16);
}

// How many of the last four characters of a text, which are there, are padding.
std::size_t paddingOf(const unsigned char* last) { return last[3] != kPadding ? 0 : last[2] != kPadding ? 1 : 2; }

// The bytes that a text of whole fours stands for.
std::size_t decodedSize(Bytes text) {
    return text.empty() ? 0 : text.size() / 4 * 3 - paddingOf(text.data() + text.size() - 4);
}

// Decodes a text of whole fours. `to` may be where the text begins: no character is overwritten before it is read.
bool decode(Bytes text, unsigned char* to) {
    if (text.empty()) return true;
    const unsigned char* const last = text.data() + text.size() - 4;
    const std::size_t padding = paddingOf(last);

    const unsigned char* at = text.data();
    std::uint32_t seen = 0;
    // Two fours at once, stored with two bytes too many, which the two fours behind them are sure to overwrite.
    for (; last - at >= 12; at += 8, to += 6) {
        const std::uint32_t first = decodeFour(at);
        const std::uint32_t second = decodeFour(at + 4);
        store(to, first | std::uint64_t{second} << 24);
        seen |= first | second;
    }
    for (; at < last; at += 4, to += 3) {
        const std::uint32_t three = decodeFour(at);
        storeThree(to, three);
        seen |= three;
    }

    // Padding stands for zero bits, and so do the bits before it that no byte takes.
    const unsigned char zero = digit(0);
    const std::uint32_t three = decodeFour(at[0], at[1], padding == 2 ? zero : at[2], padding >= 1 ? zero : at[3]);
    if (((seen | three) & kBad) != 0 || three >> (24 - 8 * padding) != 0) return false;
    for (std::size_t i = 0; i < 3 - padding; ++i) to[i] = static_cast<unsigned char>(three >> (8 * i));
    return true;
}

}  // namespace

bool encodeBase64(Bytes bytes, ds::Vector<unsigned char>& text) {
    if (!text.resizeForOverwrite((bytes.size() + 2) / 3 * 4)) return false;
    const unsigned char* at = bytes.data();
    unsigned char* to = text.data();
    std::size_t left = bytes.size();

    for (; left >= 8; left -= 6, at += 6, to += 8) {
        const std::uint64_t bits = loadBig(at);
        store(to, kPairs[bits >> 52]);
        store(to + 2, kPairs[bits >> 40 & 4095]);
        store(to + 4, kPairs[bits >> 28 & 4095]);
        store(to + 6, kPairs[bits >> 16 & 4095]);
    }
    for (; left >= 3; left -= 3, at += 3, to += 4) {
        const unsigned bits = static_cast<unsigned>(at[0] << 16 | at[1] << 8 | at[2]);
        store(to, kPairs[bits >> 12]);
        store(to + 2, kPairs[bits & 4095]);
    }
    if (left > 0) {
        const unsigned bits = static_cast<unsigned>(at[0] << 16 | (left == 2 ? at[1] << 8 : 0));
        store(to, kPairs[bits >> 12]);
        to[2] = left == 2 ? digit(bits >> 6) : kPadding;
        to[3] = kPadding;
    }
    return true;
}

bool decodeBase64(Bytes text, ds::Vector<unsigned char>& bytes) {
    return text.size() % 4 == 0 && bytes.resizeForOverwrite(decodedSize(text)) && decode(text, bytes.data());
}

bool decodeBase64(ds::Vector<unsigned char>& text) {
    if (text.size() % 4 != 0) return false;
    const Bytes all(text.data(), text.size());
    const std::size_t size = decodedSize(all);
    return decode(all, text.data()) && text.resizeForOverwrite(size);
}

}  // namespace qor::impl
