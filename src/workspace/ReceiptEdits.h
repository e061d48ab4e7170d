#pragma once

#include <string>
#include <vector>

#include "receipts/ReceiptService.h"
#include "workspace/MemoryPatch.h"
#include "workspace/history/History.h"
#include "workspace/history/ReceiptValues.h"

namespace nookery {

/// Every change that a person makes to receipts: each is one step of the history. What is read from
/// a receipt's file in the background is none. Main thread.
class ReceiptEdits {
  public:
    ReceiptEdits(const Platform& platform, ReceiptValues::Service service, History& history)
        : platform_(platform), service_(std::move(service)), history_(history) {}

    /// As the category is spelled where it is known. Throws Error for one that nobody added.
    std::string knownCategory(const std::string& given) const;

    /// Changes the fields in which `edited` differs from `base`, the record that the person began
    /// with. One that has changed since is a conflict, and left alone.
    OperationPointer<PatchOutcome> edit(const CrumbReceipt& base, CrumbReceipt edited,
                                        std::optional<EditingToken> token = {});
    /// Removes the record; its preserved file stays.
    OperationPointer<Nothing> remove(const Uuid& id);
    OperationPointer<Nothing> addCategory(const std::string& name);
    /// As ReceiptService::import.
    OperationPointer<ReceiptImport> import(std::vector<ReceiptSource> sources);

  private:
    const Platform& platform_;
    ReceiptValues::Service service_;
    History& history_;
    CallbackGuard guard_;
};

}  // namespace nookery
