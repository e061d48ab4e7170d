#include <fmt/format.h>

#include <algorithm>

#include "cli/commands/Commands.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"
#include "collection/database/LibraryLock.h"
#include "foundation/Text.h"
#include "records/InternalMarkers.h"
#include "retrieval/index/SearchRecord.h"

namespace nookery::cli {
namespace {

constexpr std::size_t labelColumns = 10;

void printField(CommandContext& context, std::string_view label, const std::string& value) {
    if (value.empty()) return;
    context.out().writeLine(context.style().inDim(padded(label, labelColumns)) + value);
}

CrumbItemList itemsOf(const CrumbStore& store, const std::vector<Uuid>& ids) {
    CrumbItemList items;
    for (const Uuid& id : ids) items.push_back(store.item(id));
    return items;
}

/// A list of other memories below one, the first few of them.
void printBeside(CommandContext& context, const CrumbStore& store, const std::string& heading,
                 const std::vector<Uuid>& ids) {
    constexpr std::size_t mostShown = 12;
    if (ids.empty()) return;
    context.out().writeLine("\n" + context.style().inTitle(heading));
    CrumbItemList items = itemsOf(store, ids);
    items.resize(std::min(items.size(), mostShown));
    printMemoryTable(context, store, items);
    if (ids.size() > mostShown) {
        context.out().writeLine(fmt::format("and {} more", ids.size() - mostShown));
    }
}

OrderedJson memoriesJson(const CrumbStore& store, const std::vector<Uuid>& ids) {
    OrderedJson list = OrderedJson::array();
    for (const auto& item : itemsOf(store, ids)) list.push_back(memoryJson(store, *item));
    return list;
}

void printMemory(CommandContext& context, const CrumbStore& store, const CrumbItem& item) {
    context.out().writeLine(context.style().inTitle(shownTitle(item)));
    context.out().writeLine(memoryLine(store, item, context.now()));
    context.out().writeLine("");
    printField(context, "id", item.id.toString());
    printField(context, "taken in", exactDate(item.createdAt));
    printField(context, "link", printable(item.urlString.value_or("")));
    printField(context, "original", item.filePath ? printable(displayName(*item.filePath)) : "");
    printField(context, "note", printable(item.note));
    if (item.sourceItemID) printField(context, "made from", item.sourceItemID->toString());
    const auto date = store.bringBackDates()->find(item.id);
    if (date != store.bringBackDates()->end()) {
        printField(context, "back on", exactDate(date->second));
    }
    const std::string text =
        printableLines(item.text.value_or(withoutInternalMarkers(item.searchableText)));
    if (!text.empty()) context.out().writeLine("\n" + std::string(trimmed(text)));
    printBeside(context, store, "This reminds me of…", store.retrieval().related(item.id));
    printBeside(context, store, "Related Versions", store.retrieval().versions(item.id));
}

Coroutine<int> runShow(CommandContext& context, const Arguments& arguments) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::reading, LibraryExtent::fewSearches);
    const auto item = findMemory(store, arguments.positional(0));
    if (!context.wantsJson()) {
        printMemory(context, store, *item);
        co_return exitDone;
    }
    OrderedJson document = memoryJson(store, *item);
    document["searchableText"] = item->searchableText;
    const auto date = store.bringBackDates()->find(item->id);
    if (date != store.bringBackDates()->end()) document["bringBackDate"] = toIso8601(date->second);
    document["related"] = memoriesJson(store, store.retrieval().related(item->id));
    document["versions"] = memoriesJson(store, store.retrieval().versions(item->id));
    context.print(document);
    co_return exitDone;
}

/// Answers with a list of other memories; `none` is said when it is empty.
int answerWith(CommandContext& context, const CrumbStore& store, const std::vector<Uuid>& ids,
               std::string_view none) {
    if (context.wantsJson()) {
        context.print({{"items", memoriesJson(store, ids)}});
    } else if (ids.empty()) {
        context.say(none);
    } else {
        printMemoryTable(context, store, itemsOf(store, ids));
    }
    return exitDone;
}

