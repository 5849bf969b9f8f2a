// ref_counted.h: who counts when, when an object goes, and the slots of the virtual operations.
#include "qor/core/ref_counted.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace qor::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Pointer = RefersTo<IRefCounted>;

// What happened, in order, and the pointer that is looked at each time.
struct Log {
    std::vector<std::string> lines;
    const Pointer* watched = nullptr;
};

// Writes down each count, and what the watched pointer holds at that moment.
class Logging final : public IRefCounted {
 public:
    Logging(const char* newName, Log& newLog) : name(newName), log(newLog) {}

    void incRef() override { add("incRef"); }
    void decRef() override { add("decRef"); }

 private:
    void add(const std::string& what) {
        std::string line = name + "." + what;
        if (log.watched) line += ", pointer holds " + nameIn(*log.watched);
        log.lines.push_back(line);
    }
    static std::string nameIn(const Pointer& pointer) {
        return pointer.get() ? static_cast<Logging*>(pointer.get())->name : "nothing";
    }

    std::string name;
    Log& log;
};

// Tells when it is destroyed.
class Mortal : public RefCounted {
 public:
    explicit Mortal(int& destroyedCount) : destroyed(destroyedCount) {}
    ~Mortal() override { ++destroyed; }

 private:
    int& destroyed;
};

class RefersToTest : public ::testing::Test {
 protected:
    Log log;
    Logging first{"first", log};
    Logging second{"second", log};
};

TEST_F(RefersToTest, DefaultIsNull) { EXPECT_EQ(Pointer().get(), nullptr); }

TEST_F(RefersToTest, TakesAReferenceWhenMadeAndGivesItBackWhenDestroyed) {
    {
        const Pointer pointer(&first);
        EXPECT_EQ(pointer.get(), &first);
        EXPECT_THAT(log.lines, ElementsAre("first.incRef"));
    }
    EXPECT_THAT(log.lines, ElementsAre("first.incRef", "first.decRef"));
}

TEST_F(RefersToTest, ACopyTakesAReferenceOfItsOwn) {
    const Pointer original(&first);
    {
        const Pointer copy(original);
        EXPECT_EQ(copy.get(), &first);
        EXPECT_EQ(original.get(), &first);
        EXPECT_THAT(log.lines, ElementsAre("first.incRef", "first.incRef"));
    }
    EXPECT_THAT(log.lines, ElementsAre("first.incRef", "first.incRef", "first.decRef"));
}

TEST_F(RefersToTest, AMoveHandsTheReferenceOnAndCountsNothing) {
    {
        Pointer from(&first);
        const Pointer to(std::move(from));
        EXPECT_EQ(to.get(), &first);
        EXPECT_EQ(from.get(), nullptr);
        EXPECT_THAT(log.lines, ElementsAre("first.incRef"));
    }
    EXPECT_THAT(log.lines, ElementsAre("first.incRef", "first.decRef"));
}

TEST_F(RefersToTest, AssignmentHoldsTheNewTargetThenStoresItThenLetsTheOldOneGo) {
    Pointer pointer(&first);
    const Pointer other(&second);
    log.lines.clear();
    log.watched = &pointer;

    pointer = other;

    EXPECT_THAT(log.lines, ElementsAre("second.incRef, pointer holds first", "first.decRef, pointer holds second"));
    log.watched = nullptr;
}

TEST_F(RefersToTest, AssigningNullOnlyLetsGo) {
    Pointer pointer(&first);
    log.lines.clear();
    pointer = Pointer();
    EXPECT_EQ(pointer.get(), nullptr);
    EXPECT_THAT(log.lines, ElementsAre("first.decRef"));
}

TEST_F(RefersToTest, AssigningToNullOnlyHolds) {
    Pointer pointer;
    const Pointer other(&first);
    log.lines.clear();
    pointer = other;
    EXPECT_EQ(pointer.get(), &first);
    EXPECT_THAT(log.lines, ElementsAre("first.incRef"));
}

