// How the public libraries are asked.
#include "tests/support/peers.h"

#include <lz4frame.h>
#include <zlib.h>
#define ZSTD_STATIC_LINKING_ONLY  // names of parameters; no function but the stable ones is called
#include <zstd.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

namespace qor::test {
namespace {

using Payload = std::vector<unsigned char>;

// Where a stream is flushed in the midst of its content, so that its blocks have uneven sizes.
constexpr std::size_t kFlushedPiece = 1000;

View pieceAt(View content, std::size_t at) { return content.subspan(at, std::min(kFlushedPiece, content.size() - at)); }

// ---- LZ4 ------------------------------------------------------------------------------------------------------------

Payload lz4(View content, const LZ4F_preferences_t& preferences) {
    Payload payload(LZ4F_compressFrameBound(content.size(), &preferences));
    const std::size_t size =
        LZ4F_compressFrame(payload.data(), payload.size(), content.data(), content.size(), &preferences);
    if (LZ4F_isError(size) != 0) return {};
    payload.resize(size);
    return payload;
}

// A block to each piece.
Payload lz4Flushed(View content, LZ4F_preferences_t preferences) {
    LZ4F_cctx* made = nullptr;
    if (LZ4F_isError(LZ4F_createCompressionContext(&made, LZ4F_VERSION)) != 0) return {};
    const std::unique_ptr<LZ4F_cctx, decltype(&LZ4F_freeCompressionContext)> context(made, LZ4F_freeCompressionContext);
    preferences.autoFlush = 1;

    Payload payload;
    Payload room(LZ4F_HEADER_SIZE_MAX + LZ4F_compressBound(kFlushedPiece, &preferences));
    bool done = true;
    const auto step = [&](std::size_t size) {
        done = done && LZ4F_isError(size) == 0;
        if (done) payload.insert(payload.end(), room.begin(), room.begin() + static_cast<std::ptrdiff_t>(size));
    };
    step(LZ4F_compressBegin(made, room.data(), room.size(), &preferences));
    for (std::size_t at = 0; at < content.size(); at += kFlushedPiece) {
        const View piece = pieceAt(content, at);
        step(LZ4F_compressUpdate(made, room.data(), room.size(), piece.data(), piece.size(), nullptr));
    }
    step(LZ4F_compressEnd(made, room.data(), room.size(), nullptr));
    return done ? payload : Payload();
}

void addLz4Settings(std::vector<PeerSetting>& settings) {
    const int levels[] = {0, -1, -9, -100, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    for (const int level : levels) {
        settings.push_back({"level " + std::to_string(level), [level](View content) {
                                LZ4F_preferences_t preferences{};
                                preferences.compressionLevel = level;
                                return lz4(content, preferences);
                            }});
    }
    // Each combination of what a frame can say of itself.
    for (int blockSize = LZ4F_max64KB; blockSize <= LZ4F_max4MB; ++blockSize) {
        for (unsigned flags = 0; flags < 16; ++flags) {
            LZ4F_preferences_t preferences{};
            preferences.frameInfo.blockSizeID = static_cast<LZ4F_blockSizeID_t>(blockSize);
            std::string name = "block size code " + std::to_string(blockSize);
            const auto choose = [&](unsigned flag, const char* text) {
                if ((flags & flag) != 0) name += std::string(", ") + text;
                return (flags & flag) != 0;
            };
            if (choose(1, "independent blocks")) preferences.frameInfo.blockMode = LZ4F_blockIndependent;
            if (choose(2, "block checksums")) preferences.frameInfo.blockChecksumFlag = LZ4F_blockChecksumEnabled;
            if (choose(4, "content checksum")) preferences.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
            const bool hasSize = choose(8, "content size");
            settings.push_back({name, [preferences, hasSize](View content) {
                                    LZ4F_preferences_t chosen = preferences;
                                    if (hasSize) chosen.frameInfo.contentSize = content.size();
                                    return lz4(content, chosen);
                                }});
            if (blockSize != LZ4F_max64KB || hasSize) continue;
            settings.push_back(
                {name + ", flushed", [preferences](View content) { return lz4Flushed(content, preferences); }});
        }
    }
}

std::optional<Payload> lz4Decode(View payload, std::size_t limit) {
    LZ4F_dctx* made = nullptr;
    if (LZ4F_isError(LZ4F_createDecompressionContext(&made, LZ4F_VERSION)) != 0) return {};
    const std::unique_ptr<LZ4F_dctx, decltype(&LZ4F_freeDecompressionContext)> context(made,
                                                                                       LZ4F_freeDecompressionContext);
    // It reads what it calls skippable frames too, which are another format.
    if (payload.size() < 4 || payload[0] != 0x04) return {};
    Payload content(limit);
    std::size_t produced = 0;
    std::size_t read = 0;
    for (;;) {
        std::size_t room = limit - produced;
        std::size_t left = payload.size() - read;
        const std::size_t wanted =
            LZ4F_decompress(made, content.data() + produced, &room, payload.data() + read, &left, nullptr);
        if (LZ4F_isError(wanted) != 0) return {};
        produced += room;
        read += left;
        if (wanted == 0) break;
        if (room == 0 && left == 0) return {};
    }
    if (read != payload.size()) return {};
    content.resize(produced);
    return content;
}

// ---- zlib -----------------------------------------------------------------------------------------------------------

struct ZlibChoice {
    int level = 6;
    int windowBits = 15;
    int memoryLevel = 8;
    int strategy = Z_DEFAULT_STRATEGY;
    int flush = Z_NO_FLUSH;  // after each piece
};

Payload zlib(View content, const ZlibChoice& choice) {
    z_stream stream{};
    if (deflateInit2(&stream, choice.level, Z_DEFLATED, choice.windowBits, choice.memoryLevel, choice.strategy) != Z_OK)
        return {};
    // A flush takes some bytes of its own.
    Payload payload(deflateBound(&stream, content.size()) + content.size() / kFlushedPiece * 32 + 64);
    stream.next_out = payload.data();
    stream.avail_out = static_cast<uInt>(payload.size());
    bool done = true;
    if (choice.flush != Z_NO_FLUSH) {
        for (std::size_t at = 0; at < content.size(); at += kFlushedPiece) {
            const View piece = pieceAt(content, at);
            stream.next_in = const_cast<Bytef*>(piece.data());
            stream.avail_in = static_cast<uInt>(piece.size());
            done = done && deflate(&stream, choice.flush) == Z_OK;
        }
    } else {
        stream.next_in = const_cast<Bytef*>(content.data());
        stream.avail_in = static_cast<uInt>(content.size());
    }
    done = done && deflate(&stream, Z_FINISH) == Z_STREAM_END;
    payload.resize(stream.total_out);
    deflateEnd(&stream);
    return done ? payload : Payload();
}

void addZlibSettings(std::vector<PeerSetting>& settings) {
    const auto add = [&settings](std::string name, const ZlibChoice& choice) {
        settings.push_back({std::move(name), [choice](View content) { return zlib(content, choice); }});
    };
    for (int level = 0; level <= 9; ++level) add("level " + std::to_string(level), {.level = level});
    const std::pair<const char*, int> strategies[] = {
        {"filtered", Z_FILTERED}, {"Huffman only", Z_HUFFMAN_ONLY}, {"run lengths", Z_RLE}, {"fixed codes", Z_FIXED}};
    for (const auto& [name, strategy] : strategies) {
        for (const int level : {1, 6, 9}) {
            add(name + std::string(", level ") + std::to_string(level), {.level = level, .strategy = strategy});
        }
    }
    for (int bits = 9; bits <= 14; ++bits) add("window of bits " + std::to_string(bits), {.windowBits = bits});
    for (const int memory : {1, 4, 9}) {
        for (const int level : {0, 1, 6}) {
            add("memory level " + std::to_string(memory) + ", level " + std::to_string(level),
                {.level = level, .memoryLevel = memory});
        }
    }
    const std::pair<const char*, int> flushes[] = {{"partial flushes", Z_PARTIAL_FLUSH},
                                                   {"sync flushes", Z_SYNC_FLUSH},
                                                   {"full flushes", Z_FULL_FLUSH},
                                                   {"block flushes", Z_BLOCK}};
    for (const auto& [name, flush] : flushes) {
        for (const int level : {0, 1, 6}) {
            add(name + std::string(", level ") + std::to_string(level), {.level = level, .flush = flush});
        }
    }
}

std::optional<Payload> zlibDecode(View payload, std::size_t limit) {
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) return {};
    Payload content(limit + 1);  // zlib wants a place to write to even for nothing
    stream.next_in = const_cast<Bytef*>(payload.data());
    stream.avail_in = static_cast<uInt>(payload.size());
    stream.next_out = content.data();
    stream.avail_out = static_cast<uInt>(content.size());
    const bool isWhole = inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_in == 0;
    content.resize(stream.total_out);
    inflateEnd(&stream);
    if (!isWhole || content.size() > limit) return {};
    return content;
}

}  // namespace

std::optional<std::vector<unsigned char>> withRightChecksum(View zlibStream, std::size_t limit) {
    if (zlibStream.size() < 2) return {};
    const View bare = zlibStream.subspan(2);
    z_stream stream{};
    if (inflateInit2(&stream, -15) != Z_OK) return {};
    Payload content(limit + 1);
    stream.next_in = const_cast<Bytef*>(bare.data());
    stream.avail_in = static_cast<uInt>(bare.size());
    stream.next_out = content.data();
    stream.avail_out = static_cast<uInt>(content.size());
    const bool isWhole = inflate(&stream, Z_FINISH) == Z_STREAM_END;
    const std::size_t used = bare.size() - stream.avail_in;
    const auto checksum = adler32(adler32(0, nullptr, 0), content.data(), static_cast<uInt>(stream.total_out));
    inflateEnd(&stream);
    if (!isWhole) return {};
    Payload repaired(zlibStream.begin(), zlibStream.begin() + static_cast<std::ptrdiff_t>(2 + used));
    for (int shift = 24; shift >= 0; shift -= 8) repaired.push_back(static_cast<unsigned char>(checksum >> shift));
    return repaired;
}

namespace {

// ---- Zstandard ------------------------------------------------------------------------------------------------------

using ZstdParameters = std::vector<std::pair<ZSTD_cParameter, int>>;

// One context for all, since it is large.
ZSTD_CCtx* zstdContext(const ZstdParameters& parameters) {
    static const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> kContext(ZSTD_createCCtx(), ZSTD_freeCCtx);
    ZSTD_CCtx_reset(kContext.get(), ZSTD_reset_session_and_parameters);
    for (const auto& [parameter, value] : parameters) {
        if (ZSTD_isError(ZSTD_CCtx_setParameter(kContext.get(), parameter, value)) != 0) return nullptr;
    }
    return kContext.get();
}

Payload zstd(View content, const ZstdParameters& parameters) {
    ZSTD_CCtx* const context = zstdContext(parameters);
    Payload payload(ZSTD_compressBound(content.size()));
    const std::size_t size =
        context ? ZSTD_compress2(context, payload.data(), payload.size(), content.data(), content.size()) : 0;
    if (ZSTD_isError(size) != 0) return {};
    payload.resize(size);
    return payload;
}

// In pieces and without telling the size beforehand, so that the window is what the level says.
Payload zstdFlushed(View content, const ZstdParameters& parameters) {
    ZSTD_CCtx* const context = zstdContext(parameters);
    if (!context) return {};
    Payload payload(ZSTD_compressBound(content.size()) + content.size() / kFlushedPiece * 64 + 64);
    ZSTD_outBuffer out{payload.data(), payload.size(), 0};
    for (std::size_t at = 0; at < content.size(); at += kFlushedPiece) {
        const View piece = pieceAt(content, at);
        ZSTD_inBuffer in{piece.data(), piece.size(), 0};
        if (ZSTD_compressStream2(context, &out, &in, ZSTD_e_flush) != 0) return {};
    }
    ZSTD_inBuffer nothing{nullptr, 0, 0};
    if (ZSTD_compressStream2(context, &out, &nothing, ZSTD_e_end) != 0) return {};
    payload.resize(out.pos);
    return payload;
}

void addZstdSettings(std::vector<PeerSetting>& settings) {
    const auto add = [&settings](std::string name, const ZstdParameters& parameters) {
        settings.push_back({std::move(name), [parameters](View content) { return zstd(content, parameters); }});
    };
    for (int level = 1; level <= ZSTD_maxCLevel(); ++level) {
        add("level " + std::to_string(level), {{ZSTD_c_compressionLevel, level}});
    }
    for (const int level : {-1, -7, -100}) {
        add("level " + std::to_string(level), {{ZSTD_c_compressionLevel, level}});
    }
    for (const int level : {1, 6, 19}) {
        const std::pair<ZSTD_cParameter, int> chosen{ZSTD_c_compressionLevel, level};
        const std::string name = "level " + std::to_string(level) + ", ";
        add(name + "checksum", {chosen, {ZSTD_c_checksumFlag, 1}});
        add(name + "no content size", {chosen, {ZSTD_c_contentSizeFlag, 0}});
        add(name + "checksum, no content size", {chosen, {ZSTD_c_checksumFlag, 1}, {ZSTD_c_contentSizeFlag, 0}});
        add(name + "window of 1 KiB", {chosen, {ZSTD_c_windowLog, 10}});
        add(name + "long distances", {chosen, {ZSTD_c_enableLongDistanceMatching, 1}});
        add(name + "bare literals", {chosen, {ZSTD_c_literalCompressionMode, ZSTD_ps_disable}});
        add(name + "Huffman literals", {chosen, {ZSTD_c_literalCompressionMode, ZSTD_ps_enable}});
        add(name + "split blocks", {chosen, {ZSTD_c_useBlockSplitter, ZSTD_ps_enable}});
        add(name + "blocks of some 100 bytes", {chosen, {ZSTD_c_targetCBlockSize, 100}});
        settings.push_back(
            {name + "flushed", [chosen](View content) { return zstdFlushed(content, {chosen}); }, level == 19});
    }
    // As large as the tool's --ultra levels make it.
    const ZstdParameters wide = {{ZSTD_c_compressionLevel, 1}, {ZSTD_c_windowLog, 27}};
    settings.push_back({"window of 128 MiB", [wide](View content) { return zstdFlushed(content, wide); }, true});
    for (int strategy = ZSTD_fast; strategy <= ZSTD_btultra2; ++strategy) {
        for (const int shortest : {3, 4, 5, 6, 7}) {
            add("strategy " + std::to_string(strategy) + ", matches from " + std::to_string(shortest),
                {{ZSTD_c_strategy, strategy}, {ZSTD_c_minMatch, shortest}, {ZSTD_c_checksumFlag, 1}});
        }
    }
}

std::optional<Payload> zstdDecode(View payload, std::size_t limit) {
    // It reads frames in a row too, those that it skips, and those of its own former versions.
    const unsigned char magic[] = {0x28, 0xB5, 0x2F, 0xFD};
    if (payload.size() < 4 || !std::ranges::equal(payload.first(4), magic)) return {};
    if (ZSTD_findFrameCompressedSize(payload.data(), payload.size()) != payload.size()) return {};
    Payload content(limit + 1);
    const std::size_t size = ZSTD_decompress(content.data(), limit, payload.data(), payload.size());
    if (ZSTD_isError(size) != 0) return {};
    content.resize(size);
    return content;
}

}  // namespace

std::vector<PeerSetting> peerSettings(Compression kind) {
    std::vector<PeerSetting> settings;
    if (kind == Compression::Lz4) addLz4Settings(settings);
    if (kind == Compression::Zlib) addZlibSettings(settings);
    if (kind == Compression::Zstd) addZstdSettings(settings);
    return settings;
}

std::optional<std::vector<unsigned char>> peerDecode(Compression kind, View payload, std::size_t limit) {
    if (kind == Compression::Lz4) return lz4Decode(payload, limit);
    if (kind == Compression::Zlib) return zlibDecode(payload, limit);
    if (kind == Compression::Zstd) return zstdDecode(payload, limit);
    return {};
}

std::vector<unsigned char> peerBase64(View bytes) {
    constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::vector<unsigned char> text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        unsigned group = 0;
        for (std::size_t i = 0; i < 3; ++i) group = group << 8 | (i < count ? bytes[at + i] : 0U);
        for (std::size_t i = 0; i < 4; ++i) {
            text.push_back(i <= count ? static_cast<unsigned char>(kAlphabet[group >> (18 - 6 * i) & 63]) : '=');
        }
    }
    return text;
}

}  // namespace qor::test
