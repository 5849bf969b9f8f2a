// Two files that are written while the program's static objects are made.
#pragma once

#include <string>

#include "qor/core/string.h"

namespace qor::test {

struct WrittenBeforeMain {
    WrittenBeforeMain();
    ~WrittenBeforeMain();

    std::string folder;
    bool done;           // every write and every close
    String refusedRead;  // the error of reading a file that is being written
};

extern WrittenBeforeMain writtenBeforeMain;

}  // namespace qor::test
