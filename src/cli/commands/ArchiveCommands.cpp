#include <fmt/format.h>

#include "archive/ArchiveOperations.h"
#include "archive/ArchiveRestore.h"
#include "archive/RestoreAtStart.h"
#include "archive/RestorePlaces.h"
#include "cli/commands/Commands.h"
#include "cli/context/CommandContext.h"
#include "cli/output/TextLayout.h"
#include "collection/database/LibraryLock.h"

namespace nookery::cli {
namespace {

/// The folder that was named, as it is told back.
Path namedFolder(CommandContext& context, const Arguments& arguments) {
    const Path named = context.path(arguments.positional(0));
    const auto resolved = context.platform().files.resolve(named);
    return resolved ? *resolved : named;
}

OrderedJson summaryJson(const Path& folder, const ArchiveSummary& summary) {
    return {{"path", displayName(folder)},
            {"records", summary.recordCount},
            {"files", summary.fileCount},
            {"byteCount", summary.byteCount}};
}

std::string summaryText(const ArchiveSummary& summary) {
    return fmt::format("{}, {}, {}",
                       counted(static_cast<std::size_t>(summary.recordCount), "memory", "memories"),
                       counted(static_cast<std::size_t>(summary.fileCount), "file", "files"),
                       spokenByteCount(static_cast<double>(summary.byteCount)));
}

Coroutine<int> runExport(CommandContext& context, const Arguments& arguments) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::reading, LibraryExtent::records);
    auto source = CrumbCompleteArchive::gather(store, context.platform().defaults);
    const ArchiveSummary summary = co_await context.resultOf(
        beginArchiveExport(context.platform(), context.layout(), std::move(source),
                           context.path(arguments.positional(0))));
    const Path folder = namedFolder(context, arguments);
    if (context.wantsJson()) {
        OrderedJson json = summaryJson(folder, summary);
        json["leftBehind"] = {"history", "saved searches"};
        context.print(json);
    } else {
        context.out().writeLine("Your independent archive is saved at:\n" +
                                printable(displayName(folder)));
        context.say("Archive Exported and Verified: " + summaryText(summary));
        context.say("The history of changes and saved searches stay with this library only.");
    }
    co_return exitDone;
}

Coroutine<int> runVerify(CommandContext& context, const Arguments& arguments) {
    const Path folder = namedFolder(context, arguments);
    const ArchiveSummary summary =
        co_await context.resultOf(beginArchiveCheck(context.platform(), folder));
    if (context.wantsJson()) {
        context.print(summaryJson(folder, summary));
    } else {
        context.out().writeLine("The archive is whole: " + summaryText(summary));
    }
    co_return exitDone;
}

Coroutine<int> runRestore(CommandContext& context, const Arguments& arguments) {
    const Path folder = namedFolder(context, arguments);
    const auto lock =
        LibraryLock::acquire(context.platform().files, context.layout(), context.now());
    refuseWhileRestoreWaits(context.platform().files, context.layout().library());
    const ArchiveSummary checked =
        co_await context.resultOf(beginArchiveCheck(context.platform(), folder));
    const std::string title = "Restore NOOKERY Collection?";
    const std::string text = fmt::format(
        "This archive contains {} memories. Restoring replaces your current collection, People and "
        "Pets associations, and Receipts records with the archived copies. NOOKERY will preserve a "
        "safety copy of your current data. The restore happens when you reopen the application.",
        checked.recordCount);
    if (arguments.has("dry-run")) {
        if (context.wantsJson()) {
            context.print(summaryJson(folder, checked));
        } else {
            context.out().writeLine("This would be asked and done: " + title + "\n" + text);
        }
        co_return exitDone;
    }
    co_await context.demandConsent(title, text);
    const ArchiveSummary prepared = co_await context.resultOf(
        beginRestorePreparation(context.platform(), context.layout(), folder));
    if (context.wantsJson()) {
        context.print(summaryJson(folder, prepared));
    } else {
        context.out().writeLine(
            "Archive Ready to Restore\nThe archive has been verified and prepared. NOOKERY will "
            "now close. Reopen it to restore your collection.");
    }
    co_return exitDone;
}

OrderedJson statusJson(CommandContext& context) {
    FileSystem& files = context.platform().files;
    OrderedJson document{{"pending", archiveRestoreWaits(files, context.layout())},
                         {"safetyCopy", nullptr},
                         {"lastRestore", nullptr}};
    if (const auto safety = safetyCopy(files, context.layout())) {
        document["safetyCopy"] = displayName(*safety);
    }
    if (const auto last = lastRestore(files, context.layout())) {
        document["lastRestore"] = {{"restored", last->notice.restored},
                                   {"title", last->notice.title},
                                   {"detail", last->notice.detail},
                                   {"date", toIso8601(last->date)}};
    }
    return document;
}

Coroutine<int> runStatus(CommandContext& context, const Arguments&) {
    const OrderedJson status = statusJson(context);
    if (context.wantsJson()) {
        context.print(status);
        co_return exitDone;
    }
    const auto say = [&](const std::string& line) { context.out().writeLine(line); };
    say(status["pending"].get<bool>()
            ? "A restore is pending; the next command or window completes it. To give it up, "
              "remove the folder " +
                  displayName(context.layout().library() / restore::pendingName)
            : "No restore is pending.");
    if (const OrderedJson& last = status["lastRestore"]; !last.is_null()) {
        say(fmt::format("{}  {}: {}", last["date"].get<std::string>(),
                        last["title"].get<std::string>(),
                        printable(last["detail"].get<std::string>())));
    }
    if (const OrderedJson& safety = status["safetyCopy"]; !safety.is_null()) {
        say("A safety copy lies in " + printable(safety.get<std::string>()) +
            ". Move it away before you restore again.");
    }
    co_return exitDone;
}

}  // namespace

std::vector<Command> archiveCommands() {
    const Positional folder{.name = "DIR", .help = "the archive's folder", .offers = Offers::files};
    return {
        {.name = "archive export",
         .summary = "Write everything into a folder that can be read without this program",
         .examples = {{"archive export /media/disk/nookery-2026-03", "a new folder"}},
         .positionals = {{.name = "DIR",
                          .help = "a folder that does not exist yet, or an empty one",
                          .offers = Offers::files}},
         .notes = "The archive is read back and checked before it gets its name.",
         .run = runExport},
        {.name = "archive verify",
         .summary = "Check an archive, without touching a library",
         .examples = {{"archive verify /media/disk/nookery-2026-03", "every byte of it"}},
         .positionals = {folder},
         .leavesRestoresWaiting = true,
         .runsIn = RunsIn::caller,
         .run = runVerify},
        {.name = "archive restore",
         .summary = "Replace the library by an archive's at the next start",
         .examples = {{"archive restore /media/disk/nookery-2026-03", "asks first"}},
         .positionals = {folder},
         .options = {{"yes", "", "do not ask"},
                     {"dry-run", "", "check, and only say what happens"}},
         .notes = "What is in the library now is kept beside it as a safety copy.",
         .leavesRestoresWaiting = true,
         .runsIn = RunsIn::callerWithLibrary,
         .run = runRestore},
        {.name = "archive status",
         .summary = "Say whether a restore waits, and how the last one ended",
         .examples = {{"archive status", "after a restart"}},
         .leavesRestoresWaiting = true,
         .runsIn = RunsIn::caller,
         .run = runStatus},
    };
}

}  // namespace nookery::cli
