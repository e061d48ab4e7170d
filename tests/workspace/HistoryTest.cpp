#include "workspace/history/History.h"

#include <gtest/gtest.h>

#include "foundation/DurableFile.h"
#include "foundation/SqliteStatement.h"
#include "mobilelink/LinkWorld.h"
#include "workspace/WorkspaceWorld.h"

namespace nookery {
namespace {

using testing::WorkspaceWorld;
using Names = std::vector<std::string>;

class HistoryTest : public ::testing::Test {
  protected:
    /// Everything that may belong to a memory, so that a loss shows.
    Uuid addRichMemory(const std::string& name) {
        const Uuid id = library_.addFile(name + ".txt", "content of " + name);
        library_.end();
        {
            auto database = SQLiteDatabase::open(*library_.world.realFiles, layout_);
            const Timestamp now{1.7e9};
            database.saveEmbedding(id, "test-embedder-1", std::vector{1.0, 0.0, 0.5}, now);
            database.saveRichText(id, std::as_bytes(std::span("{\\rtf1}", 7)), now);
            const CrumbFaceCluster pool{Uuid::random(), "Ada", now, now};
            const CrumbFaceCluster other{Uuid::random(), "Bob", now, now};
            database.savePool(pool, now);
            database.savePool(other, now);
            const CrumbFace face{.id = Uuid::random(),
                                 .crumbID = id,
                                 .clusterID = pool.id,
                                 .featureModel = "faces-1",
                                 .feature = {0.25, 0.5},
                                 .createdAt = now};
            database.saveFace(face);
            database.rejectFace({face.id, other.id}, now);
            database.ignoreFace(face.id, now);
            database.markAnalysed(id, now);
        }
        library_.start();
        library_.wait(edits().tag({id}, {.added = {"Keep"}}));
        library_.wait(edits().setBringBack({id}, Timestamp{1.95e9}));
        library_.store->memoryEdits().recordSelection(id, [](const SaveFailure&) {});
        library_.world.time.settle();
        return id;
    }

    /// All rows of the collection database, whatever they mean.
    std::string allRows() {
        auto connection = SqliteConnection::open(layout_.database(), SqliteAccess::readOnly);
        std::string text;
        for (const char* table :
             {"crumbs", "crumb_groups", "crumb_faces", "crumb_face_clusters",
              "crumb_face_rejections", "crumb_face_ignores", "crumb_face_analysis"}) {
            SqliteStatement rows(connection,
                                 std::string("SELECT * FROM ") + table + " ORDER BY 1, 2;");
            while (rows.step()) {
                for (int i = 0; i < rows.columnCount(); ++i) {
                    const auto bytes = rows.blob(i);
                    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
                    text += '|';
                }
                text += '\n';
            }
        }
        return text;
    }

    std::string everything(const Uuid& id) {
        const auto& usage = library_.store->annotations().usageSignals();
        std::string text = allRows() + library_.says() + library_.contentOf(id);
        text += usage.contains(id) ? std::to_string(usage.at(id).selectionCount) : "unused";
        auto sidecar = Sidecar::openForReading(layout_.sidecar());
        for (const auto& fact : sidecar.originals()) {
            text += fact.relativePath.native() + fact.digest.toHex();
        }
        return text;
    }

    Edits& edits() { return *library_.edits; }
    void emptyTrash() { std::filesystem::remove_all(library_.world.folder / "trash"); }
    void forgetSnapshots() { std::filesystem::remove_all(layout_.snapshots()); }

