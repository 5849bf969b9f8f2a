// Records of geometry and colour: their bytes, their text, what reading one fills, and where it is refused.
#include <cmath>
#include <cstring>

#include "file/contents.h"

namespace qor::test {
namespace {

using namespace std::literals;
using namespace math;

using MathRecord = WithFiles;

/// Calls `act(value, refusal)` with a value of each of the nine types, whose components are 1, 2, 3 ..., and the text
/// of a file that does not give one.
template <typename Act>
void forEachType(Act act) {
    const auto one = [&]<typename Value>(Value value, const char* refusal) {
        SCOPED_TRACE(refusal);
        for (std::size_t i = 0; i < value.size(); ++i) value[i] = static_cast<double>(i + 1);
        act(value, refusal);
    };
    one(Vec2d(), "read(Vec2&) not supported in text mode.");
    one(Vec3d(), "read(Vec3&) not supported in text mode.");
    one(Vec4d(), "read(Vec4&) not supported in text mode.");
    one(Pos2d(), "read(Pos2&) not supported in text mode.");
    one(Pos3d(), "read(Pos3&) not supported in text mode.");
    one(Quatd(), "read(Quat&) not supported in text mode.");
    one(Rgbad(), "read(Rgba&) not supported in text mode.");
    one(Mat3d(), "read(Mat3&) not supported in text mode.");
    one(Mat4d(), "read(Mat4&) not supported in text mode.");
}

template <typename Value>
std::string image(const Value& value) {
    return {reinterpret_cast<const char*>(value.data()), sizeof(value)};
}

template <typename Value>
Value filled(double component) {
    Value value;
    for (double& c : value) c = component;
    return value;
}

// ---- The bytes ------------------------------------------------------------------------------------------------------

TEST_F(MathRecord, InABinaryFileIsItsComponentsAsDoubles) {
    EXPECT_EQ(written(Format::Binary, [](File& f) { EXPECT_TRUE(f.write(Vec2d(1, -0.1))); }),
              "00 00 00 00 00 00 f0 3f  9a 99 99 99 99 99 b9 bf"_bytes);
    EXPECT_EQ(written(Format::Binary, [](File& f) { f << Pos3d(1, 2, -0.0); }),
              "00 00 00 00 00 00 f0 3f  00 00 00 00 00 00 00 40  00 00 00 00 00 00 00 80"_bytes);
}

TEST_F(MathRecord, OfEachTypeInABinaryFileIsEightBytesToAComponent) {
    forEachType([](const auto& value, const char*) {
        const Bytes components = written(Format::Binary, [&](File& f) {
            for (const double component : value) f << component;
        });
        EXPECT_EQ(components.raw.size(), 8 * value.size());
        EXPECT_EQ(written(Format::Binary, [&](File& f) { EXPECT_TRUE(f.write(value)); }), components);
        EXPECT_EQ(written(Format::Binary, [&](File& f) { f << value; }), components);
    });
}

// ---- The text -------------------------------------------------------------------------------------------------------

TEST_F(MathRecord, OfEachTypeInATextFileIsItsComponentsWithSpacesBetween) {
    const std::string kAll = "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16";
    forEachType([&](const auto& value, const char*) {
        std::string text = kAll.substr(0, value.size() == 16 ? kAll.size() : 2 * value.size() - 1);
        EXPECT_EQ(written(Format::Text, [&](File& f) { EXPECT_TRUE(f.write(value)); }).raw, text);
        EXPECT_EQ(written(Format::Text, [&](File& f) { f << value; }).raw, text);
    });
}

TEST_F(MathRecord, InATextFileHasNumbersAsTheyArePrinted) {
    EXPECT_EQ(written(Format::Text, [](File& f) { f << Quatd(0.1, -0.0, 1e300, -2.2250738585072014e-308); }).raw,
              "0.1 -0 1e+300 -2.2250738585072014e-308");
    EXPECT_EQ(written(Format::Text, [](File& f) { f << Vec2d(INFINITY, -INFINITY); }).raw, "inf -inf");
    EXPECT_EQ(written(Format::Text, [](File& f) { f << filled<Mat4d>(-2.2250738585072014e-308); }).raw.size(),
              16u * 24 + 15);
}

TEST_F(MathRecord, BehindAnotherInATextFileRunsTogether) {
    EXPECT_EQ(written(Format::Text, [](File& f) { f << Vec2d(1, 2) << Vec2d(3, 4); }).raw, "1 23 4");
    EXPECT_EQ(written(Format::Text, [](File& f) { f << Vec2d(1, 2) << '\n' << Vec2d(3, 4); }).raw, "1 2\n3 4");
}

// ---- The modes that write -------------------------------------------------------------------------------------------

TEST_F(MathRecord, InTheThirdModeIsTextWhateverTheFormat) {
    for (const Format format : {Format::Binary, Format::Text}) {
        File file = opened(files.path("a"), kThird, format);
        EXPECT_TRUE(file.write(Pos2d(1, 2)));
        EXPECT_EQ(file.pos(), 3u);
        file.write(pattern(kMiB).data(), kMiB, Compression::None);  // which spills it
        EXPECT_TRUE(file.close());
        EXPECT_EQ(files.content("a").raw, "1 2");
    }
}

// Where a number is binary, a record is text all the same.
TEST_F(MathRecord, MovesThePositionByItsFormInEachMode) {
    const struct {
        Mode mode;
        Format format;
        std::uint64_t number, record;
    } kForms[] = {
        //                            1.5   Pos2d(1, 2)
        {Mode::Write, Format::Binary, 8, 16},
        {Mode::Write, Format::Text, 3, 3},
        {kThird, Format::Binary, 8, 3},
        {kThird, Format::Text, 8, 3},
    };
    for (const auto& form : kForms) {
        File file = opened(files.path("a"), form.mode, form.format);
        EXPECT_TRUE(file.write(1.5));
        EXPECT_EQ(file.pos(), form.number);
        EXPECT_TRUE(file.write(Pos2d(1, 2)));
        EXPECT_EQ(file.pos(), form.number + form.record);
    }
}

TEST_F(MathRecord, IsNotWrittenWhereWritesAreRefused) {
    forEachType([&](const auto& value, const char*) {
        File file;
        EXPECT_FALSE(file.write(value));
        EXPECT_EQ(file.error(), "File not successfully opened, cannot write.");
        EXPECT_FALSE(file.open(files.path("no/such/folder").c_str(), Mode::Write, Format::Binary));
        EXPECT_FALSE(file.write(value));
        EXPECT_EQ(file.error(), "File not successfully opened, cannot write.");
        for (const Format format : {Format::Binary, Format::Text}) {
            file = opened(files.make("a", "abc"), Mode::Read, format);
            EXPECT_FALSE(file.write(value));
            EXPECT_EQ(file.error(), "Cannot write while in read mode.");
            EXPECT_EQ(file.pos(), 0u);
        }
    });
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST_F(MathRecord, OfEachTypeComesBackFromABinaryFile) {
    forEachType([&]<typename Value>(const Value& value, const char*) {
        const Bytes bytes = written(Format::Binary, [&](File& f) { f << value << 'x' << value; });
        File file = opened(files.make("a", bytes.raw), Mode::Read, Format::Binary);
        Value first, second;
        char between = 0;
        EXPECT_TRUE(file.read(first));
        EXPECT_EQ(file.pos(), sizeof(Value));
        file >> between >> second;
        EXPECT_TRUE(file.ok() && file.eof());
        EXPECT_EQ(image(first), image(value));
        EXPECT_EQ(image(second), image(value));
    });
}

TEST_F(MathRecord, KeepsEveryBit) {
    const std::uint64_t kBits[] = {0x7ff4123456789abc, 0xfff8000000000001, 0x8000000000000000, 1};
    Vec4d value, back;
    std::memcpy(value.data(), kBits, sizeof(value));
    const Bytes bytes = written(Format::Binary, [&](File& f) { f << value; });
    EXPECT_EQ(bytes,
              "bc 9a 78 56 34 12 f4 7f  01 00 00 00 00 00 f8 ff  00 00 00 00 00 00 00 80"
              "01 00 00 00 00 00 00 00"_bytes);
    File file = opened(files.make("a", bytes.raw), Mode::Read, Format::Binary);
    file >> back;
    EXPECT_EQ(image(back), image(value));
}

TEST_F(MathRecord, OfAShortFileIsFilledAsFarAsItGoes) {
    const Bytes bytes = written(Format::Binary, [](File& f) { f << Vec4d(1, 2, 3, 4) << 5.0; });
    for (const std::size_t more : {0u, 1u, 7u}) {
        File file = opened(files.make("a", bytes.raw + std::string(more, '-')), Mode::Read, Format::Binary);
        Mat3d value = filled<Mat3d>(-1);
        EXPECT_FALSE(file.read(value));
        EXPECT_EQ(value, Mat3d(1, 2, 3, 4, 5, -1, -1, -1, -1));
        EXPECT_EQ(file.error(), kBeyond);
        EXPECT_EQ(file.pos(), 40u) << "nothing is rewound";
    }
}

TEST_F(MathRecord, OfAnEmptyFileIsUnchanged) {
    forEachType([&](auto value, const char*) {
        const std::string before = image(value);
        File file = opened(files.make("a", ""), Mode::Read, Format::Binary);
        EXPECT_FALSE(file.read(value));
        EXPECT_EQ(file.error(), kBeyond);
        EXPECT_EQ(image(value), before);
    });
}

TEST_F(MathRecord, IsReadFromABinaryFileInModeReadAlone) {
    forEachType([&](auto value, const char* refusal) {
        const std::string before = image(value);
        const auto expectRefused = [&](File& file) {
            EXPECT_FALSE(file.read(value));
            EXPECT_EQ(file.error(), refusal);
            EXPECT_EQ(image(value), before);
        };
        const std::string path = files.make("a", std::string(200, '1'));
        File file;
        expectRefused(file);
        for (const Mode mode : {Mode::Read, kSeven}) {
            file = opened(path, mode, Format::Text);
            expectRefused(file);
            EXPECT_EQ(file.pos(), 0u);
        }
        file = opened(path, kSeven, Format::Binary);
        expectRefused(file);
        file = opened(path, Mode::Read, static_cast<Format>(2));
        expectRefused(file);
        for (const Mode mode : {Mode::Write, kThird}) {
            for (const Format format : {Format::Binary, Format::Text}) {
                file = opened(files.path("b"), mode, format);
                expectRefused(file);
            }
        }
        EXPECT_FALSE(file.open(files.path("none").c_str(), Mode::Read, Format::Text));
        expectRefused(file);
    });
}

TEST_F(MathRecord, IsRefusedByATextFileThatHasItsBytesInMemory) {
    File file = opened(files.make("a", std::string(200, '1')), Mode::Read, Format::Text);
    char first = 0;
    EXPECT_TRUE(file.read(first));
    math::Vec2d value(5, 6);
    EXPECT_FALSE(file.read(value));
    EXPECT_EQ(file.error(), "read(Vec2&) not supported in text mode.");
    EXPECT_EQ(value, math::Vec2d(5, 6));
    EXPECT_EQ(file.pos(), 1u);
}

TEST_F(MathRecord, IsNotReadWithoutAStream) {
    forEachType([&](auto value, const char*) {
        const std::string before = image(value);
        File file;
        EXPECT_FALSE(file.open(files.path("none").c_str(), Mode::Read, Format::Binary));
        EXPECT_FALSE(file.read(value));
        EXPECT_EQ(file.error(), "File not successfully opened, cannot read.");
        EXPECT_EQ(image(value), before);
    });
}

TEST_F(MathRecord, ChainsGoOnAfterAFailure) {
    File file = opened(files.make("a", std::string(36, '\0')), Mode::Read, Format::Binary);
    Mat4d tooMuch = filled<Mat4d>(1);
    Vec2d none = filled<Vec2d>(1);
    int fits = 1;
    EXPECT_EQ(&(file << Vec2d() >> tooMuch >> none >> fits), &file);
    EXPECT_EQ(tooMuch[3], 0);
    EXPECT_EQ(tooMuch[4], 1);
    EXPECT_EQ(none, filled<Vec2d>(1));
    EXPECT_EQ(fits, 0);
    EXPECT_EQ(file.error(), kBeyond);
}

// ---- Across the end of buffer and chunk -----------------------------------------------------------------------------

TEST_F(MathRecord, IsWholeWhereverTheBufferEnds) {
    const Vec3d value(1, -0.0, 0.1);
    const std::string stored = written(Format::Binary, [&](File& f) { f << value; }).raw;
    for (std::uint64_t room = 0; room <= 26; ++room) {
        SCOPED_TRACE(room);
        File file = opened(files.path("a"), Mode::Write, Format::Binary);
        file << std::string(kMiB - room - 8, '-') << value << 'x';
        EXPECT_TRUE(file.ok() && file.close());
        EXPECT_EQ(files.content("a").raw.substr(kMiB - room), stored + 'x');

        file = opened(files.path("a"), Mode::Read, Format::Binary);
        String skipped;
        Vec3d back;
        char last = 0;
        file >> skipped >> back >> last;
        EXPECT_TRUE(file.ok());
        EXPECT_EQ(image(back), image(value));
        EXPECT_EQ(last, 'x');
    }
}

TEST_F(MathRecord, OfTextIsWholeWhereverTheBufferEnds) {
    for (std::uint64_t room = 0; room <= 30; ++room) {
        SCOPED_TRACE(room);
        const std::string before(kMiB - room, '-');
        File file = opened(files.path("a"), Mode::Write, Format::Text);
        file << before << Vec2d(-2.2250738585072014e-308, 7);
        EXPECT_TRUE(file.ok() && file.close());
        EXPECT_EQ(files.content("a").raw.substr(before.size()), "-2.2250738585072014e-308 7");
    }
}

}  // namespace
}  // namespace qor::test
