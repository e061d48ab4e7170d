#include "cli/commands/WatchEvents.h"

#include "cli/views/MemoryView.h"

namespace nookery::cli {

WatchEvents::WatchEvents(CommandContext& context, TellEvent tell)
    : context_(context), store_(context.workspace().store()), tell_(std::move(tell)) {
    followInboxes();
    followFieldReports();
    followEnrichment();
    followSnapshots();
    followPhone();
}

void WatchEvents::followInboxes() {
    followed_.push_back(store_.inboxes().report().subscribe([this](const auto& report) {
        if (report) tellTaken(report->taken);
    }));
}

void WatchEvents::tellTaken(const CaptureReport& taken) {
    for (const Uuid& id : taken.added) {
        if (const auto item = store_.item(id)) tell_("added", shownTitle(*item));
    }
    for (const CaptureDuplicate& duplicate : taken.duplicates) {
        tell_("already there", duplicate.source);
    }
    for (const auto* messages : {&taken.skipped, &taken.failed}) {
        for (const CaptureMessage& message : *messages) {
            tell_("not taken in", message.source + ": " + message.message);
        }
    }
}

void WatchEvents::followFieldReports() {
    for (const auto& report : *store_.fieldReports()) knownReports_.insert(report.id);
    followed_.push_back(store_.fieldReports().subscribe([this](const auto& reports) {
        for (const auto& report : reports) {
            if (knownReports_.insert(report.id).second) tell_("field report", report.shownTitle());
        }
    }));
}

void WatchEvents::followEnrichment() {
    lastWaiting_ = *store_.indexingCount();
    followed_.push_back(store_.indexingCount().subscribe([this](int waiting) {
        if (waiting == 0 && lastWaiting_ > 0) tell_("enriched", "nothing waits any more");
        lastWaiting_ = waiting;
    }));
}

/// Snapshots are told by the folders that they become.
void WatchEvents::followSnapshots() {
    const Platform& platform = context_.platform();
    createDirectories(platform.files, context_.layout().snapshots());
    snapshotFolders_ = platform.directoryEvents.watch(
        context_.layout().snapshots(), platform.mainQueue, [this](const DirectoryReport& report) {
            for (const Path& name : report.names) {
                if (parseFolderTimestamp(name.native())) tell_("snapshot", name.native());
            }
        });
}

void WatchEvents::followPhone() {
    followed_.push_back(
        context_.workspace().link().lastRun().subscribe([this](const LinkOutcome& done) {
            if (done.edits.answeredCount() > 0) tell_("edits", done.edits.summary());
            if (done.publish.publishedCount > 0) tell_("published", done.publish.summary());
        }));
}

}  // namespace nookery::cli
