// Memory refused at every moment of every operation: nothing is thrown, nothing leaks, the operation tells, and what it
// was to change is as it was.
//
// A scenario is one operation, or a few, on objects that were made before. It is run with its first request for memory
// refused, then with its second, and so on until it passes without meeting the refusal; and all over again with every
// request refused from that one on.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <filesystem>
#include <functional>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "file/contents.h"
#include "qor/core/path.h"
#include "support/figures.h"
#include "support/heap.h"

namespace qor::test {
namespace {

namespace stdfs = std::filesystem;
using namespace std::literals;

using Vector = ds::Vector<unsigned char>;

// ---- Running a scenario ---------------------------------------------------------------------------------------------

// Which requests of a run are refused.
struct Refusal {
    enum class Kind { Once, EverAfter, Twice } kind;
    std::uint64_t first;
    std::uint64_t later = 0;  // the other one, of two

    RefusedRequests begin() const {
        return kind == Kind::Twice ? RefusedRequests(first, later) : RefusedRequests(first, kind == Kind::EverAfter);
    }
};

// One run of a scenario. The folder has the scenario's file "a".
class Run {
 public:
    Run(const TestFolder& folder, Refusal what) : files(folder), refusal(what) {}

    /// Does what is to be done without the memory. Once in each run; everything around it has all that it asks for.
    template <typename Act>
    void refused(Act act) {
        bool thrown = false;
        {
            const RefusedRequests requests = refusal.begin();
            try {
                act();
            } catch (...) {
                thrown = true;
            }
            met = requests.met();
            metBoth = met && requests.metBoth();
        }
        EXPECT_FALSE(thrown);
    }

    const TestFolder& files;
    bool met = false;
    bool metBoth = false;

