// The table of kinds, and the armour that makes text of a payload.
#include "qor/core/compression.h"

#include <utility>

#include "qor/core/codec/base64.h"
#include "qor/core/codec/bytes.h"
#include "qor/core/codec/lz4_frame.h"
#include "qor/core/codec/zlib.h"
#include "qor/core/codec/zstd.h"

namespace qor {
namespace {

using impl::Bytes;
using Vector = ds::Vector<unsigned char>;

struct Codec {
    Compression kind;
    bool (*recognises)(Bytes payload);
    std::uint64_t maxExpansion;  // most bytes of content for one of payload
    bool (*encode)(Bytes content, Vector& payload);
    bool (*decode)(Bytes payload, std::uint64_t size, Vector& content);
};

constexpr Codec kCodecs[] = {
    {Compression::Lz4, impl::lz4::recognises, impl::lz4::kMaxExpansion, impl::lz4::encode, impl::lz4::decode},
    {Compression::Zlib, impl::zlib::recognises, impl::zlib::kMaxExpansion, impl::zlib::encode, impl::zlib::decode},
    {Compression::Zstd, impl::zstd::recognises, impl::zstd::kMaxExpansion, impl::zstd::encode, impl::zstd::decode},
};

// What a stream of any kind holds, or nothing.
Vector decode(Bytes stream, std::uint64_t size) {
    for (const Codec& codec : kCodecs) {
        if (!codec.recognises(stream)) continue;
        Vector content;
        if (size > 0 && size / codec.maxExpansion <= stream.size() && codec.decode(stream, size, content))
            return content;
    }
    return {};
}

}  // namespace

Vector compress(const unsigned char* data, unsigned long size, bool asText, Compression kind) {
    if (!data || size == 0) return {};
    for (const Codec& codec : kCodecs) {
        if (codec.kind != kind) continue;
        Vector payload;
        if (!codec.encode({data, size}, payload)) return {};
        // The room for a payload is that of the worst case; what is far too much is given back.
        if (payload.size() < payload.capacity() / 2) payload.shrinkToFit();
        if (!asText) return payload;
        Vector text;
        if (!impl::encodeBase64({payload.data(), payload.size()}, text)) return {};
        return text;
    }
    return {};
}

Vector decompress(const Vector& payload, bool asText, unsigned long uncompressedSize) {
    if (!asText) return decode({payload.data(), payload.size()}, uncompressedSize);
    Vector stream;
    if (!impl::decodeBase64({payload.data(), payload.size()}, stream)) return {};
    return decode({stream.data(), stream.size()}, uncompressedSize);
}

Vector decompress(Vector&& payload, bool asText, unsigned long uncompressedSize) {
    if (asText && !impl::decodeBase64(payload)) return {};
    return decode({payload.data(), payload.size()}, uncompressedSize);
}

}  // namespace qor
