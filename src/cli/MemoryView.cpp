#include "cli/MemoryView.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "cli/TextLayout.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr std::size_t leastIdLength = 8;
constexpr std::size_t kindColumns = 8;
constexpr std::size_t dateColumns = 16;
constexpr std::size_t mostTitleColumns = 60;

/// The keys of a memory in the order in which people read them.
constexpr std::array keyOrder{"id",        "title",    "kind", "createdAt", "text",
                              "urlString", "filePath", "note", "groupID",   "sourceItemID"};

std::size_t sharedLength(const std::string& left, const std::string& right) {
    const auto [end, unused] = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    return static_cast<std::size_t>(end - left.begin());
}

std::string upperCased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return text;
}

/// The only one of `things` whose id begins with `prefix`.
template <typename Range, typename IdOf>
auto onlyOne(const Range& things, const std::string& prefix, std::string_view what, IdOf idOf) {
    const std::string wanted = upperCased(prefix);
    std::vector<typename Range::value_type> found;
    for (const auto& thing : things) {
        if (!wanted.empty() && idOf(thing).toString().starts_with(wanted)) found.push_back(thing);
    }
    if (found.empty()) {
        throw Error(fmt::format("There is no {} \"{}\".", what, printable(prefix)));
    }
    if (found.size() > 1) {
        throw Error(fmt::format("More than one {}'s id begins with \"{}\": give more of it.", what,
                                printable(prefix)));
    }
    return found.front();
}

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

ShortIds::ShortIds(const CrumbStore& store) {
    sorted_.reserve(store.items()->size());
    for (const auto& item : *store.items()) sorted_.push_back(item->id);
    std::sort(sorted_.begin(), sorted_.end());
}

std::string ShortIds::operator()(const Uuid& id) const {
    const std::string text = id.toString();
    std::size_t length = leastIdLength;
    const auto place = std::lower_bound(sorted_.begin(), sorted_.end(), id);
    if (place != sorted_.begin()) {
        length = std::max(length, sharedLength(text, std::prev(place)->toString()) + 1);
    }
    const auto after = place != sorted_.end() && *place == id ? std::next(place) : place;
    if (after != sorted_.end())
        length = std::max(length, sharedLength(text, after->toString()) + 1);
    return text.substr(0, length);
}

CrumbItemPointer findMemory(const CrumbStore& store, const std::string& prefix) {
    return onlyOne(*store.items(), prefix, "memory", [](const auto& item) { return item->id; });
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

std::string memoryLine(const CrumbStore& store, const CrumbItem& item, Date now) {
    std::string line(spokenKind(item.kind));
    // Files of one title are told apart by their endings.
    if (item.filePath) line += " " + displayName(Path(*item.filePath).filename());
    line += " · " + spokenDate(item.createdAt, now);
    if (const std::string tags = tagText(store, item); !tags.empty()) line += " · " + tags;
    if (const std::string group = store.groupNameOf(item); !group.empty()) {
        line += " · in " + printable(group);
    }
    return line;
}

void printMemoryTable(Session& session, const CrumbStore& store, const CrumbItemList& items) {
    const ShortIds shortIds(store);
    std::size_t idColumns = leastIdLength;
    std::size_t titleColumns = 0;
    for (const auto& item : items) {
        idColumns = std::max(idColumns, shortIds(item->id).size());
        titleColumns = std::max(titleColumns, columnCount(shownTitle(*item)));
    }
    titleColumns = std::min(titleColumns, mostTitleColumns);
    const auto columns = session.columns();
    const std::size_t others = idColumns + kindColumns + dateColumns + 6;
    if (columns)
        titleColumns = std::min(titleColumns, *columns > others + 12 ? *columns - others : 12);
    const Style& style = session.style();
    for (const auto& item : items) {
        std::string title = shownTitle(*item);
        if (columns) title = fitted(title, titleColumns);
        std::string line = fmt::format(
            "{}  {}  {}  {}", style.inDim(padded(shortIds(item->id), idColumns)),
            style.inTitle(padded(title, titleColumns)), padded(spokenKind(item->kind), kindColumns),
            padded(spokenDate(item->createdAt, session.now()), dateColumns));
        const std::string tags = tagText(store, *item);
        const std::size_t used = titleColumns + others;
        if (!columns) {
            line += tags.empty() ? "" : "  " + tags;
        } else if (!tags.empty() && *columns > used + 4) {
            line += "  " + style.inDim(fitted(tags, *columns - used - 2));
        }
        session.out().writeLine(trimmed(line));
    }
}

}  // namespace nookery::cli
