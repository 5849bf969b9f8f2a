// Whatever the content, a zlib stream of ours is restored to it by us and by zlib, and one of zlib's by us.
#include "fuzz/round_trip.h"
#include "qor/core/codec/zlib.h"

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::roundTrip(qor::Compression::Zlib, qor::impl::zlib::encode, qor::impl::zlib::decode, {data, size});
    return 0;
}
