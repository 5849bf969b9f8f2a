// Whatever the bytes, their Base64 is decoded to them; and whatever the text, it is the Base64 of what it is decoded
// to.
#include "qor/core/codec/base64.h"

#include "fuzz/target.h"

namespace qor::fuzz {
namespace {

void armour(View bytes) {
    Vector text;
    Vector again;
    require(impl::encodeBase64(bytes, text), "all bytes are encoded");
#if QOR_HAS_PEERS
    require(equal(viewOf(text), test::peerBase64(bytes)), "the text is Base64");
#endif
    require(impl::decodeBase64(viewOf(text), again), "what was encoded is decoded");
    require(equal(viewOf(again), bytes), "what was encoded is decoded to the same");
}

void disarm(View text) {
    Vector bytes;
    Vector again;
    if (!impl::decodeBase64(text, bytes)) return;
    require(impl::encodeBase64(viewOf(bytes), again), "all bytes are encoded");
    require(equal(viewOf(again), text), "each byte string has one text");
}

}  // namespace
}  // namespace qor::fuzz

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::armour({data, size});
    qor::fuzz::disarm({data, size});
    return 0;
}
