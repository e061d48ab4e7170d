#include <fmt/format.h>

#include <unordered_map>

#include "cli/commands/Commands.h"
#include "cli/commands/Destruction.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

void printGroups(CommandContext& context, const CrumbStore& store) {
    std::unordered_map<Uuid, std::size_t> sizes = store.queries().groupSizes();
    OrderedJson groups = OrderedJson::array();
    for (const CrumbGroup& group : *store.groups()) {
        groups.push_back({{"id", group.id.toString()},
                          {"name", group.name},
                          {"createdAt", toIso8601(group.createdAt)},
                          {"count", sizes[group.id]}});
        if (context.wantsJson()) continue;
        context.out().writeLine(
            fmt::format("{}  {}", context.style().inTitle(padded(printable(group.name), 30)),
                        counted(sizes[group.id], "memory", "memories")));
    }
    if (context.wantsJson()) context.print({{"groups", std::move(groups)}});
}

Coroutine<int> runList(CommandContext& context, const Arguments&) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::reading, LibraryExtent::onDemand);
    printGroups(context, store);
    co_return exitDone;
}

Coroutine<int> runCreate(CommandContext& context, const Arguments& arguments) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    const auto creation = context.workspace().edits().createGroup(arguments.positional(0));
    co_await context.resultOf(creation);
    printGroups(context, store);
    co_return exitDone;
}

Coroutine<int> runRename(CommandContext& context, const Arguments& arguments) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    const Uuid id = findGroup(store, toValidUtf8(arguments.positional(0))).id;
    const auto renaming = context.workspace().edits().renameGroup(id, arguments.positional(1));
    co_await context.resultOf(renaming);
    printGroups(context, store);
    co_return exitDone;
}

Coroutine<int> runDelete(CommandContext& context, const Arguments& arguments) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    const CrumbGroup group = findGroup(store, toValidUtf8(arguments.positional(0)));
    const std::string what = fmt::format("Delete the group \"{}\"?", printable(group.name));
    const BeginDestruction begin = [&] {
        return context.workspace().edits().deleteGroup(group.id);
    };
    co_return co_await destroy(
        context, arguments, what,
        "Its memories stay, without a group. A recovery snapshot is taken first.", 1, begin);
}

Coroutine<int> assign(CommandContext& context, std::vector<std::string> prefixes,
                      std::optional<std::string> groupName) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    std::optional<Uuid> groupID;
    if (groupName) groupID = findGroup(store, toValidUtf8(*groupName)).id;
    const auto assignment =
        context.workspace().edits().assign(findMemories(store, prefixes), groupID);
    co_await context.resultOf(assignment);
    printGroups(context, store);
    co_return exitDone;
}

Coroutine<int> runAssign(CommandContext& context, const Arguments& arguments) {
    co_return co_await assign(context, arguments.positionalsFrom(1), arguments.positional(0));
}

Coroutine<int> runRemove(CommandContext& context, const Arguments& arguments) {
    co_return co_await assign(context, arguments.positionals(), std::nullopt);
}

}  // namespace

std::vector<Command> groupCommands() {
    const Positional name{"NAME", "the group's name, or the beginning of its id"};
    const Positional ids{
        .name = "ID", .help = "ids of memories, or their beginnings", .repeats = true};
    return {{.name = "group list",
             .summary = "List the groups and how much is in them",
             .examples = {{"group list", "oldest first"}},
             .run = runList},
            {.name = "group create",
             .summary = "Make a group",
             .examples = {{"group create Recipes", "an empty group"}},
             .positionals = {{"NAME", "what it is called"}},
             .run = runCreate},
            {.name = "group rename",
             .summary = "Give a group another name",
             .examples = {{"group rename Recipes Baking", "the memories in it stay"}},
             .positionals = {name, {"NEW", "the new name"}},
             .run = runRename},
            {.name = "group delete",
             .summary = "Delete a group and keep its memories",
             .examples = {{"group delete Recipes", "asks first"}},
             .positionals = {name},
             .options = destructionOptions(),
             .run = runDelete},
            {.name = "group assign",
             .summary = "Put memories into a group",
             .examples = {{"group assign Recipes 3F2A91C4 77B0E1D2", "two at once"}},
             .positionals = {name, ids},
             .run = runAssign},
            {.name = "group remove",
             .summary = "Take memories out of their group",
             .examples = {{"group remove 3F2A91C4", "it stays in the library"}},
             .positionals = {ids},
             .run = runRemove}};
}

}  // namespace nookery::cli
