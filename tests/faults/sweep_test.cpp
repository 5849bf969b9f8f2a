// The sweep: every scenario with every call on its stream failing in every way, one after the other, against the model;
// and then with a second call failing after the first.
//
// A fault is one call of one function, or that call and all after it; a read or a write also comes up short by one
// item, by half, or moves nothing. After every step the library and the model agree in the result, the text, the
// counters and the calls, and where something was written in the files.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cwchar>
#include <string>
#include <vector>

#include "faults/side_by_side.h"
#include "support/figures.h"

namespace qor::test {
namespace {

constexpr std::size_t kBuffer = 0x100000;

struct Scenario {
    std::string name;
    SideBySide::Prepare prepare;
    std::vector<PlainStep> steps;
};

/// Bytes of which no two neighbours look alike.
std::string pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(1 + (i * 7 + i / 251) % 255);
    return bytes;
}

/// A text as a binary file holds it.
std::string record(const std::string& text) {
    std::string bytes;
    for (int i = 0; i < 8; ++i) bytes += static_cast<char>(text.size() >> (8 * i));
    return bytes + text;
}

const std::string kLong = pattern(kBuffer + 3);        // one more than the buffer takes
const std::string kFull = pattern(kBuffer);            // the most that it takes
const std::string kAlmost = pattern(kBuffer - 2);      // leaves room for two bytes
const std::string kLonger = pattern(2 * kBuffer + 9);  // three chunks
const std::string kClaimsTooMuch = std::string(8, '\xff') + "abc";
const std::string kWords = "block after block, and block after block again";

// Bytes that no codec makes smaller, more than the buffer takes.
const std::string kNoise = [] {
    std::string bytes(kBuffer + 100, '\0');
    std::uint32_t state = 1;
    for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
}();
// Numbers as a text file holds them: of every type, some that are none, spaces in a row, zero bytes.
using namespace std::literals;
const std::string kNumbers = "1 -2 3.5 true 255  70000 x 1e-3 \0009 12\0003 4\n -0 nan 18446744073709551615 7"s;
const std::string kDigits = std::string(kBuffer + 40, '1') + " 2 ";

// The same number over and over, each of three digits and a space.
const std::string kManyNumbers = [] {
    std::string text;
    while (text.size() < kBuffer + 4000) text += std::to_string(100 + text.size() % 899) + ' ';
    return text;
}();

constexpr auto kBackwards = Layout{.stride = ~std::uint64_t{0} - 11, .offset = 24};  // steps of -12
constexpr auto kFirstHalves = Layout{.stride = 16, .offset = 3};
constexpr auto kOverlapping = Layout{.stride = 5, .offset = 1};
constexpr auto kEveryThirdByte = Layout{.stride = 3, .offset = 1};

constexpr auto kThird = static_cast<Mode>(2);
constexpr auto kFourth = static_cast<Mode>(7);
constexpr auto kNoFormat = static_cast<Format>(2);
constexpr std::uint64_t kDirectory = 0x7FFFFFFFFFFFFFFF;

SideBySide::Prepare nothing() {
    return [](Disk&) {};
}
SideBySide::Prepare aFile(std::string bytes) {
    return [bytes](Disk& disk) { disk.make("simulated/a", bytes); };
}
SideBySide::Prepare aFileThatClaims(std::uint64_t length, std::string bytes) {
    return [length, bytes](Disk& disk) {
        disk.make("simulated/a", bytes);
        disk.claimLength("simulated/a", length);
    };
}

// One after the other, each attempted even after another failed.
template <typename Handle, typename... Values>
std::string putAll(Handle& file, const Values&... values) {
    std::string results;
    ((results += put(file, values, false)), ...);
    return results;
}
template <typename Handle, typename... Values>
std::string streamAll(Handle& file, const Values&... values) {
    std::string results;
    ((results += put(file, values, true)), ...);
    return results;
}
template <typename... Values, typename Handle>
std::string takeAll(Handle& file, bool streamed = false) {
    std::string results;
    ((results += take<Values>(file, streamed)), ...);
    return results;
}
template <typename... Values, typename Handle>
std::string takeAllRecords(Handle& file) {
    std::string results;
    ((results += takeRecord<Values>(file)), ...);
    return results;
}

template <typename Handle>
std::string putNumbers(Handle& file) {
    return putAll(file, 'c', true, static_cast<signed char>(-1), static_cast<unsigned char>(200), short{-2},
                  static_cast<unsigned short>(3), -4, 5u, -6l, 7ul, 0.5f, -0.25);
}
template <typename Handle>
std::string takeNumbers(Handle& file) {
    return takeAll<char, bool, signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                   unsigned long, float, double>(file);
}

template <typename Handle>
std::string putRecords(Handle& file) {
    return putAll(file, math::Vec2d(1, 2), math::Vec3d(1, 2, 3), math::Vec4d(1, 2, 3, 4), math::Pos2d(1, 2),
                  math::Pos3d(1, 2, 3), math::Quatd(1, 2, 3, 4), math::Rgbad(1, 2, 3, 4),
                  math::Mat3d(1, 2, 3, 4, 5, 6, 7, 8, 9),
                  math::Mat4d(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16));
}
template <typename Handle>
std::string takeRecords(Handle& file) {
    return takeAllRecords<math::Vec2d, math::Vec3d, math::Vec4d, math::Pos2d, math::Pos3d, math::Quatd, math::Rgbad,
                          math::Mat3d, math::Mat4d>(file);
}

// One type for each size of scalars and each route.
constexpr DataType kTypes[] = {DataType::Bool, DataType::Int16, DataType::UInt32,  DataType::Double,
                               DataType::Ptr,  DataType::Vec3f, DataType::ColorRef};

template <typename Handle>
std::string putSomeOfEach(Handle& file, bool compress) {
    std::string results;
    for (const DataType type : kTypes) {
        results += putArray(file, type, 2, std::string(400, '7'), compress);
        results += put(file, ' ', false);
    }
    return results;
}
template <typename Handle>
std::string takeSomeOfEach(Handle& file) {
    std::string results;
    for (const DataType type : kTypes) {
        results += takeArray(file, type, 2, 400);
        results += take<char>(file);
    }
    return results;
}

bool vanish(Disk& disk) {
    disk.remove("simulated/a");
    return true;
}

#define OPEN(mode, format) QOR_STEP(file->open("simulated/a", mode, format))
#define STEP QOR_STEP

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> all = {
        {"ScalarsToABinaryFile",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write('c')), STEP(file->write(true)),
          STEP(file->write(short{-2})), STEP(file->write(7)), STEP(file->write(-1l)), STEP(file->write(1.5f)),
          STEP(file->write(-2.25)), STEP(file->close()), STEP(file->close())}},
        {"ScalarsToATextFile",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(file->write('c')), STEP(file->write(true)),
          STEP(file->write(short{-2})), STEP(file->write(7u)), STEP(file->write(-1l)), STEP(file->write(1.5f)),
          STEP(file->write(-2.25)), STEP(file->flush()), STEP(file->close())}},
        {"ScalarsFromABinaryFile",
         aFile(pattern(20)),
         {OPEN(Mode::Read, Format::Binary), STEP(take<char>(file)), STEP(take<short>(file)), STEP(take<int>(file)),
          STEP(take<double>(file)), STEP(take<long>(file)), STEP(take<float>(file)), STEP(take<signed char>(file)),
          STEP(take<unsigned char>(file)), STEP(take<unsigned char>(file)), STEP(file->close())}},
        {"ScalarsFromATextFile",
         aFile("1234 567"),
         {OPEN(Mode::Read, Format::Text), STEP(take<int>(file)), STEP(take<char>(file)), STEP(take<long>(file)),
          STEP(file->write(1)), STEP(take<short>(file)), STEP(file->close())}},
        {"ScalarsAcrossTheEndOfTheBuffer",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(kAlmost.c_str() + 8)), STEP(file->write(short{1})),
          STEP(file->write('c')), STEP(file->write(2)), STEP(file->write(kAlmost.c_str())), STEP(file->write(3l)),
          STEP(file->close())}},
        {"PrintedScalarsAcrossTheEndOfTheBuffer",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(file->write(kAlmost.c_str())), STEP(file->write(12)),
          STEP(file->write(345)), STEP(file->write(0.1)), STEP(file->close())}},
        {"ScalarsAcrossTheEndOfTheChunk",
         aFile(kAlmost + pattern(9)),
         {OPEN(Mode::Read, Format::Binary), STEP(file->seek(2)), STEP(take<short>(file)), STEP(file->seek(0)),
          STEP(takeText(file)), STEP(file->seek(kBuffer - 4)), STEP(take<double>(file)), STEP(take<int>(file))}},
        {"TextsToABinaryFile",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write("abc")), STEP(file->write("")),
          STEP(file->write(static_cast<const char*>(nullptr))), STEP(printSum(file, 1, 2)), STEP(file->close())}},
        {"BlocksToABinaryFile",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(putBlock(file, kWords, Compression::Lz4)),
          STEP(putBlock(file, kWords, Compression::Zlib)), STEP(putBlock(file, "", Compression::Zstd)),
          STEP(putBlock(file, "as it stands", Compression::None)), STEP(putBlock(file, "", Compression::None)),
          STEP(putBlock(file, kWords, static_cast<Compression>(9))), STEP(file->close())}},
        {"BlocksToATextFile",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(putBlock(file, kWords, Compression::Zstd)), STEP(file->write(' ')),
          STEP(putBlock(file, "a", Compression::Zlib)), STEP(putBlock(file, "", Compression::Lz4)),
          STEP(putBlock(file, "as it stands", Compression::None)), STEP(file->close())}},
        {"BlocksInTheThirdMode",
         nothing(),
         {OPEN(kThird, Format::Text), STEP(putBlock(file, kWords, Compression::Zstd)), STEP(file->seek(0)),
          STEP(takeBlock(file, Compression::Zstd)), STEP(putBlock(file, kNoise, Compression::Lz4)),
          STEP(takeBlock(file, Compression::None)), STEP(takeBlock(file, Compression::None, "")), STEP(file->close())}},
        {"ABlockThatSpills",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(kAlmost.c_str() + 18)),
          STEP(putBlock(file, kWords, Compression::Zlib)), STEP(putBlock(file, kNoise, Compression::Lz4)),
          STEP(putBlock(file, kNoise, Compression::None)), STEP(file->write(1)), STEP(file->close())}},
        {"BlocksFromABinaryFile",
         aFile(block(kWords, Compression::Lz4) + block(kWords, Compression::Zlib) + block("", Compression::Zstd) +
               block("b", Compression::Zstd) + ".1.1234567"),
         {OPEN(Mode::Read, Format::Binary), STEP(takeBlock(file, Compression::Zstd)),
          STEP(takeBlock(file, Compression::Zstd)), STEP(takeBlock(file, Compression::Lz4)),
          STEP(takeBlock(file, Compression::Zlib)), STEP(takeBlock(file, Compression::Zlib)),
          STEP(takeBlock(file, Compression::Zlib))}},
        {"BlocksFromATextFile",
         aFile(block(kWords, Compression::Zlib, true) + block("", Compression::Zstd, true) +
               block(kWords, Compression::Lz4, true) + ".1.12.x."),
         {OPEN(Mode::Read, Format::Text), STEP(takeBlock(file, Compression::Zstd)),
          STEP(takeBlock(file, Compression::Zstd)), STEP(takeBlock(file, Compression::Lz4)),
          STEP(takeBlock(file, Compression::Zlib)), STEP(take<char>(file))}},
        {"ABlockAcrossTheEndsOfChunks",
         aFile(pattern(kBuffer - 12) + block(kNoise, Compression::Zstd) + "z"),
         {OPEN(Mode::Read, Format::Binary), STEP(takeBlock(file, Compression::None, kAlmost.substr(10))),
          STEP(takeBlock(file, Compression::Lz4)), STEP(take<char>(file)), STEP(file->close())}},
        {"ABlockThatClaimsTooMuch",
         aFile(".1." + std::string(8, '\x01') + '.' + std::string(8, '\x02') + '.' + kLong),
         {OPEN(Mode::Read, Format::Binary), STEP(takeBlock(file, Compression::Lz4)), STEP(take<char>(file)),
          STEP(takeBlock(file, Compression::Lz4)), STEP(file->close())}},
        {"BytesAsTheyStand",
         aFile(kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(takeBlock(file, Compression::None)),
          STEP(takeBlock(file, Compression::None, kAlmost)), STEP(takeBlock(file, Compression::None, "")),
          STEP(file->seek(0)), STEP(takeBlock(file, Compression::None, "")), STEP(takeBlock(file, Compression::None)),
          STEP(file->close())}},
        {"BlocksOfALengthThatNoMemoryHolds",
         aFileThatClaims(kDirectory, ".1." + std::string(8, '\x01') + '.' + std::string(8, '\x02') + '.' + kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(takeBlock(file, Compression::None, "")),
          STEP(takeBlock(file, Compression::Zstd)), STEP(file->seek(0)), STEP(take<int>(file)),
          STEP(takeBlock(file, Compression::None, "")), STEP(take<int>(file)), STEP(file->close())}},
        {"BlocksRefusedByTheMode",
         aFile("abc"),
         {STEP(putBlock(file, "a", Compression::Lz4)), STEP(takeBlock(file, Compression::Lz4)),
          OPEN(Mode::Read, Format::Binary), STEP(putBlock(file, "a", Compression::Lz4)),
          STEP(putBlock(file, "a", Compression::None)), OPEN(Mode::Write, Format::Binary),
          STEP(takeBlock(file, Compression::Lz4)), STEP(takeBlock(file, Compression::None, "")), STEP(file->close())}},
        {"TextsToATextFile",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(file->write("abc")), STEP(file->write("")),
          STEP(file->write(static_cast<const char*>(nullptr))), STEP(printSum(file, 1, 2)), STEP(file->close())}},
        {"LongTextsToABinaryFile",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(7)), STEP(file->write(kLong.c_str())),
          STEP(file->write(kLonger.c_str())), STEP(file->write('c')), STEP(file->close())}},
        {"LongTextsToATextFile",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(file->write(kLong.c_str())), STEP(file->write(kFull.c_str())),
          STEP(file->write('c')), STEP(file->write(kLong.c_str())), STEP(file->write(kLonger.c_str())),
          STEP(file->flush()), STEP(file->close())}},
        {"ALongTextWhereTheCountDoesNotFit",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(kAlmost.c_str() + 7)), STEP(file->write(kLong.c_str())),
          STEP(file->write("")), STEP(file->close())}},
        {"TextsFromABinaryFile",
         aFile(record("abc") + record("") + record(std::string("d\0e", 3)) + record("f") + "1234567"),
         {OPEN(Mode::Read, Format::Binary), STEP(takeText(file)), STEP(takeBuilt(file)), STEP(takeBuilt(file)),
          STEP(takeText(file)), STEP(takeText(file)), STEP(file->read())}},
        {"LongTextsFromABinaryFile",
         aFile(record(kLonger) + record(kLong) + record(kLong)),
         {OPEN(Mode::Read, Format::Binary), STEP(takeText(file)), STEP(takeBuilt(file)), STEP(takeText(file)),
          STEP(takeText(file)), STEP(file->close())}},
        {"ATextThatClaimsTooMuch",
         aFile(kClaimsTooMuch + pattern(30)),
         {OPEN(Mode::Read, Format::Binary), STEP(takeText(file)), STEP(takeBuilt(file)), STEP(take<char>(file)),
          STEP(takeText(file))}},
        {"ALongFileWhoseTextClaimsTooMuch",
         aFile(kClaimsTooMuch + kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(takeText(file)), STEP(take<char>(file)), STEP(file->seek(2)),
          STEP(takeBuilt(file)), STEP(file->eof())}},
        {"AWholeText",
         aFile("some text"),
         {OPEN(Mode::Read, Format::Text), STEP(take<char>(file)), STEP(file->read()), STEP(take<char>(file)),
          STEP(takeText(file)), STEP(takeBuilt(file)), STEP(take<int>(file)), STEP(file->close())}},
        {"AWholeLongText",
         aFile(kLonger),
         {OPEN(Mode::Read, Format::Text), STEP(file->seek(kBuffer + 1)), STEP(file->read()), STEP(take<char>(file)),
          STEP(file->close())}},
        {"AWholeTextThatChanges",
         aFile("some text"),
         {OPEN(Mode::Read, Format::Text), STEP(change(disk, "some")), STEP(file->read()), STEP(takeText(file)),
          STEP(change(disk, "some more text")), STEP(file->read()), STEP(takeBuilt(file))}},
        {"AnEmptyFile",
         aFile(""),
         {OPEN(Mode::Read, Format::Text), STEP(file->read()), STEP(takeText(file)), STEP(takeBuilt(file)),
          STEP(take<char>(file)), STEP(file->peek()), OPEN(Mode::Read, Format::Binary), STEP(takeText(file))}},
        {"Flushes",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->flush()), STEP(file->write(1)), STEP(file->flush()),
          STEP(file->write(2)), STEP(file->write(3)), STEP(file->flush()), STEP(file->flush()), STEP(file->close()),
          STEP(file->flush())}},
        {"FlushesWhileReading",
         aFile(pattern(kBuffer + 40)),
         {OPEN(Mode::Read, Format::Binary), STEP(file->flush()), STEP(take<int>(file)), STEP(file->flush()),
          STEP(take<int>(file)), STEP(file->flush()), STEP(take<int>(file)), STEP(file->close())}},
        {"SeeksWhileWriting",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(1l)), STEP(file->seek(2)), STEP(file->write('a')),
          STEP(file->skip(3)), STEP(file->write('b')), STEP(file->skip(-100)), STEP(file->write('c')),
          STEP(file->seek(-1)), STEP(file->close()), STEP(file->seek(0))}},
        {"SeeksWhileReading",
         aFile(pattern(100)),
         {OPEN(Mode::Read, Format::Binary), STEP(take<char>(file)), STEP(file->skip(-20)), STEP(take<int>(file)),
          STEP(file->seek(5)), STEP(take<int>(file)), STEP(file->seek(-1)), STEP(take<int>(file)), STEP(file->skip(4)),
          STEP(take<int>(file)), STEP(file->seek(100)), STEP(take<char>(file))}},
        {"ReadsPastTheEnd",
         aFile(pattern(kBuffer + 3)),
         {OPEN(Mode::Read, Format::Binary), STEP(file->seek(kBuffer + 4)), STEP(take<char>(file)), STEP(takeText(file)),
          STEP(file->seek(kBuffer)), STEP(take<int>(file)), STEP(take<char>(file)), STEP(file->peek())}},
        {"AFileThatGrows",
         aFile(pattern(4)),
         {OPEN(Mode::Read, Format::Binary), STEP(change(disk, kLonger)), STEP(file->seek(8)), STEP(take<char>(file)),
          STEP(take<char>(file)), STEP(file->seek(0)), STEP(take<int>(file)), STEP(take<char>(file))}},
        {"AFileThatShrinks",
         aFile(kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(take<int>(file)), STEP(change(disk, pattern(kBuffer + 2))),
          STEP(file->seek(kBuffer)), STEP(take<int>(file)), STEP(take<char>(file)), STEP(file->seek(0)),
          STEP(takeText(file))}},
        {"Peeks",
         aFile("xyz"),
         {OPEN(Mode::Read, Format::Binary), STEP(file->peek()), STEP(file->peek()), STEP(take<char>(file)),
          STEP(file->peek()), STEP(take<short>(file)), STEP(file->peek()), STEP(file->close()), STEP(file->peek())}},
        {"OpenedAgainInEachMode",
         aFile("old"),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(1)), OPEN(Mode::Read, Format::Binary),
          STEP(take<short>(file)), OPEN(Mode::Write, Format::Text), STEP(file->write(2)), OPEN(kThird, Format::Text),
          STEP(file->write(3)), OPEN(Mode::Write, Format::Binary), STEP(file->write(4)), OPEN(kFourth, Format::Binary),
          STEP(file->close())}},
        {"OpenedAgainWhereNothingIs",
         aFile("old"),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(1)),
          STEP(file->open("simulated/none", Mode::Read, Format::Binary)), STEP(take<int>(file)), STEP(file->write(1)),
          STEP(file->read()), STEP(file->peek()), STEP(file->close()), OPEN(Mode::Read, Format::Binary),
          STEP(take<int>(file))}},
        {"LetGoWithoutAClose",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(kFull.c_str())), STEP(file->write(1)),
          STEP(letGo(file))}},
        {"Copies",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(share(file, copy)), STEP(copy->write(1)), STEP(file->write(2)),
          STEP(letGo(file)), STEP(copy->flush()), STEP(copy->write(3)), STEP(share(copy, file)), STEP(letGo(copy)),
          STEP(file->write(4))}},
        {"TheThirdModeDropsWhatIsStaged",
         aFile("old"),
         {OPEN(kThird, Format::Text), STEP(file->write(1)), STEP(file->write("abc")), STEP(file->flush()),
          STEP(file->write('x')), STEP(file->seek(1)), STEP(file->peek()), STEP(file->write(2.5)),
          STEP(file->close())}},
        {"TheThirdModeSpills",
         nothing(),
         {OPEN(kThird, Format::Binary), STEP(file->write("abc")), STEP(file->write(kFull.c_str())),
          STEP(file->write(1)), STEP(file->write(kLong.c_str())), STEP(file->skip(-1)),
          STEP(file->write(kLong.c_str())), STEP(file->write(1)), STEP(file->close())}},
        {"TheThirdModeReads",
         nothing(),
         {OPEN(kThird, Format::Binary), STEP(take<int>(file)), STEP(file->write(1)), STEP(take<char>(file)),
          STEP(file->read()), STEP(takeText(file)), STEP(file->write(2l)), STEP(takeBuilt(file)), STEP(file->close())}},
        {"TheThirdModeOnADevice",
         aFileThatClaims(100, ""),
         {OPEN(kThird, Format::Text), STEP(take<int>(file)), STEP(file->seek(0)), STEP(file->write(1)),
          STEP(take<int>(file)), STEP(takeText(file)), STEP(file->write(kFull.c_str())), STEP(take<char>(file)),
          STEP(file->read()), STEP(take<char>(file)), STEP(file->close())}},
        {"TheThirdModeAcrossTheEndOfTheBuffer",
         aFileThatClaims(kDirectory, ""),
         {OPEN(kThird, Format::Binary), STEP(file->seek(0)), STEP(file->write(kAlmost.c_str())), STEP(take<int>(file)),
          STEP(file->write(kAlmost.c_str())), STEP(take<short>(file)), STEP(take<short>(file)), STEP(file->write(1)),
          STEP(takeText(file)), STEP(file->read())}},
        {"TheThirdModeReadsBehindASpill",
         aFileThatClaims(kDirectory, ""),
         {OPEN(kThird, Format::Binary), STEP(file->seek(0)), STEP(file->write(kAlmost.c_str())), STEP(file->write(1)),
          STEP(take<int>(file)), STEP(file->write(kLong.c_str())), STEP(file->write(2)), STEP(take<long>(file)),
          STEP(file->close())}},
        {"AFourthMode",
         aFile(record("abc") + pattern(50)),
         {OPEN(kFourth, Format::Text), STEP(take<char>(file)), STEP(file->write(258)), STEP(take<int>(file)),
          STEP(file->seek(0)), STEP(takeText(file)), STEP(file->peek()), STEP(file->write("xyz")), STEP(file->read()),
          STEP(file->write(7)), STEP(take<int>(file)), STEP(file->flush()), STEP(take<int>(file)),
          STEP(file->close())}},
        {"AFourthModeThatSpills",
         aFile(kLonger),
         {OPEN(kFourth, Format::Binary), STEP(take<int>(file)), STEP(file->write(kAlmost.c_str())),
          STEP(take<int>(file)), STEP(file->write(kLong.c_str())), STEP(take<short>(file)), STEP(file->flush()),
          STEP(file->write(1)), STEP(take<long>(file)), STEP(take<long>(file)), STEP(file->close())}},
        {"ALengthThatNoMemoryHolds",
         aFileThatClaims(kDirectory, record("abc") + kLong),
         {OPEN(Mode::Read, Format::Text), STEP(file->read()), STEP(takeText(file)), STEP(take<int>(file)),
          OPEN(Mode::Read, Format::Binary), STEP(takeText(file)), STEP(takeBuilt(file)), STEP(takeText(file)),
          STEP(file->peek())}},
        {"ALengthThatNoMemoryHoldsAndATextThatClaimsIt",
         aFileThatClaims(kDirectory, std::string(7, '\xff') + '\x3f' + kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(takeText(file)), STEP(take<char>(file)), STEP(file->seek(0)),
          STEP(takeBuilt(file)), STEP(file->peek())}},
        {"RefusedByTheMode",
         aFile("abc"),
         {STEP(file->write(1)), STEP(take<int>(file)), STEP(file->seek(0)), OPEN(Mode::Read, Format::Binary),
          STEP(file->write(1)), STEP(file->write("x")), STEP(file->read()), OPEN(Mode::Write, Format::Text),
          STEP(take<int>(file)), STEP(takeText(file)), STEP(takeBuilt(file)), STEP(file->read()), STEP(file->peek()),
          STEP(file->close())}},
        {"ArraysToABinaryFile",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(putArray(file, DataType::Vec3f, 2, kNoise)),
          STEP(putArray(file, DataType::UInt16, 5, kNoise, true)), STEP(putArray(file, DataType::Ptr, 2, kNoise)),
          STEP(putArray(file, DataType::Vec3f, 3, kNoise, false, kFirstHalves)),
          STEP(putArray(file, DataType::Vec3f, 3, kNoise, false, kBackwards)),
          STEP(putArray(file, DataType::Pos2d, 3, kNoise, false, kOverlapping)), STEP(file->close())}},
        {"AnArrayThatSpills",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write('a')),
          STEP(putArray(file, DataType::Float, kBuffer / 4 + 25, kNoise)), STEP(file->write("text")),
          STEP(file->flush()), STEP(file->write(short{1})),
          STEP(putArray(file, DataType::Vec3d, kBuffer / 24 + 4, kNoise)), STEP(file->close())}},
        {"StridedArraysThatSpill",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(kAlmost.c_str() + 100)),
          STEP(putArray(file, DataType::Vec4d, 40, kNoise, false, kFirstHalves)),
          STEP(file->write(kAlmost.c_str() + 601)),
          STEP(putArray(file, DataType::Rgbaf, 40, kNoise, false, kOverlapping)),
          STEP(file->write(kAlmost.c_str() + 1000)), STEP(putArray(file, DataType::Int16, 300, kNoise, false, {3})),
          STEP(file->write('x')), STEP(file->close())}},
        {"AnArrayWhereOneScalarFits",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(kAlmost.c_str() + 14)),
          STEP(putArray(file, DataType::UInt64, 1, kNoise)), STEP(putArray(file, DataType::UInt64, 1, kNoise)),
          STEP(putArray(file, DataType::Int16, 1, kNoise)), STEP(file->close())}},
        {"ArraysToATextFile",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(putArray(file, DataType::Vec3i, 2, kNoise)),
          STEP(putArray(file, DataType::UInt16, 1, kNoise, true)), STEP(putArray(file, DataType::Ptr, 3, kNoise)),
          STEP(putArray(file, DataType::Ptr, 1, kNoise)),
          STEP(putArray(file, DataType::Vec3u, 3, kNoise, false, kBackwards)),
          STEP(putArray(file, DataType::Mat3d, 2, kNoise)), STEP(file->close())}},
        {"ATextArrayThatSpills",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(file->write(kAlmost.c_str() + 300)),
          STEP(putArray(file, DataType::Double, 60, kNoise)), STEP(file->write(kAlmost.c_str() + 700)),
          STEP(putArray(file, DataType::Vec2f, 60, kNoise, false, kFirstHalves)), STEP(file->write(7)),
          STEP(file->close())}},
        {"ATextArrayWhoseSpaceDoesNotFit",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(file->write(kAlmost.c_str())),
          STEP(putArray(file, DataType::UInt16, 3, std::string("\x63\x63\x63\x63\x63\x63"))),
          STEP(file->write(kAlmost.c_str() + 3)), STEP(putArray(file, DataType::Ptr, 40, kNoise)),
          STEP(file->close())}},
        {"ArraysOfBytes",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(putArray(file, DataType::Rgba8, 10, kNoise)),
          STEP(putArray(file, DataType::Rgba8, 10, kNoise, true)),
          STEP(putArray(file, DataType::Rgb8, 9, kNoise, false, kOverlapping)),
          STEP(putArray(file, DataType::Rgb8, 9, kNoise, true, kOverlapping)),
          STEP(putArray(file, DataType::Byte, kBuffer + 20, kNoise)),
          STEP(putArray(file, DataType::Byte, kBuffer + 20, kNoise, true)), STEP(file->close())}},
        {"ArraysOfBytesToATextFile",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(putArray(file, DataType::Bool, 10, kNoise)),
          STEP(putArray(file, DataType::Argb8, 10, kNoise, true)),
          STEP(putArray(file, DataType::Char, 9, kNoise, false, kEveryThirdByte)),
          STEP(putArray(file, DataType::Char, 9, kNoise, true, kEveryThirdByte)), STEP(file->close())}},
        {"ArraysFromABinaryFile",
         aFile(pattern(170)),
         {OPEN(Mode::Read, Format::Binary), STEP(takeArray(file, DataType::Vec3f, 2, 24)),
          STEP(takeArray(file, DataType::UInt16, 5, 20, {.start = 3})), STEP(takeArray(file, DataType::Ptr, 2, 16)),
          STEP(takeArray(file, DataType::Vec3f, 2, 40, kFirstHalves)),
          STEP(takeArray(file, DataType::Vec3f, 3, 40, kBackwards)),
          STEP(takeArray(file, DataType::Pos2d, 2, 40, kOverlapping)), STEP(takeArray(file, DataType::Xformi, 3, 120)),
          STEP(takeArray(file, DataType::UInt16, 3, 6)), STEP(takeArray(file, DataType::Double, 3, 24)),
          STEP(take<char>(file)), STEP(file->close())}},
        {"ALargeArrayFromABinaryFile",
         aFile(kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(take<char>(file)),
          STEP(takeArray(file, DataType::Double, kBuffer / 8 + 20, kBuffer + 160)), STEP(take<char>(file)),
          STEP(file->seek(3)), STEP(takeArray(file, DataType::Vec3d, kBuffer / 24 + 9, kBuffer + 216)),
          STEP(takeArray(file, DataType::Int64, 3, 24)), STEP(file->close())}},
        {"StridedArraysAcrossTheEndOfTheChunk",
         aFile(kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(takeBlock(file, Compression::None, kAlmost.substr(100))),
          STEP(takeArray(file, DataType::Vec4d, 20, 400, kFirstHalves)),
          STEP(takeBlock(file, Compression::None, kAlmost.substr(700))),
          STEP(takeArray(file, DataType::Rgbaf, 60, 400, kOverlapping)), STEP(take<int>(file)), STEP(file->close())}},
        {"AnArrayThatEndsWithTheChunk",
         aFile(kFull + pattern(16)),
         {OPEN(Mode::Read, Format::Binary), STEP(takeArray(file, DataType::Int32, kBuffer / 4, kBuffer)),
          STEP(takeArray(file, DataType::Int32, 2, 8)), STEP(takeArray(file, DataType::Int32, 3, 12)),
          STEP(takeArray(file, DataType::Int32, 1, 4)), STEP(file->seek(kBuffer)),
          STEP(takeArray(file, DataType::Int32, 4, 16)), STEP(takeArray(file, DataType::Int16, 3, 8)),
          STEP(file->close())}},
        {"AnArrayOfAFileThatShrinks",
         aFile(kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(take<int>(file)), STEP(change(disk, pattern(kBuffer + 2))),
          STEP(takeArray(file, DataType::Double, kBuffer / 8 + 8, kBuffer + 64)),
          STEP(takeArray(file, DataType::Int16, 3, 8)), STEP(file->close())}},
        {"ArraysOfAnEmptyFile",
         aFile(""),
         {OPEN(Mode::Read, Format::Binary), STEP(takeArray(file, DataType::Int32, 3, 12)),
          STEP(takeArray(file, DataType::Rgba8, 3, 12)), STEP(takeArray(file, DataType::Rgb8, 3, 24, kOverlapping)),
          OPEN(Mode::Read, Format::Text), STEP(takeArray(file, DataType::Int32, 3, 12)),
          STEP(takeArray(file, DataType::Ptr, 2, 16)), STEP(takeArray(file, DataType::Rgba8, 3, 12)),
          STEP(takeArray(file, DataType::Byte, 3, 24, {2})), STEP(file->close())}},
        {"ArraysBeyondTheEnd",
         aFile(pattern(20)),
         {OPEN(Mode::Read, Format::Binary), STEP(file->seek(24)), STEP(takeArray(file, DataType::Int32, 3, 12)),
          STEP(takeArray(file, DataType::Byte, 3, 12)), STEP(file->seek(18)),
          STEP(takeArray(file, DataType::Int32, 3, 12)), STEP(take<short>(file)), OPEN(Mode::Read, Format::Text),
          STEP(file->seek(24)), STEP(takeArray(file, DataType::Int32, 3, 12)), STEP(file->close())}},
        {"ArraysOfBytesFromABinaryFile",
         aFile("1234567890" + block("abcdefghijkl", static_cast<Compression>(1)) + "mnopqr" +
               block("abcdefg", Compression::Zstd) + ".not a block at all, but bytes"),
         {OPEN(Mode::Read, Format::Binary), STEP(takeArray(file, DataType::Byte, 6, 6)),
          STEP(takeArray(file, DataType::Char, 2, 6, {2})), STEP(takeArray(file, DataType::Rgba8, 1, 6, {.offset = 1})),
          STEP(takeArray(file, DataType::Rgba8, 3, 24, {8})), STEP(takeArray(file, DataType::Rgb8, 2, 6)),
          STEP(takeArray(file, DataType::Byte, 3, 12, {3})), STEP(takeArray(file, DataType::Bool, 3, 3)),
          STEP(takeArray(file, DataType::Byte, 3, 3)), STEP(file->close())}},
        {"ArraysOfBytesFromATextFile",
         aFile("12 34 true" + block("abcdefghijkl", static_cast<Compression>(1), true) + "5 6 7"),
         {OPEN(Mode::Read, Format::Text), STEP(takeArray(file, DataType::Byte, 3, 6)),
          STEP(takeArray(file, DataType::Byte, 1, 6, {2})), STEP(takeArray(file, DataType::Bool, 4, 4)),
          STEP(takeArray(file, DataType::ColorRef, 3, 12, {5})),
          STEP(takeArray(file, DataType::Rgb8, 4, 24, {.stride = 6, .offset = 1})), STEP(file->close())}},
        {"ArraysOfBytesLongerThanTheChunk",
         aFile(block(kNoise, static_cast<Compression>(1)) + kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(takeArray(file, DataType::Rgba8, kBuffer / 4, kBuffer + 20)),
          STEP(takeArray(file, DataType::Byte, kBuffer + 3, kBuffer + 3)),
          STEP(takeArray(file, DataType::Byte, kBuffer + 300, kBuffer + 300)), STEP(file->close())}},
        {"ArraysFromATextFile",
         aFile(kNumbers),
         {OPEN(Mode::Read, Format::Text), STEP(takeArray(file, DataType::Int32, 2, 8)),
          STEP(takeArray(file, DataType::Float, 1, 4)), STEP(takeArray(file, DataType::Bool, 1, 8, {4})),
          STEP(takeArray(file, DataType::Byte, 2, 8, {.stride = 4, .offset = 2})),
          STEP(takeArray(file, DataType::Vec2d, 3, 48)), STEP(takeArray(file, DataType::Int16, 3, 6)),
          STEP(takeArray(file, DataType::Ptr, 1, 8)), STEP(takeArray(file, DataType::Double, 2, 16, {.offset = 8})),
          STEP(takeArray(file, DataType::UInt64, 1, 8)), STEP(takeArray(file, DataType::UInt64, 1, 8)),
          STEP(takeArray(file, DataType::UInt64, 1, 8)), STEP(file->close())}},
        {"ATextArrayThatEndsTheFile",
         aFile("1 2 3"),
         {OPEN(Mode::Read, Format::Text), STEP(takeArray(file, DataType::Int32, 3, 12)),
          STEP(takeArray(file, DataType::Int32, 3, 12)), STEP(file->seek(0)),
          STEP(takeArray(file, DataType::Int32, 5, 20)), STEP(file->seek(5)),
          STEP(takeArray(file, DataType::Int32, 2, 20)), STEP(file->close())}},
        {"TextArraysAcrossTheEndOfTheChunk",
         aFile(kManyNumbers),
         {OPEN(Mode::Read, Format::Text), STEP(takeBlock(file, Compression::None, kAlmost.substr(0, kBuffer - 7))),
          STEP(takeArray(file, DataType::Int32, 5, 20)),
          STEP(takeBlock(file, Compression::None, kAlmost.substr(0, 3900))),
          STEP(takeArray(file, DataType::Float, 40, 160)), STEP(file->close())}},
        {"ALargeTextArray",
         aFile(kManyNumbers),
         {OPEN(Mode::Read, Format::Text), STEP(takeArray(file, DataType::UInt16, kBuffer / 4 + 1002, kBuffer)),
          STEP(file->close())}},
        {"ATokenLongerThanTheChunk",
         aFile(kDigits + kNumbers),
         {OPEN(Mode::Read, Format::Text), STEP(takeArray(file, DataType::Int32, 2, 8)), STEP(take<char>(file)),
          STEP(takeArray(file, DataType::Double, 2, 16)), STEP(file->close())}},
        {"ArraysInTheThirdMode",
         nothing(),
         {OPEN(kThird, Format::Binary), STEP(putArray(file, DataType::Int32, 3, kNoise)),
          STEP(putArray(file, DataType::Rgba8, 3, kNoise, true)), STEP(putArray(file, DataType::Ptr, 3, kNoise)),
          STEP(takeArray(file, DataType::Int32, 3, 12)), STEP(takeArray(file, DataType::Byte, 3, 12)),
          STEP(takeArray(file, DataType::Byte, 3, 12, {4})), STEP(putArray(file, DataType::Byte, kBuffer + 1, kNoise)),
          STEP(putArray(file, DataType::Double, 3, kNoise)), STEP(file->close())}},
        {"ArraysInTheThirdModeOnADevice",
         aFileThatClaims(kDirectory, ""),
         {OPEN(kThird, Format::Text), STEP(file->seek(0)), STEP(takeArray(file, DataType::Int32, 3, 12)),
          STEP(putArray(file, DataType::Int32, 3, kNoise)), STEP(takeArray(file, DataType::Int32, 1, 4)),
          STEP(putArray(file, DataType::Byte, 30, "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15")),
          STEP(takeArray(file, DataType::Byte, 3, 12)), STEP(file->write(kAlmost.c_str())),
          STEP(takeArray(file, DataType::Byte, 3, 12)), STEP(takeArray(file, DataType::Byte, 3, 12)),
          STEP(putArray(file, DataType::Double, 10, kNoise)), STEP(takeArray(file, DataType::Int16, 2, 12, {4})),
          STEP(file->close())}},
        {"ArraysInAFourthMode",
         aFile(kNumbers + kManyNumbers),
         {OPEN(kFourth, Format::Binary), STEP(takeArray(file, DataType::Int32, 2, 8)),
          STEP(takeArray(file, DataType::Byte, 4, 4)), STEP(putArray(file, DataType::Int32, 2, kNoise)),
          STEP(takeArray(file, DataType::Byte, 2, 4, {2})), STEP(takeArray(file, DataType::Ptr, 2, 16)),
          STEP(takeArray(file, DataType::Int32, 30, 120)), STEP(putArray(file, DataType::Byte, kBuffer, kNoise)),
          STEP(takeArray(file, DataType::Int16, 4, 8)), STEP(file->close())}},
        {"ArraysThatCannotBeCounted",
         aFile(kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(takeArray(file, DataType::Int64, 1ull << 61, 8)),
          STEP(take<char>(file)), STEP(takeArray(file, DataType::Int64, 1ull << 61, 8)), STEP(take<char>(file)),
          STEP(takeArray(file, DataType::Rgba8, 1ull << 62, 8)), STEP(take<char>(file)),
          OPEN(Mode::Write, Format::Text), STEP(file->write('a')),
          STEP(putArray(file, DataType::Int64, 1ull << 61, kNoise)),
          STEP(putArray(file, DataType::Rgba8, 1ull << 62, kNoise, true)), OPEN(Mode::Write, Format::Binary),
          STEP(putArray(file, DataType::Int64, 1ull << 61, kNoise)), STEP(file->close())}},
        {"ArraysThatAreNone",
         aFile("abc"),
         {STEP(putArray(file, DataType::Int32, 1, kNoise)), STEP(takeArray(file, DataType::Int32, 1, 4)),
          OPEN(Mode::Read, Format::Binary), STEP(putArray(file, DataType::Int32, 0, kNoise)),
          STEP(takeArray(file, DataType::Int32, 0, 4)), STEP(takeArray(file, DataType::Null, 1, 8)),
          STEP(takeArray(file, static_cast<DataType>(60), 1, 8)), STEP(shown(file->read(BufRef{}))),
          STEP(takeArray(file, DataType::Byte, 0, 8)), OPEN(Mode::Write, Format::Text),
          STEP(takeArray(file, DataType::Int32, 0, 4)), STEP(putArray(file, DataType::Int32, 0, kNoise)),
          STEP(putArray(file, DataType::Null, 1, kNoise)), STEP(putArray(file, static_cast<DataType>(60), 1, kNoise)),
          STEP(shown(file->write(BufRef{}, true))), STEP(file->close())}},
        {"RecordsToABinaryFile",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(math::Vec2d(1, 2))),
          STEP(file->write(math::Quatd(0, -0.0, 0.1, 1))), STEP(file->write(kAlmost.c_str() + 56)),
          STEP(file->write(math::Vec4d(1, 2, 3, 4))), STEP(file->write(math::Mat3d(1, 2, 3, 4, 5, 6, 7, 8, 9))),
          STEP(file->write(math::Vec3d(1e300, 2, 3))), STEP(file->close())}},
        {"RecordsToATextFile",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(file->write(math::Pos2d(1, 2))),
          STEP(file->write(math::Rgbad(0.5, 0.25, 0.1, 1))), STEP(file->write(kAlmost.c_str() + 30)),
          STEP(file->write(math::Pos3d(1, -2, 3))), STEP(file->write(math::Mat3d(1, 2, 3, 4, 5, 6, 7, 8, 9))),
          STEP(file->close())}},
        {"RecordsFromABinaryFile",
         aFile(kAlmost + pattern(90)),
         {OPEN(Mode::Read, Format::Binary), STEP(takeRecord<math::Vec2d>(file)), STEP(takeRecord<math::Mat4d>(file)),
          STEP(takeBlock(file, Compression::None, kAlmost.substr(180))), STEP(takeRecord<math::Rgbad>(file)),
          STEP(takeRecord<math::Mat3d>(file)), STEP(takeRecord<math::Vec3d>(file)), STEP(take<char>(file)),
          STEP(takeRecord<math::Pos2d>(file)), STEP(file->close())}},
        {"RecordsFromWhatGivesNone",
         aFile(kAlmost),
         {STEP(takeRecord<math::Vec2d>(file)), OPEN(Mode::Read, Format::Text), STEP(takeRecord<math::Vec3d>(file)),
          STEP(takeRecord<math::Vec4d>(file)), STEP(file->write(math::Vec2d(1, 2))), OPEN(kFourth, Format::Binary),
          STEP(takeRecord<math::Pos2d>(file)), STEP(file->write(math::Vec2d(1, 2))), OPEN(Mode::Write, Format::Binary),
          STEP(takeRecord<math::Pos3d>(file)), STEP(takeRecord<math::Quatd>(file)), OPEN(kThird, Format::Binary),
          STEP(takeRecord<math::Rgbad>(file)), STEP(file->write(math::Pos2d(1, 2))),
          STEP(file->open("simulated/none", Mode::Read, Format::Binary)), STEP(takeRecord<math::Mat3d>(file)),
          STEP(file->write(math::Mat4d())), STEP(file->close()), STEP(takeRecord<math::Mat4d>(file))}},
        {"NumbersThereAndBack",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(putNumbers(file)), STEP(file->flush()), STEP(putNumbers(file)),
          STEP(file->close()), OPEN(Mode::Read, Format::Binary), STEP(takeNumbers(file)), STEP(file->peek()),
          STEP(takeNumbers(file)), STEP(takeNumbers(file)), STEP(file->close())}},
        {"TextsThereAndBack",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write("abc")), STEP(file->write("")), STEP(file->flush()),
          STEP(file->printLn("%s-%05d", "def", 42)), STEP(file->print("%s", "")), STEP(file->write(kWords.c_str())),
          OPEN(Mode::Read, Format::Binary), STEP(takeText(file)), STEP(takeStandard(file)), STEP(takeBuilt(file)),
          STEP(takeText(file)), STEP(file->peek()), STEP(takeBuilt(file)), STEP(takeText(file)), STEP(file->close())}},
        {"BlocksThereAndBack",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(putBlock(file, kWords, Compression::Zlib)), STEP(file->flush()),
          STEP(putBlock(file, "", Compression::Zlib)), STEP(putBlock(file, "ab", Compression::Zstd)),
          OPEN(Mode::Read, Format::Text), STEP(takeBlock(file, Compression::Lz4)),
          STEP(takeBlock(file, Compression::Lz4)), STEP(file->peek()), STEP(takeBlock(file, Compression::Lz4)),
          STEP(takeBlock(file, Compression::Lz4)), STEP(file->read()), STEP(file->close())}},
        {"ArraysThereAndBack",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(putSomeOfEach(file, false)), STEP(file->flush()),
          STEP(putSomeOfEach(file, true)), OPEN(Mode::Read, Format::Binary), STEP(takeSomeOfEach(file)),
          STEP(takeSomeOfEach(file)), STEP(takeSomeOfEach(file)), STEP(file->close())}},
        {"ArraysThroughText",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(putSomeOfEach(file, false)), STEP(file->write(' ')),
          STEP(putSomeOfEach(file, true)), OPEN(Mode::Read, Format::Text), STEP(takeSomeOfEach(file)),
          STEP(takeSomeOfEach(file)), STEP(file->close())}},
        {"RecordsOfEveryTypeThereAndBack",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(putRecords(file)), STEP(file->flush()), STEP(putRecords(file)),
          OPEN(Mode::Read, Format::Binary), STEP(takeRecords(file)), STEP(file->seek(100)), STEP(takeRecords(file)),
          STEP(file->close()), OPEN(Mode::Write, Format::Text), STEP(putRecords(file)), STEP(file->close())}},
        {"ChainsThatGoOnAfterAFailure",
         aFile(pattern(40)),
         {OPEN(Mode::Read, Format::Binary), STEP(streamAll(file, 1, 'c')), STEP((takeAll<long, double>(file, true))),
          STEP(take<int>(file, true)), STEP((takeAll<long, double>(file, true))), OPEN(Mode::Write, Format::Binary),
          STEP(streamAll(file, 1, "abc")), STEP(take<int>(file, true)), STEP(put(file, math::Vec2d(1, 2), true)),
          STEP(file->close()), STEP(put(file, 1, true))}},
        {"PeeksBetweenReads",
         aFile(record("abc") + pattern(30)),
         {OPEN(Mode::Read, Format::Binary), STEP(file->peek()), STEP(takeText(file)), STEP(file->peek()),
          STEP(take<int>(file)), STEP(file->peek()), STEP(file->skip(2)), STEP(file->peek()), STEP(take<long>(file)),
          STEP(file->peek()), STEP(file->seek(60)), STEP(file->peek()), STEP(file->seek(39)), STEP(file->peek()),
          STEP(take<short>(file)), STEP(file->peek()), STEP(file->close())}},
        {"PeeksAtTheEdgesOfChunks",
         aFile(pattern(kBuffer + 2)),
         {OPEN(Mode::Read, Format::Binary), STEP(file->seek(1)), STEP(takeBlock(file, Compression::None, kFull)),
          STEP(file->peek()), STEP(take<char>(file)), STEP(file->peek()), STEP(file->seek(kBuffer)), STEP(file->peek()),
          STEP(take<short>(file)), STEP(file->peek()), STEP(take<char>(file))}},
        {"TwoHandlesOfTheirOwnOnOneFile",
         aFile(pattern(30)),
         {OPEN(Mode::Read, Format::Binary), STEP(anew(copy, disk)),
          STEP(copy->open("simulated/a", Mode::Read, Format::Text)), STEP(take<int>(file)), STEP(take<long>(copy)),
          STEP(file->skip(-10)), STEP(copy->read()), STEP(take<int>(file)), STEP(copy->peek()), STEP(file->close()),
          STEP(take<int>(copy)), STEP(copy->close())}},
        {"AReaderOfWhatIsStillBeingWritten",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(1l)), STEP(anew(copy, disk)),
          STEP(copy->open("simulated/a", Mode::Read, Format::Binary)), STEP(take<int>(copy)), STEP(file->flush()),
          STEP(take<int>(copy)), STEP(copy->open("simulated/a", Mode::Read, Format::Binary)), STEP(take<int>(copy)),
          STEP(file->write("more")), STEP(file->close()), STEP(copy->seek(4)), STEP(take<int>(copy)),
          STEP(copy->read()), STEP(copy->close())}},
        {"TwoWritersOfOneFile",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(file->write("first")), STEP(anew(copy, disk)),
          STEP(copy->open("simulated/a", Mode::Write, Format::Text)), STEP(copy->write("2nd")), STEP(file->flush()),
          STEP(copy->flush()), STEP(file->write("!")), STEP(copy->seek(1)), STEP(copy->write("?")), STEP(letGo(copy)),
          STEP(file->close())}},
        {"AFileThatVanishes",
         aFile(record("abc") + pattern(20)),
         {OPEN(Mode::Read, Format::Binary), STEP(takeText(file)), STEP(vanish(disk)), STEP(take<int>(file)),
          STEP(file->seek(0)), STEP(takeText(file)), STEP(file->peek()), OPEN(Mode::Read, Format::Binary),
          STEP(take<int>(file)), OPEN(Mode::Write, Format::Binary), STEP(file->write(1)), STEP(vanish(disk)),
          STEP(file->flush()), STEP(file->write(2)), STEP(file->close()), OPEN(Mode::Read, Format::Binary)}},
        {"AFileInThePlaceOfAnother",
         aFile(pattern(20)),
         {OPEN(Mode::Read, Format::Text), STEP(take<int>(file)), STEP(vanish(disk)), STEP(change(disk, "another")),
          STEP(file->read()), STEP(take<int>(file)), OPEN(Mode::Read, Format::Text), STEP(file->read()),
          STEP(take<int>(file)), STEP(file->close())}},
        {"ShrinksIsReadGrowsAndIsRead",
         aFile(kLonger),
         {OPEN(Mode::Read, Format::Binary), STEP(change(disk, pattern(300))), STEP(take<int>(file)),
          STEP(file->skip(0)), STEP(take<int>(file)), STEP(change(disk, kLonger)), STEP(take<int>(file)),
          STEP(takeBlock(file, Compression::None, kFull)), STEP(take<long>(file)), STEP(file->peek()),
          STEP(takeBlock(file, Compression::None, kFull)), STEP(take<long>(file)), STEP(file->close())}},
        {"GrowsBehindASeekPastTheEnd",
         aFile(pattern(4)),
         {OPEN(Mode::Read, Format::Binary), STEP(file->seek(4)), STEP(take<char>(file)), STEP(file->seek(9)),
          STEP(take<char>(file)), STEP(change(disk, pattern(10))), STEP(take<char>(file)), STEP(file->seek(9)),
          STEP(take<char>(file)), STEP(change(disk, pattern(kBuffer + 9))), STEP(file->seek(9)), STEP(take<char>(file)),
          STEP(change(disk, kLonger + kFull)), STEP(file->seek(9)), STEP(take<char>(file)), STEP(take<char>(file)),
          STEP(takeBuilt(file)), STEP(file->close())}},
        {"SeeksAsFarAsNumbersGo",
         aFile(pattern(20)),
         {OPEN(Mode::Read, Format::Binary), STEP(take<char>(file)), STEP(file->seek(INT64_MIN)),
          STEP(file->seek(INT64_MAX)), STEP(file->skip(1)), STEP(take<char>(file)), STEP(file->skip(INT64_MAX)),
          STEP(file->skip(INT64_MIN)), STEP(file->peek()), STEP(file->seek(3)), STEP(file->skip(INT64_MIN)),
          STEP(take<char>(file)), OPEN(Mode::Write, Format::Text), STEP(file->write("ab")), STEP(file->skip(INT64_MAX)),
          STEP(file->write("c")), STEP(file->skip(INT64_MIN)), STEP(file->close())}},
        {"OverwritesWhatItWrote",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->write(0l)), STEP(file->write("the payload")),
          STEP(file->seek(0)), STEP(file->write(19l)), STEP(file->skip(11)), STEP(file->write('.')),
          STEP(file->seek(30)), STEP(file->write(1)), STEP(file->seek(4)), STEP(file->flush()),
          STEP(file->write(short{2})), STEP(file->close()), OPEN(Mode::Read, Format::Binary), STEP(take<long>(file)),
          STEP(takeText(file)), STEP(file->close())}},
        {"ALogThatIsFlushedLineByLine",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(printSum(file, 1, 2) && file->flush()),
          STEP(printSum(file, 3, 4) && file->flush()), STEP(printSum(file, 5, 6) && file->flush()),
          STEP(printSum(file, 7, 8) && file->flush()), STEP(printSum(file, 9, 10) && file->flush()), STEP(file->ok()),
          STEP(file->close())}},
        {"APrintThatFails",
         nothing(),
         {OPEN(Mode::Write, Format::Binary), STEP(file->print("ab%lc", static_cast<std::wint_t>(0x20ac))),
          STEP(file->printLn("ab%lc", static_cast<std::wint_t>(0x20ac))), STEP(file->write(kAlmost.c_str() + 30)),
          STEP(file->print("%s and %d", "more", 7)), STEP(file->print("%300d", 1)), STEP(file->close())}},
        {"OneFileAfterAnother",
         aFile("old"),
         {OPEN(Mode::Write, Format::Text), STEP(file->write(1)),
          STEP(file->open("simulated/b", Mode::Write, Format::Binary)), STEP(file->write("b")),
          STEP(file->open("simulated/c", kThird, Format::Binary)), STEP(file->write("c")),
          STEP(file->open("simulated/b", Mode::Read, Format::Binary)), STEP(takeText(file)),
          STEP(file->open("simulated/none", Mode::Read, Format::Binary)), OPEN(kFourth, Format::Text),
          STEP(file->read()), STEP(file->open("simulated/c", Mode::Write, Format::Text)), STEP(letGo(file))}},
        {"AFormatThatIsNone",
         aFile(record("abc") + ".1.3.0.12 34"),
         {OPEN(Mode::Read, kNoFormat), STEP(takeText(file)), STEP(takeBlock(file, Compression::Lz4)),
          STEP(takeArray(file, DataType::Int32, 2, 8)), STEP(takeRecord<math::Vec2d>(file)), STEP(file->read()),
          OPEN(Mode::Write, kNoFormat), STEP(file->write(1)), STEP(file->write("abc")), STEP(file->write("")),
          STEP(putBlock(file, kWords, Compression::Lz4)), STEP(putArray(file, DataType::Int32, 2, kNoise)),
          STEP(file->write(math::Vec2d(1, 2))), STEP(file->seek(0)), STEP(file->close())}},
        {"AFlushForEveryValueAtTheEdgeOfTheBuffer",
         nothing(),
         {OPEN(Mode::Write, Format::Text), STEP(file->write(kAlmost.c_str())), STEP(file->write("ab")),
          STEP(file->write('c')), STEP(file->flush()), STEP(file->write(kFull.c_str())), STEP(file->flush()),
          STEP(file->write(kLong.c_str())), STEP(file->flush()), STEP(file->write('d')), STEP(file->seek(3)),
          STEP(file->write(kLong.c_str())), STEP(file->close())}},
        {"TheThirdModeSeeksBetweenSpills",
         nothing(),
         {OPEN(kThird, Format::Text), STEP(file->write(kLong.c_str())), STEP(file->write(1)), STEP(file->seek(5)),
          STEP(file->write(kLong.c_str())), STEP(file->skip(-3)), STEP(file->write(2)), STEP(file->peek()),
          STEP(file->flush()), STEP(take<int>(file)), STEP(file->write(kLong.c_str())), STEP(file->read()),
          STEP(takeText(file)), STEP(file->close())}},
    };
    return all;
}

