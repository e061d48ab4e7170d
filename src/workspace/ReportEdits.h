#pragma once

#include <string>

#include "fieldreports/FieldReportRepository.h"
#include "fieldreports/NookeryReportWorkingDraft.h"
#include "workspace/MemoryPatch.h"
#include "workspace/history/History.h"

namespace nookery {

/// Every change that a person makes to field reports: each is one step of the history. Files that
/// were added to a working copy stay in its folder when that is undone. Main thread.
class ReportEdits {
  public:
    ReportEdits(const Platform& platform, const LibraryLayout& layout, History& history)
        : platform_(platform), layout_(layout), repository_(platform, layout), history_(history) {}

    /// Gives the report another title in its working copy.
    OperationPointer<Nothing> rename(const Uuid& id, const std::string& title);
    /// Moves the report and its working copy to the trash.
    OperationPointer<Nothing> remove(const Uuid& id);
    /// Changes the fields in which `edited` differs from `base`, the working copy that the person
    /// began with; the list of attachments is one field. One that has changed since is a conflict,
    /// and left alone.
    OperationPointer<PatchOutcome> saveDraft(const Uuid& id, const NookeryReportWorkingDraft& base,
                                             const NookeryReportWorkingDraft& edited);

  private:
    NookeryReceivedFieldReport demand(const Uuid& id) const;
    Json fieldsOf(const NookeryReceivedFieldReport& report) const;

    const Platform& platform_;
    LibraryLayout layout_;
    FieldReportRepository repository_;
    History& history_;
    CallbackGuard guard_;
};

}  // namespace nookery
