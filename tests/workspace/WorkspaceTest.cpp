#include "workspace/Workspace.h"

#include <gtest/gtest.h>

#include "archive/ArchiveOperations.h"
#include "archive/RestoreAtStart.h"
#include "collection/capture/JsonLines.h"
#include "collection/database/LibraryLock.h"
#include "collection/safety/SnapshotRestore.h"
#include "support/TestPlatform.h"
#include "support/UploadedReport.h"
#include "workspace/LibraryExport.h"

namespace nookery {
namespace {

using testing::SimulatedCrash;

class WorkspaceTest : public ::testing::Test {
  protected:
    WorkspaceTest() {
        world_.textRecognizer.lines = {{"Blue Door Bakery", {0.1, 0.9, 0.5, 0.02}}};
        world_.log.problemLog = &problems_;
    }
    ~WorkspaceTest() override { world_.log.problemLog = nullptr; }

    Workspace& open(SessionLength length = SessionLength::oneCommand) {
        workspace_ = std::make_unique<Workspace>(platform_, world_.layout(), problems_);
        world_.resultOf(workspace_->open(LibraryAccess::writing, length));
        return *workspace_;
    }
    void reopen(SessionLength length = SessionLength::oneCommand) {
        world_.resultOf(workspace_->close());
        open(length);
    }
    UndoOutcome undo() { return world_.resultOf(workspace_->history().undo(Consent::none)); }
    UndoOutcome redo() { return world_.resultOf(workspace_->history().redo(Consent::none)); }

    Uuid importReceipt() {
        const auto file = world_.folder.write("lunch.png", "\x89PNG\r\n\x1a\nlunch");
        const auto imported =
            world_.resultOf(workspace_->receipts().edits().import({{file, "lunch.png"}}));
        world_.time.settle();
        return imported.added.at(0)->id;
    }
    ReceiptPointer receipt(const Uuid& id) { return workspace_->receipts().service().find(id); }

