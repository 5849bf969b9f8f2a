// Numbers, truth values and characters: their bytes, their text, and what reading them back gives.
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "file/contents.h"

namespace qor::test {
namespace {

using Scalars = WithFiles;

// ---- The bytes ------------------------------------------------------------------------------------------------------

struct Golden {
    const char* value;
    void (*put)(File& file);
    Bytes bytes;
};

TEST(ScalarBytes, OfEveryTypeAreThese) {
    const Golden kGolden[] = {
        {"char 'A'", [](File& f) { f << 'A'; }, "41"_bytes},
        {"char 0", [](File& f) { f << '\0'; }, "00"_bytes},
        {"char 255", [](File& f) { f << '\xff'; }, "ff"_bytes},
        {"false", [](File& f) { f << false; }, "00"_bytes},
        {"true", [](File& f) { f << true; }, "01"_bytes},
        {"signed char -2", [](File& f) { f << static_cast<signed char>(-2); }, "fe"_bytes},
        {"unsigned char 200", [](File& f) { f << static_cast<unsigned char>(200); }, "c8"_bytes},
        {"short -2", [](File& f) { f << static_cast<short>(-2); }, "fe ff"_bytes},
        {"unsigned short 0x1234", [](File& f) { f << static_cast<unsigned short>(0x1234); }, "34 12"_bytes},
        {"int 258", [](File& f) { f << 258; }, "02 01 00 00"_bytes},
        {"int -2", [](File& f) { f << -2; }, "fe ff ff ff"_bytes},
        {"unsigned int 0x12345678", [](File& f) { f << 0x12345678u; }, "78 56 34 12"_bytes},
        {"long -1", [](File& f) { f << -1L; }, "ff ff ff ff ff ff ff ff"_bytes},
        {"long 0x0102030405060708", [](File& f) { f << 0x0102030405060708L; }, "08 07 06 05 04 03 02 01"_bytes},
        {"unsigned long 2^63", [](File& f) { f << 0x8000000000000000UL; }, "00 00 00 00 00 00 00 80"_bytes},
        {"long long -2", [](File& f) { f << -2LL; }, "fe ff ff ff ff ff ff ff"_bytes},
        {"unsigned long long", [](File& f) { f << 0x0102030405060708ULL; }, "08 07 06 05 04 03 02 01"_bytes},
        {"float 1", [](File& f) { f << 1.0f; }, "00 00 80 3f"_bytes},
        {"float -0.15625", [](File& f) { f << -0.15625f; }, "00 00 20 be"_bytes},
        {"double 1", [](File& f) { f << 1.0; }, "00 00 00 00 00 00 f0 3f"_bytes},
        {"double -0.1", [](File& f) { f << -0.1; }, "9a 99 99 99 99 99 b9 bf"_bytes},
        {"double -0", [](File& f) { f << -0.0; }, "00 00 00 00 00 00 00 80"_bytes},
        {"double infinity", [](File& f) { f << std::numeric_limits<double>::infinity(); },
         "00 00 00 00 00 00 f0 7f"_bytes},
    };
    for (const Golden& golden : kGolden) {
        SCOPED_TRACE(golden.value);
        EXPECT_EQ(written(Format::Binary, golden.put), golden.bytes);
    }
}

TEST(ScalarBytes, OfOtherNamesForTheTypesAreTheirs) {
    EXPECT_EQ(written(Format::Binary, [](File& f) { f << std::size_t{3}; }), "03 00 00 00 00 00 00 00"_bytes);
    EXPECT_EQ(written(Format::Binary, [](File& f) { f << std::int64_t{-3}; }), "fd ff ff ff ff ff ff ff"_bytes);
    EXPECT_EQ(written(Format::Binary, [](File& f) { f << std::uint64_t{3}; }), "03 00 00 00 00 00 00 00"_bytes);
    EXPECT_EQ(written(Format::Binary, [](File& f) { f << std::int32_t{-3}; }), "fd ff ff ff"_bytes);
    EXPECT_EQ(written(Format::Binary, [](File& f) { f << std::uint16_t{3}; }), "03 00"_bytes);
    EXPECT_EQ(written(Format::Binary, [](File& f) { f << std::uint8_t{3}; }), "03"_bytes);
}

TEST(ScalarBytes, OfValuesInARowHaveNothingBetweenThem) {
    EXPECT_EQ(written(Format::Binary, [](File& f) { f << 'a' << static_cast<short>(-2) << true << 1.0f << 258; }),
              "61  fe ff  01  00 00 80 3f  02 01 00 00"_bytes);
}

TEST_F(Scalars, ATrueIsOneByte) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    EXPECT_TRUE(file.write(true));
    EXPECT_EQ(file.pos(), 1u);
}

// ---- The text -------------------------------------------------------------------------------------------------------

struct Printed {
    const char* text;
    void (*put)(File& file);
};

TEST(ScalarText, OfEveryTypeIsThis) {
    const Printed kPrinted[] = {
        {"A", [](File& f) { f << 'A'; }},
        {"true", [](File& f) { f << true; }},
        {"false", [](File& f) { f << false; }},
        {"65", [](File& f) { f << static_cast<signed char>(65); }},
        {"-128", [](File& f) { f << static_cast<signed char>(-128); }},
        {"65", [](File& f) { f << static_cast<unsigned char>(65); }},
        {"255", [](File& f) { f << static_cast<unsigned char>(255); }},
        {"-32768", [](File& f) { f << std::numeric_limits<short>::min(); }},
        {"65535", [](File& f) { f << std::numeric_limits<unsigned short>::max(); }},
        {"0", [](File& f) { f << 0; }},
        {"-2147483648", [](File& f) { f << std::numeric_limits<int>::min(); }},
        {"4294967295", [](File& f) { f << std::numeric_limits<unsigned int>::max(); }},
        {"-9223372036854775808", [](File& f) { f << std::numeric_limits<long>::min(); }},
        {"18446744073709551615", [](File& f) { f << std::numeric_limits<unsigned long>::max(); }},
        {"-9223372036854775808", [](File& f) { f << std::numeric_limits<long long>::min(); }},
        {"18446744073709551615", [](File& f) { f << std::numeric_limits<unsigned long long>::max(); }},
        {"3", [](File& f) { f << std::size_t{3}; }},
        {"0.1", [](File& f) { f << 0.1f; }},
        {"16777216", [](File& f) { f << 16777216.0f; }},
        {"0.1", [](File& f) { f << 0.1; }},
        {"0.30000000000000004", [](File& f) { f << 0.1 + 0.2; }},
        {"1", [](File& f) { f << 1.0; }},
        {"-0", [](File& f) { f << -0.0; }},
        {"1e+300", [](File& f) { f << 1e300; }},
        {"-2.2250738585072014e-308", [](File& f) { f << -std::numeric_limits<double>::min(); }},
        {"5e-324", [](File& f) { f << std::numeric_limits<double>::denorm_min(); }},
        {"inf", [](File& f) { f << std::numeric_limits<double>::infinity(); }},
        {"-inf", [](File& f) { f << -std::numeric_limits<float>::infinity(); }},
        {"nan", [](File& f) { f << std::numeric_limits<double>::quiet_NaN(); }},
    };
    for (const Printed& printed : kPrinted) {
        EXPECT_EQ(written(Format::Text, printed.put), Bytes{printed.text});
    }
}

TEST(ScalarText, OfTwoNumbersRunsTogether) {
    EXPECT_EQ(written(Format::Text, [](File& f) { f << 1 << 2; }), Bytes{"12"});
}

TEST(ScalarText, IsPartedByWhatTheCallerWrites) {
    EXPECT_EQ(written(Format::Text, [](File& f) { f << 1 << ' ' << 2.5 << "; " << true << '\n'; }),
              Bytes{"1 2.5; true\n"});
}

TEST(ScalarText, OfEveryCharIsItsByte) {
    std::string bytes;
    for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
    EXPECT_EQ(written(Format::Text,
                      [](File& f) {
                          for (int i = 0; i < 256; ++i) f << static_cast<char>(i);
                      }),
              Bytes{bytes});
}

TEST_F(Scalars, ATextMovesThePositionByItsLength) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    file << -1234 << 0.5 << false << 'x';
    EXPECT_EQ(file.pos(), 5u + 3 + 5 + 1);
}

