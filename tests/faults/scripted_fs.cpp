// A disk in memory that fails on cue: its files and streams, and the functions that stand in for qor/core/fs.cpp.
#include "faults/scripted_fs.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <utility>

namespace qor::test {

namespace {

// A write that would make a file larger than this finds the disk full.
constexpr std::uint64_t kDiskSize = 16 << 20;

ScriptedFs* installed = nullptr;

// A call that may not be made ends the program.
void require(bool holds, std::string_view claim) {
    if (holds) return;
    std::cerr << "Not so: " << claim << '\n';
    std::abort();
}

}  // namespace

struct Disk::Stream {
    std::shared_ptr<SimulatedFile> file;
    bool writes;
    std::uint64_t offset = 0;
};

std::uint64_t Shortfall::of(std::uint64_t asked) const {
    switch (kind) {
        case ToCount:
            return std::min(count, asked);
        case ByCount:
            return asked - std::min(count, asked);
        case ByHalf:
            return asked / 2;
    }
    return 0;
}

Disk::Disk() = default;
Disk::~Disk() = default;

Disk::SimulatedFile& Disk::at(const std::string& path) {
    std::shared_ptr<SimulatedFile>& file = files[path];
    if (!file) file = std::make_shared<SimulatedFile>();
    return *file;
}

bool Disk::holdsTheSameAs(const Disk& other) const {
    return std::ranges::equal(files, other.files, [](const auto& a, const auto& b) {
        return a.first == b.first && a.second->bytes == b.second->bytes;
    });
}

// ---- The script -----------------------------------------------------------------------------------------------------

Disk::Cue Disk::open(std::uint64_t n) { return {*this, Call::Open, n}; }
Disk::Cue Disk::read(std::uint64_t n) { return {*this, Call::Read, n}; }
Disk::Cue Disk::write(std::uint64_t n) { return {*this, Call::Write, n}; }
Disk::Cue Disk::seek(std::uint64_t n) { return {*this, Call::Seek, n}; }
Disk::Cue Disk::tell(std::uint64_t n) { return {*this, Call::Tell, n}; }
Disk::Cue Disk::flush(std::uint64_t n) { return {*this, Call::Flush, n}; }
Disk::Cue Disk::close(std::uint64_t n) { return {*this, Call::Close, n}; }

void Disk::add(Fault fault) {
    fault.n += callsOf(fault.call);
    std::erase_if(script, [this](const Fault& f) { return !f.everAfter && f.n + f.times - 1 <= callsOf(f.call); });
    script.push_back(fault);
}

// Counts the call, and finds what the script says of it; null if nothing.
const Fault* Disk::cueFor(Call call) {
    const std::uint64_t n = ++counts[static_cast<std::size_t>(call)];
    const auto fault = std::ranges::find_if(
        script, [&](const Fault& f) { return f.call == call && f.n <= n && (f.everAfter || n - f.n < f.times); });
    if (fault == script.end()) return nullptr;
    if (fault->n == n) countsAtFault = counts;
    ++met;
    return &*fault;
}

// ---- The transcript -------------------------------------------------------------------------------------------------

std::string Disk::takeTranscript() { return std::exchange(calls, {}); }

int Disk::note(std::string_view call, int result) {
    if (!calls.empty()) calls += "; ";
    calls += call;
    if (result != 0) calls += " -> " + std::to_string(result);
    return result;
}

std::uint64_t Disk::note(std::string_view call, std::uint64_t asked, std::uint64_t result) {
    note(call, 0);
    calls += ' ' + std::to_string(asked);
    if (result != asked) calls += " -> " + std::to_string(result);
    return result;
}

void Disk::noteSeek(std::int64_t offset, std::uint32_t origin, int result) {
    static constexpr const char* kFrom[] = {"", " from here", " from end"};
    note("seek " + std::to_string(offset) + kFrom[origin], result);
}

// ---- The functions --------------------------------------------------------------------------------------------------

void Disk::mustKnow(const Stream* stream) const {
    const bool isOpen = std::ranges::any_of(streams, [&](const auto& open) { return open.get() == stream; });
    if (!isOpen) require(false, "a call is made on a stream that is open, after: " + calls);
}

Disk::Stream* Disk::Fopen(const std::string& path, const std::string& mode) {
    const bool writes = mode == "wb";
    require(writes || mode == "rb", "a stream is opened for reading or for writing, and as binary");
    if (cueFor(Call::Open) || (!writes && !has(path))) {
        note("open " + mode + " -> null", 0);
        return nullptr;
    }
    note("open " + mode, 0);
    if (writes) at(path).bytes.clear();
    streams.push_back(std::make_unique<Stream>(Stream{files[path], writes}));
    return streams.back().get();
}

std::uint64_t Disk::Fread(void* to, std::uint64_t count, Stream* stream) {
    mustKnow(stream);
    const Fault* fault = cueFor(Call::Read);
    const std::string& bytes = stream->file->bytes;
    const std::uint64_t left = bytes.size() - std::min<std::uint64_t>(stream->offset, bytes.size());
    std::uint64_t moved = fault ? fault->shortfall.of(count) : count;
    moved = stream->writes ? 0 : std::min(moved, left);
    if (moved > 0) std::memcpy(to, bytes.data() + stream->offset, moved);
    stream->offset += moved;
    return note("read", count, moved);
}

std::uint64_t Disk::Fwrite(const void* from, std::uint64_t count, Stream* stream) {
    mustKnow(stream);
    const Fault* fault = cueFor(Call::Write);
    const std::uint64_t room = kDiskSize - std::min(stream->offset, kDiskSize);
    std::uint64_t moved = fault ? fault->shortfall.of(count) : count;
    moved = stream->writes ? std::min(moved, room) : 0;
    if (moved > 0) {
        std::string& bytes = stream->file->bytes;
        if (bytes.size() < stream->offset + moved) bytes.resize(stream->offset + moved);
        std::memcpy(bytes.data() + stream->offset, from, moved);
    }
    stream->offset += moved;
    return note("write", count, moved);
}

int Disk::Fseek(Stream* stream, std::int64_t offset, std::uint32_t origin) {
    mustKnow(stream);
    require(origin <= fs::kFromEnd, "a seek counts from the start, from here or from the end");
    const Fault* fault = cueFor(Call::Seek);
    const SimulatedFile& file = *stream->file;
    const std::uint64_t bases[] = {0, stream->offset, file.claimedLength.value_or(file.bytes.size())};
    std::int64_t target = 0;
    const bool possible =
        !__builtin_add_overflow(static_cast<std::int64_t>(bases[origin]), offset, &target) && target >= 0;
    const int result = fault || !possible ? -1 : 0;
    if (result == 0) stream->offset = static_cast<std::uint64_t>(target);
    noteSeek(offset, origin, result);
    return result;
}

std::int64_t Disk::Ftell(Stream* stream) {
    mustKnow(stream);
    return note("tell", cueFor(Call::Tell) ? -1 : 0) == 0 ? static_cast<std::int64_t>(stream->offset) : -1;
}

int Disk::Fflush(Stream* stream) {
    mustKnow(stream);
    return note("flush", cueFor(Call::Flush) ? -1 : 0);
}

int Disk::Fclose(Stream* stream) {
    mustKnow(stream);
    std::erase_if(streams, [&](const auto& open) { return open.get() == stream; });
    return note("close", cueFor(Call::Close) ? -1 : 0);
}

// ---- The library's disk ---------------------------------------------------------------------------------------------

ScriptedFs::ScriptedFs() {
    require(!installed, "there is one disk at a time");
    installed = this;
}

ScriptedFs::~ScriptedFs() {
    if (openStreams() > 0) require(false, "no stream is left open, after: " + transcript());
    installed = nullptr;
}

}  // namespace qor::test

