#include "backends/files/DesktopTrash.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/FaultyFileSystem.h"
#include "support/TemporaryDirectory.h"
#include "support/VirtualWorld.h"

namespace nookery {
namespace {

class DesktopTrashTest : public ::testing::Test {
  protected:
    testing::TemporaryDirectory folder;
    std::unique_ptr<FileSystem> real = makePosixFileSystem();
    testing::FaultyFileSystem files{*real};
    testing::VirtualTime clock;
    std::unique_ptr<Trash> trash = makeDesktopTrash(files, clock, folder / "home/share");
};

TEST_F(DesktopTrashTest, MovesAndRecordsWhereItWas) {
    const Path file = folder.write("docs/50% \xC3\xA9 \xFF.txt", "words");
    const Path place = trash->moveToTrash(file);
    EXPECT_EQ(place, folder / "home/share/Trash/files/50% \xC3\xA9 \xFF.txt");
    EXPECT_EQ(real->status(file), std::nullopt);
    const std::string info = folder.read("home/share/Trash/info/50% \xC3\xA9 \xFF.txt.trashinfo");
    EXPECT_TRUE(info.starts_with("[Trash Info]\nPath=" + folder.path().native() +
                                 "/docs/50%25%20%C3%A9%20%FF.txt\nDeletionDate=2027-01-1"))
        << info;
}

TEST_F(DesktopTrashTest, WhatIsPutBackLeavesNothingInTheTrashAndNothingIsReplaced) {
    const Path file = folder.write("docs/note.txt", "words");
    const Path place = trash->moveToTrash(file);
    folder.write("docs/note.txt", "others");
    EXPECT_THROW(trash->putBack(place, file), FileError);
    EXPECT_EQ(folder.read("docs/note.txt"), "others");
    trash->putBack(place, folder / "docs/back.txt");
    EXPECT_EQ(folder.read("docs/back.txt"), "words");
    EXPECT_TRUE(folder.filesBelow("home/share/Trash").empty());
}

TEST_F(DesktopTrashTest, KnowsWhereWhatWasInAPlaceIsNow) {
    const Path file = folder / "docs/a b.txt";
    std::vector<Path> places;
    for (const char* content : {"first", "second", "back"}) {
        folder.write("docs/a b.txt", content);
        places.insert(places.begin(), trash->moveToTrash(file));
        clock.setWallClock(Timestamp{clock.now().secondsSince1970 + 90});
    }
    trash->moveToTrash(folder.write("docs/a b.txt.other", "other"));
    EXPECT_EQ(trash->placesOf(file), places);
    trash->putBack(places[0], folder / "back.txt");
    EXPECT_EQ(trash->placesOf(file), std::vector<Path>(places.begin() + 1, places.end()));
    EXPECT_TRUE(trash->placesOf(folder / "nowhere/a b.txt").empty());
    files.makeOtherDisk(folder / "disk");
    const Path there = folder.write("disk/docs/note.txt", "words");
    const Path place = trash->moveToTrash(there);
    EXPECT_EQ(trash->placesOf(there), std::vector<Path>{place});
}

TEST_F(DesktopTrashTest, EqualAndOverlongNamesFindRoom) {
    const std::string longest(255, 'n');
    for (int i = 0; i < 3; ++i) {
        const Path file = folder.write(Path("a") / std::to_string(i) / longest, std::to_string(i));
        const Path place = trash->moveToTrash(file);
        EXPECT_EQ(folder.read(place.lexically_relative(folder.path())), std::to_string(i));
    }
    EXPECT_EQ(folder.filesBelow("home/share/Trash/info").size(), 3u);
}

TEST_F(DesktopTrashTest, KeepsAFileOfAnotherFileSystemThere) {
    files.makeOtherDisk(folder / "disk");
    const Path file = folder.write("disk/docs/note.txt", "words");
    const Path trashFolder = Path("disk") / (".Trash-" + std::to_string(::getuid()));
    EXPECT_EQ(trash->moveToTrash(file), folder / trashFolder / "files/note.txt");
    const std::string info = folder.read(trashFolder / "info/note.txt.trashinfo");
    EXPECT_TRUE(info.starts_with("[Trash Info]\nPath=docs/note.txt\n")) << info;
    EXPECT_EQ(real->status(folder / "home/share/Trash"), std::nullopt);

    folder.write("disk/docs/other.txt", "words");
    removeTree(*real, folder / trashFolder);
    std::filesystem::create_directory_symlink(folder / "home", folder / trashFolder);
    EXPECT_THROW(trash->moveToTrash(folder / "disk/docs/other.txt"), FileError);
    EXPECT_EQ(folder.read("disk/docs/other.txt"), "words");
}

TEST_F(DesktopTrashTest, AFailureAtAnyStepLosesNothing) {
    for (int step = 1;; ++step) {
        const Path file = folder.write("docs/kept.txt", "words");
        files.arm(testing::Fault::fail, step);
        try {
            trash->moveToTrash(file);
            files.disarm();
            EXPECT_GT(step, 4);
            break;
        } catch (const FileError&) {
            files.disarm();
        }
        const bool inTrash = real->status(folder / "home/share/Trash/files/kept.txt").has_value();
        EXPECT_TRUE(inTrash || folder.read("docs/kept.txt") == "words");
        if (inTrash) break;  // only the folder's sync failed
    }
    EXPECT_THROW(trash->moveToTrash(folder / "nothing"), FileError);
}

}  // namespace
}  // namespace nookery
