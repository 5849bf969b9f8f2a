// Huffman-coded literals of Zstandard: decoding.
#include "qor/core/codec/zstd_huffman.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "qor/core/codec/backward_bits.h"
#include "qor/core/codec/bmi2.h"
#include "qor/core/codec/fse.h"

namespace qor::impl::zstd {
namespace {

// The weights of the symbols from 0 on, up to but not including the last one used.
struct Weights {
    std::uint8_t of[kLiteralSymbols];
    int count = 0;

    // A list can be one short of the symbols.
    bool isFull() const { return count == kLiteralSymbols - 1; }
};

// 4.2.1.1, direct: 4 bits each, the first in the high half.
bool readDirectWeights(Bytes in, int count, Weights& weights) {
    if (in.size() < static_cast<std::size_t>((count + 1) / 2)) return false;
    for (int i = 0; i < count; ++i) {
        const unsigned pair = in[static_cast<std::size_t>(i / 2)];
        weights.of[i] = static_cast<std::uint8_t>(i % 2 == 0 ? pair >> 4 : pair & 15);
    }
    weights.count = count;
    return true;
}

// 4.2.1.2: two states take turns on one table. The list ends when a state cannot move on: the other has one last
// weight.
bool readCodedWeights(Bytes in, Weights& weights) {
    struct Row {
        std::uint8_t weight;
        std::uint8_t bits;
        std::uint16_t baseline;
    };
    fse::Distribution distribution;
    const std::size_t described = fse::readDistribution(in, kWeightAccuracy, kLargestWeight + 1, distribution);
    if (described == 0) return false;
    Row rows[1 << kWeightAccuracy];
    fse::forEachRow(distribution, [&](int row, int weight, int bits, int baseline) {
        rows[row] = {static_cast<std::uint8_t>(weight), static_cast<std::uint8_t>(bits),
                     static_cast<std::uint16_t>(baseline)};
    });

    BackwardBits bits;
    if (!bits.open(in.subspan(described))) return false;
    const unsigned accuracy = static_cast<unsigned>(distribution.accuracy);
    std::uint64_t state = bits.take(accuracy);
    std::uint64_t other = bits.take(accuracy);
    while (bits.left() >= 0) {
        if (weights.isFull()) return false;
        const Row row = rows[state];
        weights.of[weights.count++] = row.weight;
        if (row.bits > bits.left()) {
            if (weights.isFull()) return false;
            weights.of[weights.count++] = rows[other].weight;
            return true;
        }
        bits.refill();
        state = row.baseline + bits.take(row.bits);
        std::swap(state, other);
    }
    return false;
}

// Fills `places` entries, of which there are a power of two, four at a time, and so up to three more: those of symbols
// that come later. The last one, the heaviest, has at least eight, since 256 symbols share 2048 entries.
inline void fill(std::uint16_t* entries, int places, std::uint16_t entry) {
    const std::uint16_t four[4] = {entry, entry, entry, entry};
    for (int i = 0; i < places; i += 4) std::memcpy(entries + i, four, sizeof four);
}

}  // namespace

std::size_t HuffmanDecoder::readTree(Bytes in) {
    if (in.empty()) return 0;
    Weights weights;
    std::size_t size;
    if (in[0] >= 128) {
        const int count = in[0] - 127;
        size = 1 + static_cast<std::size_t>(count + 1) / 2;
        if (!readDirectWeights(in.subspan(1), count, weights)) return 0;
    } else {
        size = std::size_t{1} + in[0];
        if (size > in.size() || !readCodedWeights(in.subspan(1, in[0]), weights)) return 0;
    }

    // The last symbol's weight is what fills the sum up to a power of two.
    unsigned sum = 0;
    for (int i = 0; i < weights.count; ++i) sum += 1u << weights.of[i] >> 1;
    if (sum == 0) return 0;
    const int maxBits = static_cast<int>(std::bit_width(sum));
    const unsigned rest = (1u << maxBits) - sum;
    // So no weight is above kLargestWeight either: it alone would make the code words longer.
    if (maxBits > kHuffmanMaxBits || !std::has_single_bit(rest)) return 0;
    weights.of[weights.count] = static_cast<std::uint8_t>(std::bit_width(rest));
    return fillTable(weights.of, weights.count + 1, maxBits) ? size : 0;
}

// A symbol of weight w fills 2^(w - 1) places of a table for maxBits bits; the lightest symbols come first, equal ones
// in their own order.
bool HuffmanDecoder::fillTable(const std::uint8_t* weights, int symbols, int maxBits) {
    unsigned count[kLargestWeight + 1] = {};
    for (int i = 0; i < symbols; ++i) ++count[weights[i]];
    if (count[1] == 0) return false;  // then it is not maxBits; an odd number of them would not make the sum

    unsigned start[kLargestWeight + 1];
    start[0] = 0;
    for (int w = 1; w <= kLargestWeight; ++w) start[w] = start[w - 1] + count[w - 1];
    std::uint8_t sorted[kLiteralSymbols];
    for (int i = 0; i < symbols; ++i) sorted[start[weights[i]]++] = static_cast<std::uint8_t>(i);

    const std::uint8_t* symbol = sorted + count[0];
    std::uint16_t* to = entries;
    for (int w = 1; w <= maxBits; ++w) {
        const int places = 1 << (w - 1 + kHuffmanMaxBits - maxBits);
        for (unsigned n = count[w]; n > 0; --n) {
            fill(to, places, static_cast<std::uint16_t>(*symbol++ << 8 | (maxBits + 1 - w)));
            to += places;
        }
    }
    isGiven = true;
    return true;
}

namespace {

// One stream and the literals that it makes.
//
// The word's bits are shifted out at the top as they are used. Its lowest bit is overwritten by a 1, below which
// shifting leaves zeros: they count the bits used, and no counter has to be kept. What the 1 covers is seen after a
// reload.
struct Stream {
    // Look-ups that a word allows: of its 64 bits up to 8 are used already and one is the mark.
    static constexpr int kLookUps = 55 / kHuffmanMaxBits;

