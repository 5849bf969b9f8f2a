// A disk in memory that fails on cue, and that takes the place of qor/core/fs.cpp in a test program.
//
//     ScriptedFs disk;
//     disk.write(1).takesOnly(2);
//     ...                                // a File writes 4 bytes and is closed
//     disk.transcript();                 // "open wb; write 4 -> 2; flush; tell; close"
//
// The program that holds scripted_fs.cpp defines every function of qor/core/fs.h, so the linker never takes the
// library's own. Files live under names that no real disk has ("simulated/a.bin"), because opening asks the real file
// system first whether a path names a file.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qor/core/fs.h"

namespace qor::test {

enum class Call { Open, Read, Write, Seek, Tell, Flush, Close };

/// How far short a call falls that is told to fail. Only a read or a write can do part of its work.
struct Shortfall {
    enum Kind { ToCount, ByCount, ByHalf } kind;
    std::uint64_t count = 0;

    /// What is left of a call for `asked` items.
    std::uint64_t of(std::uint64_t asked) const;
};

/// Which calls of one function fail: the n-th from now, and on request some or all after it.
struct Fault {
    Call call;
    std::uint64_t n;
    bool everAfter = false;
    Shortfall shortfall = {Shortfall::ToCount, 0};
    std::uint64_t times = 1;
};

/// Simulated files, the streams open on them, the script, and the transcript of the calls.
class Disk {
 public:
    class Cue;
    struct Stream;

    Disk();
    ~Disk();
    Disk(const Disk&) = delete;
    Disk& operator=(const Disk&) = delete;

    // ---- Files ------------------------------------------------------------------------------------------------------

    /// Makes a file, or gives one other bytes. It may be changed while it is open, as any file may.
    void make(const std::string& path, std::string_view bytes) { at(path).bytes = bytes; }

    /// Takes the name away. A stream that is open goes on with the file that it has.
    void remove(const std::string& path) { files.erase(path); }

    /// Lets the end of the file be `length` bytes from its start, whatever it holds, as a directory's or a device's is.
    void claimLength(const std::string& path, std::uint64_t length) { at(path).claimedLength = length; }

    bool has(const std::string& path) const { return files.contains(path); }
    const std::string& content(const std::string& path) const { return files.at(path)->bytes; }

    /// True if both disks hold the same files of the same bytes.
    bool holdsTheSameAs(const Disk& other) const;

    // ---- The script -------------------------------------------------------------------------------------------------

    /// The n-th call of a function from now: `disk.tell(1).fails()`, `disk.write(3).andLater().takesHalf()`,
    /// `disk.read(2).times(5).fails()`.
    Cue open(std::uint64_t n);
    Cue read(std::uint64_t n);
    Cue write(std::uint64_t n);
    Cue seek(std::uint64_t n);
    Cue tell(std::uint64_t n);
    Cue flush(std::uint64_t n);
    Cue close(std::uint64_t n);

    void add(Fault fault);

    /// From now on nothing fails.
    void mend() { script.clear(); }

    // ---- What happened ----------------------------------------------------------------------------------------------

    /// The calls so far, in order: "open wb; write 4; flush; tell; close". A seek names its origin unless that is the
    /// start: "seek 0 from end", "seek 4 from here". A result is shown where it is not the one asked for:
    /// "open rb -> null", "read 8 -> 3", "tell -> -1".
    const std::string& transcript() const { return calls; }

    /// The calls since the last time this was asked.
    std::string takeTranscript();

    std::uint64_t faultsMet() const { return met; }
    std::size_t openStreams() const { return streams.size(); }

    /// How often a function has been called, and how often it had been when a call last failed on cue.
    std::uint64_t callsOf(Call call) const { return counts[static_cast<std::size_t>(call)]; }
    std::uint64_t callsUntilTheLastFault(Call call) const { return countsAtFault[static_cast<std::size_t>(call)]; }

    // ---- The functions of qor/core/fs.h -----------------------------------------------------------------------------

    Stream* Fopen(const std::string& path, const std::string& mode);
    std::uint64_t Fread(void* to, std::uint64_t count, Stream* stream);
    std::uint64_t Fwrite(const void* from, std::uint64_t count, Stream* stream);
    int Fseek(Stream* stream, std::int64_t offset, std::uint32_t origin);
    std::int64_t Ftell(Stream* stream);
    int Fflush(Stream* stream);
    int Fclose(Stream* stream);

 private:
    struct SimulatedFile {
        std::string bytes;
        std::optional<std::uint64_t> claimedLength;
    };

    using Counts = std::array<std::uint64_t, 7>;

    SimulatedFile& at(const std::string& path);
    const Fault* cueFor(Call call);
    void mustKnow(const Stream* stream) const;
    int note(std::string_view call, int result);
    std::uint64_t note(std::string_view call, std::uint64_t asked, std::uint64_t result);
    void noteSeek(std::int64_t offset, std::uint32_t origin, int result);

    std::map<std::string, std::shared_ptr<SimulatedFile>> files;
    std::vector<std::unique_ptr<Stream>> streams;
    std::vector<Fault> script;
    Counts counts = {};
    Counts countsAtFault = {};
    std::uint64_t met = 0;
    std::string calls;
};

/// One call of the script, or several in a row, or that call and all after it.
class Disk::Cue {
 public:
    Cue(Disk& disk, Call call, std::uint64_t n) : on(disk), fault{call, n} {}

    Cue andLater() {
        fault.everAfter = true;
        return *this;
    }

    Cue times(std::uint64_t count) {
        fault.times = count;
        return *this;
    }

    /// Moves no item, or gives the function's own sign of failure. A stream is gone after its close, failed or not.
    void fails() { takesOnly(0); }

    void takesOnly(std::uint64_t count) { put({Shortfall::ToCount, count}); }
    void isShortBy(std::uint64_t count) { put({Shortfall::ByCount, count}); }
    void takesHalf() { put({Shortfall::ByHalf}); }

 private:
    void put(Shortfall shortfall) {
        fault.shortfall = shortfall;
        on.add(fault);
    }

    Disk& on;
    Fault fault;
};

/// The disk that the library's calls go to while this object lives.
class ScriptedFs : public Disk {
 public:
    ScriptedFs();
    ~ScriptedFs();
};

}  // namespace qor::test
