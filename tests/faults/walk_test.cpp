// The walk: operations drawn at random, on a disk that fails at random, against the model after each of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <random>
#include <utility>

#include "faults/side_by_side.h"

namespace qor::test {
namespace {

constexpr std::uint64_t kBuffer = 0x100000;
constexpr int kOperations = 20'000;

/// Draws steps. The same seed draws the same ones on every host.
class Walk {
 public:
    explicit Walk(std::uint64_t seed) : random(seed) {
        for (char& byte : pool) byte = static_cast<char>(1 + below(255));
    }

    Step next(bool isOpen) {
        if (!isOpen && below(4)) return open();
        switch (below(24)) {
            case 0:
                return below(2) ? open() : named("close", [](auto& file) { return shown(file->close()); });
            case 1:
                return named("flush", [](auto& file) { return shown(file->flush()); });
            case 2:
                return named("peek", [](auto& file) { return shown(file->peek()); });
            case 3:
                return named("read()", [](auto& file) { return shown(file->read()); });
            case 4:
                return seek();
            case 5:
                return changeFile();
            case 6:
                return fault();
            default:
                return writesNext() ? write() : read();
        }
    }

 private:
    std::uint64_t below(std::uint64_t limit) { return random() % limit; }
    int number() { return static_cast<int>(below(0x100000000)); }

    template <typename Act>
    static Step named(std::string name, Act act) {
        return {std::move(name), [act](auto& file, auto&, auto&) { return act(file); }};
    }

    // Small mostly, and then about as much as the buffer holds, or more.
    std::uint64_t size() {
        switch (below(20)) {
            case 0:
                return kBuffer - 6 + below(12);
            case 1:
                return kBuffer / 3;
            case 2:
                return 2 * kBuffer + below(5000);
            default:
                return below(40);
        }
    }

    // Some of a pool of bytes, none of them zero.
    std::string bytes(std::uint64_t n) { return pool.substr(below(1000), n); }

    // Numbers and words with spaces between them, one or more, and now and then a zero byte.
    std::string numbers(std::uint64_t n) {
        static constexpr const char* kWords[] = {"true", "false", "-0", "nan", "inf", "1e-3", "0.1", "x", "", "."};
        std::string text;
        for (; n > 0; --n) {
            if (below(30) == 0) text += '\0';
            text += below(4) ? std::to_string(number() >> below(32)) : kWords[below(std::size(kWords))];
            if (below(20)) text += ' ';
        }
        return text;
    }

    /// What a file may hold: text records, some of which claim too much, blocks, numbers, and other bytes.
    std::string content() {
        std::string file;
        for (std::uint64_t n = below(4); n > 0; --n) {
            if (below(4) == 0) {
                file += numbers(size() / 4);
                continue;
            }
            if (below(3) == 0) {
                file += block(bytes(below(200)), kind(), below(2));
                if (below(4) == 0) file[below(file.size())] ^= static_cast<char>(1 << below(8));
                continue;
            }
            const std::string text = bytes(size());
            const std::uint64_t claimed = below(8) ? text.size() : random() >> below(64);
            for (int i = 0; i < 8; ++i) file += static_cast<char>(claimed >> (8 * i));
            file += text;
        }
        return file + bytes(below(30));
    }

    Step open() {
        static constexpr std::uint32_t kModes[] = {0, 0, 0, 1, 1, 2, 2, 7};
        mode = static_cast<Mode>(kModes[below(8)]);
        const auto format = static_cast<Format>(below(20) ? below(2) : 2);
        const std::string path = below(10) ? "simulated/a" : below(2) ? "simulated/b" : "simulated/none";
        return named("open " + path + " in mode " + std::to_string(static_cast<int>(mode)) + " and format " +
                         std::to_string(static_cast<int>(format)),
                     [=, now = mode](auto& file) { return shown(file->open(path.c_str(), now, format)); });
    }

    // What the mode refuses is tried too, but rarely.
    bool writesNext() {
        if (mode == Mode::Write) return below(20) > 0;
        if (mode == Mode::Read) return below(20) == 0;
        return below(2) > 0;
    }

    // None, the three, and now and then one that is not there.
    Compression kind() { return static_cast<Compression>(below(20) ? below(4) : 4); }

    Step write() {
        if (below(5) == 0) return writeArray();
        if (below(20) == 0) return writeRecord();
        if (below(6) == 0) {
            return named("write a block",
                         [text = bytes(size()), k = kind()](auto& file) { return putBlock(file, text, k); });
        }
        if (below(3)) return writeNumber();
        if (below(5)) return writeText();
        return named("printSum", [a = number() % 1000](auto& file) { return shown(printSum(file, a, 7)); });
    }

