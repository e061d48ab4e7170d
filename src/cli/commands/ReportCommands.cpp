#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/commands/Destruction.h"
#include "cli/output/TextLayout.h"
#include "cli/views/ReportView.h"
#include "collection/database/LibraryLock.h"
#include "fieldreports/FieldReportScan.h"
#include "fieldreports/FieldReportShelf.h"
#include "fieldreports/NookeryFieldReportPDF.h"
#include "fieldreports/NookeryFieldReportReceiver.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

/// Runs a change of the store's reports, which windows announce under this title when it fails.
template <typename Change>
void changing(Session& session, std::string_view failureTitle, const Change& change) {
    CrumbStore& store = session.open(LibraryAccess::writing);
    NookeryFieldReportReceiver receiver(
        session.platform(), session.layout(),
        [&](const auto& reports) { store.setFieldReports(reports); });
    store.setFieldReportReceiver(&receiver);
    const SaveFailure failure = change(store);
    store.setFieldReportReceiver(nullptr);
    if (failure) throw Error(fmt::format("{}: {}", failureTitle, *failure));
}

int runList(Session& session, const Arguments&) {
    const auto reports = receivedReports(session);
    if (session.wantsJson()) {
        OrderedJson documents = OrderedJson::array();
        for (const auto& report : reports) documents.push_back(reportJson(report));
        session.print({{"count", reports.size()}, {"reports", std::move(documents)}});
        return exitDone;
    }
    printReportTable(session, reports);
    if (reports.empty()) session.say("No field report was received yet.");
    return exitDone;
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

int runScan(Session& session, const Arguments&) {
    const auto lock =
        LibraryLock::acquire(session.platform().files, session.layout(), session.now());
    FieldReportShelf shelf(session.platform(), session.layout());
    shelf.removeLeftovers();
    const FieldReportScan scan = scanFieldReports(session.platform(), shelf);
    if (!scan.unavailable.empty()) throw Error(scan.unavailable);
    if (session.wantsJson()) {
        session.print(scanJson(scan));
    } else {
        session.out().writeLine(
            fmt::format("{} received.", counted(scan.received.size(), "report", "reports")));
        if (scan.waitingCount > 0) {
            session.say(fmt::format("{} not wholly on this computer yet.",
                                    counted(scan.waitingCount, "report is", "reports are")));
        }
        for (const auto& failure : scan.failed) {
            session.say(fmt::format("NOOKERY Field Report import error ({}): {}",
                                    printable(displayName(failure.folderName)),
                                    printable(failure.message)));
        }
    }
    return scan.failed.empty() ? exitDone : exitFailed;
}

int runShow(Session& session, const Arguments& arguments) {
    const auto report = findReport(session, arguments.positional(0));
    if (session.wantsJson()) {
        session.print(reportJson(report));
    } else {
        printReport(session, report);
    }
    return exitDone;
}

int runRename(Session& session, const Arguments& arguments) {
    const auto report = findReport(session, arguments.positional(0));
    changing(session, "Could Not Rename Field Report", [&](CrumbStore& store) {
        return store.renameFieldReport(report, toValidUtf8(arguments.positional(1)));
    });
    const auto renamed = findReport(session, report.id.toString());
    if (session.wantsJson()) {
        session.print(reportJson(renamed));
    } else {
        session.out().writeLine(printable(renamed.shownTitle()));
        session.say("The original Field Report and its attachments remain unchanged.");
    }
    return exitDone;
}

int runDelete(Session& session, const Arguments& arguments) {
    const auto report = findReport(session, arguments.positional(0));
    const std::string title = "Delete Field Report?";
    const std::string text = fmt::format(
        "\"{}\". The report and its local edits will move to Trash. Its original iCloud upload is "
        "not deleted.",
        printable(report.shownTitle()));
    const bool isOnlyAsked = arguments.has("dry-run");
    if (!isOnlyAsked) {
        session.demandConsent(title, text);
        changing(session, "Could Not Delete Field Report",
                 [&](CrumbStore& store) { return store.deleteFieldReport(report); });
    }
    if (session.wantsJson()) {
        session.print({{"deleted", isOnlyAsked ? 0 : 1}, {"id", report.id.toString()}});
    } else {
        session.out().writeLine(isOnlyAsked ? "This would be asked and done: " + title + "\n" + text
                                            : "1 deleted.");
    }
    return exitDone;
}

void refuseToReplace(Session& session, const Path& destination, bool mayReplace) {
    if (mayReplace || !session.platform().files.status(destination)) return;
    throw Error(
        fmt::format("{} is there already; --replace writes over it.", displayName(destination)));
}

int runPdf(Session& session, const Arguments& arguments) {
    const auto report = findReport(session, arguments.positional(0));
    const Path destination = arguments.positional(1);
    refuseToReplace(session, destination, arguments.has("replace"));
    const FieldReportWorkingCopy workingCopy(session.platform().files, session.layout(), report);
    const FieldReportPdfOutcome outcome = writeFieldReportPdf(
        session.platform(), workingCopy, workingCopy.draft(), destination,
        {.progress =
             [&](std::size_t done, std::size_t total) {
                 session.messages().progress(fmt::format("attachment {} of {}", done, total));
             },
         .stop = session.stop()});
    session.messages().endProgress();
    if (session.wantsJson()) {
        session.print({{"path", displayName(destination)},
                       {"pages", outcome.pageCount},
                       {"undecodable", outcome.undecodable}});
        return exitDone;
    }
    session.out().writeLine(fmt::format("{}: {}", printable(displayName(destination)),
                                        counted(outcome.pageCount, "page", "pages")));
    for (const std::string& name : outcome.undecodable) {
        session.say(fmt::format("The picture \"{}\" cannot be read; its page names it only.",
                                printable(name)));
    }
    return exitDone;
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
