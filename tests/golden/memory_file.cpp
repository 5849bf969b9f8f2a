#include "golden/memory_file.h"

#include <algorithm>
#include <cstring>

#include "qor/core/fs.h"

namespace qor::fs {

namespace {

using File = test::MemoryFile;

// What stands for the stream is never looked at.
int opened;

}  // namespace

Stream* Fopen(const String&, const String& mode) {
    File::offset = 0;
    return mode == "rb" ? reinterpret_cast<Stream*>(&opened) : nullptr;
}

std::uint64_t Fread(void* to, std::uint64_t size, std::uint64_t count, Stream*) {
    const std::uint64_t left = File::bytes.size() - std::min<std::uint64_t>(File::offset, File::bytes.size());
    const std::uint64_t moved = std::min(count, left / size);
    if (moved > 0) std::memcpy(to, File::bytes.data() + File::offset, moved * size);
    File::offset += moved * size;
    return moved;
}

std::uint64_t Fwrite(const void*, std::uint64_t, std::uint64_t, Stream*) { return 0; }

int Fseek(Stream*, std::int64_t offset, std::uint32_t origin) {
    std::uint64_t base = 0;
    if (origin == kFromCurrent) base = File::offset;
    if (origin == kFromEnd) base = File::bytes.size();
    std::int64_t target = 0;
    if (__builtin_add_overflow(static_cast<std::int64_t>(base), offset, &target) || target < 0) return -1;
    File::offset = static_cast<std::uint64_t>(target);
    return 0;
}

int Fflush(Stream*) { return 0; }

int Fclose(Stream*) { return 0; }

std::int64_t Ftell(Stream*) { return static_cast<std::int64_t>(File::offset); }

}  // namespace qor::fs
