// Whatever the bytes, as a binary file they are the records that stand there, up to the first that is cut, which
// changes nothing; as a text file they are one text. Memory is taken for what there is. What is read is written as it
// stood.
#include <string>

#include "fuzz/memory_disk.h"
#include "qor/core/string_io.h"

namespace qor::fuzz {
namespace {

std::string upToZero(View bytes) {
    const std::string all(bytes.begin(), bytes.end());
    return all.substr(0, all.find('\0'));
}

// The records from the front of a file.
class Records {
 public:
    explicit Records(View file) : bytes(file) {}

    bool next(std::string& text) {
        if (bytes.size() - at < 8) return false;
        count = Choices(bytes.subspan(at)).number(8);
        at += 8;
        if (count > bytes.size() - at) return false;
        text = upToZero(bytes.subspan(at, count));
        at += count;
        return true;
    }

    /// Of the latest record, the zero byte and what is behind it included.
    std::uint64_t characters() const { return count; }

    std::size_t taken() const { return at; }

 private:
    View bytes;
    std::size_t at = 0;
    std::uint64_t count = 0;
};

// Reads a text, three ways in turn, and gives whether that was done. `kept` is what the variable holds before, and
// then what it holds after.
bool readText(File& file, unsigned way, std::string& kept) {
    if (way % 3 == 0) {
        String text = kept.c_str();
        const bool done = file.read(text);
        kept = text.view();
        return done;
    }
    if (way % 3 == 1) {
        StringIO text;
        text << kept.c_str();
        const bool done = file.read(text);
        kept = text.buf();
        return done;
    }
    return file.read(kept);
}

void readRecords(View input) {
    TriedFile tried(input, File::Format::Binary);
    Records records(tried.bytes);
    std::vector<std::string> texts;
    for (unsigned way = 0;; ++way) {
        std::string kept = "kept";
        bool done = false;
        const std::size_t peak = test::peakOf([&] { done = readText(tried.file, way, kept); });
        require(peak <= tried.mostMemory(), "memory is taken for what there is");
        tried.requireReason(done);
        require(done || kept == "kept", "what cannot be read changes nothing");
        if (!tried.isMeasured()) {
            if (done) continue;
            return;
        }
        std::string wanted;
        require(records.next(wanted) == done, "a record is read exactly if it is whole");
        require(tried.taken() == records.taken(), "just the record is consumed");
        if (!done) break;
        texts.push_back(wanted);
        if (way % 3 == 1 && records.characters() > 0) wanted = "kept" + wanted;
        require(kept == wanted, "a record gives its characters");
    }
    require(tried.file.error() == kBeyond, "the text says that the file ends");

    const auto file = written(File::Format::Binary, [&](File& out) {
        for (const std::string& text : texts) out.write(std::string_view(text));
    });
    Records again(file);
    for (const std::string& text : texts) {
        std::string same;
        require(again.next(same) && same == text, "what is written is its record");
    }
    require(again.taken() == file.size(), "nothing else is written");
}

void readWhole(View input) {
    TriedFile tried(input, File::Format::Text);
    if (tried.start > 0) return;  // the text would be that of what lies before
    String whole;
    const std::size_t peak = test::peakOf([&] { whole = tried.file.read(); });
    require(peak <= tried.mostMemory(), "memory is taken for what there is");
    require(tried.taken() == 0, "the position stays");
    if (!tried.isMeasured()) {
        require(whole.isEmpty() && tried.file.error() == "Failed to read file.",
                "a file of no known length is no text");
        return;
    }
    const std::string wanted = upToZero(tried.bytes);
    require(whole.view() == wanted && tried.file.ok(), "a text file is the characters up to the first zero byte");
    for (unsigned way = 0; way < 3; ++way) {
        std::string text = "kept";
        require(readText(tried.file, way, text) == !wanted.empty(), "no characters are no text");
        require(text == wanted, "a text is the same however it is read");
    }
    const auto file = written(File::Format::Text, [&](File& out) { out << whole; });
    require(std::string(file.begin(), file.end()) == wanted, "a text is written as it stands");
}

}  // namespace
}  // namespace qor::fuzz

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    qor::fuzz::readRecords({data, size});
    qor::fuzz::readWhole({data, size});
    return 0;
}
