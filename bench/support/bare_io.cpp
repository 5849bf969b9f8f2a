// The limit: what happens once to a megabyte.
#include "support/bare_io.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

namespace bench {

BareWriter::BareWriter(const std::string& path)
    : file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)), failed(file < 0) {}

void BareWriter::spill() {
    for (std::size_t done = 0; done < used && !failed;) {
        const ssize_t written = ::write(file, buffer.get() + done, used - done);
        failed = written <= 0;
        done += static_cast<std::size_t>(written);
    }
    used = 0;
}

bool BareWriter::close() {
    spill();
    return ::close(file) == 0 && !failed;
}

BareReader::BareReader(const std::string& path) : file(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), failed(file < 0) {}

void BareReader::takeAcross(char* to, std::size_t n) {
    while (n > 0 && !failed) {
        const std::size_t piece = std::min(n, end - next);
        std::memcpy(to, buffer.get() + next, piece);
        next += piece;
        to += piece;
        n -= piece;
        if (n > 0) load();
    }
}

void BareReader::load() {
    const ssize_t loaded = ::read(file, buffer.get(), kBareSize);
    failed = loaded <= 0;
    next = 0;
    end = failed ? 0 : static_cast<std::size_t>(loaded);
}

bool BareReader::close() { return ::close(file) == 0 && !failed; }

}  // namespace bench
