// The only place that calls stdio. Each function behaves as the standard one of the same name, with 64-bit sizes.
//
// These stand in an object file of their own, so that a program may put others in their place when it is linked; the
// tests do, to make a disk fail on cue.
#pragma once

#include <cstdint>
#include <cstdio>

#include "qor/core/string.h"

namespace qor::fs {

using Stream = std::FILE;

/// Where an offset counts from.
enum Origin : std::uint32_t { kFromStart = 0, kFromCurrent = 1, kFromEnd = 2 };

/// Null on failure.
Stream* Fopen(const String& path, const String& mode);

/// The number of items moved; less than `count` on failure and, reading, at the end of the file.
std::uint64_t Fread(void* to, std::uint64_t size, std::uint64_t count, Stream* stream);
std::uint64_t Fwrite(const void* from, std::uint64_t size, std::uint64_t count, Stream* stream);

/// 0 on success.
int Fseek(Stream* stream, std::int64_t offset, std::uint32_t origin);
int Fflush(Stream* stream);
int Fclose(Stream* stream);

/// The current offset in bytes; -1 on failure.
std::int64_t Ftell(Stream* stream);

}  // namespace qor::fs
