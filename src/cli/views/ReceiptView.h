#pragma once

#include <memory>
#include <optional>
#include <string>

#include "cli/context/CommandContext.h"
#include "cli/views/Ids.h"
#include "collection/database/LibraryLock.h"
#include "collection/database/Sidecar.h"
#include "receipts/ReceiptService.h"

/// How commands open the receipts, name them and show them.
namespace nookery::cli {

/// The receipts, opened for one command.
class OpenReceipts {
  public:
    /// Under the library's lock. Makes what is missing of the library.
    static OpenReceipts forWriting(CommandContext& context);
    /// Beside whoever has the library. Throws Error when there is no library at all.
    static OpenReceipts forReading(CommandContext& context);

    ReceiptService& service() { return *service_; }
    /// The receipt whose id begins with `prefix`. Throws Error when there is none, or several.
    CrumbReceipt find(const std::string& prefix) const;

  private:
    explicit OpenReceipts(CommandContext& context);

    std::optional<LibraryLock> lock_;
    std::shared_ptr<std::optional<Sidecar>> sidecar_;
    std::unique_ptr<ReceiptService> service_;
};

/// A receipt as every command's JSON gives it; absent values are null.
OrderedJson receiptJson(const CrumbReceipt& receipt);

ShortIds shortIdsOf(const ReceiptService& service);
/// One line a receipt in aligned columns: id, date, amount, merchant, type, classification.
void printReceiptTable(CommandContext& context, const ReceiptService& service,
                       const ReceiptList& receipts);
/// All that is known of one receipt.
void printReceipt(CommandContext& context, const CrumbReceipt& receipt);

/// Answers a command that made or changed one receipt.
int answerWith(CommandContext& context, const ReceiptService& service, const Uuid& id);

/// The raw values of receipt types, of classifications: the words of an option.
std::vector<std::string> receiptTypeWords();
std::vector<std::string> classificationWords();

}  // namespace nookery::cli
