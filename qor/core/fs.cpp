// The only place that calls stdio.
#include "qor/core/fs.h"

namespace qor::fs {

// std::fseek and std::ftell count in long, which has 64 bits wherever this library compiles.
static_assert(SEEK_SET == kFromStart && SEEK_CUR == kFromCurrent && SEEK_END == kFromEnd);

Stream* Fopen(const String& path, const String& mode) { return std::fopen(path.buf(), mode.buf()); }

std::uint64_t Fread(void* to, std::uint64_t size, std::uint64_t count, Stream* stream) {
    return std::fread(to, size, count, stream);
}

std::uint64_t Fwrite(const void* from, std::uint64_t size, std::uint64_t count, Stream* stream) {
    return std::fwrite(from, size, count, stream);
}

int Fseek(Stream* stream, std::int64_t offset, std::uint32_t origin) {
    return std::fseek(stream, offset, static_cast<int>(origin));
}

int Fflush(Stream* stream) { return std::fflush(stream); }

int Fclose(Stream* stream) { return std::fclose(stream); }

std::int64_t Ftell(Stream* stream) { return std::ftell(stream); }

}  // namespace qor::fs
