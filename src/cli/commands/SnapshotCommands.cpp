#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "cli/commands/Commands.h"
#include "cli/output/TextLayout.h"
#include "cli/session/Session.h"
#include "collection/database/LibraryLock.h"
#include "collection/safety/CrumbRecoverySnapshots.h"
#include "collection/safety/SnapshotRestore.h"
#include "collection/safety/SnapshotShelf.h"

namespace nookery::cli {
namespace {

std::vector<SnapshotSummary> summaries(Session& session) {
    return SnapshotShelf(session.platform().files, session.layout().snapshots()).summaries();
}

OrderedJson summaryJson(const SnapshotSummary& summary) {
    OrderedJson document{{"name", summary.name},
                         {"createdAt", toIso8601(summary.createdAt)},
                         {"reason", summary.reason},
                         {"managedFileCount", summary.managedFileCount},
                         {"byteCount", summary.byteCount}};
    if (summary.problem) document["problem"] = *summary.problem;
    return document;
}

int runList(Session& session, const Arguments&) {
    session.demandLibrary();
    OrderedJson list = OrderedJson::array();
    for (const SnapshotSummary& summary : summaries(session)) {
        list.push_back(summaryJson(summary));
        if (session.wantsJson()) continue;
        session.out().writeLine(fmt::format(
            "{}  {}  {}", session.style().inTitle(summary.name),
            summary.problem ? "cannot be read: " + printable(*summary.problem)
                            : padded(printable(summary.reason), 22) + "  " +
                                  counted(static_cast<std::size_t>(summary.managedFileCount),
                                          "original", "originals"),
            spokenByteCount(static_cast<double>(summary.byteCount))));
    }
    if (session.wantsJson()) {
        session.print({{"snapshots", std::move(list)}});
    } else if (list.empty()) {
        session.say("There is no snapshot yet.");
    }
    return exitDone;
}

int runTake(Session& session, const Arguments&) {
    const CrumbStore& store = session.open(LibraryAccess::writing);
    std::optional<CrumbRecoverySnapshots::Outcome> outcome;
    store.recoverySnapshots()->take(
        "by-hand",
        [&](const SnapshotProgress& progress) {
            session.messages().progress(
                fmt::format("snapshot: {} of {}", progress.done, progress.total));
        },
        session.stop(), [&](const auto& finished) { outcome = finished; });
    session.waitUntil([&] { return outcome.has_value(); });
    if (!outcome->snapshotName && session.isInterrupted()) throw Cancelled();
    demandSaved(outcome->failure);
    for (const SnapshotSummary& summary : summaries(session)) {
        if (summary.name != outcome->snapshotName) continue;
        if (session.wantsJson()) {
            session.print(summaryJson(summary));
        } else {
            session.out().writeLine(summary.name);
        }
    }
    return exitDone;
}

void demandSnapshot(Session& session, const std::string& name) {
    const auto all = summaries(session);
    const bool exists = std::any_of(all.begin(), all.end(),
                                    [&](const auto& summary) { return summary.name == name; });
    if (!exists) {
        throw Error(fmt::format("There is no snapshot \"{}\"; nookery snapshot list shows them.",
                                printable(name)));
    }
}

int runRestore(Session& session, const Arguments& arguments) {
    const std::string name = arguments.positional(0);
    demandSnapshot(session, name);
    const std::string title = fmt::format("Restore the snapshot {}?", name);
    const std::string text =
        "The library becomes as it was then. What is there now is kept beside it as a safety copy.";
    if (arguments.has("dry-run")) {
        if (session.wantsJson()) {
            session.print({{"restored", false}, {"wouldRestore", name}});
        } else {
            session.out().writeLine("This would be asked and done: " + title + "\n" + text);
        }
        return exitDone;
    }
    session.demandConsent(title, text);
    const auto lock =
        LibraryLock::acquire(session.platform().files, session.layout(), session.now());
    prepareSnapshotRestore(
        session.platform(), session.layout(), name,
        [&](std::size_t done, std::size_t total) {
            session.messages().progress(fmt::format("checking and copying: {} of {}", done, total));
        },
        session.stop());
    const auto notice = completePendingSnapshotRestore(session.platform(), session.layout());
    session.messages().endProgress();
    if (!notice || !notice->restored) {
        throw RestoreError(notice ? notice->detail : "The restore did not take place.");
    }
    if (session.wantsJson()) {
        session.print({{"restored", true}, {"snapshot", name}, {"detail", notice->detail}});
    } else {
        session.out().writeLine(notice->title + "\n" + notice->detail);
    }
    return exitDone;
}

}  // namespace

std::vector<Command> snapshotCommands() {
    return {{.name = "snapshot list",
             .summary = "List the recovery snapshots, oldest first",
             .examples = {{"snapshot list", "with their reasons and sizes"}},
             .run = runList},
            {.name = "snapshot take",
             .summary = "Take a recovery snapshot now",
             .examples = {{"snapshot take", "prints its name"}},
             .notes = "The newest six snapshots are kept.",
             .run = runTake},
            {.name = "snapshot restore",
             .summary = "Make the library as it was in a snapshot",
             .examples = {{"snapshot restore 2026-11-21_09-30-00-000", "asks first"}},
             .positionals = {{"NAME", "the snapshot's name"}},
             .options = {{"yes", "", "do not ask"}, {"dry-run", "", "only say what would happen"}},
             .notes = "What is in the library now is kept beside it as a safety copy.",
             .run = runRestore}};
}

}  // namespace nookery::cli
