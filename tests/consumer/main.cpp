// A program like any that uses the library: it writes a file, reads it back and says whether all of it came back.
#include <qor/file/qor_file.h>

#include <cstdio>

int main() {
    using Mode = qor::File::Mode;
    using Format = qor::File::Format;

    qor::File file;
    if (!file.open("lap.bin", Mode::Write, Format::Binary)) return 1;
    file << 3 << "first lap" << 92.418;
    if (!file.ok() || !file.close()) return 1;

    int laps = 0;
    qor::String name;
    double seconds = 0;
    if (!file.open("lap.bin", Mode::Read, Format::Binary)) return 1;
    file >> laps >> name >> seconds;
    if (!file.ok() || !file.close()) return 1;

    std::printf("%d %s %g\n", laps, name.buf(), seconds);
    return laps == 3 && name == "first lap" && seconds == 92.418 ? 0 : 1;
}
