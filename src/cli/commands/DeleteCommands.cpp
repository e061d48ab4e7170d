#include <fmt/format.h>

#include <optional>

#include "cli/commands/Commands.h"
#include "cli/commands/Destruction.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"

namespace nookery::cli {

std::vector<Option> destructionOptions() {
    return {{"yes", "", "do not ask"}, {"dry-run", "", "only say what would happen"}};
}

int destroy(CommandContext& context, const Arguments& arguments, const std::string& title,
            const std::string& text, std::size_t count,
            const std::function<OperationPointer<DestructiveOutcome>()>& begin) {
    if (arguments.has("dry-run")) {
        if (context.wantsJson()) {
            context.print({{"deleted", 0}, {"snapshot", nullptr}, {"wouldDelete", count}});
        } else {
            context.out().writeLine("This would be asked and done: " + title);
            context.out().writeLine(text);
        }
        return exitDone;
    }
    context.demandConsent(title, text);
    const DestructiveOutcome outcome = context.resultOf(begin());
    if (context.wantsJson()) {
        const auto& name = outcome.snapshotName;
        context.print(
            {{"deleted", outcome.count}, {"snapshot", name ? OrderedJson(*name) : OrderedJson()}});
    } else {
        context.out().writeLine(fmt::format("{} deleted.", outcome.count));
        context.say(outcome.snapshotName ? "Recovery snapshot: " + *outcome.snapshotName
                                         : "No recovery snapshot could be taken before.");
    }
    return exitDone;
}

namespace {

constexpr std::size_t mostTitlesNamed = 5;

std::string titlesOf(const CrumbStore& store, const std::vector<Uuid>& ids) {
    std::string titles;
    for (std::size_t i = 0; i < std::min(ids.size(), mostTitlesNamed); ++i) {
        titles += fmt::format("{}\"{}\"", i == 0 ? "" : ", ", shownTitle(*store.item(ids[i])));
    }
    if (ids.size() > mostTitlesNamed) {
        titles += fmt::format(" and {} more", ids.size() - mostTitlesNamed);
    }
    return titles;
}

int runDelete(CommandContext& context, const Arguments& arguments) {
    CrumbStore& store = context.open(LibraryAccess::writing);
    const auto ids = findMemories(store, arguments.positionals());
    const std::string title = fmt::format("Delete {}?", counted(ids.size(), "memory", "memories"));
    const std::string text = fmt::format(
        "{}. Copies that NOOKERY owns go to the trash; originals outside NOOKERY are not touched. "
        "A recovery snapshot is taken first.",
        titlesOf(store, ids));
    return destroy(context, arguments, title, text, ids.size(),
                   [&] { return store.remover().deleteMemories(ids); });
}

int runClear(CommandContext& context, const Arguments& arguments) {
    CrumbStore& store = context.open(LibraryAccess::writing);
    return destroy(context, arguments, "Clear the entire NOOKERY library?",
                   "This removes every memory and every copy NOOKERY owns. Original source files "
                   "outside NOOKERY are not touched.",
                   store.items()->size(), [&] { return store.remover().clearLibrary(); });
}

}  // namespace

std::vector<Command> deleteCommands() {
    return {{.name = "delete",
             .summary = "Delete memories, after a recovery snapshot",
             .examples = {{"delete 3F2A91C4", "asks first"},
                          {"delete --dry-run 3F2A91C4 77B0E1D2", "says what would go"}},
             .positionals = {{.name = "ID",
                              .help = "ids of memories, or their beginnings",
                              .repeats = true}},
             .options = destructionOptions(),
             .run = runDelete},
            {.name = "clear",
             .summary = "Clear the entire library, after a recovery snapshot",
             .examples = {{"clear", "asks first"}},
             .options = destructionOptions(),
             .notes = "NOOKERY will remove its managed copies, thumbnails, database records, "
                      "embeddings, and relationships. Original source files outside NOOKERY are "
                      "not touched.",
             .run = runClear}};
}

}  // namespace nookery::cli
