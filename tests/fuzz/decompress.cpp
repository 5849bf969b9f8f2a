// Whatever the payload and whatever size it is said to expand to, decompress() gives exactly so many bytes or none, and
// takes no memory to speak of for bytes that the payload does not hold.
//
// The first byte says whether the payload is text, the next 8 are the size, low byte first.
#include "fuzz/target.h"
#include "qor/core/endian.h"

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace qor::fuzz;
    if (size < 9) return 0;
    std::uint64_t claimed = 0;
    qor::loadLittle(data + 1, claimed);
    const Vector payload = vectorOf({data + 9, size - 9});
    const Vector content = qor::decompress(payload, data[0] % 2 == 1, claimed);
    require(content.isEmpty() || content.size() == claimed, "the size is the claimed one or 0");
    require(!content.isEmpty() || content.capacity() == 0, "nothing is kept of what is refused");
    return 0;
}
