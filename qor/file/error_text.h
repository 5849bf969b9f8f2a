// The exact text of each failure, once. Programs compare them, so they stay as they are, odd wording included: the word
// "write" in the refusal of a read, "read" in the report of a write, the space at the end of "Fwrite failed. ".
#pragma once

#include "qor/core/string.h"

namespace qor::impl::errorText {

// Admission.
inline constinit StaticText kCannotWriteClosed("File not successfully opened, cannot write.");
inline constinit StaticText kCannotWriteReading("Cannot write while in read mode.");
inline constinit StaticText kCannotReadClosed("File not successfully opened, cannot read.");
inline constinit StaticText kCannotReadWriting("Cannot write while in write mode.");

// Opening, flushing, closing.
inline constinit StaticText kRewindFailed("Failed to rewind file while opening.");
inline constinit StaticText kStagingWriteFailed("Fwrite failed. ");
inline constexpr const char* kFlushFailed = "fflush failed.";
inline constinit StaticText kTellFailed("Tell failed.");
inline constinit StaticText kCloseFailed("Fclose failed.");

// Moving bytes. The figures are what was asked of the stream and what it did.
inline constexpr const char* kWriteFailed = "Fwrite failed. Requested %llu, read %llu.";
inline constexpr const char* kReadFailed = "Fread failed. Requested %llu, read %llu.";
inline constinit StaticText kBeyondFileSize("Attempted to read beyond file size.");

// Seeking and peeking.
inline constinit StaticText kCannotSeekClosed("Cannot seek, file is not opened.");
inline constinit StaticText kSeekFailed("Seek failed, returning zero.");
inline constinit StaticText kPeekOnlyReading("File::peek() only supported in read mode.");

// Whole text files.
inline constinit StaticText kReadTextOnly("read() is not supported in binary mode.");
inline constinit StaticText kReadFileFailed("Failed to read file.");

// Blocks. The figures are the header's: the payload's length, then the content's.
inline constinit StaticText kCompressFailed("Compression failed.");
inline constinit StaticText kBlockHeaderFailed("Failed to read un/compressed length.");
inline constinit StaticText kPayloadFailed("Failed to read compressed buffer.");
inline constexpr const char* kDecompressFailed =
    "Failed to decompress data (compressed size: %llu, decompressed size: %llu).";

// Typed arrays; why a BufRef is none stands with BufRef.
inline constexpr const char* kArrayBlockFailed = "Decompression failed attempting to read %s[%llu] using stride %llu.";
inline constexpr const char* kInvalidElemSize = "Invalid typeElemSize: %d";
inline constexpr const char* kInvalidElemType = "Invalid typeElemType: %s";

// Records of geometry and colour, which are read from binary files alone.
inline constinit StaticText kNoVec2("read(Vec2&) not supported in text mode.");
inline constinit StaticText kNoVec3("read(Vec3&) not supported in text mode.");
inline constinit StaticText kNoVec4("read(Vec4&) not supported in text mode.");
inline constinit StaticText kNoPos2("read(Pos2&) not supported in text mode.");
inline constinit StaticText kNoPos3("read(Pos3&) not supported in text mode.");
inline constinit StaticText kNoQuat("read(Quat&) not supported in text mode.");
inline constinit StaticText kNoRgba("read(Rgba&) not supported in text mode.");
inline constinit StaticText kNoMat3("read(Mat3&) not supported in text mode.");
inline constinit StaticText kNoMat4("read(Mat4&) not supported in text mode.");

// Where the system gives no memory for what an operation has to hold.
inline constinit StaticText kOutOfMemory("Out of memory.");

}  // namespace qor::impl::errorText