// ---- The faults -----------------------------------------------------------------------------------------------------

struct Way {
    Call call;
    const char* name;
    Shortfall shortfall;
};

const Way kWays[] = {
    {Call::Open, "open fails", {Shortfall::ToCount, 0}},
    {Call::Read, "read short by 1", {Shortfall::ByCount, 1}},
    {Call::Read, "read short by half", {Shortfall::ByHalf}},
    {Call::Read, "read short to 0", {Shortfall::ToCount, 0}},
    {Call::Write, "write short by 1", {Shortfall::ByCount, 1}},
    {Call::Write, "write short by half", {Shortfall::ByHalf}},
    {Call::Write, "write short to 0", {Shortfall::ToCount, 0}},
    {Call::Seek, "seek fails", {Shortfall::ToCount, 0}},
    {Call::Tell, "tell fails", {Shortfall::ToCount, 0}},
    {Call::Flush, "flush fails", {Shortfall::ToCount, 0}},
    {Call::Close, "close fails", {Shortfall::ToCount, 0}},
};

/// A scenario, run again and again with faults added to it.
class Runs {
 public:
    explicit Runs(const Scenario& which) : scenario(which) {}

    /// Runs with each call failing in each way, and if there are to be two faults, with each of the next calls of every
    /// function failing as well; of the first faults, takes those whose turn, counted on, `every` divides. Returns
    /// whose turn is next.
    std::uint64_t sweep(std::size_t number, std::uint64_t every = 1, std::uint64_t turn = 0) {
        const Calls calls = run();
        if (faults.size() == number || !difference.empty()) return turn;
        for (const Way& way : kWays) {
            if (failsEverAfter(way.call)) continue;
            const auto call = static_cast<std::size_t>(way.call);
            const std::uint64_t before = calls.before[call];
            const std::uint64_t last = faults.empty() ? calls.all[call] : std::min(calls.all[call], before + kNext);
            for (std::uint64_t n = before + 1; n <= last; ++n) {
                for (const bool everAfter : {false, true}) {
                    if (turn++ % every != 0) continue;
                    faults.push_back({way, n, everAfter});
                    sweep(number);
                    if (!difference.empty()) return turn;
                    faults.pop_back();
                }
            }
        }
        return turn;
    }

