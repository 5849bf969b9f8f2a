// The 1 MiB through which a file's bytes pass, inline in its file, and what of it is not zero.
//
// The buffer is to be all zeros whenever a chunk or a spilled run is done with, so that no stale byte is ever taken for
// content. Writing a megabyte of zeros each time would cost more than the work on a small file, and nearly always the
// next bytes put there cover them unseen. So clearing only remembers: bytes from `live` on count as zeros, and `view`
// writes those zeros down where somebody does look. When a file is closed, what it left in memory is overwritten for
// good.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace qor::impl {

inline constexpr std::uint64_t kStagingSize = 0x100000;

class StagingBuffer {
 public:
    // The megabyte itself is left as it is: no byte of it is live.
    StagingBuffer() {}

    /// Where bytes are put. Whoever puts `n` of them there says so with `keep`, or names them in `clear` and `view`.
    unsigned char* at(std::uint64_t offset) { return bytes + offset; }

    /// Makes the first `end` bytes live; all of them have been put.
    void keep(std::uint64_t end) { live = std::max(live, end); }

    /// The content from `offset` on, of which the caller may look at `n` bytes.
    const unsigned char* view(std::uint64_t offset, std::uint64_t n) {
        if (offset + n > live) {
            std::memset(bytes + live, 0, offset + n - live);
            live = offset + n;
        }
        return bytes + offset;
    }

    /// Makes every byte count as zero. `put` is how many bytes were put there without `keep`.
    void clear(std::uint64_t put = 0) {
        used = std::max({used, live, put});
        live = 0;
    }

    /// Overwrites with zeros whatever is in memory.
    void wipe() {
        clear();
        std::memset(bytes, 0, used);
        used = 0;
    }

 private:
    std::uint64_t live = 0;  // bytes before this one are content; the others count as zeros
    std::uint64_t used = 0;  // bytes from here on are untouched since the last wipe, unless live or put without `keep`
    unsigned char bytes[kStagingSize];
};

}  // namespace qor::impl
