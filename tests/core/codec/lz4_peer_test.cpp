// lz4_frame.h against the format's own library, in both directions.
#include <gtest/gtest.h>
#include <lz4.h>
#include <lz4frame.h>
#include <lz4hc.h>

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "core/codec/lz4_contents.h"
#include "qor/core/codec/lz4.h"
#include "qor/core/codec/lz4_frame.h"

namespace qor::test {
namespace {

namespace lz4 = impl::lz4;

std::string peerEncoded(std::string_view content, const LZ4F_preferences_t& preferences) {
    std::string frame(LZ4F_compressFrameBound(content.size(), &preferences), '\0');
    const std::size_t size =
        LZ4F_compressFrame(frame.data(), frame.size(), content.data(), content.size(), &preferences);
    EXPECT_FALSE(LZ4F_isError(size)) << LZ4F_getErrorName(size);
    frame.resize(size);
    return frame;
}

// What the peer makes of a frame, which it has to take whole and find complete.
std::optional<std::string> peerDecoded(std::string_view frame, std::size_t size) {
    LZ4F_dctx* context = nullptr;
    EXPECT_FALSE(LZ4F_isError(LZ4F_createDecompressionContext(&context, LZ4F_VERSION)));
    std::string content(size + 1, '\0');
    std::size_t produced = content.size();
    std::size_t taken = frame.size();
    const std::size_t hint = LZ4F_decompress(context, content.data(), &produced, frame.data(), &taken, nullptr);
    LZ4F_freeDecompressionContext(context);
    if (hint != 0 || taken != frame.size()) return std::nullopt;
    content.resize(produced);
    return content;
}

const std::size_t kSizes[] = {0, 1, 12, 13, 100, 5000, 65'535, 65'536, 65'537, 300'000, 1'000'000};

TEST(Lz4Peer, ReadsOurFrames) {
    for (std::size_t size = 0; size <= 300; ++size) {
        for (const auto& [name, content] : contentsOf(size)) {
            ASSERT_EQ(peerDecoded(encodedFrame(content), size), content) << size << " bytes of " << name;
        }
    }
    for (const std::size_t size : kSizes) {
        for (const auto& [name, content] : contentsOf(size)) {
            ASSERT_TRUE(peerDecoded(encodedFrame(content), size) == content) << size << " bytes of " << name;
        }
    }
}

TEST(Lz4Peer, ReadsOurFramesOfSeveralBlocks) {
    for (const std::size_t size : std::initializer_list<std::size_t>{0x400000 - 1, 0x400000, 0x400000 + 1, 0x900000}) {
        for (const auto& [name, content] : contentsOf(size)) {
            ASSERT_TRUE(peerDecoded(encodedFrame(content), size) == content) << size << " bytes of " << name;
        }
    }
}

TEST(Lz4Peer, ReadsOurFramesOfEveryPeriod) {
    for (std::size_t period = 1; period <= 300; ++period) {
        const std::string content = periodic(10 * period + 50, period);
        ASSERT_EQ(peerDecoded(encodedFrame(content), content.size()), content) << "period " << period;
    }
}

TEST(Lz4Peer, ItsFramesOfEveryLevelAreRead) {
    for (const int level : {-100, -10, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}) {
        for (const std::size_t size : kSizes) {
            for (const auto& [name, content] : contentsOf(size)) {
                LZ4F_preferences_t preferences = LZ4F_INIT_PREFERENCES;
                preferences.compressionLevel = level;
                const std::string frame = peerEncoded(content, preferences);
                ASSERT_TRUE(decodedFrame(frame, size) == content)
                    << "level " << level << ", " << size << " of " << name;
            }
        }
    }
}

TEST(Lz4Peer, ItsFramesOfEveryFormAreRead) {
    for (const auto blockSize : {LZ4F_default, LZ4F_max64KB, LZ4F_max256KB, LZ4F_max1MB, LZ4F_max4MB}) {
        for (const auto blockMode : {LZ4F_blockLinked, LZ4F_blockIndependent}) {
            for (unsigned options = 0; options < 8; ++options) {
                for (const std::size_t size :
                     std::initializer_list<std::size_t>{std::size_t{0}, std::size_t{1000}, std::size_t{600'000}}) {
                    for (const auto& [name, content] : contentsOf(size)) {
                        LZ4F_preferences_t preferences = LZ4F_INIT_PREFERENCES;
                        preferences.frameInfo.blockSizeID = blockSize;
                        preferences.frameInfo.blockMode = blockMode;
                        preferences.frameInfo.contentSize = (options & 1) != 0 ? size : 0;
                        preferences.frameInfo.contentChecksumFlag =
                            (options & 2) != 0 ? LZ4F_contentChecksumEnabled : LZ4F_noContentChecksum;
                        preferences.frameInfo.blockChecksumFlag =
                            (options & 4) != 0 ? LZ4F_blockChecksumEnabled : LZ4F_noBlockChecksum;
                        const std::string frame = peerEncoded(content, preferences);
                        ASSERT_TRUE(decodedFrame(frame, size) == content)
                            << "block size " << blockSize << ", mode " << blockMode << ", options " << options << ", "
                            << size << " bytes of " << name;
                    }
                }
            }
        }
    }
}

// A stream that is flushed after each piece has short blocks in its middle.
TEST(Lz4Peer, ItsFramesOfManyShortBlocksAreRead) {
    for (const auto blockMode : {LZ4F_blockLinked, LZ4F_blockIndependent}) {
        for (const auto& [name, content] : contentsOf(200'000)) {
            LZ4F_preferences_t preferences = LZ4F_INIT_PREFERENCES;
            preferences.frameInfo.blockMode = blockMode;
            preferences.autoFlush = 1;
            LZ4F_cctx* context = nullptr;
            ASSERT_FALSE(LZ4F_isError(LZ4F_createCompressionContext(&context, LZ4F_VERSION)));
            std::string frame(2'000'000, '\0');
            std::size_t size = LZ4F_compressBegin(context, frame.data(), frame.size(), &preferences);
            for (std::size_t at = 0, piece = 1; at < content.size(); at += piece, piece = piece * 3 % 5003) {
                piece = std::min(piece, content.size() - at);
                const std::size_t more =
                    LZ4F_compressUpdate(context, &frame[size], frame.size() - size, &content[at], piece, nullptr);
                ASSERT_FALSE(LZ4F_isError(more)) << LZ4F_getErrorName(more);
                size += more;
            }
            size += LZ4F_compressEnd(context, &frame[size], frame.size() - size, nullptr);
            LZ4F_freeCompressionContext(context);
            frame.resize(size);
            ASSERT_TRUE(decodedFrame(frame, content.size()) == content) << "mode " << blockMode << ", " << name;
        }
    }
}

// Blocks alone, whose size is not bound to a frame's.
TEST(Lz4Peer, ReadsOurBlocks) {
    for (const std::size_t size : kSizes) {
        for (const auto& [name, content] : contentsOf(size)) {
            lz4::BlockEncoder encoder(view(content));
            ASSERT_TRUE(encoder.prepare());
            std::string block(content.size() + content.size() / 255 + 16 + impl::kWildSlack, '\0');
            const std::size_t n =
                encoder.encode(size, reinterpret_cast<unsigned char*>(block.data()), block.size() - impl::kWildSlack);
            ASSERT_GT(n, 0u);
            std::string restored(size, '\0');
            const int count =
                LZ4_decompress_safe(block.data(), restored.data(), static_cast<int>(n), static_cast<int>(size));
            ASSERT_EQ(count, static_cast<int>(size)) << name;
            ASSERT_TRUE(restored == content) << size << " bytes of " << name;
        }
    }
}

// Whatever we accept of a damaged frame, the peer accepts with the same content. (It accepts more: offsets of 0.)
TEST(Lz4Peer, ReadsWhatIsStillReadOfAFrameWithAChangedByte) {
    LZ4F_preferences_t preferences = LZ4F_INIT_PREFERENCES;
    for (const auto& [name, content] : contentsOf(300)) {
        const std::string frame = peerEncoded(content, preferences);
        for (std::size_t at = 0; at < frame.size(); ++at) {
            for (int change = 1; change < 256; ++change) {
                std::string changed = frame;
                changed[at] = static_cast<char>(changed[at] ^ change);
                const auto restored = decodedFrame(changed, content.size());
                if (restored) {
                    ASSERT_EQ(peerDecoded(changed, content.size()), restored) << name << ", " << at << " ^ " << change;
                }
            }
        }
    }
}

}  // namespace
}  // namespace qor::test
