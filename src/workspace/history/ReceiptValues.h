#pragma once

#include <functional>
#include <map>
#include <vector>

#include "receipts/ReceiptService.h"
#include "workspace/history/ValueStore.h"

namespace nookery {

/// The values of a receipt that a person can change, by their names in changes.
struct ReceiptField {
    const char* name;
    Json (*get)(const CrumbReceipt&);
    void (*set)(CrumbReceipt&, const Json&);
};
const std::vector<ReceiptField>& receiptFields();

/// The whole record, as changes keep it.
Json receiptRecord(const CrumbReceipt& receipt);

/// Receipts as whole records and by their fields, and the categories that a person added.
class ReceiptValues final : public ValueStore {
  public:
    /// Gives the service, open for writing. Throws Error when it cannot be opened.
    using Service = std::function<ReceiptService&()>;

    explicit ReceiptValues(Service service) : service_(std::move(service)) {}

    bool holds(ChangedThing thing) const override;
    std::optional<Json> current(const Change& change) const override;
    std::string nameOf(const Change& change) const override;
    bool isWhole(const Change& change) const override;
    Json remembered(const Change& change, const Json& recorded) const override;
    void set(std::vector<Assignment> assignments, SaveReason reason, Saved saved) override;

  private:
    void setAll(const std::vector<Assignment>& assignments);
    void setWhole(const Change& change, const Json& value);
    void setCategory(const std::string& name, bool isThere);

    Service service_;
    /// What receipts said that have gone, until it is asked for.
    std::map<std::string, Json> gone_;
};

}  // namespace nookery
