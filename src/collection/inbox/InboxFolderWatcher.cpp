#include "collection/inbox/InboxFolderWatcher.h"

#include <algorithm>

#include "collection/inbox/InboxScan.h"
#include "platform/CloudContainer.h"
#include "platform/Log.h"
#include "platform/Problem.h"

namespace nookery {

InboxFolderWatcher::InboxFolderWatcher(const Platform& platform, const InboxDelays& delays,
                                       InboxHandler handler, std::string cleanupErrorPrefix)
    : platform_(platform),
      delays_(delays),
      handler_(std::move(handler)),
      scanner_(platform, std::move(cleanupErrorPrefix),
               [this](const InboxPackage& package) { return whyNotReady(package); }) {}

void InboxFolderWatcher::start() {
    onQueue([this] {
        mode_ = Mode::watching;
        open();
    });
}

void InboxFolderWatcher::takeOnce(Finished finished) {
    onQueue([this, finished = std::move(finished)] {
        asked_.push_back({finished});
        if (mode_ == Mode::watching) return inbox_ ? scan() : open();
        mode_ = Mode::once;
        try {
            inbox_ = findInbox();
        } catch (const Error& error) {
            return lose(error.description());
        }
        if (inbox_) return scan();
        answer({});
    });
}

void InboxFolderWatcher::stop() {
    platform_.inboxQueue.sync([this] {
        mode_ = Mode::stopped;
        source_.reset();
        for (DelayedWork* item :
             {&debounceWorkItem_, &longestDebounceItem_, &retryWorkItem_, &pollWorkItem_}) {
            item->cancel();
        }
    });
}

void InboxFolderWatcher::open() {
    retryWorkItem_.cancel();
    inbox_ = openInbox();
    if (inbox_) return scan();
    lose();
}

/// Nothing is concluded from an inbox that is not there: it is looked for again.
void InboxFolderWatcher::lose(const std::string& reason) {
    const Path lost = inbox_.value_or(Path());
    inbox_.reset();
    source_.reset();
    debounceWorkItem_.cancel();
    pollWorkItem_.cancel();
    retryWorkItem_.cancel();
    StabilityTracker::Readiness readiness;
    if (!reason.empty()) readiness.waiting.push_back({lost, reason});
    answer(readiness);
    if (mode_ != Mode::watching) return;
    retryWorkItem_ = later(delays_.retry, [this] { open(); });
}

void InboxFolderWatcher::watchFolder(const Path& folder) {
    source_.reset();
    source_ = platform_.directoryEvents.watch(
        folder, platform_.inboxQueue, [weak = weak_from_this()](const DirectoryReport& report) {
            const auto self = weak.lock();
            if (self && self->mode_ == Mode::watching) self->handleReport(report);
        });
}

void InboxFolderWatcher::handleReport(const DirectoryReport& report) {
    if (!inbox_) return;
    if (report.isGone) return lose();
    const bool matters =
        report.overflowed || std::any_of(report.names.begin(), report.names.end(), [&](auto& name) {
            return !isNobodysMaterial(name, platform_.cloud);
        });
    if (matters) scheduleScan();
}

void InboxFolderWatcher::scheduleScan() {
    debounceWorkItem_.cancel();
    debounceWorkItem_ = later(delays_.debounce, [this] { scan(); });
    if (!longestDebounceItem_.isPending()) {
        longestDebounceItem_ = later(delays_.longestDebounce, [this] { scan(); });
    }
}

void InboxFolderWatcher::scan() {
    debounceWorkItem_.cancel();
    longestDebounceItem_.cancel();
    if (!inbox_) return;
    try {
        demandUsable(*inbox_);
        const StabilityTracker::Readiness readiness = scanner_.check(*inbox_);
        reportWaiting(readiness.waiting);
        if (!readiness.stable.empty()) handOver(readiness.stable);
        scheduleNext(readiness);
    } catch (const Error& error) {
        lose(error.description());
    }
}

void InboxFolderWatcher::scheduleNext(const StabilityTracker::Readiness& readiness) {
    if (readiness.sawNews) {
        later(delays_.settling, [this, round = readiness.round] {
            scanner_.ripen(round);
            scan();
        });
    }
    answer(readiness);
    if (mode_ != Mode::watching) return;
    pollWorkItem_.cancel();
    const bool somethingWaits =
        eventsTellAll() ? readiness.folderWaits : !readiness.waiting.empty();
    if (somethingWaits || !eventsTellAll()) {
        pollWorkItem_ =
            later(somethingWaits ? delays_.rescan : delays_.idleRescan, [this] { scan(); });
    }
    if (scanner_.hasRetries() && !retryWorkItem_.isPending()) {
        retryWorkItem_ = later(delays_.retry, [this] {
            retryWorkItem_.cancel();
            scanner_.retry();
            scan();
        });
    }
}

void InboxFolderWatcher::handOver(std::vector<InboxUnit> units) {
    ++handoversUnderWay_;
    auto shared = std::make_shared<const std::vector<InboxUnit>>(std::move(units));
    handler_(*shared, [weak = weak_from_this(), shared,
                       &queue = platform_.inboxQueue](const InboxOutcome& outcome) {
        queue.async([weak, shared, outcome] {
            const auto self = weak.lock();
            if (self && self->mode_ != Mode::stopped) self->close(*shared, outcome);
        });
    });
}

void InboxFolderWatcher::close(const std::vector<InboxUnit>& units, const InboxOutcome& outcome) {
    --handoversUnderWay_;
    scanner_.close(units, outcome);
    inbox_ ? scan() : lose();
}

void InboxFolderWatcher::answer(const StabilityTracker::Readiness& readiness) {
    std::erase_if(asked_, [&](Asked& asked) {
        if (asked.round == 0) asked.round = readiness.round;
        // What changed after they had asked is not waited for: it may go on changing.
        const bool settles = readiness.settlingRound > 0 && readiness.settlingRound <= asked.round;
        if (handoversUnderWay_ > 0 || settles) return false;
        platform_.mainQueue.async([finished = std::move(asked.finished),
                                   waiting = readiness.waiting] { finished(waiting); });
        return true;
    });
    if (mode_ == Mode::once && asked_.empty()) mode_ = Mode::stopped;
}

std::optional<std::string> InboxFolderWatcher::whyNotReady(const InboxPackage& package) {
    try {
        const auto missing = filesMissingFrom(platform_.files, platform_.cloud, package);
        for (const Path& file : missing) {
            if (platform_.cloud.presence(file) == CloudPresence::placeholder) reportMissing(file);
        }
        if (missing.empty()) return std::nullopt;
        return reasonToWaitFor(missing.back(), package);
    } catch (const Error&) {
        return std::nullopt;  // for the one who takes it to refuse, with the reason
    }
}

void InboxFolderWatcher::failOnce(const Path& inbox, const std::string& line, const Error& error) {
    if (line == lastLogged_) return;
    lastLogged_ = line;
    platform_.log.line(line);
    platform_.log.report({{ProblemKind::inbox, inbox, {}}, error.description(), error.advice()});
}

void InboxFolderWatcher::wentWell(const Path& inbox) {
    lastLogged_.clear();
    platform_.log.mended({ProblemKind::inbox, inbox, {}});
}

void InboxFolderWatcher::onQueue(std::function<void()> work) {
    platform_.inboxQueue.async(whileAlive(std::move(work)));
}

DelayedWork InboxFolderWatcher::later(WorkQueue::Delay delay, std::function<void()> work) {
    return platform_.inboxQueue.after(delay, whileAlive(std::move(work)));
}

std::function<void()> InboxFolderWatcher::whileAlive(std::function<void()> work) {
    return [weak = weak_from_this(), work = std::move(work)] {
        const auto self = weak.lock();
        if (self && self->mode_ != Mode::stopped) work();
    };
}

}  // namespace nookery
