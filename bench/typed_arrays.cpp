// What do typed arrays cost in a binary file: one large one, many small ones, and one field of an array of structs?
//
// Data      256 MiB of Vec3f in one call; 100000 arrays of 32 Vec3f; the normals of 4 million vertices, 12 bytes of
// every
//           28. The values are small whole numbers, other ones in each place
// Limit     write(2) and read(2) in pieces of 1 MiB straight from and to the values, for the one array; for the others
// a
//           hand-written buffer of 1 MiB before them
// Peers     fwrite and fread, one call for what lies in a row; for the strided array fwrite_unlocked and fread_unlocked
//           with 1 MiB (setvbuf), one call to an item; HDF5, one dataset without chunks, a part of it for each array
// Check     every written file holds the limit's bytes (of HDF5, its size is looked at); what was read equals what was
//           written
#include <fcntl.h>
#include <hdf5.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <span>
#include <vector>

#include "qor/file/qor_file.h"
#include "support/bare_io.h"
#include "support/job.h"

namespace {

using qor::bufRef;
using qor::math::Rgba8;
using qor::math::Vec3f;
using Mode = qor::File::Mode;
using Format = qor::File::Format;

constexpr std::size_t kLarge = std::size_t{256} * 1024 * 1024 / sizeof(Vec3f);
constexpr std::size_t kArrays = 100'000;
constexpr std::size_t kPerArray = 32;
constexpr std::size_t kVertices = 4'000'000;

struct Vertex {
    Vec3f place;
    Vec3f normal;
    Rgba8 colour;
};

template <typename T>
using Values = std::vector<T>;

void number(Vec3f& value, std::size_t i) {
    const auto n = static_cast<float>(i % 65'521);
    value = Vec3f(n, n + 1, n + 2);
}

const Values<Vec3f>& large() {
    static const Values<Vec3f> values = [] {
        Values<Vec3f> made(kLarge);
        for (std::size_t i = 0; i < made.size(); ++i) number(made[i], i);
        return made;
    }();
    return values;
}

const Values<Vertex>& vertices() {
    static const Values<Vertex> values = [] {
        Values<Vertex> made(kVertices);
        for (std::size_t i = 0; i < made.size(); ++i) number(made[i].normal, i);
        return made;
    }();
    return values;
}

std::span<const Vec3f> array(const Values<Vec3f>& values, std::size_t i) { return {&values[i * kPerArray], kPerArray}; }
std::span<Vec3f> array(Values<Vec3f>& values, std::size_t i) { return {&values[i * kPerArray], kPerArray}; }

// Where values are read to.
Values<Vec3f> readBack;
Values<Vertex> readVertices;

// ---- qor ------------------------------------------------------------------------------------------------------------

template <typename Put>
bool writeQor(const std::string& path, Put put) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Write, Format::Binary)) return false;
    put(file);
    return file.ok() && file.close();
}

template <typename Take>
bool readQor(const std::string& path, Take take) {
    qor::File file;
    if (!file.open(path.c_str(), Mode::Read, Format::Binary)) return false;
    take(file);
    return file.ok() && file.eof() && file.close();
}

// ---- The limit ------------------------------------------------------------------------------------------------------

// Moves all bytes at `data` by `move(at, n)`, a call of the system, in pieces of 1 MiB.
template <typename Byte, typename Move>
bool inPieces(Byte* data, std::size_t size, Move move) {
    while (size > 0) {
        const std::size_t piece = std::min(size, bench::kBareSize);
        if (move(data, piece) != static_cast<ssize_t>(piece)) return false;
        data += piece;
        size -= piece;
    }
    return true;
}

bool writePieces(const std::string& path, std::span<const Vec3f> values) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const bool done = inPieces(reinterpret_cast<const char*>(values.data()), values.size_bytes(),
                               [file](const char* data, std::size_t n) { return ::write(file, data, n); });
    return (::close(file) == 0) & done;
}

