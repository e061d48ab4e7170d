#include <fmt/format.h>

#include <exception>
#include <optional>

#include "cli/commands/Commands.h"
#include "cli/output/TextLayout.h"
#include "cli/session/Session.h"
#include "collection/safety/LibraryVerifier.h"
#include "platform/WorkQueue.h"

namespace nookery::cli {
namespace {

std::string progressText(const VerifyProgress& progress) {
    switch (progress.phase) {
        case VerifyProgress::Phase::databases:
            return "checking the databases";
        case VerifyProgress::Phase::originals:
            return fmt::format("checking originals: {} of {}", progress.done, progress.total);
        case VerifyProgress::Phase::snapshots:
            return fmt::format("checking snapshots: {} of {}", progress.done, progress.total);
    }
    return {};
}

/// Off the main thread, which shows how far it is.
VerifyReport verify(Session& session, VerifyDepth depth) {
    std::optional<VerifyReport> report;
    std::exception_ptr failure;
    WorkQueue& main = session.platform().mainQueue;
    const std::function<void(const VerifyProgress&)> follow = [&](const VerifyProgress& progress) {
        constexpr std::size_t stride = 64;
        const bool isStep =
            progress.phase != VerifyProgress::Phase::originals || progress.done % stride == 0;
        if (!isStep) return;
        main.async([&session, progress] { session.messages().progress(progressText(progress)); });
    };
    session.platform().captureQueue.async([&] {
        std::optional<VerifyReport> made;
        std::exception_ptr thrown;
        try {
            made =
                verifyLibrary(session.platform(), session.layout(), depth, follow, session.stop());
        } catch (...) {
            thrown = std::current_exception();
        }
        main.async([&, made, thrown] {
            report = made;
            failure = thrown;
        });
    });
    session.waitUntil([&] { return report || failure; });
    if (failure) std::rethrow_exception(failure);
    return *report;
}

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

void printReport(Session& session, const VerifyReport& report) {
    for (const VerifyProblem& problem : report.problems) {
        session.out().writeLine(printable(displayName(problem.path)));
        session.out().writeLine("  " + printable(problem.message));
    }
    session.say(fmt::format(
        "{}, {}, {}, {} checked: {}.", counted(report.memoryCount, "memory", "memories"),
        counted(report.receiptCount, "receipt", "receipts"),
        counted(report.originalFileCount, "original", "originals"),
        counted(report.snapshotCount, "snapshot", "snapshots"),
        report.problems.empty() ? "all is well"
                                : counted(report.problems.size(), "problem", "problems")));
    if (report.undigestedCount > 0) {
        session.say(fmt::format("{} came in before digests were kept, and can only be counted.",
                                counted(report.undigestedCount, "original", "originals")));
    }
}

int runVerify(Session& session, const Arguments& arguments) {
    session.demandLibrary();
    const VerifyReport report =
        verify(session, arguments.has("quick") ? VerifyDepth::quick : VerifyDepth::full);
    if (session.wantsJson()) {
        session.print(reportJson(report));
    } else {
        printReport(session, report);
    }
    return report.problems.empty() ? exitDone : exitFailed;
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
            .run = runVerify};
}

}  // namespace nookery::cli
