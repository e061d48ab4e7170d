#pragma once

#include <memory>
#include <optional>

#include "collection/store/CrumbStore.h"
#include "receipts/ReceiptService.h"
#include "workspace/ReceiptEdits.h"
#include "workspace/history/History.h"
#include "workspace/history/ReceiptValues.h"

namespace nookery {

/// The receipts of a library that is open for writing, with what a person changes of them. They are
/// opened when they are first asked for, be it by the history. Main thread. Must not outlive the
/// store and the history.
class Receipts {
  public:
    Receipts(const Platform& platform, const LibraryLayout& layout, CrumbStore& store,
             History& history);

    /// Throws Error when they cannot be opened, or the library is not open for writing.
    ReceiptService& service();
    /// What it does fails where `service` would.
    ReceiptEdits& edits() { return edits_; }
    /// Lets go of the database. What is being taken in or read ends where it is whole.
    void close() { service_.reset(); }

  private:
    std::vector<OriginalFact> recordOriginal(const OriginalFact& fact);

    const Platform& platform_;
    LibraryLayout layout_;
    CrumbStore& store_;
    std::unique_ptr<ReceiptService> service_;
    ReceiptValues values_;
    ReceiptEdits edits_;
};

}  // namespace nookery
