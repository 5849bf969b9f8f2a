// The memory that a stranger's file can make a reader take: never above twice the bytes that are really there, which
// are those of the file and those that were produced of them, and 1 MiB.
//
// Every reader reads every hostile file, in every way to open it, whatever the file was made for.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <ctime>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "file/contents.h"
#include "memory/sanitized.h"
#include "qor/core/codec/xxhash.h"
#include "support/figures.h"
#include "support/heap.h"

namespace qor::test {
namespace {

using namespace std::literals;
using Vector = ds::Vector<unsigned char>;

constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
constexpr Compression kKinds[] = {Compression::Lz4, Compression::Zlib, Compression::Zstd};

std::string nameOf(Compression kind) {
    return kind == Compression::Lz4 ? "Lz4" : kind == Compression::Zlib ? "Zlib" : "Zstd";
}

// ---- Hostile files --------------------------------------------------------------------------------------------------

struct Hostile {
    std::string name;
    std::string content;
    std::uint64_t produced = 0;  // what there is in its block, if that is more than the file itself
};

using Visit = std::function<void(const Hostile&)>;

std::string noise(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t state = 1;
    for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
}

std::string compressed(std::string_view content, Compression kind, bool asText = false) {
    const Vector payload =
        compress(reinterpret_cast<const unsigned char*>(content.data()), content.size(), asText, kind);
    return {payload.begin(), payload.end()};
}

std::string binaryBlock(std::uint64_t size, std::uint64_t payloadSize, std::string_view payload) {
    return ".1." + count(size) + '.' + count(payloadSize) + '.' += payload;
}
std::string textBlock(std::uint64_t size, std::uint64_t payloadSize, std::string_view payload) {
    return ".1." + std::to_string(size) + '.' + std::to_string(payloadSize) + '.' += payload;
}

// Base64, by another hand than the library's.
std::string base64(std::string_view bytes) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            bits = bits << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        }
        for (int k = 0; k < 4; ++k) text += kDigits[bits >> (18 - 6 * k) & 63];
    }
    for (std::size_t k = 0; k < (3 - bytes.size() % 3) % 3; ++k) text[text.size() - 1 - k] = '=';
    return text;
}

// A claim of each kind: all that a number can say, what no memory holds, and one more than there is. For what takes
// long to read, some of them.
std::vector<std::uint64_t> claimsBeside(std::uint64_t left) {
    if (left > kMiB) return {kMost, std::uint64_t{1} << 29, left + 1};
    return {kMost,
            kMost - 7,
            std::uint64_t{1} << 63,
            (std::uint64_t{1} << 63) - 1,
            std::uint64_t{1} << 60,
            std::uint64_t{1} << 40,
            std::uint64_t{1} << 29,
            left + 1};
}

void visitLiars(const Visit& visit) {
    for (const std::string& tail : {std::string(), "ten bytes."s, noise(3 * kMiB), std::string(3 * kMiB, '7')}) {
        const std::string behind = " before " + std::to_string(tail.size()) + " bytes";
        for (const std::uint64_t claim : claimsBeside(tail.size())) {
            const std::string claims = " claims " + std::to_string(claim);
            visit({"A count" + claims + behind, count(claim) + tail});
            visit({"A payload" + claims + behind, binaryBlock(5, claim, tail)});
            visit({"A payload in text" + claims + behind, textBlock(5, claim, tail)});
            visit({"A content" + claims + behind, binaryBlock(claim, tail.size(), tail)});
            visit({"A content in text" + claims + behind, textBlock(claim, tail.size(), tail)});
        }
        visit({"Characters without a space" + behind, tail});
    }
    for (const Compression kind : kKinds) {
        for (const std::string& content : {pattern(40), noise(3 * kMiB)}) {
            const std::string payload = compressed(content, kind);
            const std::string text = compressed(content, kind, true);
            for (const std::uint64_t claim : claimsBeside(content.size())) {
                const std::string name =
                    nameOf(kind) + " of " + std::to_string(content.size()) + " bytes claims " + std::to_string(claim);
                visit({name, binaryBlock(claim, payload.size(), payload), content.size()});
                visit({name + ", in text", textBlock(claim, text.size(), text), content.size()});
            }
            visit({nameOf(kind) + " of noise, in text", textBlock(content.size(), text.size(), text)});
        }
    }
}

// ---- Bombs ----------------------------------------------------------------------------------------------------------

