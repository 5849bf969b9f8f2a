// The limit: a buffer of 1 MiB before write(2) and read(2), as one would write it by hand for one program. It asks for
// room, copies and moves on; it keeps no position, no text of what went wrong, and knows one way to be open.
//
// As in any class that programs share, what happens once to a megabyte stands in the source file. Were it in sight, the
// compiler would see the whole program at once, work out from the sizes of the benchmark's values that most of the
// questions for room have one answer, and drop them: a limit for that one sequence of values and for no other.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

namespace bench {

inline constexpr std::size_t kBareSize = 1 << 20;

class BareWriter {
 public:
    explicit BareWriter(const std::string& path);

    /// `n` is at most kBareSize.
    void append(const void* data, std::size_t n) {
        std::memcpy(room(n), data, n);
        advance(n);
    }

    /// Where the next bytes go; there is room for `n`.
    char* room(std::size_t n) {
        if (n > kBareSize - used) spill();
        return buffer.get() + used;
    }
    void advance(std::size_t n) { used += n; }

    /// False if anything failed since the file was opened.
    bool close();

 private:
    void spill();

    int file;
    bool failed;
    std::size_t used = 0;
    std::unique_ptr<char[]> buffer{new char[kBareSize]};
};

class BareReader {
 public:
    explicit BareReader(const std::string& path);

    void take(void* to, std::size_t n) {
        if (n > end - next) return takeAcross(static_cast<char*>(to), n);
        std::memcpy(to, buffer.get() + next, n);
        next += n;
    }

    /// False if anything failed since the file was opened, the end of the file included.
    bool close();

 private:
    void takeAcross(char* to, std::size_t n);
    void load();

    int file;
    bool failed;
    std::size_t next = 0;
    std::size_t end = 0;
    std::unique_ptr<char[]> buffer{new char[kBareSize]};
};

}  // namespace bench
