// The walk: operations of all kinds, drawn one after the other, in all modes, on a disk whose files grow, shrink and
// vanish, and whose calls fail now and then.
#pragma once

#include <algorithm>
#include <bit>
#include <cwchar>
#include <functional>
#include <limits>
#include <string>
#include <utility>

#include "faults/side_by_side.h"

namespace qor::test {

class Walk {
 public:
    /// Draws a number below `limit`: from a random engine, or from the bytes that a fuzzer made.
    using Draw = std::function<std::uint64_t(std::uint64_t limit)>;

    /// Of the sizes that it draws, `mostLarge` and no more are about what the buffer holds, or larger.
    Walk(Draw drawn, std::uint64_t mostLarge) : below(std::move(drawn)), largeLeft(mostLarge) {}

    Step next(bool isOpen) {
        if (broken && below(12) == 11) return mend();
        if (!isOpen && below(4) > 0) return open();
        switch (below(40)) {
            case 0:
                return named("close", [](auto& file) { return shown(file->close()); });
            case 1:
            case 2:
                return open();
            case 3:
            case 4:
                return named("flush", [](auto& file) { return shown(file->flush()); });
            case 5:
            case 6:
                return named("peek", [](auto& file) { return shown(file->peek()); });
            case 7:
                return named("read()", [](auto& file) { return shown(file->read()); });
            case 8:
            case 9:
            case 10:
                return seek();
            case 11:
            case 12:
                return changeFile();
            case 13:
                return fault();
            case 14:
                return below(2) ? handles() : decode();
            case 15:
                return readBlockThatIsThere();
            default:
                return writesNext() ? write() : read();
        }
    }

 private:
    static constexpr std::uint64_t kBuffer = 0x100000;

    template <typename Act>
    static Step named(std::string name, Act act) {
        return {std::move(name), [act](auto& file, auto&, auto&) { return act(file); }};
    }

    // ---- What is drawn ----------------------------------------------------------------------------------------------

    std::uint64_t bits() { return below(0x100000000) << 32 | below(0x100000000); }

    bool large() {
        if (largeLeft == 0 || below(150) != 149) return false;
        --largeLeft;
        return true;
    }

    // Small mostly, and then about as much as the buffer holds, or more.
    std::uint64_t size() {
        if (!large()) return below(8) ? below(40) : below(3000);
        switch (below(4)) {
            case 0:
                return kBuffer - 6 + below(12);
            case 1:
                return kBuffer - below(100);
            case 2:
                return kBuffer / 3;
            default:
                return 2 * kBuffer + below(5000);
        }
    }

    // What goes through the codecs is seldom large, since they would take most of the time.
    std::uint64_t blockSize() { return below(100) < 99 ? below(200) : size(); }

    // Bytes of which none is zero.
    std::string bytes(std::uint64_t n) {
        static const std::string all = [] {
            std::string drawn(2 * kBuffer + 6000, '\0');
            std::uint32_t state = 1;
            for (char& byte : drawn) {
                state = state * 1664525 + 1013904223;
                byte = static_cast<char>(1 + (state >> 16) % 255);
            }
            return drawn;
        }();
        return all.substr(below(1000), n);
    }

    // Numbers and words with spaces between them, one or more, and now and then a zero byte.
    std::string numbers(std::uint64_t n) {
        static constexpr const char* kWords[] = {"true", "false", "-0", "nan", "inf", "1e-3", "0.1", "x", "", "."};
        std::string text;
        for (; n > 0; --n) {
            if (below(30) == 0) text += '\0';
            text += below(4) ? std::to_string(number<int>()) : kWords[below(std::size(kWords))];
            if (below(20)) text += ' ';
        }
        return text;
    }

    // Numbers of all lengths, the least and the greatest, and for fractions all bits there are.
    template <typename T>
    T number() {
        if constexpr (std::is_same_v<T, bool>) {
            return below(2) > 0;
        } else if constexpr (std::is_integral_v<T>) {
            switch (below(16)) {
                case 0:
                    return std::numeric_limits<T>::min();
                case 1:
                    return std::numeric_limits<T>::max();
                default:
                    return static_cast<T>(static_cast<std::int64_t>(bits()) >> below(64));
            }
        } else {
            switch (below(4)) {
                case 0:
                    return std::bit_cast<T>(
                        static_cast<std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>(bits()));
                case 1:
                    return static_cast<T>(number<int>());
                default:
                    return static_cast<T>(number<int>()) / static_cast<T>(1 + below(1000));
            }
        }
    }

