// How contents are made: from whole numbers and from fractions that a `double` holds exactly, so that no host rounds
// differently.
#include "tests/support/made_data.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <string_view>

#include "qor/core/endian.h"

namespace qor::test {
namespace {

constexpr std::size_t kWidth = 512;  // of a row of pixels, heights or grid points

// Whole values, of which the last may be cut.
template <typename Value>
std::vector<unsigned char> valuesOf(std::size_t size, Value valueAt) {
    using T = decltype(valueAt(std::size_t{}));
    std::vector<unsigned char> bytes(size + sizeof(T));
    for (std::size_t i = 0; i * sizeof(T) < size; ++i) storeLittle(bytes.data() + i * sizeof(T), valueAt(i));
    bytes.resize(size);
    return bytes;
}

}  // namespace

std::vector<unsigned char> constantBytes(std::size_t size) { return std::vector<unsigned char>(size, 'q'); }

std::vector<unsigned char> randomBytes(std::size_t size, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    return valuesOf(size, [&random](std::size_t) { return random(); });
}

std::vector<unsigned char> textBytes(std::size_t size, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::vector<std::string> words(2000);
    for (std::size_t i = 0; i < words.size(); ++i) {
        // Vowels and consonants take turns.
        for (auto left = 2 + random() % (3 + i / 250); left > 0; --left) {
            const std::string_view letters = left % 2 == 0 ? "aeiou" : "bcdfghklmnprstvw";
            words[i] += letters[random() % letters.size()];
        }
    }
    std::vector<unsigned char> bytes;
    bytes.reserve(size + 32);
    for (std::size_t line = 0; bytes.size() < size;) {
        // The product of two even chances favours the words at the front.
        const std::string& word = words[random() % words.size() * (random() % words.size()) / words.size()];
        bytes.insert(bytes.end(), word.begin(), word.end());
        line += word.size() + 1;
        if (random() % 12 == 0) bytes.push_back(random() % 3 == 0 ? '.' : ',');
        bytes.push_back(line > 72 ? '\n' : ' ');
        if (line > 72) line = 0;
    }
    bytes.resize(size);
    return bytes;
}

std::vector<unsigned char> periodicBytes(std::size_t size, std::size_t period) {
    std::vector<unsigned char> bytes = randomBytes(std::min(size, period), period);
    bytes.reserve(size);
    while (bytes.size() < size) bytes.push_back(bytes[bytes.size() - period]);
    return bytes;
}

std::vector<unsigned char> surfaceFloats(std::size_t size) {
    return valuesOf(size, [](std::size_t i) {
        const auto x = static_cast<double>(i % kWidth) / 64 - 4;
        const auto y = static_cast<double>(i / kWidth % kWidth) / 128 - 2;
        return static_cast<float>(100 + x * x * y - 2 * y * y);
    });
}

std::vector<unsigned char> noisyPixels(std::size_t size) {
    std::mt19937_64 random(3);
    return valuesOf(size, [&random](std::size_t i) {
        const std::size_t x = i % kWidth;
        const std::size_t y = i / kWidth;
        const std::uint64_t grain = random();
        const std::uint64_t red = (x / 4 + y / 8 + grain % 8) % 256;
        const std::uint64_t green = (x / 8 + y / 4 + (grain >> 8) % 8) % 256;
        const std::uint64_t blue = (128 + x / 16 + (grain >> 16) % 4) % 256;
        return static_cast<std::uint32_t>(red | green << 8 | blue << 16 | 0xFF000000);
    });
}

std::vector<unsigned char> gridTriangles(std::size_t size) {
    return valuesOf(size, [](std::size_t i) {
        // Two triangles to a square of the grid.
        constexpr std::size_t kCorner[6] = {0, 1, kWidth, kWidth, 1, kWidth + 1};
        return static_cast<std::uint32_t>(i / 6 + i / 6 / (kWidth - 1) + kCorner[i % 6]);
    });
}

std::vector<Content> madeContents(std::size_t size) {
    return {
        {"a constant", constantBytes(size)},
        {"random bytes", randomBytes(size)},
        {"text", textBytes(size)},
        {"a period of 12", periodicBytes(size, 12)},
        {"a smooth surface", surfaceFloats(size)},
        {"noisy pixels", noisyPixels(size)},
        {"triangles", gridTriangles(size)},
    };
}

std::vector<Content> filesBelow(const std::filesystem::path& folder) {
    std::vector<Content> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file() || entry.path().filename() == "README.md") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        Content file{entry.path().lexically_relative(folder).string(), {std::istreambuf_iterator<char>(in), {}}};
        if (!file.bytes.empty()) files.push_back(std::move(file));
    }
    std::sort(files.begin(), files.end(), [](const Content& a, const Content& b) { return a.name < b.name; });
    return files;
}

}  // namespace qor::test
