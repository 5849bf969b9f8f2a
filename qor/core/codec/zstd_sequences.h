// Zstandard's sequences (RFC 8878, 3.1.1.3.2): their tables, and executing them into the result.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qor/core/codec/bytes.h"
#include "qor/core/codec/fse.h"
#include "qor/core/codec/result.h"
#include "qor/core/codec/zstd_decode.h"
#include "qor/core/codec/zstd_tables.h"

namespace qor::impl::zstd {

/// A row of a decoding table: what the symbol in it stands for, and the move to the next row.
struct SequenceRow {
    std::uint16_t nextBaseline;
    std::uint8_t nextBits;
    std::uint8_t extraBits;
    std::uint32_t base;
};

/// A decoding table, which stays from block to block until another takes its place.
template <int largestAccuracy>
struct DecodingTable {
    bool isGiven = false;
    int accuracy = 0;
    SequenceRow rows[1 << largestAccuracy];

    const SequenceRow& operator[](std::uint64_t state) const { return rows[state]; }
};

/// The last three offsets, the latest first (3.1.1.5).
struct RepeatOffsets {
    std::uint32_t first = kFirstRepeatOffsets[0];
    std::uint32_t second = kFirstRepeatOffsets[1];
    std::uint32_t third = kFirstRepeatOffsets[2];

    void add(std::uint32_t offset) {
        third = second;
        second = first;
        first = offset;
    }

    /// The offset that is meant by 1, 2 or 3, or by 4, which is the first less 1; it comes first from then on. 0 if the
    /// frame is damaged.
    std::uint32_t choose(std::uint32_t which) {
        // In this form compilers choose without branches, none of which could be foretold.
        const std::uint32_t offset = which == 1 ? first : which == 2 ? second : which == 3 ? third : first - 1;
        third = which <= 2 ? third : second;
        second = which == 1 ? second : first;
        first = offset;
        return offset;
    }
};

/// Where content is produced: before `at` is what the frame has made so far, behind it there is room for a block.
struct Output {
    const Result& result;
    unsigned char* at;
    std::uint64_t window;  // how far back a match may reach
};

/// The literals of a block that are left. kWildSlack bytes beyond `end` are readable.
struct Literals {
    const unsigned char* at;
    const unsigned char* end;

    std::size_t left() const { return static_cast<std::size_t>(end - at); }
};

/// Decodes sequences, with what they carry from block to block of a frame.
class SequenceDecoder {
 public:
    /// Executes a sequences section, header and all, which lies in a frame behind its header and a block's (see
    /// BackwardBits::kReadableBefore), and moves the output on; the block's content is complete then. False if the
    /// section is damaged or its content does not fit.
    bool execute(Bytes section, Literals literals, Output& output, Loops loops);

 private:
    bool readTables(Bytes& in);
    bool executeAll(std::size_t count, Bytes stream, Literals& literals, Output& output, Loops loops);
    bool executeAllWithBmi2(std::size_t count, Bytes stream, Literals& literals, Output& output);

    DecodingTable<kLiteralLengthAccuracy> literalLengths;
    DecodingTable<kOffsetAccuracy> offsets;
    DecodingTable<kMatchLengthAccuracy> matchLengths;
    RepeatOffsets repeatOffsets;
};

}  // namespace qor::impl::zstd
