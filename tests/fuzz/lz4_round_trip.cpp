// Whatever the content, an LZ4 frame of ours is restored to it by us and by liblz4, and one of liblz4's by us.
#include "fuzz/round_trip.h"
#include "qor/core/codec/lz4_frame.h"

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::roundTrip(qor::Compression::Lz4, qor::impl::lz4::encode, qor::impl::lz4::decode, {data, size});
    return 0;
}
