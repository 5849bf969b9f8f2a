// The catalogue of the golden files: what each holds, as values that are written and read back.
#include "golden/golden.h"

#include <algorithm>
#include <concepts>
#include <cstring>
#include <limits>
#include <numeric>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace qor::test {
namespace {

using namespace std::literals;
using namespace math;
using Format = File::Format;

constexpr Format kBinary = Format::Binary;
constexpr Format kText = Format::Text;

// ---- Values ---------------------------------------------------------------------------------------------------------
//
// A value is put into a file and taken out of it again by the functions `put` and `take`. `blank` is what is read into,
// `same` compares bit by bit, and `saysWhy` is false for what can fail without a text.

template <typename T>
concept Scalar = std::is_arithmetic_v<T>;
template <typename T>
concept Record = std::same_as<typename T::value_type, double>;

template <typename T>
concept Plain = Scalar<T> || Record<T> || std::same_as<T, String>;

template <Plain T>
bool put(File& file, const T& value) {
    return file.write(value);
}
template <Plain T>
bool take(File& file, T& value) {
    return file.read(value);
}
template <Plain T>
T blank(const T&) {
    return T();
}
template <typename T>
bool saysWhy(const T&) {
    return true;
}

template <Scalar T>
bool same(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}
template <Record T>
bool same(const T& a, const T& b) {
    return std::memcmp(a.data(), b.data(), sizeof(T)) == 0;
}
bool same(const String& a, const String& b) { return a == b; }

/// A space in a text file, which ends the array before it: reading the array takes it too.
struct Gap {};

bool put(File& file, const Gap&) { return file.write(' '); }
bool take(File&, const Gap&) { return true; }
Gap blank(const Gap&) { return {}; }
bool same(const Gap&, const Gap&) { return true; }

/// A block of bytes, or with Compression::None the bytes as they stand.
struct Block {
    Compression kind;
    std::string content;
};

bool put(File& file, const Block& block) { return file.write(block.content.data(), block.content.size(), block.kind); }
bool take(File& file, Block& block) {
    std::vector<unsigned char> bytes(block.content.begin(), block.content.end());
    const bool done = file.read(bytes, block.kind);
    block.content.assign(bytes.begin(), bytes.end());
    return done;
}
Block blank(const Block& block) {
    const bool hasItsSize = block.kind == Compression::None;
    return {block.kind, std::string(hasItsSize ? block.content.size() : 0, '-')};
}
bool same(const Block& a, const Block& b) { return a.content == b.content; }

/// A typed array, by its scalars, and how its items lie in memory.
template <typename T>
struct Array {
    DataType type;
    std::vector<T> scalars;
    bool compress = false;
    std::uint64_t stride = 0;
    std::uint64_t offset = 0;
    bool isText = false;  // then a text that is no number fails without a text

