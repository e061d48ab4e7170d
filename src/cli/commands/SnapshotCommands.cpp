#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "cli/commands/Commands.h"
#include "cli/context/CommandContext.h"
#include "cli/output/TextLayout.h"
#include "collection/database/LibraryLock.h"
#include "collection/safety/CrumbRecoverySnapshots.h"
#include "collection/safety/SnapshotRepository.h"
#include "collection/safety/SnapshotRestore.h"

namespace nookery::cli {
namespace {

std::vector<SnapshotSummary> summaries(CommandContext& context) {
    return SnapshotRepository(context.platform().files, context.layout().snapshots()).summaries();
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

Coroutine<int> runList(CommandContext& context, const Arguments&) {
    context.demandLibrary();
    OrderedJson list = OrderedJson::array();
    for (const SnapshotSummary& summary : summaries(context)) {
        list.push_back(summaryJson(summary));
        if (context.wantsJson()) continue;
        context.out().writeLine(fmt::format(
            "{}  {}  {}", context.style().inTitle(summary.name),
            summary.problem ? "cannot be read: " + printable(*summary.problem)
                            : padded(printable(summary.reason), 22) + "  " +
                                  counted(static_cast<std::size_t>(summary.managedFileCount),
                                          "original", "originals"),
            spokenByteCount(static_cast<double>(summary.byteCount))));
    }
    if (context.wantsJson()) {
        context.print({{"snapshots", std::move(list)}});
    } else if (list.empty()) {
        context.say("There is no snapshot yet.");
    }
    co_return exitDone;
}

Coroutine<int> runTake(CommandContext& context, const Arguments&) {
    CrumbStore& store = *co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    const std::string name = co_await context.resultOf(store.recoverySnapshots().take("by-hand"));
    for (const SnapshotSummary& summary : summaries(context)) {
        if (summary.name != name) continue;
        if (context.wantsJson()) {
            context.print(summaryJson(summary));
        } else {
            context.out().writeLine(summary.name);
        }
    }
    co_return exitDone;
}

void demandSnapshot(CommandContext& context, const std::string& name) {
    const auto all = summaries(context);
    const bool exists = std::any_of(all.begin(), all.end(),
                                    [&](const auto& summary) { return summary.name == name; });
    if (!exists) {
        throw Error(fmt::format("There is no snapshot \"{}\"; nookery snapshot list shows them.",
                                printable(name)));
    }
}

Coroutine<int> runRestore(CommandContext& context, const Arguments& arguments) {
    const std::string name = arguments.positional(0);
    demandSnapshot(context, name);
    const std::string title = fmt::format("Restore the snapshot {}?", name);
    const std::string text =
        "The library becomes as it was then. What is there now is kept beside it as a safety copy.";
    if (arguments.has("dry-run")) {
        if (context.wantsJson()) {
            context.print({{"restored", false}, {"wouldRestore", name}});
        } else {
            context.out().writeLine("This would be asked and done: " + title + "\n" + text);
        }
        co_return exitDone;
    }
    co_await context.demandConsent(title, text);
    const auto lock =
        LibraryLock::acquire(context.platform().files, context.layout(), context.now());
    const RestoreNotice notice =
        co_await context.resultOf(beginSnapshotRestore(context.platform(), context.layout(), name));
    if (context.wantsJson()) {
        context.print({{"restored", true}, {"snapshot", name}, {"detail", notice.detail}});
    } else {
        context.out().writeLine(notice.title + "\n" + notice.detail);
    }
    co_return exitDone;
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
             .runsIn = RunsIn::callerWithLibrary,
             .run = runRestore}};
}

}  // namespace nookery::cli
