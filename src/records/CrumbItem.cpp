#include "records/CrumbItem.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace nookery {
namespace {

constexpr std::array<std::pair<CrumbKind, std::string_view>, 5> kindNames{{
    {CrumbKind::text, "text"},
    {CrumbKind::url, "url"},
    {CrumbKind::image, "image"},
    {CrumbKind::file, "file"},
    {CrumbKind::activity, "activity"},
}};

constexpr std::array<std::string_view, 2> secureMarkers{"__crumb_secure__",
                                                        "__crumb_secure_credit_card__"};

Json dateToJson(Timestamp date, KeyedDates dates) {
    if (dates == KeyedDates::iso8601) return toIso8601(date);
    return date.secondsSince2001();
}

Timestamp dateFromJson(const Json& object, std::string_view key, KeyedDates dates) {
    if (dates == KeyedDates::secondsSince2001)
        return Timestamp::since2001(requiredNumber(object, key));
    const std::string text = requiredString(object, key);
    const auto date = parseIso8601(text);
    if (!date) throw JsonError(fmt::format("JSON key \"{}\" is not a date: {}", key, text));
    return *date;
}

Uuid uuidFromJson(const Json& object, std::string_view key) {
    const std::string text = requiredString(object, key);
    const auto id = Uuid::parse(text);
    if (!id) throw JsonError(fmt::format("JSON key \"{}\" is not a UUID: {}", key, text));
    return *id;
}

std::optional<Uuid> optionalUuidFromJson(const Json& object, std::string_view key) {
    if (!optionalString(object, key)) return std::nullopt;
    return uuidFromJson(object, key);
}

template <typename T>
void addIfPresent(Json& object, const char* key, const std::optional<T>& value) {
    if (!value) return;
    if constexpr (std::is_same_v<T, Uuid>) {
        object[key] = value->toString();
    } else {
        object[key] = *value;
    }
}

}  // namespace

std::string_view rawValue(CrumbKind kind) {
    for (const auto& [candidate, name] : kindNames) {
        if (candidate == kind) return name;
    }
    return "file";
}

std::optional<CrumbKind> kindFromRawValue(std::string_view raw) {
    for (const auto& [kind, name] : kindNames) {
        if (name == raw) return kind;
    }
    return std::nullopt;
}

bool isSecure(const CrumbItem& item) {
    return std::any_of(secureMarkers.begin(), secureMarkers.end(), [&](std::string_view marker) {
        return item.searchableText.find(marker) != std::string::npos;
    });
}

/// Puts the mark in front: reading the original again replaces only the text behind it.
void markSecure(CrumbItem& item) {
    item.searchableText.insert(0, std::string(secureMarkers.front()) + '\n');
}

Json toKeyedForm(const CrumbItem& item, KeyedDates dates) {
    Json object{{"id", item.id.toString()},
                {"title", item.title},
                {"kind", rawValue(item.kind)},
                {"createdAt", dateToJson(item.createdAt, dates)},
                {"searchableText", item.searchableText},
                {"note", item.note}};
    addIfPresent(object, "text", item.text);
    addIfPresent(object, "urlString", item.urlString);
    addIfPresent(object, "filePath", item.filePath);
    addIfPresent(object, "groupID", item.groupID);
    addIfPresent(object, "sourceItemID", item.sourceItemID);
    return object;
}

Json toKeyedForm(const CrumbGroup& group, KeyedDates dates) {
    return {{"id", group.id.toString()},
            {"name", group.name},
            {"createdAt", dateToJson(group.createdAt, dates)}};
}

CrumbItem itemFromKeyedForm(const Json& object, KeyedDates dates) {
    CrumbItem item;
    item.id = uuidFromJson(object, "id");
    item.title = requiredString(object, "title");
    const std::string kind = requiredString(object, "kind");
    const auto known = kindFromRawValue(kind);
    if (!known) throw JsonError(fmt::format("JSON key \"kind\" is not a kind: {}", kind));
    item.kind = *known;
    item.createdAt = dateFromJson(object, "createdAt", dates);
    item.text = optionalString(object, "text");
    item.urlString = optionalString(object, "urlString");
    item.filePath = optionalString(object, "filePath");
    item.searchableText = requiredString(object, "searchableText");
    item.note = requiredString(object, "note");
    item.groupID = optionalUuidFromJson(object, "groupID");
    item.sourceItemID = optionalUuidFromJson(object, "sourceItemID");
    return item;
}

CrumbGroup groupFromKeyedForm(const Json& object, KeyedDates dates) {
    return {uuidFromJson(object, "id"), requiredString(object, "name"),
            dateFromJson(object, "createdAt", dates)};
}

}  // namespace nookery
