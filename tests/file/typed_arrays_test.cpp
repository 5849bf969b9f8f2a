// Typed arrays: what each of the three routes puts into a file, what reading it back fills, and what failures leave.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <vector>

#include "file/contents.h"
#include "qor/core/endian.h"
#include "support/element_types.h"

namespace qor::test {
namespace {

using namespace std::literals;
using namespace math;

constexpr const char* kPeekRefused = "File::peek() only supported in read mode.";
constexpr std::uint64_t kTooMany = std::uint64_t{1} << 61;  // of 8 bytes: 2^64 bytes

constexpr std::uint64_t minus(std::uint64_t n) { return 0 - n; }

template <typename T>
BufRef refTo(std::vector<T>& values) {
    return bufRef(std::span(values));
}

template <typename T>
std::vector<unsigned char> memoryOf(const std::vector<T>& values) {
    std::vector<unsigned char> bytes(values.size() * sizeof(T));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

/// What a write or a read gave: the result, the text, and where it left off.
struct Transfer {
    bool done;
    std::string error;
    std::uint64_t pos;

    friend bool operator==(const Transfer&, const Transfer&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Transfer& outcome) {
        return out << (outcome.done ? "true" : "false") << ", \"" << outcome.error << "\", pos " << outcome.pos;
    }
};

Transfer put(File& file, const BufRef& ref, bool compress = false) {
    const bool done = file.write(ref, compress);
    return {done, file.error().buf(), file.pos()};
}
Transfer take(File& file, const BufRef& ref) {
    const bool done = file.read(ref);
    return {done, file.error().buf(), file.pos()};
}

class TypedArray : public WithFiles {
 protected:
    File reading(std::string_view content, Format format = Format::Binary, Mode mode = Mode::Read) {
        return opened(files.make("a", content), mode, format);
    }
    File writing(Format format = Format::Binary, Mode mode = Mode::Write) {
        return opened(files.path("a"), mode, format);
    }
};

// ---- The bytes ------------------------------------------------------------------------------------------------------

TEST_F(TypedArray, InABinaryFileIsItsScalarsLowByteFirst) {
    std::vector<Vec2f> values = {Vec2f(1, -1), Vec2f(0.5, 2), Vec2f(0, -0.0f)};
    const Bytes kScalars = "00 00 80 3f  00 00 80 bf   00 00 00 3f  00 00 00 40   00 00 00 00  00 00 00 80"_bytes;
    for (const bool compress : {false, true}) {
        EXPECT_EQ(written(Format::Binary, [&](File& file) { EXPECT_TRUE(file.write(refTo(values), compress)); }),
                  kScalars);
    }
    EXPECT_EQ(written(Format::Binary, [&](File& file) { file << refTo(values); }), kScalars);
}

TEST_F(TypedArray, OfEachWidthInABinaryFile) {
    std::vector<short> shorts = {258, -2};
    std::vector<std::uint32_t> ints = {0x12345678};
    std::vector<std::uint64_t> longs = {0x0102030405060708};
    std::vector<double> doubles = {1, -0.1};
    EXPECT_EQ(written(Format::Binary, [&](File& file) { file << refTo(shorts) << refTo(ints); }),
              "02 01  fe ff   78 56 34 12"_bytes);
    EXPECT_EQ(written(Format::Binary, [&](File& file) { file << refTo(longs) << refTo(doubles); }),
              "08 07 06 05 04 03 02 01   00 00 00 00 00 00 f0 3f  9a 99 99 99 99 99 b9 bf"_bytes);
}

TEST_F(TypedArray, OfPointersInABinaryFileIsOf64BitNumbers) {
    std::vector<std::uint64_t> addresses = {0x0102030405060708, 9};
    const BufRef ref = {.ptr = addresses.data(), .type = DataType::Ptr, .count = 2};
    EXPECT_EQ(written(Format::Binary, [&](File& file) { EXPECT_TRUE(file.write(ref, false)); }),
              "08 07 06 05 04 03 02 01   09 00 00 00 00 00 00 00"_bytes);
}

TEST_F(TypedArray, InATextFileIsNumbersWithOneSpaceBetweenThem) {
    std::vector<Vec3i> values = {Vec3i(1, 2, 3), Vec3i(4, -5, 6)};
    for (const bool compress : {false, true}) {
        EXPECT_EQ(written(Format::Text, [&](File& file) { EXPECT_TRUE(file.write(refTo(values), compress)); }).raw,
                  "1 2 3 4 -5 6");
    }
}

TEST_F(TypedArray, OfOneScalarInATextFileHasNoSpace) {
    std::vector<double> one = {0.1};
    EXPECT_EQ(written(Format::Text, [&](File& file) { file << refTo(one) << ';' << refTo(one); }).raw, "0.1;0.1");
}

TEST_F(TypedArray, OfEachScalarInATextFile) {
    std::vector<short> shorts = {-32768, 32767};
    std::vector<unsigned short> unsignedShorts = {65535};
    std::vector<int> ints = {-2147483647 - 1, 0};
    std::vector<unsigned> unsignedInts = {4294967295u};
    std::vector<long> longs = {INT64_MIN};
    std::vector<unsigned long> unsignedLongs = {UINT64_MAX};
    std::vector<float> floats = {0.1f, 1e30f, -0.0f};
    std::vector<double> doubles = {0.30000000000000004, 5e-324};
    EXPECT_EQ(written(Format::Text,
                      [&](File& file) {
                          file << refTo(shorts) << ';' << refTo(unsignedShorts) << ';' << refTo(ints) << ';'
                               << refTo(unsignedInts) << ';' << refTo(longs) << ';' << refTo(unsignedLongs) << ';'
                               << refTo(floats) << ';' << refTo(doubles);
                      })
                  .raw,
              "-32768 32767;65535;-2147483648 0;4294967295;-9223372036854775808;18446744073709551615;"
              "0.1 1e+30 -0;0.30000000000000004 5e-324");
}

TEST_F(TypedArray, OfBytesStandsAsItIs) {
    std::vector<Rgba8> colours = {Rgba8(255, 0, 1, 2), Rgba8(3, 4, 5, 6)};
    for (const Format format : {Format::Binary, Format::Text}) {
        EXPECT_EQ(written(format, [&](File& file) { EXPECT_TRUE(file.write(refTo(colours), false)); }),
                  "ff 00 01 02  03 04 05 06"_bytes);
    }
    std::vector<unsigned char> digits = {1, 2};
    EXPECT_EQ(written(Format::Text, [&](File& file) { EXPECT_TRUE(file.write(refTo(digits), false)); }), "01 02"_bytes);
}

TEST_F(TypedArray, OfBytesCompressedIsOneBlockOfTheFirstKind) {
    std::vector<Rgba8> colours(4, Rgba8(7, 7, 7, 255));
    for (const Format format : {Format::Binary, Format::Text}) {
        const Bytes block = written(format, [&](File& file) { file.write(colours.data(), 16, Compression::Lz4); });
        EXPECT_EQ(block.raw.substr(0, 3), ".1.");
        EXPECT_EQ(written(format, [&](File& file) { EXPECT_TRUE(file.write(refTo(colours), true)); }), block);
        EXPECT_EQ(written(format, [&](File& file) { file << refTo(colours); }), block) << "so does the operator";
    }
}

TEST_F(TypedArray, OfConstantsIsWrittenAsAnyOther) {
    const std::vector<int> values = {1, 2};
    EXPECT_EQ(written(Format::Text,
                      [&](File& file) {
                          EXPECT_TRUE(file.write(bufRef(std::span(values)), false));
                          file << ';' << bufRef(std::span(values));
                      })
                  .raw,
              "1 2;1 2");
}

// ---- All types, all routes, all forms -------------------------------------------------------------------------------

/// How the items lie in memory.
struct Form {
    const char* name;
    std::uint64_t (*stride)(std::uint64_t itemSize);
    std::uint64_t offset;
    bool packed;
};
const Form kForms[] = {
    {"packed", [](std::uint64_t) -> std::uint64_t { return 0; }, 0, true},
    {"packed, the stride given", [](std::uint64_t size) { return size; }, 0, true},
    {"packed, at an odd address", [](std::uint64_t) -> std::uint64_t { return 0; }, 3, true},
    {"with gaps", [](std::uint64_t size) { return size + 5; }, 0, false},
    {"with gaps, at an odd address", [](std::uint64_t size) { return size + 4; }, 1, false},
    {"overlapping", [](std::uint64_t size) { return size > 1 ? size - 1 : 3; }, 2, false},
    {"one byte apart", [](std::uint64_t size) -> std::uint64_t { return size > 1 ? 1 : 2; }, 0, false},
    {"backwards", [](std::uint64_t size) { return minus(size + 3); }, 1500, false},
};

constexpr std::uint64_t kItems = 5;
constexpr std::size_t kMemory = 2000;

struct Case {
    const ElementType& type;
    const Form& form;

    std::uint64_t stride() const { return form.stride(type.size) ? form.stride(type.size) : type.size; }
    // In bytes from the memory's start. The sum wraps where the items run backwards.
    std::uint64_t scalarAt(std::uint64_t item, std::uint64_t scalar) const {
        return form.offset + item * stride() + scalar * type.elemSize;
    }
    BufRef ref(std::string& memory) const {
        return {.ptr = memory.data(),
                .type = static_cast<DataType>(type.value),
                .count = kItems,
                .stride = form.stride(type.size),
                .offset = form.offset};
    }
    std::string inFileOrder(std::string bytes) const {
        if (!isLittleEndian) std::reverse(bytes.begin(), bytes.end());
        return bytes;
    }
    // Scalar by scalar, what a file has of this memory.
    std::string asBytes(const std::string& memory) const {
        std::string bytes;
        for (std::uint64_t k = 0; k < kItems; ++k) {
            for (std::uint64_t j = 0; j < type.elemCount; ++j) {
                bytes += inFileOrder(memory.substr(scalarAt(k, j), type.elemSize));
            }
        }
        return bytes;
    }
    std::string asText(const std::string& memory) const {
        std::string text;
        for (std::uint64_t k = 0; k < kItems; ++k) {
            for (std::uint64_t j = 0; j < type.elemCount; ++j) {
                text += (text.empty() ? "" : " ") + numberAt(memory.data() + scalarAt(k, j));
            }
        }
        return text;
    }
    template <typename T>
    static std::string number(const char* at) {
        T value;
        std::memcpy(&value, at, sizeof(T));
        char text[64];
        return {text, std::to_chars(text, text + sizeof(text), value).ptr};
    }
    std::string numberAt(const char* at) const {
        const std::string elem = type.elemType;
        if (elem == "Int16") return number<std::int16_t>(at);
        if (elem == "Int32") return number<std::int32_t>(at);
        if (elem == "Int64") return number<std::int64_t>(at);
        if (elem == "UInt16") return number<std::uint16_t>(at);
        if (elem == "UInt32") return number<std::uint32_t>(at);
        if (elem == "UInt64") return number<std::uint64_t>(at);
        if (elem == "Float") return number<float>(at);
        if (elem == "Double") return number<double>(at);
        return "";  // Ptr
    }
};

template <typename Act>
void forEveryCase(Act act) {
    for (const ElementType& type : kElementTypes) {
        if (type.value == 0) continue;
        for (const Form& form : kForms) {
            SCOPED_TRACE(type.name + ", "s + form.name);
            act(Case{type, form});
        }
    }
}

std::string someMemory() {
    std::string memory(kMemory, '\0');
    std::uint32_t state = 7;
    for (char& byte : memory) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return memory;
}

TEST_F(TypedArray, OfEveryTypeAndFormInABinaryFile) {
    forEveryCase([&](const Case& c) {
        std::string memory = someMemory();
        File file = writing();
        EXPECT_EQ(put(file, c.ref(memory)), (Transfer{true, "", kItems * c.type.size}));
        ASSERT_TRUE(file.close());
        EXPECT_EQ(files.content("a"), Bytes{c.asBytes(memory)});
    });
}

TEST_F(TypedArray, OfEveryTypeAndFormInATextFile) {
    forEveryCase([&](const Case& c) {
        std::string memory = someMemory();
        const bool isPtr = c.type.name == "Ptr"s;
        const std::string text = c.type.elemSize == 1 ? c.asBytes(memory) : c.asText(memory);
        const std::string expected = isPtr ? std::string(kItems - 1, ' ') : text;
        File file = writing(Format::Text);
        EXPECT_EQ(put(file, c.ref(memory)),
                  (Transfer{!isPtr, isPtr ? "Invalid typeElemType: Ptr" : "", expected.size()}));
        ASSERT_TRUE(file.close());
        EXPECT_EQ(files.content("a"), Bytes{expected});
    });
}

// The third mode keeps nothing of a few bytes, so what it stages is told by how far it gets.
TEST_F(TypedArray, OfEveryTypeAndFormInTheThirdModeIsText) {
    forEveryCase([&](const Case& c) {
        if (c.type.name == "Ptr"s) return;
        std::string memory = someMemory();
        const std::uint64_t size = (c.type.elemSize == 1 ? c.asBytes(memory) : c.asText(memory)).size();
        for (const Format format : {Format::Binary, Format::Text}) {
            File file = writing(format, kThird);
            EXPECT_EQ(put(file, c.ref(memory)), (Transfer{true, "", size}));
        }
    });
}

TEST_F(TypedArray, OfEveryTypeAndFormCompressed) {
    forEveryCase([&](const Case& c) {
        if (c.type.elemSize > 1) return;
        std::string memory = someMemory();
        const std::string bytes = c.asBytes(memory);
        for (const Format format : {Format::Binary, Format::Text}) {
            const Bytes block =
                written(format, [&](File& file) { file.write(bytes.data(), bytes.size(), Compression::Lz4); });
            EXPECT_EQ(written(format, [&](File& file) { EXPECT_TRUE(file.write(c.ref(memory), true)); }), block);

            // It comes back packed, whatever the stride.
            std::string back(kMemory, '-');
            std::string expected = back;
            expected.replace(c.form.offset, bytes.size(), bytes);
            File file = reading(block.raw, format);
            EXPECT_EQ(take(file, c.ref(back)), (Transfer{true, "", block.raw.size()}));
            EXPECT_EQ(Bytes{back}, Bytes{expected});
        }
    });
}

TEST_F(TypedArray, OfEveryTypeAndFormReadFromABinaryFile) {
    forEveryCase([&](const Case& c) {
        const std::string content = pattern(kItems * c.type.size + 1);
        std::string memory(kMemory, '-');
        std::string expected = memory;
        const bool refused = c.type.elemSize == 1 && !c.form.packed;
        for (std::uint64_t k = 0, at = 0; k < kItems && !refused; ++k) {
            for (std::uint64_t j = 0; j < c.type.elemCount; ++j, at += c.type.elemSize) {
                expected.replace(c.scalarAt(k, j), c.type.elemSize, c.inFileOrder(content.substr(at, c.type.elemSize)));
            }
        }
        File file = reading(content);
        EXPECT_EQ(take(file, c.ref(memory)),
                  refused ? (Transfer{false, "Invalid typeElemSize: 1", 0}) : (Transfer{true, "", content.size() - 1}));
        EXPECT_EQ(Bytes{memory}, Bytes{expected});
    });
}

// One number for each item, into its first scalar, packed from the memory's start.
TEST_F(TypedArray, OfEveryTypeAndFormReadFromATextFile) {
    forEveryCase([&](const Case& c) {
        const std::string elem = c.type.elemType;
        if (c.type.elemSize == 1 && c.form.packed) return;  // bytes as they stand: the binary test has them
        const std::string content = elem == "Bool" ? "true false true true false 9" : "11 22 33 44 55 66";
        std::string memory(kMemory, '-');
        std::string expected = memory;
        for (std::uint64_t k = 0; k < kItems && elem != "Ptr"; ++k) {
            const auto store = [&](auto value) {
                std::memcpy(expected.data() + k * c.type.size, &value, sizeof(value));
            };
            const int number = static_cast<int>(11 * (k + 1));
            if (elem == "Bool") {
                store(k != 1 && k != 4);
            } else if (elem == "Float") {
                store(static_cast<float>(number));
            } else if (elem == "Double") {
                store(static_cast<double>(number));
            } else if (c.type.elemSize == 1) {
                store(static_cast<std::int8_t>(number));
            } else if (c.type.elemSize == 2) {
                store(static_cast<std::int16_t>(number));
            } else if (c.type.elemSize == 4) {
                store(static_cast<std::int32_t>(number));
            } else {
                store(static_cast<std::int64_t>(number));
            }
        }
        const std::uint64_t consumed = content.size() - (elem == "Bool" ? 1 : 2);
        for (const Mode mode : {Mode::Read, kSeven}) {
            std::string back = memory;
            File file = reading(content, Format::Text, mode);
            const Transfer outcome = take(file, c.ref(back));
            EXPECT_EQ(outcome.done, elem != "Ptr");
            EXPECT_EQ(outcome.pos, consumed);
            const std::string left = c.type.elemSize == 1 && mode != Mode::Read ? kPeekRefused : "";
            EXPECT_EQ(outcome.error, elem == "Ptr" ? "Invalid typeElemType: Ptr" : left);
            EXPECT_EQ(Bytes{back}, Bytes{expected});
        }
    });
}

// ---- There and back -------------------------------------------------------------------------------------------------

TEST_F(TypedArray, InABinaryFileKeepsEveryBit) {
    std::vector<std::uint32_t> bits = {0x7f812345, 0xffc00001, 0x80000000, 1, 0x7f800000, 0xffffffff};
    std::vector<float> floats(bits.size());
    std::memcpy(floats.data(), bits.data(), bits.size() * 4);
    std::vector<std::uint64_t> wide = {0x7ff4123456789abc, 0xfff8000000000001, 0x8000000000000000};
    std::vector<double> doubles(wide.size());
    std::memcpy(doubles.data(), wide.data(), wide.size() * 8);
    File file = writing();
    file << refTo(floats) << refTo(doubles);
    ASSERT_TRUE(file.ok() && file.close());

    std::vector<float> floatsBack(bits.size());
    std::vector<double> doublesBack(wide.size());
    file = opened(files.path("a"), Mode::Read, Format::Binary);
    file >> refTo(floatsBack) >> refTo(doublesBack);
    EXPECT_TRUE(file.ok() && file.eof());
    EXPECT_EQ(memoryOf(floatsBack), memoryOf(floats));
    EXPECT_EQ(memoryOf(doublesBack), memoryOf(doubles));
}

TEST_F(TypedArray, TwoVec3fAre24BytesAndComeBack) {
    std::vector<Vec3f> values = {Vec3f(1, 2, 3), Vec3f(-0.0f, 0.1f, 1e30f)};
    const Bytes bytes = written(Format::Binary, [&](File& file) { file << refTo(values); });
    EXPECT_EQ(bytes, "00 00 80 3f 00 00 00 40 00 00 40 40   00 00 00 80 cd cc cc 3d ca f2 49 71"_bytes);
    std::vector<Vec3f> back(2);
    File file = reading(bytes.raw);
    EXPECT_EQ(take(file, refTo(back)), (Transfer{true, "", 24}));
    EXPECT_EQ(memoryOf(back), memoryOf(values));
}

TEST_F(TypedArray, OfAggregatesComesBackFromTextAsItsScalars) {
    std::vector<Mat3d> values(2);
    for (std::size_t i = 0; i < 18; ++i) values[i / 9][i % 9] = 0.1 * static_cast<double>(i) - 0.5;
    const Bytes text = written(Format::Text, [&](File& file) { file << refTo(values); });
    std::vector<Mat3d> back(2);
    File file = reading(text.raw, Format::Text);
    EXPECT_EQ(take(file, bufRef(scalarsOf(std::span(back)))), (Transfer{true, kBeyond, text.raw.size()}));
    EXPECT_EQ(back, values);
}

// An offset that wraps leads back from the pointer.
TEST_F(TypedArray, MayBeginBeforeItsPointerAtAnyAddress) {
    for (std::size_t shift = 0; shift < 8; ++shift) {
        std::vector<unsigned char> memory(40, 0xee);
        const BufRef ref = {
            .ptr = memory.data() + 16 + shift, .type = DataType::Int32, .count = 3, .stride = 5, .offset = minus(8)};
        const std::string content = "\1\2\3\4\5\6\7\10\11\12\13\14";
        File file = reading(content);
        EXPECT_EQ(take(file, ref), (Transfer{true, "", 12}));
        EXPECT_EQ(std::count(memory.begin(), memory.end(), 0xee), 40 - 12);
        EXPECT_EQ(memory[8 + shift], isLittleEndian ? 1 : 4);
        EXPECT_EQ(memory[8 + shift + 10 + 3], isLittleEndian ? 12 : 9);
        EXPECT_EQ(written(Format::Binary, [&](File& out) { EXPECT_TRUE(out.write(ref, false)); }).raw, content);
    }
}

struct Vertex {
    short id;
    Vec3f place;
    Rgba8 colour;
    double weight;
};

TEST_F(TypedArray, OfOneFieldLeavesTheOthersAlone) {
    std::vector<Vertex> vertices(3);
    for (std::size_t i = 0; i < 3; ++i) vertices[i].place = Vec3f(i, i + 10, i + 20);
    const Bytes bytes =
        written(Format::Binary, [&](File& file) { file << bufRef(std::span(vertices), &Vertex::place); });
    EXPECT_EQ(bytes,
              "00 00 00 00  00 00 20 41  00 00 a0 41   00 00 80 3f  00 00 30 41  00 00 a8 41"
              "00 00 00 40  00 00 40 41  00 00 b0 41"_bytes);

    std::vector<Vertex> back(3, Vertex{7, Vec3f(), Rgba8(1, 2, 3, 4), 0.5});
    File file = reading(bytes.raw);
    file >> bufRef(std::span(back), &Vertex::place);
    EXPECT_TRUE(file.ok());
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(back[i].place, vertices[i].place);
        EXPECT_TRUE(back[i].id == 7 && back[i].colour == Rgba8(1, 2, 3, 4) && back[i].weight == 0.5);
    }
}

TEST_F(TypedArray, MixesWithOtherValues) {
    std::vector<short> numbers = {1, 2};
    EXPECT_EQ(written(Format::Binary, [&](File& file) { file << 'a' << refTo(numbers) << 3 << refTo(numbers); }),
              "61  01 00 02 00  03 00 00 00  01 00 02 00"_bytes);
    EXPECT_EQ(written(Format::Text, [&](File& file) { file << "n: " << refTo(numbers) << '\n'; }).raw, "n: 1 2\n");
}

TEST_F(TypedArray, ChainsGoOnAfterAFailure) {
    File file = reading("\1\0\2\0\3\0"sv);
    std::vector<short> none, two(2), one(1);
    EXPECT_EQ(&(file >> refTo(none) >> refTo(two) >> refTo(one)), &file);
    EXPECT_EQ(two, (std::vector<short>{1, 2}));
    EXPECT_EQ(one, std::vector<short>{3});
    EXPECT_FALSE(file.ok());
}

// ---- What is refused ------------------------------------------------------------------------------------------------

struct None {
    const char* why;
    BufRef ref;
    const char* error;
};
std::vector<None> kindsOfNone() {
    static long value = 0;
    return {
        {"null, and of no items", {nullptr, DataType::Int32, 0}, "BufRef 'ptr' is null."},
        {"of no items", {&value, static_cast<DataType>(60), 0}, "BufRef 'count' is zero."},
        {"of a type beyond the last", {&value, static_cast<DataType>(60), 1}, "BufRef typeSize is zero."},
        {"of no type", {&value, DataType::Null, 1}, "BufRef typeElemSize is zero."},
    };
}

TEST_F(TypedArray, ThatIsNoneIsNotMoved) {
    for (const None& none : kindsOfNone()) {
        SCOPED_TRACE(none.why);
        for (const Format format : {Format::Binary, Format::Text}) {
            File file = writing(format);
            EXPECT_EQ(put(file, none.ref), (Transfer{false, none.error, 0}));
            EXPECT_EQ(put(file, none.ref, true), (Transfer{false, none.error, 0}));
            file = reading("1 2 3", format);
            EXPECT_EQ(take(file, none.ref), (Transfer{false, none.error, 0}));
        }
    }
}

TEST_F(TypedArray, IsNotLookedAtInAFileOfTheOtherMode) {
    for (const None& none : kindsOfNone()) {
        File file;
        EXPECT_EQ(put(file, none.ref), (Transfer{false, "File not successfully opened, cannot write.", 0}));
        EXPECT_EQ(take(file, none.ref), (Transfer{false, "File not successfully opened, cannot read.", 0}));
        file = reading("abc");
        EXPECT_EQ(put(file, none.ref), (Transfer{false, "Cannot write while in read mode.", 0}));
        file = writing();
        EXPECT_EQ(take(file, none.ref), (Transfer{false, "Cannot write while in write mode.", 0}));
    }
}

// ---- Routes that the mode and the format choose ---------------------------------------------------------------------

TEST_F(TypedArray, OfPointersInATextFileIsTheSpacesBetweenThem) {
    std::vector<std::uint64_t> addresses(3);
    BufRef ref = {.ptr = addresses.data(), .type = DataType::Ptr, .count = 3};
    File file = writing(Format::Text);
    EXPECT_EQ(put(file, ref), (Transfer{false, "Invalid typeElemType: Ptr", 2}));
    ref.count = 1;
    EXPECT_EQ(put(file, ref), (Transfer{false, "Invalid typeElemType: Ptr", 2}));
    ASSERT_TRUE(file.close());
    EXPECT_EQ(files.content("a").raw, "  ");
}

TEST_F(TypedArray, OfPointersFromATextFileTakesItsTokens) {
    std::vector<std::uint64_t> addresses = {5, 6};
    File file = reading("1 2 3", Format::Text);
    const BufRef ref = {.ptr = addresses.data(), .type = DataType::Ptr, .count = 2};
    EXPECT_EQ(take(file, ref), (Transfer{false, "Invalid typeElemType: Ptr", 4}));
    EXPECT_EQ(addresses, (std::vector<std::uint64_t>{5, 6}));
}

TEST_F(TypedArray, InTheThirdModeIsTextWhateverTheFormat) {
    std::vector<int> many(kMiB / 4, 1234567);  // 8 MiB of text, most of which is spilled
    for (const Format format : {Format::Binary, Format::Text}) {
        File file = writing(format, kThird);
        EXPECT_TRUE(file.write(refTo(many), false));
        EXPECT_EQ(file.pos(), 2 * kMiB - 1);
        EXPECT_TRUE(file.close());
        EXPECT_EQ(files.content("a").raw.substr(0, 17), "1234567 1234567 1");
    }
}

TEST_F(TypedArray, InTheThirdModeReadsNothingOfWhatIsStaged) {
    std::vector<int> values = {1, 2};
    File file = writing(Format::Text, kThird);
    file << "34 56 ";
    EXPECT_EQ(take(file, refTo(values)), (Transfer{false, kBeyond, 6}));
    EXPECT_EQ(values, (std::vector<int>{1, 2}));
}

TEST_F(TypedArray, OfAnUnknownFormatIsText) {
    std::vector<int> values = {1, 2};
    EXPECT_EQ(written(static_cast<Format>(2), [&](File& file) { file << refTo(values); }).raw, "1 2");
    File file = reading("3 4 ", static_cast<Format>(2));
    EXPECT_EQ(take(file, refTo(values)), (Transfer{true, "", 4}));
    EXPECT_EQ(values, (std::vector<int>{3, 4}));
}

TEST_F(TypedArray, OfBytesInAnyModeButReadLeavesThePeeksRefusal) {
    std::vector<unsigned char> values(3);
    File file = reading("abc", Format::Binary, kSeven);
    EXPECT_EQ(take(file, refTo(values)), (Transfer{true, kPeekRefused, 3}));
    EXPECT_EQ(values, (std::vector<unsigned char>{'a', 'b', 'c'}));
    EXPECT_EQ(take(file, refTo(values)), (Transfer{false, kBeyond, 3}));
}

// No block is looked for there, so a dot is a byte.
TEST_F(TypedArray, OfBytesInAnyModeButReadMayBeginWithADot) {
    std::vector<unsigned char> values(3);
    File file = reading(".1.", Format::Binary, kSeven);
    EXPECT_EQ(take(file, refTo(values)), (Transfer{true, kPeekRefused, 3}));
    EXPECT_EQ(values, (std::vector<unsigned char>{'.', '1', '.'}));
}

TEST_F(TypedArray, OfBytesWithGapsInAnyModeButReadIsText) {
    std::vector<unsigned char> values(4, 9);
    File file = reading("7 8 ", Format::Binary, kSeven);
    EXPECT_EQ(take(file, {.ptr = values.data(), .type = DataType::Byte, .count = 2, .stride = 2}),
              (Transfer{true, kPeekRefused, 4}));
    EXPECT_EQ(values, (std::vector<unsigned char>{7, 8, 9, 9}));
}

// ---- Bytes ----------------------------------------------------------------------------------------------------------

TEST_F(TypedArray, OfBytesThatBeginsWithADotIsTakenForABlock) {
    std::vector<unsigned char> values = {'.', 'a', 'b', 'c'};
    const Bytes bytes = written(Format::Binary, [&](File& file) { EXPECT_TRUE(file.write(refTo(values), false)); });
    EXPECT_EQ(bytes.raw, ".abc");
    File file = reading(bytes.raw);
    EXPECT_EQ(take(file, refTo(values)),
              (Transfer{false, "Decompression failed attempting to read Byte[4] using stride 1.", 2}));
    EXPECT_EQ(values, (std::vector<unsigned char>{'.', 'a', 'b', 'c'}));
}

TEST_F(TypedArray, OfCompressedBytesIsRestoredPacked) {
    std::vector<Rgba8> colours = {Rgba8(1, 2, 3, 4), Rgba8(5, 6, 7, 8)};
    const Bytes block = written(Format::Binary, [&](File& file) { file << refTo(colours); });
    std::vector<unsigned char> memory(16, 0xee);
    File file = reading(block.raw);
    EXPECT_EQ(take(file, {.ptr = memory.data(), .type = DataType::Rgba8, .count = 2, .stride = 8, .offset = 1}),
              (Transfer{true, "", block.raw.size()}));
    EXPECT_EQ(Bytes{std::string(memory.begin(), memory.end())},
              "ee 01 02 03 04 05 06 07 08 ee ee ee ee ee ee ee"_bytes);
}

TEST_F(TypedArray, OfCompressedBytesGivesEachItemItsShare) {
    const struct {
        const char* content;
        DataType type;
        std::uint64_t count;
        const char* memory;  // what becomes of "----------"
    } kShares[] = {
        {"abcdefgh", DataType::Rgba8, 2, "abcdefgh--"},  // as many as there are
        {"abcdefgh", DataType::Rgb8, 2, "abcefg----"},   // more: each is cut
        {"abcd", DataType::Rgba8, 2, "ab--cd----"},      // fewer: each is filled in part
        {"abcde", DataType::Rgba8, 2, "ab--cd----"},     // what is left over is dropped
        {"abc", DataType::Byte, 4, "----------"},        // not one for each
        {"a", DataType::Rgb8, 3, "----------"},          {"ab", DataType::Rgb8, 3, "----------"},
        {"abc", DataType::Rgb8, 3, "a--b--c---"},  // just one for each
        {"abcdefgh", DataType::Rgb8, 3, "ab-cd-ef--"},   {"abcdefghi", DataType::Rgb8, 3, "abcdefghi-"},
        {"abcdefghij", DataType::Rgb8, 3, "abcdefghi-"}, {"", DataType::Byte, 4, "----------"},
    };
    for (const auto& share : kShares) {
        SCOPED_TRACE(share.content);
        const std::string content = share.content;
        const Bytes block =
            written(Format::Binary, [&](File& file) { file.write(content.data(), content.size(), Compression::Zstd); });
        std::string memory(10, '-');
        File file = reading(block.raw);
        EXPECT_EQ(take(file, {.ptr = memory.data(), .type = share.type, .count = share.count}),
                  (Transfer{true, "", block.raw.size()}));
        EXPECT_EQ(memory, share.memory);
    }
}

TEST_F(TypedArray, OfADamagedBlockSaysWhatWasAskedFor) {
    std::string memory(100, '-');
    for (const Format format : {Format::Binary, Format::Text}) {
        for (const char* content : {".", ".1.", ".2.0.0.", ".1.5.3.abc"}) {
            File file = reading(content, format);
            EXPECT_FALSE(file.read({.ptr = memory.data(), .type = DataType::Rgb8, .count = 7}));
            EXPECT_EQ(file.error(), "Decompression failed attempting to read Rgb8[7] using stride 3.");
            file.seek(0);
            EXPECT_FALSE(file.read({.ptr = memory.data(), .type = DataType::ColorRef, .count = 2, .stride = minus(1)}));
            EXPECT_EQ(file.error(),
                      "Decompression failed attempting to read ColorRef[2] using stride 18446744073709551615.");
        }
    }
    EXPECT_EQ(memory, std::string(100, '-'));
}

TEST_F(TypedArray, OfBytesWithGapsCannotBeReadFromABinaryFile) {
    std::vector<unsigned char> values(4, 9);
    File file = reading("abcd");
    EXPECT_EQ(take(file, {.ptr = values.data(), .type = DataType::Byte, .count = 2, .stride = 2}),
              (Transfer{false, "Invalid typeElemSize: 1", 0}));
    EXPECT_EQ(values, (std::vector<unsigned char>{9, 9, 9, 9}));
}

// The look at the first byte clears the text and loads the chunk anew, whatever comes of it.
TEST_F(TypedArray, OfBytesBeginsWithAPeek) {
    std::vector<unsigned char> values(2);
    File file = reading("abcd");
    char first;
    file >> first;
    EXPECT_FALSE(file.write('x'));
    EXPECT_EQ(take(file, refTo(values)), (Transfer{true, "", 3}));
    EXPECT_EQ(values, (std::vector<unsigned char>{'b', 'c'}));
    EXPECT_EQ(take(file, refTo(values)), (Transfer{false, kBeyond, 3}));
    EXPECT_EQ(values, (std::vector<unsigned char>{'b', 'c'}));
}

TEST_F(TypedArray, OfABoolTakesWhateverByteThereIs) {
    std::string memory(3, '-');
    File file = reading("\0\1\xc8"sv);
    EXPECT_EQ(take(file, {.ptr = memory.data(), .type = DataType::Bool, .count = 3}), (Transfer{true, "", 3}));
    EXPECT_EQ(memory, "\0\1\xc8"sv);
}

// ---- Files that end too soon ----------------------------------------------------------------------------------------

// A scalar that does not fit is passed over, and none behind it is smaller: so the last bytes stay unread.
TEST_F(TypedArray, OfAShortBinaryFileKeepsTheScalarsThatWereThere) {
    std::vector<std::int32_t> values(4, -1);
    File file = reading("\1\0\0\0\2\0\0\0\3\0"sv);
    EXPECT_EQ(take(file, refTo(values)), (Transfer{false, kBeyond, 8}));
    EXPECT_EQ(values, (std::vector<std::int32_t>{1, 2, -1, -1}));
    short rest = 0;
    EXPECT_TRUE(file.read(rest));
    EXPECT_EQ(rest, 3);
}

TEST_F(TypedArray, OfAnEmptyFileIsNotThere) {
    std::vector<std::int32_t> values(2, -1);
    std::vector<unsigned char> bytes(2, 9);
    for (const Format format : {Format::Binary, Format::Text}) {
        File file = reading("", format);
        EXPECT_EQ(take(file, refTo(values)), (Transfer{false, kBeyond, 0}));
        EXPECT_EQ(take(file, refTo(bytes)), (Transfer{false, kBeyond, 0}));
    }
    EXPECT_EQ(values, (std::vector<std::int32_t>{-1, -1}));
    EXPECT_EQ(bytes, (std::vector<unsigned char>{9, 9}));
}

TEST_F(TypedArray, OfBytesThatAreTooFewChangesNothingThatLiesInOneChunk) {
    std::vector<unsigned char> values(4, 9);
    for (const Format format : {Format::Binary, Format::Text}) {
        File file = reading("abc", format);
        EXPECT_EQ(take(file, refTo(values)), (Transfer{false, kBeyond, 0}));
        EXPECT_EQ(values, (std::vector<unsigned char>{9, 9, 9, 9}));
    }
}

TEST_F(TypedArray, OfAFileThatWasCutKeepsWhatCameBeforeTheCut) {
    std::vector<std::uint64_t> values(kMiB / 4, 7);
    File file = reading(std::string(2 * kMiB, '\1'));
    std::filesystem::resize_file(files.path("a"), kMiB + 5);
    EXPECT_EQ(take(file, refTo(values)).error, "Fread failed. Requested 1048576, read 0.");
    EXPECT_EQ(file.pos(), kMiB);
    EXPECT_TRUE(std::all_of(values.begin(), values.begin() + kMiB / 8, [](auto v) { return v == 0x0101010101010101; }));
    EXPECT_TRUE(std::all_of(values.begin() + kMiB / 8, values.end(), [](auto v) { return v == 7; }));
}

// ---- Counts beyond all memory ---------------------------------------------------------------------------------------

TEST_F(TypedArray, WhoseBytesCannotBeCountedIsNotWritten) {
    std::uint64_t value = 0;
    for (const Format format : {Format::Binary, Format::Text}) {
        for (const BufRef& ref :
             {BufRef{&value, DataType::Int64, kTooMany}, BufRef{&value, DataType::Ptr, ~0ull},
              BufRef{&value, DataType::Rgba8, kTooMany * 2}, BufRef{&value, DataType::Rgb8, ~0ull, 1}}) {
            File file = writing(format);
            EXPECT_EQ(put(file, ref), (Transfer{false, "Fwrite failed. Requested 0, read 0.", 0}));
            file << 'a';
            EXPECT_EQ(put(file, ref, true), (Transfer{false, "Fwrite failed. Requested 0, read 0.", 1}));
            EXPECT_TRUE(file.close());
            EXPECT_EQ(files.content("a").raw, "a");
        }
    }
}

TEST_F(TypedArray, WhoseBytesCannotBeCountedIsBeyondAnyBinaryFile) {
    std::uint64_t value = 7;
    File file = reading(pattern(2 * kMiB));
    char first;
    file >> first;
    EXPECT_EQ(take(file, {&value, DataType::Int64, kTooMany}), (Transfer{false, kBeyond, 1}));
    EXPECT_EQ(take(file, {&value, DataType::Rgba8, kTooMany * 2}), (Transfer{false, kBeyond, 1}));
    EXPECT_EQ(value, 7u);
}

TEST_F(TypedArray, OfMoreBytesThanThereAreIsNotRead) {
    unsigned char byte = 7;
    File file = reading("abc");
    EXPECT_EQ(take(file, {&byte, DataType::Byte, ~0ull}), (Transfer{false, kBeyond, 0}));
    EXPECT_EQ(byte, 7);
}

// ---- Text -----------------------------------------------------------------------------------------------------------

TEST_F(TypedArray, ThatEndsATextFileIsReadAndLeavesTheText) {
    std::vector<int> values(3);
    File file = reading("1 2 3", Format::Text);
    EXPECT_EQ(take(file, refTo(values)), (Transfer{true, kBeyond, 5}));
    EXPECT_EQ(values, (std::vector<int>{1, 2, 3}));
    EXPECT_TRUE(file.eof());
}

TEST_F(TypedArray, ThatEndsWithASpaceLeavesNoText) {
    std::vector<int> values(3);
    File file = reading("1 2 3 ", Format::Text);
    EXPECT_EQ(take(file, refTo(values)), (Transfer{true, "", 6}));
}

TEST_F(TypedArray, OfAShortTextFileIsFalseAndKeepsTheNumbersThatWereThere) {
    std::vector<int> values(5, -1);
    File file = reading("1 2 3", Format::Text);
    EXPECT_EQ(take(file, refTo(values)), (Transfer{false, kBeyond, 5}));
    EXPECT_EQ(values, (std::vector<int>{1, 2, 3, -1, -1}));
}

TEST_F(TypedArray, AsksForANumberBehindTheLastSpaceOfATextFile) {
    std::vector<int> values(2, -1);
    File file = reading("x ", Format::Text);
    EXPECT_EQ(take(file, refTo(values)), (Transfer{false, kBeyond, 2}));
    EXPECT_EQ(values, (std::vector<int>{-1, -1}));
}

TEST_F(TypedArray, FromATextFileKnowsNeitherOffsetNorStride) {
    std::vector<std::int32_t> values(4, -1);
    File file = reading("1 2 3", Format::Text);
    EXPECT_TRUE(file.read({.ptr = values.data(), .type = DataType::Int32, .count = 3, .stride = 8, .offset = 8}));
    EXPECT_EQ(values, (std::vector<std::int32_t>{1, 2, 3, -1}));
}

TEST_F(TypedArray, FromATextFileFillsTheFirstScalarOfEachItem) {
    std::vector<Vec3i> values(2, Vec3i(7, 8, 9));
    File file = reading("1 2 3 4 5 6", Format::Text);
    EXPECT_EQ(take(file, refTo(values)), (Transfer{true, "", 4}));
    EXPECT_EQ(values, (std::vector<Vec3i>{Vec3i(1, 8, 9), Vec3i(2, 8, 9)}));
}

// What becomes of three Int32 that hold -1.
TEST_F(TypedArray, TokensArePartedBySingleSpacesAlone) {
    const struct {
        std::string_view text;
        bool done;
        std::vector<std::int32_t> values;
        std::uint64_t pos;
    } kTexts[] = {
        {"1 2 3 4", true, {1, 2, 3}, 6},
        {"1  3 4", false, {1, -1, 3}, 5},  // two spaces: an empty token
        {" 2 3 ", false, {-1, 2, 3}, 5},   // and before the first
        {"   4", false, {-1, -1, -1}, 3},
        {"1\n2 3 4 ", false, {-1, 3, 4}, 8},  // no other character parts them
        {"1\t2 3 4 ", false, {-1, 3, 4}, 8},
        {"1,2 3 4 ", false, {-1, 3, 4}, 8},
        {"1 x 3 ", false, {1, -1, 3}, 6},
        {"1 2x 3 ", false, {1, -1, 3}, 7},
        {"1 +2 3 ", false, {1, -1, 3}, 7},
        {"1 2.0 3 ", false, {1, -1, 3}, 8},
        {"1 2147483648 3 ", false, {1, -1, 3}, 15},
        {"1 -2147483648 -0 ", true, {1, -2147483647 - 1, 0}, 17},
        {"1\0x 2 3 "sv, true, {1, 2, 3}, 8},  // a token ends at its zero byte, and its characters are passed over
        {"\0001 2 3 "sv, false, {-1, 2, 3}, 7},
        {"007 2 3 ", true, {7, 2, 3}, 8},
    };
    for (const auto& text : kTexts) {
        SCOPED_TRACE(std::string(text.text));
        std::vector<std::int32_t> values(3, -1);
        File file = reading(text.text, Format::Text);
        EXPECT_EQ(take(file, refTo(values)), (Transfer{text.done, "", text.pos}));
        EXPECT_EQ(values, text.values);
    }
}

TEST_F(TypedArray, ReadsNumbersOfEveryScalarType) {
    const auto expectRead = [&]<typename T>(std::string_view text, std::vector<T> expected) {
        std::vector<T> values(expected.size(), static_cast<T>(5));
        File file = reading(text, Format::Text);
        EXPECT_TRUE(file.read(refTo(values))) << text;
        EXPECT_EQ(memoryOf(values), memoryOf(expected)) << text;
    };
    expectRead("-32768 32767", std::vector<short>{-32768, 32767});
    expectRead("65535 0", std::vector<unsigned short>{65535, 0});
    expectRead("4294967295", std::vector<unsigned>{4294967295u});
    expectRead("-9223372036854775808", std::vector<long>{INT64_MIN});
    expectRead("18446744073709551615", std::vector<unsigned long>{UINT64_MAX});
    expectRead("0.1 1e30 -0 inf", std::vector<float>{0.1f, 1e30f, -0.0f, std::numeric_limits<float>::infinity()});
    expectRead("0.1 5e-324 -inf 1 .5",
               std::vector<double>{0.1, 5e-324, -std::numeric_limits<double>::infinity(), 1, 0.5});
}

TEST_F(TypedArray, OfCharactersWithGapsIsNumbersInATextFile) {
    const auto taken = [&](DataType type, std::string_view text) {
        std::string memory(6, '-');
        File file = reading(text, Format::Text);
        const bool done = file.read({.ptr = memory.data(), .type = type, .count = 3, .stride = 2});
        return (done ? "true " : "false ") + memory;
    };
    EXPECT_EQ(taken(DataType::Char, "65 66 67"), "true ABC---");
    EXPECT_EQ(taken(DataType::Char, "65 128 67"), "false A-C---");
    EXPECT_EQ(taken(DataType::Byte, "65 256 67"), "false A-C---");
    EXPECT_EQ(taken(DataType::Byte, "65 200 67"),
              "true A\xc8"
              "C---");
    EXPECT_EQ(taken(DataType::Bool, "true false true"), "true \1\0\1---"s);
    EXPECT_EQ(taken(DataType::Bool, "1 false truee"), "false -\0----"s);
    EXPECT_EQ(taken(DataType::Rgb8, "65 66"), "false A--B--");
}

TEST_F(TypedArray, OfATrillionNumbersFromAShortTextFileEndsAtOnce) {
    for (const char* content : {"1 2 3 4 56", ""}) {
        std::vector<int> values(10, -1);
        File file = reading(content, Format::Text);
        EXPECT_EQ(take(file, {values.data(), DataType::Int32, std::uint64_t{1} << 40}),
                  (Transfer{false, kBeyond, std::string(content).size()}));
        EXPECT_EQ(values[4], *content ? 56 : -1);
        EXPECT_EQ(values[5], -1);
        EXPECT_FALSE(file.read({values.data(), DataType::Ptr, std::uint64_t{1} << 40}));
        EXPECT_EQ(file.error(), "Invalid typeElemType: Ptr");
    }
}

TEST_F(TypedArray, OfATrillionScalarsFromAShortBinaryFileEndsAtOnce) {
    for (const std::size_t size : {10u, 3u, 0u}) {
        std::vector<int> values(3, -1);
        File file = reading(std::string(size, '\0'), Format::Binary);
        EXPECT_EQ(take(file, {values.data(), DataType::Int32, std::uint64_t{1} << 40}),
                  (Transfer{false, kBeyond, size / 4 * 4}));
        EXPECT_EQ(values, (size == 10 ? std::vector{0, 0, -1} : std::vector{-1, -1, -1}));
    }
}

// The length of a folder is no length of its content: what is asked for beyond the first chunk is asked for in vain.
TEST_F(TypedArray, OfATrillionNumbersFromAFolderEndsAtOnce) {
    std::filesystem::create_directory(files.path("folder"));
    for (const Format format : {Format::Binary, Format::Text}) {
        File file;
        if (!file.open(files.path("folder").c_str(), Mode::Read, format)) continue;  // no file system need open it
        int value = -1;
        EXPECT_FALSE(file.read({&value, DataType::Int32, std::uint64_t{1} << 40}));
        EXPECT_EQ(value, -1);
    }
}

TEST_F(TypedArray, ATokenMayBeLongerThanAChunk) {
    std::vector<double> values(3, -1);
    File file = reading("1." + std::string(2 * kMiB, '0') + " " + std::string(kMiB, '9') + "x 3 ", Format::Text);
    EXPECT_EQ(take(file, refTo(values)), (Transfer{false, "", 3 * kMiB + 7}));
    EXPECT_EQ(values, (std::vector<double>{1, -1, 3}));
}

// ---- Across the end of buffer and chunk -----------------------------------------------------------------------------

TEST_F(TypedArray, IsWholeWhereverTheBufferEnds) {
    std::vector<Vec3d> values = {Vec3d(1, 2, 3), Vec3d(4, 5, 6)};
    const std::string stored = written(Format::Binary, [&](File& file) { file << refTo(values); }).raw;
    for (std::uint64_t room = 0; room <= 56; room += 4 + room % 3) {
        SCOPED_TRACE(room);
        const std::string before(kMiB - room, '-');
        File file = writing();
        file.write(before.data(), before.size(), Compression::None);
        file << refTo(values) << 'x';
        EXPECT_TRUE(file.ok() && file.close());
        EXPECT_EQ(files.content("a").raw.substr(before.size()), stored + 'x');

        file = opened(files.path("a"), Mode::Read, Format::Binary);
        std::vector<unsigned char> skipped(before.size());
        std::vector<Vec3d> back(2);
        char last = 0;
        EXPECT_TRUE(file.read(skipped, Compression::None));
        file >> refTo(back) >> last;
        EXPECT_TRUE(file.ok() && back == values && last == 'x');
    }
}

TEST_F(TypedArray, OfTextIsWholeWhereverTheBufferEnds) {
    std::vector<double> values = {-2.2250738585072014e-308, 7, 0.5};
    const std::string stored = "-2.2250738585072014e-308 7 0.5";
    for (std::uint64_t room = 0; room <= 40; ++room) {
        SCOPED_TRACE(room);
        const std::string before(kMiB - room, '-');
        File file = writing(Format::Text);
        file << before << refTo(values);
        EXPECT_TRUE(file.ok() && file.close());
        EXPECT_EQ(files.content("a").raw.substr(before.size()), stored);

        file = opened(files.path("a"), Mode::Read, Format::Text);
        std::vector<unsigned char> skipped(before.size());
        std::vector<double> back(3);
        EXPECT_TRUE(file.read(skipped, Compression::None));
        EXPECT_EQ(take(file, refTo(back)), (Transfer{true, kBeyond, before.size() + stored.size()}));
        EXPECT_EQ(back, values);
    }
}

TEST_F(TypedArray, LongerThanTheBufferComesBack) {
    std::vector<Vec3f> values(300000);
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = Vec3f(i, 0.25, -1.0 * static_cast<double>(i));
    for (const Format format : {Format::Binary, Format::Text}) {
        File file = writing(format);
        file << refTo(values) << ' ' << 'x';
        ASSERT_TRUE(file.ok() && file.close());
        std::vector<Vec3f> back(values.size());
        char last = 0;
        file = opened(files.path("a"), Mode::Read, format);
        file >> bufRef(scalarsOf(std::span(back))) >> last;
        EXPECT_TRUE(file.ok() && back == values);
        EXPECT_EQ(last, format == Format::Text ? 'x' : ' ');
    }
}

TEST_F(TypedArray, AsLongAsTheBufferIsStagedAndNotSpilled) {
    std::vector<std::int32_t> values(kMiB / 4, 7);
    File file = writing();
    EXPECT_EQ(put(file, refTo(values)), (Transfer{true, "", kMiB}));
    EXPECT_EQ(files.content("a").raw.size(), 0u);
    file << 'x';
    EXPECT_EQ(files.content("a").raw.size(), kMiB);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(files.content("a").raw.substr(kMiB - 4), "\7\0\0\0x"s);
}

// The scalars that fill the buffer stay in it; the one that found no room is lost.
TEST_F(TypedArray, OnAFullDiskKeepsTheScalarsThatTheBufferHolds) {
    std::vector<double> values(kMiB / 8 + 1, 1.5);
    File file = opened("/dev/full", Mode::Write, Format::Binary);
    EXPECT_EQ(put(file, refTo(values)), (Transfer{false, "Fwrite failed. Requested 1048576, read 0.", kMiB}));
    EXPECT_FALSE(file.close());
    EXPECT_EQ(file.error(), "Fclose failed.");
}

TEST_F(TypedArray, OfTextWhoseLastNumberAFullDiskRefusesIsNotWritten) {
    std::vector<double> values(kMiB / 4 + 1, 1.5);  // "1.5 " fills the buffer but for the last
    File file = opened("/dev/full", Mode::Write, Format::Text);
    EXPECT_EQ(put(file, refTo(values)), (Transfer{false, "Fwrite failed. Requested 1048576, read 0.", kMiB}));
    EXPECT_FALSE(file.close());
}

TEST_F(TypedArray, WithGapsThatBeginsWithTheBufferComesBack) {
    std::vector<Vertex> vertices(100000);
    for (std::size_t i = 0; i < vertices.size(); ++i) vertices[i].place = Vec3f(i, 2, -1.0 * static_cast<double>(i));
    File file = writing();
    EXPECT_EQ(put(file, bufRef(std::span(vertices), &Vertex::place)), (Transfer{true, "", vertices.size() * 12}));
    ASSERT_TRUE(file.close());
    std::vector<Vec3f> back(vertices.size());
    file = opened(files.path("a"), Mode::Read, Format::Binary);
    file >> refTo(back);
    EXPECT_TRUE(file.ok() && file.eof());
    for (std::size_t i = 0; i < back.size(); ++i) ASSERT_EQ(back[i], vertices[i].place) << i;
}

TEST_F(TypedArray, WithGapsLongerThanTheBufferComesBack) {
    std::vector<Vertex> vertices(100000);
    for (std::size_t i = 0; i < vertices.size(); ++i) vertices[i].place = Vec3f(i, 1, -1.0 * static_cast<double>(i));
    File file = writing();
    file << 'a' << bufRef(std::span(vertices), &Vertex::place);
    ASSERT_TRUE(file.ok() && file.close());
    std::vector<Vertex> back(vertices.size());
    char first = 0;
    file = opened(files.path("a"), Mode::Read, Format::Binary);
    file >> first >> bufRef(std::span(back), &Vertex::place);
    EXPECT_TRUE(file.ok() && file.eof());
    for (std::size_t i = 0; i < back.size(); ++i) ASSERT_EQ(back[i].place, vertices[i].place) << i;
}

}  // namespace
}  // namespace qor::test
