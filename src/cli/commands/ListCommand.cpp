#include <algorithm>

#include "cli/commands/Commands.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr std::size_t defaultLimit = 50;

/// The filters of the command line, all of which a listed memory meets.
struct Filter {
    std::optional<CrumbKind> kind;
    std::optional<Uuid> groupID;
    std::optional<std::string> tag;  ///< lower case, without "#"

    bool admits(const CrumbStore& store, const CrumbItem& item) const {
        if (kind && item.kind != *kind) return false;
        if (groupID && item.groupID != groupID) return false;
        if (!tag) return true;
        const auto tags = store.tagsOf(item.id);
        return std::any_of(tags.begin(), tags.end(),
                           [&](const std::string& own) { return lowerCased(own) == *tag; });
    }
};

std::optional<std::string> wantedTag(const Arguments& arguments) {
    auto tag = arguments.text("tag");
    if (tag && tag->starts_with('#')) tag->erase(0, 1);
    return tag ? std::optional(lowerCased(*tag)) : std::nullopt;
}

Coroutine<int> runList(CommandContext& context, const Arguments& arguments) {
    const std::size_t limit = arguments.count("limit", defaultLimit);
    const CrumbStore& store = *co_await context.open(LibraryAccess::reading);
    Filter filter{.kind = {}, .groupID = {}, .tag = wantedTag(arguments)};
    if (const auto kind = arguments.value("kind")) filter.kind = kindFromRawValue(*kind);
    if (const auto group = arguments.text("group")) filter.groupID = findGroup(store, *group).id;

    std::size_t total = 0;
    CrumbItemList shown;
    for (const auto& item : *store.items()) {
        if (!filter.admits(store, *item)) continue;
        if (++total <= limit) shown.push_back(item);
    }
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
