// The property of the three round trips, and the contents that they are made with.
#pragma once

#include "fuzz/target.h"

namespace qor::fuzz {

/// Content from a recipe, so that few bytes make long ones: up to some 300 KB, over the edges of blocks and windows.
///
///     0 to 127     so many bytes and one more follow
///     128 to 255   repeats what lies up to 2^17 back, up to 2^17 times: two numbers of two bytes follow. Their low 4
///                  bits shift the rest, so that short ones are as common as long ones
inline std::vector<unsigned char> contentOf(View recipe) {
    constexpr std::size_t kLongest = 300'000;
    std::vector<unsigned char> content;
    std::size_t at = 0;
    const auto number = [&recipe, &at] {
        if (recipe.size() - at < 2) return std::size_t{1};
        const auto bits = static_cast<std::size_t>(recipe[at] | recipe[at + 1] << 8);
        at += 2;
        return ((bits >> 4) << (bits & 15) >> 10) + 1;
    };
    while (at < recipe.size() && content.size() < kLongest) {
        const unsigned first = recipe[at++];
        if (first < 128 || content.empty()) {
            const std::size_t count = std::min<std::size_t>(first + 1, recipe.size() - at);
            content.insert(content.end(), recipe.begin() + static_cast<std::ptrdiff_t>(at),
                           recipe.begin() + static_cast<std::ptrdiff_t>(at + count));
            at += count;
            continue;
        }
        const std::size_t distance = std::min(number(), content.size());
        for (std::size_t length = number(); length > 0; --length) content.push_back(content[content.size() - distance]);
    }
    return content;
}

/// What is encoded is decoded to the same; the public library restores it too; and what that library makes of the same
/// content, with the setting that the first byte chooses, is decoded to the same. The content is the bytes behind the
/// first one, or what they are a recipe for.
template <typename Encode, typename Decode>
void roundTrip([[maybe_unused]] Compression kind, Encode encode, Decode decode, View input) {
    if (input.size() < 2) return;
    const unsigned choice = input[0];
    const View rest = input.subspan(1);
    const std::vector<unsigned char> bytes =
        choice % 2 == 0 ? contentOf(rest) : std::vector<unsigned char>(rest.begin(), rest.end());
    // An exact copy on the heap, so that the address sanitizer sees where it ends.
    const Vector content = vectorOf(bytes);
    if (content.isEmpty()) return;

    Vector payload;
    Vector restored;
    require(encode(viewOf(content), payload), "every content is encoded");
    require(decodes(decode, viewOf(payload), content.size(), restored), "what was encoded is decoded");
    require(restored == content, "what was encoded is decoded to the same");
    require(!decodes(decode, viewOf(payload), content.size() + 1, restored), "nothing is decoded to another size");
#if QOR_HAS_PEERS
    const auto theirs = test::peerDecode(kind, viewOf(payload), content.size());
    require(theirs.has_value(), "the public library accepts what was encoded");
    require(equal(*theirs, viewOf(content)), "the public library restores the same");

    static const std::vector<test::PeerSetting> kSettings = test::peerSettings(kind);
    const test::PeerSetting& setting = kSettings[choice / 2 % kSettings.size()];
    if (setting.takesMuchMemory) return;
    payload = vectorOf(setting.encode(viewOf(content)));
    require(decodes(decode, viewOf(payload), content.size(), restored), "what the public library makes is decoded");
    require(restored == content, "what the public library makes is decoded to the same");
#endif
}

}  // namespace qor::fuzz
