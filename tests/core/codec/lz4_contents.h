// Contents of the kinds that blocks hold, made by rule, and frames of them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/codec/made_bytes.h"
#include "qor/core/codec/lz4_frame.h"
#include "qor/core/vector.h"

namespace qor::test {

/// The frame of `content`.
inline std::string encodedFrame(std::string_view content) {
    ds::Vector<unsigned char> payload;
    EXPECT_TRUE(impl::lz4::encode(view(content), payload));
    return asString(payload);
}

/// What a frame holds, if it is one of `size` bytes.
inline std::optional<std::string> decodedFrame(std::string_view frame, std::uint64_t size) {
    const auto own = ownBytes(frame);
    ds::Vector<unsigned char> content;
    if (!impl::lz4::decode(view(own), size, content)) return std::nullopt;
    EXPECT_EQ(content.size(), size);
    return asString(content);
}

/// `size` bytes, of which each equals the one `period` before it; the first `period` are noise.
inline std::string periodic(std::size_t size, std::size_t period) {
    std::string bytes = noise(std::min(size, period), static_cast<std::uint32_t>(period));
    while (bytes.size() < size) bytes.append(bytes, bytes.size() - period, std::min(period, size - bytes.size()));
    return bytes;
}

/// Words of a small language, the common ones more often.
inline std::string text(std::size_t size, std::uint32_t seed = 1) {
    Chance chance(seed);
    std::vector<std::string> words;
    for (int i = 0; i < 500; ++i) {
        std::string word;
        for (std::uint32_t letters = 1 + chance.below(9); letters > 0; --letters) {
            word += static_cast<char>('a' + chance.below(26));
        }
        words.push_back(word);
    }
    std::string bytes;
    while (bytes.size() < size) {
        bytes += words[chance.below(1 + chance.below(500))];
        bytes += chance.below(12) == 0 ? ".\n" : " ";
    }
    bytes.resize(size);
    return bytes;
}

/// The positions of a point that wanders, three floats each.
inline std::string floats(std::size_t size, std::uint32_t seed = 1) {
    Chance chance(seed);
    float at[3] = {0, 100, -5};
    std::string bytes;
    while (bytes.size() < size) {
        for (float& axis : at) {
            axis += static_cast<float>(chance.below(65)) / 64 - 0.5f;
            char image[4];
            std::memcpy(image, &axis, 4);
            bytes.append(image, 4);
        }
    }
    bytes.resize(size);
    return bytes;
}

struct Content {
    std::string name;
    std::string bytes;
};

/// One content of each kind.
inline std::vector<Content> contentsOf(std::size_t size) {
    return {{"constant", std::string(size, 'a')},
            {"noise", noise(size)},
            {"text", text(size)},
            {"floats", floats(size)},
            {"triples", periodic(size, 12)},
            {"noise, text, constant", noise(size / 3) + text(size / 3) + std::string(size - size / 3 * 2, '\0')}};
}

}  // namespace qor::test
