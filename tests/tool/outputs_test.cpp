// The files of a run: all of them new, or all of them as they were.
#include "tools/qor/outputs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/test_files.h"
#include "tools/qor/failure.h"

namespace tool {
namespace {

using qor::test::WithFiles;
using testing::UnorderedElementsAre;

class TheOutputs : public WithFiles {
 protected:
    const std::vector<std::string> names = {"one", "two", "three"};

    void makeNew(const Outputs& outputs) const {
        for (const std::string& name : names) std::ofstream(outputs.hidden().path(name)) << "new";
    }

    // The names in a folder, the hidden ones too.
    std::vector<std::string> namesIn(const std::string& folder) const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) found.push_back(entry.path().filename());
        return found;
    }
};

TEST_F(TheOutputs, AreMovedWhereTheyBelong) {
    files.make("two", "old");
    {
        Outputs outputs(files.path(""));
        makeNew(outputs);
        EXPECT_EQ(files.content("two").raw, "old");
        outputs.commit(names);
    }
    EXPECT_THAT(namesIn(files.path("")), UnorderedElementsAre("one", "two", "three"));
    for (const std::string& name : names) EXPECT_EQ(files.content(name).raw, "new") << name;
}

TEST_F(TheOutputs, HaveTheirLaterNamesInMessages) {
    const Outputs outputs(files.path("folder"));
    EXPECT_EQ(outputs.hidden().label("one"), files.path("folder/one"));
}

TEST_F(TheOutputs, LeaveNothingWithoutACommit) {
    files.make("two", "old");
    makeNew(Outputs(files.path("")));
    EXPECT_THAT(namesIn(files.path("")), UnorderedElementsAre("two"));
    EXPECT_EQ(files.content("two").raw, "old");
}

TEST_F(TheOutputs, TakeTheFoldersAwayThatTheyMade) {
    std::filesystem::create_directory(files.path("mine"));
    makeNew(Outputs(files.path("mine/a/b")));
    EXPECT_THAT(namesIn(files.path("mine")), UnorderedElementsAre());
}

TEST_F(TheOutputs, AreAllPutBackIfOneCannotBeMoved) {
    files.make("one", "old");
    std::filesystem::create_directory(files.path("three"));
    {
        Outputs outputs(files.path(""));
        makeNew(outputs);
        EXPECT_THROW(outputs.commit(names), Failure);
    }
    EXPECT_THAT(namesIn(files.path("")), UnorderedElementsAre("one", "three"));
    EXPECT_EQ(files.content("one").raw, "old");
}

TEST_F(TheOutputs, AreAllPutBackIfOneIsMissing) {
    files.make("one", "old");
    {
        Outputs outputs(files.path(""));
        makeNew(outputs);
        std::filesystem::remove(outputs.hidden().path("three"));
        EXPECT_THROW(outputs.commit(names), Failure);
    }
    EXPECT_THAT(namesIn(files.path("")), UnorderedElementsAre("one"));
    EXPECT_EQ(files.content("one").raw, "old");
}

}  // namespace
}  // namespace tool
