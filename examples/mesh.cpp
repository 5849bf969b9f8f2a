// Writes two fields of a mesh and a compressed block, and reads them back.
#include <qor/file/qor_file.h>

#include <iostream>
#include <vector>

struct Vertex {
    qor::math::Vec3f place;
    qor::math::Vec3f normal;
};

int main() {
    using qor::bufRef;
    using qor::File;
    std::vector<Vertex> mesh = {{{0, 0, 0}, {0, 0, 1}}, {{1, 0, 0}, {0, 1, 0}}};
    const std::vector<unsigned char> pixels(1000, 255);

    File file;
    if (!file.open("mesh.bin", File::Mode::Write, File::Format::Binary)) return 1;
    file << mesh.size() << bufRef(std::span(mesh), &Vertex::place) << bufRef(std::span(mesh), &Vertex::normal);
    file.write(pixels, qor::Compression::Zstd);
    if (!file.ok() || !file.close()) return 1;

    unsigned long count = 0;
    std::vector<unsigned char> image;
    if (!file.open("mesh.bin", File::Mode::Read, File::Format::Binary)) return 1;
    file >> count;
    if (count != mesh.size()) return 1;  // a count from a file is not to be trusted
    file >> bufRef(std::span(mesh), &Vertex::place) >> bufRef(std::span(mesh), &Vertex::normal);
    file.read(image, qor::Compression::Zstd);
    std::cout << mesh[1].normal[1] << ' ' << image.size() << " pixels, " << file.len() << " bytes\n";
    return file.ok() ? 0 : 1;
}