// A text of 24 characters at every distance from the end of the staging buffer.
TEST_F(Scalars, ATextIsWholeWhereverTheBufferEnds) {
    for (std::uint64_t room = 0; room <= 40; ++room) {
        SCOPED_TRACE(room);
        const std::string before(kMiB - room, '-');
        File file = opened(files.path("a"), Mode::Write, Format::Text);
        file << before << -2.2250738585072014e-308 << 7 << true;
        EXPECT_EQ(file.pos(), before.size() + 24 + 1 + 4);
        EXPECT_TRUE(file.close());
        EXPECT_EQ(files.content("a"), Bytes{before + "-2.2250738585072014e-3087true"});
    }
}

// ---- There and back -------------------------------------------------------------------------------------------------

template <typename T>
std::string image(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof(T)};
}

template <typename T>
T fromImage(auto bits) {
    static_assert(sizeof(bits) == sizeof(T));
    T value;
    std::memcpy(&value, &bits, sizeof(T));
    return value;
}

// Every value comes back bit for bit, after an open and by way of `>>`.
template <typename T>
void expectRoundTrip(const TestFolder& files, const std::vector<T>& values) {
    File file = opened(files.path("a"), Mode::Write, Format::Binary);
    for (const T value : values) EXPECT_TRUE(file.write(value));
    EXPECT_EQ(file.pos(), values.size() * sizeof(T));
    ASSERT_TRUE(file.open(files.path("a").c_str(), Mode::Read, Format::Binary));
    for (const T value : values) {
        T back;
        EXPECT_TRUE(file.read(back));
        EXPECT_EQ(image(back), image(value));
    }
    EXPECT_TRUE(file.eof());
    EXPECT_TRUE(file.ok());
}

