// Writes or reads the golden files, so that one host can look at what another has written.
//
//     golden_files write FOLDER      every file that the library makes itself; prints their number
//     golden_files read FOLDER       compares the values of those files; prints their number
//
// Exit code 1 if one of them cannot be written, or does not give back its values; its name is printed.
#include <cstdio>
#include <cstring>

#include "golden/golden.h"

int main(int count, char** arguments) {
    if (count != 3 || (std::strcmp(arguments[1], "write") != 0 && std::strcmp(arguments[1], "read") != 0)) {
        std::fputs("usage: golden_files write|read FOLDER\n", stderr);
        return 2;
    }
    const auto act = std::strcmp(arguments[1], "write") == 0 ? qor::test::writeGolden : qor::test::readGolden;
    int done = 0;
    int failed = 0;
    for (const qor::test::Golden& golden : qor::test::goldens()) {
        if (!golden.write) continue;
        if (act(arguments[2], golden)) {
            ++done;
        } else {
            ++failed;
            std::fprintf(stderr, "%s: not as it should be\n", golden.name.c_str());
        }
    }
    std::printf("%d\n", done);
    return failed == 0 ? 0 : 1;
}