    // None, the three, and now and then one that is not there.
    Compression kind() { return static_cast<Compression>(below(20) ? below(4) : 4); }

    // A block, damaged now and then.
    std::string someBlock() {
        std::string some = block(bytes(below(200)), kind(), below(2));
        if (below(4) == 0) some[below(some.size())] ^= static_cast<char>(1 << below(8));
        return some;
    }

    // A text with its length before it, or a false one.
    std::string someRecord() {
        const std::string text = bytes(size());
        const std::uint64_t claimed = below(8) ? text.size() : bits() >> below(64);
        std::string some;
        for (int i = 0; i < 8; ++i) some += static_cast<char>(claimed >> (8 * i));
        return some + text;
    }

    /// What a file may hold: numbers as text, blocks, text records, and other bytes.
    std::string content() {
        std::string file = large() ? bytes(kBuffer - below(60)) : "";
        for (std::uint64_t n = below(4); n > 0; --n) {
            switch (below(4)) {
                case 0:
                    file += numbers(below(30));
                    break;
                case 1:
                    file += someBlock();
                    break;
                default:
                    file += someRecord();
            }
        }
        return file + bytes(below(30));
    }

    // ---- Files and handles ------------------------------------------------------------------------------------------

    std::string path() { return below(10) ? "simulated/a" : below(4) ? "simulated/b" : "simulated/none"; }

    Step open() {
        static constexpr std::uint32_t kModes[] = {0, 0, 0, 1, 1, 1, 2, 7};
        mode = static_cast<Mode>(kModes[below(8)]);
        return opening(path(), mode, static_cast<Format>(below(20) ? below(2) : 2));
    }

    static Step opening(const std::string& path, Mode mode, Format format) {
        return named("open " + path + " in mode " + std::to_string(static_cast<int>(mode)) + " and format " +
                         std::to_string(static_cast<int>(format)),
                     [=](auto& file) { return shown(file->open(path.c_str(), mode, format)); });
    }

    // Two handles share a file, or each has its own, which may be the same on the disk.
    Step handles() {
        switch (below(4)) {
            case 0:
                return {"share", [](auto& file, auto& copy, auto&) { return shown(share(file, copy)); }};
            case 1:
                return {"let the other go", [](auto&, auto& copy, auto&) { return shown(letGo(copy)); }};
            case 2:
                return {"begin anew", [](auto& file, auto&, auto& disk) { return shown(anew(file, disk)); }};
            default:
                return {"take the other", [](auto& file, auto& copy, auto&) {
                            if (copy) std::swap(file, copy);
                            return std::string();
                        }};
        }
    }

    Step seek() {
        static constexpr std::int64_t kFar[] = {-1, kBuffer, INT64_MAX - 9, INT64_MIN};
        const std::int64_t offset = (below(50) ? 0 : kFar[below(4)]) + static_cast<std::int64_t>(below(12) / 2);
        const std::string where = std::to_string(offset);
        if (below(3)) return named("seek " + where, [=](auto& file) { return shown(file->seek(offset)); });
        return named("skip " + where, [=](auto& file) { return shown(file->skip(offset)); });
    }

    // The file is another one, grows, shrinks, vanishes, or claims a length that it does not have.
    Step changeFile() {
        const std::string where = below(4) ? "simulated/a" : "simulated/b";
        const std::string more = content();
        const std::uint64_t n = below(3000);
        switch (below(8)) {
            case 0:
                return changing("cut " + where + " to its first " + std::to_string(n) + " bytes", [=](Disk& disk) {
                    if (disk.has(where)) disk.make(where, disk.content(where).substr(0, n));
                });
            case 1:
                return changing("add " + std::to_string(more.size()) + " bytes to " + where, [=](Disk& disk) {
                    if (disk.has(where)) disk.make(where, disk.content(where) + more);
                });
            case 2:
                return changing("remove " + where, [=](Disk& disk) { disk.remove(where); });
            case 3:
                return changing("let " + where + " claim what it does not have", [=, claimed = claim()](Disk& disk) {
                    if (disk.has(where)) disk.claimLength(where, claimed);
                });
            default:
                return changing("let " + where + " hold " + std::to_string(more.size()) + " bytes", [=](Disk& disk) {
                    disk.remove(where);
                    disk.make(where, more);
                });
        }
    }