    Step read() {
        if (below(5) == 0) return readArray();
        if (below(20) == 0) return readRecord();
        if (below(6) == 0) {
            const std::string before = below(2) ? bytes(size()) : "";
            return named("read a block", [before, k = kind()](auto& file) { return takeBlock(file, k, before); });
        }
        if (below(3)) return readNumber();
        if (below(2)) return named("read a text", [](auto& file) { return takeText(file); });
        return named("read into a builder", [](auto& file) { return takeBuilt(file); });
    }

    /// An array and the size of the memory that all of it lies in.
    struct Array {
        DataType type;
        std::uint64_t count;
        Layout layout;
        std::uint64_t memory;

        std::string shown() const {
            return std::to_string(count) + " values of type " + std::to_string(static_cast<int>(type)) + ", stride " +
                   std::to_string(static_cast<std::int64_t>(layout.stride)) + ", offset " +
                   std::to_string(static_cast<std::int64_t>(layout.offset)) + ", start " + std::to_string(layout.start);
        }
    };

    // Any type, now and then none; packed, with gaps, overlapping, or backwards; at any address.
    Array array() {
        Array array = {};
        array.type = static_cast<DataType>(below(40) ? 1 + below(59) : below(62));
        const auto value = static_cast<std::uint32_t>(array.type);
        const std::uint64_t itemSize = value < 60 ? kElementTypes[value].size : 8;
        array.count = below(50) ? std::min(size(), kBuffer + 100) / std::max<std::uint64_t>(itemSize, 4) : below(2);
        const std::uint64_t steps = array.count > 0 ? array.count - 1 : 0;
        std::uint64_t step = itemSize;
        switch (below(6)) {
            case 0:
                array.layout.stride = step = itemSize + below(9);
                break;
            case 1:
                array.layout.stride = step = 1 + below(itemSize);
                break;
            case 2:
                step = 1 + below(itemSize + 9);
                array.layout.stride = 0 - step;
                array.layout.offset = steps * step;
                break;
            default:
                break;
        }
        // The offset leads there forwards or backwards. Texts and blocks restore it packed, from here or from there on.
        array.layout.offset += below(9);
        const std::uint64_t first = array.layout.offset;
        if (below(4) == 0) {
            array.layout.start = first + below(9);
            array.layout.offset = first - array.layout.start;
        }
        array.memory = std::max(first, array.layout.start) + steps * std::max(step, itemSize) + itemSize;
        return array;
    }

    Step writeArray() {
        const Array a = array();
        const bool compress = below(2);
        std::string memory = below(2) ? bytes(a.memory) : numbers(a.memory);
        memory.resize(a.memory);
        return named("write " + a.shown(),
                     [=](auto& file) { return putArray(file, a.type, a.count, memory, compress, a.layout); });
    }

    Step readArray() {
        const Array a = array();
        return named("read " + a.shown(),
                     [=](auto& file) { return takeArray(file, a.type, a.count, a.memory, a.layout); });
    }

    double component() { return number() / static_cast<double>(1 + below(1000)); }

    Step writeRecord() {
        const double a = component(), b = component(), c = component();
        switch (below(4)) {
            case 0:
                return named("write a Vec2d", [=](auto& file) { return shown(file->write(math::Vec2d(a, b))); });
            case 1:
                return named("write a Pos3d", [=](auto& file) { return shown(file->write(math::Pos3d(a, b, c))); });
            case 2:
                return named("write a Quatd", [=](auto& file) { return shown(file->write(math::Quatd(a, b, c, a))); });
            default:
                return named("write a Mat3d",
                             [=](auto& file) { return shown(file->write(math::Mat3d(a, b, c, c, a, b, b, c, a))); });
        }
    }

    Step readRecord() {
        switch (below(4)) {
            case 0:
                return named("read a Pos2d", [](auto& file) { return takeRecord<math::Pos2d>(file); });
            case 1:
                return named("read a Vec3d", [](auto& file) { return takeRecord<math::Vec3d>(file); });
            case 2:
                return named("read a Rgbad", [](auto& file) { return takeRecord<math::Rgbad>(file); });
            default:
                return named("read a Mat4d", [](auto& file) { return takeRecord<math::Mat4d>(file); });
        }
    }

