// The numbers that DEFLATE fixes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace qor::impl::deflate {

enum BlockType : unsigned { kStored = 0, kFixed = 1, kDynamic = 2 };

inline constexpr std::size_t kMaxStored = 65535;

inline constexpr std::size_t kMinMatch = 3;
inline constexpr std::size_t kMaxMatch = 258;
inline constexpr std::size_t kWindowSize = 32768;

inline constexpr std::size_t kEndOfBlock = 256;
inline constexpr std::size_t kFirstLength = 257;

// How many symbols there are, without and with those that only take part in the fixed codes.
inline constexpr std::size_t kLiteralSymbols = 286;
inline constexpr std::size_t kDistanceSymbols = 30;
inline constexpr std::size_t kFixedLiteralSymbols = 288;
inline constexpr std::size_t kFixedDistanceSymbols = 32;
inline constexpr std::size_t kLengthSymbols = 19;

inline constexpr int kMaxCodeBits = 15;
inline constexpr int kMaxLengthCodeBits = 7;

/// A symbol that stands for `1 << extraBits` values from `base` on.
struct Range {
    std::uint16_t base;
    std::uint8_t extraBits;
};

// RFC 1951, 3.2.5: match lengths, symbols 257 to 285.
inline constexpr std::array<Range, kLiteralSymbols - kFirstLength> kLengths = {{
    {3, 0},  {4, 0},  {5, 0},  {6, 0},   {7, 0},   {8, 0},   {9, 0},   {10, 0},  {11, 1},  {13, 1},
    {15, 1}, {17, 1}, {19, 2}, {23, 2},  {27, 2},  {31, 2},  {35, 3},  {43, 3},  {51, 3},  {59, 3},
    {67, 4}, {83, 4}, {99, 4}, {115, 4}, {131, 5}, {163, 5}, {195, 5}, {227, 5}, {258, 0},
}};

// RFC 1951, 3.2.5: distances.
inline constexpr std::array<Range, kDistanceSymbols> kDistances = {{
    {1, 0},     {2, 0},     {3, 0},     {4, 0},      {5, 1},      {7, 1},      {9, 2},     {13, 2},
    {17, 3},    {25, 3},    {33, 4},    {49, 4},     {65, 5},     {97, 5},     {129, 6},   {193, 6},
    {257, 7},   {385, 7},   {513, 8},   {769, 8},    {1025, 9},   {1537, 9},   {2049, 10}, {3073, 10},
    {4097, 11}, {6145, 11}, {8193, 12}, {12289, 12}, {16385, 13}, {24577, 13},
}};

// RFC 1951, 3.2.7: the order of the lengths of the code length code.
inline constexpr std::array<std::uint8_t, kLengthSymbols> kLengthOrder = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                                          11, 4,  12, 3, 13, 2, 14, 1, 15};

// RFC 1951, 3.2.7: symbols of the code length code that stand for a run. 16 repeats the length before.
inline constexpr std::size_t kRepeatLength = 16;
inline constexpr std::size_t kFewZeros = 17;
inline constexpr std::size_t kManyZeros = 18;
inline constexpr std::array<Range, 3> kRuns = {{{3, 2}, {3, 3}, {11, 7}}};

// RFC 1951, 3.2.6: the fixed codes, as the lengths of their words.
inline constexpr auto kFixedLiteralLengths = [] {
    std::array<std::uint8_t, kFixedLiteralSymbols> lengths{};
    for (std::size_t symbol = 0; symbol != lengths.size(); ++symbol) {
        lengths[symbol] = symbol < 144 ? 8 : symbol < 256 ? 9 : symbol < 280 ? 7 : 8;
    }
    return lengths;
}();
inline constexpr auto kFixedDistanceLengths = [] {
    std::array<std::uint8_t, kFixedDistanceSymbols> lengths{};
    lengths.fill(5);
    return lengths;
}();

}  // namespace qor::impl::deflate
