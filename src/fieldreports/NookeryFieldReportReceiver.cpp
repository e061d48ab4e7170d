#include "fieldreports/NookeryFieldReportReceiver.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/Log.h"
#include "platform/Problem.h"

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
        logged_.erase("");
        platform_.log.mended({ProblemKind::fieldReport, "", {}});
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
    if (const Failure* failure = outcome.failure()) {
        logOnce(uploadsName, withAdvice(failure->message, failure->advice));
    }
    if (outcome.isDone()) {
        const FieldReportScan& scan = outcome.get();
        for (const auto& failure : scan.failed) logOnce(failure.folderName, failure.message);
        if (scan.unavailable.empty()) forgetMended(scan);
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
    platform_.log.report({{ProblemKind::fieldReport, about, {}}, message, ""});
}

/// The look succeeded, and so did whatever it does not name: in the first look also what an earlier
/// session met.
void NookeryFieldReportReceiver::forgetMended(const FieldReportScan& scan) {
    if (!std::exchange(hasSurveyed_, true)) {
        ProblemSurvey survey{.kind = ProblemKind::fieldReport};
        for (const auto& failure : scan.failed) survey.remaining.push_back(failure.folderName);
        platform_.log.surveyed(survey);
    }
    for (const Uuid& id : scan.received) {
        platform_.log.mended({ProblemKind::fieldReport, id.toString(), {}});
    }
    std::erase_if(logged_, [&](const auto& entry) {
        const std::string& about = entry.first;
        const bool fails =
            std::any_of(scan.failed.begin(), scan.failed.end(),
                        [&](const auto& failure) { return failure.folderName == about; });
        // What has no name went wrong while the reports of this computer were read.
        if (fails || about.empty()) return false;
        platform_.log.mended({ProblemKind::fieldReport, about, {}});
        return true;
    });
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
