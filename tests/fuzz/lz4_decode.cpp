// Whatever the bytes, decoding them as an LZ4 frame touches nothing outside its buffers, and gives what liblz4 gives
// wherever both accept them.
#include "qor/core/codec/lz4_frame.h"

#include "fuzz/target.h"

namespace qor::fuzz {
namespace {

// The content size in the frame's header, if it has one.
std::vector<std::uint64_t> claimsOf(View payload) {
    if (payload.size() < 14 || (payload[4] & 8) == 0) return {1, 100, 70'000};
    return {std::min<std::uint64_t>(impl::load<std::uint64_t>(payload.data() + 6), kMost)};
}

void decode(View payload) {
    Vector content;
    for (const std::uint64_t size : claimsOf(payload)) decodes(impl::lz4::decode, payload, size, content);
#if QOR_HAS_PEERS
    const auto theirs = test::peerDecode(Compression::Lz4, payload, kMost);
    if (theirs && decodes(impl::lz4::decode, payload, theirs->size(), content)) {
        require(equal(viewOf(content), *theirs), "liblz4 gives the same");
    }
#endif
}

}  // namespace
}  // namespace qor::fuzz

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::decode({data, size});
    return 0;
}
