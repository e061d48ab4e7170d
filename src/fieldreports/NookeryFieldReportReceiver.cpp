#include "fieldreports/NookeryFieldReportReceiver.h"

#include <fmt/format.h>

#include "platform/Log.h"

namespace nookery {
namespace {

/// A sync client tells nobody what it brings, least of all into folders of folders.
constexpr WorkQueue::Delay scanInterval{5};
/// The upload place, as a failure of the whole look names it.
constexpr const char* uploadsName = "NookeryFieldReports";

}  // namespace

NookeryFieldReportReceiver::NookeryFieldReportReceiver(const Platform& platform,
                                                       const LibraryLayout& layout, Handler handler)
    : platform_(platform),
      repository_(std::make_shared<FieldReportRepository>(platform, layout)),
      handler_(std::move(handler)) {}

NookeryFieldReportReceiver::~NookeryFieldReportReceiver() { stop(); }

void NookeryFieldReportReceiver::start() {
    platform_.log.line("NOOKERY Field Reports: receiver start called from CrumbStore");
    try {
        repository_->removeLeftovers();
    } catch (const Error& error) {
        logOnce("", error.description());
    }
    if (const auto count = deliver()) {
        platform_.log.line(
            fmt::format("NOOKERY Field Reports: {} reports loaded into store", *count));
    }
    scan();
}

/// How many reports there are; none when they cannot be read, which is logged.
std::optional<std::size_t> NookeryFieldReportReceiver::deliver() {
    try {
        const Reports reports = repository_->load();
        handler_(reports);
        return reports.size();
    } catch (const Error& error) {
        logOnce("", error.description());
        return std::nullopt;
    }
}

void NookeryFieldReportReceiver::scan() {
    if (scan_ || isStopping_) return;
    nextScan_.cancel();
    scan_ = scanFieldReports(platform_, repository_);
    isBusy_.set(true);
    scan_->whenFinished(guard_.guarded([this](const auto& outcome) { finish(outcome); }));
}

void NookeryFieldReportReceiver::stop() {
    isStopping_ = true;
    nextScan_.cancel();
    if (scan_) scan_->stop();
}

void NookeryFieldReportReceiver::finish(const Outcome<FieldReportScan>& outcome) {
    scan_ = nullptr;
    if (const Failure* failure = outcome.failure()) logOnce(uploadsName, failure->message);
    if (outcome.isDone()) {
        const FieldReportScan& scan = outcome.get();
        for (const auto& failure : scan.failed) logOnce(failure.folderName, failure.message);
        if (!scan.received.empty()) deliver();
    }
    isBusy_.set(false);
    if (isStopping_) return;
    nextScan_ = platform_.mainQueue.after(scanInterval, guard_.guarded([this] { this->scan(); }));
}

void NookeryFieldReportReceiver::logOnce(const std::string& about, const std::string& message) {
    const auto [entry, isNew] = logged_.try_emplace(about, message);
    if (!isNew && entry->second == message) return;
    entry->second = message;
    platform_.log.line(
        fmt::format("NOOKERY Field Report import error ({}): {}", displayName(about), message));
}

void NookeryFieldReportReceiver::rename(const NookeryReceivedFieldReport& report,
                                        const std::string& title) {
    repository_->rename(report, title);
    deliver();
}

void NookeryFieldReportReceiver::remove(const NookeryReceivedFieldReport& report) {
    repository_->remove(report);
    deliver();
}

}  // namespace nookery