    template <typename Change>
    static Step changing(std::string name, Change change) {
        return {std::move(name), [change](auto&, auto&, Disk& disk) {
                    change(disk);
                    return std::string();
                }};
    }

    std::uint64_t claim() {
        if (below(2)) return below(5000);
        return large() ? 2 * kBuffer + below(100) : INT64_MAX;
    }

    // One of the next few calls of one function fails, or rarely all from there on.
    Step fault() {
        const auto call = static_cast<Call>(below(7));
        const std::uint64_t ahead = 1 + below(4);
        const bool everAfter = below(30) == 29;
        const auto how = static_cast<Shortfall::Kind>(below(3));
        const Shortfall shortfall{how, how == Shortfall::ByHalf ? 0 : below(4)};
        broken = broken || everAfter;
        return changing("call " + std::to_string(static_cast<int>(call)) + " fails " + std::to_string(ahead) +
                            " ahead" + (everAfter ? " and ever after" : ""),
                        [=](Disk& disk) {
                            disk.add({call, ahead, everAfter, shortfall});
                        });
    }

    Step mend() {
        broken = false;
        return changing("mend the disk", [](Disk& disk) { disk.mend(); });
    }

    // ---- Writing and reading ----------------------------------------------------------------------------------------

    // What the mode refuses is tried too, but rarely.
    bool writesNext() {
        if (mode == Mode::Write) return below(20) > 0;
        if (mode == Mode::Read) return below(20) == 0;
        return below(2) > 0;
    }

    Step write() {
        switch (below(16)) {
            case 0:
            case 1:
            case 2:
                return writeArray();
            case 3:
                return onRecord([this]<typename Value>() { return writing(record<Value>()); });
            case 4:
            case 5:
                return writeBlock();
            case 6:
                return print();
            case 7:
            case 8:
            case 9:
                return writeText();
            default:
                return onNumber([this]<typename T>() { return writing(number<T>()); });
        }
    }

    Step read() {
        switch (below(16)) {
            case 0:
            case 1:
            case 2:
                return readArray();
            case 3:
                return onRecord([]<typename Value>() {
                    return named("read a record", [](auto& file) { return takeRecord<Value>(file); });
                });
            case 4:
            case 5: {
                const std::string before = below(2) ? bytes(size()) : "";
                return named("read a block", [before, k = kind()](auto& file) { return takeBlock(file, k, before); });
            }
            case 6:
            case 7:
                return named("read a text", [](auto& file) { return takeText(file); });
            case 8:
                return named("read into a builder", [](auto& file) { return takeBuilt(file); });
            case 9:
                return named("read a standard text", [](auto& file) { return takeStandard(file); });
            default:
                return onNumber([streamed = below(8) == 7]<typename T>() {
                    return named("read a number of " + std::to_string(sizeof(T)) + " bytes",
                                 [=](auto& file) { return take<T>(file, streamed); });
                });
        }
    }

    template <typename Value>
    Step writing(const Value& value) {
        const bool streamed = below(8) == 7;
        return named("write a value of " + std::to_string(sizeof(Value)) + " bytes",
                     [=](auto& file) { return put(file, value, streamed); });
    }

    /// Does something for one of the types of numbers.
    template <typename Make>
    Step onNumber(Make make) {
        switch (below(12)) {
            case 0:
                return make.template operator()<char>();
            case 1:
                return make.template operator()<bool>();
            case 2:
                return make.template operator()<signed char>();
            case 3:
                return make.template operator()<unsigned char>();
            case 4:
                return make.template operator()<short>();
            case 5:
                return make.template operator()<unsigned short>();
            case 6:
                return make.template operator()<int>();
            case 7:
                return make.template operator()<unsigned int>();
            case 8:
                return make.template operator()<long>();
            case 9:
                return make.template operator()<unsigned long>();
            case 10:
                return make.template operator()<float>();
            default:
                return make.template operator()<double>();
        }
    }

