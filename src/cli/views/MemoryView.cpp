#include "cli/views/MemoryView.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "cli/output/TextLayout.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr std::size_t kindColumns = 8;
constexpr std::size_t dateColumns = 16;
constexpr std::size_t mostTitleColumns = 60;

/// The keys of a memory in the order in which people read them.
constexpr std::array keyOrder{"id",        "title",    "kind", "createdAt", "text",
                              "urlString", "filePath", "note", "groupID",   "sourceItemID"};

std::string tagText(const CrumbStore& store, const CrumbItem& item) {
    std::string text;
    for (const std::string& tag : store.tagsOf(item.id)) {
        text += fmt::format("{}#{}", text.empty() ? "" : " ", printable(tag));
    }
    return text;
}

}  // namespace

OrderedJson memoryJson(const CrumbStore& store, const CrumbItem& item) {
    const Json keyed = toKeyedForm(item, KeyedDates::iso8601);
    OrderedJson document;
    for (const char* key : keyOrder) {
        if (const auto found = keyed.find(key); found != keyed.end()) document[key] = *found;
    }
    document["tags"] = store.tagsOf(item.id);
    const std::string group = store.groupNameOf(item);
    document["group"] = group.empty() ? OrderedJson() : OrderedJson(group);
    return document;
}

ShortIds shortIdsOf(const CrumbStore& store, std::span<const Uuid> ids) {
    return ShortIds(store.queries().idsAround(ids));
}

ShortIds shortIdsOf(const CrumbStore& store, const CrumbItemList& items) {
    std::vector<Uuid> ids;
    for (const auto& item : items) ids.push_back(item->id);
    return shortIdsOf(store, ids);
}

CrumbItemPointer findMemory(const CrumbStore& store, const std::string& prefix) {
    // Two are enough to tell that the prefix does not name one.
    const auto ids = store.queries().idsBeginningWith(upperCasedId(prefix), 2);
    return store.item(onlyOne(ids, prefix, "memory", [](const Uuid& id) { return id; }));
}

std::vector<Uuid> findMemories(const CrumbStore& store, const std::vector<std::string>& prefixes) {
    std::vector<Uuid> ids;
    for (const std::string& prefix : prefixes) {
        const Uuid id = findMemory(store, prefix)->id;
        if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
    }
    return ids;
}

CrumbGroup findGroup(const CrumbStore& store, const std::string& nameOrId) {
    for (const CrumbGroup& group : *store.groups()) {
        if (group.name == nameOrId) return group;
    }
    return onlyOne(*store.groups(), nameOrId, "group", [](const auto& group) { return group.id; });
}

std::string_view spokenKind(CrumbKind kind) {
    switch (kind) {
        case CrumbKind::text:
            return "note";
        case CrumbKind::url:
            return "link";
        case CrumbKind::image:
            return "image";
        case CrumbKind::file:
            return "file";
        case CrumbKind::activity:
            return "activity";
    }
    return "memory";
}

std::string shownTitle(const CrumbItem& item) {
    const std::string title = printable(item.title);
    return title.empty() ? "(no title)" : title;
}

std::string memoryLine(const CrumbStore& store, const CrumbItem& item, Timestamp now) {
    std::string line(spokenKind(item.kind));
    // Files of one title are told apart by their endings.
    if (item.filePath) line += " " + printable(displayName(Path(*item.filePath).filename()));
    line += " · " + spokenDate(item.createdAt, now);
    if (const std::string tags = tagText(store, item); !tags.empty()) line += " · " + tags;
    if (const std::string group = store.groupNameOf(item); !group.empty()) {
        line += " · in " + printable(group);
    }
    return line;
}

void printMemoryTable(CommandContext& context, const CrumbStore& store,
                      const CrumbItemList& items) {
    const ShortIds shortIds = shortIdsOf(store, items);
    std::size_t idColumns = ShortIds::leastLength;
    std::size_t titleColumns = 0;
    for (const auto& item : items) {
        idColumns = std::max(idColumns, shortIds(item->id).size());
        titleColumns = std::max(titleColumns, columnCount(shownTitle(*item)));
    }
    titleColumns = std::min(titleColumns, mostTitleColumns);
    const auto columns = context.columns();
    const std::size_t others = idColumns + kindColumns + dateColumns + 6;
    if (columns)
        titleColumns = std::min(titleColumns, *columns > others + 12 ? *columns - others : 12);
    const Style& style = context.style();
    for (const auto& item : items) {
        std::string title = shownTitle(*item);
        if (columns) title = fitted(title, titleColumns);
        std::string line = fmt::format(
            "{}  {}  {}  {}", style.inDim(padded(shortIds(item->id), idColumns)),
            style.inTitle(padded(title, titleColumns)), padded(spokenKind(item->kind), kindColumns),
            padded(spokenDate(item->createdAt, context.now()), dateColumns));
        const std::string tags = tagText(store, *item);
        const std::size_t used = titleColumns + others;
        if (!columns) {
            line += tags.empty() ? "" : "  " + tags;
        } else if (!tags.empty() && *columns > used + 4) {
            line += "  " + style.inDim(fitted(tags, *columns - used - 2));
        }
        context.out().writeLine(trimmed(line));
    }
}

}  // namespace nookery::cli