template <typename T>
std::vector<T> extremes() {
    using Limits = std::numeric_limits<T>;
    return {Limits::lowest(), Limits::min(), Limits::max(), static_cast<T>(0), static_cast<T>(1), static_cast<T>(-1)};
}

template <typename T>
std::vector<T> floatingExtremes() {
    using Limits = std::numeric_limits<T>;
    std::vector<T> values = extremes<T>();
    values.insert(values.end(), {static_cast<T>(-0.0), Limits::denorm_min(), -Limits::denorm_min(), Limits::epsilon(),
                                 Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(), -Limits::quiet_NaN()});
    return values;
}

TEST_F(Scalars, ExtremesComeBack) {
    expectRoundTrip<short>(files, extremes<short>());
    expectRoundTrip<unsigned short>(files, extremes<unsigned short>());
    expectRoundTrip<int>(files, extremes<int>());
    expectRoundTrip<unsigned int>(files, extremes<unsigned int>());
    expectRoundTrip<long>(files, extremes<long>());
    expectRoundTrip<unsigned long>(files, extremes<unsigned long>());
    expectRoundTrip<long long>(files, extremes<long long>());
    expectRoundTrip<unsigned long long>(files, extremes<unsigned long long>());
    expectRoundTrip<float>(files, floatingExtremes<float>());
    expectRoundTrip<double>(files, floatingExtremes<double>());
}

TEST_F(Scalars, EveryValueOfEightBitsComesBack) {
    std::vector<char> chars;
    std::vector<signed char> signedChars;
    std::vector<unsigned char> unsignedChars;
    for (int i = 0; i < 256; ++i) {
        chars.push_back(static_cast<char>(i));
        signedChars.push_back(static_cast<signed char>(i));
        unsignedChars.push_back(static_cast<unsigned char>(i));
    }
    expectRoundTrip(files, chars);
    expectRoundTrip(files, signedChars);
    expectRoundTrip(files, unsignedChars);
    expectRoundTrip(files, std::vector<bool>{false, true, true, false});
}

TEST_F(Scalars, ANanKeepsItsPayloadAndItsSign) {
    expectRoundTrip<float>(files, {fromImage<float>(0x7fc12345u), fromImage<float>(0xffffffffu)});
    expectRoundTrip<double>(files, {fromImage<double>(0x7ff8123456789abcul), fromImage<double>(0xfff8000000000001ul)});
}

