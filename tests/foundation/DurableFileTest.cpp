#include "foundation/DurableFile.h"

#include <gtest/gtest.h>

#include <map>

#include "support/FaultyFileSystem.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

using testing::Fault;
using testing::FaultyFileSystem;
using testing::SimulatedCrash;
using testing::TemporaryDirectory;

class DurableFileTest : public ::testing::Test {
  protected:
    /// Replaces "old" by "new" with a fault at each operation in turn, and hands what is left of
    /// the file to `check`.
    void replaceWithFaults(Fault fault, bool leftoversAllowed) {
        for (int k = 1;; ++k) {
            const TemporaryDirectory folder;
            const Path file = folder.write("state", "old");
            faulty_.arm(fault, k);
            bool reported = false;
            try {
                writeDurably(faulty_, file, "new");
            } catch (const FileError&) {
                reported = true;
            } catch (const SimulatedCrash&) {
                reported = true;
            }
            if (faulty_.operationCount() < k) {
                EXPECT_GT(k, 5) << "create, write, sync, close, rename and folder sync are steps";
                return;
            }
            faulty_.losePower();
            const std::string content = folder.read("state");
            EXPECT_TRUE(content == "old" || content == "new") << "step " << k << ": " << content;
            EXPECT_TRUE(reported) << "step " << k;
            if (!leftoversAllowed) {
                EXPECT_EQ(folder.filesBelow().size(), 1u) << "step " << k;
            }
        }
    }

    std::unique_ptr<FileSystem> real_ = makePosixFileSystem();
    FaultyFileSystem faulty_{*real_};
};

TEST_F(DurableFileTest, AFailureAtAnyStepIsReportedAndLeavesOldOrNew) {
    replaceWithFaults(Fault::fail, false);
    replaceWithFaults(Fault::diskFull, false);
}

TEST_F(DurableFileTest, ACrashAtAnyStepLeavesOldOrNew) { replaceWithFaults(Fault::crash, true); }

TEST_F(DurableFileTest, ReadingRefusesWhatIsNotARegularFile) {
    const TemporaryDirectory folder;
    const Path target = folder.write("target", "secret");
    std::filesystem::create_symlink(target, folder / "link");
    EXPECT_THROW(real_->openForReading(folder / "link"), FileError);
    EXPECT_THROW(real_->openForReading(folder.path()), FileError);
    EXPECT_THROW(readWholeFile(*real_, target, 5), FileError);
    EXPECT_EQ(readWholeFile(*real_, target, 6), "secret");
}

TEST_F(DurableFileTest, MessagesNameTheFileAndWhatToDo) {
    const std::string advice = "No space left on device. Free some space and try again.";
    for (const auto& [path, shown] :
         std::map<std::string, std::string>{{"/x/caf\xE9", "/x/caf\\xE9"},
                                            {"/x/.nookery-tmp-1", "a file in /x"},
                                            {".nookery-tmp-1", "a file in the working folder"}}) {
        EXPECT_EQ(FileError("write", path, ENOSPC).description(),
                  "Could not write " + shown + ": " + advice);
    }
}

}  // namespace
}  // namespace nookery
