#include <fmt/format.h>

#include <optional>

#include "cli/commands/Commands.h"
#include "cli/context/CommandContext.h"
#include "cli/output/TextLayout.h"
#include "cli/views/CaptureView.h"
#include "platform/CloudContainer.h"

namespace nookery::cli {
namespace {

struct Taking {
    CaptureReport report;
    std::vector<CaptureMessage> waiting;
};

Coroutine<Taking> takeOnce(CommandContext& context, CrumbStore& store) {
    const auto tell = [&](int left) {
        if (left > 0) context.messages().progress(fmt::format("taking in: {} left", left));
    };
    const auto localCounts = store.inboxImportCount().subscribe(tell);
    const auto cloudCounts = store.cloudImportCount().subscribe(tell);
    context.messages().progress("waiting for the inboxes to hold still");
    const auto operation = store.inboxes().takeOnce();
    operation->stopWith(context.stop());
    co_await context.endOrInterruption(operation);
    if (!operation->isFinished()) throw Cancelled();
    const InboxesTaken& taken = operation->outcome()->get();
    Taking taking;
    for (const InboxReport& part : taken.reports) append(taking.report, part.taken);
    for (const InboxWaiting& entry : taken.waiting) {
        taking.waiting.push_back({displayName(entry.path), entry.reason});
    }
    co_return taking;
}

Coroutine<int> runTake(CommandContext& context, const Arguments&) {
    CrumbStore& store = *co_await context.open(LibraryAccess::writing, LibraryExtent::records);
    const Taking taking = co_await takeOnce(context, store);
    if (taking.report.cancelled) throw Cancelled();
    const CloudLookup cloud = context.platform().cloud.locate();
    if (!cloud.container && cloud.isWanted) context.say(cloud.reason);
    if (context.wantsJson()) {
        OrderedJson answer = captureReportJson(store, taking.report);
        answer["waiting"] = captureMessagesJson(taking.waiting);
        context.print(answer);
    } else {
        printCaptureReport(context, store, taking.report);
        for (const CaptureMessage& entry : taking.waiting) {
            context.say(printable(fmt::format("left there: {}: {}", entry.source, entry.message)));
        }
    }
    co_return taking.report.failed.empty() ? exitDone : exitFailed;
}

}  // namespace

Command inboxCommand() {
    return {.name = "inbox take",
            .summary = "Take in what waits in the inbox folders, then end",
            .examples = {{"inbox take", "from the library's Inbox and from the phone"}},
            .notes =
                "A file is taken when it has held still for two seconds, and removed from the "
                "inbox only after its copy was verified and saved. What cannot be taken stays "
                "and is named.",
            .run = runTake};
}

}  // namespace nookery::cli
