// Whatever the bytes, decoding them as a Zstandard frame touches nothing outside its buffers, and what is accepted
// libzstd accepts with the same content.
#include "qor/core/codec/zstd.h"

#include "fuzz/target.h"

namespace qor::fuzz {
namespace {

// The content size in the frame's header, if it has one (RFC 8878, 3.1.1.1).
std::vector<std::uint64_t> claimsOf(View payload) {
    std::vector<std::uint64_t> fixed = {1, 100, kMost};
    if (payload.size() < 16) return fixed;
    const unsigned descriptor = payload[4];
    const bool isSingleSegment = (descriptor & 32) != 0;
    constexpr std::size_t kDictionarySizes[] = {0, 1, 2, 4};
    const unsigned char* const field =
        payload.data() + 5 + (isSingleSegment ? 0 : 1) + kDictionarySizes[descriptor & 3];
    switch (descriptor >> 6) {
        case 0:
            if (isSingleSegment) fixed = {*field};
            break;
        case 1:
            if (payload.size() > 32) fixed = {impl::load<std::uint16_t>(field) + 256U};
            break;
        case 2:
            if (payload.size() > 32) fixed = {std::min<std::uint64_t>(impl::load<std::uint32_t>(field), kMost)};
            break;
        default:
            if (payload.size() > 32) fixed = {std::min<std::uint64_t>(impl::load<std::uint64_t>(field), kMost)};
    }
    return fixed;
}

void decode(View payload) {
    Vector content;
    for (const std::uint64_t size : claimsOf(payload)) {
        if (!decodes(impl::zstd::decode, payload, size, content)) continue;
#if QOR_HAS_PEERS
        const auto theirs = test::peerDecode(Compression::Zstd, payload, size);
        require(theirs.has_value(), "libzstd accepts what is accepted");
        require(equal(viewOf(content), *theirs), "libzstd gives the same");
#endif
    }
}

}  // namespace
}  // namespace qor::fuzz

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::decode({data, size});
    return 0;
}
