// How small and how fast are compressed blocks, against the public implementation of the same format?
//
// Data      each file below the folder that QOR_BENCH_DATA names, as one block (README.md is left out); without one,
//           seven made contents of 1 MiB. Small blocks are pieces of 64 B, 1 KiB and 16 KiB from all over the files
// Anchors   liblz4's frame functions at their default level, libdeflate 6 in zlib format, libzstd 6. They have content
//           size (where the format can) and content checksum, as we have. Their contexts are used again, except for
//           small blocks, where each block has a new one as it has with us
// Peers     liblz4's bare blocks, zlib 6, libzstd 3
// Memory    compress() and decompress() make a new vector each time; the others write to memory that is there. The
//           allocator keeps what is freed, so that nobody waits for the system's pages
// Base64    both directions on one block of all the files, against four tables and a plain loop
// Times     of runs of some 3 ms; the ways of a job take turns. The report has the best of 15 runs of each
// Check     every way restores what it stored before its time counts, and the anchor restores what qor stored
#include <libdeflate.h>
#include <lz4.h>
#include <lz4frame.h>
#include <malloc.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "qor/core/codec/base64.h"
#include "qor/core/compression.h"
#include "support/block_job.h"
#include "tests/support/made_data.h"

namespace {

using bench::BlockJob;
using bench::BlockWay;
using bench::Buffer;
using bench::Bytes;
using qor::Compression;

// A context of a library: made when it is first asked for and kept, or made anew each time.
template <typename Context>
class Contexts {
 public:
    using Handle = std::shared_ptr<Context>;

    Contexts(Handle (*how)(), bool toKeep) : make(how), keeps(toKeep) {}

    Handle get() {
        if (!keeps) return make();
        if (!kept) kept = make();
        return kept;
    }

