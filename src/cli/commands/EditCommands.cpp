#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/commands/Conflicts.h"
#include "cli/views/MemoryView.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

void answer(CommandContext& context, const CrumbStore& store, const Uuid& id) {
    const auto item = store.item(id);
    if (context.wantsJson()) {
        context.print(memoryJson(store, *item));
    } else {
        printMemoryTable(context, store, {item});
    }
}

Coroutine<std::optional<std::string>> newText(CommandContext& context, const Arguments& arguments) {
    auto text = arguments.value("text");
    if (!text) co_return std::nullopt;
    if (*text == "-") text = co_await context.readInput();
    co_return toValidUtf8(*text);
}

Coroutine<int> runEdit(CommandContext& context, const Arguments& arguments) {
    if (!arguments.has("title") && !arguments.has("note") && !arguments.has("text")) {
        throw UsageError("edit needs --title, --note or --text.");
    }
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    const CrumbItemPointer item = findMemory(store, arguments.positional(0));
    MemoryPatch patch;
    if (auto title = arguments.text("title")) patch.title = {item->title, std::move(*title)};
    if (auto note = arguments.text("note")) patch.note = {item->note, std::move(*note)};
    if (auto text = co_await newText(context, arguments)) {
        patch.text = {item->text.value_or(""), std::move(*text)};
    }
    const auto edit = context.workspace().edits().edit(item->id, std::move(patch));
    const PatchOutcome outcome = co_await context.resultOf(edit);
    refuseConflicts(outcome);
    answer(context, store, item->id);
    co_return exitDone;
}

Coroutine<int> runTag(CommandContext& context, const Arguments& arguments) {
    if (!arguments.has("add") && !arguments.has("remove")) {
        throw UsageError("tag needs --add or --remove.");
    }
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    const Uuid id = findMemory(store, arguments.positional(0))->id;
    const auto tagging = context.workspace().edits().tag(
        {id}, {.added = arguments.values("add"), .removed = arguments.values("remove")});
    co_await context.resultOf(tagging);
    answer(context, store, id);
    co_return exitDone;
}

}  // namespace

std::vector<Command> editCommands() {
    const Positional id{"ID", "the memory's id, or its beginning"};
    return {{.name = "edit",
             .summary = "Change a memory's title, note or text",
             .examples = {{"edit 3F2A91C4 --title \"Lemon cake\"", "give it another title"},
                          {"edit 3F2A91C4 --note=", "take its note away"}},
             .positionals = {id},
             .options = {{"title", "TITLE", "the new title"},
                         {"note", "NOTE", "the new note"},
                         {"text", "TEXT", "the new text of a note; - reads standard input"}},
             .notes = "Originals are never changed.",
             .run = runEdit},
            {.name = "tag",
             .summary = "Give a memory tags, or take them away",
             .examples = {{"tag 3F2A91C4 --add baking --remove draft", "one more, one less"}},
             .positionals = {id},
             .options = {{"add", "TAG", "give it this tag", true},
                         {"remove", "TAG", "take this tag away", true}},
             .run = runTag}};
}

}  // namespace nookery::cli
