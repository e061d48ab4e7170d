#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/commands/Destruction.h"
#include "cli/output/TextLayout.h"
#include "cli/views/ReportView.h"
#include "collection/database/LibraryLock.h"
#include "fieldreports/FieldReportRepository.h"
#include "fieldreports/FieldReportScan.h"
#include "fieldreports/NookeryFieldReportPDF.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

/// The end of a change, which windows announce under this title when it fails.
Coroutine<> changed(CommandContext& context, std::string failureTitle,
                    OperationPointer<Nothing> operation) {
    co_await context.waitFor(operation);
    if (const Failure* failure = operation->outcome()->failure()) {
        throw Error(fmt::format("{}: {}", failureTitle, failure->message));
    }
    operation->outcome()->get();
}

Coroutine<int> runList(CommandContext& context, const Arguments&) {
    const auto reports = receivedReports(context);
    if (context.wantsJson()) {
        OrderedJson documents = OrderedJson::array();
        for (const auto& report : reports) documents.push_back(reportJson(report));
        context.print({{"count", reports.size()}, {"reports", std::move(documents)}});
        co_return exitDone;
    }
    printReportTable(context, reports);
    if (reports.empty()) context.say("No field report was received yet.");
    co_return exitDone;
}

OrderedJson scanJson(const FieldReportScan& scan) {
    OrderedJson received = OrderedJson::array();
    for (const Uuid& id : scan.received) received.push_back(id.toString());
    OrderedJson failed = OrderedJson::array();
    for (const auto& failure : scan.failed) {
        failed.push_back(
            {{"folder", displayName(failure.folderName)}, {"message", failure.message}});
    }
    return {{"received", std::move(received)},
            {"waiting", scan.waitingCount},
            {"failed", std::move(failed)}};
}

Coroutine<int> runScan(CommandContext& context, const Arguments&) {
    const auto lock =
        LibraryLock::acquire(context.platform().files, context.layout(), context.now());
    const auto repository =
        std::make_shared<FieldReportRepository>(context.platform(), context.layout());
    repository->removeLeftovers();
    const FieldReportScan scan =
        co_await context.resultOf(scanFieldReports(context.platform(), repository));
    if (!scan.unavailable.empty()) throw Error(scan.unavailable);
    if (context.wantsJson()) {
        context.print(scanJson(scan));
    } else {
        context.out().writeLine(
            fmt::format("{} received.", counted(scan.received.size(), "report", "reports")));
        if (scan.waitingCount > 0) {
            context.say(fmt::format("{} not wholly on this computer yet.",
                                    counted(scan.waitingCount, "report is", "reports are")));
        }
        for (const auto& failure : scan.failed) {
            context.say(fmt::format("NOOKERY Field Report import error ({}): {}",
                                    printable(displayName(failure.folderName)),
                                    printable(failure.message)));
        }
    }
    co_return scan.failed.empty() ? exitDone : exitFailed;
}

Coroutine<int> runShow(CommandContext& context, const Arguments& arguments) {
    const auto report = findReport(context, arguments.positional(0));
    if (context.wantsJson()) {
        context.print(reportJson(report));
    } else {
        printReport(context, report);
    }
    co_return exitDone;
}

Coroutine<int> runRename(CommandContext& context, const Arguments& arguments) {
    const auto report = findReport(context, arguments.positional(0));
    ReportEdits* edits = co_await openReportEdits(context);
    const auto renaming = edits->rename(report.id, arguments.positional(1));
    co_await changed(context, "Could Not Rename Field Report", renaming);
    const auto renamed = findReport(context, report.id.toString());
    if (context.wantsJson()) {
        context.print(reportJson(renamed));
    } else {
        context.out().writeLine(printable(renamed.shownTitle()));
        context.say("The original Field Report and its attachments remain unchanged.");
    }
    co_return exitDone;
}

