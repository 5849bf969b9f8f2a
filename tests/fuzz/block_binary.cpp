// A block in a binary file: block.h says what has to hold.
#include "fuzz/block.h"

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::readBlock({data, size}, qor::File::Format::Binary);
    return 0;
}