    WorkspaceWorld library_;
    LibraryLayout layout_ = library_.world.layout();
};

TEST_F(HistoryTest, ADeletedMemoryComesBackWithAllThatBelongedToIt) {
    const Uuid id = addRichMemory("letter");
    const Uuid group = library_.wait(edits().createGroup("Post"));
    library_.wait(edits().assign({id}, group));
    const std::string before = everything(id);
    library_.wait(edits().deleteMemories({id}));
    EXPECT_EQ(library_.contentOf(id), "-");
    library_.restart();
    EXPECT_EQ(library_.undo().changeCount, 1);
    EXPECT_EQ(everything(id), before);
    EXPECT_EQ(library_.store->richTextByID()->size(), 1u);
    library_.restart();
    EXPECT_EQ(everything(id), before);
    library_.redo();
    EXPECT_EQ(library_.store->item(id), nullptr);
    library_.undo();
    EXPECT_EQ(everything(id), before);
}

TEST_F(HistoryTest, AnOriginalIsLookedForInTheTrashThenInSnapshotsAndItsLossIsNamedBefore) {
    const Uuid id = library_.addFile("letter.txt", "dear Ada");
    library_.wait(edits().deleteMemories({id}));
    emptyTrash();
    EXPECT_TRUE(library_.wait(library_.history->previewUndo()).lost.empty());
    library_.undo();
    EXPECT_EQ(library_.contentOf(id), "dear Ada");
    library_.redo();
    emptyTrash();
    forgetSnapshots();
    const auto preview = library_.wait(library_.history->previewUndo());
    EXPECT_EQ(preview.lost,
              (Names{"The original \"letter.txt\" is neither in the trash nor in a recovery "
                     "snapshot; its memory would come back without it."}));
    EXPECT_THROW(library_.undo(), ConsentNeeded);
    EXPECT_EQ(library_.store->items()->size(), 0u);
    library_.undo(Consent::given);
    EXPECT_EQ(library_.titleOf(id), "letter");
}

TEST_F(HistoryTest, AnotherFileUnderTheOldNameStaysAndADamagedCopyIsNotTaken) {
    const Uuid id = library_.addFile("letter.txt", "dear Ada");
    library_.wait(edits().deleteMemories({id}));
    const Uuid other = library_.addFile("letter.txt", "dear Bob");
    library_.undo();
    EXPECT_EQ(library_.contentOf(id), "dear Ada");
    EXPECT_EQ(library_.contentOf(other), "dear Bob");
    library_.redo();
    writeDurably(*library_.world.realFiles, library_.world.folder / "trash/letter (2).txt",
                 "DEAR ADA");
    library_.undo();
    EXPECT_EQ(library_.contentOf(id), "dear Ada");
}

TEST_F(HistoryTest, AnOriginalIsFoundInASnapshotUnderTheNameThatItHadThere) {
    const Uuid id = library_.addFile("letter.txt", "dear Ada");
    const auto first = library_.wait(edits().deleteMemories({id}));
    library_.addFile("letter.txt", "dear Bob");
    library_.undo();
    EXPECT_TRUE(library_.store->item(id)->filePath->ends_with("letter (2).txt"));
    library_.redo();
    emptyTrash();
    for (const auto& snapshot : library_.store->recoverySnapshots().list()) {
        if (snapshot.name == first.snapshotName) continue;
        std::filesystem::remove_all(layout_.snapshots() / snapshot.name);
    }
    library_.undo();
    EXPECT_EQ(library_.contentOf(id), "dear Ada");
}

TEST_F(HistoryTest, WhatWasAddedIsTakenAwayBehindASnapshotAndComesBack) {
    const Path folder = library_.world.folder / "source";
    std::filesystem::create_directories(folder);
    for (const char* name : {"a.txt", "b.txt"}) {
        writeDurably(*library_.world.realFiles, folder / name, name);
    }
    const auto report = library_.wait(edits().add({.sources = {CaptureFile{folder}}}));
    EXPECT_EQ(library_.stepNames(), Names{"Add 2 files"});
    const std::string before = library_.says();
    library_.restart();
    library_.undo();
    EXPECT_EQ(library_.store->items()->size(), 0u);
    EXPECT_EQ(library_.store->recoverySnapshots().list().size(), 1u);
    library_.restart();
    library_.redo();
    EXPECT_EQ(library_.says(), before);
    EXPECT_EQ(library_.contentOf(report.added[0]), "a.txt");
    library_.changeBeside(report.added[0], [](CrumbItem& item) { item.note = "By phone"; });
    EXPECT_EQ(library_.wait(library_.history->previewUndo()).lost,
              (Names{"\"a\" has changed since it was added; it would be removed as it is now."}));
    EXPECT_THROW(library_.undo(), ConsentNeeded);
    EXPECT_EQ(library_.store->items()->size(), 2u);
}

TEST_F(HistoryTest, UndoRespectsWhatArrivedByItself) {
    const Uuid note = library_.addNote("Cake", "eggs");
    library_.retitle(note, "Lemon cake");
    library_.changeBeside(note, [](CrumbItem& item) { item.searchableText = "read meanwhile"; });
    library_.undo();
    EXPECT_EQ(library_.says(), "Cake  eggs read meanwhile \n");
    library_.redo();
    library_.changeBeside(note, [](CrumbItem& item) { item.title = "By phone"; });
    const auto preview = library_.wait(library_.history->previewUndo());
    EXPECT_EQ(preview.name, "Edit \"Cake\"");
    EXPECT_EQ(preview.lost, (Names{"The title of \"By phone\" has changed since; as it is now, it "
                                   "would be lost."}));
    EXPECT_THROW(library_.undo(), ConsentNeeded);
    EXPECT_EQ(library_.titleOf(note), "By phone");
    library_.undo(Consent::given);
    EXPECT_EQ(library_.titleOf(note), "Cake");
}

TEST_F(HistoryTest, AnAgreementIsToOneStepAndToWhatWouldThenBeLost) {
    const Uuid note = library_.addNote("Cake");
    library_.retitle(note, "Lemon cake");
    library_.changeBeside(note, [](CrumbItem& item) { item.title = "By phone"; });
    History& history = *library_.history;
    const UndoPreview seen = library_.wait(history.previewUndo());
    const Uuid other = library_.addNote("Tart");
    library_.retitle(other, "Plum tart");
    EXPECT_THROW(library_.wait(history.undo(seen)), Error);
    EXPECT_EQ(library_.titleOf(other), "Plum tart");
    EXPECT_EQ(library_.titleOf(note), "By phone");
    library_.undo();
    library_.changeBeside(note, [](CrumbItem& item) { item.title = "By phone again"; });
    EXPECT_THROW(library_.wait(history.undo(seen)), Error) << "more would be lost than was agreed";
    library_.wait(history.undo(library_.wait(history.previewUndo())));
    EXPECT_EQ(library_.titleOf(note), "Cake");
    const UndoPreview again = library_.wait(history.previewRedo());
    library_.changeBeside(note, [](CrumbItem& item) { item.title = "Else"; });
    EXPECT_THROW(library_.wait(history.redo(again)), Error);
    EXPECT_EQ(library_.titleOf(note), "Else");
}

TEST(HistoryAndPhone, ToThePhoneAnUndoIsAChangeOfWhatItsEditWasBasedOn) {
    testing::LinkWorld link;
    const Platform platform = link.world.platform();
    History history(platform, link.world.layout(), *link.store);
    Edits edits(platform, *link.store, history);
    const CrumbItem item = link.note("Cake");
    link.world.resultOf(edits.edit(item.id, {.title = TextPatch{"Cake", "Lemon cake"}}));
    const CrumbItem seen = link.read(item.id);
    link.ask(seen, {{"details", "from the phone"}});
    link.world.resultOf(history.undo(Consent::none));
    EXPECT_EQ(link.receive().conflictCount, 1u);
    EXPECT_EQ(link.read(item.id), item);
}

TEST_F(HistoryTest, ANewChangeDropsWhatCouldBeRedoneAndTheOldestStepsGo) {
    const Uuid note = library_.addNote("0");
    for (int i = 1; i <= 103; ++i) library_.retitle(note, std::to_string(i));
    EXPECT_EQ(library_.history->state()->undoCount, 100u);
    EXPECT_EQ(library_.history->steps().front().name, "Edit \"3\"");
    library_.undo();
    library_.undo();
    library_.retitle(note, "new");
    EXPECT_EQ(library_.history->state()->redoCount, 0u);
    EXPECT_THROW(library_.redo(), Error);
    library_.world.time.advance(31 * 86400.0);
    library_.retitle(note, "a month later");
    EXPECT_EQ(library_.stepNames(), Names{"Edit \"new\""});
}

TEST_F(HistoryTest, ADeletionBeyondWhatIsKeptNamesItsSnapshotAndAClearedLibraryHasNoHistory) {
    const auto addBig = [&](const char* title, std::size_t megabytes) {
        const Uuid id = library_.addNote(title);
        library_.end();
        SQLiteDatabase::open(*library_.world.realFiles, layout_)
            .saveRichText(id, std::vector<std::byte>(megabytes << 20), Timestamp{1e9});
        library_.start();
        return id;
    };
    for (const char* title : {"One", "Two"}) {
        const Uuid id = addBig(title, 40);
        library_.wait(edits().deleteMemories({id}));
    }
    EXPECT_EQ(library_.stepNames(), Names{"Delete \"Two\""});
    const Uuid big = addBig("Big", 65);
    const auto outcome = library_.wait(edits().deleteMemories({big}));
    EXPECT_LT(library_.history->steps().back().byteCount, 1 << 20);
    const auto preview = library_.wait(library_.history->previewUndo());
    EXPECT_TRUE(preview.isImpossible);
    EXPECT_EQ(preview.lost, (Names{"What was removed is more than the history keeps. Only the "
                                   "recovery snapshot " +
                                   *outcome.snapshotName + " has it."}));
    library_.addNote("Small");
    library_.wait(edits().clearLibrary());
    EXPECT_EQ(library_.history->steps().size(), 0u);
    library_.restart();
    EXPECT_EQ(library_.history->steps().size(), 0u);
}

}  // namespace
}  // namespace nookery
