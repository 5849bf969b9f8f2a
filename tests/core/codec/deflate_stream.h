// DEFLATE streams put together by hand, bit by bit, to show what a decoder accepts and what it refuses.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace qor::test {

/// A stream under construction. Numbers are written with their lowest bit first, code words with their highest.
class DeflateStream {
 public:
    DeflateStream& number(unsigned value, int bits) {
        for (int i = 0; i < bits; ++i) bit(value >> i & 1);
        return *this;
    }

    DeflateStream& word(unsigned value, int bits) {
        while (bits-- > 0) bit(value >> bits & 1);
        return *this;
    }

    DeflateStream& block(bool isLast, unsigned type) { return number(isLast, 1).number(type, 2); }
    DeflateStream& stored(bool isLast, std::string_view text) {
        return storedAs(isLast, static_cast<unsigned>(text.size()), ~static_cast<unsigned>(text.size()), text);
    }
    DeflateStream& storedAs(bool isLast, unsigned size, unsigned complement, std::string_view text) {
        block(isLast, 0);
        used = 8;
        number(size, 16).number(complement, 16);
        bytes += text;
        return *this;
    }

    // The fixed codes (RFC 1951, 3.2.6).
    DeflateStream& fixed(std::string_view text) {
        for (const char c : text) symbol(static_cast<unsigned char>(c));
        return *this;
    }
    DeflateStream& symbol(unsigned n) {
        if (n < 144) return word(0x30 + n, 8);
        if (n < 256) return word(0x190 + n - 144, 9);
        if (n < 280) return word(n - 256, 7);
        return word(0xC0 + n - 280, 8);
    }
    DeflateStream& distance(unsigned n) { return word(n, 5); }

    // A dynamic block up to the code length code, which is the same in all: 0 to 12 have words of 4 bits, 13 to 18
    // of 5.
    DeflateStream& dynamic(bool isLast, unsigned literalCount, unsigned distanceCount) {
        block(isLast, 2).number(literalCount - 257, 5).number(distanceCount - 1, 5).number(19 - 4, 4);
        for (const unsigned of :
             {16u, 17u, 18u, 0u, 8u, 7u, 9u, 6u, 10u, 5u, 11u, 4u, 12u, 3u, 13u, 2u, 14u, 1u, 15u}) {
            number(of < 13 ? 4 : 5, 3);
        }
        return *this;
    }
    DeflateStream& length(unsigned n) { return n < 13 ? word(n, 4) : word(n + 13, 5); }
    DeflateStream& lengths(std::initializer_list<unsigned> all) {
        for (const unsigned n : all) length(n);
        return *this;
    }
    DeflateStream& again(unsigned times) { return length(16).number(times - 3, 2); }
    DeflateStream& zeros(unsigned times) {
        for (; times > 138; times -= 138) length(18).number(127, 7);
        if (times >= 11) return length(18).number(times - 11, 7);
        if (times >= 3) return length(17).number(times - 3, 3);
        for (; times > 0; --times) length(0);
        return *this;
    }

    DeflateStream& raw(std::string_view more) {
        used = 8;
        bytes += more;
        return *this;
    }

    std::string bytes;

 private:
    void bit(unsigned value) {
        if (used == 8) {
            bytes += '\0';
            used = 0;
        }
        bytes.back() = static_cast<char>(static_cast<unsigned char>(bytes.back()) | value << used++);
    }

    unsigned used = 8;  // bits of the last byte
};

}  // namespace qor::test