// LZ4 frame without a content size: blocks that each make 4 MiB of one byte; then one that breaks, and behind it as
// many more as make the claim possible.
std::string lz4Bomb(std::size_t good, std::size_t more) {
    const std::string header = "\x60\x70"s;
    std::string frame = "\x04\x22\x4D\x18" + header;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(header.data());
    frame += static_cast<char>(impl::xxh32({bytes, 2}) >> 8);
    constexpr std::size_t kRun = 4 * kMiB - 1 - 4 - 15;  // beside the literal, and what a token has of itself
    const std::string run =
        "\x1F"
        "a"
        "\x01\0"s +
        std::string(kRun / 255, '\xff') + static_cast<char>(kRun % 255) + '\0';
    const std::string broken =
        "\x1F"
        "a"
        "\0\0"s +
        std::string(kRun / 255, '\xff') + "\0\0"s;
    const auto add = [&frame](const std::string& block) { frame += count(block.size()).substr(0, 4) + block; };
    for (std::size_t i = 0; i < good; ++i) add(run);
    if (more > 0) add(broken);
    for (std::size_t i = 0; i < more; ++i) add(run);
    return frame + std::string(4, '\0');
}

// Zstandard frame without a content size: blocks of 128 KiB of one byte, then one that breaks, and more.
std::string zstdBomb(std::size_t good, std::size_t more) {
    std::string frame = "\x28\xB5\x2F\xFD\0\x80"s;  // a window of 64 MiB
    const auto add = [&frame](std::uint32_t type, std::uint32_t size, std::string_view data, bool isLast) {
        frame += count(size << 3 | type << 1 | (isLast ? 1 : 0)).substr(0, 3) += data;
    };
    constexpr std::uint32_t kRun = 1, kCompressed = 2;
    for (std::size_t i = 0; i < good; ++i) add(kRun, 0x20000, "a", more == 0 && i + 1 == good);
    if (more > 0) add(kCompressed, 3, "\0\1\3"sv, false);  // no literals, one sequence, and modes that are reserved
    for (std::size_t i = 0; i < more; ++i) add(kRun, 0x20000, "a", i + 1 == more);
    return frame;
}

// A zlib stream of zeros, and behind it bytes that do not belong to it but make the claim possible.
std::string zlibBomb(std::size_t good, std::size_t more) {
    return compressed(std::string(good, '\0'), Compression::Zlib) + std::string(more, '\0');
}

void visitBombs(const Visit& visit) {
    const auto add = [&visit](const std::string& name, const std::string& payload, std::uint64_t claim,
                              std::uint64_t produced) {
        const std::string text = base64(payload);
        visit({name, binaryBlock(claim, payload.size(), payload), produced});
        visit({name + ", in text", textBlock(claim, text.size(), text), produced});
    };
    for (const std::uint64_t size : {4 * kMiB, 12 * kMiB, 28 * kMiB}) {
        const std::string of = " makes " + std::to_string(size / kMiB) + " MiB";
        add("Lz4 that" + of, lz4Bomb(size / (4 * kMiB), 0), size, size);
        add("Zlib that" + of, zlibBomb(size, 0), size, size);
        add("Zstd that" + of, zstdBomb(size / 0x20000, 0), size, size);

        constexpr std::uint64_t kClaim = 900 * kMiB;
        add("Lz4 that" + of + " and breaks", lz4Bomb(size / (4 * kMiB), 225), kClaim, size);
        add("Zlib that" + of + " and breaks", zlibBomb(size, kMiB), kClaim, size);
        add("Zstd that" + of + " and breaks", zstdBomb(size / 0x20000, 7200), kClaim, size);
    }
    for (const Compression kind : kKinds) {
        const std::string zeros(20 * kMiB, '\0');
        add(nameOf(kind) + " of 20 MiB of zeros", compressed(zeros, kind), zeros.size(), zeros.size());
        // It ends with the first byte beyond the claim.
        add(nameOf(kind) + " that claims a byte less", compressed(zeros, kind), zeros.size() - 1, zeros.size());
    }
}

// Each in its turn, since all of them together are hundreds of mebibytes.
void eachHostileFile(const Visit& visit) {
    std::size_t number = 0;
    const Visit visitSome = [&](const Hostile& hostile) {
        if (!isBrief() || number++ % 7 == 0) visit(hostile);
    };
    visitLiars(visitSome);
    visitBombs(visitSome);
}

// ---- Readers --------------------------------------------------------------------------------------------------------

