#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "collection/capture/CaptureRecovery.h"
#include "collection/capture/CaptureService.h"
#include "collection/database/Sidecar.h"
#include "collection/store/MemoryList.h"
#include "support/TestPlatform.h"

namespace nookery::testing {

/// A capture service over a list of records that stands for the collection database.
class CaptureHarness final : private Library {
  public:
    explicit CaptureHarness(TestPlatform& testWorld)
        : CaptureHarness(testWorld, testWorld.layout()) {}
    /// On a library that another world has made.
    CaptureHarness(TestPlatform& testWorld, const LibraryLayout& libraryLayout);

    /// Captures, lets everything run, and returns the report.
    CaptureReport run(CaptureRequest request, std::stop_token stop = {});
    /// What a start does about an earlier run that was killed.
    void recover() {
        removeInterruptedCaptures(platform, layout, sidecar, [this] { return *records.all(); });
    }
    CaptureReport add(std::vector<CaptureSource> sources) { return run({.sources = sources}); }

    CrumbItemPointer only(const CaptureReport& report) const {
        return report.added.size() == 1 ? records.find(report.added.front()) : nullptr;
    }
    /// The names in `Items`, and nothing that is not an original's own name among them.
    std::set<std::string> namesInItems() const;
    /// Every original in `Items` belongs to a record and every record's original is there; nothing
    /// is noted as pending. Otherwise says what is wrong.
    std::string disorder();

    TestPlatform& world;
    LibraryLayout layout;
    Platform platform;
    MemoryList records;
    std::map<Uuid, std::vector<std::string>> tags;
    std::vector<IntakeNotice> notices;
    /// Asked before a commit; a reason makes it fail.
    std::function<SaveFailure()> beforeCommit;
    std::function<void()> afterCommit;
    /// Called when the service wants to see all records.
    std::function<void()> beforeLook;
    Sidecar sidecar;
    CaptureService service;

  private:
    CrumbItemPointer find(const Uuid& id) const override { return records.find(id); }
    const CrumbItemList& all() const override;
    ReadAll allReader() const override {
        return [looked = all()] { return looked; };
    }
    SaveFailure refusal() const override { return {}; }
    bool isClosed(const Uuid&) const override { return false; }
    void add(const std::vector<NewMemory>& memories, CommitEnded ended) override;
    SaveFailure saveReadings(const CrumbItemList&, const SQLiteDatabase::Embeddings&,
                             const std::string&) override {
        return {};
    }
    SaveFailure makeDurable() override { return {}; }
    void announceChanges() override {}
    void announce(const IntakeNotice& notice) override { notices.push_back(notice); }
    void setIntakeCount(IntakeRoad, int) override {}
};

}  // namespace nookery::testing
