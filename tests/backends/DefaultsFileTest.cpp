#include "backends/DefaultsFile.h"

#include <gtest/gtest.h>

#include "support/FaultyFileSystem.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

using testing::Fault;

class DefaultsFileTest : public ::testing::Test {
  protected:
    std::unique_ptr<UserDefaults> open() { return openDefaultsFile(files, path); }

    testing::TemporaryDirectory folder;
    std::unique_ptr<FileSystem> real = makePosixFileSystem();
    testing::FaultyFileSystem files{*real};
    Path path = folder / "config/nookery/defaults.json";
    const std::string bytes{"\0\xFF any bytes", 12};
};

TEST_F(DefaultsFileTest, KeepsBytesAndMakesItsFolder) {
    open()->set("Crumb.Test.v1", bytes);
    open()->set("Crumb.Empty.v1", "");
    const auto defaults = open();
    EXPECT_EQ(defaults->get("Crumb.Test.v1"), bytes);
    EXPECT_EQ(defaults->get("Crumb.Empty.v1"), "");
    EXPECT_EQ(defaults->keys(), (std::vector<std::string>{"Crumb.Empty.v1", "Crumb.Test.v1"}));
    defaults->remove("Crumb.Test.v1");
    EXPECT_EQ(open()->get("Crumb.Test.v1"), std::nullopt);
}

TEST_F(DefaultsFileTest, KeysThatAnotherProgramWroteMeanwhileStay) {
    const auto first = open();
    open()->set("other", "theirs");
    first->set("mine", "ours");
    EXPECT_EQ(open()->get("other"), "theirs");
    EXPECT_EQ(open()->get("mine"), "ours");
}

TEST_F(DefaultsFileTest, ADamagedFileIsAnErrorThatNamesItAndIsNeverOverwritten) {
    for (const char* damaged :
         {"", "{", "[]", R"({"version":1})", R"({"version":9,"values":{}})",
          R"({"version":1,"values":{"a":"not base64!"}})", R"({"version":1,"values":{"a":1}})"}) {
        folder.write("config/nookery/defaults.json", damaged);
        try {
            open();
            ADD_FAILURE() << damaged;
        } catch (const Error& error) {
            EXPECT_NE(error.description().find(path.native()), std::string::npos) << damaged;
        }
        EXPECT_EQ(folder.read("config/nookery/defaults.json"), damaged);
    }
}

TEST_F(DefaultsFileTest, AFullDiskAtAnyStepKeepsTheOldValue) {
    open()->set("key", "old");
    for (int step = 1;; ++step) {
        const auto defaults = open();
        files.arm(Fault::diskFull, step);
        try {
            defaults->set("key", "new");
            files.disarm();
            EXPECT_GT(step, 2);
            break;
        } catch (const FileError&) {
            files.disarm();
            // Past the rename only the folder's sync can fail; then either value may be there.
            const auto onDisk = open()->get("key");
            EXPECT_TRUE(onDisk == "old" || onDisk == "new");
            EXPECT_TRUE(onDisk == "new" || defaults->get("key") == "old");
        }
    }
}

}  // namespace
}  // namespace nookery
