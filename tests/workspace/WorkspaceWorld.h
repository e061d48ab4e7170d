#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "collection/store/CrumbStore.h"
#include "support/TestPlatform.h"
#include "workspace/Edits.h"

namespace nookery::testing {

/// A library with its history, on virtual time, that can be ended and started again.
class WorkspaceWorld {
  public:
    WorkspaceWorld() { start(); }

    void start(LibraryExtent extent = LibraryExtent::index);
    /// As a program that ends in order.
    void end();
    void restart(LibraryExtent extent = LibraryExtent::index) {
        end();
        start(extent);
    }
    /// As a killed process: what is in memory is gone, and faults with it.
    void die();

    template <typename Result>
    Result wait(const OperationPointer<Result>& operation) {
        return world.resultOf(operation);
    }

    Uuid addNote(const std::string& title, const std::string& text = "");
    /// With an original in `Items` that says `content`.
    Uuid addFile(const std::string& name, const std::string& content);
    /// Any record, as one that came from elsewhere: no step.
    void bringIn(const CrumbItem& item);
    /// As the background or the phone changes a record: no step.
    void changeBeside(const Uuid& id, const std::function<void(CrumbItem&)>& change);

    UndoOutcome undo(Consent consent = Consent::none) { return wait(history->undo(consent)); }
    UndoOutcome redo(Consent consent = Consent::none) { return wait(history->redo(consent)); }
    void retitle(const Uuid& id, const std::string& title, std::optional<EditingToken> token = {});

    std::string titleOf(const Uuid& id) const {
        return store->item(id) ? store->item(id)->title : "-";
    }
    /// All that a library says of its memories and groups, as one text.
    std::string says() const;
    std::vector<std::string> stepNames() const;
    std::string contentOf(const Uuid& id);
    /// All bytes of the sidecar and its log.
    std::string sidecarBytes();

    TestPlatform world;
    Platform platform = world.platform();
    /// Called with each new history before it recovers, to add what it knows beside the library.
    std::function<void(History&)> beforeRecovery;
    std::unique_ptr<CrumbStore> store;
    std::unique_ptr<History> history;
    std::unique_ptr<Edits> edits;
};

}  // namespace nookery::testing