    /// How many runs there were with so many faults.
    std::uint64_t with(std::size_t number) const { return counts.at(number); }

    /// The first difference and how it came about; empty if there was none.
    std::string found() const {
        if (difference.empty()) return "";
        std::string story = scenario.name + ":\n";
        for (const Chosen& fault : faults) {
            story += "  " + std::string(fault.way.name) + ", call " + std::to_string(fault.n) +
                     (fault.everAfter ? " and all after it\n" : "\n");
        }
        return story + difference;
    }

 private:
    // After a fault, each scalar of an array may be a call of its own. The next ones stand for them all.
    static constexpr std::uint64_t kNext = 24;

    struct Chosen {
        const Way& way;
        std::uint64_t n;
        bool everAfter;
    };

    /// How often each function was called by the time that the last of the faults was met, and at the end.
    struct Calls {
        std::array<std::uint64_t, 7> before;
        std::array<std::uint64_t, 7> all;
    };

    bool failsEverAfter(Call call) const {
        return std::ranges::any_of(faults, [&](const Chosen& f) { return f.everAfter && f.way.call == call; });
    }

    Calls run() {
        SideBySide both([this](Disk& disk) {
            scenario.prepare(disk);
            for (const auto& [way, n, everAfter] : faults) disk.add({way.call, n, everAfter, way.shortfall});
        });
        for (std::size_t i = 0; i < scenario.steps.size() && difference.empty(); ++i) {
            difference = both.after(scenario.steps[i]);
            if (!difference.empty()) difference = "step " + std::to_string(i) + ": " + difference;
        }
        if (difference.empty()) difference = both.atTheEnd();
        if (difference.empty() && both.disk.faultsMet() < faults.size()) difference = "not all faults were met";
        ++counts[faults.size()];

        Calls calls = {};
        for (std::size_t i = 0; i < calls.all.size(); ++i) {
            calls.before[i] = both.disk.callsUntilTheLastFault(static_cast<Call>(i));
            calls.all[i] = both.disk.callsOf(static_cast<Call>(i));
        }
        return calls;
    }

