#include <gtest/gtest.h>

#include <set>

#include "fieldreports/FieldReportWorkingCopy.h"
#include "fieldreports/NookeryFieldReportReceiver.h"
#include "support/UploadedReport.h"
#include "workspace/ReceiptEdits.h"
#include "workspace/ReportEdits.h"
#include "workspace/WorkspaceWorld.h"
#include "workspace/history/ReportValues.h"

namespace nookery {
namespace {

using testing::SimulatedCrash;
using testing::WorkspaceWorld;
using Names = std::vector<std::string>;

class ReceiptEditsTest : public ::testing::Test {
  protected:
    ReceiptEditsTest() {
        library_.world.textRecognizer.lines = {{"Blue Door Bakery", {0.1, 0.9, 0.5, 0.02}},
                                               {"TOTAL $22.14", {0.1, 0.2, 0.4, 0.02}}};
        service_.open();
        library_.history->add(values_);
    }

    Uuid import() {
        const auto file = library_.world.folder.write("lunch.png", "\x89PNG\r\n\x1a\nlunch");
        const auto imported = library_.wait(edits_.import({{file, "lunch.png"}}));
        library_.world.time.settle();
        return imported.added.at(0)->id;
    }

    WorkspaceWorld library_;
    ReceiptService service_{library_.platform, library_.world.layout(),
                            [](const OriginalFact&) { return std::vector<OriginalFact>(); }};
    ReceiptValues values_{[this]() -> ReceiptService& { return service_; }};
    ReceiptEdits edits_{library_.platform, [this]() -> ReceiptService& { return service_; },
                        *library_.history};
};

TEST_F(ReceiptEditsTest, AnImportIsTakenBackWithAllThatWasReadAndMadeAgainWithIt) {
    const Uuid id = import();
    const CrumbReceipt read = *service_.find(id);
    EXPECT_EQ(read.merchant, "Blue Door Bakery");
    EXPECT_EQ(library_.stepNames(), Names{"Import 1 receipt"});
    library_.undo();
    EXPECT_EQ(service_.find(id), nullptr);
    library_.redo();
    CrumbReceipt back = *service_.find(id);
    back.modifiedAt = read.modifiedAt;
    EXPECT_EQ(back, read);
    library_.wait(edits_.remove(id));
    library_.undo();
    EXPECT_EQ(service_.find(id)->importedAt, read.importedAt);
    EXPECT_EQ(service_.find(id)->originalFilePath, read.originalFilePath);
}

TEST_F(ReceiptEditsTest, AnEditTakesUpTheFieldsThatStillSayWhatItBeganWith) {
    const Uuid id = import();
    const CrumbReceipt base = *service_.find(id);
    CrumbReceipt meanwhile = base;
    meanwhile.note = "By somebody else";
    service_.save(meanwhile);
    CrumbReceipt edited = base;
    edited.note = "Mine";
    edited.totalCents = Cents{999};
    edited.merchant = "  Bakery ";
    const auto outcome = library_.wait(edits_.edit(base, edited));
    EXPECT_EQ(outcome.conflicts, (std::vector<FieldConflict>{{"note", "By somebody else"}}));
    EXPECT_EQ(service_.find(id)->totalCents, Cents{999});
    EXPECT_EQ(service_.find(id)->merchant, "Bakery");
    library_.undo();
    EXPECT_EQ(service_.find(id)->totalCents, Cents{2214});
    EXPECT_EQ(service_.find(id)->note, "By somebody else");
}

TEST_F(ReceiptEditsTest, ACategoryIsAStepOfItsOwnAndAnUnknownOneIsRefused) {
    library_.wait(edits_.addCategory(" Garden "));
    library_.wait(edits_.addCategory("garden"));
    EXPECT_EQ(library_.stepNames(), Names{"Add category \"Garden\""});
    EXPECT_EQ(edits_.knownCategory("GARDEN"), "Garden");
    library_.undo();
    EXPECT_THROW(edits_.knownCategory("Garden"), Error);
    library_.redo();
    EXPECT_EQ(edits_.knownCategory("garden"), "Garden");
}

class ReportEditsTest : public ::testing::Test {
  protected:
    ReportEditsTest() {
        library_.world.cloud.available = true;
        upload_.attach("a.jpg", "first bytes").upload(library_.world.folder);
        receiver_.start();
        library_.world.time.settle();
        library_.beforeRecovery = [this](History& history) { workOn(history); };
        workOn(*library_.history);
    }

    void workOn(History& history) {
        values_.emplace(library_.platform, library_.world.layout(), [this] {
            if (afterSetting_) afterSetting_();
            receiver_.reload();
        });
        history.add(*values_);
        edits_.emplace(library_.platform, library_.world.layout(), history);
    }

    void expectReport(const std::string& where) {
        ASSERT_EQ(reports_.size(), 1u) << where;
        EXPECT_EQ(reports_[0].title, "Pier 4") << where;
        EXPECT_EQ(library_.history->state()->undoName, "Rename field report \"Roof survey\"")
            << where;
    }

