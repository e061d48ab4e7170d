#include <algorithm>

#include "cli/commands/Commands.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr std::size_t defaultLimit = 50;

/// As MemoryQueries::newest, but only those with a tag, given in lower case without "#".
NewestMemories newestTagged(const CrumbStore& store, const ItemFilter& filter,
                            const std::string& tag, std::size_t limit) {
    NewestMemories newest;
    for (const auto& item : *store.items()) {
        if (!filter.admits(*item)) continue;
        const auto tags = store.tagsOf(item->id);
        const bool hasTag = std::any_of(tags.begin(), tags.end(), [&](const std::string& own) {
            return lowerCased(own) == tag;
        });
        if (hasTag && ++newest.totalCount <= limit) newest.items.push_back(item);
    }
    return newest;
}

std::optional<std::string> wantedTag(const Arguments& arguments) {
    auto tag = arguments.text("tag");
    if (tag && tag->starts_with('#')) tag->erase(0, 1);
    return tag ? std::optional(lowerCased(*tag)) : std::nullopt;
}

Coroutine<int> runList(CommandContext& context, const Arguments& arguments) {
    const std::size_t limit = arguments.count("limit", defaultLimit);
    const auto tag = wantedTag(arguments);
    // Hashtags stand in the memories' texts.
    const LibraryExtent extent = tag ? LibraryExtent::records : LibraryExtent::onDemand;
    const CrumbStore& store = *co_await context.open(LibraryAccess::reading, extent);
    ItemFilter filter;
    if (const auto kind = arguments.value("kind")) filter.kind = kindFromRawValue(*kind);
    if (const auto group = arguments.text("group")) filter.groupID = findGroup(store, *group).id;

    const NewestMemories newest =
        tag ? newestTagged(store, filter, *tag, limit) : store.queries().newest(filter, limit);
    const auto& [shown, total] = newest;
    if (context.wantsJson()) {
        OrderedJson items = OrderedJson::array();
        for (const auto& item : shown) items.push_back(memoryJson(store, *item));
        context.print({{"count", total}, {"items", std::move(items)}});
        co_return exitDone;
    }
    printMemoryTable(context, store, shown);
    if (total > shown.size()) {
        context.say("The newest " + std::to_string(shown.size()) + " of " + std::to_string(total) +
                    "; --limit shows more.");
    } else if (total == 0) {
        context.say("No memory to list.");
    }
    co_return exitDone;
}

}  // namespace

Command listCommand() {
    return {.name = "list",
            .summary = "List memories, newest first",
            .examples = {{"list --limit 10", "the ten newest"},
                         {"list --tag baking --kind url", "the links with the tag #baking"}},
            .options = {{.name = "kind",
                         .value = "KIND",
                         .help = "only memories of this kind",
                         .offers = Offers::words,
                         .words = {"text", "url", "image", "file", "activity"}},
                        {"group", "GROUP", "only those in this group"},
                        {"tag", "TAG", "only those with this tag"},
                        {"limit", "N", "at most so many (50 when not said)"}},
            .run = runList};
}

}  // namespace nookery::cli
