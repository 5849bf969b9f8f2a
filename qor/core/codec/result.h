// What a decoder produces, whose size is a stranger's claim.
//
// Memory never exceeds twice what is really there, which is the payload and what has been produced of it, and 1 MiB. So
// a claim that such memory holds is believed at once. Otherwise the result is made in pieces, each as large as that
// allows, until what has been produced bears out the claim: then there is memory for all of the result, and the pieces
// are put together in it. A payload that claims terabytes and breaks after a few bytes has taken little more than
// itself, and an honest one is copied once at most.
//
// A decoder sees the piece that it fills, from begin() to end(). Positions are those in the whole result.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "qor/core/codec/bytes.h"
#include "qor/core/vector.h"

namespace qor::impl {

class Result {
 public:
    /// A result of `claimedSize` bytes from a payload of `presentSize`, in `into`, which is empty.
    Result(ds::Vector<unsigned char>& into, std::uint64_t claimedSize, std::uint64_t presentSize)
        : piece(into), claimed(claimedSize), present(presentSize) {}

    /// The piece that is being filled. Each `makeRoom` may begin another one.
    unsigned char* begin() const { return piece.data(); }
    unsigned char* end() const { return piece.data() + piece.size(); }

    /// The first position of the piece.
    std::uint64_t start() const { return leftBehind; }

    std::uint64_t positionOf(const unsigned char* at) const {
        return leftBehind + static_cast<std::uint64_t>(at - begin());
    }
    unsigned char* at(std::uint64_t position) const { return begin() + (position - leftBehind); }

    /// Makes room for `n` more bytes behind the `produced` ones, all in one piece, and commonly for many more. They are
    /// few, since a piece that has room for less is left. False if the claimed size does not hold them or memory is
    /// refused.
    bool makeRoom(std::uint64_t produced, std::uint64_t n) {
        if (n > claimed - produced) return false;
        if (n <= piece.size() - (produced - leftBehind)) return true;
        const std::uint64_t granted = present + 2 * produced + kBelieved - held;
        if (claimed <= granted) return gather(produced);
        // One that is just large enough for the pieces to be put together when it is full.
        const std::uint64_t enough = std::max(claimed - granted, kSmallestPiece);
        return beginPiece(produced, std::min({enough, granted, claimed - produced}));
    }

    /// Continues the result at `to` with the `n` bytes that begin `offset` before it, some of them before the piece.
    /// There is room for them. False if that is before the result's first byte.
    bool repeatFar(unsigned char* to, std::uint64_t offset, std::uint64_t n) const {
        const std::uint64_t position = positionOf(to);
        if (offset > position) return false;
        const std::uint64_t from = position - offset;
        const std::uint64_t far = std::min(n, leftBehind - from);
        forEachPiece(from, from + far, [&to](Bytes bytes) {
            std::memcpy(to, bytes.data(), bytes.size());
            to += bytes.size();
        });
        if (n > far) repeat(to, offset, n - far);
        return true;
    }

    /// Calls `act(bytes)` with what was produced from one position to another, a run of it for each piece.
    template <typename Act>
    void forEachPiece(std::uint64_t from, std::uint64_t to, Act act) const {
        std::uint64_t first = 0;
        for (const auto& one : pieces) {
            actOn(Bytes(one.data(), one.size()), first, from, to, act);
            first += one.size();
        }
        actOn(Bytes(piece.data(), piece.size()), first, from, to, act);
    }

    /// All is produced: puts it together. False unless it is as much as was claimed, or if memory is refused.
    bool finish(std::uint64_t produced) { return produced == claimed && (pieces.isEmpty() || gather(produced)); }

 private:
    // Of the 1 MiB, a quarter is for what decoders need beside the result.
    static constexpr std::uint64_t kBelieved = 0xC0000;

    // The end of a piece may not hold what is to be in one piece, so there are not to be many small ones.
    static constexpr std::uint64_t kSmallestPiece = 0x40000;

    template <typename Act>
    static void actOn(Bytes bytes, std::uint64_t first, std::uint64_t from, std::uint64_t to, Act& act) {
        const std::uint64_t begin = std::max(first, from);
        const std::uint64_t end = std::min(first + bytes.size(), to);
        if (begin < end) act(bytes.subspan(begin - first, end - begin));
    }

    // Leaves the piece, if there is anything in it, for an empty one.
    bool beginPiece(std::uint64_t produced, std::uint64_t size) {
        ds::Vector<unsigned char> next;
        if (!next.resizeForOverwrite(size)) return false;
        if (produced > leftBehind) {
            piece.resizeForOverwrite(produced - leftBehind);
            if (!pieces.append(std::move(piece))) return false;
        }
        piece = std::move(next);
        leftBehind = produced;
        held += size;
        return true;
    }

    // Puts what was produced together in one piece, which has room for all that is claimed and so is the last.
    bool gather(std::uint64_t produced) {
        ds::Vector<unsigned char> whole;
        if (!whole.resizeForOverwrite(claimed)) return false;
        unsigned char* to = whole.data();
        forEachPiece(0, produced, [&to](Bytes bytes) { to = std::copy(bytes.begin(), bytes.end(), to); });
        pieces.clear();
        piece = std::move(whole);
        leftBehind = 0;
        return true;
    }

    ds::Vector<ds::Vector<unsigned char>> pieces;  // that are full, in their order
    ds::Vector<unsigned char>& piece;
    std::uint64_t leftBehind = 0;  // bytes in the full ones
    std::uint64_t held = 0;        // by all of them
    std::uint64_t claimed;
    std::uint64_t present;
};

}  // namespace qor::impl
