// Uses a File before any other code of the program has run.
#include "file/written_before_main.h"

#include <cstdlib>
#include <filesystem>

#include "qor/file/qor_file.h"

namespace qor::test {

WrittenBeforeMain::WrittenBeforeMain() {
    folder = (std::filesystem::temp_directory_path() / "qor-before-main-XXXXXX").string();
    if (!mkdtemp(folder.data())) std::abort();

    File file;
    done = file.open((folder + "/binary").c_str(), File::Mode::Write, File::Format::Binary);
    done = file.write(258) && file.write(1.0) && file.write("abc") && done;
    int value;
    file >> value;
    refusedRead = file.error();
    done = file.close() && done;

    done = file.open((folder + "/text").c_str(), File::Mode::Write, File::Format::Text) && done;
    done = file.print("%d", 5) && file.write(' ') && file.write(0.5) && file.write(true) && done;
    done = file.close() && done;
}

WrittenBeforeMain::~WrittenBeforeMain() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

// The earliest that a program can ask for: ahead of every initialiser of the library, in whatever order it is linked.
[[gnu::init_priority(101)]] WrittenBeforeMain writtenBeforeMain;

}  // namespace qor::test