    /// Does something for one of the types of records.
    template <typename Make>
    Step onRecord(Make make) {
        switch (below(9)) {
            case 0:
                return make.template operator()<math::Vec2d>();
            case 1:
                return make.template operator()<math::Vec3d>();
            case 2:
                return make.template operator()<math::Vec4d>();
            case 3:
                return make.template operator()<math::Pos2d>();
            case 4:
                return make.template operator()<math::Pos3d>();
            case 5:
                return make.template operator()<math::Quatd>();
            case 6:
                return make.template operator()<math::Rgbad>();
            case 7:
                return make.template operator()<math::Mat3d>();
            default:
                return make.template operator()<math::Mat4d>();
        }
    }

    template <typename Value>
    Value record() {
        Value value;
        for (double& component : value) component = number<double>();
        return value;
    }

    Step writeText() {
        const std::string text = bytes(size());
        const std::string name = "write " + std::to_string(text.size()) + " characters";
        switch (below(6)) {
            case 0:
                return named("write no text",
                             [](auto& file) { return shown(file->write(static_cast<const char*>(nullptr))); });
            case 1:
                return named(name + " with <<", [=](auto& file) { return put(file, text.c_str(), true); });
            default:
                return named(name, [=, how = below(4)](auto& file) { return shown(putText(file, text, how)); });
        }
    }

    static bool putText(Real& file, const std::string& text, std::uint64_t how) {
        switch (how) {
            case 0:
                return file->write(String(text.c_str()));
            case 1:
                return file->write(StringIO() << text.c_str());
            case 2:
                return file->write(std::string_view(text));
            default:
                return file->write(text.c_str());
        }
    }
    static bool putText(Twin& file, const std::string& text, std::uint64_t) { return file->write(text.c_str()); }

    Step print() {
        const std::string text = bytes(below(300));
        return named("print", [=, i = number<int>(), x = number<double>(), form = below(8)](auto& file) {
            switch (form) {
                case 0:
                    return shown(file->print("%s", text.c_str()));
                case 1:
                    return shown(file->printLn("%s=%-8d|%08x;", text.c_str(), i, static_cast<unsigned>(i)));
                case 2:
                    return shown(file->print("%.3f %10.4e %g", x, x, x));
                case 3:
                    return shown(file->printLn("%300d", i));
                case 4:
                    return shown(file->print("%s", ""));
                case 5:
                    // There are no bytes for this character in the locale of the tests.
                    return shown(file->print("ab%lc", static_cast<std::wint_t>(0x20ac)));
                case 6:
                    return shown(file->printLn("ab%lc", static_cast<std::wint_t>(0x20ac)));
                default:
                    return shown(printSum(file, i / 4, 7));
            }
        });
    }

    // ---- Blocks -----------------------------------------------------------------------------------------------------

    Step writeBlock() {
        const Compression k = kind();
        const std::string text = bytes(k == Compression::None ? size() : blockSize());
        if (k != Compression::None && below(10) == 9) {
            return named("write a block of nowhere", [=](auto& file) { return shown(file->write(nullptr, 5, k)); });
        }
        return named("write a block of " + std::to_string(text.size()) + " bytes and kind " +
                         std::to_string(static_cast<int>(k)),
                     [=](auto& file) { return putBlock(file, text, k); });
    }

