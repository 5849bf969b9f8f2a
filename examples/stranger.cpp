// Reads what a stranger sent: a count, so many points, and a picture; and believes none of its figures.
#include <qor/file/qor_file.h>

#include <iostream>
#include <vector>

using qor::File;

struct Scene {
    std::vector<qor::math::Vec3f> points;
    std::vector<unsigned char> picture;
};

bool readScene(const char* path, Scene& scene) {
    constexpr unsigned long kMostPoints = 1'000'000;
    constexpr unsigned long kMostPicture = 16'000'000;

    File file;
    if (!file.open(path, File::Mode::Read, File::Format::Binary)) return false;
    unsigned long points = 0;
    unsigned long picture = 0;
    file >> points >> picture;
    if (!file.ok() || points > kMostPoints || picture > kMostPicture) return false;
    if (points > (file.len() - file.pos()) / sizeof(qor::math::Vec3f)) return false;

    scene.points.resize(points);
    scene.picture.resize(picture);
    if (points > 0) file >> qor::bufRef(std::span(scene.points));
    file.read(std::span(scene.picture), qor::Compression::Zstd);
    return file.ok() && file.eof();
}

int main() {
    const std::vector<qor::math::Vec3f> points = {{0, 0, 0}, {1, 2, 3}};
    const std::vector<unsigned char> picture(1000, 255);
    File file;
    if (!file.open("scene.bin", File::Mode::Write, File::Format::Binary)) return 1;
    file << points.size() << picture.size() << qor::bufRef(std::span(points));
    file.write(picture, qor::Compression::Zstd);
    if (!file.ok() || !file.close()) return 1;

    Scene scene;
    if (!readScene("scene.bin", scene)) return 1;
    std::cout << scene.points.size() << " points, " << scene.picture.size() << " pixels\n";

    if (!file.open("scene.bin", File::Mode::Write, File::Format::Binary)) return 1;
    file << 1'000'000ul << 1000ul << "that was all";
    if (!file.ok() || !file.close()) return 1;
    std::cout << (readScene("scene.bin", scene) ? "believed\n" : "refused\n");
}