 private:
    Refusal refusal;
};

struct Scenario {
    std::string name;
    std::string content;  // of the file "a"
    std::function<void(Run&)> play;
};

// Plays a scenario with these requests refused and says whether it came to that.
bool plays(const Scenario& scenario, const TestFolder& files, Refusal refusal, bool* metBoth = nullptr) {
    const std::size_t before = Heap::blocks();
    Run run(files, refusal);
    scenario.play(run);
    std::error_code ignored;
    stdfs::remove(files.path("b"), ignored);  // to write it again takes some systems longer than to make it anew
    EXPECT_EQ(Heap::blocks(), before) << "a leak";
    if (metBoth) *metBoth = run.metBoth;
    return run.met;
}

constexpr std::uint64_t kNever = 1'000'000'000;

// Every way of refusing, each until the scenario passes without meeting it. The number of runs in which it was met.
std::uint64_t playsInEveryWay(const Scenario& scenario) {
    SCOPED_TRACE(scenario.name);
    const TestFolder files;
    files.make("a", scenario.content);
    plays(scenario, files, {Refusal::Kind::Once, kNever});  // and whatever is made once and for all is made now

    std::uint64_t runs = 0;
    for (const auto kind : {Refusal::Kind::Once, Refusal::Kind::EverAfter}) {
        for (std::uint64_t n = 1;; ++n, ++runs) {
            SCOPED_TRACE("request " + std::to_string(n) + (kind == Refusal::Kind::Once ? "" : " and all after it"));
            if (!plays(scenario, files, {kind, n}) || ::testing::Test::HasFailure()) break;
        }
    }
    bool met = isThorough();
    for (std::uint64_t n = 1; met && !::testing::Test::HasFailure(); ++n) {
        met = false;
        bool metBoth = true;
        for (std::uint64_t later = n + 1; metBoth && !::testing::Test::HasFailure(); ++later) {
            SCOPED_TRACE("requests " + std::to_string(n) + " and " + std::to_string(later));
            met = plays(scenario, files, {Refusal::Kind::Twice, n, later}, &metBoth);
            runs += metBoth;
        }
    }
    return runs;
}

// ---- Kinds of scenarios ---------------------------------------------------------------------------------------------

std::string in(Format format) { return format == Format::Text ? ", in text" : ", in binary"; }

// Writing: what was written is what is written with all the memory there is, or its beginning if the write says no.
template <typename Put>
Scenario puts(const std::string& name, Format format, Put put) {
    const Bytes whole = written(format, [&](File& file) { static_cast<void>(put(file)); });
    return {name + in(format), "", [=](Run& run) {
                File file = opened(run.files.path("b"), Mode::Write, format);
                bool done = false;
                run.refused([&] { done = put(file); });
                EXPECT_EQ(done, file.ok()) << file.error();
                const std::uint64_t size = file.pos();
                EXPECT_TRUE(file.close());
                EXPECT_EQ(run.files.content("b"), (Bytes{done ? whole.raw : whole.raw.substr(0, size)}));
            }};
}

bool isSame(const StringIO& a, const StringIO& b) { return std::string_view(a.buf()) == b.buf(); }
template <typename T>
bool isSame(const T& a, const T& b) {
    return a == b;
}

// Reading from the file "a": the variable is what it is with all the memory there is; `left` if the read says no.
template <typename T, typename Take>
Scenario takes(const std::string& name, Format format, std::string content, T before, T left, Take take) {
    T right = before;
    bool isRead = false;
    {
        const TestFolder files;
        File file = opened(files.make("a", content), Mode::Read, format);
        isRead = take(file, right);
    }
    return {name + in(format), std::move(content), [=](Run& run) {
                File file = opened(run.files.path("a"), Mode::Read, format);
                T value = before;
                bool done = false;
                run.refused([&] { done = take(file, value); });
                EXPECT_EQ(done, file.ok()) << file.error();
                EXPECT_TRUE(isSame(value, done ? right : left)) << file.error();
                EXPECT_TRUE(isRead || !done);
            }};
}

// As above, and the variable is to stay as it was.
template <typename T>
Scenario takes(const std::string& name, Format format, std::string content, T before) {
    return takes(name, format, std::move(content), before, before,
                 [](File& file, T& value) { return file.read(value); });
}

// ---- Contents -------------------------------------------------------------------------------------------------------

constexpr Format kFormats[] = {Format::Text, Format::Binary};
constexpr Compression kKinds[] = {Compression::Lz4, Compression::Zlib, Compression::Zstd};

std::string nameOf(Compression kind) {
    return kind == Compression::Lz4 ? "Lz4" : kind == Compression::Zlib ? "Zlib" : "Zstd";
}

const std::string kLong(300, 'l');  // more than can be kept without the heap
const std::string kHuge = pattern(5 * kMiB / 2);

// Bytes that shrink, but not to nothing.
const std::string kWords = [] {
    std::string bytes;
    std::uint32_t state = 1;
    while (bytes.size() < 300'000) {
        state = state * 1664525 + 1013904223;
        bytes += "some words and the number " + std::to_string(state >> 20) + ", ";
    }
    return bytes;
}();

Vector bytesOf(std::string_view text) {
    Vector bytes;
    bytes.resize(text.size());
    std::copy(text.begin(), text.end(), bytes.begin());
    return bytes;
}

Vector compressed(std::string_view content, bool asText, Compression kind) {
    return compress(reinterpret_cast<const unsigned char*>(content.data()), content.size(), asText, kind);
}

std::string block(Format format, std::string_view content, Compression kind) {
    return written(format, [&](File& file) { file.write(content.data(), content.size(), kind); }).raw;
}

bool print(String& text, const char* fmt, ...) {
    std::va_list args;
    va_start(args, fmt);
    const bool done = text.assignFormat(fmt, args);
    va_end(args);
    return done;
}

// ---- The scenarios --------------------------------------------------------------------------------------------------

using Scenarios = std::vector<Scenario>;

void addOpening(Scenarios& all) {
    struct Opened {
        const char* name;
        const char* path;
        Mode mode;
        bool isThere;
    };
    constexpr Opened kOpened[] = {
        {"an existing file for reading", "a", Mode::Read, true},
        {"a missing file for reading", "missing", Mode::Read, false},
        {"an existing file for writing", "a", Mode::Write, true},
        {"a new file for writing", "new", Mode::Write, true},
        {"a file in the third mode", "b", Mode::ReadWrite, true},
        {"a file by a way around", "./x/../x/y/../../a", Mode::Read, true},
        {"a file by a link", "link", Mode::Read, true},
        {"a file deep in folders", "x/y/a/b/c/d/e/f/g/h/i/j/k/l/m/n/o/p/q/file", Mode::Read, true},
        {"a file behind a link loop", "loop/a", Mode::Read, false},
        {"a file in a missing folder", "none/a", Mode::Write, false},
        {"a folder", "x", Mode::Read, true},
    };
    for (const Opened& one : kOpened) {
        for (const Format format : kFormats) {
            all.push_back({"Opening "s + one.name + in(format), "content", [one, format](Run& run) {
                               std::error_code ignored;
                               stdfs::create_directories(run.files.path("x/y"), ignored);
                               stdfs::create_symlink("a", run.files.path("link"), ignored);
                               stdfs::create_directories(run.files.path("x/y/a/b/c/d/e/f/g/h/i/j/k/l/m/n/o/p/q"),
                                                         ignored);
                               run.files.make("x/y/a/b/c/d/e/f/g/h/i/j/k/l/m/n/o/p/q/file", "content");
                               stdfs::create_symlink("loop", run.files.path("loop"), ignored);
                               const String path = run.files.path(one.path).c_str();
                               File file;
                               bool done = false;
                               run.refused([&] { done = file.open(path, one.mode, format); });
                               // The name is asked of the file system in vain, and opened as it was given.
                               EXPECT_EQ(done, one.isThere);
                               EXPECT_TRUE(file.ok());
                           }});
        }
    }
    all.push_back({"Opening a file of a long name", "", [](Run& run) {
                       const std::string path = run.files.path(std::string(200, 'n'));
                       File file;
                       bool done = false;
                       run.refused([&] { done = file.open(path.c_str(), Mode::Write, Format::Text); });
                       EXPECT_EQ(done, stdfs::exists(path));  // a name that cannot be held names no file
                       EXPECT_TRUE(file.ok());
                       std::error_code ignored;
                       stdfs::remove(path, ignored);
                   }});
    all.push_back({"Opening another file", "content", [](Run& run) {
                       File file = opened(run.files.path("b"), Mode::Write, Format::Text);
                       file << "staged";
                       const String path = run.files.path("a").c_str();
                       bool done = false;
                       run.refused([&] { done = file.open(path, Mode::Read, Format::Text); });
                       EXPECT_TRUE(done && file.ok());
                       EXPECT_EQ(file.len(), 7u);
                       EXPECT_EQ(run.files.content("b"), Bytes{"staged"});
                   }});
    all.push_back({"Making a File", "", [](Run& run) {
                       bool isMade = false;
                       run.refused([&] {
                           try {
                               const File file;
                               isMade = true;
                           } catch (const std::bad_alloc&) {  // the one operation of it that throws
                           }
                       });
                       EXPECT_EQ(isMade, !run.met);
                   }});
}

void addMoving(Scenarios& all) {
    all.push_back({"Seek, skip, peek, flush, close", kHuge, [](Run& run) {
                       File file = opened(run.files.path("a"), Mode::Read, Format::Binary);
                       bool done = false;
                       run.refused([&] {
                           done = file.seek(7) == 7 && file.peek() == 8 && file.skip(5) == 12 && file.flush();
                           char c = 0;
                           done = done && file.read(c) && c == 13 && file.seek(-1) == 0 && !file.ok() && file.close();
                       });
                       EXPECT_TRUE(done);
                   }});
    for (const Format format : kFormats) {
        all.push_back({"A stream that takes nothing" + in(format), "", [format](Run& run) {
                           File file = opened("/dev/full", Mode::Write, format);
                           bool written = true, closed = true;
                           String first, last;
                           run.refused([&] {
                               written = file.write(kHuge.data(), kHuge.size(), Compression::None);
                               first = file.error();
                               file << 1;
                               closed = file.close();
                               last = file.error();
                           });
                           EXPECT_FALSE(written || closed);
                           EXPECT_TRUE(first.view().starts_with("Fwrite failed. Requested 0, read ")) << first;
                           EXPECT_EQ(last, "Fclose failed.");
                       }});
        all.push_back({"A read beyond the file" + in(format), "abc", [format](Run& run) {
                           File file = opened(run.files.path("a"), Mode::Read, format);
                           file.seek(7);
                           char c = 'c';
                           bool done = true;
                           String reason;
                           run.refused([&] {
                               done = file.read(c);
                               reason = file.error();
                           });
                           EXPECT_FALSE(done);
                           EXPECT_EQ(c, 'c');
                           EXPECT_EQ(reason, "Fread failed. Requested 18446744073709551612, read 0.");
                       }});
        all.push_back({"What is refused to a closed file" + in(format), "", [](Run& run) {
                           File file;
                           String reasons;
                           bool done = true;
                           run.refused([&] {
                               int number = 0;
                               String text;
                               Vector bytes;
                               done = file.write(1) || file.write("text") || file.read(number) || file.read(text) ||
                                      file.read(bytes, Compression::Lz4) || file.seek(1) != 0 || file.peek() != 0 ||
                                      !file.read().isEmpty();
                           });
                           EXPECT_FALSE(done);
                           EXPECT_EQ(file.error(), "File not successfully opened, cannot read.");
                       }});
    }
}

void addNumbersAndTexts(Scenarios& all) {
    for (const Format format : kFormats) {
        all.push_back(puts("Numbers", format, [](File& file) {
            return file.write('c') && file.write(true) && file.write(short{-1}) && file.write(123456) &&
                   file.write(-1l) && file.write(1.5f) && file.write(0.1) && file.write(7ull);
        }));
        all.push_back(puts("Numbers across the end of the buffer", format, [](File& file) {
            bool done = file.write(kHuge.data(), kMiB - 3, Compression::None);
            done = file.write(123456789) && done;
            return file.write(0.1) && done;
        }));
        all.push_back(puts("Texts", format, [](File& file) {
            return file.write("short") && file.write(kLong.c_str()) && file.write(std::string_view(kLong)) &&
                   file.write(kHuge.c_str());
        }));
        all.push_back({"A String and a StringIO" + in(format), "", [format](Run& run) {
                           File file = opened(run.files.path("b"), Mode::Write, format);
                           const String text(kHuge.c_str());
                           StringIO built;
                           built << kLong.c_str();
                           bool done = false;
                           run.refused([&] { done = file.write(text) && file.write(built); });
                           EXPECT_TRUE(done);
                       }});
        all.push_back(puts("Printing a short text", format, [](File& file) { return file.print("%d, %s", 5, "abc"); }));
        all.push_back(puts("Printing a line", format, [](File& file) { return file.printLn("%s", kLong.c_str()); }));
        all.push_back(puts("Printing a long text", format, [](File& file) { return file.print("%2000d", 5); }));
        all.push_back(
            puts("Printing a huge line", format, [](File& file) { return file.printLn("%s", kHuge.c_str()); }));
        all.push_back(puts("Geometry and colours", format, [](File& file) {
            return file.write(math::Vec2d(0.1, 2)) && file.write(math::Vec3d(1, 2, 3)) &&
                   file.write(math::Vec4d(1, 2, 3, 4)) && file.write(math::Pos2d(1, 2)) &&
                   file.write(math::Pos3d(1, 2, 3)) && file.write(math::Quatd(1, 2, 3, 4)) &&
                   file.write(math::Rgbad(1, 2, 3, 4)) && file.write(math::Mat3d()) && file.write(math::Mat4d());
        }));
        all.push_back(takes("Numbers", format, pattern(11), 0.5));
        all.push_back(takes("A number where the file ends", format, pattern(3), 12));
        all.push_back(takes("A matrix", format, pattern(128), math::Mat4d()));
    }

    // A record stays outside where it cannot be held; of a text file, what cannot be held is the empty text.
    for (const std::string& text : {"short"s, kLong, kHuge, pattern(kMiB - 8)}) {
        const std::string size = " of " + std::to_string(text.size()) + " characters";
        const std::string content = record(text) + "rest";
        all.push_back(takes("A record" + size + " into a String", Format::Binary, content, String("before")));
        all.push_back(takes("A record" + size + " into a std::string", Format::Binary, content, "before"s));
        StringIO builder;
        all.push_back(takes("A record" + size + " into an empty StringIO", Format::Binary, content, builder));
        builder << kLong.c_str();
        all.push_back(takes("A record" + size + " into a StringIO", Format::Binary, content, builder));

        const auto take = [](File& file, auto& value) { return file.read(value); };
        all.push_back(takes("A text" + size + " into a String", Format::Text, text, String("before"), String(), take));
        all.push_back(takes("A text" + size + " into a StringIO", Format::Text, text, builder, StringIO(), take));
    }
    all.push_back(takes("A text that ends early", Format::Text, "begin\0"s + kHuge, String("before"), String(),
                        [](File& file, String& value) { return file.read(value); }));
    all.push_back(takes("A record that claims too much", Format::Binary, count(~0ull) + "abc", String("before")));
}

void addBlocks(Scenarios& all) {
    const auto take = [](File& file, auto& value) { return file.read(value, Compression::Zstd); };
    for (const Compression kind : kKinds) {
        for (const Format format : kFormats) {
            const std::string of = "A block of " + nameOf(kind);
            all.push_back(
                puts(of, format, [kind](File& file) { return file.write(kWords.data(), kWords.size(), kind); }));
            all.push_back(puts(of + " of one byte", format, [kind](File& file) { return file.write("b", 1, kind); }));
            const std::string content = block(format, kWords, kind);
            all.push_back(takes(of + " into a Vector", format, content, bytesOf("before"), Vector(), take));
            all.push_back(takes(of + " into a std::vector", format, content, std::vector<unsigned char>(7),
                                std::vector<unsigned char>(), take));
            const std::vector<unsigned char> before(kWords.size(), 'b');
            all.push_back(takes(of + " into a span", format, content, before, before,
                                [](File& file, std::vector<unsigned char>& value) {
                                    return file.read(std::span(value), Compression::Zstd);
                                }));
            all.push_back(takes(of + " that is damaged", format,
                                content.substr(0, content.size() / 2) + std::string(content.size() / 2, '!'),
                                bytesOf("before"), Vector(), take));
        }
        all.push_back(takes("A block of " + nameOf(kind) + " that grows", Format::Binary,
                            block(Format::Binary, std::string(20 * kMiB, 'z'), kind), Vector(), Vector(), take));
    }
    const auto takeAsItIs = [](File& file, auto& value) { return file.read(value, Compression::None); };
    for (const Format format : kFormats) {
        all.push_back(takes("A whole file as it stands", format, kHuge, Vector(), Vector(), takeAsItIs));
        all.push_back(takes("A whole file as it stands into a std::vector", format, kHuge, std::vector<unsigned char>(),
                            std::vector<unsigned char>(), takeAsItIs));
        all.push_back(takes("No block", format, "no block", bytesOf("before"), Vector(), take));
    }
    all.push_back({"Taking a block apart", "", [](Run& run) {
                       Vector data = bytesOf(block(Format::Binary, kWords, Compression::Zlib));
                       // In memory, the two lengths are in the order of the host.
                       if constexpr (std::endian::native == std::endian::big) {
                           std::reverse(data.begin() + 3, data.begin() + 11);
                           std::reverse(data.begin() + 12, data.begin() + 20);
                       }
                       Compression kind;
                       unsigned long payloadSize, size;
                       unsigned char* payload = nullptr;
                       bool done = false;
                       run.refused([&] { done = File::decodeRawFileData(data, kind, payloadSize, size, payload); });
                       EXPECT_TRUE(done);
                       EXPECT_EQ(size, kWords.size());
                   }});
}

void addArrays(Scenarios& all) {
    static std::vector<double> numbers(1000, 0.1);
    static std::vector<unsigned char> bytes(5000, 'x');
    for (const Format format : kFormats) {
        all.push_back(puts("An array of numbers", format,
                           [](File& file) { return file.write(bufRef(std::span(numbers)), true); }));
        all.push_back(
            puts("An array of bytes", format, [](File& file) { return file.write(bufRef(std::span(bytes)), true); }));
        for (const bool compress : {false, true}) {
            all.push_back(puts("An array of bytes with gaps", format, [compress](File& file) {
                return file.write(BufRef{bytes.data(), DataType::Rgba8, 800, 6}, compress);
            }));
        }
        all.push_back(puts("An array of pointers", format, [](File& file) {
            return file.write(BufRef{numbers.data(), DataType::Ptr, 100}, false);
        }));
        all.push_back(puts("What is no array", format, [](File& file) { return file.write(BufRef{}, false); }));

        const std::string stored = written(format, [](File& file) { file.write(bufRef(std::span(bytes)), true); }).raw;
        const std::vector<unsigned char> before(5000, 'b');
        const auto takeBytes = [](File& file, std::vector<unsigned char>& value) {
            return file.read(bufRef(std::span(value)));
        };
        all.push_back(takes("An array of bytes", format, stored, before, before, takeBytes));
        all.push_back(takes("An array of bytes whose block is damaged", format, stored + "!", before, before,
                            [](File& file, std::vector<unsigned char>& value) {
                                char dot;
                                return file.read(dot) && file.seek(1) == 1 && file.read(bufRef(std::span(value)));
                            }));
        all.push_back(takes("An array of bytes with gaps, as they stand", format, "abcdefgh", before, before,
                            [](File& file, std::vector<unsigned char>& value) {
                                return file.read(BufRef{value.data(), DataType::Rgb8, 2, 4});
                            }));
        all.push_back(takes("An array of pointers", format, "1 2 3", std::vector<double>(1), std::vector<double>(1),
                            [](File& file, std::vector<double>& value) {
                                return file.read(BufRef{value.data(), DataType::Ptr, 1});
                            }));
    }
    const auto takeNumbers = [](File& file, std::vector<double>& value) { return file.read(bufRef(std::span(value))); };
    const std::vector<double> one(1, -1);
    all.push_back(takes("A number of many digits", Format::Text, std::string(400, '0') + "1 ", one, one, takeNumbers));
    // It comes in long pieces and a short one, which is a number too.
    for (const std::size_t size : {kHuge.size(), 2 * kMiB + 100}) {
        all.push_back(takes("A number longer than a chunk", Format::Text, '-' + std::string(size, '0') + "2 ", one, one,
                            takeNumbers));
    }
    const std::vector<double> two(2, -1);
    all.push_back(takes("A number across the end of a chunk", Format::Text,
                        std::string(kMiB - 30, '0') + "1 " + std::string(100, '0') + "2 ", two, two,
                        [](File& file, std::vector<double>& value) {
                            // Of two numbers the first may be read and the second not.
                            const bool done = file.read(bufRef(std::span(value)));
                            if (!done) value.assign(value.size(), -1);
                            return done;
                        }));
}

const String kLongText(kLong.c_str());

void addStrings(Scenarios& all) {
    const auto makes = [&all](const char* name, String (*make)()) {
        const String right = make();
        all.push_back({name, "", [=](Run& run) {
                           String text;
                           run.refused([&] { text = make(); });
                           EXPECT_TRUE(text == right || (run.met && text.isEmpty())) << text;
                       }});
    };
    makes("A String of short text", [] { return String("abc"); });
    makes("A String of long text", [] { return String(kLong.c_str()); });
    makes("A String of so many characters", [] { return String(kLong.c_str(), 250); });
    makes("Two texts joined", [] { return String("left ") + kLong.c_str(); });
    makes("Two Strings joined", [] { return kLongText + kLongText; });
    makes("A formatted text", [] { return String::format("%s and %d", "a text", 7); });
    makes("A long formatted text", [] { return String::format("%s and %d", kLong.c_str(), 7); });
    makes("A number as text", [] { return String::format(0.1) + String::format(-5, String::Radix::Binary); });
    makes("A truth value as text", [] { return String::format(true); });

    // An operation that changes a text says so if it did not, and keeps it.
    const auto changes = [&all](const char* name, bool (*change)(String&)) {
        String right(kLong.c_str());
        EXPECT_TRUE(change(right)) << name;
        all.push_back({name, "", [=](Run& run) {
                           String text(kLong.c_str());
                           const String shared(text);
                           bool done = false;
                           run.refused([&] { done = change(text); });
                           EXPECT_TRUE(done ? text == right : text == shared) << text;
                           EXPECT_TRUE(done || run.met);
                           EXPECT_EQ(shared, kLong.c_str());
                       }});
    };
    changes("A text assigned", [](String& text) { return text.assign(kHuge); });
    changes("A text appended", [](String& text) { return text.append(kHuge); });
    changes("A text appended to itself", [](String& text) { return text.append(text.view()); });
    changes("A text formatted in place", [](String& text) { return print(text, "%400d", 7); });
    changes("A text truncated", [](String& text) { return text.truncate(250); });
    all.push_back({"A text that grows", "", [](Run& run) {
                       String text;
                       std::size_t length = 0;
                       run.refused([&] {
                           for (int i = 0; i < 3000; ++i) length += text.append("0123456789") ? 10 : 0;
                       });
                       EXPECT_EQ(text.length(), length);
                   }});
    all.push_back({"Numbers parsed", "", [](Run& run) {
                       const String text("12.5");
                       double value = 0;
                       int whole = 3;
                       bool done = false;
                       run.refused([&] { done = String::parse(text, value) && !String::parse(text, whole); });
                       EXPECT_TRUE(done);
                       EXPECT_EQ(value, 12.5);
                       EXPECT_EQ(whole, 3);
                   }});
    all.push_back({"A StringIO", "", [](Run& run) {
                       StringIO builder;
                       builder << "before";
                       StringIO copy = builder;
                       bool done = true;
                       run.refused([&] {
                           done = builder.append(kLong);
                           copy << kLong.c_str();
                           copy = String("after");
                       });
                       EXPECT_EQ(builder.buf(), done ? "before" + kLong : "before"s);
                       EXPECT_TRUE(copy.buf() == "after"s || (run.met && copy.isEmpty()));
                   }});
}

void addPaths(Scenarios& all) {
    for (const char* name : {"a", "missing", "loop", "x/../a", "./x/y/../../x/../a"}) {
        all.push_back({"The path "s + name, "content", [name](Run& run) {
                           std::error_code ignored;
                           stdfs::create_directories(run.files.path("x/y"), ignored);
                           stdfs::create_symlink("loop", run.files.path("loop"), ignored);
                           const String given = run.files.path(name).c_str();
                           const std::string canonical =
                               stdfs::weakly_canonical(run.files.path(name), ignored).string();
                           bool isFile = false;
                           String found;
                           run.refused([&] {
                               const Path path(given, true);
                               isFile = path.isFile();
                               found = path.canonical();
                           });
                           // A question that cannot be answered is answered as if there were no such file.
                           EXPECT_TRUE(run.met || isFile == stdfs::is_regular_file(run.files.path(name), ignored));
                           EXPECT_TRUE(found == given || found == canonical.c_str()) << found;
                       }});
    }
}

void addVectors(Scenarios& all) {
    all.push_back({"A Vector resized", "", [](Run& run) {
                       Vector bytes = bytesOf("abc");
                       bool done = false;
                       run.refused([&] { done = bytes.resize(5000); });
                       EXPECT_EQ(done, !run.met);
                       EXPECT_EQ(bytes.size(), done ? 5000u : 3u);
                       EXPECT_EQ(bytes[2], 'c');
                   }});
    all.push_back({"A Vector appended to", "", [](Run& run) {
                       ds::Vector<int> numbers;
                       std::size_t size = 0;
                       run.refused([&] {
                           for (int i = 0; i < 1000; ++i) size += numbers.append(i);
                       });
                       EXPECT_EQ(numbers.size(), size);
                       EXPECT_EQ(size == 1000, !run.met);
                   }});
    all.push_back({"A Vector of Vectors", "", [](Run& run) {
                       ds::Vector<ds::Vector<char>> tokens;
                       std::size_t size = 0;
                       run.refused([&] {
                           for (int i = 0; i < 40; ++i) {
                               ds::Vector<char> token;
                               for (int k = 0; k < 20; ++k) static_cast<void>(token.append('x'));
                               size += tokens.append(std::move(token));
                           }
                       });
                       EXPECT_EQ(tokens.size(), size);
                   }});
    all.push_back({"A Vector that gives back room", "", [](Run& run) {
                       Vector bytes;
                       for (const char c : "some bytes"s) bytes.append(static_cast<unsigned char>(c));
                       run.refused([&] { bytes.shrinkToFit(); });
                       EXPECT_TRUE(bytes == bytesOf("some bytes"));
                       EXPECT_EQ(bytes.capacity() == bytes.size(), !run.met);
                   }});
    all.push_back({"A Vector copied", "", [](Run& run) {
                       const Vector bytes = bytesOf("some bytes");
                       Vector copy = bytesOf("before");
                       bool thrown = false;
                       run.refused([&] {
                           try {
                               copy = bytes;
                           } catch (const std::bad_alloc&) {  // as its documentation says of copying alone
                               thrown = true;
                           }
                       });
                       EXPECT_EQ(thrown, run.met);
                       EXPECT_TRUE(copy == (thrown ? bytesOf("before") : bytes));
                   }});
}

void addCodecs(Scenarios& all) {
    struct Content {
        const char* name;
        std::string bytes;
    };
    const Content contents[] = {{"a byte", "b"}, {"words", kWords}, {"a long run", std::string(20 * kMiB, 'r')}};
    for (const Compression kind : kKinds) {
        for (const bool asText : {false, true}) {
            for (const auto& [name, bytes] : contents) {
                const std::string of = nameOf(kind) + (asText ? ", as text, of " : " of ") + name;
                const Vector right = compressed(bytes, asText, kind);
                if (bytes.size() < kMiB) {
                    all.push_back({"Compressing to " + of, "", [=, content = bytes](Run& run) {
                                       Vector payload;
                                       run.refused([&] { payload = compressed(content, asText, kind); });
                                       EXPECT_TRUE(payload == right || (run.met && payload.isEmpty()));
                                   }});
                }
                const std::size_t size = bytes.size();
                all.push_back({"Decompressing " + of, "", [=](Run& run) {
                                   Vector content;
                                   run.refused([&] { content = decompress(right, asText, size); });
                                   EXPECT_EQ(content.size(), run.met ? 0 : size);
                               }});
            }
        }
    }
}

// Everything that a file can hold, one after the other.
bool putsAll(File& file) {
    static std::vector<float> numbers(300, 0.25f);
    file << 7 << 'c' << 0.1 << "text" << kLong.c_str() << math::Vec3d(1, 2, 3) << bufRef(std::span(numbers)) << ' ';
    file.printLn("%d %s", 5, kLong.c_str());
    for (const Compression kind : kKinds) file.write(kWords.data(), 5000, kind);
    return file.ok();
}

struct Everything {
    int number = 0;
    char character = 0;
    double fraction = 0;
    String text, longText, line;
    math::Vec3d vector;
    std::vector<float> numbers = std::vector<float>(300);
    Vector blocks[3];

