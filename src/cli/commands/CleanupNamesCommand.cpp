#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"

namespace nookery::cli {
namespace {

using Candidates = std::vector<CrumbFilenameCleanupCandidate>;

OrderedJson candidatesJson(const Candidates& candidates) {
    OrderedJson list = OrderedJson::array();
    for (const auto& candidate : candidates) {
        list.push_back({{"id", candidate.id.toString()},
                        {"oldTitle", candidate.oldTitle},
                        {"newTitle", candidate.newTitle}});
    }
    return list;
}

std::string summaryOf(const Candidates& candidates) {
    return counted(candidates.size(), "title", "titles") + " will change";
}

void printCandidates(CommandContext& context, const CrumbStore& store,
                     const Candidates& candidates) {
    std::vector<Uuid> ids;
    for (const auto& candidate : candidates) ids.push_back(candidate.id);
    const ShortIds shortIds = shortIdsOf(store, ids);
    for (const auto& candidate : candidates) {
        context.out().writeLine(fmt::format(
            "{}  {} → {}", context.style().inDim(shortIds(candidate.id)),
            printable(candidate.oldTitle), context.style().inTitle(printable(candidate.newTitle))));
    }
    context.say(candidates.empty() ? "Nothing to clean up" : summaryOf(candidates));
}

Coroutine<int> runCleanupNames(CommandContext& context, const Arguments& arguments) {
    const bool applies = arguments.has("apply");
    const LibraryAccess access = applies ? LibraryAccess::writing : LibraryAccess::reading;
    const CrumbStore& store = *co_await context.open(access, LibraryExtent::records);
    const Candidates candidates = filenameCleanupCandidates(*store.items());
    if (!context.wantsJson()) printCandidates(context, store, candidates);
    std::size_t changedCount = 0;
    if (applies && !candidates.empty()) {
        co_await context.demandConsent("Clean Up Filenames?",
                                       summaryOf(candidates) +
                                           ". Only titles change; files keep their "
                                           "names.");
        const auto change = context.workspace().edits().cleanUpNames(candidates);
        changedCount = co_await context.resultOf(change);
        if (!context.wantsJson()) {
            context.say(fmt::format("Filename Cleanup Complete: {} changed.",
                                    counted(changedCount, "title", "titles")));
        }
    }
    if (context.wantsJson()) {
        context.print({{"candidates", candidatesJson(candidates)}, {"changed", changedCount}});
    }
    co_return exitDone;
}

}  // namespace

Command cleanupNamesCommand() {
    return {.name = "cleanup-names",
            .summary = "Give readable titles to memories that a camera or program named",
            .examples = {{"cleanup-names", "lists what would change, and changes nothing"},
                         {"cleanup-names --apply", "asks, then changes the titles"}},
            .options = {{"apply", "", "change the titles"}, {"yes", "", "do not ask"}},
            .notes =
                "Only titles change; files keep their names. Either all titles listed change "
                "or none.",
            .run = runCleanupNames};
}

}  // namespace nookery::cli
