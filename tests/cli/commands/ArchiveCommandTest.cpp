#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <fstream>

#include "cli/NookeryProgram.h"

namespace nookery {
namespace {

namespace fs = std::filesystem;
using testing::NookeryProgram;
using testing::Outcome;

std::string contentOf(const Path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The commands that the page on the format gives to whoever has no Nookery.
std::string checkingScript() {
    const Path page = Path(NOOKERY_TEST_DATA) / "../../docs/formats/archive.md";
    const std::string text = contentOf(page);
    const std::size_t begin = text.find("```sh\n") + 6;
    return text.substr(begin, text.find("```", begin) - begin);
}

class ArchiveCommand : public ::testing::Test {
  protected:
    ArchiveCommand() {
        nookery.home.write("in/day one.txt", "the first day");
        nookery.home.write("in/back\\slash.txt", "an odd name");
        nookery.home.write("in/empty.txt", "");
        nookery.home.write("in/big.bin", std::string(2'500'000, 'b'));
        nookery.json({"add", (nookery.home / "in").native(), "--tag", "kept"});
        nookery.json({"add", "--text", "only a note"});
    }

    bool passesTheScript(const Path& folder) {
        const Path script = nookery.home.write("check.sh", checkingScript());
        const std::string command = "cd '" + folder.native() + "' && bash -euo pipefail '" +
                                    script.native() + "' >/dev/null 2>&1";
        return std::system(command.c_str()) == 0;
    }
    Path damagedCopy() {
        fs::remove_all(nookery.home / "damaged");
        fs::copy(archive, nookery.home / "damaged", fs::copy_options::recursive);
        return nookery.home / "damaged";
    }
    /// The originals' contents as the program finds them, by title.
    static std::map<std::string, std::string> originals(const NookeryProgram& program) {
        std::map<std::string, std::string> found;
        for (const Json& item : program.json({"list", "--limit", "100"})["items"]) {
            const std::string path = item.value("filePath", "");
            found[item["title"]] =
                path.empty() ? "(none)" : (fs::exists(path) ? contentOf(path) : "(gone)");
        }
        return found;
    }

    NookeryProgram nookery;
    Path archive = nookery.home / "archive";
};

TEST_F(ArchiveCommand, CanBeCheckedWithoutThisProgram) {
    const Json made = nookery.json({"archive", "export", archive.native()});
    EXPECT_EQ(made["path"], archive.native());
    EXPECT_EQ(made["leftBehind"], Json({"history", "saved searches"}));
    EXPECT_EQ(made["records"], 5);
    EXPECT_EQ(made["files"], 6);  // four originals, the database, the local state
    ASSERT_TRUE(passesTheScript(archive));

    const std::vector<std::function<void(const Path&)>> damages{
        [](const Path& folder) {
            std::ofstream(folder / "Originals/day one.txt") << "the f1rst day";
        },
        [](const Path& folder) {
            std::ofstream(folder / "Originals/big.bin", std::ios::app) << "b";
        },
        [](const Path& folder) { fs::remove(folder / "Originals/empty.txt"); },
        [](const Path& folder) { fs::remove(folder / "Originals/back\\slash.txt"); },
        [](const Path& folder) { std::ofstream(folder / "Data/stranger") << "?"; },
        [](const Path& folder) { std::ofstream(folder / "Collection.json") << "{}"; }};
    for (std::size_t i = 0; i < damages.size(); ++i) {
        const Path folder = damagedCopy();
        damages[i](folder);
        EXPECT_FALSE(passesTheScript(folder)) << i;
        const bool isUnlisted = i == 4;
        const Outcome verified = nookery.run({"archive", "verify", folder.native()});
        EXPECT_EQ(verified.status, isUnlisted ? 0 : 1) << i << verified.error;
    }
}

TEST_F(ArchiveCommand, IsRestoredInAnotherHomeAtTheNextStart) {
    nookery.json({"archive", "export", archive.native()});
    const auto expected = originals(nookery);
    NookeryProgram other;
    other.workAlone();  // whoever watches would go on with the restored library at once
    other.json({"add", "--text", "what was there before"});
    EXPECT_EQ(other.run({"archive", "restore", archive.native()}).status, 2);  // nobody to ask
    EXPECT_EQ(other.json({"archive", "restore", archive.native(), "--yes"})["records"], 5);
    const Outcome again = other.run({"archive", "restore", archive.native(), "--yes"});
    EXPECT_EQ(again.status, 1);
    EXPECT_NE(again.error.find("A restore is already pending. Reopen NOOKERY to complete it."),
              std::string::npos);
    other.json({"archive", "verify", archive.native()});
    EXPECT_EQ(other.json({"archive", "status"})["pending"], true);

    const Outcome start = other.run({"list"});
    EXPECT_NE(start.error.find("NOOKERY startup notice: NOOKERY Collection Restored"),
              std::string::npos);
    fs::remove_all(nookery.library);
    EXPECT_EQ(originals(other), expected);
    EXPECT_EQ(other.json({"list", "--tag", "kept"})["count"], 4);
    EXPECT_EQ(other.json({"search", "first day"})["total"], 1);
    const Json status = other.json({"archive", "status"});
    EXPECT_EQ(status["pending"], false);
    EXPECT_EQ(status["lastRestore"]["title"], "NOOKERY Collection Restored");
    EXPECT_TRUE(fs::exists(Path(status["safetyCopy"].get<std::string>()) / "crumb.sqlite3"));
}

TEST_F(ArchiveCommand, RefusesWhatItMustWithoutATrace) {
    const auto failure = [this](const std::vector<std::string>& words) {
        const Outcome outcome = nookery.run(words);
        EXPECT_EQ(outcome.status, 1) << words.back();
        return outcome.error;
    };
    EXPECT_NE(failure({"archive", "export", (nookery.library / "in").native()})
                  .find("Choose a new archive folder outside NOOKERY's live storage."),
              std::string::npos);
    EXPECT_NE(failure({"archive", "export", (nookery.home / "in").native()}).find("not empty"),
              std::string::npos);
    EXPECT_NE(failure({"archive", "restore", "--yes", (nookery.home / "in").native()})
                  .find("This folder is not a supported NOOKERY Complete Archive."),
              std::string::npos);
    EXPECT_FALSE(fs::exists(nookery.library / "in"));
    EXPECT_EQ(nookery.json({"archive", "status"})["pending"], false);
}

TEST_F(ArchiveCommand, KilledWhileItRestoresLosesNothing) {
    nookery.json({"archive", "export", archive.native()});
    const auto expected = originals(nookery);
    const Path pending = nookery.library / ".NOOKERY-Restore-Pending";
    const Path safety = nookery.library.parent_path() / "NOOKERY-Pre-Restore-Safety";
    const std::vector<Path> signs{
        pending / "sidecar.sqlite3",          pending / "sidecar.sqlite3-wal",
        pending / "restore-journal.json",     safety,
        safety / "Crumb-State.plist",         safety / "Items",
        nookery.library / "last-restore.json"};
    for (const Path& sign : signs) {
        SCOPED_TRACE(sign.native());
        fs::remove_all(safety);
        fs::remove(nookery.library / "last-restore.json");
        nookery.json({"archive", "restore", archive.native(), "--yes"});
        const auto running = nookery.start({"list"});
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!fs::exists(sign) && fs::exists(pending) &&
               std::chrono::steady_clock::now() < giveUp) {
        }
        running->signal(SIGKILL);
        running->finish();
        EXPECT_EQ(originals(nookery), expected);
        EXPECT_FALSE(fs::exists(pending));
        EXPECT_TRUE(fs::exists(safety / "crumb.sqlite3"));
        EXPECT_EQ(contentOf(safety / "Items/day one.txt"), "the first day");
    }
}

}  // namespace
}  // namespace nookery
