// A File and its Model taken through the same steps, and compared after each.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "faults/model.h"
#include "faults/scripted_fs.h"
#include "qor/core/string_io.h"
#include "qor/file/qor_file.h"

namespace qor::test {

using Mode = File::Mode;
using Format = File::Format;

// What a step has in hand: the file as the library has it, or as the model does. Either is copied to share the open
// file, and reset to let it go.
using Real = std::optional<File>;
using Twin = std::shared_ptr<Model>;

// ---- What is compared -----------------------------------------------------------------------------------------------

inline std::string shown(bool value) { return value ? "true" : "false"; }
inline std::string shown(unsigned char value) { return std::to_string(value); }
inline std::string shown(std::uint64_t value) { return std::to_string(value); }

// Long texts show their size, a sum of all and their first characters.
inline std::string shown(const std::string& text) {
    if (text.size() <= 100) return '"' + text + '"';
    return std::to_string(text.size()) + " characters of sum " + std::to_string(std::hash<std::string>()(text)) +
           " from \"" + text.substr(0, 20) + '"';
}
inline std::string shown(const String& text) { return shown(std::string(text.view())); }

template <typename Handle>
std::string state(const Handle& file) {
    if (!file) return "no file";
    return "error " + shown(file->error()) + ", len " + shown(file->len()) + ", pos " + shown(file->pos()) + ", eof " +
           shown(file->eof()) + ", format " + shown(static_cast<std::uint64_t>(file->format())) + ", ok " +
           shown(file->ok());
}

// ---- Steps that take more than one expression -----------------------------------------------------------------------

/// Reads a number into a variable that holds 1, or with `>>`, and shows the result and the variable's bytes.
template <typename T, typename Handle>
std::string take(Handle& file, bool streamed = false) {
    T value{1};
    bool done = true;
    if (streamed) {
        *file >> value;
    } else {
        done = file->read(value);
    }
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    std::string text = shown(done);
    for (const unsigned char byte : bytes) text += ' ' + std::to_string(byte);
    return text;
}

/// Reads a text into a variable that holds "before", and shows the result and the variable.
inline std::string takeText(Real& file) {
    String text = "before";
    const bool done = file->read(text);
    return shown(done) + ' ' + shown(text);
}
inline std::string takeText(Twin& file) {
    std::string text = "before";
    const bool done = file->read(text);
    return shown(done) + ' ' + shown(text);
}

/// The same with a standard string.
inline std::string takeStandard(Real& file) {
    std::string text = "before";
    const bool done = file->read(text);
    return shown(done) + ' ' + shown(text);
}
inline std::string takeStandard(Twin& file) { return takeText(file); }

/// The same with a string builder.
inline std::string takeBuilt(Real& file) {
    StringIO text;
    text = "before";
    const bool done = file->read(text);
    return shown(done) + ' ' + shown(std::string(text.buf()));
}
inline std::string takeBuilt(Twin& file) {
    std::string text = "before";
    const bool done = file->readInto(text);
    return shown(done) + ' ' + shown(text);
}

/// A block as a binary file holds it, or as a text file does.
inline std::string block(std::string_view bytes, Compression kind, bool asText = false) {
    const auto payload = compress(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), asText, kind);
    const auto length = [&](std::uint64_t n) {
        if (asText) return std::to_string(n) + '.';
        std::string text;
        for (int shift = 0; shift < 64; shift += 8) text += static_cast<char>(n >> shift & 0xff);
        return text + '.';
    };
    return ".1." + length(bytes.size()) + length(payload.size()) + std::string(payload.begin(), payload.end());
}

/// Writes a block, and reads one into `before`.
template <typename Handle>
std::string putBlock(Handle& file, const std::string& bytes, Compression kind) {
    return shown(file->write(bytes.data(), bytes.size(), kind));
}
inline std::string takeBlock(Real& file, Compression kind, std::string_view before = "before") {
    ds::Vector<unsigned char> bytes;
    bytes.resize(before.size());
    std::copy(before.begin(), before.end(), bytes.begin());
    const bool done = file->read(bytes, kind);
    return shown(done) + ' ' + shown(std::string(bytes.begin(), bytes.end()));
}
inline std::string takeBlock(Twin& file, Compression kind, std::string_view before = "before") {
    std::string bytes(before);
    const bool done = file->readBlock(bytes, kind);
    return shown(done) + ' ' + shown(bytes);
}

/// What the parsers of blocks in memory find in these bytes, of which there are at least 21.
template <typename Layer>
std::string decoded(const std::string& bytes) {
    ds::Vector<unsigned char> data;
    data.resize(bytes.size());
    std::copy(bytes.begin(), bytes.end(), data.begin());
    Compression kind{99};
    unsigned long payloadSize = 99, size = 99;
    unsigned char* payload = data.data() + 1;
    const auto found = [&](bool done) {
        return shown(done) + ' ' + std::to_string(static_cast<int>(kind)) + ' ' + std::to_string(payloadSize) + ' ' +
               std::to_string(size) + ' ' + (payload ? std::to_string(payload - data.data()) : "nowhere") + "; ";
    };
    std::string text = found(Layer::decodeRawFileBlock(data.data(), kind, payloadSize, size, payload));
    return text + found(Layer::decodeRawFileData(data, kind, payloadSize, size, payload));
}

