#include "workspace/history/LibraryValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "records/SecureMemories.h"

namespace nookery {
namespace {

Uuid idOf(const Change& change) { return Uuid::parse(change.id).value_or(Uuid()); }

std::optional<std::string> optionalText(const Json& value) {
    return value.is_null() ? std::nullopt : std::optional(value.get<std::string>());
}

Json textOrNull(const std::optional<std::string>& text) { return text ? Json(*text) : Json(); }

Json fieldOf(const CrumbItem& item, const std::string& field) {
    if (field == titleField) return item.title;
    if (field == noteField) return item.note;
    if (field == textField) return textOrNull(item.text);
    return item.groupID ? Json(item.groupID->toString()) : Json();
}

void setField(CrumbItem& item, const std::string& field, const Json& value) {
    if (field == titleField) {
        item.title = value.get<std::string>();
    } else if (field == noteField) {
        item.note = value.get<std::string>();
    } else if (field == textField) {
        item.text = optionalText(value);
    } else {
        item.groupID = value.is_null() ? std::nullopt : Uuid::parse(value.get<std::string>());
    }
}

CrumbGroup groupFrom(const Change& change, const Json& value) {
    return {.id = idOf(change),
            .name = value.at("name").get<std::string>(),
            .createdAt = {value.at("createdAt").get<double>()}};
}

const CrumbGroup* findGroup(const CrumbStore& store, const Uuid& id) {
    const auto& groups = *store.groups();
    const auto found = std::find_if(groups.begin(), groups.end(),
                                    [&](const CrumbGroup& group) { return group.id == id; });
    return found == groups.end() ? nullptr : &*found;
}

std::string fieldName(const Change& change) {
    if (change.thing == ChangedThing::tags) return "tags";
    if (change.thing == ChangedThing::bringBack) return "bring-back date";
    return change.field;
}

}  // namespace

bool isProtected(const CrumbStore& store, const CrumbItem& item) {
    return isLocalOnly(item, [&store](const Uuid& id) { return store.item(id); });
}

std::string shownName(const CrumbStore& store, const CrumbItem& item) {
    if (isProtected(store, item)) return "a protected memory";
    return fmt::format("\"{}\"", item.title.empty() ? "(no title)" : item.title);
}

Json toJson(const std::optional<Timestamp>& date) {
    return date ? Json(date->secondsSince1970) : Json();
}

Json groupJson(const CrumbGroup& group) {
    return {{"name", group.name}, {"createdAt", group.createdAt.secondsSince1970}};
}

bool LibraryValues::holds(ChangedThing thing) const {
    return thing == ChangedThing::memory || thing == ChangedThing::tags ||
           thing == ChangedThing::bringBack || thing == ChangedThing::group;
}

std::optional<Json> LibraryValues::current(const Change& change) const {
    const Uuid id = idOf(change);
    if (change.thing == ChangedThing::group) {
        const CrumbGroup* group = findGroup(store_, id);
        return group == nullptr ? Json() : groupJson(*group);
    }
    const auto item = store_.item(id);
    if (!item) return std::nullopt;
    if (change.thing == ChangedThing::memory) return fieldOf(*item, change.field);
    if (change.thing == ChangedThing::tags) return Json(store_.annotations().manualTags(id));
    const auto& dates = *store_.bringBackDates();
    const auto date = dates.find(id);
    return toJson(date == dates.end() ? std::nullopt : std::optional(date->second));
}

std::string LibraryValues::nameOf(const Change& change) const {
    const Uuid id = idOf(change);
    if (change.thing == ChangedThing::group) {
        const CrumbGroup* group = findGroup(store_, id);
        return fmt::format("the group \"{}\"", group == nullptr ? "" : group->name);
    }
    const auto item = store_.item(id);
    const std::string whose = item ? shownName(store_, *item) : "a memory";
    return fmt::format("the {} of {}", fieldName(change), whose);
}

/// What is set one after the other.
struct LibraryValues::Batch {
    TagsByID tags{};
    BringBackByID dates{};
    std::vector<Uuid> leavingGroups{};
    Saved saved;
};

void LibraryValues::set(std::vector<Assignment> assignments, SaveReason reason, Saved saved) {
    auto batch = std::make_shared<Batch>(Batch{.saved = std::move(saved)});
    for (const auto& [change, value] : assignments) {
        const Uuid id = idOf(change);
        if (change.thing == ChangedThing::tags) {
            batch->tags[id] = value.get<std::vector<std::string>>();
        } else if (change.thing == ChangedThing::bringBack) {
            batch->dates[id] =
                value.is_null() ? std::nullopt : std::optional(Timestamp{value.get<double>()});
        } else if (change.thing == ChangedThing::group && value.is_null()) {
            batch->leavingGroups.push_back(id);
        }
    }
    if (SaveFailure failure = setGroups(assignments, reason)) return batch->saved(failure);
    if (SaveFailure failure = setFields(assignments, reason)) return batch->saved(failure);
    setTags(batch);
}

SaveFailure LibraryValues::setGroups(const std::vector<Assignment>& assignments,
                                     SaveReason reason) {
    for (const auto& [change, value] : assignments) {
        if (change.thing != ChangedThing::group || value.is_null()) continue;
        const CrumbGroup group = groupFrom(change, value);
        SaveFailure failure = findGroup(store_, group.id) == nullptr
                                  ? store_.groupEdits().add(group, reason)
                                  : store_.groupEdits().rename(group.id, group.name, reason);
        if (failure) return failure;
    }
    return {};
}

/// The records as the assignments of their fields make them. A group that is gone is none.
CrumbItemList LibraryValues::changedRecords(const std::vector<Assignment>& assignments) const {
    std::map<Uuid, CrumbItem> changed;
    for (const auto& [change, value] : assignments) {
        if (change.thing != ChangedThing::memory) continue;
        const auto item = store_.item(idOf(change));
        if (!item) continue;
        setField(changed.try_emplace(item->id, *item).first->second, change.field, value);
    }
    CrumbItemList records;
    for (auto& [id, item] : changed) {
        const bool isLost = item.groupID && findGroup(store_, *item.groupID) == nullptr;
        if (isLost) item.groupID.reset();
        records.push_back(std::make_shared<const CrumbItem>(std::move(item)));
    }
    return records;
}

SaveFailure LibraryValues::refusalForGroupsOf(const CrumbItemList& changed) const {
    for (const auto& item : changed) {
        const bool isMoved = item->groupID && item->groupID != store_.item(item->id)->groupID;
        if (!isMoved) continue;
        if (SaveFailure refused = store_.groupEdits().refusalFor(*item->groupID)) return refused;
    }
    return {};
}

/// In one transaction.
SaveFailure LibraryValues::setFields(const std::vector<Assignment>& assignments,
                                     SaveReason reason) {
    const CrumbItemList changed = changedRecords(assignments);
    if (changed.empty()) return {};
    if (SaveFailure refused = refusalForGroupsOf(changed)) return refused;
    return store_.memoryEdits().replace(changed, reason);
}

void LibraryValues::showUnsaved(const std::vector<Assignment>& assignments, SaveReason reason,
                                const SaveFailure& why) {
    const CrumbItemList changed = changedRecords(assignments);
    if (changed.empty() || refusalForGroupsOf(changed)) return;
    store_.memoryEdits().showUnsaved(changed, reason, why);
}

void LibraryValues::setTags(const std::shared_ptr<Batch>& batch) {
    if (batch->tags.empty()) return setDates(batch);
    store_.memoryEdits().setManualTags(batch->tags,
                                       guard_.guarded([this, batch](const SaveFailure& failure) {
                                           if (failure) return batch->saved(failure);
                                           setDates(batch);
                                       }));
}

void LibraryValues::setDates(const std::shared_ptr<Batch>& batch) {
    if (batch->dates.empty()) return removeGroups(batch, 0);
    store_.memoryEdits().setBringBack(batch->dates,
                                      guard_.guarded([this, batch](const SaveFailure& failure) {
                                          if (failure) return batch->saved(failure);
                                          removeGroups(batch, 0);
                                      }));
}

void LibraryValues::removeGroups(const std::shared_ptr<Batch>& batch, std::size_t next) {
    if (next == batch->leavingGroups.size()) return batch->saved({});
    store_.remover()
        .deleteGroup(batch->leavingGroups[next])
        ->whenFinished(
            guard_.guarded([this, batch, next](const Outcome<DestructiveOutcome>& outcome) {
                if (const Failure* why = outcome.failure()) {
                    return batch->saved(SaveFailure(why->message, why->advice));
                }
                if (outcome.isStopped()) return batch->saved(SaveFailure("It was stopped."));
                removeGroups(batch, next + 1);
            }));
}

}  // namespace nookery
