#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fieldreports/FieldReportRepository.h"
#include "fieldreports/FieldReportScan.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"

namespace nookery {

/// Brings in the reports that the phone uploads, and keeps the list of them. Main thread; it copies
/// on the link queue.
class NookeryFieldReportReceiver final : public FieldReportReceiver {
  public:
    using Reports = std::vector<NookeryReceivedFieldReport>;
    /// Called on the main thread with the full list whenever it may have changed.
    using Handler = std::function<void(const Reports&)>;

    NookeryFieldReportReceiver(const Platform& platform, const LibraryLayout& layout,
                               Handler handler);
    ~NookeryFieldReportReceiver() override;

    /// Delivers the local reports, then looks at the upload place now and every few seconds. Call
    /// once. Whatever fails is logged.
    void start();
    /// Looks at the upload place. Ignored while a look is under way, and after `stop`.
    void scan();
    /// Begins no more looks, and ends the one that is under way before its next report. Nothing
    /// works for the receiver any more once no import is in progress.
    void stop();
    bool importInProgress() const { return *isBusy_; }
    const Published<bool>& isBusy() const { return isBusy_; }
    /// Delivers the list as it is on disk now.
    void reload() { deliver(); }

    // Both also work before the start, and deliver the list when they succeed.
    void rename(const NookeryReceivedFieldReport& report, const std::string& title) override;
    void remove(const NookeryReceivedFieldReport& report) override;

  private:
    std::optional<std::size_t> deliver();
    void finish(const Outcome<FieldReportScan>& outcome);
    void logOnce(const std::string& about, const std::string& message);
    void forgetMended(const FieldReportScan& scan);

    Platform platform_;
    /// Shared with a look that is under way when this is destroyed.
    std::shared_ptr<FieldReportRepository> repository_;
    Handler handler_;
    OperationPointer<FieldReportScan> scan_;  ///< null while none is under way
    Published<bool> isBusy_{false};
    bool isStopping_ = false;
    bool hasSurveyed_ = false;
    DelayedWork nextScan_;
    /// What was last logged about each folder, so that a bad one is not told of every few seconds.
    std::map<std::string, std::string> logged_;
    CallbackGuard guard_;
};

}  // namespace nookery
