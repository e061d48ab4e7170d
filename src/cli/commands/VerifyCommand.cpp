#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/context/CommandContext.h"
#include "cli/output/TextLayout.h"
#include "collection/safety/LibraryVerifier.h"

namespace nookery::cli {
namespace {

OrderedJson reportJson(const VerifyReport& report) {
    OrderedJson problems = OrderedJson::array();
    for (const VerifyProblem& problem : report.problems) {
        problems.push_back({{"what", problem.what},
                            {"path", displayName(problem.path)},
                            {"message", problem.message}});
    }
    return {{"ok", report.problems.empty()},         {"problems", std::move(problems)},
            {"memories", report.memoryCount},        {"receipts", report.receiptCount},
            {"originals", report.originalFileCount}, {"withoutDigest", report.undigestedCount},
            {"snapshots", report.snapshotCount}};
}

void printReport(CommandContext& context, const VerifyReport& report) {
    for (const VerifyProblem& problem : report.problems) {
        context.out().writeLine(printable(displayName(problem.path)));
        context.out().writeLine("  " + printable(problem.message));
    }
    context.say(fmt::format(
        "{}, {}, {}, {} checked: {}.", counted(report.memoryCount, "memory", "memories"),
        counted(report.receiptCount, "receipt", "receipts"),
        counted(report.originalFileCount, "original", "originals"),
        counted(report.snapshotCount, "snapshot", "snapshots"),
        report.problems.empty() ? "all is well"
                                : counted(report.problems.size(), "problem", "problems")));
    if (report.undigestedCount > 0) {
        context.say(fmt::format("{} came in before digests were kept, and can only be counted.",
                                counted(report.undigestedCount, "original", "originals")));
    }
}

Coroutine<int> runVerify(CommandContext& context, const Arguments& arguments) {
    context.demandLibrary();
    const VerifyDepth depth = arguments.has("quick") ? VerifyDepth::quick : VerifyDepth::full;
    const VerifyReport report =
        co_await context.resultOf(verifyLibrary(context.platform(), context.layout(), depth));
    if (context.wantsJson()) {
        context.print(reportJson(report));
    } else {
        printReport(context, report);
    }
    co_return report.problems.empty() ? exitDone : exitFailed;
}

}  // namespace

Command verifyCommand() {
    return {.name = "verify",
            .summary = "Check that nothing of the library is damaged or missing",
            .examples = {{"verify", "databases, every original byte for byte, snapshots"},
                         {"verify --quick", "without reading the originals"}},
            .options = {{"quick", "", "leave out what takes long: the originals' digests"}},
            .notes =
                "Nothing is changed. Every problem is named with what to do about it; the "
                "exit status is 1 when there is one.",
            .runsIn = RunsIn::caller,
            .run = runVerify};
}

}  // namespace nookery::cli