    const unsigned char* at;
    const unsigned char* lowest;
    std::uint64_t word;
    unsigned char* out;
    unsigned char* end;

    bool open(Bytes stream, unsigned char* literals, std::size_t size) {
        if (stream.empty() || stream.back() == 0) return false;
        lowest = stream.data() - BackwardBits::kReadableBefore;
        at = lowest + stream.size();
        word = (load<std::uint64_t>(at) | 1) << (std::countl_zero(stream.back()) + 1);
        out = literals;
        end = literals + size;
        return true;
    }

    unsigned used() const { return static_cast<unsigned>(std::countr_zero(word)); }

    // Reloads that keep the word's place at or above the lowest, whatever is used until then: 7 + 55 bits at most each.
    std::size_t safeReloads() const { return static_cast<std::size_t>(at - lowest) / 7; }

    void reload() {
        const unsigned bits = used();
        at -= bits / 8;
        word = (load<std::uint64_t>(at) | 1) << bits % 8;
    }

    void lookUp(const std::uint16_t* entries) {
        const unsigned entry = entries[word >> (64 - kHuffmanMaxBits)];
        word <<= entry & 63;
        *out++ = static_cast<unsigned char>(entry >> 8);
    }

    // The plain loop, for any stream.
    bool finish(const std::uint16_t* entries) {
        while (out < end) {
            if (used() / 8 > static_cast<std::size_t>(at - lowest)) return false;
            reload();
            for (int i = 0; i < kLookUps && out < end; ++i) lookUp(entries);
        }
        return static_cast<std::size_t>(at - lowest) * 8 == used();
    }
};

using FourStreams = std::array<Stream, 4>;

// The fast loop: all four streams at once, as long as each has a word's worth to read and to fill. So four chains of
// look-ups, each of which has to wait for the one before it, run side by side.
inline void decodeTogether(FourStreams& streams, const std::uint16_t* entries) {
    FourStreams s = streams;
    for (;;) {
        std::size_t rounds = static_cast<std::size_t>(s[3].end - s[3].out) / Stream::kLookUps;
        for (const Stream& each : s) rounds = std::min(rounds, each.safeReloads());
        if (rounds == 0) break;
        do {
            for (int i = 0; i < Stream::kLookUps; ++i) {
                for (Stream& each : s) each.lookUp(entries);
            }
            for (Stream& each : s) each.reload();
        } while (--rounds > 0);
    }
    streams = s;
}

QOR_FOR_BMI2 void decodeTogetherWithBmi2(FourStreams& streams, const std::uint16_t* entries) {
    decodeTogether(streams, entries);
}

}  // namespace

bool HuffmanDecoder::decodeOne(Bytes stream, unsigned char* literals, std::size_t size) const {
    Stream one;
    return one.open(stream, literals, size) && one.finish(entries);
}

bool HuffmanDecoder::decodeFour(Bytes streams, unsigned char* literals, std::size_t size, Loops loops) {
    constexpr std::size_t kSizes = 6;
    if (size < 6 || streams.size() < kSizes) return false;
    const std::size_t quarter = (size + 3) / 4;
    FourStreams s;
    Bytes rest = streams.subspan(kSizes);
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t bytes = i < 3 ? load<std::uint16_t>(streams.data() + 2 * i) : rest.size();
        if (bytes > rest.size()) return false;
        if (!s[i].open(rest.first(bytes), literals + i * quarter, i < 3 ? quarter : size - 3 * quarter)) return false;
        rest = rest.subspan(bytes);
    }

    if (loops == Loops::Fast) (hasBmi2() ? decodeTogetherWithBmi2 : decodeTogether)(s, entries);
    return s[0].finish(entries) && s[1].finish(entries) && s[2].finish(entries) && s[3].finish(entries);
}

}  // namespace qor::impl::zstd
