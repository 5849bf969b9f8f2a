// Whatever the content, a Zstandard frame of ours is restored to it by us and by libzstd, and one of libzstd's by us.
#include "fuzz/round_trip.h"
#include "qor/core/codec/zstd.h"

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::roundTrip(qor::Compression::Zstd, qor::impl::zstd::encode, qor::impl::zstd::decode, {data, size});
    return 0;
}