    // A file of one block, damaged or not, behind some other bytes, opened to be read from there.
    Step readBlockThatIsThere() {
        const bool asText = below(2);
        const std::string before = bytes(below(8) ? 0 : size());
        std::string some = block(bytes(blockSize()), static_cast<Compression>(1 + below(3)), asText);
        if (below(3) == 0) some[below(some.size())] ^= static_cast<char>(1 << below(8));
        if (below(8) == 0) some.resize(below(some.size()));
        const std::string whole = before + some + bytes(below(4));
        const std::uint64_t count = 1 + below(20);
        mode = Mode::Read;
        return {"read a block behind " + std::to_string(before.size()) + " bytes",
                [=, how = below(3)](auto& file, auto&, Disk& disk) {
                    disk.make("simulated/a", whole);
                    if (!file->open("simulated/a", Mode::Read, asText ? Format::Text : Format::Binary)) {
                        return std::string("not opened");
                    }
                    std::string result = before.empty() ? "" : takeBlock(file, Compression::None, before);
                    if (how == 0) return result + takeBlock(file, Compression::Zlib);
                    const DataType type = how == 1 ? DataType::Byte : DataType::Rgb8;
                    return result + takeArray(file, type, count, 3 * count);
                }};
    }

    Step decode() {
        std::string some = someBlock();
        some.resize(std::max<std::size_t>(21, some.size() + below(3) - 1), 'x');
        return named("take a block in memory apart",
                     [=](auto& file) { return decoded<std::remove_cvref_t<decltype(*file)>>(some); });
    }

    // ---- Arrays -----------------------------------------------------------------------------------------------------

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

    // Some thousand scalars are enough to cross the end of the buffer; now and then they are more than it holds.
    std::uint64_t count(std::uint64_t itemSize) {
        if (!large()) return below(50) ? below(12) : 0;
        return (below(80) < 79 ? 1 + below(10'000) : kBuffer + 100) / std::max<std::uint64_t>(itemSize, 4);
    }

    // Any type, now and then none; packed, with gaps, overlapping, or backwards; at any address.
    Array array() {
        Array array = {};
        array.type = static_cast<DataType>(below(40) ? 1 + below(59) : below(62));
        const auto value = static_cast<std::uint32_t>(array.type);
        const std::uint64_t itemSize = value < 60 ? kElementTypes[value].size : 8;
        array.count = count(itemSize);
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
        if (below(60) == 59) return writeTooMany();
        if (below(60) == 59) {
            return named("write an array of nowhere", [](auto& file) {
                return shown(file->write(BufRef{.type = DataType::Byte, .count = 3}, true));
            });
        }
        const Array a = array();
        const bool compress = below(2);
        const bool streamed = below(8) == 7;
        std::string memory = below(2) ? bytes(a.memory) : numbers(a.memory / 8);
        memory.resize(a.memory);
        return named((streamed ? "stream " : "write ") + a.shown(), [=](auto& file) {
            if (!streamed) return putArray(file, a.type, a.count, memory, compress, a.layout);
            std::string own = memory;
            *file << refOf(own, a.type, a.count, a.layout);
            return std::string("streamed");
        });
    }

    Step readArray() {
        if (below(60) == 59) return readTooMany();
        if (below(60) == 59) {
            return named("read an array to nowhere",
                         [](auto& file) { return shown(file->read(BufRef{.type = DataType::Byte, .count = 3})); });
        }
        const Array a = array();
        return named("read " + a.shown(),
                     [=](auto& file) { return takeArray(file, a.type, a.count, a.memory, a.layout); });
    }

    // More values than the number of their bytes can tell, in memory for one.
    Array tooMany() {
        const auto type = static_cast<DataType>(4 + below(31));  // those of more than one byte, up to Rgbd
        const std::uint64_t itemSize = kElementTypes[static_cast<std::uint32_t>(type)].size;
        return {type, ~std::uint64_t{0} / itemSize + 1 + below(9), {}, itemSize};
    }

    Step writeTooMany() {
        const Array a = tooMany();
        return named("write " + a.shown(), [=](auto& file) {
            return putArray(file, a.type, a.count, std::string(a.memory, 'x'), false, a.layout);
        });
    }

    // Of a text file, all of them would be looked for.
    Step readTooMany() {
        const Array a = tooMany();
        mode = Mode::Read;
        return named("open a binary file and read " + a.shown(), [=](auto& file) {
            if (!file->open("simulated/a", Mode::Read, Format::Binary)) return std::string("not opened");
            return takeArray(file, a.type, a.count, a.memory, a.layout);
        });
    }

    Draw below;
    std::uint64_t largeLeft;
    Mode mode = Mode::Read;
    bool broken = false;
};

}  // namespace qor::test
