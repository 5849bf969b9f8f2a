// The numbers of the Zstandard format: marks, limits, codes and default distributions, as RFC 8878 prints them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qor/core/codec/fse.h"

namespace qor::impl::zstd {

// Frames (3.1.1).
inline constexpr std::uint32_t kMagic = 0xFD2FB528;
inline constexpr std::size_t kChecksumSize = 4;

// Blocks (3.1.1.2).
inline constexpr std::size_t kBlockHeaderSize = 3;
inline constexpr std::size_t kLargestBlock = std::size_t{128} * 1024;

enum class BlockType : std::uint8_t { Raw = 0, Run = 1, Compressed = 2, Reserved = 3 };

// Literals (3.1.1.3.1) and their Huffman code (4.2.1).
enum class LiteralsType : std::uint8_t { Raw = 0, Run = 1, Huffman = 2, SameTree = 3 };

inline constexpr int kLiteralSymbols = 256;
inline constexpr int kHuffmanMaxBits = 11;
inline constexpr int kLargestWeight = 11;
inline constexpr int kWeightAccuracy = 6;       // at most, of the weights' own FSE table
inline constexpr int kMostDirectWeights = 128;  // a direct description has 1 to 128 weights, 4 bits each

// Sequences (3.1.1.3.2).
enum class TableMode : std::uint8_t { Default = 0, Run = 1, Described = 2, Repeat = 3 };

inline constexpr std::uint32_t kMinMatch = 3;
inline constexpr std::uint32_t kFirstRepeatOffsets[3] = {1, 4, 8};

/// What a code stands for: `base` plus a number of `extraBits` bits.
struct Code {
    std::uint32_t base;
    std::uint8_t extraBits;
};

/// 3.1.1.3.2.1.1, "Literals Length Codes".
inline constexpr Code kLiteralLengthCodes[] = {
    {0, 0},     {1, 0},     {2, 0},     {3, 0},      {4, 0},      {5, 0},      {6, 0},  {7, 0},
    {8, 0},     {9, 0},     {10, 0},    {11, 0},     {12, 0},     {13, 0},     {14, 0}, {15, 0},  // the length itself
    {16, 1},    {18, 1},    {20, 1},    {22, 1},     {24, 2},     {28, 2},     {32, 3}, {40, 3},  // from 16
    {48, 4},    {64, 6},    {128, 7},   {256, 8},    {512, 9},    {1024, 10},                     // from 24
    {2048, 11}, {4096, 12}, {8192, 13}, {16384, 14}, {32768, 15}, {65536, 16},                    // from 30
};

/// 3.1.1.3.2.1.1, "Match Length Codes".
inline constexpr Code kMatchLengthCodes[] = {
    {3, 0},     {4, 0},     {5, 0},     {6, 0},      {7, 0},      {8, 0},      {9, 0},     {10, 0}, {11, 0},
    {12, 0},    {13, 0},    {14, 0},    {15, 0},     {16, 0},     {17, 0},     {18, 0},    {19, 0}, {20, 0},
    {21, 0},    {22, 0},    {23, 0},    {24, 0},     {25, 0},     {26, 0},     {27, 0},    {28, 0}, {29, 0},
    {30, 0},    {31, 0},    {32, 0},    {33, 0},     {34, 0},  // the length less 3
    {35, 1},    {37, 1},    {39, 1},    {41, 1},     {43, 2},     {47, 2},     {51, 3},    {59, 3},  // from 32
    {67, 4},    {83, 4},    {99, 5},    {131, 7},    {259, 8},    {515, 9},    {1027, 10},           // from 40
    {2051, 11}, {4099, 12}, {8195, 13}, {16387, 14}, {32771, 15}, {65539, 16},                       // from 47
};

inline constexpr int kLiteralLengthSymbols = 36;
inline constexpr int kMatchLengthSymbols = 53;
static_assert(sizeof kLiteralLengthCodes / sizeof(Code) == kLiteralLengthSymbols);
static_assert(sizeof kMatchLengthCodes / sizeof(Code) == kMatchLengthSymbols);

/// Offset code c stands for the offset value `1 << c` plus c extra bits.
inline constexpr int kOffsetSymbols = 32;
consteval Code offsetCode(int code) { return {std::uint32_t{1} << code, static_cast<std::uint8_t>(code)}; }

/// Offset values up to this one choose a repeat offset; others are the offset plus this.
inline constexpr std::uint32_t kRepeatOffsets = 3;

// Largest accuracies of described tables (3.1.1.3.2.1).
inline constexpr int kLiteralLengthAccuracy = 9;
inline constexpr int kMatchLengthAccuracy = 9;
inline constexpr int kOffsetAccuracy = 8;

// 3.1.1.3.2.2, "Default Distributions".
inline constexpr fse::Distribution kDefaultLiteralLengths = {
    6, kLiteralLengthSymbols, {4, 3, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 1, 1,  1,  2,  2,
                               2, 2, 2, 2, 2, 2, 2, 3, 2, 1, 1, 1, 1, 1, -1, -1, -1, -1}};

inline constexpr fse::Distribution kDefaultMatchLengths = {
    6, kMatchLengthSymbols, {1, 4, 3, 2, 2, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  1,  1,  1,  1,  1,  1, 1,
                             1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, -1, -1, -1, -1, -1, -1, -1}};

inline constexpr fse::Distribution kDefaultOffsets = {
    5, 29, {1, 1, 1, 1, 1, 1, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, -1, -1, -1, -1, -1}};

}  // namespace qor::impl::zstd
