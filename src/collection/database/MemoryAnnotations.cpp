#include "collection/database/MemoryAnnotations.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "foundation/Json.h"
#include "foundation/Text.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "records/DefaultsKeys.h"
#include "retrieval/text/Hashtags.h"

namespace nookery {
namespace {

/// However far the next date lies, the clock is looked at once an hour: it may have been set.
constexpr double longestBringBackWaitSeconds = 3600;

Json toJson(const std::vector<std::string>& tags) { return tags; }

Json toJson(const UsageSignal& signal) {
    return {{"selectionCount", signal.selectionCount},
            {"lastSelectedAt", signal.lastSelectedAt.secondsSince2001()}};
}

Json toJson(Timestamp date) { return date.secondsSince2001(); }

void fromJson(const Json& value, std::vector<std::string>& tags) {
    tags = value.get<std::vector<std::string>>();
}

void fromJson(const Json& value, UsageSignal& signal) {
    signal.selectionCount = static_cast<int>(requiredNumber(value, "selectionCount"));
    signal.lastSelectedAt = Timestamp::since2001(requiredNumber(value, "lastSelectedAt"));
}

void fromJson(const Json& value, Timestamp& date) {
    date = Timestamp::since2001(value.get<double>());
}

template <typename Value>
std::string encode(const Value& value) {
    return toJsonText(toJson(value));
}

std::vector<std::string> tidied(const std::vector<std::string>& tags) {
    std::map<std::string, std::string> bySpelling;
    for (const std::string& tag : tags) {
        std::string_view bare = trimmed(tag);
        if (bare.starts_with('#')) bare = trimmed(bare.substr(1));
        const std::string comparable = comparableTag(bare);
        if (!comparable.empty()) bySpelling.emplace(comparable, bare);
    }
    std::vector<std::string> result;
    for (const auto& [lower, spelling] : bySpelling) result.push_back(spelling);
    return result;
}

}  // namespace

MemoryAnnotations::MemoryAnnotations(const Platform& platform) : platform_(platform) {}

void MemoryAnnotations::load() {
    unsaved_ = {};
    manualTagsByID_ = loadMap<decltype(manualTagsByID_)>(manualTagsDefaultsKey);
    usageSignals_ = loadMap<UsageSignals>(usageDefaultsKey);
    bringBackDates_.set(loadMap<std::map<Uuid, Timestamp>>(bringBackDefaultsKey));
}

template <typename Map>
Map MemoryAnnotations::loadMap(std::string_view key) {
    Map map;
    try {
        for (const DefaultsEntry& entry : platform_.defaults.entries(key)) {
            try {
                loadEntry(key, entry, map);
            } catch (const std::exception& error) {
                // nlohmann's own type errors are no nookery::Error.
                unsaved_.changes[std::string(key)][entry.name] = std::nullopt;
                tellUnreadable(key, error.what(), Unreadable::someEntries);
            }
        }
    } catch (const NoEntriesError&) {
        tellUnreadable(key, "It is no JSON object.", Unreadable::wholeValue);
    }
    return map;
}

template <typename Map>
void MemoryAnnotations::loadEntry(std::string_view key, const DefaultsEntry& entry, Map& map) {
    const auto id = Uuid::parse(entry.name);
    if (!id) throw JsonError(fmt::format("Not a memory id: {}", entry.name));
    typename Map::mapped_type value;
    fromJson(parseJson(entry.json), value);
    const bool isFirst = map.emplace(*id, std::move(value)).second;
    if (entry.name == id->toString()) return;
    // Changes go to the usual spelling, which sorts first; another one gives way to it.
    unsaved_.changes[std::string(key)][entry.name] = std::nullopt;
    if (isFirst) unsaved_.note(key, *id, entry.json);
}

/// Once for each key.
void MemoryAnnotations::tellUnreadable(std::string_view key, std::string_view why,
                                       Unreadable extent) {
    if (!unsaved_.unreadable.emplace(key, extent).second) return;
    platform_.log.line(fmt::format(
        "NOOKERY settings could not be read: {}: {} They are kept aside before the next change.",
        key, why));
}

const std::vector<std::string>& MemoryAnnotations::manualTags(const Uuid& id) const {
    static const std::vector<std::string> none;
    const auto found = manualTagsByID_.find(id);
    return found == manualTagsByID_.end() ? none : found->second;
}

void MemoryAnnotations::setManualTags(const Uuid& id, const std::vector<std::string>& tags) {
    setManualTags({{id, tags}});
}

void MemoryAnnotations::setManualTags(
    const std::unordered_map<Uuid, std::vector<std::string>>& tagsByID) {
    for (const auto& [id, tags] : tagsByID) {
        auto tidy = tidied(tags);
        if (tidy.empty()) {
            manualTagsByID_.erase(id);
            unsaved_.note(manualTagsDefaultsKey, id, std::nullopt);
        } else {
            unsaved_.note(manualTagsDefaultsKey, id, encode(tidy));
            manualTagsByID_[id] = std::move(tidy);
        }
    }
    save();
}

void MemoryAnnotations::recordSelection(const Uuid& id) {
    UsageSignal& signal = usageSignals_[id];
    ++signal.selectionCount;
    signal.lastSelectedAt = platform_.clock.now();
    unsaved_.note(usageDefaultsKey, id, encode(signal));
    save();
}

void MemoryAnnotations::setBringBack(const Uuid& id, std::optional<Timestamp> date) {
    bringBackDates_.update([&](auto& dates) {
        if (date) {
            dates[id] = *date;
        } else {
            dates.erase(id);
        }
    });
    refreshBroughtBack();
    unsaved_.note(bringBackDefaultsKey, id, date ? std::optional(encode(*date)) : std::nullopt);
    save();
}

void MemoryAnnotations::forget(const std::unordered_set<Uuid>& ids) {
    bool datesChange = false;
    for (const Uuid& id : ids) {
        if (manualTagsByID_.erase(id) > 0) unsaved_.note(manualTagsDefaultsKey, id, std::nullopt);
        if (usageSignals_.erase(id) > 0) unsaved_.note(usageDefaultsKey, id, std::nullopt);
        if (!bringBackDates_->contains(id)) continue;
        unsaved_.note(bringBackDefaultsKey, id, std::nullopt);
        datesChange = true;
    }
    if (datesChange) {
        bringBackDates_.update([&](auto& dates) {
            for (const Uuid& id : ids) dates.erase(id);
        });
        refreshBroughtBack();
    }
    save();
}

void MemoryAnnotations::forgetAll() {
    noteRemovals(manualTagsDefaultsKey, manualTagsByID_);
    noteRemovals(usageDefaultsKey, usageSignals_);
    noteRemovals(bringBackDefaultsKey, bringBackDates_.get());
    manualTagsByID_.clear();
    usageSignals_.clear();
    bringBackDates_.set({});
    broughtBackIDs_.set({});
    nextBringBack_.cancel();
    keepUnreadable(platform_.defaults, unsaved_);
    for (const auto key : {manualTagsDefaultsKey, usageDefaultsKey, bringBackDefaultsKey}) {
        platform_.defaults.remove(key);
    }
    unsaved_ = {};
}

void MemoryAnnotations::refreshBroughtBack() {
    nextBringBack_.cancel();
    const Timestamp now = platform_.clock.now();
    std::set<Uuid> due;
    double wait = longestBringBackWaitSeconds;
    for (const auto& [id, date] : bringBackDates_.get()) {
        if (date <= now) {
            due.insert(id);
        } else {
            wait = std::min(wait, secondsBetween(now, date));
        }
    }
    const bool someWait = due.size() < bringBackDates_->size();
    publishBroughtBack(std::move(due));
    if (!someWait) return;
    nextBringBack_ = platform_.mainQueue.after(WorkQueue::Delay(wait),
                                               guard_.guarded([this] { refreshBroughtBack(); }));
}

void MemoryAnnotations::publishBroughtBack(std::set<Uuid> due) {
    if (due == *broughtBackIDs_) return;
    BringBackNotice notice;
    std::set_difference(due.begin(), due.end(), broughtBackIDs_->begin(), broughtBackIDs_->end(),
                        std::back_inserter(notice.memoryIDs));
    broughtBackIDs_.set(std::move(due));
    if (!notice.memoryIDs.empty()) bringBackNotice_.set(std::move(notice));
}

template <typename Map>
void MemoryAnnotations::noteRemovals(std::string_view key, const Map& map) {
    for (const auto& [id, value] : map) unsaved_.note(key, id, std::nullopt);
}

void MemoryAnnotations::save() {
    nookery::save(platform_.defaults, unsaved_);
    unsaved_ = {};
}

}  // namespace nookery
