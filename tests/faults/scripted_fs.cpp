// A disk in memory that fails on cue: its files and streams, and the functions that stand in for qor/core/fs.cpp.
#include "faults/scripted_fs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <utility>

namespace qor::test {

namespace {

// A write that would make a file larger than this finds the disk full.
constexpr std::uint64_t kDiskSize = 64 << 20;

ScriptedFs* installed = nullptr;

}  // namespace

struct Disk::Stream {
    SimulatedFile* file;
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

bool Disk::holdsTheSameAs(const Disk& other) const {
    return std::ranges::equal(files, other.files, [](const auto& a, const auto& b) {
        return a.first == b.first && a.second.bytes == b.second.bytes;
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
    fault.n += counts[static_cast<std::size_t>(fault.call)];
    script.push_back(fault);
}

// Counts the call, and finds what the script says of it; null if nothing.
const Fault* Disk::cueFor(Call call) {
    const std::uint64_t n = ++counts[static_cast<std::size_t>(call)];
    const auto fault = std::ranges::find_if(
        script, [&](const Fault& f) { return f.call == call && (f.n == n || (f.everAfter && f.n < n)); });
    if (fault == script.end()) return nullptr;
    ++met;
    return &*fault;
}

// ---- The transcript -------------------------------------------------------------------------------------------------

std::string Disk::takeTranscript() { return std::exchange(calls, {}); }

void Disk::note(const std::string& line) {
    if (!calls.empty()) calls += "; ";
    calls += line;
}

int Disk::note(const std::string& call, int result) {
    note(result == 0 ? call : call + " -> " + std::to_string(result));
    return result;
}

std::uint64_t Disk::note(const std::string& call, std::uint64_t asked, std::uint64_t result) {
    const std::string line = call + " " + std::to_string(asked);
    note(result == asked ? line : line + " -> " + std::to_string(result));
    return result;
}

// ---- The functions --------------------------------------------------------------------------------------------------

bool Disk::knows(const Stream* stream) const {
    const bool known = std::ranges::any_of(streams, [&](const auto& open) { return open.get() == stream; });
    EXPECT_TRUE(known) << "a call on a stream that is not open, after: " << calls;
    return known;
}

Disk::Stream* Disk::Fopen(const std::string& path, const std::string& mode) {
    EXPECT_TRUE(mode == "rb" || mode == "wb") << mode;
    const bool writes = mode == "wb";
    if (cueFor(Call::Open) || (!writes && !has(path))) {
        note("open " + mode + " -> null");
        return nullptr;
    }
    note("open " + mode);
    SimulatedFile& file = files[path];
    if (writes) file.bytes.clear();
    streams.push_back(std::make_unique<Stream>(Stream{&file, writes}));
    return streams.back().get();
}

std::uint64_t Disk::Fread(void* to, std::uint64_t count, Stream* stream) {
    if (!knows(stream)) return 0;
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
    if (!knows(stream)) return 0;
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
    if (!knows(stream)) return -1;
    const Fault* fault = cueFor(Call::Seek);
    const SimulatedFile& file = *stream->file;
    std::uint64_t base = 0;
    std::string call = "seek " + std::to_string(offset);
    if (origin == fs::kFromCurrent) {
        base = stream->offset;
        call += " from here";
    } else if (origin == fs::kFromEnd) {
        base = file.claimedLength.value_or(file.bytes.size());
        call += " from end";
    } else {
        EXPECT_EQ(origin, fs::kFromStart);
    }
    std::int64_t target = 0;
    const bool possible = !__builtin_add_overflow(static_cast<std::int64_t>(base), offset, &target) && target >= 0;
    if (fault || !possible) return note(call, -1);
    stream->offset = static_cast<std::uint64_t>(target);
    return note(call, 0);
}

std::int64_t Disk::Ftell(Stream* stream) {
    if (!knows(stream)) return -1;
    return note("tell", cueFor(Call::Tell) ? -1 : 0) == 0 ? static_cast<std::int64_t>(stream->offset) : -1;
}

int Disk::Fflush(Stream* stream) { return knows(stream) ? note("flush", cueFor(Call::Flush) ? -1 : 0) : -1; }

int Disk::Fclose(Stream* stream) {
    if (!knows(stream)) return -1;
    std::erase_if(streams, [&](const auto& open) { return open.get() == stream; });
    return note("close", cueFor(Call::Close) ? -1 : 0);
}

// ---- The library's disk ---------------------------------------------------------------------------------------------

ScriptedFs::ScriptedFs() {
    EXPECT_EQ(installed, nullptr) << "one disk at a time";
    installed = this;
}

ScriptedFs::~ScriptedFs() {
    EXPECT_EQ(openStreams(), 0u) << "a stream was left open: " << transcript();
    installed = nullptr;
}

}  // namespace qor::test

namespace qor::fs {

namespace {

test::Disk& disk() {
    if (!test::installed) {
        std::cerr << "a file was used without a ScriptedFs\n";
        std::abort();
    }
    return *test::installed;
}

test::Disk::Stream* simulated(Stream* stream) { return reinterpret_cast<test::Disk::Stream*>(stream); }

}  // namespace

Stream* Fopen(const String& path, const String& mode) {
    return reinterpret_cast<Stream*>(disk().Fopen(path.buf(), mode.buf()));
}

std::uint64_t Fread(void* to, std::uint64_t size, std::uint64_t count, Stream* stream) {
    EXPECT_EQ(size, 1u);
    return disk().Fread(to, count, simulated(stream));
}

std::uint64_t Fwrite(const void* from, std::uint64_t size, std::uint64_t count, Stream* stream) {
    EXPECT_EQ(size, 1u);
    return disk().Fwrite(from, count, simulated(stream));
}

int Fseek(Stream* stream, std::int64_t offset, std::uint32_t origin) {
    return disk().Fseek(simulated(stream), offset, origin);
}

int Fflush(Stream* stream) { return disk().Fflush(simulated(stream)); }

int Fclose(Stream* stream) { return disk().Fclose(simulated(stream)); }

std::int64_t Ftell(Stream* stream) { return disk().Ftell(simulated(stream)); }

}  // namespace qor::fs
