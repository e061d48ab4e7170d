#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/MemoryView.h"
#include "cli/Session.h"
#include "cli/TextLayout.h"
#include "platform/CloudContainer.h"
#include "platform/DirectoryEvents.h"

namespace nookery::cli {
namespace {

/// Tells what happens, one line each, as it happens.
class EventLines {
  public:
    explicit EventLines(Session& session) : session_(session) {}

    void tell(std::string_view event, const std::string& text) {
        const Date now = session_.now();
        if (session_.wantsJson()) {
            session_.print({{"time", toIso8601(now)}, {"event", event}, {"text", text}});
        } else {
            session_.out().writeLine(
                printable(fmt::format("{} {}: {}", exactDate(now), event, text)));
        }
        session_.out().flush();
    }

    void tell(const CrumbStore& store, const InboxReport& report) {
        for (const Uuid& id : report.taken.added) {
            const auto item = store.item(id);
            if (item) tell("added", shownTitle(*item));
        }
        for (const CaptureDuplicate& duplicate : report.taken.duplicates) {
            tell("already there", duplicate.source);
        }
        for (const auto* messages : {&report.taken.skipped, &report.taken.failed}) {
            for (const CaptureMessage& message : *messages) {
                tell("not taken in", message.source + ": " + message.message);
            }
        }
    }

    void tellSnapshots(const DirectoryReport& report) {
        for (const Path& name : report.names) {
            if (parseFolderTimestamp(name.native())) tell("snapshot", name.native());
        }
    }

  private:
    Session& session_;
};

std::string placesWatched(Session& session) {
    const CloudLookup cloud = session.platform().cloud.locate();
    return displayName(session.layout().inbox()) + (cloud.container
                                                        ? " and " + displayName(*cloud.container)
                                                    : cloud.isWanted ? ". " + cloud.reason
                                                                     : "");
}

int runWatch(Session& session, const Arguments&) {
    EventLines lines(session);
    CrumbStore& store = session.open(LibraryAccess::writing, SessionLength::lasting);
    const auto reports = store.inboxReport().subscribe([&](const auto& report) {
        if (report) lines.tell(store, *report);
    });
    int lastWaiting = *store.indexingCount();
    const auto enrichment = store.indexingCount().subscribe([&](int waiting) {
        if (waiting == 0 && lastWaiting > 0) lines.tell("enriched", "nothing waits any more");
        lastWaiting = waiting;
    });
    const Platform& platform = session.platform();
    createDirectories(platform.files, session.layout().snapshots());
    const auto snapshots = platform.directoryEvents.watch(
        session.layout().snapshots(), platform.mainQueue,
        [&](const DirectoryReport& report) { lines.tellSnapshots(report); });
    lines.tell("watching", placesWatched(session));
    session.waitUntil([&] { return session.isInterrupted(); });
    lines.tell("ended", "what was taken in is whole");
    return exitDone;
}

}  // namespace

Command watchCommand() {
    return {.name = "watch",
            .summary = "Take in what arrives in the inbox folders until interrupted",
            .examples = {{"watch", "Ctrl-C ends it"}},
            .notes =
                "Also takes recovery snapshots when they are due and does the background "
                "work. One line for each thing that happens.",
            .isLasting = true,
            .run = runWatch};
}

}  // namespace nookery::cli
