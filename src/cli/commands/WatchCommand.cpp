#include <fmt/format.h>

#include "archive/RestoreAtStart.h"
#include "cli/commands/Commands.h"
#include "cli/commands/WatchEvents.h"
#include "cli/output/TextLayout.h"
#include "cli/resident/Resident.h"
#include "collection/database/LibraryLock.h"
#include "platform/CloudContainer.h"
#include "platform/work/Caller.h"

namespace nookery::cli {
namespace {

using WishTest = std::function<bool(const Resident::Wish&)>;

/// Answers whether it could be written.
bool tellEvent(CommandContext& context, std::string_view event, const std::string& text) {
    // The resident's own, whatever command made it happen.
    const CallerScope nobody(nullptr);
    const Timestamp now = context.now();
    try {
        if (context.wantsJson()) {
            context.print({{"time", toIso8601(now)}, {"event", event}, {"text", text}});
        } else {
            context.out().writeLine(
                printable(fmt::format("{} {}: {}", exactDate(now), event, text)));
        }
        context.out().flush();
        return true;
    } catch (const OutputError&) {
        return false;
    }
}

std::string placesWatched(CommandContext& context) {
    const CloudLookup cloud = context.platform().cloud.locate();
    return displayName(context.layout().inbox()) + (cloud.container
                                                        ? " and " + displayName(*cloud.container)
                                                    : cloud.isWanted ? ". " + cloud.reason
                                                                     : "");
}

/// Lets other commands work in this one's library. Without that they must wait for its end.
void listen(CommandContext& context, Resident& resident, const Arguments& arguments) {
    try {
        resident.listen();
    } catch (const Error& failure) {
        // Nobody could reach it, not even to end it.
        if (arguments.has("background")) throw;
        context.say("Other commands cannot reach this one: " + printable(failure.description()));
    }
}

/// Opens the library, after whoever had it lets go of it.
Coroutine<> openReturned(CommandContext& context) {
    constexpr WorkQueue::Delay pause{0.1};
    constexpr int attemptCount = 50;
    for (int attempt = 1;; ++attempt) {
        try {
            completeWaitingRestores(context.platform(), context.layout());
            co_await context.open(LibraryAccess::writing, SessionLength::lasting);
            co_return;
        } catch (const LibraryInUse&) {
            if (attempt == attemptCount) throw;
        }
        co_await context.pause(pause);
    }
}

/// Ends what runs for others: at once when the person interrupts, and else when it is done.
Coroutine<> endCommands(CommandContext& context, Resident& resident) {
    const std::function<bool(const int&)> none = [](int count) { return count == 0; };
    resident.withdraw();
    co_await context.until(resident.runningCount(), none);
    if (context.isInterrupted()) resident.stopCommands();
    co_await context.when(resident.runningCount(), none);
}

/// Watches until the person interrupts, or another process wants something.
Coroutine<> watchFor(CommandContext& context, Resident& resident, const TellEvent& tell) {
    const WatchEvents events(context, tell);
    tell("watching", placesWatched(context));
    resident.offer(context.workspace());
    const WishTest any = [](Resident::Wish wish) { return wish != Resident::Wish::none; };
    co_await context.until(resident.wish(), any);
    co_await endCommands(context, resident);
}

Coroutine<> closeLibrary(CommandContext& context) {
    if (context.workspace().store().enrichment().isUnderWay()) {
        context.messages().progress("ending what is being read; interrupt again to end at once");
    }
    co_await context.closeLibrary();
}

bool isToEnd(const CommandContext& context, const Resident& resident) {
    return context.isInterrupted() || *resident.wish() == Resident::Wish::end;
}

/// To those who want it; there may be none left.
Coroutine<> lendLibrary(CommandContext& context, Resident& resident, const TellEvent& tell) {
    if (isToEnd(context, resident) || *resident.wish() != Resident::Wish::library) co_return;
    tell("lent", "another command has the library to itself");
    resident.lend();
    const WishTest isBack = [](Resident::Wish wish) { return wish != Resident::Wish::library; };
    co_await context.until(resident.wish(), isBack);
}

Coroutine<int> runWatch(CommandContext& context, const Arguments& arguments) {
    const TellEvent tell = [&, isHeard = true](std::string_view event,
                                               const std::string& text) mutable {
        // What is watched is worth more than hearing of it.
        if (isHeard) isHeard = tellEvent(context, event, text);
    };
    co_await context.open(LibraryAccess::writing, SessionLength::lasting);
    Resident resident(context.platform(), context.problemLog(), context.places());
    listen(context, resident, arguments);
    while (true) {
        co_await watchFor(context, resident, tell);
        co_await closeLibrary(context);
        co_await lendLibrary(context, resident, tell);
        if (isToEnd(context, resident)) break;
        co_await openReturned(context);
    }
    tell("ended", "what was taken in is whole");
    co_return exitDone;
}

}  // namespace

Command watchCommand() {
    return {.name = "watch",
            .summary = "Take in what arrives, and keep the phone up to date, until interrupted",
            .examples = {{"watch", "Ctrl-C ends it"},
                         {"watch --background", "nookery watch --stop ends it"}},
            .options = {{"background", "", "go on without this terminal, until --stop"},
                        {"stop", "", "ask whoever watches the library to end"}},
            .notes =
                "Inbox folders, the phone's edits, publishing to it three seconds after a change, "
                "recovery snapshots when they are due, the background work. One line for each "
                "thing that happens. Other commands work meanwhile: this one does them, in the "
                "library that it has open.",
            .isLasting = true,
            .runsIn = RunsIn::caller,
            .run = runWatch};
}

}  // namespace nookery::cli
