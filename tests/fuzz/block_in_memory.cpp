// Whatever the bytes, the parsers of a block in memory look at its header and at nothing else, and what they find is
// what stands there.
#include "fuzz/target.h"
#include "qor/file/qor_file.h"

namespace qor::fuzz {
namespace {

constexpr std::size_t kHeaderSize = 21;

// What a parser leaves behind. It begins with what no parser may leave.
struct Found {
    Compression kind = static_cast<Compression>(99);
    unsigned long payloadSize = 99;
    unsigned long contentSize = 99;
    unsigned char* payload = reinterpret_cast<unsigned char*>(this);
    bool isBlock = false;
};

// The number in host byte order, which is how the memory parsers read it.
unsigned long numberAt(View block, std::size_t offset) {
    unsigned long number = 0;
    std::copy_n(block.begin() + static_cast<std::ptrdiff_t>(offset), sizeof(number),
                reinterpret_cast<unsigned char*>(&number));
    return number;
}

Found expected(View block) {
    Found found{Compression::None, 0, 0, nullptr, false};
    if (block[0] != '.' || block[1] < '0' || block[1] > '3') return found;
    found.kind = static_cast<Compression>(block[1] - '0');
    if (block[2] != '.') return found;
    found.contentSize = numberAt(block, 3);
    if (block[11] != '.') return found;
    found.payloadSize = numberAt(block, 12);
    if (block[20] != '.') return found;
    found.payload = const_cast<unsigned char*>(block.data()) + kHeaderSize;
    found.isBlock = true;
    return found;
}

void requireSame(const Found& found, const Found& wanted) {
    require(found.isBlock == wanted.isBlock, "a header is accepted exactly if its marks are right");
    require(found.kind == wanted.kind, "the kind is that of the digit");
    require(found.contentSize == wanted.contentSize, "the uncompressed length is what stands there");
    require(found.payloadSize == wanted.payloadSize, "the compressed length is what stands there");
    require(found.payload == wanted.payload, "the payload begins behind the header");
}

void parse(View bytes) {
    Found found;
    if (bytes.size() >= kHeaderSize) {
        // No more than the header, on the heap, so that the address sanitizer sees where it ends.
        const std::vector<unsigned char> header(bytes.begin(), bytes.begin() + kHeaderSize);
        found.isBlock =
            File::decodeRawFileBlock(header.data(), found.kind, found.payloadSize, found.contentSize, found.payload);
        requireSame(found, expected(header));
    }

    const Vector data = vectorOf(bytes);
    found = Found();
    found.isBlock = File::decodeRawFileData(data, found.kind, found.payloadSize, found.contentSize, found.payload);
    Found wanted{Compression::None, 0, 0, nullptr, false};
    if (data.size() >= kHeaderSize) wanted = expected(viewOf(data));
    wanted.isBlock = wanted.isBlock && data.size() - kHeaderSize == wanted.payloadSize;
    requireSame(found, wanted);
}

}  // namespace
}  // namespace qor::fuzz

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::parse({data, size});
    return 0;
}