bool readPieces(const std::string& path, std::span<Vec3f> values) {
    const int file = ::open(path.c_str(), O_RDONLY);
    const bool done = inPieces(reinterpret_cast<char*>(values.data()), values.size_bytes(),
                               [file](char* data, std::size_t n) { return ::read(file, data, n); });
    return (::close(file) == 0) & done;
}

bool writeBareArrays(const std::string& path) {
    bench::BareWriter out(path);
    for (std::size_t i = 0; i < kArrays; ++i) out.append(array(large(), i).data(), kPerArray * sizeof(Vec3f));
    return out.close();
}

bool readBareArrays(const std::string& path) {
    bench::BareReader in(path);
    for (std::size_t i = 0; i < kArrays; ++i) in.take(array(readBack, i).data(), kPerArray * sizeof(Vec3f));
    return in.close();
}

bool writeBareNormals(const std::string& path) {
    bench::BareWriter out(path);
    for (const Vertex& vertex : vertices()) out.append(&vertex.normal, sizeof(Vec3f));
    return out.close();
}

bool readBareNormals(const std::string& path) {
    bench::BareReader in(path);
    for (Vertex& vertex : readVertices) in.take(&vertex.normal, sizeof(Vec3f));
    return in.close();
}

// ---- stdio ----------------------------------------------------------------------------------------------------------

template <typename Put>
bool writeStdio(const std::string& path, bool largeBuffer, Put put) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (!file || (largeBuffer && std::setvbuf(file, nullptr, _IOFBF, bench::kBareSize) != 0)) return false;
    put(file);
    return (std::ferror(file) == 0) & (std::fclose(file) == 0);
}

template <typename Take>
bool readStdio(const std::string& path, bool largeBuffer, Take take) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (!file || (largeBuffer && std::setvbuf(file, nullptr, _IOFBF, bench::kBareSize) != 0)) return false;
    take(file);
    return (std::ferror(file) == 0 && std::feof(file) == 0) & (std::fclose(file) == 0);
}

// ---- HDF5 -----------------------------------------------------------------------------------------------------------

// Moves `n` floats in `parts` equal parts between a dataset and memory, in which each group of `group` floats begins
// `stride` floats behind the one before.
template <typename Move>
bool moveHdf5(hid_t dataset, hsize_t n, hsize_t parts, hsize_t group, hsize_t stride, Move move) {
    const hsize_t part = n / parts;
    const hsize_t groups = part / group;
    const hsize_t memorySize = groups * stride;
    const hid_t inFile = H5Dget_space(dataset);
    const hid_t inMemory = H5Screate_simple(1, &memorySize, nullptr);
    const hsize_t none = 0;
    bool done = H5Sselect_hyperslab(inMemory, H5S_SELECT_SET, &none, &stride, &groups, &group) >= 0;
    for (hsize_t i = 0; i < parts && done; ++i) {
        const hsize_t start = i * part;
        done = H5Sselect_hyperslab(inFile, H5S_SELECT_SET, &start, nullptr, &part, nullptr) >= 0 &&
               move(inMemory, inFile, i * memorySize) >= 0;
    }
    H5Sclose(inMemory);
    H5Sclose(inFile);
    return done;
}

bool writeHdf5(const std::string& path, const float* from, hsize_t n, hsize_t parts, hsize_t group, hsize_t stride) {
    const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    const hid_t space = H5Screate_simple(1, &n, nullptr);
    const hid_t dataset = H5Dcreate2(file, "values", H5T_IEEE_F32LE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
    const bool done = moveHdf5(dataset, n, parts, group, stride, [&](hid_t inMemory, hid_t inFile, hsize_t at) {
        return H5Dwrite(dataset, H5T_NATIVE_FLOAT, inMemory, inFile, H5P_DEFAULT, from + at);
    });
    H5Dclose(dataset);
    H5Sclose(space);
    return (H5Fclose(file) >= 0) & done;
}

bool readHdf5(const std::string& path, float* to, hsize_t n, hsize_t parts, hsize_t group, hsize_t stride) {
    const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
    const hid_t dataset = H5Dopen2(file, "values", H5P_DEFAULT);
    const bool done = moveHdf5(dataset, n, parts, group, stride, [&](hid_t inMemory, hid_t inFile, hsize_t at) {
        return H5Dread(dataset, H5T_NATIVE_FLOAT, inMemory, inFile, H5P_DEFAULT, to + at);
    });
    H5Dclose(dataset);
    return (H5Fclose(file) >= 0) & done;
}

constexpr hsize_t kFloatsPerVertex = sizeof(Vertex) / sizeof(float);

}  // namespace