TEST_F(Scalars, ASignallingNanIsReadBitForBit) {
    const Bytes kNans = "45 23 81 7f  bc 9a 78 56 34 12 f4 7f"_bytes;
    File file = opened(files.make("a", kNans.raw), Mode::Read, Format::Binary);
    float small;
    double large;
    file >> small >> large;
    EXPECT_EQ(image(small), image(0x7f812345u));
    EXPECT_EQ(image(large), image(0x7ff4123456789abcul));
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST_F(Scalars, LowBytesComeFirst) {
    const Bytes kNumbers = "02 01 00 00  fe ff  00 00 80 3f  00 00 00 00 00 00 f0 3f  08 07 06 05 04 03 02 01"_bytes;
    File file = opened(files.make("a", kNumbers.raw), Mode::Read, Format::Binary);
    int a;
    short b;
    float c;
    double d;
    std::int64_t e;
    file >> a >> b >> c >> d >> e;
    EXPECT_EQ(a, 258);
    EXPECT_EQ(b, -2);
    EXPECT_EQ(c, 1.0f);
    EXPECT_EQ(d, 1.0);
    EXPECT_EQ(e, 0x0102030405060708);
    EXPECT_EQ(file.pos(), 26u);
    EXPECT_TRUE(file.ok());
}

TEST_F(Scalars, DigitsAreNeverParsed) {
    File file = opened(files.make("a", "1234"), Mode::Read, Format::Text);
    int value;
    EXPECT_TRUE(file.read(value));
    EXPECT_EQ(value, 875770417);
    EXPECT_EQ(file.pos(), 4u);
}

TEST_F(Scalars, OfWhatIsWrittenAsTextOnlyCharsReadBack) {
    File file = opened(files.path("a"), Mode::Write, Format::Text);
    file << 'A' << '\xff' << 12;
    ASSERT_TRUE(file.open(files.path("a").c_str(), Mode::Read, Format::Text));
    char first, second;
    int number = 5;
    EXPECT_TRUE(file.read(first) && file.read(second));
    EXPECT_EQ(first, 'A');
    EXPECT_EQ(second, '\xff');
    EXPECT_FALSE(file.read(number));
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(number, 5);
}

// The variable is looked at as bytes alone: a bool that holds neither 0 nor 1 must not be read as one.
TEST_F(Scalars, ABoolStoresWhateverByteThereIs) {
    std::string bytes;
    for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
    File file = opened(files.make("a", bytes), Mode::Read, Format::Binary);
    bool value;
    for (int i = 0; i < 256; ++i) {
        EXPECT_TRUE(file.read(value));
        EXPECT_EQ(image(value), bytes.substr(static_cast<std::size_t>(i), 1));
    }
    for (int i = 0; i < 256; ++i) {
        file.seek(i);
        file >> value;
        EXPECT_EQ(image(value), bytes.substr(static_cast<std::size_t>(i), 1));
    }
    EXPECT_TRUE(file.ok());
}

TEST_F(Scalars, ANumberIsReadWholeWhereverTheChunkEnds) {
    for (std::uint64_t before = kMiB - 8; before <= kMiB; ++before) {
        SCOPED_TRACE(before);
        File file =
            opened(files.make("a", filler(before) + "\x08\x07\x06\x05\x04\x03\x02\x01"), Mode::Read, Format::Binary);
        String skipped;
        long value = 0;
        EXPECT_TRUE(file.read(skipped));
        EXPECT_TRUE(file.read(value));
        EXPECT_EQ(value, 0x0102030405060708);
        EXPECT_EQ(file.pos(), before + 8);
        EXPECT_TRUE(file.eof());
    }
}

TEST_F(Scalars, ANumberIsWrittenWholeWhereverTheBufferEnds) {
    for (std::uint64_t before = kMiB - 8; before <= kMiB; ++before) {
        SCOPED_TRACE(before);
        File file = opened(files.path("a"), Mode::Write, Format::Binary);
        file << std::string(before - 8, '-') << 0x0102030405060708 << 'x';
        EXPECT_EQ(file.pos(), before + 9);
        EXPECT_TRUE(file.close());
        EXPECT_EQ(files.content("a"), Bytes{filler(before) + "\x08\x07\x06\x05\x04\x03\x02\x01x"});
    }
}

// ---- Failures -------------------------------------------------------------------------------------------------------

// Reads a value of each type; each must fail and leave what was there, which for a bool is no truth value.
template <typename... T>
void expectUnchanged(File& file, const char* error) {
    const auto expectOne = [&]<typename One>(One value) {
        std::memset(static_cast<void*>(&value), 0x5a, sizeof(value));
        EXPECT_FALSE(file.read(value));
        EXPECT_EQ(image(value), std::string(sizeof(value), 0x5a));
        EXPECT_EQ(file.error(), error);
        file >> value;
        EXPECT_EQ(image(value), std::string(sizeof(value), 0x5a));
    };
    (expectOne(T{}), ...);
}

void expectEveryTypeUnchanged(File& file, const char* error) {
    const std::uint64_t before = file.pos();
    expectUnchanged<char, bool, signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                    unsigned long, long long, unsigned long long, float, double>(file, error);
    EXPECT_EQ(file.pos(), before);
}

TEST_F(Scalars, ARefusedReadChangesNothing) {
    File file;
    expectEveryTypeUnchanged(file, "File not successfully opened, cannot read.");
    file = opened(files.path("a"), Mode::Write, Format::Binary);
    expectEveryTypeUnchanged(file, "Cannot write while in write mode.");
    EXPECT_TRUE(file.close());
    expectEveryTypeUnchanged(file, "File not successfully opened, cannot read.");
}

TEST_F(Scalars, AReadAtTheEndChangesNothing) {
    File file = opened(files.make("a", "x"), Mode::Read, Format::Binary);
    char last;
    file >> last;
    expectEveryTypeUnchanged(file, "Attempted to read beyond file size.");
    EXPECT_EQ(last, 'x');
}

TEST_F(Scalars, AReadThatIsOneByteShortChangesNothing) {
    File file = opened(files.make("a", "123456"), Mode::Read, Format::Binary);
    char first;
    file >> first;
    double value = 0.5;
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(value, 0.5);
    EXPECT_EQ(file.error(), "Attempted to read beyond file size.");
    EXPECT_EQ(file.pos(), 1u);

    char rest[5];
    for (char& c : rest) file >> c;
    EXPECT_EQ(std::string(rest, 5), "23456");
}

TEST_F(Scalars, ARefusedWriteSaysWhy) {
    File file;
    EXPECT_FALSE(file.write(1));
    EXPECT_EQ(file.error(), "File not successfully opened, cannot write.");
    EXPECT_FALSE(file.write('x'));
    EXPECT_EQ(file.error(), "File not successfully opened, cannot write.");

    file = opened(files.make("a", "12345678"), Mode::Read, Format::Text);
    EXPECT_FALSE(file.write(1));
    EXPECT_EQ(file.error(), "Cannot write while in read mode.");
    file.seek(0);
    EXPECT_FALSE(file.write('x'));
    EXPECT_EQ(file.error(), "Cannot write while in read mode.");
    EXPECT_EQ(file.pos(), 0u);
}

// ---- Chains ---------------------------------------------------------------------------------------------------------

// Loading a bool that is neither 0 nor 1 is what the sanitizers are there to refuse, wherever it happens.
#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
#define QOR_TEST_CHECKS_BOOLS 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define QOR_TEST_CHECKS_BOOLS 1
#endif
#if defined(QOR_TEST_CHECKS_BOOLS)
constexpr int kLargestBool = 1;
#else
constexpr int kLargestBool = 255;
#endif

// A bool that was read can hold any byte, and printing it must not take that byte for an index. Which of the two words
// it becomes is the compiler's choice.
TEST_F(Scalars, ABoolOfAnyByteIsPrintedAsTrueOrFalse) {
    for (int byte = 0; byte <= kLargestBool; ++byte) {
        SCOPED_TRACE(byte);
        File in = opened(files.make("a", std::string(1, static_cast<char>(byte))), Mode::Read, Format::Binary);
        bool value;
        ASSERT_TRUE(in.read(value));
        const Bytes printed = written(Format::Text, [&](File& out) { out << value; });
        const bool isFalse = printed == Bytes{"false"};
        const bool isTrue = printed == Bytes{"true"};
        EXPECT_TRUE((isFalse && byte != 1) || (isTrue && byte != 0)) << printed;
    }
}

TEST_F(Scalars, AChainReturnsItsFile) {
    File file = opened(files.make("a", "12345678"), Mode::Read, Format::Binary);
    EXPECT_EQ(&(file << 1 << 2), &file);
    EXPECT_FALSE(file.ok());
    EXPECT_EQ(file.error(), "Cannot write while in read mode.");
    int a, b;
    EXPECT_EQ(&(file >> a >> b), &file);
}

TEST_F(Scalars, AChainOfReadsAttemptsEveryStep) {
    File file = opened(files.make("a", Bytes("61 62 63 64 65"_bytes).raw), Mode::Read, Format::Binary);
    char first = '-', last = '-';
    double tooLong = 0.5;
    int fits = 0;
    file >> first >> tooLong >> fits >> last;
    EXPECT_EQ(first, 'a');
    EXPECT_EQ(tooLong, 0.5);
    EXPECT_EQ(fits, 0x65646362);
    EXPECT_EQ(last, '-');
    EXPECT_EQ(file.pos(), 5u);
}

TEST_F(Scalars, AChainOfWritesAttemptsEveryStep) {
    // In a mode that is none of the three the stream refuses the long text, and what is short is staged.
    File file = opened(files.make("a", "12345678"), kSeven, Format::Binary);
    file << 1 << std::string(kMiB + 1, '-') << 2;
    EXPECT_EQ(file.error(), "Fwrite failed. Requested 4, read 0.");
    EXPECT_EQ(file.pos(), 8u);
}

}  // namespace
}  // namespace qor::test