 private:
    Handle (*make)();
    bool keeps;
    Handle kept;
};

BlockWay qorAs(Compression kind) {
    return {"qor",
            [kind](Bytes content, Buffer& payload) {
                payload = qor::compress(content.data(), content.size(), false, kind);
                return !payload.isEmpty();
            },
            [](const Buffer& payload, std::size_t size, Buffer& content) {
                content = qor::decompress(payload, false, size);
                return content.size() == size;
            }};
}

// ---- LZ4 ------------------------------------------------------------------------------------------------------------

BlockWay lz4Frame(bool keepsContexts) {
    Contexts<LZ4F_dctx> decompressors(
        [] {
            LZ4F_dctx* context = nullptr;
            LZ4F_createDecompressionContext(&context, LZ4F_VERSION);
            return std::shared_ptr<LZ4F_dctx>(context, LZ4F_freeDecompressionContext);
        },
        keepsContexts);
    return {"liblz4 frame",
            [](Bytes content, Buffer& payload) {
                LZ4F_preferences_t preferences{};
                preferences.frameInfo.contentSize = content.size();
                preferences.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
                if (!payload.resizeForOverwrite(LZ4F_compressFrameBound(content.size(), &preferences))) return false;
                const std::size_t size =
                    LZ4F_compressFrame(payload.data(), payload.size(), content.data(), content.size(), &preferences);
                return LZ4F_isError(size) == 0 && payload.resizeForOverwrite(size);
            },
            [decompressors](const Buffer& payload, std::size_t size, Buffer& content) mutable {
                if (!content.resizeForOverwrite(size)) return false;
                const auto context = decompressors.get();
                LZ4F_resetDecompressionContext(context.get());
                std::size_t read = payload.size();
                return LZ4F_decompress(context.get(), content.data(), &size, payload.data(), &read, nullptr) == 0 &&
                       size == content.size() && read == payload.size();
            }};
}

BlockWay lz4Block() {
    return {"liblz4 block",
            [](Bytes content, Buffer& payload) {
                const auto size = static_cast<int>(content.size());
                const int bound = LZ4_compressBound(size);
                if (!payload.resizeForOverwrite(static_cast<std::size_t>(bound))) return false;
                const int written = LZ4_compress_default(reinterpret_cast<const char*>(content.data()),
                                                         reinterpret_cast<char*>(payload.data()), size, bound);
                return written > 0 && payload.resizeForOverwrite(static_cast<std::size_t>(written));
            },
            [](const Buffer& payload, std::size_t size, Buffer& content) {
                return content.resizeForOverwrite(size) &&
                       LZ4_decompress_safe(reinterpret_cast<const char*>(payload.data()),
                                           reinterpret_cast<char*>(content.data()), static_cast<int>(payload.size()),
                                           static_cast<int>(size)) == static_cast<int>(size);
            }};
}

// ---- zlib -----------------------------------------------------------------------------------------------------------

BlockWay libdeflate6(bool keepsContexts) {
    Contexts<libdeflate_compressor> compressors(
        [] {
            return std::shared_ptr<libdeflate_compressor>(libdeflate_alloc_compressor(6), libdeflate_free_compressor);
        },
        keepsContexts);
    Contexts<libdeflate_decompressor> decompressors(
        [] {
            return std::shared_ptr<libdeflate_decompressor>(libdeflate_alloc_decompressor(),
                                                            libdeflate_free_decompressor);
        },
        keepsContexts);
    return {"libdeflate 6",
            [compressors](Bytes content, Buffer& payload) mutable {
                const auto context = compressors.get();
                const std::size_t bound = libdeflate_zlib_compress_bound(context.get(), content.size());
                if (!payload.resizeForOverwrite(bound)) return false;
                const std::size_t size = libdeflate_zlib_compress(context.get(), content.data(), content.size(),
                                                                  payload.data(), payload.size());
                return size > 0 && payload.resizeForOverwrite(size);
            },
            [decompressors](const Buffer& payload, std::size_t size, Buffer& content) mutable {
                const auto context = decompressors.get();
                return content.resizeForOverwrite(size) &&
                       libdeflate_zlib_decompress(context.get(), payload.data(), payload.size(), content.data(), size,
                                                  nullptr) == LIBDEFLATE_SUCCESS;
            }};
}

BlockWay zlib6() {
    return {"zlib 6",
            [](Bytes content, Buffer& payload) {
                if (!payload.resizeForOverwrite(compressBound(content.size()))) return false;
                uLongf size = payload.size();
                return compress2(payload.data(), &size, content.data(), content.size(), 6) == Z_OK &&
                       payload.resizeForOverwrite(size);
            },
            [](const Buffer& payload, std::size_t size, Buffer& content) {
                uLongf produced = size;
                return content.resizeForOverwrite(size) &&
                       uncompress(content.data(), &produced, payload.data(), payload.size()) == Z_OK &&
                       produced == size;
            }};
}

// ---- Zstandard ------------------------------------------------------------------------------------------------------

template <int level>
BlockWay libzstd(bool keepsContexts) {
    Contexts<ZSTD_CCtx> compressors(
        [] {
            ZSTD_CCtx* const context = ZSTD_createCCtx();
            ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, level);
            ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, 1);
            return std::shared_ptr<ZSTD_CCtx>(context, ZSTD_freeCCtx);
        },
        keepsContexts);
    Contexts<ZSTD_DCtx> decompressors([] { return std::shared_ptr<ZSTD_DCtx>(ZSTD_createDCtx(), ZSTD_freeDCtx); },
                                      keepsContexts);
    return {"libzstd " + std::to_string(level),
            [compressors](Bytes content, Buffer& payload) mutable {
                if (!payload.resizeForOverwrite(ZSTD_compressBound(content.size()))) return false;
                const std::size_t size = ZSTD_compress2(compressors.get().get(), payload.data(), payload.size(),
                                                        content.data(), content.size());
                return ZSTD_isError(size) == 0 && payload.resizeForOverwrite(size);
            },
            [decompressors](const Buffer& payload, std::size_t size, Buffer& content) mutable {
                return content.resizeForOverwrite(size) &&
                       ZSTD_decompressDCtx(decompressors.get().get(), content.data(), size, payload.data(),
                                           payload.size()) == size;
            }};
}

// ---- Base64 ---------------------------------------------------------------------------------------------------------

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// For each place in a group of four characters, what a character there adds to the 24 bits; kNoDigit if it is none.
constexpr std::uint32_t kNoDigit = 0xFF000000;
constexpr auto kDigits = [] {
    std::array<std::array<std::uint32_t, 256>, 4> tables{};
    for (std::size_t place = 0; place < 4; ++place) {
        tables[place].fill(kNoDigit);
        for (std::uint32_t digit = 0; digit < 64; ++digit) {
            tables[place][static_cast<unsigned char>(kAlphabet[digit])] = digit << (18 - 6 * place);
        }
    }
    return tables;
}();

bool encodePlainly(Bytes content, Buffer& text) {
    if (!text.resizeForOverwrite((content.size() + 2) / 3 * 4)) return false;
    const unsigned char* in = content.data();
    unsigned char* out = text.data();
    const auto put = [&out](std::uint32_t bits) {
        for (int shift = 18; shift >= 0; shift -= 6) {
            *out++ = static_cast<unsigned char>(kAlphabet[bits >> shift & 63]);
        }
    };
    std::size_t left = content.size();
    for (; left >= 3; left -= 3, in += 3) put(static_cast<std::uint32_t>(in[0] << 16 | in[1] << 8 | in[2]));
    if (left > 0) {
        put(static_cast<std::uint32_t>(in[0] << 16 | (left == 2 ? in[1] << 8 : 0)));
        for (; left < 3; ++left) out[static_cast<std::ptrdiff_t>(left) - 3] = '=';
    }
    return true;
}

