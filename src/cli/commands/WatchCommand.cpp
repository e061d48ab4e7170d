#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/commands/Enrichment.h"
#include "cli/commands/WatchPart.h"
#include "cli/output/TextLayout.h"
#include "platform/CloudContainer.h"

namespace nookery::cli {
namespace {

void tellEvent(CommandContext& context, std::string_view event, const std::string& text) {
    const Timestamp now = context.now();
    if (context.wantsJson()) {
        context.print({{"time", toIso8601(now)}, {"event", event}, {"text", text}});
    } else {
        context.out().writeLine(printable(fmt::format("{} {}: {}", exactDate(now), event, text)));
    }
    context.out().flush();
}

std::string placesWatched(CommandContext& context) {
    const CloudLookup cloud = context.platform().cloud.locate();
    return displayName(context.layout().inbox()) + (cloud.container
                                                        ? " and " + displayName(*cloud.container)
                                                    : cloud.isWanted ? ". " + cloud.reason
                                                                     : "");
}

/// Runs the parts until the person interrupts. Throws what a part's start threw, once those before
/// it have ended.
Coroutine<> runParts(CommandContext& context, CrumbStore& store, const TellEvent& tell) {
    const auto parts = makeWatchParts(context, store, tell);
    std::size_t started = 0;
    std::exception_ptr failure;
    try {
        for (; started < parts.size(); ++started) parts[started]->start();
        tell("watching", placesWatched(context));
    } catch (...) {
        failure = std::current_exception();
    }
    if (!failure) co_await context.interruption();
    while (started > 0) co_await parts[--started]->stop();
    if (failure) std::rethrow_exception(failure);
}

Coroutine<int> runWatch(CommandContext& context, const Arguments&) {
    const TellEvent tell = [&](std::string_view event, const std::string& text) {
        tellEvent(context, event, text);
    };
    CrumbStore& store = *co_await context.open(LibraryAccess::writing, SessionLength::lasting);
    co_await runParts(context, store, tell);
    co_await endEnrichment(context, store);
    tell("ended", "what was taken in is whole");
    co_return exitDone;
}

}  // namespace

Command watchCommand() {
    return {.name = "watch",
            .summary = "Take in what arrives, and keep the phone up to date, until interrupted",
            .examples = {{"watch", "Ctrl-C ends it"}},
            .notes =
                "Inbox folders, the phone's edits, publishing to it three seconds after a change, "
                "recovery snapshots when they are due, the background work. One line for each "
                "thing that happens.",
            .isLasting = true,
            .run = runWatch};
}

}  // namespace nookery::cli
