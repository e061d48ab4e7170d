#pragma once

#include <memory>
#include <optional>
#include <string>

#include "cli/context/CommandContext.h"
#include "cli/views/Ids.h"
#include "receipts/ReceiptService.h"

/// How commands open the receipts, name them and show them.
namespace nookery::cli {

/// The receipts, opened for one command.
class OpenReceipts {
  public:
    /// With the library. Makes what is missing of it.
    static Coroutine<OpenReceipts> forWriting(CommandContext& context);
    /// Beside whoever has the library. Throws Error when there is no library at all.
    static Coroutine<OpenReceipts> forReading(CommandContext& context);

    ReceiptService& service() { return *service_; }
    /// The receipt whose id begins with `prefix`. Throws Error when there is none, or several.
    CrumbReceipt find(const std::string& prefix) const;

  private:
    explicit OpenReceipts(ReceiptService& service) : service_(&service) {}
    explicit OpenReceipts(std::unique_ptr<ReceiptService> own)
        : own_(std::move(own)), service_(own_.get()) {}

    std::unique_ptr<ReceiptService> own_;  ///< null where the workspace has it
    ReceiptService* service_;
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
