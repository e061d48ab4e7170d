#pragma once

#include <functional>
#include <string>
#include <vector>

#include "foundation/Published.h"
#include "records/NookeryReceivedFieldReport.h"
#include "records/SaveFailure.h"

namespace nookery {

/// The field reports from the phone, as the store publishes them. A receiver brings them in and
/// carries changes out; while there is none, changes fail. Main thread.
class FieldReportEdits {
  public:
    const Published<std::vector<NookeryReceivedFieldReport>>& reports() const { return reports_; }
    /// What the receiver found.
    void setReports(std::vector<NookeryReceivedFieldReport> reports) {
        reports_.set(std::move(reports));
    }
    /// Null for none; it must stay until another is set.
    void setReceiver(FieldReportReceiver* receiver) { receiver_ = receiver; }

    SaveFailure rename(const NookeryReceivedFieldReport& report, const std::string& title);
    SaveFailure remove(const NookeryReceivedFieldReport& report);

  private:
    SaveFailure change(const std::function<void(FieldReportReceiver&)>& change);

    Published<std::vector<NookeryReceivedFieldReport>> reports_;
    FieldReportReceiver* receiver_ = nullptr;
};

}  // namespace nookery