struct Reader {
    const char* name;
    // Reads into `memory` what has no variable of its own.
    std::function<bool(File& file, std::vector<unsigned char>& memory)> read;
    bool isForText = true;
};

template <typename T>
bool reads(File& file) {
    T value{};
    return file.read(value);
}

bool readsArray(File& file, std::vector<unsigned char>& memory, DataType type, std::uint64_t count,
                std::uint64_t stride = 0) {
    return file.read(BufRef{memory.data(), type, count, stride});
}

constexpr std::uint64_t kTrillion = std::uint64_t{1} << 40;
constexpr std::uint64_t kMany = 100'000;  // where each that is missing takes time

#define READER(call) [](File& file, [[maybe_unused]] std::vector<unsigned char>& memory) { return call; }
const Reader kReaders[] = {
    {"a number", READER(reads<double>(file))},
    {"a String", READER(reads<String>(file))},
    {"a std::string", READER(reads<std::string>(file))},
    {"a StringIO", READER(reads<StringIO>(file))},
    {"a StringIO that holds something",
     [](File& file, std::vector<unsigned char>&) {
         StringIO builder;
         builder << "before";
         return file.read(builder);
     }},
    {"a whole text", READER(!file.read().isEmpty())},
    {"a block",
     [](File& file, std::vector<unsigned char>&) {
         Vector bytes;
         return file.read(bytes, Compression::Zstd);
     }},
    {"a file as it stands",
     [](File& file, std::vector<unsigned char>&) {
         Vector bytes;
         return file.read(bytes, Compression::None);
     }},
    {"a block into a span", READER(file.read(std::span(memory).first(5), Compression::Lz4))},
    {"a matrix", READER(reads<math::Mat4d>(file))},
    {"five bytes", READER(readsArray(file, memory, DataType::Byte, 5))},
    {"a trillion colours", READER(readsArray(file, memory, DataType::Rgba8, kTrillion))},
    {"many bytes with gaps", READER(readsArray(file, memory, DataType::Byte, kMany, 2))},
    {"many integers", READER(readsArray(file, memory, DataType::Int32, kMany))},
    {"many fractions", READER(readsArray(file, memory, DataType::Double, kMany)), false},
    {"many pointers", READER(readsArray(file, memory, DataType::Ptr, kMany)), false},
    {"more integers than can be counted", READER(readsArray(file, memory, DataType::Int16, kMost)), false},
    {"more colours than can be counted", READER(readsArray(file, memory, DataType::Rgba8, kMost / 4 + 2))},
};

struct Opening {
    Mode mode;
    Format format;
};
constexpr Opening kOpenings[] = {{Mode::Read, Format::Binary}, {Mode::Read, Format::Text}, {kSeven, Format::Text}};

std::string nameOf(const Opening& opening) {
    return opening.mode == kSeven ? "in a fourth mode" : opening.format == Format::Text ? "as text" : "as binary";
}

// Lets each reader read the file in each way, and calls `look(read)` with what does it. How many there were.
template <typename Look>
std::uint64_t eachReading(const TestFolder& files, const Hostile& hostile, Look look) {
    SCOPED_TRACE(hostile.name);
    const std::string path = files.make("a", hostile.content);
    std::vector<unsigned char> memory(8 *
                                      (hostile.content.size() + kMany));  // for an item of every character, at least
    std::uint64_t readings = 0;
    for (const Opening& opening : kOpenings) {
        for (const Reader& reader : kReaders) {
            if (opening.format == Format::Text && !reader.isForText) continue;
            SCOPED_TRACE(std::string(reader.name) + ' ' + nameOf(opening));
            File file = opened(path, opening.mode, opening.format);
            look([&] { return reader.read(file, memory); });
            ++readings;
        }
    }
    return readings;
}

