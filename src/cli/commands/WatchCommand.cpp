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

/// Runs the parts from its making to its end.
class RunningParts {
  public:
    explicit RunningParts(std::vector<std::unique_ptr<WatchPart>> parts)
        : parts_(std::move(parts)) {
        try {
            for (; started_ < parts_.size(); ++started_) parts_[started_]->start();
        } catch (...) {
            stop();
            throw;
        }
    }
    RunningParts(const RunningParts&) = delete;
    RunningParts& operator=(const RunningParts&) = delete;
    ~RunningParts() { stop(); }

  private:
    void stop() {
        while (started_ > 0) parts_[--started_]->stop();
    }

    std::vector<std::unique_ptr<WatchPart>> parts_;
    std::size_t started_ = 0;
};

int runWatch(CommandContext& context, const Arguments&) {
    const TellEvent tell = [&](std::string_view event, const std::string& text) {
        tellEvent(context, event, text);
    };
    CrumbStore& store = context.open(LibraryAccess::writing, SessionLength::lasting);
    {
        const RunningParts running(makeWatchParts(context, store, tell));
        tell("watching", placesWatched(context));
        context.waitUntil([&] { return context.isInterrupted(); });
    }
    endEnrichment(context, store);
    tell("ended", "what was taken in is whole");
    return exitDone;
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
