// Base64: bytes as text of 64 printable characters, four for every three bytes.
//
// Source: RFC 4648, section 4; padded, without line breaks.
#pragma once

#include "qor/core/codec/bytes.h"
#include "qor/core/vector.h"

namespace qor::impl {

/// Makes the text of `bytes`. False if memory is refused.
bool encodeBase64(Bytes bytes, ds::Vector<unsigned char>& text);

/// Restores the bytes of `text`. False if `text` is not what `encodeBase64` makes of any bytes (so a row of bytes has
/// one text only), or if memory is refused; `bytes` then holds anything.
bool decodeBase64(Bytes text, ds::Vector<unsigned char>& bytes);

/// As above, where the text itself stands: it becomes the bytes, and no memory is taken.
bool decodeBase64(ds::Vector<unsigned char>& text);

}  // namespace qor::impl
