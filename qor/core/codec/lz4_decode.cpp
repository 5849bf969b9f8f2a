// LZ4 blocks: decoding.
//
// Nothing in a block is trusted: every count is compared with what is left before it is used.
#include <algorithm>
#include <cstring>

#include "qor/core/codec/lz4.h"

namespace qor::impl::lz4 {
namespace {

std::size_t left(const unsigned char* at, const unsigned char* end) { return static_cast<std::size_t>(end - at); }

// What is added to a count whose half of the token is full. False if the block ends first. No count can exceed 255
// times the size of the block.
bool readMore(const unsigned char*& in, const unsigned char* inEnd, std::size_t& count) {
    unsigned char more;
    do {
        if (in == inEnd) return false;
        more = *in++;
        count += more;
    } while (more == 255);
    return true;
}

// What a sequence with neither count going on reads and writes: a token, 16 bytes for at most 14 literals and then the
// offset; those literals, and a match of at most 18 bytes.
constexpr std::size_t kFastInput = 1 + 16 + 2;
constexpr std::size_t kFastOutput = 14 + 18 + kWildSlack;

}  // namespace

Place decodeFast(Place place, const unsigned char* inEnd, const unsigned char* first, unsigned char* outEnd) {
    while (left(place.in, inEnd) >= kFastInput && left(place.out, outEnd) >= kFastOutput) {
        const unsigned char* in = place.in;
        unsigned char* out = place.out;
        const unsigned token = *in++;

        std::size_t count = token >> 4;
        if (count != kMoreFollows) {
            copy16(out, in);
        } else {
            if (!readMore(in, inEnd, count)) break;
            if (count + kWildSlack + 2 > left(in, inEnd) || count + kFastOutput > left(out, outEnd)) break;
            copyWild(out, in, count);
        }
        in += count;
        out += count;

        const std::size_t offset = load<std::uint16_t>(in);
        in += 2;
        if (offset == 0 || offset > left(first, out)) break;

        std::size_t length = token & 15;
        if (length != kMoreFollows && offset >= 8) {
            const unsigned char* const from = out - offset;
            copy8(out, from);
            copy8(out + 8, from + 8);
            std::memcpy(out + 16, from + 16, 2);
        } else {
            if (length == kMoreFollows && !readMore(in, inEnd, length)) break;
            if (length + kMinMatch + kWildSlack > left(out, outEnd)) break;
            repeatWild(out, offset, length + kMinMatch);
        }
        place = {in, out + length + kMinMatch};
    }
    return place;
}

namespace {

template <bool fast>
bool decode(Bytes block, std::uint64_t first, std::uint64_t limit, Result& result, std::uint64_t& produced) {
    const unsigned char* in = block.data();
    const unsigned char* const inEnd = in + block.size();
    const std::uint64_t most = produced + limit;

    // In the room that there is; both move with it.
    unsigned char* out = nullptr;
    unsigned char* outEnd = nullptr;
    const auto enterRoom = [&] {
        out = result.at(produced);
        outEnd = out + std::min<std::uint64_t>(most - produced, left(out, result.end()));
    };
    // For how many of `n` bytes there is room, or can be made; none if there is no more.
    const auto roomFor = [&](std::size_t n) {
        if (out == outEnd) {
            produced = result.positionOf(out);
            if (produced == most || !result.makeRoom(produced, 1)) return std::size_t{0};
            enterRoom();
        }
        return std::min(n, left(out, outEnd));
    };

    enterRoom();
    for (;;) {
        if constexpr (fast) {
            const Place place = decodeFast({in, out}, inEnd, result.at(std::max(first, result.start())), outEnd);
            in = place.in;
            out = place.out;
        }

        if (in == inEnd) return false;
        const unsigned token = *in++;
        std::size_t count = token >> 4;
        if (count == kMoreFollows && !readMore(in, inEnd, count)) return false;
        if (count > left(in, inEnd)) return false;
        while (count > 0) {
            const std::size_t n = roomFor(count);
            if (n == 0) return false;
            std::memcpy(out, in, n);
            in += n;
            out += n;
            count -= n;
        }
        if (in == inEnd) break;  // the last sequence has no match

        if (left(in, inEnd) < 2) return false;
        const std::size_t offset = load<std::uint16_t>(in);
        in += 2;
        if (offset == 0 || offset > result.positionOf(out) - first) return false;
        std::size_t length = token & 15;
        if (length == kMoreFollows && !readMore(in, inEnd, length)) return false;
        length += kMinMatch;
        while (length > 0) {
            const std::size_t n = roomFor(length);
            if (n == 0) return false;
            if (offset > left(result.begin(), out)) {
                result.repeatFar(out, offset, n);
            } else {
                repeat(out, offset, n);
            }
            out += n;
            length -= n;
        }
    }
    produced = result.positionOf(out);
    return true;
}

}  // namespace

bool decodeBlock(Bytes block, std::uint64_t first, std::uint64_t limit, Result& result, std::uint64_t& produced) {
    return decode<true>(block, first, limit, result, produced);
}

bool decodeBlockPlainly(Bytes block, std::uint64_t first, std::uint64_t limit, Result& result,
                        std::uint64_t& produced) {
    return decode<false>(block, first, limit, result, produced);
}

}  // namespace qor::impl::lz4