bool decodePlainly(const Buffer& text, std::size_t size, Buffer& content) {
    if (!content.resizeForOverwrite(size)) return false;
    const unsigned char* in = text.data();
    unsigned char* out = content.data();
    std::uint32_t seen = 0;
    const auto take = [&in, &seen] {
        const std::uint32_t bits = kDigits[0][in[0]] | kDigits[1][in[1]] | kDigits[2][in[2]] | kDigits[3][in[3]];
        seen |= bits;
        in += 4;
        return bits;
    };
    for (std::size_t left = size / 3; left > 0; --left, out += 3) {
        const std::uint32_t bits = take();
        out[0] = static_cast<unsigned char>(bits >> 16);
        out[1] = static_cast<unsigned char>(bits >> 8);
        out[2] = static_cast<unsigned char>(bits);
    }
    if (size % 3 != 0) {
        const std::uint32_t bits = kDigits[0][in[0]] | kDigits[1][in[1]] | (size % 3 == 2 ? kDigits[2][in[2]] : 0);
        seen |= bits;
        out[0] = static_cast<unsigned char>(bits >> 16);
        if (size % 3 == 2) out[1] = static_cast<unsigned char>(bits >> 8);
    }
    return (seen & kNoDigit) == 0;
}

BlockWay qorBase64() {
    return {"qor", [](Bytes content, Buffer& text) { return qor::impl::encodeBase64(content, text); },
            [](const Buffer& text, std::size_t, Buffer& content) {
                return qor::impl::decodeBase64({text.data(), text.size()}, content);
            }};
}

// ---- The jobs -------------------------------------------------------------------------------------------------------

constexpr std::size_t kMadeSize = 1 << 20;

std::vector<qor::test::Content> contents() {
    const char* const folder = std::getenv("QOR_BENCH_DATA");
    auto found = folder ? qor::test::filesBelow(folder) : qor::test::madeContents(kMadeSize);
    if (!found.empty()) return found;
    std::fprintf(stderr, "There are no files below %s.\n", folder);
    std::exit(1);
}

// Up to 8 pieces of this size from each content, evenly spread.
std::vector<Bytes> piecesOf(const std::vector<qor::test::Content>& contents, std::size_t size) {
    constexpr std::size_t kPieces = 8;
    std::vector<Bytes> pieces;
    for (const auto& content : contents) {
        const Bytes bytes(content.bytes);
        const std::size_t count = std::min(kPieces, bytes.size() / size);
        for (std::size_t i = 0; i < count; ++i)
            pieces.push_back(bytes.subspan((bytes.size() - size) / count * i, size));
    }
    return pieces;
}

// One kind: what it is measured against with contexts kept, the same with new ones, and further peers.
struct Kind {
    const char* name;
    Compression kind;
    BlockWay anchor;
    BlockWay anchorAnew;
    BlockWay peer;
};

BlockWay qorRestoredBy(const BlockWay& anchor, const BlockWay& ours) {
    return {"qor, restored by " + anchor.name, ours.store, anchor.restore};
}

}  // namespace

int main(int argc, char** argv) {
    // Blocks below 32 MiB, which is as far as this goes, come from one heap that never shrinks.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);

    const auto files = contents();
    const Kind kinds[] = {
        {"Lz4", Compression::Lz4, lz4Frame(true), lz4Frame(false), lz4Block()},
        {"Zlib", Compression::Zlib, libdeflate6(true), libdeflate6(false), zlib6()},
        {"Zstd", Compression::Zstd, libzstd<6>(true), libzstd<6>(false), libzstd<3>(true)},
    };

    std::vector<BlockJob> jobs;
    for (const Kind& kind : kinds) {
        const BlockWay ours = qorAs(kind.kind);
        for (const auto& file : files) {
            jobs.push_back(
                {kind.name, file.name, {file.bytes}, {ours, kind.anchor, kind.peer, qorRestoredBy(kind.anchor, ours)}});
        }
    }
    for (const Kind& kind : kinds) {
        const BlockWay ours = qorAs(kind.kind);
        for (const auto& [name, size] : {std::pair("64 B", 64), {"1 KiB", 1024}, {"16 KiB", 16384}}) {
            const auto pieces = piecesOf(files, static_cast<std::size_t>(size));
            jobs.push_back({"small blocks", std::string(kind.name) + ", " + name, pieces, {ours, kind.anchorAnew}});
        }
    }
    std::vector<unsigned char> all;
    for (const auto& file : files) all.insert(all.end(), file.bytes.begin(), file.bytes.end());
    jobs.push_back({"Base64", "one block", {all}, {qorBase64(), {"four tables", encodePlainly, decodePlainly}}});

    return bench::runBlockJobs(argc, argv, jobs);
}
