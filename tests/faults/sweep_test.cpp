// The sweep: every scenario with every call on its stream failing in every way, one after the other, against the model.
//
// A fault is one call of one function, or that call and all after it; a read or a write also comes up short by one
// item, by half, or moves nothing. Each run has one fault, at the first call, then the second, and so on until the
// scenario passes without meeting it. After every step the library and the model agree in the result, the text, the
// counters and the calls, and at the end in the files.
#include <gtest/gtest.h>

#include <iostream>

#include "faults/side_by_side.h"

namespace qor::test {
namespace {

constexpr std::size_t kBuffer = 0x100000;

struct Scenario {
    std::string name;
    SideBySide::Prepare prepare;
    std::vector<Step> steps;
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
constexpr auto kThird = static_cast<Mode>(2);
constexpr auto kFourth = static_cast<Mode>(7);
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

/// Runs a scenario with one fault. The first difference goes to `difference`. True if the fault was met.
bool met(const Scenario& scenario, const Fault& fault, std::string& difference) {
    SideBySide both([&](Disk& disk) {
        scenario.prepare(disk);
        disk.add(fault);
    });
    for (std::size_t i = 0; i < scenario.steps.size() && difference.empty(); ++i) {
        difference = both.after(scenario.steps[i]);
        if (!difference.empty()) difference = "step " + std::to_string(i) + ": " + difference;
    }
    if (difference.empty()) difference = both.atTheEnd();
    return both.disk.faultsMet() > 0;
}

class Sweep : public ::testing::TestWithParam<std::size_t> {};

TEST_P(Sweep, AgreesWithTheModelWhateverCallFails) {
    const Scenario& scenario = scenarios()[GetParam()];
    int runs = 0;
    for (const Way& way : kWays) {
        for (const bool everAfter : {false, true}) {
            bool more = true;
            for (std::uint64_t n = 1; more; ++n) {
                std::string difference;
                more = met(scenario, {way.call, n, everAfter, way.shortfall}, difference);
                runs += more;
                ASSERT_EQ(difference, "")
                    << scenario.name << ": " << way.name << ", call " << n << (everAfter ? " and all after it" : "");
            }
        }
    }
    std::cout << scenario.name << ": " << runs << " faults\n";
    EXPECT_GT(runs, 0);
}

INSTANTIATE_TEST_SUITE_P(Every, Sweep, ::testing::Range<std::size_t>(0, scenarios().size()),
                         [](const auto& one) { return scenarios()[one.param].name; });

}  // namespace
}  // namespace qor::test
