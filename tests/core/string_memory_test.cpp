// string.h where memory is refused: what is still told, what is kept, and which operations ask for none.
//
// A program of its own: it replaces the operator new that String takes its memory from.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <limits>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "qor/core/number_text.h"
#include "qor/core/string.h"
#include "qor/core/string_io.h"

namespace {

// The largest request that is granted, and how many were made.
std::atomic<std::size_t> largestGranted = std::numeric_limits<std::size_t>::max();
std::atomic<int> requests = 0;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++requests;
    if (size > largestGranted) return nullptr;
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace qor::test {
namespace {

constinit StaticText kGreeting("hello");

constexpr std::size_t kReserveText = 200;

const std::string kShort(kReserveText, 's');
const std::string kLong(kReserveText + 1, 'l');

// As long as it lives, requests of more than `bytes` bytes are refused.
class MemoryLimit {
 public:
    explicit MemoryLimit(std::size_t bytes) { largestGranted = bytes; }
    ~MemoryLimit() { largestGranted = std::numeric_limits<std::size_t>::max(); }
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;
};

// The requests that `work` makes.
template <typename Work>
int requestsOf(Work work) {
    const int before = requests;
    work();
    return requests - before;
}

// Fills the reserve. Each text is another one.
std::vector<String> allOfTheReserve() {
    std::vector<String> texts;
    for (;;) {
        const std::string text = "text " + std::to_string(texts.size());
        String made(text.c_str());
        if (made.isEmpty()) return texts;
        texts.push_back(made);
    }
}

bool assignFormat(String& text, const char* fmt, ...) {
    std::va_list args;
    va_start(args, fmt);
    const bool done = text.assignFormat(fmt, args);
    va_end(args);
    return done;
}

// ---- What asks for no memory ----------------------------------------------------------------------------------------

TEST(WithoutMemory, TheEmptyTextTakesNone) {
    EXPECT_EQ(requestsOf([] {
                  String text;
                  text = "";
                  text.append("");
                  EXPECT_EQ(String(""), String(nullptr, 0));
                  EXPECT_STREQ(text.buf(), "");
              }),
              0);
}

TEST(WithoutMemory, StaticTextTakesNone) {
    EXPECT_EQ(requestsOf([] {
                  const String text(kGreeting);
                  const String copy(text);
                  EXPECT_EQ(copy, "hello");
              }),
              0);
}

TEST(WithoutMemory, SharingTakesNone) {
    const String text("abc");
    String other("x");
    EXPECT_EQ(requestsOf([&] {
                  const String copy(text);
                  other = copy;
              }),
              0);
    EXPECT_EQ(other, "abc");
}

TEST(WithoutMemory, ChangingInPlaceTakesNone) {
    String text(kLong.c_str());
    EXPECT_EQ(requestsOf([&] {
                  EXPECT_TRUE(text.assign("abc"));
                  EXPECT_TRUE(text.append("def"));
                  text = "ghi";
                  EXPECT_TRUE(assignFormat(text, "%s%d", "jkl", 78));
                  EXPECT_TRUE(text.truncate(4));
              }),
              0);
    EXPECT_EQ(text, "jkl7");
}

TEST(WithoutMemory, ParsingAndComparingTakeNone) {
    const String text("12.5");
    double value = 0;
    EXPECT_EQ(requestsOf([&] {
                  EXPECT_TRUE(String::parse(text, value));
                  EXPECT_TRUE(text == "12.5" && text < "13");
              }),
              0);
    EXPECT_EQ(value, 12.5);
}

TEST(WithoutMemory, NumbersAsTextTakeNone) {
    char text[kMaxNumberText];
    double value = 0;
    EXPECT_EQ(requestsOf([&] {
                  const char* const end = formatNumber(text, -2.2250738585072014e-308);
                  EXPECT_TRUE(parseNumber({text, static_cast<std::size_t>(end - text)}, value));
              }),
              0);
    EXPECT_EQ(value, -2.2250738585072014e-308);
}

TEST(WithoutMemory, ManySmallAdditionsAskForLittle) {
    String text;
    EXPECT_LE(requestsOf([&] {
                  for (int i = 0; i < 100000; ++i) text.append("x");
              }),
              20);
    EXPECT_EQ(text.length(), 100000U);
}

TEST(WithoutMemory, ATextTakesItsMemoryAtOnce) {
    EXPECT_EQ(requestsOf([] { EXPECT_EQ(String(kLong.c_str()).length(), kLong.size()); }), 1);
    EXPECT_EQ(requestsOf([] { EXPECT_EQ(String::format("%0300d", 7).length(), 300U); }), 1);
    EXPECT_EQ(requestsOf([] { EXPECT_EQ(String::format(12345L), "12345"); }), 1);
}

// ---- Where memory is refused ----------------------------------------------------------------------------------------

TEST(MemoryRefused, ShortTextsAreMadeAllTheSame) {
    const MemoryLimit limit(0);
    EXPECT_EQ(String("abc"), "abc");
    EXPECT_EQ(String(kShort.c_str()), kShort.c_str());
    EXPECT_EQ(String("Fwrite failed. ") + "fflush failed.", "Fwrite failed. fflush failed.");
    EXPECT_EQ(String::format("Requested %llu, read %llu.", 18446744073709551615ULL, 7ULL),
              "Requested 18446744073709551615, read 7.");
    EXPECT_EQ(String::format(-1.5), "-1.5");
}

TEST(MemoryRefused, TheLongestTextOfTheReserveIsAPromise) { EXPECT_EQ(String::kReserveText, kReserveText); }

TEST(MemoryRefused, LongTextsBecomeTheEmptyText) {
    const MemoryLimit limit(0);
    EXPECT_TRUE(String(kLong.c_str()).isEmpty());
    EXPECT_TRUE((String(kShort.c_str()) + "x").isEmpty());
    EXPECT_TRUE((String(kShort.c_str()) + String(kGreeting)).isEmpty());
    EXPECT_TRUE(String::format("%0201d", 7).isEmpty());
    EXPECT_TRUE(String::format("%0300d", 7).isEmpty());
}

TEST(MemoryRefused, AssigningALongTextByTheOperatorLeavesTheEmptyText) {
    String text("before");
    const MemoryLimit limit(0);
    text = kLong.c_str();
    EXPECT_TRUE(text.isEmpty());
}

TEST(MemoryRefused, AssignKeepsTheOldTextAndReturnsFalse) {
    String text("before");
    const MemoryLimit limit(0);
    EXPECT_FALSE(text.assign(kLong));
    EXPECT_EQ(text, "before");
}

TEST(MemoryRefused, AppendKeepsTheOldTextAndReturnsFalse) {
    String text("before");
    const MemoryLimit limit(0);
    EXPECT_FALSE(text.append(kLong));
    EXPECT_EQ(text, "before");
}

TEST(MemoryRefused, AssignFormatKeepsTheOldTextAndReturnsFalse) {
    String text("before");
    const MemoryLimit limit(0);
    EXPECT_FALSE(assignFormat(text, "%0201d", 7));
    EXPECT_EQ(text, "before");
    EXPECT_FALSE(assignFormat(text, "%0300d", 7));
    EXPECT_EQ(text, "before");
}

TEST(MemoryRefused, MakeRoomKeepsTheOldTextAndReturnsNull) {
    String text("before");
    const MemoryLimit limit(0);
    EXPECT_EQ(text.makeRoom(kLong.size()), nullptr);
    EXPECT_EQ(text, "before");
    EXPECT_NE(text.makeRoom(kShort.size()), nullptr);
    EXPECT_EQ(text.length(), kShort.size());
}

TEST(MemoryRefused, TruncateOfASharedTextKeepsAllOfItAndReturnsFalse) {
    String text((kLong + "tail").c_str());
    const String copy(text);
    const MemoryLimit limit(0);
    EXPECT_FALSE(text.truncate(kLong.size()));
    EXPECT_EQ(text, copy);
    EXPECT_TRUE(text.truncate(kShort.size())) << "from the reserve";
    EXPECT_EQ(text.length(), kShort.size());
    EXPECT_EQ(copy.length(), kLong.size() + 4);
}

TEST(MemoryRefused, ASharedTextIsKeptByBoth) {
    String text(kLong.c_str());
    const String copy(text);
    const MemoryLimit limit(0);
    EXPECT_FALSE(text.append("x"));
    EXPECT_FALSE(text.assign(kLong + "x"));
    EXPECT_EQ(text, kLong.c_str());
    EXPECT_EQ(copy, kLong.c_str());
}

TEST(MemoryRefused, TheStringBuilderKeepsItsContentAndAppendTells) {
    StringIO text;
    text << "before";
    const MemoryLimit limit(0);
    EXPECT_FALSE(text.append(kLong));
    text << kLong.c_str();
    EXPECT_STREQ(text.buf(), "before");
    EXPECT_TRUE(text.append(" and after"));
    EXPECT_STREQ(text.buf(), "before and after");
}

TEST(MemoryRefused, AnAdditionTakesJustWhatItNeedsWhereTwiceTheRoomIsRefused) {
    String text(std::string(10000, 'x').c_str());
    const MemoryLimit limit(15000);
    EXPECT_TRUE(text.append("y"));
    EXPECT_EQ(text, (std::string(10000, 'x') + "y").c_str());
}

TEST(MemoryRefused, AShortAdditionComesFromTheReserveWhereTwiceTheRoomIsTooMuchForIt) {
    String text(std::string(150, 'x').c_str());
    const MemoryLimit limit(0);
    EXPECT_TRUE(text.append("y"));
    EXPECT_EQ(text, (std::string(150, 'x') + "y").c_str());
}

// ---- The reserve ----------------------------------------------------------------------------------------------------

TEST(Reserve, CanBeUsedUp) {
    const MemoryLimit limit(0);
    const std::vector<String> texts = allOfTheReserve();
    EXPECT_GE(texts.size(), 16U) << "too few for a program with some open files";
    EXPECT_LE(texts.size(), 1000U) << "a small reserve";
    EXPECT_TRUE(String("one too many").isEmpty());
}

TEST(Reserve, GivesEachTextItsOwnPlace) {
    const MemoryLimit limit(0);
    const std::vector<String> texts = allOfTheReserve();
    std::set<const char*> places;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(texts[i], ("text " + std::to_string(i)).c_str());
        places.insert(texts[i].buf());
    }
    EXPECT_EQ(places.size(), texts.size());
}

TEST(Reserve, ComesBackAsTextsGo) {
    const MemoryLimit limit(0);
    std::vector<String> texts = allOfTheReserve();
    const std::size_t size = texts.size();

    texts.erase(texts.begin() + static_cast<std::ptrdiff_t>(size / 2));
    const String again("again");
    EXPECT_EQ(again, "again");
    EXPECT_TRUE(String("one too many").isEmpty());

    texts.clear();
    EXPECT_EQ(allOfTheReserve().size(), size - 1) << "`again` still holds its place";
}

TEST(Reserve, ATextOfItIsSharedLikeAnyOther) {
    const MemoryLimit limit(0);
    std::vector<String> texts = allOfTheReserve();
    const String copy(texts.front());
    EXPECT_EQ(copy.buf(), texts.front().buf());
    texts.erase(texts.begin());
    EXPECT_TRUE(String("the copy holds the place").isEmpty());
    EXPECT_EQ(copy, "text 0");
}

TEST(Reserve, ATextOfItCanBeChangedInPlace) {
    const MemoryLimit limit(0);
    std::vector<String> texts = allOfTheReserve();
    EXPECT_TRUE(texts[0].assign("new"));
    EXPECT_EQ(texts[0], "new");
    EXPECT_TRUE(assignFormat(texts[0], "%d", 7));
    EXPECT_EQ(texts[0], "7");
    EXPECT_FALSE(texts[0].append(kLong));
    EXPECT_EQ(texts[0], "7");
}

TEST(Reserve, TextsAndStaticTextsThatNeedNoneAreThereWhenItIsUsedUp) {
    const MemoryLimit limit(0);
    const std::vector<String> texts = allOfTheReserve();
    EXPECT_EQ(String(kGreeting), "hello");
    EXPECT_TRUE(String("").isEmpty());
    String text(kGreeting);
    EXPECT_FALSE(text.assign("x"));
    EXPECT_FALSE(text.append("x"));
    EXPECT_FALSE(assignFormat(text, "%d", 7));
    EXPECT_EQ(text, "hello");
}

TEST(Reserve, ATextOfItMovesToTheHeapWhenItGrowsAgain) {
    String text;
    std::size_t size = 0;
    {
        const MemoryLimit limit(0);
        size = allOfTheReserve().size();
        text = "abc";
    }
    EXPECT_TRUE(text.append(kLong));
    EXPECT_EQ(text, ("abc" + kLong).c_str());
    const MemoryLimit limit(0);
    EXPECT_EQ(allOfTheReserve().size(), size) << "its place is free again";
}

TEST(Reserve, ServesSeveralThreadsAtOnce) {
    const MemoryLimit limit(0);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            const std::string mine = "thread " + std::to_string(i);
            for (int round = 0; round < 2000; ++round) {
                const String text(mine.c_str());
                const String more = text + " again";
                if (text != mine.c_str() || more != (mine + " again").c_str()) {
                    ADD_FAILURE() << mine << " holds " << text << " and " << more;
                    return;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace qor::test