    const Scenario& scenario;
    std::vector<Chosen> faults;
    std::string difference;
    std::array<std::uint64_t, 3> counts = {};
};

TEST(StdioFaults, LeaveTheLibraryAndTheModelAlike) {
    std::uint64_t injected = 0;
    for (std::size_t i = 0; i < scenarios().size(); i += isBrief() ? 5 : 1) {
        const Scenario& scenario = scenarios()[i];
        Runs runs(scenario);
        runs.sweep(1);
        ASSERT_EQ(runs.found(), "");
        EXPECT_GT(runs.with(1), 0u) << scenario.name;
        injected += runs.with(1);
    }
    figure("scenarios that stdio faults go through", scenarios().size(), 60);
    figure("stdio faults", injected, 5000);
}

// The pairs are dealt out to several tests by the first of the two, so that several processors can run them. In most
// runs only some of them are taken.
constexpr std::uint64_t kParts = 5;

class PairsOfStdioFaults : public ::testing::TestWithParam<std::uint64_t> {};

TEST_P(PairsOfStdioFaults, LeaveTheLibraryAndTheModelAlike) {
    const std::uint64_t eachOf = isThorough() ? 1 : isBrief() ? 401 : 101;
    std::uint64_t pairs = 0;
    std::uint64_t turn = eachOf * GetParam();
    for (const Scenario& scenario : scenarios()) {
        Runs runs(scenario);
        turn = runs.sweep(2, eachOf * kParts, turn);
        ASSERT_EQ(runs.found(), "");
        pairs += runs.with(2);
    }
    figure("pairs of stdio faults, part " + std::to_string(GetParam() + 1) + " of " + std::to_string(kParts), pairs,
           rounds(80, 20'000));
}

INSTANTIATE_TEST_SUITE_P(Part, PairsOfStdioFaults, ::testing::Range<std::uint64_t>(0, kParts));

}  // namespace
}  // namespace qor::test
