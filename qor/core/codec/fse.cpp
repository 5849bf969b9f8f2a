// FSE: reading the description of a distribution.
#include "qor/core/codec/fse.h"

#include <algorithm>
#include <cassert>

namespace qor::impl::fse {
namespace {

// Bits from the lowest of each byte up. Beyond the end there are zeros; whoever is done asks how far it went.
class ForwardBits {
 public:
    explicit ForwardBits(Bytes from) : size(from.size()) {
        std::copy_n(from.begin(), std::min(from.size(), kMostBytes), bytes);
    }

    // The next `n` bits, at most 16, which stay.
    unsigned peek(int n) const {
        return (load<std::uint32_t>(bytes + position / 8) >> (position % 8)) & ((1u << n) - 1);
    }

    void skip(int n) { position += static_cast<std::size_t>(n); }

    unsigned take(int n) {
        const unsigned value = peek(n);
        skip(n);
        return value;
    }

    std::size_t bytesTaken() const { return (position + 7) / 8; }
    bool isBeyondEnd() const { return bytesTaken() > size; }

 private:
    // A description takes 12 bits for each symbol at most: its share, and that none without rows follow.
    static constexpr std::size_t kMostBytes = 2 + kMaxSymbols * (kMaxAccuracy + 3) / 8;

    unsigned char bytes[kMostBytes + sizeof(std::uint32_t)] = {};
    std::size_t size;
    std::size_t position = 0;
};

// A number from 0 to `largest`, in as few bits as that allows: of the numbers that fit into one bit less, as many as
// would otherwise be left over are written in one bit less.
int takeNumber(ForwardBits& in, int largest) {
    const int width = static_cast<int>(std::bit_width(static_cast<unsigned>(largest)));
    const int shorter = (1 << width) - 1 - largest;
    const int low = static_cast<int>(in.peek(width - 1));
    if (low < shorter) {
        in.skip(width - 1);
        return low;
    }
    const int value = static_cast<int>(in.take(width));
    return value < 1 << (width - 1) ? value : value - shorter;
}

}  // namespace

std::size_t readDistribution(Bytes in, int largestAccuracy, int alphabet, Distribution& distribution) {
    assert(largestAccuracy <= kMaxAccuracy && alphabet <= kMaxSymbols);
    ForwardBits bits(in);
    distribution.accuracy = static_cast<int>(bits.take(4)) + kMinAccuracy;
    if (distribution.accuracy > largestAccuracy) return 0;

    int symbol = 0;
    int symbolsWithRows = 0;
    int left = distribution.rows();
    while (left > 0) {
        if (symbol >= alphabet) return 0;
        // The number written is the share plus 1, so that -1 can be told.
        const int share = takeNumber(bits, left + 1) - 1;
        distribution.shares[symbol++] = static_cast<std::int16_t>(share);
        if (share != 0) {
            left -= share == -1 ? 1 : share;
            ++symbolsWithRows;
            continue;
        }
        // A symbol without rows is followed by the count of those that come next, in steps of 3. Where they are more
        // than there are symbols, the next turn refuses them: rows are left.
        unsigned more;
        do {
            more = bits.take(2);
            symbol += static_cast<int>(more);
        } while (more == 3);
    }
    distribution.symbols = symbol;
    // A table of one symbol has a shorter form wherever a description may stand.
    if (symbolsWithRows < 2) return 0;
    return bits.isBeyondEnd() ? 0 : bits.bytesTaken();
}

}  // namespace qor::impl::fse