    /// The process ends at the k-th move to or from the trash, or after the last, and starts again.
    void killAt(int k, const std::function<void()>& act) {
        const std::function<void()> point = [k, count = std::make_shared<int>(0)] {
            if (++*count == k) throw SimulatedCrash();
        };
        library_.world.trash.beforeMoving = point;
        afterSetting_ = point;
        EXPECT_THROW(act(), SimulatedCrash) << k;
        library_.world.trash.beforeMoving = {};
        afterSetting_ = {};
        library_.die();
        library_.start();
        receiver_.reload();
        library_.world.time.settle();
    }

    NookeryReportWorkingDraft draft() {
        return FieldReportWorkingCopy(library_.world.files, library_.world.layout(), reports_.at(0))
            .draft();
    }

    WorkspaceWorld library_;
    testing::UploadedReport upload_{Uuid::random()};
    std::vector<NookeryReceivedFieldReport> reports_;
    NookeryFieldReportReceiver receiver_{library_.platform, library_.world.layout(),
                                         [this](const auto& list) { reports_ = list; }};
    std::function<void()> afterSetting_;
    std::optional<ReportValues> values_;
    std::optional<ReportEdits> edits_;
};

TEST_F(ReportEditsTest, OnlyWhatAStepChangedOfADraftIsTakenBack) {
    library_.wait(edits_->rename(upload_.id, "Pier 4"));
    const auto base = draft();
    auto edited = base;
    edited.notes = "All tight.";
    edited.title = "Pier 4, roof";
    EXPECT_TRUE(library_.wait(edits_->saveDraft(upload_.id, base, edited)).conflicts.empty());
    edited.location = "North";
    EXPECT_EQ(library_.wait(edits_->saveDraft(upload_.id, base, edited)).conflicts.size(), 0u);
    EXPECT_EQ(draft().location, "North");
    library_.undo();
    EXPECT_EQ(draft().title, "Pier 4, roof");
    library_.undo();
    EXPECT_EQ(draft(), base);
    library_.undo();
    EXPECT_EQ(reports_.at(0).title, "Roof survey");
}

TEST_F(ReportEditsTest, ADeletedReportComesBackFromTheTrashOrItsLossIsNamed) {
    library_.wait(edits_->rename(upload_.id, "Pier 4"));
    library_.wait(edits_->remove(upload_.id));
    EXPECT_TRUE(reports_.empty());
    library_.undo();
    ASSERT_EQ(reports_.size(), 1u);
    EXPECT_EQ(reports_[0].title, "Pier 4");
    EXPECT_FALSE(
        FieldReportRepository(library_.platform, library_.world.layout()).isDeleted(upload_.id));
    library_.redo();
    std::filesystem::remove_all(library_.world.folder / "trash");
    const auto preview = library_.wait(library_.history->previewUndo());
    EXPECT_TRUE(preview.isImpossible);
    EXPECT_EQ(preview.lost,
              Names{"The field report is not in the trash any more, and cannot come back."});
    EXPECT_THROW(library_.undo(), ConsentNeeded);
    EXPECT_EQ(library_.undo(Consent::given).changeCount, 0);
    EXPECT_EQ(library_.history->state()->undoName, "Rename field report \"Roof survey\"");
}

TEST_F(ReportEditsTest, ADeletionWhoseMovesFailIsNotDoneAndWhatCannotBePutBackIsFoundAgain) {
    library_.wait(edits_->rename(upload_.id, "Pier 4"));
    const auto removeWhileFailing = [&](const std::set<int>& moves) {
        library_.world.trash.beforeMoving = [moves, count = 0]() mutable {
            if (moves.contains(++count)) throw FileError("move", "report", EIO);
        };
        EXPECT_THROW(library_.wait(edits_->remove(upload_.id)), Error);
        library_.world.trash.beforeMoving = {};
    };
    removeWhileFailing({1});
    expectReport("nothing was moved");
    removeWhileFailing({2});
    expectReport("the first move was taken back");
    removeWhileFailing({2, 3});
    EXPECT_TRUE(reports_.empty());
    library_.undo();
    expectReport("the first move could not be taken back");
}

TEST_F(ReportEditsTest, ADeletionThatIsKilledAnywhereIsDoneOrNotAndSoIsItsUndoing) {
    library_.wait(edits_->rename(upload_.id, "Pier 4"));
    for (const int point : {1, 2, 3}) {
        killAt(point, [&] { library_.wait(edits_->remove(upload_.id)); });
        EXPECT_EQ(reports_.empty(), point > 1) << point;
        if (reports_.empty()) library_.undo();
        expectReport("deletion killed at " + std::to_string(point));
    }
    for (const int point : {1, 2, 3}) {
        library_.wait(edits_->remove(upload_.id));
        killAt(point, [&] { library_.undo(); });
        expectReport("undoing killed at " + std::to_string(point));
    }
}

}  // namespace
}  // namespace nookery