/// How an array lies in memory: item k at `start + offset + k * stride`, where memory begins at 0.
struct Layout {
    std::uint64_t stride = 0;
    std::uint64_t offset = 0;
    std::uint64_t start = 0;
};

inline BufRef refOf(std::string& memory, DataType type, std::uint64_t count, const Layout& layout) {
    return {.ptr = memory.data() + layout.start,
            .type = type,
            .count = count,
            .stride = layout.stride,
            .offset = layout.offset};
}

/// Writes the array that lies in these bytes of memory.
template <typename Handle>
std::string putArray(Handle& file, DataType type, std::uint64_t count, std::string memory, bool compress = false,
                     const Layout& layout = {}) {
    return shown(file->write(refOf(memory, type, count, layout), compress));
}

/// Reads an array into `size` bytes of memory, and shows the result and all of the memory.
template <typename Handle>
std::string takeArray(Handle& file, DataType type, std::uint64_t count, std::size_t size, const Layout& layout = {}) {
    std::string memory(size, '\x5a');
    const bool done = file->read(refOf(memory, type, count, layout));
    return shown(done) + ' ' + shown(memory);
}

/// Reads a record into one that holds 0.5 everywhere, and shows the result and its bytes.
template <typename Value, typename Handle>
std::string takeRecord(Handle& file) {
    Value value;
    for (double& component : value) component = 0.5;
    const bool done = file->read(value);
    return shown(done) + ' ' + shown(std::string(reinterpret_cast<const char*>(value.data()), sizeof(value)));
}

/// Writes a number or a record, or with `<<`.
template <typename Value, typename Handle>
std::string put(Handle& file, const Value& value, bool streamed) {
    if (!streamed) return shown(file->write(value));
    *file << value;
    return "streamed";
}

template <typename Handle>
bool printSum(Handle& file, int a, int b) {
    return file->printLn("%d + %d = %d", a, b, a + b);
}

template <typename Handle>
bool share(Handle& file, Handle& copy) {
    copy = file;
    return true;
}

template <typename Handle>
bool letGo(Handle& file) {
    file.reset();
    return true;
}

/// A closed file in the place of what the handle had.
inline bool anew(Real& file, Disk&) {
    file.emplace();
    return true;
}
inline bool anew(Twin& file, Disk& disk) {
    file = std::make_shared<Model>(disk);
    return true;
}

inline bool change(Disk& disk, std::string_view bytes) {
    disk.make("simulated/a", bytes);
    return true;
}

/// A step that keeps nothing: lists of many hundreds of them compile quickly.
struct PlainStep {
    const char* name;
    std::string (*onReal)(Real& file, Real& copy, Disk& disk);
    std::string (*onModel)(Twin& file, Twin& copy, Disk& disk);
};

/// One step, written once for both. It shows its result as text.
class Step {
 public:
    template <typename Act>
    Step(std::string stepName, Act act) : name(std::move(stepName)), onReal(act), onModel(act) {}
    Step(const PlainStep& step) : name(step.name), onReal(step.onReal), onModel(step.onModel) {}

    std::string name;
    std::function<std::string(Real& file, Real& copy, Disk& disk)> onReal;
    std::function<std::string(Twin& file, Twin& copy, Disk& disk)> onModel;
};

template <typename Act>
constexpr PlainStep plainStep(const char* name, Act act) {
    return {name, act, act};
}

// A step that is one expression over `file`, `copy` and `disk`.
#define QOR_STEP(...)                                                                                               \
    ::qor::test::plainStep(#__VA_ARGS__, [](auto& file, [[maybe_unused]] auto& copy, [[maybe_unused]] auto& disk) { \
        static_cast<void>(file);                                                                                    \
        return ::qor::test::shown(__VA_ARGS__);                                                                     \
    })

/// Both files, each on a disk of its own.
class SideBySide {
 public:
    using Prepare = std::function<void(Disk& disk)>;

    /// `prepare` makes the files and the script of either disk.
    explicit SideBySide(const Prepare& prepare) {
        anew(real, disk);
        anew(model, modelDisk);
        prepare(disk);
        prepare(modelDisk);
    }

    /// The difference that the step makes, or nothing.
    std::string after(const Step& step) {
        const std::string library = take(step.onReal(real, realCopy, disk), real, realCopy, disk);
        const std::string expected = take(step.onModel(model, modelCopy, modelDisk), model, modelCopy, modelDisk);
        if (library != expected) return step.name + "\n  library: " + library + "\n  model:   " + expected;
        // Only a stream that is written to, or opened for it, changes a file.
        const bool writes = library.find("; write ") != library.npos || library.find(": write ") != library.npos;
        return !writes || disk.holdsTheSameAs(modelDisk) ? "" : step.name + "\n  the files differ";
    }

    /// Lets all handles go and gives the difference, in the calls or in the files.
    std::string atTheEnd() {
        const std::string difference =
            after({"the end", [](auto& file, auto& copy, auto&) { return shown(letGo(file) && letGo(copy)); }});
        if (!difference.empty()) return difference;
        return disk.holdsTheSameAs(modelDisk) ? "" : "the files differ";
    }

    ScriptedFs disk;
    Disk modelDisk;

 private:
    template <typename Handle>
    static std::string take(const std::string& result, const Handle& file, const Handle& copy, Disk& on) {
        return result + ", " + state(file ? file : copy) + ", calls: " + on.takeTranscript();
    }

    Real real, realCopy;
    Twin model, modelCopy;
};

}  // namespace qor::test