    /// Room for the items wherever they lie, and what is between them.
    std::vector<unsigned char> memory() const {
        return std::vector<unsigned char>(offset + scalars.size() * sizeof(T) + (stride > 0 ? 200 : 0), 0xee);
    }
    BufRef ref(std::vector<unsigned char>& bytes) const {
        return {.ptr = bytes.data(),
                .type = type,
                .count = scalars.size() / typeElemCount(type),
                .stride = stride,
                .offset = offset};
    }
    /// Calls `act(place, scalar)` for each scalar with its place in memory.
    template <typename Act>
    void each(std::vector<unsigned char>& bytes, Act act) {
        const std::uint64_t perItem = typeElemCount(type);
        const std::uint64_t step = stride > 0 ? stride : typeSize(type);
        for (std::uint64_t i = 0; i < scalars.size(); ++i) {
            // The sum wraps where the items run backwards.
            act(bytes.data() + (offset + i / perItem * step + i % perItem * sizeof(T)), scalars[i]);
        }
    }
};

template <typename T>
bool put(File& file, const Array<T>& array) {
    Array<T> copy = array;
    std::vector<unsigned char> bytes = copy.memory();
    copy.each(bytes, [](unsigned char* place, const T& scalar) { std::memcpy(place, &scalar, sizeof(T)); });
    return file.write(copy.ref(bytes), array.compress);
}
template <typename T>
bool take(File& file, Array<T>& array) {
    std::vector<unsigned char> bytes = array.memory();
    const bool done = file.read(array.ref(bytes));
    array.each(bytes, [](unsigned char* place, T& scalar) { std::memcpy(&scalar, place, sizeof(T)); });
    return done;
}
template <typename T>
Array<T> blank(const Array<T>& array) {
    Array<T> blank = array;
    std::fill(blank.scalars.begin(), blank.scalars.end(), T());
    return blank;
}
template <typename T>
bool same(const Array<T>& a, const Array<T>& b) {
    return std::memcmp(a.scalars.data(), b.scalars.data(), a.scalars.size() * sizeof(T)) == 0;
}
template <typename T>
bool saysWhy(const Array<T>& array) {
    return !array.isText;
}

/// What a text file holds as a whole. An empty one is no text, without a word.
struct Whole {
    std::string text;
};

bool put(File& file, const Whole& whole) { return file.write(whole.text.c_str()); }
bool take(File& file, Whole& whole) {
    // Reading a whole text moves nothing.
    return file.read(whole.text) && file.seek(static_cast<std::int64_t>(file.len())) == file.len();
}
Whole blank(const Whole&) { return {}; }
bool same(const Whole& a, const Whole& b) { return a.text == b.text; }
bool saysWhy(const Whole&) { return false; }

// ---- Files of values ------------------------------------------------------------------------------------------------

template <typename Value>
void readOne(File& file, const Value& value, Found& found) {
    Value back = blank(value);
    if (!take(file, back)) {
        found.isRead = false;
        if (saysWhy(value) && file.ok()) found.saysWhy = false;
    }
    if (!same(back, value)) found.isRight = false;
}

/// A file of these values in their order.
template <typename... Values>
Golden holding(std::string name, Format format, Values... values) {
    const std::tuple<Values...> all(values...);
    return {std::move(name), format,
            [=](File& file) { return std::apply([&](const auto&... each) { return (put(file, each) && ...); }, all); },
            [=](File& file) {
                Found found;
                std::apply([&](const auto&... each) { (readOne(file, each, found), ...); }, all);
                return found;
            }};
}

/// A text file in which values stand that only a whole text gives back.
template <typename Write>
Golden printing(std::string name, std::string text, Write write) {
    Golden golden = holding(std::move(name), kText, Whole{std::move(text)});
    golden.write = [write](File& file) {
        write(file);
        return file.ok();
    };
    return golden;
}

/// A file whose payloads other tools made.
template <typename... Values>
Golden ofOthers(std::string name, Format format, Values... values) {
    Golden golden = holding(std::move(name), format, values...);
    golden.write = nullptr;
    return golden;
}

template <typename T>
Array<T> array(DataType type, std::vector<T> scalars) {
    return {.type = type, .scalars = std::move(scalars)};
}

Array<unsigned char> bytes(DataType type, std::vector<unsigned char> values, bool compress = false) {
    return {.type = type, .scalars = std::move(values), .compress = compress};
}

/// `items` values of a type: its scalars count from 1 in steps of 5/4, every other of them below zero.
template <typename T>
Array<T> counting(DataType type, std::uint64_t items) {
    std::vector<T> scalars(items * typeElemCount(type));
    for (std::size_t i = 0; i < scalars.size(); ++i) {
        const double value = 1 + 1.25 * static_cast<double>(i);
        scalars[i] = static_cast<T>(i % 2 == 1 && std::is_signed_v<T> ? -value : value);
    }
    return array(type, std::move(scalars));
}
Array<float> floats(DataType type) { return counting<float>(type, 2); }
Array<double> doubles(DataType type) { return counting<double>(type, 2); }
Array<int> ints(DataType type) { return counting<int>(type, 2); }
Array<unsigned> unsigneds(DataType type) { return counting<unsigned>(type, 2); }

template <typename T>
Array<T> inText(Array<T> array) {
    array.isText = true;
    return array;
}

template <typename T>
using Limits = std::numeric_limits<T>;

template <typename T, typename Bits>
T ofBits(Bits bits) {
    static_assert(sizeof(T) == sizeof(Bits));
    T value;
    std::memcpy(&value, &bits, sizeof(T));
    return value;
}
float floatOf(std::uint32_t bits) { return ofBits<float>(bits); }
double doubleOf(std::uint64_t bits) { return ofBits<double>(bits); }

// ---- Contents of blocks ---------------------------------------------------------------------------------------------

const std::string kSentence = "a block is a header and a payload, and a payload is a stream";

std::string lines() {
    std::string text;
    for (int i = 1; i <= 60; ++i) text += "line " + std::to_string(i) + " of " + std::to_string(i * i) + " things\n";
    return text;
}

std::string noise(std::size_t size) {
    std::string bytes;
    std::uint32_t state = 7;
    while (bytes.size() < size) bytes += static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
}

std::string run() { return std::string(70'000, 'q'); }

struct Kind {
    const char* name;
    Compression kind;
};
constexpr Kind kKinds[] = {{"lz4", Compression::Lz4}, {"zlib", Compression::Zlib}, {"zstd", Compression::Zstd}};

// ---- The catalogue --------------------------------------------------------------------------------------------------

using Goldens = std::vector<Golden>;

void addScalars(Goldens& all) {
    using Signed = signed char;
    using Unsigned = unsigned char;
    using Short = short;
    using UnsignedShort = unsigned short;
    all.push_back(holding("characters", kBinary, 'A', '\0', '\x7f', static_cast<char>(0x80), static_cast<char>(0xff),
                          false, true, Signed{-128}, Signed{-1}, Signed{127}, Unsigned{0}, Unsigned{128},
                          Unsigned{255}));
    all.push_back(holding("shorts", kBinary, Short{-32768}, Short{-2}, Short{258}, Short{32767}, UnsignedShort{0x1234},
                          UnsignedShort{65535}));
    all.push_back(holding("ints", kBinary, Limits<int>::min(), -2, 258, Limits<int>::max(), 0x12345678u,
                          Limits<unsigned>::max()));
    all.push_back(holding("longs", kBinary, Limits<long>::min(), -1L, 0x0102030405060708L, Limits<long>::max(),
                          0x8000000000000000UL, Limits<unsigned long>::max()));
    all.push_back(holding("floats", kBinary, 1.0f, -0.0f, 0.1f, -0.15625f, floatOf(1), Limits<float>::max(),
                          -Limits<float>::infinity(), floatOf(0xffc12345)));
    all.push_back(holding("doubles", kBinary, 1.0, -0.0, 0.1, -0.1, doubleOf(1), Limits<double>::max(),
                          Limits<double>::infinity(), doubleOf(0x7ff8123456789abc)));
    all.push_back(holding("one_of_each", kBinary, 'x', true, Signed{-3}, Unsigned{200}, Short{-300},
                          UnsignedShort{60000}, -70000, 4000000000u, -5000000000L, 10000000000000000000UL, 2.5f,
                          -1e100));
}

void addTexts(Goldens& all) {
    all.push_back(holding("strings", kBinary, String("abc"), String(), String("Z\xc3\xbcrich"), String("last\n")));
    all.push_back(holding("long_string", kBinary, String(lines().c_str())));
    all.push_back(holding("string_between_numbers", kBinary, 3, String("first lap"), 92.418));
    Golden printed = holding("printed", kBinary, String("x=5 and 2.50"), String("a line\n"));
    printed.write = [](File& file) { return file.print("x=%d and %.2f", 5, 2.5) && file.printLn("a %s", "line"); };
    all.push_back(printed);

    all.push_back(printing("text", "abcd Z\xc3\xbcrich\nx=5\n", [](File& file) {
        file << "ab"
             << ""
             << "cd "
             << "Z\xc3\xbcrich\n";
        file.printLn("x=%d", 5);
    }));
    all.push_back(printing("text_integers",
                           "true false -128 255 -32768 65535 -2147483648 4294967295 -9223372036854775808 "
                           "18446744073709551615 12AB\xff",
                           [](File& file) {
                               file << true << ' ' << false << ' ' << static_cast<signed char>(-128) << ' '
                                    << static_cast<unsigned char>(255) << ' ' << static_cast<short>(-32768) << ' '
                                    << static_cast<unsigned short>(65535) << ' ' << Limits<int>::min() << ' '
                                    << Limits<unsigned>::max() << ' ' << Limits<long>::min() << ' '
                                    << Limits<unsigned long>::max() << ' ' << 1 << 2 << 'A' << 'B' << '\xff';
                           }));
    all.push_back(printing("text_reals",
                           "0.1 0.10000000149011612 -0 1e+05 3.4028235e+38 1e-45 inf -nan\n"
                           "0.1 0.30000000000000004 -0 1e+22 1.7976931348623157e+308 5e-324 -inf nan\n",
                           [](File& file) {
                               file << 0.1f << ' ' << static_cast<double>(0.1f) << ' ' << -0.0f << ' ' << 1e5f << ' '
                                    << Limits<float>::max() << ' ' << floatOf(1) << ' ' << Limits<float>::infinity()
                                    << ' ' << floatOf(0xffc00001) << '\n';
                               file << 0.1 << ' ' << 0.1 + 0.2 << ' ' << -0.0 << ' ' << 1e22 << ' '
                                    << Limits<double>::max() << ' ' << doubleOf(1) << ' ' << -Limits<double>::infinity()
                                    << ' ' << doubleOf(0x7ff8000000000001) << '\n';
                           }));
    all.push_back(printing("text_records", "1 2;1 -2.5 3;0.1 0.2 0.3 0.4;-1 0 0 0 1 0 0 0 1", [](File& file) {
        file << Vec2d(1, 2) << ';' << Pos3d(1, -2.5, 3) << ';' << Rgbad(0.1, 0.2, 0.3, 0.4) << ';'
             << Mat3d(-1, 0, 0, 0, 1, 0, 0, 0, 1);
    }));
}

template <typename Value>
Value record(double first, double step) {
    Value value;
    for (std::size_t i = 0; i < Value::size(); ++i) value[i] = first + step * static_cast<double>(i);
    return value;
}

void addRecords(Goldens& all) {
    all.push_back(holding("vectors", kBinary, Vec2d(1, -2), Vec3d(0.5, 0.25, 0.125), Vec4d(1e300, -1e-300, 0, 7)));
    all.push_back(holding("positions", kBinary, Pos2d(47.37, 8.54), Pos3d(-1, 2, -3), Pos2d()));
    all.push_back(holding("quaternion", kBinary, Quatd(0, 0, 0.6, 0.8)));
    all.push_back(holding("colour", kBinary, Rgbad(1, 0.5, 0.25, 1)));
    all.push_back(holding("matrix_of_nine", kBinary, record<Mat3d>(1, 1)));
    all.push_back(holding("matrix_of_sixteen", kBinary, record<Mat4d>(-0.5, 0.25)));
    all.push_back(holding("records_of_every_bit", kBinary,
                          Vec3d(doubleOf(0x7ff4123456789abc), -0.0, doubleOf(0xfff8000000000001)),
                          Pos2d(doubleOf(1), -Limits<double>::infinity())));
}

void addArraysOfScalars(Goldens& all) {
    all.push_back(holding("array_int16", kBinary, array<short>(DataType::Int16, {-32768, -2, 0, 258, 32767})));
    all.push_back(
        holding("array_int32", kBinary, array<int>(DataType::Int32, {Limits<int>::min(), -2, 258, 2147483647})));
    all.push_back(
        holding("array_int64", kBinary, array<long>(DataType::Int64, {Limits<long>::min(), -2, 0x0102030405060708})));
    all.push_back(holding("array_uint16", kBinary, array<unsigned short>(DataType::UInt16, {0, 0x1234, 65535})));
    all.push_back(holding("array_uint32", kBinary, array<unsigned>(DataType::UInt32, {0, 0x12345678, 0xffffffff, 1})));
    all.push_back(holding("array_uint64", kBinary, array<unsigned long>(DataType::UInt64, {0x123456789abcdef0, ~0ul})));
    all.push_back(holding("array_float", kBinary,
                          array<float>(DataType::Float, {1, -0.0f, 0.1f, floatOf(0x7f812345), floatOf(0xff800000)})));
    all.push_back(holding("array_double", kBinary,
                          array<double>(DataType::Double, {1, -0.0, 0.1, doubleOf(0xfff4123456789abc)})));
    all.push_back(
        holding("array_pointers", kBinary, array<std::uint64_t>(DataType::Ptr, {0, 0x00007fffdeadbeef, ~0ull})));
}

void addArraysOfAggregates(Goldens& all) {
    using enum DataType;
    all.push_back(holding("array_vec2", kBinary, floats(Vec2f), doubles(Vec2d), ints(Vec2i), unsigneds(Vec2u)));
    all.push_back(holding("array_vec3", kBinary, floats(Vec3f), doubles(Vec3d), ints(Vec3i), unsigneds(Vec3u)));
    all.push_back(holding("array_vec4", kBinary, floats(Vec4f), doubles(Vec4d), ints(Vec4i), unsigneds(Vec4u)));
    all.push_back(holding("array_pos2", kBinary, floats(Pos2f), doubles(Pos2d), ints(Pos2i)));
    all.push_back(holding("array_pos3", kBinary, floats(Pos3f), doubles(Pos3d), ints(Pos3i)));
    all.push_back(holding("array_quat", kBinary, floats(Quatf), doubles(Quatd)));
    all.push_back(holding("array_rgb", kBinary, floats(Rgbf), doubles(Rgbd), floats(Rgbaf), doubles(Rgbad)));
    all.push_back(holding("array_mat3", kBinary, floats(Mat3f), counting<double>(Mat3d, 1), counting<int>(Mat3i, 1)));
    all.push_back(
        holding("array_mat4", kBinary, counting<float>(Mat4f, 1), counting<double>(Mat4d, 1), counting<int>(Mat4i, 1)));
    all.push_back(holding("array_xform", kBinary, counting<float>(Xformf, 1), counting<double>(Xformd, 1),
                          counting<int>(Xformi, 1)));
    all.push_back(
        holding("array_box", kBinary, counting<float>(Aabbf, 1), counting<double>(Aabbd, 1), counting<int>(Aabbi, 1)));
    all.push_back(holding("array_turned_box", kBinary, counting<float>(Obbf, 1), counting<double>(Obbd, 1),
                          counting<int>(Obbi, 1)));
    all.push_back(holding("array_hues", kBinary, floats(Hsvf), doubles(Hsvd), floats(Hslf), doubles(Hsld)));
}

void addArraysOfBytes(Goldens& all) {
    using enum DataType;
    std::vector<unsigned char> every(256);
    std::iota(every.begin(), every.end(), static_cast<unsigned char>(0));
    const std::vector<unsigned char> colours = {1, 2, 3, 255, 128, 64, 32, 0, 10, 20, 30, 40};
    all.push_back(holding("array_bytes", kBinary, bytes(Byte, every), bytes(Char, {255, 128, 127}),
                          bytes(Bool, {1, 0, 1}), bytes(Rgb8, colours), bytes(Rgba8, colours), bytes(Argb8, colours),
                          bytes(ColorRef, colours)));
    all.push_back(holding("array_bytes_compressed", kBinary, bytes(Byte, every, true), bytes(Rgb8, colours, true),
                          bytes(Bool, {1, 0, 1}, true), bytes(ColorRef, colours, true)));
    all.push_back(holding("array_bytes_with_a_dot", kBinary, bytes(Byte, {'.', 'a', 'b', 'c'}, true)));

    // A colour of each struct of 9 bytes. What was compressed comes back without the gaps.
    Array<unsigned char> field = bytes(Rgba8, colours, true);
    Golden packed = holding("field_of_colours", kBinary, field);
    field.stride = 9;
    field.offset = 5;
    packed.write = [field](File& file) { return put(file, field); };
    all.push_back(packed);
}

void addArraysWithGaps(Goldens& all) {
    using enum DataType;
    Array<float> field = floats(Vec3f);
    field.stride = 29;
    field.offset = 7;
    Array<short> backwards = counting<short>(Int16, 6);
    backwards.stride = 0 - std::uint64_t{5};
    backwards.offset = 100;
    Array<double> odd = doubles(Double);
    odd.offset = 3;
    Array<std::uint64_t> apart = array<std::uint64_t>(Ptr, {1, 2, 3});
    apart.stride = 16;
    all.push_back(holding("field_of_vectors", kBinary, field));
    all.push_back(holding("array_backwards", kBinary, backwards));
    all.push_back(holding("array_at_an_odd_address", kBinary, odd));
    all.push_back(holding("array_of_every_other", kBinary, apart, field, odd));
}

void addArraysInText(Goldens& all) {
    using enum DataType;
    all.push_back(holding(
        "text_array_integers", kText, inText(array<short>(Int16, {-32768, 0, 32767})), Gap(),
        inText(array<unsigned short>(UInt16, {0, 65535})), Gap(), inText(array<int>(Int32, {Limits<int>::min(), 7})),
        Gap(), inText(array<unsigned>(UInt32, {4294967295})), Gap(),
        inText(array<long>(Int64, {Limits<long>::min(), -1})), Gap(), inText(array<unsigned long>(UInt64, {~0ul}))));
    all.push_back(holding("text_array_reals", kText, inText(array<float>(Float, {1, -0.0f, 0.1f, 1e-45f, 1e30f})),
                          Gap(), inText(array<double>(Double, {0.1, 1.0 / 3, -1e22, 5e-324}))));
    // Aggregates come back as the scalars that they are made of.
    Golden vectors =
        holding("text_array_vectors", kText, inText(array<double>(Double, {1, -2.25, 3.5, -4.75, 6, -7.25})));
    vectors.write = [](File& file) { return put(file, doubles(Vec3d)); };
    all.push_back(vectors);
    // Nothing of the pointers themselves.
    Golden pointers = holding("text_array_pointers", kText, Whole{"  "});
    pointers.write = [](File& file) {
        return !put(file, array<std::uint64_t>(Ptr, {1, 2, 3})) && file.error() == "Invalid typeElemType: Ptr";
    };
    all.push_back(pointers);
    all.push_back(holding("text_array_bytes", kText, bytes(Byte, {'a', ' ', 0, 255}), bytes(Rgba8, {1, 2, 3, 4}, true),
                          bytes(Char, {'y', 'z'})));
}

void addBlocks(Goldens& all) {
    for (const auto& [name, kind] : kKinds) {
        const auto named = [name = name](const char* content) { return std::string("block_") + name + '_' + content; };
        all.push_back(holding(named("sentence"), kBinary, Block{kind, kSentence}));
        all.push_back(holding(named("lines"), kBinary, Block{kind, lines()}));
        all.push_back(holding(named("noise"), kBinary, Block{kind, noise(150)}));
        all.push_back(holding(named("run"), kBinary, Block{kind, run()}));
        all.push_back(holding("text_"s + named("sentence"), kText, Block{kind, kSentence}));
        all.push_back(holding("text_"s + named("lines"), kText, Block{kind, lines()}));
        all.push_back(holding("text_"s + named("run"), kText, Block{kind, run()}));
    }
    all.push_back(holding("block_empty", kBinary, Block{Compression::Zlib, ""}));
    all.push_back(holding("text_block_empty", kText, Block{Compression::Zlib, ""}));
    all.push_back(holding("blocks_in_a_row", kBinary, Block{Compression::Lz4, "one"}, Block{Compression::Zlib, "two"},
                          Block{Compression::Zstd, "three"}, Block{Compression::None, "four"},
                          Block{Compression::Lz4, ""}));
    all.push_back(holding("bytes_as_they_stand", kBinary, Block{Compression::None, noise(100)}));
}

// Streams of the public tools, in settings that the library's own encoders do not use.
void addBlocksOfOthers(Goldens& all) {
    for (const char* setting :
         {"lz4_fast", "lz4_best_linked_blocks", "lz4_block_checksums", "zlib_fast", "zlib_small_window", "zlib_stored",
          "zlib_fixed_codes", "zstd_fast", "zstd_best", "zstd_no_checksum", "zstd_plain_literals"}) {
        all.push_back(ofOthers("of_others_"s + setting, kBinary, Block{Compression::Lz4, lines()}));
    }
    for (const auto& [name, kind] : kKinds) {
        all.push_back(ofOthers("of_others_text_"s + name, kText, Block{kind, kSentence}));
    }
}

void addMixtures(Goldens& all) {
    using enum DataType;
    all.push_back(holding("mesh", kBinary, String("tetrahedron"), 4ul, counting<float>(Vec3f, 4), 4ul,
                          array<unsigned>(UInt32, {0, 1, 2, 0, 1, 3, 0, 2, 3, 1, 2, 3}), math::Rgbad(0.8, 0.4, 0.2, 1),
                          Block{Compression::Zstd, kSentence}, true));
    all.push_back(holding("text_mesh", kText, inText(array<int>(Int32, {4})), Gap(),
                          inText(array<float>(Float, {0, 0, 0.5, 1})), Gap(), Block{Compression::Zstd, kSentence}, '\n',
                          bytes(Byte, {'e', 'n', 'd'})));
}

Goldens catalogue() {
    Goldens all;
    addScalars(all);
    addTexts(all);
    addRecords(all);
    addArraysOfScalars(all);
    addArraysOfAggregates(all);
    addArraysOfBytes(all);
    addArraysWithGaps(all);
    addArraysInText(all);
    addBlocks(all);
    addBlocksOfOthers(all);
    addMixtures(all);
    return all;
}

}  // namespace

const std::vector<Golden>& goldens() {
    static const Goldens all = catalogue();
    return all;
}

}  // namespace qor::test
