// The wrapper around DEFLATE. Its header is two bytes, which as a number, high byte first, are a multiple of 31:
//
//     byte 0   bits 0-3  method: 8, DEFLATE
//              bits 4-7  window: 2^(n + 8) bytes, n up to 7
//     byte 1   bits 0-4  such that the number becomes a multiple of 31
//              bit 5     a preset dictionary follows
//              bits 6-7  how hard the encoder tried; says nothing to a decoder
//
// Source: RFC 1950, 2.2.
#include "qor/core/codec/zlib.h"

#include "qor/core/codec/adler32.h"
#include "qor/core/codec/deflate.h"

namespace qor::impl::zlib {
namespace {

constexpr std::size_t kHeaderSize = 2;
constexpr std::size_t kTrailerSize = 4;

constexpr unsigned char kHeader[kHeaderSize] = {0x78, 0x9C};  // a window of 32 KiB; the default effort
static_assert((kHeader[0] * 256 + kHeader[1]) % 31 == 0);

void storeBigEndian(unsigned char* to, std::uint32_t value) {
    for (int i = 3; i >= 0; --i, value >>= 8) to[i] = static_cast<unsigned char>(value);
}

std::uint32_t loadBigEndian(const unsigned char* from) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | from[i];
    return value;
}

}  // namespace

bool recognises(Bytes payload) {
    return payload.size() >= kHeaderSize && (payload[0] & 15) == 8 && payload[0] >> 4 <= 7 &&
           (payload[0] * 256 + payload[1]) % 31 == 0;
}

bool encode(Bytes content, ds::Vector<unsigned char>& payload) {
    const std::uint64_t room = kHeaderSize + deflate::largestStream(content.size()) + deflate::kEncodeSlack;
    if (!payload.resizeForOverwrite(room)) return false;
    payload[0] = kHeader[0];
    payload[1] = kHeader[1];
    unsigned char* const trailer = deflate::encode(content, payload.data() + kHeaderSize);
    if (!trailer) return false;
    storeBigEndian(trailer, adler32(content));
    return payload.resizeForOverwrite(static_cast<std::size_t>(trailer - payload.data()) + kTrailerSize);
}

bool decode(Bytes payload, std::uint64_t size, ds::Vector<unsigned char>& content) {
    if (!recognises(payload) || payload.size() < kHeaderSize + kTrailerSize) return false;
    const bool hasDictionary = payload[1] & 0x20;
    if (hasDictionary) return false;
    const int windowBits = (payload[0] >> 4) + 8;
    const std::size_t trailer = payload.size() - kTrailerSize;
    Result result(content, size, payload.size());
    std::uint32_t checksum = adler32({});
    return deflate::decode(payload.subspan(kHeaderSize, trailer - kHeaderSize), windowBits, result, checksum) &&
           checksum == loadBigEndian(&payload[trailer]);
}

}  // namespace qor::impl::zlib
