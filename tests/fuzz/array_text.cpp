// A typed array in a text file: array.h says what has to hold.
#include "fuzz/array.h"

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::readArray({data, size}, qor::File::Format::Text);
    return 0;
}
