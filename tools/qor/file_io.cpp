// Files of the library, with failures that say which file, what went wrong, and what to do.
#include "tools/qor/file_io.h"

#include <fmt/format.h>

#include <system_error>

#include "tools/qor/failure.h"
#include "tools/qor/text.h"

namespace tool {
namespace {

using qor::File;

// `text` is the library's, which tells what failed; `number` is the system's, which may tell why.
[[noreturn]] void failWith(const std::string& label, const qor::String& text, int number) {
    const std::string reason = reasonAndAdvice(number);
    if (text.isEmpty()) throw Failure(label, reason.empty() ? "the system gives no reason" : reason);
    if (reason.empty()) throw Failure(label, text.view());
    throw Failure(label, fmt::format("{} ({})", text.view(), reason));
}

}  // namespace

void failOf(const File& file, const std::string& label) { failWith(label, file.error(), errno); }

OutputFile::OutputFile(const Folder& folder, std::string_view name, File::Format format) : label(folder.label(name)) {
    errno = 0;
    if (!file.open(folder.path(name).c_str(), File::Mode::Write, format)) failOf(file, label);
}

void OutputFile::finish() {
    // Closing begins by forgetting what failed before, so that is asked first.
    if (!file.ok() || !file.close()) failOf(file, label);
}

void openToRead(File& file, const std::string& path, const std::string& label, File::Format format) {
    errno = 0;
    if (!file.open(path.c_str(), File::Mode::Read, format)) failOf(file, label);
    if (!file.ok()) {
        throw Failure(label, fmt::format("{} It has no length that can be measured; save it to a file and name that",
                                         file.error().view()));
    }
}

std::string readWhole(const std::string& path) {
    File file;
    openToRead(file, path, path, File::Format::Text);
    std::error_code ignored;
    const bool isFolder = std::filesystem::is_directory(path, ignored);
    errno = 0;
    const qor::String text = file.read();
    if (isFolder && !file.ok()) {
        throw Failure(path, fmt::format("{} It is a folder; name a file in it", file.error().view()));
    }
    if (!file.ok()) failOf(file, path);
    if (file.len() == 0) throw Failure(path, "the file is empty");
    if (text.length() != file.len()) {
        throw Failure(path, fmt::format("not a text: byte {} is zero", grouped(text.length() + 1)));
    }
    return std::string(text.view());
}

}  // namespace tool
