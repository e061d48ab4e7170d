#include "fieldreports/NookeryFieldReportReceiver.h"

#include <fmt/format.h>

#include "platform/Log.h"

namespace nookery {
namespace {

/// A sync client tells nobody what it brings, least of all into folders of folders.
constexpr WorkQueue::Delay scanInterval{5};

}  // namespace

NookeryFieldReportReceiver::NookeryFieldReportReceiver(const Platform& platform,
                                                       const LibraryLayout& layout, Handler handler)
    : platform_(platform),
      shelf_(std::make_shared<FieldReportRepository>(platform, layout)),
      handler_(std::move(handler)) {}

NookeryFieldReportReceiver::~NookeryFieldReportReceiver() { nextScan_.cancel(); }

void NookeryFieldReportReceiver::start() {
    platform_.log.line("NOOKERY Field Reports: receiver start called from CrumbStore");
    try {
        shelf_->removeLeftovers();
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
        const Reports reports = shelf_->load();
        handler_(reports);
        return reports.size();
    } catch (const Error& error) {
        logOnce("", error.description());
        return std::nullopt;
    }
}

void NookeryFieldReportReceiver::scan() {
    if (importInProgress_) return;
    importInProgress_ = true;
    nextScan_.cancel();
    auto finished = guard_.guarded([this](const FieldReportScan& scan) { finish(scan); });
    platform_.linkQueue.async([platform = platform_, shelf = shelf_, finished] {
        FieldReportScan scan;
        try {
            scan = scanFieldReports(platform, *shelf);
        } catch (const std::exception& error) {
            scan.failed.push_back({"NookeryFieldReports", error.what()});
        }
        platform.mainQueue.async([finished, scan]() mutable { finished(scan); });
    });
}

void NookeryFieldReportReceiver::finish(const FieldReportScan& scan) {
    importInProgress_ = false;
    for (const auto& failure : scan.failed) logOnce(failure.folderName, failure.message);
    if (!scan.received.empty()) deliver();
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
    shelf_->rename(report, title);
    deliver();
}

void NookeryFieldReportReceiver::remove(const NookeryReceivedFieldReport& report) {
    shelf_->remove(report);
    deliver();
}

}  // namespace nookery
