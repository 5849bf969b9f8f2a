#include "fuzz/memory_disk.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace qor::fuzz {
namespace {

struct Stream {
    bool writes = false;
    bool isAtToldEnd = false;  // where a move to the end went
    std::uint64_t offset = 0;
};

Stream& streamOf(fs::Stream* stream) { return *reinterpret_cast<Stream*>(stream); }

std::uint64_t sizeOf(const Stream& stream) { return stream.writes ? disk.written.size() : disk.content.size(); }

constexpr std::uint64_t kChunk = 0x100000;

// One for all inputs, since a File takes longer to make than most inputs take to read.
File& reused() {
    static File file;
    return file;
}

}  // namespace

TriedFile::TriedFile(View input, File::Format format) : file(reused()) {
    Choices choices(input);
    const unsigned how = choices.byte();
    const std::uint64_t filler = (how & 12) == 12 ? kChunk - 1 - choices.byte() : 0;
    bytes = choices.rest();
    // What is tried lies behind the filler, of which the file has as much as it is to have.
    static std::vector<unsigned char> memory(kChunk, '#');
    memory.resize(kChunk);
    memory.insert(memory.end(), bytes.begin(), bytes.end());
    disk.content = View(memory).subspan(kChunk - filler);
    disk.length = (how & 3) == 2 ? Disk::Told::TooMuch : (how & 3) == 3 ? Disk::Told::Nothing : Disk::Told::Right;
    require(file.open("in", File::Mode::Read, format), "a file can be opened");
    if (filler > 0) {
        static std::vector<unsigned char> skipped(kChunk);
        const bool done = file.read(std::span(skipped).first(filler), Compression::None);
        require(done || !isMeasured(), "what lies before can be read");
    }
    start = file.pos();
}

}  // namespace qor::fuzz

// ---- The functions of qor/core/fs.h ---------------------------------------------------------------------------------

namespace qor::fs {

using fuzz::disk;
using fuzz::streamOf;

Stream* Fopen(const String&, const String& mode) {
    static fuzz::Stream reading;
    static fuzz::Stream writing;
    const bool writes = mode == "wb";
    if (writes) disk.written.clear();
    fuzz::Stream& stream = writes ? writing : reading;
    stream = {writes, false, 0};
    return reinterpret_cast<Stream*>(&stream);
}

std::uint64_t Fread(void* to, std::uint64_t, std::uint64_t count, Stream* file) {
    fuzz::Stream& stream = streamOf(file);
    const std::uint64_t left = disk.content.size() - std::min<std::uint64_t>(stream.offset, disk.content.size());
    const std::uint64_t n = std::min(count, left);
    if (n > 0) std::memcpy(to, disk.content.data() + stream.offset, n);
    stream.offset += n;
    return n;
}

std::uint64_t Fwrite(const void* from, std::uint64_t, std::uint64_t count, Stream*) {
    const auto* const bytes = static_cast<const unsigned char*>(from);
    disk.written.insert(disk.written.end(), bytes, bytes + count);
    return count;
}

int Fseek(Stream* file, std::int64_t offset, std::uint32_t origin) {
    fuzz::Stream& stream = streamOf(file);
    const std::uint64_t from = origin == kFromStart ? 0 : origin == kFromCurrent ? stream.offset : sizeOf(stream);
    stream.isAtToldEnd = origin == kFromEnd;
    stream.offset = from + static_cast<std::uint64_t>(offset);
    return 0;
}

int Fflush(Stream*) { return 0; }

int Fclose(Stream*) { return 0; }

std::int64_t Ftell(Stream* file) {
    const fuzz::Stream& stream = streamOf(file);
    if (stream.isAtToldEnd && disk.length == fuzz::Disk::Told::TooMuch) return std::numeric_limits<std::int64_t>::max();
    if (stream.isAtToldEnd && disk.length == fuzz::Disk::Told::Nothing) return -1;
    return static_cast<std::int64_t>(stream.offset);
}

}  // namespace qor::fs