Coroutine<int> runDelete(CommandContext& context, const Arguments& arguments) {
    const auto report = findReport(context, arguments.positional(0));
    const std::string title = "Delete Field Report?";
    const std::string text = fmt::format(
        "\"{}\". The report and its local edits will move to Trash. Its original iCloud upload is "
        "not deleted.",
        printable(report.shownTitle()));
    const bool isOnlyAsked = arguments.has("dry-run");
    if (!isOnlyAsked) {
        co_await context.demandConsent(title, text);
        ReportEdits* edits = co_await openReportEdits(context);
        const auto removal = edits->remove(report.id);
        co_await changed(context, "Could Not Delete Field Report", removal);
    }
    if (context.wantsJson()) {
        context.print({{"deleted", isOnlyAsked ? 0 : 1}, {"id", report.id.toString()}});
    } else {
        context.out().writeLine(isOnlyAsked ? "This would be asked and done: " + title + "\n" + text
                                            : "1 deleted.");
    }
    co_return exitDone;
}

void refuseToReplace(CommandContext& context, const Path& named, bool mayReplace) {
    if (mayReplace || !context.platform().files.status(context.path(named))) return;
    throw Error(fmt::format("{} is there already; --replace writes over it.", displayName(named)));
}

Coroutine<int> runPdf(CommandContext& context, const Arguments& arguments) {
    const auto report = findReport(context, arguments.positional(0));
    const Path named = arguments.positional(1);
    const Path destination = context.path(named);
    refuseToReplace(context, named, arguments.has("replace"));
    const FieldReportWorkingCopy workingCopy(context.platform().files, context.layout(), report);
    const FieldReportPdfOutcome outcome = co_await context.resultOf(
        writeFieldReportPdf(context.platform(), workingCopy, workingCopy.draft(), destination));
    if (context.wantsJson()) {
        context.print({{"path", displayName(named)},
                       {"pages", outcome.pageCount},
                       {"undecodable", outcome.undecodable}});
        co_return exitDone;
    }
    context.out().writeLine(fmt::format("{}: {}", printable(displayName(named)),
                                        counted(outcome.pageCount, "page", "pages")));
    for (const std::string& name : outcome.undecodable) {
        context.say(fmt::format("The picture \"{}\" cannot be read; its page names it only.",
                                printable(name)));
    }
    co_return exitDone;
}

}  // namespace

std::vector<Command> reportCommands() {
    const Positional id{"ID", "the report's id, or its beginning"};
    return {{.name = "reports list",
             .summary = "List the field reports that the phone sent, newest first",
             .examples = {{"reports list", "their dates and titles"}},
             .run = runList},
            {.name = "reports scan",
             .summary = "Take in the field reports that wait in the cloud folder",
             .examples = {{"reports scan", "what is uploaded stays there, unchanged"}},
             .runsIn = RunsIn::callerWithLibrary,
             .run = runScan},
            {.name = "reports show",
             .summary = "Show what was received",
             .examples = {{"reports show 3F2A91C4", "notes and attachments"}},
             .positionals = {id},
             .run = runShow},
            {.name = "reports rename",
             .summary = "Give a report another title",
             .examples = {{"reports rename 3F2A91C4 'Pier 4, roof'", "in its working copy"}},
             .positionals = {id, {"TITLE", "the new title"}},
             .notes = "The original Field Report and its attachments remain unchanged.",
             .run = runRename},
            {.name = "reports delete",
             .summary = "Move a report and its working copy to the trash",
             .examples = {{"reports delete 3F2A91C4", "asks first"}},
             .positionals = {id},
             .options = destructionOptions(),
             .notes = "Its original iCloud upload is not deleted, and is not taken in again.",
             .run = runDelete},
            reportDraftCommand(),
            {.name = "reports pdf",
             .summary = "Write a report's working copy as a PDF",
             .examples = {{"reports pdf 3F2A91C4 pier-4.pdf", "to hand on"}},
             .positionals = {id, {.name = "FILE.pdf", .help = "where to", .offers = Offers::files}},
             .options = {{"replace", "", "write over a file that is there"}},
             .run = runPdf}};
}

}  // namespace nookery::cli