    Step seek() {
        static constexpr std::int64_t kFar[] = {0, kBuffer, -1, INT64_MAX - 9, INT64_MIN};
        const std::int64_t offset = kFar[below(50) ? below(2) : below(5)] + static_cast<std::int64_t>(below(12)) / 2;
        const std::string where = std::to_string(offset);
        if (below(3)) return named("seek " + where, [=](auto& file) { return shown(file->seek(offset)); });
        return named("skip " + where, [=](auto& file) { return shown(file->skip(offset)); });
    }

    Step writeNumber() {
        const std::string name = "write number ";
        const int i = number();
        switch (below(6)) {
            case 0:
                return named(name + "1", [=](auto& file) { return shown(file->write(static_cast<char>(i))); });
            case 1:
                return named(name + "2", [=](auto& file) { return shown(file->write(static_cast<short>(i))); });
            case 2:
                return named(name + "4", [=](auto& file) { return shown(file->write(i)); });
            case 3:
                return named(name + "8", [=](auto& file) { return shown(file->write(1l * i * i)); });
            case 4:
                return named(name + "bool", [=](auto& file) { return shown(file->write(i > 0)); });
            default:
                return named(name + "double", [=](auto& file) { return shown(file->write(i / 1024.0)); });
        }
    }

    Step readNumber() {
        const std::string name = "read number ";
        switch (below(6)) {
            case 0:
                return named(name + "1", [](auto& file) { return take<char>(file); });
            case 1:
                return named(name + "2", [](auto& file) { return take<unsigned short>(file); });
            case 2:
                return named(name + "4", [](auto& file) { return take<int>(file); });
            case 3:
                return named(name + "8", [](auto& file) { return take<unsigned long>(file); });
            case 4:
                return named(name + "float", [](auto& file) { return take<float>(file); });
            default:
                return named(name + "double", [](auto& file) { return take<double>(file); });
        }
    }

    Step writeText() {
        const std::string text = bytes(size());
        return named("write " + std::to_string(text.size()) + " characters",
                     [=](auto& file) { return shown(file->write(text.c_str())); });
    }

    // The file grows, shrinks, or claims a length that it does not have.
    Step changeFile() {
        const std::string path = below(4) ? "simulated/a" : "simulated/b";
        const std::string now = content();
        const std::uint64_t claimed = below(3) ? now.size() : below(2) ? INT64_MAX : 2 * kBuffer;
        return {"let " + path + " hold " + std::to_string(now.size()) + " bytes and claim " + std::to_string(claimed),
                [=](auto&, auto&, Disk& disk) {
                    disk.make(path, now);
                    disk.claimLength(path, claimed);
                    return std::string();
                }};
    }

    // One of the next few calls of one function fails, rarely so many that it amounts to a broken disk.
    Step fault() {
        const auto call = static_cast<Call>(below(7));
        const std::uint64_t ahead = 1 + below(4);
        const auto kind = static_cast<Shortfall::Kind>(below(3));
        const Shortfall shortfall{kind, kind == Shortfall::ByHalf ? 0 : 1 + below(3)};
        return {"call " + std::to_string(static_cast<int>(call)) + " fails " + std::to_string(ahead) + " ahead",
                [=](auto&, auto&, Disk& disk) {
                    disk.add({call, ahead, false, shortfall});
                    return std::string();
                }};
    }

    std::mt19937_64 random;
    std::string pool = std::string(2 * kBuffer + 6000, '\0');
    Mode mode = Mode::Read;
};

TEST(Walk, AgreesWithTheModelAtEveryStep) {
    const char* const given = std::getenv("QOR_WALK_SEED");
    const std::uint64_t seed = given ? std::strtoull(given, nullptr, 10) : 20240607;
    std::cout << "QOR_WALK_SEED=" << seed << '\n';

    SideBySide both([](Disk&) {});
    Walk walk(seed);
    std::deque<std::string> latest;
    for (int i = 0; i < kOperations; ++i) {
        const Step step = walk.next(both.disk.openStreams() > 0);
        latest.push_back(step.name);
        if (latest.size() > 20) latest.pop_front();
        const std::string difference = both.after(step);
        if (difference.empty()) continue;
        std::string story;
        for (const std::string& name : latest) story += "  " + name + '\n';
        FAIL() << "operation " << i << " differs: " << difference << "\nafter\n" << story;
    }
    EXPECT_EQ(both.atTheEnd(), "");
    std::cout << both.disk.faultsMet() << " faults met\n";
}

}  // namespace
}  // namespace qor::test
