// One file, several handles. Nothing is locked: each has a stream and a staging buffer of its own.
#include <gtest/gtest.h>

#include "platform/platform.h"

namespace qor::test {
namespace {

class SharedFile : public WithFiles {
 protected:
    const std::string path = files.path("a");
};

TEST_F(SharedFile, OpenedTwiceForWritingIsEmptiedAndHoldsWhatWasWrittenLast) {
    File first = opened(path, Mode::Write, Format::Text);
    first << "first";
    EXPECT_TRUE(first.flush());
    File second = opened(path, Mode::Write, Format::Text);
    EXPECT_EQ(files.content("a").raw, "");
    second << "2nd";
    EXPECT_EQ(after(second.close(), second), (Outcome{true, "", 0, 0, true}));
    EXPECT_EQ(files.content("a").raw, "2nd");

    // The first goes on where it stood.
    EXPECT_EQ(after(first.write(", and more"), first), (Outcome{true, "", 0, 15, true}));
    EXPECT_EQ(after(first.close(), first), (Outcome{true, "", 0, 0, true}));
    EXPECT_EQ(files.content("a").raw, std::string("2nd\0\0, and more", 15));
}

TEST_F(SharedFile, IsReadAsFarAsItWasFlushedWhenItWasOpened) {
    File writer = opened(path, Mode::Write, Format::Text);
    writer << "staged";
    File reader;
    EXPECT_EQ(afterOpen(reader, path, Mode::Read, Format::Text), (Outcome{true, "", 0, 0, true}));
    EXPECT_TRUE(writer.flush());
    EXPECT_EQ(reader.read(), "");

    EXPECT_EQ(afterOpen(reader, path, Mode::Read, Format::Text), (Outcome{true, "", 6, 0, false}));
    writer << ", and more";
    EXPECT_TRUE(writer.flush());
    EXPECT_EQ(reader.read(), "staged");
    EXPECT_EQ(after(true, reader), (Outcome{true, "", 6, 0, false}));
}

TEST_F(SharedFile, IsReadInWholeBuffersWhileItIsWritten) {
    const std::string bytes = pattern(kMiB + 1);
    File writer = opened(path, Mode::Write, Format::Binary);
    for (const char c : bytes) ASSERT_TRUE(writer.write(c));
    File reader;
    EXPECT_EQ(afterOpen(reader, path, Mode::Read), (Outcome{true, "", kMiB, 0, false}));
    EXPECT_TRUE(writer.close());
    EXPECT_EQ(afterOpen(reader, path, Mode::Read), (Outcome{true, "", kMiB + 1, 0, false}));
}

TEST_F(SharedFile, EmptiedByAWriterFailsItsReader) {
    files.make("a", pattern(kMiB));
    File reader = opened(path, Mode::Read, Format::Binary);
    const File writer = opened(path, Mode::Write, Format::Binary);
    char c = '-';
    EXPECT_EQ(after(reader.read(c), reader),
              (Outcome{false, "Fread failed. Requested 1048576, read 0.", kMiB, 0, false}));
    EXPECT_EQ(c, '-');
}

TEST_F(SharedFile, IsReadByManyAtPositionsOfTheirOwn) {
    files.make("a", "abc");
    File first = opened(path, Mode::Read, Format::Binary);
    File second = opened(path, Mode::Read, Format::Binary);
    EXPECT_EQ(second.seek(2), 2u);
    char c = '-';
    EXPECT_EQ(after(first.read(c), first), (Outcome{true, "", 3, 1, false}));
    EXPECT_EQ(c, 'a');
    EXPECT_EQ(after(second.read(c), second), (Outcome{true, "", 3, 3, true}));
    EXPECT_EQ(c, 'c');
}

TEST_F(SharedFile, IsReadBackByTheHandleThatWroteIt) {
    File file = opened(path, Mode::Write, Format::Text);
    file << "abc";
    EXPECT_EQ(afterOpen(file, path, Mode::Read, Format::Text), (Outcome{true, "", 3, 0, false}));
    EXPECT_EQ(file.read(), "abc");
}

}  // namespace
}  // namespace qor::test