TEST(ClaimedMemory, IsTakenOnlyAsFarAsItIsThere) {
    const TestFolder files;
    std::uint64_t readings = 0;
    eachHostileFile([&](const Hostile& hostile) {
        if (HasFailure()) return;
        const std::uint64_t present = hostile.content.size() + hostile.produced;
        readings += eachReading(files, hostile, [present](auto read) {
            const std::size_t peak = peakOf([&] { read(); });
            EXPECT_LE(peak, 2 * present + kMiB) << "of " << present << " bytes that are there";
        });
    });
    figure("readings of hostile files", readings, 10'000);
}

// Of the processor.
double secondsSince(std::clock_t start) { return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC; }

// ---- Where memory is scarce -----------------------------------------------------------------------------------------

#if !QOR_TEST_IS_SANITIZED

// Reads all that is hostile in a process that may have 256 MiB of addresses, and exits with 0 if each took a second at
// most. Nothing is asked of gtest: a failure is told on the way out.
[[noreturn]] void readAllInLittleMemory(const TestFolder& files) {
    rlimit limit{256 * kMiB, 256 * kMiB};
    if (setrlimit(RLIMIT_AS, &limit) != 0) std::_Exit(2);
    eachHostileFile([&files](const Hostile& hostile) {
        eachReading(files, hostile, [&hostile](auto read) {
            const std::clock_t start = std::clock();
            read();
            if (secondsSince(start) < patience(1)) return;
            std::cerr << hostile.name << " takes more than a second\n";
            std::_Exit(3);
        });
    });
    std::cerr << "all read\n";
    std::_Exit(0);
}

TEST(ClaimedMemory, IsNotMissedWhere256MiBAreAllThereIs) {
    const TestFolder files;
    EXPECT_EXIT(readAllInLittleMemory(files), ::testing::ExitedWithCode(0), "all read");
}

#endif

// An array of a trillion numbers, of which a file has a few, or not one whole, or which no stream will ever give.
TEST(ClaimedMemory, OfATrillionNumbersIsNoneAndTheyAreNotWaitedFor) {
    const TestFolder files;
    std::vector<double> numbers(10);
    const std::string folder = files.path("");
    for (const std::string& path : {files.make("a", "1 2 3 4 56"), files.make("b", "1234567"), files.make("c", ""),
                                    files.make("d", "12345678"), folder, "/dev/zero"s}) {
        for (const Opening& opening : kOpenings) {
            for (const DataType type : {DataType::Int16, DataType::Int32, DataType::Double, DataType::Ptr}) {
                SCOPED_TRACE(path + ' ' + nameOf(opening) + ' ' + std::to_string(static_cast<int>(type)));
                File file = opened(path, opening.mode, opening.format);
                const std::clock_t start = std::clock();
                EXPECT_LE(peakOf([&] { EXPECT_FALSE(file.read({numbers.data(), type, kTrillion})); }), 1000u);
                EXPECT_LT(secondsSince(start), patience(path == folder ? 10 : 1)) << "a folder fails each time";
            }
        }
    }
}

// Their bytes are more than 64 bits can count; the count of bytes that remains when it wraps is a small one.
TEST(ClaimedMemory, OfMoreItemsThanCanBeCountedIsNoneAndNothingIsStored) {
    const TestFolder files;
    const std::string path = files.make("a", pattern(1000));
    const std::vector<unsigned char> before(1000, 'b');
    for (const DataType type : {DataType::Int16, DataType::Int32, DataType::Double, DataType::Rgb8, DataType::Rgba8,
                                DataType::Vec3f, DataType::Mat4d, DataType::Obbd}) {
        const std::uint64_t last = kMost / typeSize(type);
        for (const std::uint64_t count : {last + 1, last + 2, kMost}) {
            SCOPED_TRACE(std::to_string(count) + " of type " + std::to_string(static_cast<int>(type)));
            std::vector<unsigned char> memory = before;
            File file = opened(path, Mode::Read, Format::Binary);
            EXPECT_FALSE(readsArray(file, memory, type, count));
            EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
            EXPECT_EQ(memory, before);

            file = opened(files.path("b"), Mode::Write, Format::Binary);
            EXPECT_FALSE(file.write(BufRef{memory.data(), type, count}, false));
            EXPECT_EQ(file.error(), "Fwrite failed. Requested 0, read 0.");
            EXPECT_EQ(file.pos(), 0u);
        }
    }
}

// A token is as long as a file without a space.
TEST(ClaimedMemory, OfATokenIsTwiceItsLength) {
    const TestFolder files;
    double value = -1;
    for (const std::uint64_t size : {kMiB, 33 * kMiB, 100 * kMiB}) {
        File file = opened(files.make("a", std::string(size, '0') + '7'), Mode::Read, Format::Text);
        bool done = false;
        const std::size_t peak = peakOf([&] { done = file.read({&value, DataType::Double, 1}); });
        EXPECT_LE(peak, 2 * size + kMiB);
        EXPECT_TRUE(done);
        EXPECT_EQ(value, 7);
    }
}

}  // namespace
}  // namespace qor::test
