// A File works before main, from the static initialiser of another source than the library's.
#include "file/contents.h"
#include "file/written_before_main.h"

namespace qor::test {
namespace {

TEST(BeforeMain, EveryWriteAndEveryCloseSucceeded) { EXPECT_TRUE(writtenBeforeMain.done); }

TEST(BeforeMain, ABinaryFileHasItsLowBytesFirst) {
    EXPECT_EQ(contentOf(writtenBeforeMain.folder + "/binary"),
              "02 01 00 00  00 00 00 00 00 00 f0 3f  03 00 00 00 00 00 00 00  61 62 63"_bytes);
}

TEST(BeforeMain, ATextFileHasItsNumbersAsText) {
    EXPECT_EQ(contentOf(writtenBeforeMain.folder + "/text"), Bytes{"5 0.5true"});
}

TEST(BeforeMain, AnErrorHasItsText) { EXPECT_EQ(writtenBeforeMain.refusedRead, "Cannot write while in write mode."); }

}  // namespace
}  // namespace qor::test