int main(int argc, char** argv) {
    const std::string path = bench::pathOf("arrays.bin");
    const std::string largePath = bench::pathOf("large.bin");
    const std::string smallPath = bench::pathOf("small.bin");
    const std::string normalsPath = bench::pathOf("normals.bin");
    bench::require(writePieces(largePath, large()), "write " + largePath);
    bench::require(writeBareArrays(smallPath), "write " + smallPath);
    bench::require(writeBareNormals(normalsPath), "write " + normalsPath);

    const std::string largeHdf5 = bench::pathOf("large.h5");
    const std::string normalsHdf5 = bench::pathOf("normals.h5");
    const float* const largeFloats = large().front().data();
    const float* const normalFloats = vertices().front().normal.data();
    bench::require(writeHdf5(largeHdf5, largeFloats, 3 * kLarge, 1, 3 * kLarge, 3 * kLarge), "write " + largeHdf5);
    bench::require(writeHdf5(normalsHdf5, normalFloats, 3 * kVertices, 1, 3, kFloatsPerVertex), "write " + normalsHdf5);

    const auto remove = [path] { std::remove(path.c_str()); };
    const auto isSame = [path](const std::string& expected) {
        return [path, expected] {
            if (bench::sameContent(path, expected)) return true;
            // An HDF5 file has a head of its own.
            return std::filesystem::file_size(path) > std::filesystem::file_size(expected) &&
                   H5Fis_hdf5(path.c_str()) > 0;
        };
    };
    const auto clear = [](std::size_t n) { return [n] { readBack.assign(n, Vec3f()); }; };
    const auto isRead = [](std::size_t n) {
        return [n] {
            return std::equal(readBack.begin(), readBack.end(), large().begin(),
                              large().begin() + static_cast<std::ptrdiff_t>(n));
        };
    };
    const std::size_t small = kArrays * kPerArray;

    const std::vector<bench::Job> jobs = {
        {.name = "256 MiB of Vec3f, write",
         .aim = 1.05,
         .items = kLarge,
         .prepare = remove,
         .check = isSame(largePath),
         .ways = {{"qor", [&] { return writeQor(path, [](qor::File& file) { file << bufRef(std::span(large())); }); }},
                  {"limit", [&] { return writePieces(path, large()); }},
                  {"fwrite",
                   [&] {
                       return writeStdio(path, false, [](std::FILE* file) {
                           std::fwrite(large().data(), sizeof(Vec3f), kLarge, file);
                       });
                   }},
                  {"HDF5", [&] { return writeHdf5(path, largeFloats, 3 * kLarge, 1, 3 * kLarge, 3 * kLarge); }}}},
        {.name = "256 MiB of Vec3f, read",
         .aim = 1.4,
         .items = kLarge,
         .prepare = clear(kLarge),
         .check = isRead(kLarge),
         .ways =
             {{"qor", [&] { return readQor(largePath, [](qor::File& file) { file >> bufRef(std::span(readBack)); }); }},
              {"limit", [&] { return readPieces(largePath, readBack); }},
              {"fread",
               [&] {
                   return readStdio(largePath, false, [](std::FILE* file) {
                       return std::fread(readBack.data(), sizeof(Vec3f), kLarge, file);
                   });
               }},
              {"HDF5",
               [&] { return readHdf5(largeHdf5, readBack.front().data(), 3 * kLarge, 1, 3 * kLarge, 3 * kLarge); }}}},
        {.name = "arrays of 32 Vec3f, write",
         .aim = 1.05,
         .items = kArrays,
         .prepare = remove,
         .check = isSame(smallPath),
         .ways = {{"qor",
                   [&] {
                       return writeQor(path, [](qor::File& file) {
                           for (std::size_t i = 0; i < kArrays; ++i) file << bufRef(array(large(), i));
                       });
                   }},
                  {"limit", [&] { return writeBareArrays(path); }},
                  {"fwrite",
                   [&] {
                       return writeStdio(path, false, [](std::FILE* file) {
                           for (std::size_t i = 0; i < kArrays; ++i) {
                               std::fwrite(array(large(), i).data(), sizeof(Vec3f), kPerArray, file);
                           }
                       });
                   }},
                  {"HDF5",
                   [&] { return writeHdf5(path, largeFloats, 3 * small, kArrays, 3 * kPerArray, 3 * kPerArray); }}}},
        {.name = "arrays of 32 Vec3f, read",
         .aim = 1.05,
         .items = kArrays,
         .prepare = clear(small),
         .check = isRead(small),
         .ways = {{"qor",
                   [&] {
                       return readQor(smallPath, [](qor::File& file) {
                           for (std::size_t i = 0; i < kArrays; ++i) file >> bufRef(array(readBack, i));
                       });
                   }},
                  {"limit", [&] { return readBareArrays(smallPath); }},
                  {"fread",
                   [&] {
                       return readStdio(smallPath, false, [](std::FILE* file) {
                           for (std::size_t i = 0; i < kArrays; ++i) {
                               if (std::fread(array(readBack, i).data(), sizeof(Vec3f), kPerArray, file) != kPerArray) {
                                   return;
                               }
                           }
                       });
                   }},
                  {"HDF5",
                   [&] {
                       return readHdf5(largeHdf5, readBack.front().data(), 3 * small, kArrays, 3 * kPerArray,
                                       3 * kPerArray);
                   }}}},
        {.name = "strided Vec3f, write",
         .aim = 1.1,
         .items = kVertices,
         .prepare = remove,
         .check = isSame(normalsPath),
         .ways = {{"qor",
                   [&] {
                       return writeQor(path,
                                       [](qor::File& file) { file << bufRef(std::span(vertices()), &Vertex::normal); });
                   }},
                  {"limit", [&] { return writeBareNormals(path); }},
                  {"fwrite_unlocked 1 MiB",
                   [&] {
                       return writeStdio(path, true, [](std::FILE* file) {
                           for (const Vertex& vertex : vertices())
                               fwrite_unlocked(&vertex.normal, sizeof(Vec3f), 1, file);
                       });
                   }},
                  {"HDF5", [&] { return writeHdf5(path, normalFloats, 3 * kVertices, 1, 3, kFloatsPerVertex); }}}},
        {.name = "strided Vec3f, read",
         .aim = 1.1,
         .items = kVertices,
         .prepare = [] { readVertices.assign(kVertices, Vertex()); },
         .check =
             [] {
                 return std::equal(readVertices.begin(), readVertices.end(), vertices().begin(), vertices().end(),
                                   [](const Vertex& a, const Vertex& b) { return a.normal == b.normal; });
             },
         .ways = {{"qor",
                   [&] {
                       return readQor(normalsPath, [](qor::File& file) {
                           file >> bufRef(std::span(readVertices), &Vertex::normal);
                       });
                   }},
                  {"limit", [&] { return readBareNormals(normalsPath); }},
                  {"fread_unlocked 1 MiB",
                   [&] {
                       return readStdio(normalsPath, true, [](std::FILE* file) {
                           for (Vertex& vertex : readVertices) {
                               if (fread_unlocked(&vertex.normal, sizeof(Vec3f), 1, file) != 1) return;
                           }
                       });
                   }},
                  {"HDF5",
                   [&] {
                       return readHdf5(normalsHdf5, readVertices.front().normal.data(), 3 * kVertices, 1, 3,
                                       kFloatsPerVertex);
                   }}}},
    };
    return bench::runJobs(argc, argv, jobs);
}
