// Whatever operations follow each other, in whatever mode, on whatever files, and whichever calls fail, the library
// does what the model does.
//
// The bytes are the walk's choices: see faults/walk.h.
#include <cstdio>
#include <string>

#include "faults/walk.h"
#include "fuzz/target.h"

namespace qor::fuzz {
namespace {

// Enough to fill and empty the buffer some times over; with more of either, a fuzzer would mostly wait.
constexpr int kMostOperations = 200;
constexpr std::uint64_t kMostLarge = 6;

/// Numbers below a limit, taken from as many bytes as they need; zero behind the last.
class Choices {
 public:
    explicit Choices(View from) : bytes(from) {}

    std::uint64_t below(std::uint64_t limit) {
        std::uint64_t number = 0;
        for (std::uint64_t most = limit - 1; most > 0; most >>= 8) {
            number = number << 8 | (bytes.empty() ? 0 : bytes.front());
            bytes = bytes.subspan(bytes.empty() ? 0 : 1);
        }
        return number % limit;
    }

    bool left() const { return !bytes.empty(); }

 private:
    View bytes;
};

void walk(View bytes) {
    Choices choices(bytes);
    test::Walk walk([&](std::uint64_t limit) { return choices.below(limit); }, kMostLarge);
    test::SideBySide both([](test::Disk&) {});
    const auto requireNone = [](const std::string& difference) {
        if (!difference.empty()) std::fprintf(stderr, "%s\n", difference.c_str());
        require(difference.empty(), "the library does what the model does");
    };
    for (int i = 0; i < kMostOperations && choices.left(); ++i) {
        requireNone(both.after(walk.next(both.disk.openStreams() > 0)));
    }
    requireNone(both.atTheEnd());
}

}  // namespace
}  // namespace qor::fuzz

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::walk({data, size});
    return 0;
}
