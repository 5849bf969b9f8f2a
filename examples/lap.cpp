// Writes a small binary file and reads it back.
#include <qor/file/qor_file.h>

#include <iostream>

int main() {
    using qor::File;
    File file;
    if (!file.open("lap.bin", File::Mode::Write, File::Format::Binary)) return 1;
    file << 3 << "first lap" << 92.418;
    if (!file.ok() || !file.close()) return 1;

    int lap = 0;
    qor::String name;
    double seconds = 0;
    if (!file.open("lap.bin", File::Mode::Read, File::Format::Binary)) return 1;
    file >> lap >> name >> seconds;
    std::cout << lap << ' ' << name << ' ' << seconds << '\n';
    return file.ok() ? 0 : 1;  // file.error() has the reason
}
