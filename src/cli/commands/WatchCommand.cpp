#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/commands/WatchEvents.h"
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

Coroutine<int> runWatch(CommandContext& context, const Arguments&) {
    const TellEvent tell = [&](std::string_view event, const std::string& text) {
        tellEvent(context, event, text);
    };
    CrumbStore& store = *co_await context.open(LibraryAccess::writing, SessionLength::lasting);
    {
        const WatchEvents events(context, tell);
        tell("watching", placesWatched(context));
        co_await context.interruption();
    }
    if (store.enrichment().isUnderWay()) {
        context.messages().progress("ending what is being read; interrupt again to end at once");
    }
    const auto closing = context.workspace().close();
    co_await context.resultOf(closing);
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
