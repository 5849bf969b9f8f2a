// Arrays of numbers through text files, in bulk: each number comes back as the same bits.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "file/contents.h"
#include "qor/core/endian.h"
#include "support/figures.h"

namespace qor::test {
namespace {

template <typename T>
using Limits = std::numeric_limits<T>;

class NumberArray : public WithFiles {
 protected:
    template <typename T>
    std::vector<T> throughText(std::vector<T> values) {
        File file = opened(files.path("a"), Mode::Write, Format::Text);
        EXPECT_TRUE(file.write(bufRef(std::span(values)), false) && file.close());
        std::vector<T> back(values.size());
        file = opened(files.path("a"), Mode::Read, Format::Text);
        EXPECT_TRUE(file.read(bufRef(std::span(back))));
        EXPECT_TRUE(file.eof());
        return back;
    }

    /// As many random bit images as a thorough run, or any other, looks at.
    template <typename T>
    void expectRandomOnesComeBack(const char* name) {
        constexpr std::uint64_t kAtOnce = 1'000'000;
        const std::uint64_t values = rounds(kAtOnce, 10 * kAtOnce);
        const char* const given = std::getenv("QOR_TEST_SEED");
        const std::uint64_t seed = given ? std::strtoull(given, nullptr, 10) : std::random_device()();
        std::cout << "QOR_TEST_SEED=" << seed << '\n';
        std::mt19937_64 random(seed);
        for (std::uint64_t done = 0; done < values; done += kAtOnce) {
            std::vector<T> numbers(std::min(kAtOnce, values - done));
            for (T& number : numbers) {
                // Of a NaN only the sign comes back.
                do {
                    const auto bits = static_cast<impl::Bits<T>>(random());
                    std::memcpy(&number, &bits, sizeof(T));
                } while (number != number);
            }
            const std::vector<T> back = throughText(numbers);
            ASSERT_EQ(std::memcmp(back.data(), numbers.data(), numbers.size() * sizeof(T)), 0);
        }
        figure(std::string("random values through a text array, ") + name, values, kAtOnce);
    }
};

// Single bytes are numbers in a text file only where there are gaps between them.
TEST_F(NumberArray, OfEveryValueOfEightBits) {
    const std::string text = [&] {
        File file = opened(files.path("a"), Mode::Write, Format::Text);
        for (int value = -128; value <= 127; ++value) file << static_cast<signed char>(value) << ' ';
        for (int value = 0; value <= 255; ++value) file << static_cast<unsigned char>(value) << ' ';
        EXPECT_TRUE(file.close());
        return files.content("a").raw;
    }();
    std::vector<signed char> characters(256);
    std::vector<unsigned char> bytes(256);
    File file = opened(files.make("a", text), Mode::Read, Format::Text);
    EXPECT_TRUE(file.read({.ptr = characters.data(), .type = DataType::Char, .count = 256, .stride = 2}));
    EXPECT_TRUE(file.read({.ptr = bytes.data(), .type = DataType::Byte, .count = 256, .stride = 2}));
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(characters[static_cast<std::size_t>(i)], i - 128);
        EXPECT_EQ(bytes[static_cast<std::size_t>(i)], i);
    }
}

TEST_F(NumberArray, OfEveryValueOfSixteenBits) {
    std::vector<short> shorts(65536);
    std::iota(shorts.begin(), shorts.end(), Limits<short>::min());
    EXPECT_EQ(throughText(shorts), shorts);
    std::vector<unsigned short> unsignedShorts(65536);
    std::iota(unsignedShorts.begin(), unsignedShorts.end(), static_cast<unsigned short>(0));
    EXPECT_EQ(throughText(unsignedShorts), unsignedShorts);
}

TEST_F(NumberArray, OfRandomInts) { expectRandomOnesComeBack<int>("int"); }
TEST_F(NumberArray, OfRandomUnsignedInts) { expectRandomOnesComeBack<unsigned int>("unsigned int"); }
TEST_F(NumberArray, OfRandomLongs) { expectRandomOnesComeBack<long>("long"); }
TEST_F(NumberArray, OfRandomUnsignedLongs) { expectRandomOnesComeBack<unsigned long>("unsigned long"); }
TEST_F(NumberArray, OfRandomFloats) { expectRandomOnesComeBack<float>("float"); }
TEST_F(NumberArray, OfRandomDoubles) { expectRandomOnesComeBack<double>("double"); }

}  // namespace
}  // namespace qor::test