    bool take(File& file) {
        file >> number >> character >> fraction >> text >> longText >> vector >> bufRef(std::span(numbers));
        char space = 0;
        file >> space >> line;
        for (Vector& one : blocks) file.read(one, Compression::Lz4);
        return file.ok();
    }
    friend bool operator==(const Everything&, const Everything&) = default;
};

// Many values, one after the other, up to the first that cannot be held. From the next one on they can be read again.
template <typename T, typename Take>
Scenario takesMany(const std::string& name, Mode mode, Format format, const std::vector<std::string>& stored,
                   const std::vector<T>& right, Take take) {
    std::string content;
    std::vector<std::int64_t> starts;
    for (const std::string& one : stored) {
        starts.push_back(static_cast<std::int64_t>(content.size()));
        content += one;
    }
    return {name + in(format), content, [=](Run& run) {
                File file = opened(run.files.path("a"), mode, format);
                std::vector<T> values(right.size());
                std::size_t read = 0;
                run.refused([&] {
                    while (read < values.size() && take(file, values[read])) ++read;
                });
                EXPECT_TRUE(read == values.size() || run.met);
                const std::size_t refused = read;
                EXPECT_TRUE(refused == values.size() || isSame(values[refused], T()));
                for (; read < values.size(); ++read) {
                    if (read == refused) file.seek(starts[read]);
                    EXPECT_TRUE(take(file, values[read]));
                }
                for (std::size_t i = 0; i < values.size(); ++i) EXPECT_TRUE(isSame(values[i], right[i])) << i;
            }};
}

template <typename Text>
Scenario takesManyTexts(const char* name, Mode mode) {
    std::vector<std::string> stored;
    std::vector<Text> right;
    for (int i = 0; i < 100; ++i) {
        const std::string text = std::to_string(i) + kLong;
        stored.push_back(record(text));
        right.emplace_back() = String(text.c_str()).buf();
    }
    return takesMany(name, mode, Format::Binary, stored, right, [](File& file, Text& text) { return file.read(text); });
}

Scenario takesManyBlocks(Format format) {
    std::vector<std::string> stored;
    std::vector<Vector> right;
    for (int i = 0; i < 60; ++i) {
        const std::string content = std::to_string(i) + kWords.substr(0, 500);
        stored.push_back(block(format, content, kKinds[i % 3]));
        right.push_back(bytesOf(content));
    }
    return takesMany("Many blocks", Mode::Read, format, stored, right,
                     [](File& file, Vector& content) { return file.read(content, Compression::Lz4); });
}

// What is refused on the way of a program leaves its files fit for use.
void addPrograms(Scenarios& all) {
    all.push_back(takesManyTexts<String>("Many records into Strings", Mode::Read));
    all.push_back(takesManyTexts<std::string>("Many records into std::strings", Mode::Read));
    all.push_back(takesManyTexts<StringIO>("Many records into StringIOs", kSeven));
    for (const Format format : kFormats) all.push_back(takesManyBlocks(format));
    all.push_back({"Many lines", "", [](Run& run) {
                       File file = opened(run.files.path("b"), Mode::Write, Format::Text);
                       std::string expected;
                       bool done[100] = {};
                       run.refused([&] {
                           for (int i = 0; i < 100; ++i) done[i] = file.printLn("%d %s", i, kLong.c_str());
                       });
                       for (int i = 0; i < 100; ++i) {
                           if (done[i]) expected += std::to_string(i) + ' ' + kLong + '\n';
                       }
                       EXPECT_TRUE(file.ok() || run.met);
                       EXPECT_TRUE(file.close());
                       EXPECT_EQ(run.files.content("b"), Bytes{expected});
                   }});
    for (const Format format : kFormats) {
        const Bytes whole = written(format, [](File& file) { putsAll(file); });
        all.push_back({"A program that writes" + in(format), "", [=](Run& run) {
                           const String path = run.files.path("b").c_str();
                           File file;
                           bool done = false;
                           run.refused(
                               [&] { done = file.open(path, Mode::Write, format) && putsAll(file) && file.close(); });
                           EXPECT_TRUE(done || run.met);
                           EXPECT_TRUE(!done || run.files.content("b") == whole);
                           EXPECT_TRUE(file.open(path, Mode::Write, format) && putsAll(file) && file.close());
                           EXPECT_EQ(run.files.content("b"), whole);
                       }});
    }
    const std::string content = written(Format::Binary, [](File& file) { putsAll(file); }).raw;
    all.push_back({"A program that reads", content, [](Run& run) {
                       const String path = run.files.path("a").c_str();
                       File file;
                       Everything once, again;
                       bool done = false;
                       run.refused([&] { done = file.open(path, Mode::Read, Format::Binary) && once.take(file); });
                       EXPECT_TRUE(done || run.met);
                       file.seek(0);
                       EXPECT_TRUE(again.take(file));
                       EXPECT_EQ(again.blocks[2].size(), 5000u);
                       EXPECT_TRUE(!done || once == again);
                   }});
}

TEST(RefusedMemory, IsToldAndChangesNothing) {
    Scenarios all;
    addOpening(all);
    addMoving(all);
    addNumbersAndTexts(all);
    addBlocks(all);
    addArrays(all);
    addStrings(all);
    addPaths(all);
    addVectors(all);
    addCodecs(all);
    addPrograms(all);

    std::uint64_t runs = 0;
    for (const Scenario& scenario : all) {
        runs += playsInEveryWay(scenario);
        ASSERT_FALSE(HasFailure()) << scenario.name;
    }
    figure("scenarios without memory", all.size(), 60);
    figure("runs with memory refused", runs, isThorough() ? 30'000 : 3'000);
}

// There is a reserve for so many texts. Whoever comes after that is told no figures, but still that it failed.
TEST(RefusedMemory, IsToldEvenWhereNothingIsLeftForTheText) {
    const TestFolder files;
    const String path = files.make("short", "").c_str();
    std::vector<File> beyond(80);
    for (File& file : beyond) {
        ASSERT_TRUE(file.open(path, Mode::Read, Format::Binary));
        ASSERT_EQ(file.seek(1), 1u);
    }
    bool done = false;
    {
        const RefusedRequests all(1, true);
        char value;
        for (File& file : beyond) done = file.read(value) || done;
    }
    EXPECT_FALSE(done);
    EXPECT_EQ(beyond.front().error(), "Fread failed. Requested 18446744073709551615, read 0.");
    EXPECT_EQ(beyond.back().error(), "Out of memory.");
}

}  // namespace
}  // namespace qor::test
