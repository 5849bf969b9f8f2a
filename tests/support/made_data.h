// Contents for the codecs: made ones of each sort that blocks are filled with, and the files of a folder. Tests and
// benchmarks share them. What is made is the same on every host and in every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace qor::test {

struct Content {
    std::string name;
    std::vector<unsigned char> bytes;
};

std::vector<unsigned char> constantBytes(std::size_t size);

/// Nothing to be saved: each byte is as likely as any other.
std::vector<unsigned char> randomBytes(std::size_t size, std::uint64_t seed = 1);

/// Words of a small vocabulary, commoner ones shorter, in lines and sentences.
std::vector<unsigned char> textBytes(std::size_t size, std::uint64_t seed = 1);

/// Random bytes that begin anew after each `period`.
std::vector<unsigned char> periodicBytes(std::size_t size, std::size_t period);

/// Heights of a smooth surface as `float`, row after row.
std::vector<unsigned char> surfaceFloats(std::size_t size);

/// RGBA pixels of a picture with grain; alpha is always 255.
std::vector<unsigned char> noisyPixels(std::size_t size);

/// Indices of a grid's triangles, three `std::uint32_t` each.
std::vector<unsigned char> gridTriangles(std::size_t size);

/// One of each sort, in `size` bytes.
std::vector<Content> madeContents(std::size_t size);

/// The regular files below a folder by their paths from there, in order; empty ones and README.md are left out.
std::vector<Content> filesBelow(const std::filesystem::path& folder);

}  // namespace qor::test