TEST_F(RefersToTest, NullToNullCountsNothing) {
    Pointer pointer;
    const Pointer other;
    pointer = other;
    const Pointer copy(pointer);
    EXPECT_EQ(copy.get(), nullptr);
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(RefersToTest, SelfAssignmentLeavesTheCountAsItWas) {
    Pointer pointer(&first);
    const Pointer& itself = pointer;
    log.lines.clear();
    pointer = itself;
    EXPECT_EQ(pointer.get(), &first);
    EXPECT_THAT(log.lines, ElementsAre("first.incRef", "first.decRef"));
}

TEST_F(RefersToTest, SelfAssignmentKeepsTheOnlyReferenceAlive) {
    int destroyed = 0;
    {
        RefersTo<RefCounted> pointer(new Mortal(destroyed));
        const RefersTo<RefCounted>& itself = pointer;
        pointer = itself;
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

// A list is dropped by its head: the next node lives only as long as the node before it.
TEST_F(RefersToTest, APointerMayBeAssignedFromTheObjectThatItLetsGo) {
    struct Node final : Mortal {
        using Mortal::Mortal;
        RefersTo<Node> next;
    };
    int destroyed = 0;
    {
        RefersTo<Node> head(new Node(destroyed));
        head.get()->next = RefersTo<Node>(new Node(destroyed));
        head = head.get()->next;
        EXPECT_EQ(destroyed, 1);
        EXPECT_EQ(head.get()->next.get(), nullptr);
    }
    EXPECT_EQ(destroyed, 2);
}

TEST_F(RefersToTest, HoldsOnePointerAndItsDestructorIsVirtual) {
    static_assert(std::has_virtual_destructor_v<RefersTo<RefCounted>>);
    static_assert(std::has_virtual_destructor_v<RefersTo<IRefCounted>>);
    EXPECT_EQ(sizeof(Pointer), 2 * sizeof(void*)) << "the virtual table's and the target's";
}

TEST(RefCountedTest, TheCountStartsAtZeroSoTheFirstHolderIsTheLastToo) {
    int destroyed = 0;
    { const RefersTo<Mortal> only(new Mortal(destroyed)); }
    EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedTest, LivesUntilTheLastReferenceGoes) {
    int destroyed = 0;
    auto* const object = new Mortal(destroyed);
    object->incRef();
    object->incRef();
    object->decRef();
    EXPECT_EQ(destroyed, 0);
    object->decRef();
    EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedTest, DeletesItselfThroughTheVirtualDestructor) {
    static_assert(std::has_virtual_destructor_v<RefCounted>);
    int destroyed = 0;
    { const RefersTo<RefCounted> base(new Mortal(destroyed)); }
    EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedTest, MayLiveOnTheStackWhileNobodyCounts) {
    int destroyed = 0;
    { const Mortal object(destroyed); }
    EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedTest, CountsFromSeveralThreadsAtOnce) {
    int destroyed = 0;
    {
        const RefersTo<RefCounted> shared(new Mortal(destroyed));
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([mine = shared] {
                for (int round = 0; round < 10000; ++round) {
                    const RefersTo<RefCounted> copy(mine);
                    RefersTo<RefCounted> other;
                    other = copy;
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedTest, TheLastOfSeveralThreadsDeletesTheObjectOnce) {
    for (int round = 0; round < 100; ++round) {
        int destroyed = 0;
        std::vector<std::thread> threads;
        {
            const RefersTo<RefCounted> shared(new Mortal(destroyed));
            for (int i = 0; i < 4; ++i) threads.emplace_back([mine = shared] { EXPECT_NE(mine.get(), nullptr); });
        }
        for (std::thread& thread : threads) thread.join();
        ASSERT_EQ(destroyed, 1) << "round " << round;
    }
}

// The slot of a virtual operation in its class's table, as the C++ ABI of GCC and Clang puts it into a pointer to the
// member: 8 bytes to a slot, plus 1 on most hosts.
template <typename Class>
std::size_t slotOf(void (Class::*member)()) {
    std::size_t image[2];
    static_assert(sizeof(member) == sizeof(image));
    std::memcpy(image, &member, sizeof(image));
    return image[0] / sizeof(void*);
}

// `next` is in the first slot that the base leaves free.
template <typename Base>
struct Extended : Base {
    virtual void next() {}
};

TEST(Slots, IRefCountedHasIncRefThenDecRefAndNothingElse) {
    struct More : IRefCounted {
        virtual void next() {}
    };
    EXPECT_EQ(slotOf(&IRefCounted::incRef), 0U);
    EXPECT_EQ(slotOf(&IRefCounted::decRef), 1U);
    EXPECT_EQ(slotOf(&More::next), 2U);
    static_assert(!std::has_virtual_destructor_v<IRefCounted>);
}

TEST(Slots, RefCountedHasIncRefThenDecRefThenTheDestructor) {
    EXPECT_EQ(slotOf(&RefCounted::incRef), 0U);
    EXPECT_EQ(slotOf(&RefCounted::decRef), 1U);
    EXPECT_EQ(slotOf(&Extended<RefCounted>::next), 4U) << "the destructor has two slots";
}

TEST(Slots, RefersToHasItsDestructorAlone) {
    EXPECT_EQ(slotOf(&Extended<RefersTo<RefCounted>>::next), 2U) << "the destructor has two slots";
}

}  // namespace
}  // namespace qor::test
