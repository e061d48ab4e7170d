#include <fmt/format.h>

#include <algorithm>

#include "cli/commands/Commands.h"
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

Coroutine<std::optional<std::string>> newText(CommandContext& context, const Arguments& arguments,
                                              const CrumbItem& item) {
    auto text = arguments.value("text");
    if (!text) co_return std::nullopt;
    if (item.kind != CrumbKind::text) {
        throw Error(
            fmt::format("Only a note's text can be edited; \"{}\" is not one.", shownTitle(item)));
    }
    if (*text == "-") text = co_await context.readInput();
    co_return toValidUtf8(*text);
}

Coroutine<int> runEdit(CommandContext& context, const Arguments& arguments) {
    if (!arguments.has("title") && !arguments.has("note") && !arguments.has("text")) {
        throw UsageError("edit needs --title, --note or --text.");
    }
    CrumbStore& store = *co_await context.open(LibraryAccess::writing);
    CrumbItem changed = *findMemory(store, arguments.positional(0));
    if (auto title = arguments.text("title")) changed.title = std::move(*title);
    if (auto note = arguments.text("note")) changed.note = std::move(*note);
    if (auto text = co_await newText(context, arguments, changed)) changed.text = std::move(*text);
    store.memoryEdits().replace(changed).throwIfFailed();
    answer(context, store, changed.id);
    co_return exitDone;
}

std::string plainTag(const std::string& given) {
    const std::string valid = toValidUtf8(given);
    std::string_view tag = trimmed(valid);
    if (tag.starts_with('#')) tag.remove_prefix(1);
    if (tag.empty()) throw UsageError("A tag needs at least one character.");
    return std::string(tag);
}

/// Takes the tag away from the manual ones. A hashtag of title or note is theirs.
void removeTag(std::vector<std::string>& manual, const std::string& tag,
               const std::vector<std::string>& all) {
    const auto sameTag = [wanted = lowerCased(tag)](const std::string& own) {
        return lowerCased(own) == wanted;
    };
    if (std::erase_if(manual, sameTag) > 0) return;
    if (std::any_of(all.begin(), all.end(), sameTag)) {
        throw Error(fmt::format("#{} stands in the memory's title or note: edit that.", tag));
    }
    throw Error(fmt::format("The memory has no tag #{}.", tag));
}

Coroutine<int> runTag(CommandContext& context, const Arguments& arguments) {
    if (!arguments.has("add") && !arguments.has("remove")) {
        throw UsageError("tag needs --add or --remove.");
    }
    CrumbStore& store = *co_await context.open(LibraryAccess::writing);
    const Uuid id = findMemory(store, arguments.positional(0))->id;
    auto manual = store.annotations().manualTags(id);
    for (const std::string& tag : arguments.values("remove")) {
        removeTag(manual, plainTag(tag), store.tagsOf(id));
    }
    for (const std::string& tag : arguments.values("add")) manual.push_back(plainTag(tag));
    const auto begin = [&](Saved saved) {
        store.memoryEdits().setManualTags(id, manual, std::move(saved));
    };
    co_await context.save(begin);
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