Coroutine<int> runRelated(CommandContext& context, const Arguments& arguments) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::reading, LibraryExtent::fewSearches);
    const auto item = findMemory(store, arguments.positional(0));
    co_return answerWith(context, store, store.retrieval().related(item->id),
                         "This reminds of nothing else.");
}

Coroutine<int> runVersions(CommandContext& context, const Arguments& arguments) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::reading, LibraryExtent::fewSearches);
    const auto item = findMemory(store, arguments.positional(0));
    co_return answerWith(context, store, store.retrieval().versions(item->id),
                         "There are no other versions of it.");
}

std::string targetOf(const CrumbItem& item) {
    if (item.filePath) return *item.filePath;
    if (item.urlString) return *item.urlString;
    throw Error(fmt::format("\"{}\" has no original and no link; nookery show prints it.",
                            shownTitle(item)));
}

void demandOriginal(CommandContext& context, const CrumbItem& item) {
    if (!item.filePath || context.platform().files.statusFollowingLinks(*item.filePath)) return;
    throw Error(fmt::format("The original of \"{}\" is missing: {}.", shownTitle(item),
                            displayName(*item.filePath)));
}

Coroutine<int> runPrintTarget(CommandContext& context, const Arguments& arguments) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::reading, LibraryExtent::onDemand);
    const auto item = findMemory(store, arguments.positional(0));
    const std::string target = targetOf(*item);
    if (context.wantsJson()) {
        OrderedJson document = memoryJson(store, *item);
        document["target"] = target;
        context.print(document);
    } else if (context.columns()) {
        context.out().writeLine(printable(displayName(target)));
    } else {
        // Another program wants it to the byte.
        context.out().write(target + "\n");
    }
    co_return exitDone;
}

Coroutine<int> runOpen(CommandContext& context, const Arguments& arguments) {
    if (arguments.has("print")) co_return co_await runPrintTarget(context, arguments);
    CrumbStore& store = *co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    const auto item = findMemory(store, arguments.positional(0));
    const std::string target = targetOf(*item);
    demandOriginal(context, *item);
    Callback<Outcome<Nothing>> opening(context.platform().mainQueue, [&](Console::Opened opened) {
        context.console().openOnDesktop(target, opened);
    });
    const Outcome<Nothing> opened = co_await opening;
    opened.get();
    const auto begin = [&](Saved saved) {
        store.memoryEdits().recordSelection(item->id, std::move(saved));
    };
    co_await context.save(begin);
    if (context.wantsJson()) context.print(memoryJson(store, *item));
    co_return exitDone;
}

}  // namespace

std::vector<Command> showCommands() {
    const Positional id{"ID", "the memory's id, or as much of its beginning as tells it apart"};
    return {
        {.name = "show",
         .summary = "Show everything about one memory",
         .examples = {{"show 3F2A91C4", "title, date, tags, text and where the original lies"}},
         .positionals = {id},
         .run = runShow},
        {.name = "related",
         .summary = "List the memories that one reminds of",
         .examples = {{"related 3F2A91C4", "near-duplicates first, then what it has in common"}},
         .positionals = {id},
         .run = runRelated},
        {.name = "versions",
         .summary = "List the other versions of a memory's file",
         .examples = {{"versions 3F2A91C4", "iterations of the same work, newest first"}},
         .positionals = {id},
         .notes = "Two files are versions of each other when their names differ only by marks "
                  "such as \"final\", \"draft3\", \"v2\" or \"(2)\", and have the same "
                  "extension.",
         .run = runVersions},
        {.name = "open",
         .summary = "Open a memory's original or link on the desktop",
         .examples = {{"open 3F2A91C4", "open it in the program that knows its kind"},
                      {"open --print 3F2A91C4", "only print where it lies"}},
         .positionals = {id},
         .options = {{"print", "", "print the path or address and open nothing"}},
         .notes = "Opening counts as a use: what is used is found sooner.",
         .run = runOpen}};
}

}  // namespace nookery::cli
