// Whatever the bytes, decoding them as a zlib stream touches nothing outside its buffers, and once their checksum is
// put right they are accepted exactly if zlib accepts them, with the same content.
#include "qor/core/codec/zlib.h"

#include "fuzz/target.h"

namespace qor::fuzz {
namespace {

void decode(View payload) {
    Vector content;
    for (const std::uint64_t size : {1U, 100U, 40'000U}) decodes(impl::zlib::decode, payload, size, content);
#if QOR_HAS_PEERS
    const auto repaired = test::withRightChecksum(payload, kMost);
    if (!repaired) return;
    const auto theirs = test::peerDecode(Compression::Zlib, *repaired, kMost);
    const std::size_t size = theirs ? theirs->size() : 100;
    if (size == 0) return;
    const bool done = decodes(impl::zlib::decode, *repaired, size, content);
    require(!done || theirs, "zlib refuses what is refused");
    // zlib lets a distance reach further back than the window that the stream asks for, as long as its own is larger.
    const bool asksForTheLargest = repaired->front() == 0x78;
    require(done || !theirs || !asksForTheLargest, "what zlib accepts is accepted");
    require(!done || equal(viewOf(content), *theirs), "zlib gives the same");
#endif
}

}  // namespace
}  // namespace qor::fuzz

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::decode({data, size});
    return 0;
}