namespace qor::fs {

namespace {

test::Disk& disk() {
    test::require(test::installed, "a file is used while there is a ScriptedFs");
    return *test::installed;
}

test::Disk::Stream* simulated(Stream* stream) { return reinterpret_cast<test::Disk::Stream*>(stream); }

}  // namespace

Stream* Fopen(const String& path, const String& mode) {
    return reinterpret_cast<Stream*>(disk().Fopen(path.buf(), mode.buf()));
}

std::uint64_t Fread(void* to, std::uint64_t size, std::uint64_t count, Stream* stream) {
    test::require(size == 1, "bytes are moved one by one");
    return disk().Fread(to, count, simulated(stream));
}

std::uint64_t Fwrite(const void* from, std::uint64_t size, std::uint64_t count, Stream* stream) {
    test::require(size == 1, "bytes are moved one by one");
    return disk().Fwrite(from, count, simulated(stream));
}

int Fseek(Stream* stream, std::int64_t offset, std::uint32_t origin) {
    return disk().Fseek(simulated(stream), offset, origin);
}

int Fflush(Stream* stream) { return disk().Fflush(simulated(stream)); }

int Fclose(Stream* stream) { return disk().Fclose(simulated(stream)); }

std::int64_t Ftell(Stream* stream) { return disk().Ftell(simulated(stream)); }

}  // namespace qor::fs
