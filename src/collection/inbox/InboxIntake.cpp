#include "collection/inbox/InboxIntake.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace nookery {

InboxIntake::InboxIntake(const Platform& platform, const LibraryLayout& layout, Sidecar& sidecar,
                         Library& library, CaptureService& capture)
    : library_(library),
      capture_(capture),
      packages_(platform, layout, sidecar, library, capture) {}

InboxIntake::~InboxIntake() { stop_.request_stop(); }

void InboxIntake::take(InboxKind inbox, std::vector<InboxUnit> units,
                       std::function<void(InboxOutcome)> reply) {
    Job job{.inbox = inbox, .packages = {}, .files = {}, .reply = std::move(reply)};
    job.report.inbox = inbox;
    for (InboxUnit& unit : units) {
        for (const InboxFile& file : unit.files) job.files.push_back(file.path);
        for (InboxPackage& package : unit.packages) job.packages.push_back(std::move(package));
    }
    std::reverse(job.packages.begin(), job.packages.end());
    job.leftCount = job.files.size() + job.packages.size();
    jobs_.push_back(std::move(job));
    if (jobs_.size() == 1) beginNext();
}

/// For its own caller, whoever's handover ended just now.
void InboxIntake::beginNext() {
    if (jobs_.empty()) return;
    const CallerScope scope(jobs_.front().caller);
    begin();
}

void InboxIntake::begin() {
    Job& job = jobs_.front();
    publishLeftCount(job.leftCount);
    if (job.files.empty()) return takeNextPackage();
    CaptureRequest request;
    for (const Path& file : job.files) {
        request.sources.push_back(CaptureFile{.path = file, .mayBeLink = false});
    }
    const auto operation = capture_.capture(std::move(request));
    operation->stopWith(stop_.get_token());
    progress_ =
        operation->progress().subscribe([this, total = job.leftCount](const auto& progress) {
            if (progress) publishLeftCount(total - std::min<std::size_t>(total, progress->done));
        });
    operation->whenFinished(guard_.guarded([this](const Outcome<CaptureReport>& outcome) {
        progress_.reset();
        recordFiles(reportOf(outcome));
    }));
}

void InboxIntake::recordFiles(const CaptureReport& report) {
    Job& job = jobs_.front();
    append(job.report.taken, report);
    std::unordered_set<std::string> taken;
    for (const CaptureOrigin& origin : report.origins) {
        job.outcome.taken.push_back({origin.path, origin.status, heldOriginal(origin)});
        taken.insert(origin.path.native());
    }
    std::unordered_map<std::string, std::string> reasons;
    for (const auto* messages : {&report.failed, &report.skipped}) {
        for (const CaptureMessage& message : *messages) {
            reasons.emplace(message.source, message.message);
        }
    }
    for (const Path& file : job.files) {
        if (taken.contains(file.native())) continue;
        auto reason = reasons.find(displayName(file));
        if (reason == reasons.end()) reason = reasons.find("");  // why nothing was taken at all
        job.outcome.failures.push_back(
            {file, reason == reasons.end() ? "It was not taken in." : reason->second});
    }
    takeNextPackage();
}

std::optional<HeldOriginal> InboxIntake::heldOriginal(const CaptureOrigin& origin) const {
    const auto item = origin.wasKnown ? library_.find(origin.memoryID) : nullptr;
    if (!item || !item->filePath) return std::nullopt;
    return HeldOriginal{*item->filePath, origin.digest};
}

void InboxIntake::takeNextPackage() {
    Job& job = jobs_.front();
    publishLeftCount(job.packages.size());
    if (job.packages.empty() || stop_.stop_requested()) return finish();
    const InboxPackage package = std::move(job.packages.back());
    job.packages.pop_back();
    packages_.take(package, stop_.get_token(), guard_.guarded([this](PackageOutcome outcome) {
        recordPackage(std::move(outcome));
    }));
}

void InboxIntake::recordPackage(PackageOutcome outcome) {
    Job& job = jobs_.front();
    append(job.report.taken, outcome.report);
    for (InboxTaken& taken : outcome.taken) job.outcome.taken.push_back(std::move(taken));
    if (outcome.failure) job.outcome.failures.push_back(std::move(*outcome.failure));
    takeNextPackage();
}

void InboxIntake::finish() {
    Job job = std::move(jobs_.front());
    for (const InboxPackage& package : job.packages) {
        job.outcome.failures.push_back({package.path, "It was not taken in."});
    }
    publishLeftCount(0);
    jobs_.pop_front();
    report_.set(job.report);
    job.reply(std::move(job.outcome));
    beginNext();
}

void InboxIntake::publishLeftCount(std::size_t count) {
    const bool isLocal = jobs_.front().inbox == InboxKind::local;
    library_.setIntakeCount(isLocal ? IntakeRoad::localInbox : IntakeRoad::cloudInbox,
                            static_cast<int>(count));
}

}  // namespace nookery
