// Bytes from 128 up, which a `char` holds as negative numbers on some hosts and as positive ones on others: the same in
// every place, as all other bytes are.
#include <algorithm>
#include <string_view>
#include <vector>

#include "file/contents.h"

namespace qor::test {
namespace {

using HighBytes = WithFiles;

/// Every byte from `first` on.
std::string bytesFrom(int first) {
    std::string bytes;
    for (int byte = first; byte < 256; ++byte) bytes += static_cast<char>(byte);
    return bytes;
}

TEST_F(HighBytes, AreCharacters) {
    File file = opened(files.make("a", bytesFrom(0)), Mode::Read, Format::Text);
    for (int byte = 0; byte < 256; ++byte) {
        EXPECT_EQ(file.peek(), byte);
        char c = '-';
        EXPECT_TRUE(file.read(c));
        EXPECT_EQ(c, static_cast<char>(byte));
    }
    EXPECT_EQ(written(Format::Text,
                      [](File& out) {
                          for (int byte = 0; byte < 256; ++byte) out << static_cast<char>(byte);
                      })
                  .raw,
              bytesFrom(0));
}

TEST_F(HighBytes, StandInTexts) {
    const std::string all = bytesFrom(1);
    for (const Format format : {Format::Binary, Format::Text}) {
        files.make("a", written(format, [&](File& out) { out << String(all.c_str()); }).raw);
        File file = opened(files.path("a"), Mode::Read, format);
        String text;
        EXPECT_TRUE(file.read(text));
        EXPECT_EQ(text, all.c_str());
    }
}

TEST_F(HighBytes, ComeAfterAllOthers) {
    EXPECT_LT(String("\x7f"), String("\x80"));
    EXPECT_LT(String("a"), String("\xff"));
    EXPECT_LT(String("\x80"), String("\xff"));
}

/// A text with a high byte in each place in turn: the lowest, the highest, and that of the character there with its
/// high bit set, which is the character to who looks at seven bits alone.
std::vector<std::string> withAHighByte(const std::string& text, std::size_t from = 0) {
    std::vector<std::string> damaged;
    for (std::size_t at = from; at < text.size(); ++at) {
        for (const int byte : {0x80, 0xff, text[at] | 0x80}) {
            damaged.push_back(text);
            damaged.back()[at] = static_cast<char>(byte);
        }
    }
    return damaged;
}

TEST_F(HighBytes, AreNoMarks) {
    for (const std::string& damaged : withAHighByte(".1.0.0.")) {
        File file = opened(files.make("a", damaged), Mode::Read, Format::Text);
        ds::Vector<unsigned char> bytes;
        EXPECT_FALSE(file.read(bytes, Compression::Lz4)) << damaged;
        EXPECT_EQ(file.error(), "Failed to read un/compressed length.");
    }
}

TEST_F(HighBytes, AreNoDigitsOfBase64) {
    const Bytes block = written(Format::Text, [](File& out) { out.write("abc", 3, Compression::Zlib); });
    for (const std::string& damaged : withAHighByte(block.raw, block.raw.rfind('.') + 1)) {
        File file = opened(files.make("a", damaged), Mode::Read, Format::Text);
        ds::Vector<unsigned char> bytes;
        EXPECT_FALSE(file.read(bytes, Compression::Zlib)) << damaged;
    }
}

TEST_F(HighBytes, AreNoPartOfANumber) {
    for (const std::string& text : withAHighByte("12.5")) {
        double number = 7;
        EXPECT_FALSE(String::parse(text.c_str(), number)) << text;
        std::vector<double> numbers(1, 7);
        File file = opened(files.make("a", text + ' '), Mode::Read, Format::Text);
        EXPECT_FALSE(file.read(bufRef(std::span(numbers)))) << text;
        EXPECT_TRUE(number == 7 && numbers[0] == 7);
    }
}

TEST_F(HighBytes, ArePayload) {
    const std::string all = bytesFrom(128);
    for (const Compression kind : {Compression::None, Compression::Lz4, Compression::Zlib, Compression::Zstd}) {
        for (const Format format : {Format::Binary, Format::Text}) {
            files.make("a", written(format, [&](File& out) { out.write(all.data(), all.size(), kind); }).raw);
            File file = opened(files.path("a"), Mode::Read, format);
            std::vector<unsigned char> bytes(kind == Compression::None ? all.size() : 0);
            EXPECT_TRUE(file.read(bytes, kind));
            EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), all.begin(), all.end(),
                                   [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); }));
        }
    }
}

}  // namespace
}  // namespace qor::test