    testing::TestPlatform world_;
    ProblemLog problems_{world_.log};
    Platform platform_ = world_.platform();
    std::unique_ptr<Workspace> workspace_;
};

TEST_F(WorkspaceTest, ReceiptsAreOpenedWhenTheHistoryNeedsThemAndClosedWithTheLibrary) {
    open();
    const Uuid id = importReceipt();
    CrumbReceipt edited = *receipt(id);
    edited.note = "with Ada";
    world_.resultOf(workspace_->receipts().edits().edit(*receipt(id), edited));
    reopen();
    undo();
    EXPECT_EQ(receipt(id)->note, "");
    reopen();
    undo();
    EXPECT_EQ(receipt(id), nullptr);
    reopen();
    redo();
    redo();
    EXPECT_EQ(receipt(id)->note, "with Ada");
    EXPECT_EQ(receipt(id)->merchant, "Blue Door Bakery");
    world_.resultOf(workspace_->close());
    EXPECT_THROW(workspace_->receipts().service(), Error);
}

TEST_F(WorkspaceTest, AfterARestoreANewOneShowsWhatWasRestoredWithTheHistoryOfItsTime) {
    open();
    const auto title = [&](const char* text) {
        const auto& item = *workspace_->store().items()->front();
        world_.resultOf(workspace_->edits().edit(item.id, {.title = TextPatch{item.title, text}}));
    };
    world_.resultOf(workspace_->edits().add({.sources = {CaptureText{"one", "a text"}}}));
    title("two");
    const std::string snapshot =
        world_.resultOf(workspace_->store().recoverySnapshots().take("requested"));
    title("three");
    world_.resultOf(workspace_->close());
    EXPECT_TRUE(workspace_->store().refusal()) << "it is closed for changes";
    workspace_.reset();
    {
        const auto lock = LibraryLock::acquire(world_.files, world_.layout(), world_.time.now());
        world_.resultOf(beginSnapshotRestore(platform_, world_.layout(), snapshot));
    }
    open();
    ASSERT_EQ(workspace_->store().items()->size(), 1u);
    EXPECT_EQ(workspace_->store().items()->front()->title, "two");
    world_.resultOf(workspace_->history().recover());
    EXPECT_EQ(workspace_->history().steps().size(), 2u);
    EXPECT_EQ(undo().name, "Edit \"one\"");
    EXPECT_EQ(workspace_->store().items()->front()->title, "one");
}

TEST_F(WorkspaceTest, ARestoredArchiveBeginsAHistoryOfItsOwn) {
    open();
    world_.resultOf(workspace_->edits().add({.sources = {CaptureText{"one", "a text"}}}));
    const Path folder = world_.folder / "archive";
    world_.resultOf(beginArchiveExport(
        platform_, world_.layout(),
        CrumbCompleteArchive::gather(workspace_->store(), world_.defaults), folder));
    world_.resultOf(beginRestorePreparation(platform_, world_.layout(), folder));
    world_.resultOf(workspace_->close());
    workspace_.reset();
    EXPECT_EQ(completeWaitingRestores(platform_, world_.layout()).size(), 1u);
    open();
    EXPECT_EQ(workspace_->store().items()->size(), 1u);
    world_.resultOf(workspace_->history().recover());
    EXPECT_TRUE(workspace_->history().steps().empty());
    EXPECT_THROW(undo(), Error);
}

TEST_F(WorkspaceTest, AReceiptsImportThatIsKilledIsDoneOrNotAndTheHistorySaysWhich) {
    for (int k = 1;; ++k) {
        open();
        const std::size_t count = workspace_->receipts().service().receipts()->size();
        world_.resultOf(workspace_->history().recover());
        const std::size_t stepCount = workspace_->history().steps().size();
        int pieces = 0;
        world_.time.hasCrashed = [&] { return ++pieces >= k; };
        bool hasDied = false;
        try {
            importReceipt();
        } catch (const SimulatedCrash&) {
            hasDied = true;
        }
        workspace_.reset();
        world_.time.hasCrashed = {};
        world_.time.settle();
        open();
        world_.resultOf(workspace_->history().recover());
        const auto now = workspace_->receipts().service().receipts()->size();
        EXPECT_EQ(workspace_->history().steps().size() - stepCount, now - count) << k;
        if (!hasDied) break;
        world_.resultOf(workspace_->close());
    }
}

TEST_F(WorkspaceTest, AnExportIsWholeOrNotThereAndLeavesWhatIsProtectedOut) {
    CrumbStore& store = open().store();
    CrumbItem card;
    card.id = Uuid::random();
    card.title = "card";
    markSecure(card);
    CrumbItem crop;
    crop.id = Uuid::random();
    crop.title = "crop";
    crop.sourceItemID = card.id;
    CrumbItem plain;
    plain.id = Uuid::random();
    plain.title = "Cake #baking";
    CrumbItemList records;
    for (const CrumbItem& item : {card, crop, plain}) {
        records.push_back(std::make_shared<const CrumbItem>(item));
    }
    store.addRecords(records, {{plain.id, {"Baking", "sweet"}}}, [](const SaveFailure&) {});
    world_.time.settle();
    const Path path = world_.folder.write("out/lines", "before");
    const auto begin = [&] {
        return startExport(platform_, std::make_shared<LibraryExport>(store), path);
    };
    const std::string whole = jsonLineOf(plain, store.tagsOf(plain.id)) + "\n";
    const auto stopped = begin();
    stopped->stop();
    EXPECT_THROW(world_.resultOf(stopped), Cancelled);
    for (int k = 1;; ++k) {
        world_.files.arm(testing::Fault::diskFull, k);
        const auto operation = begin();
        world_.time.settle();
        if (operation->outcome()->isDone()) break;
        EXPECT_EQ(world_.folder.filesBelow("out"), std::vector<std::string>{"lines"}) << k;
        const std::string content = world_.folder.read("out/lines");
        EXPECT_TRUE(content == "before" || content == whole) << k << ": " << content;
    }
    world_.files.disarm();
    const ExportReport report = world_.resultOf(begin());
    EXPECT_EQ(report.writtenCount, 1u);
    EXPECT_EQ(report.leftOutCount, 2u);
    EXPECT_EQ(world_.folder.read("out/lines"), whole);
}

TEST_F(WorkspaceTest, AReportsChangesAndTheirUndoingAreShownWhileItIsWatched) {
    world_.cloud.available = true;
    testing::UploadedReport upload(Uuid::random());
    upload.attach("a.jpg", "first bytes").upload(world_.folder);
    Workspace& workspace = open(SessionLength::lasting);
    world_.time.settle();
    const auto& shown = workspace.store().fieldReports();
    ASSERT_EQ(shown->size(), 1u);
    world_.resultOf(workspace.reportEdits().rename(upload.id, "Pier 4"));
    EXPECT_EQ(shown->at(0).title, "Pier 4");
    world_.resultOf(workspace.reportEdits().remove(upload.id));
    EXPECT_TRUE(shown->empty());
    undo();
    EXPECT_EQ(shown->at(0).title, "Pier 4");
    reopen();
    undo();
    EXPECT_EQ(FieldReportRepository(platform_, world_.layout()).find(upload.id).value().title,
              "Roof survey");
}

}  // namespace
}  // namespace nookery
