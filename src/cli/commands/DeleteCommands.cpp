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

Coroutine<int> destroy(CommandContext& context, const Arguments& arguments, std::string title,
                       std::string text, std::size_t count, BeginDestruction begin) {
    if (arguments.has("dry-run")) {
        if (context.wantsJson()) {
            context.print({{"deleted", 0}, {"snapshot", nullptr}, {"wouldDelete", count}});
        } else {
            context.out().writeLine("This would be asked and done: " + title);
            context.out().writeLine(text);
        }
        co_return exitDone;
    }
    co_await context.demandConsent(title, text);
    const DestructiveOutcome outcome = co_await context.resultOf(begin());
    if (context.wantsJson()) {
        const auto& name = outcome.snapshotName;
        context.print(
            {{"deleted", outcome.count}, {"snapshot", name ? OrderedJson(*name) : OrderedJson()}});
    } else {
        context.out().writeLine(fmt::format("{} deleted.", outcome.count));
        context.say(outcome.snapshotName ? "Recovery snapshot: " + *outcome.snapshotName
                                         : "No recovery snapshot could be taken before.");
    }
    co_return exitDone;
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

Coroutine<int> runDelete(CommandContext& context, const Arguments& arguments) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    const auto ids = findMemories(store, arguments.positionals());
    const std::string title = fmt::format("Delete {}?", counted(ids.size(), "memory", "memories"));
    const std::string text = fmt::format(
        "{}. Copies that NOOKERY owns go to the trash; originals outside NOOKERY are not touched. "
        "A recovery snapshot is taken first.",
        titlesOf(store, ids));
    const BeginDestruction begin = [&] { return context.workspace().edits().deleteMemories(ids); };
    co_return co_await destroy(context, arguments, title, text, ids.size(), begin);
}

Coroutine<int> runClear(CommandContext& context, const Arguments& arguments) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::writing, LibraryExtent::records);
    const BeginDestruction begin = [&] { return context.workspace().edits().clearLibrary(); };
    co_return co_await destroy(
        context, arguments, "Clear the entire NOOKERY library?",
        "This removes every memory and every copy NOOKERY owns. Original source files "
        "outside NOOKERY are not touched.",
        store.items()->size(), begin);
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
