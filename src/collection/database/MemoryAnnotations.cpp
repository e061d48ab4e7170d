#include "collection/database/MemoryAnnotations.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <stdexcept>

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

/// For more memories at once all entries are read.
constexpr std::size_t mostReadByName = 1000;

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

/// Reads one map after the other, and records what the next change should mend.
class Reading {
  public:
    Reading(const Platform& platform, UnsavedAnnotations& unsaved)
        : platform_(platform), unsaved_(unsaved) {}

    template <typename Map>
    void readMap(std::string_view key, Map& map) {
        read(key, map, [&] { return platform_.defaults.entries(key); });
    }
    /// Only of these memories.
    template <typename Map>
    void readMap(std::string_view key, std::span<const Uuid> ids, Map& map) {
        std::vector<std::string> names;
        for (const Uuid& id : ids) {
            names.push_back(id.toString());
            names.push_back(lowerCased(names.back()));
        }
        read(key, map, [&] { return platform_.defaults.entries(key, names); });
    }

  private:
    template <typename Map, typename Entries>
    void read(std::string_view key, Map& map, const Entries& entries) {
        try {
            for (const DefaultsEntry& entry : entries()) {
                try {
                    readEntry(key, entry, map);
                } catch (const std::exception& error) {
                    // nlohmann's own type errors are no nookery::Error.
                    unsaved_.changes[std::string(key)][entry.name] = std::nullopt;
                    tellUnreadable(key, error.what(), Unreadable::someEntries);
                }
            }
        } catch (const NoEntriesError&) {
            tellUnreadable(key, "It is no JSON object.", Unreadable::wholeValue);
        }
    }

    template <typename Map>
    void readEntry(std::string_view key, const DefaultsEntry& entry, Map& map) {
        const auto id = Uuid::parse(entry.name);
        if (!id) throw JsonError(fmt::format("Not a memory id: {}", entry.name));
        typename Map::mapped_type value;
        fromJson(parseJson(entry.json), value);
        const bool isFirst = map.emplace(*id, std::move(value)).second;
        if (entry.name == id->toString()) return;
        // Changes go to the usual spelling, which sorts first; another one gives way to it.
        unsaved_.changes[std::string(key)][entry.name] = std::nullopt;
        if (isFirst) unsaved_.record(key, *id, entry.json);
    }

    /// Once for each key.
    void tellUnreadable(std::string_view key, std::string_view why, Unreadable extent) {
        if (!unsaved_.unreadable.emplace(key, extent).second) return;
        platform_.log.line(
            fmt::format("NOOKERY settings could not be read: {}: {} They are kept aside before the "
                        "next change.",
                        key, why));
    }

    const Platform& platform_;
    UnsavedAnnotations& unsaved_;
};

}  // namespace

std::vector<std::string> tidiedTags(const std::vector<std::string>& tags) {
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

LoadedAnnotations loadAnnotations(const Platform& platform) {
    LoadedAnnotations loaded;
    Reading reading(platform, loaded.unsaved);
    reading.readMap(manualTagsDefaultsKey, loaded.manualTags);
    reading.readMap(usageDefaultsKey, loaded.usageSignals);
    reading.readMap(bringBackDefaultsKey, loaded.bringBackDates);
    return loaded;
}

LoadedAnnotations loadBringBackDates(const Platform& platform) {
    LoadedAnnotations loaded;
    loaded.areTagsAndUsageLeftOut = true;
    Reading(platform, loaded.unsaved).readMap(bringBackDefaultsKey, loaded.bringBackDates);
    return loaded;
}

MemoryAnnotations::MemoryAnnotations(const Platform& platform) : platform_(platform) {}

void MemoryAnnotations::adopt(LoadedAnnotations loaded) {
    manualTagsByID_ = std::move(loaded.manualTags);
    usageSignals_ = std::move(loaded.usageSignals);
    unsaved_ = std::move(loaded.unsaved);
    read_.reset();
    if (loaded.areTagsAndUsageLeftOut) read_.emplace();
    bringBackDates_.set(std::move(loaded.bringBackDates));
    refreshBroughtBack();
}

void MemoryAnnotations::readAhead(std::span<const Uuid> ids) const {
    if (!read_) return;
    std::vector<Uuid> unread;
    for (const Uuid& id : ids) {
        if (!read_->contains(id)) unread.push_back(id);
    }
    if (unread.empty()) return;
    if (unread.size() > mostReadByName) return readRest();
    Reading reading(platform_, unsaved_);
    reading.readMap(manualTagsDefaultsKey, unread, manualTagsByID_);
    reading.readMap(usageDefaultsKey, unread, usageSignals_);
    read_->insert(unread.begin(), unread.end());
}

/// What was read already may have changed since, and stands.
void MemoryAnnotations::readRest() const {
    Reading reading(platform_, unsaved_);
    const auto addRest = [&](std::string_view key, auto& map) {
        auto all = std::decay_t<decltype(map)>();
        reading.readMap(key, all);
        std::erase_if(all, [&](const auto& entry) { return read_->contains(entry.first); });
        map.merge(all);
    };
    addRest(manualTagsDefaultsKey, manualTagsByID_);
    addRest(usageDefaultsKey, usageSignals_);
    read_.reset();
}

const UsageSignals& MemoryAnnotations::usageSignals() const {
    if (read_) throw std::logic_error("The usage is read memory by memory.");
    return usageSignals_;
}

const std::vector<std::string>& MemoryAnnotations::manualTags(const Uuid& id) const {
    static const std::vector<std::string> none;
    readAhead({&id, 1});
    const auto found = manualTagsByID_.find(id);
    return found == manualTagsByID_.end() ? none : found->second;
}

void MemoryAnnotations::setManualTags(const Uuid& id, const std::vector<std::string>& tags) {
    setManualTags({{id, tags}});
}

void MemoryAnnotations::setManualTags(
    const std::unordered_map<Uuid, std::vector<std::string>>& tagsByID) {
    std::vector<Uuid> changed;
    for (const auto& [id, tags] : tagsByID) changed.push_back(id);
    readAhead(changed);
    for (const auto& [id, tags] : tagsByID) {
        auto tidy = tidiedTags(tags);
        if (tidy.empty()) {
            manualTagsByID_.erase(id);
            unsaved_.record(manualTagsDefaultsKey, id, std::nullopt);
        } else {
            unsaved_.record(manualTagsDefaultsKey, id, encode(tidy));
            manualTagsByID_[id] = std::move(tidy);
        }
    }
    tellTagsChanged(std::move(changed));
}

void MemoryAnnotations::tellTagsChanged(std::vector<Uuid> ids) {
    if (ids.empty()) return;
    manualTagChanges_.set(std::move(ids));
    manualTagChanges_.updateQuietly([](std::vector<Uuid>& told) { told.clear(); });
}

void MemoryAnnotations::recordSelection(const Uuid& id) {
    readAhead({&id, 1});
    UsageSignal& signal = usageSignals_[id];
    ++signal.selectionCount;
    signal.lastSelectedAt = platform_.clock.now();
    unsaved_.record(usageDefaultsKey, id, encode(signal));
}

void MemoryAnnotations::setBringBack(const Uuid& id, std::optional<Timestamp> date) {
    setBringBack({{id, date}});
}

void MemoryAnnotations::setBringBack(const BringBackByID& changes) {
    bringBackDates_.update([&](auto& dates) {
        for (const auto& [id, date] : changes) {
            if (date) {
                dates[id] = *date;
            } else {
                dates.erase(id);
            }
        }
    });
    refreshBroughtBack();
    for (const auto& [id, date] : changes) {
        unsaved_.record(bringBackDefaultsKey, id,
                        date ? std::optional(encode(*date)) : std::nullopt);
    }
}

AnnotationsByID MemoryAnnotations::of(const std::unordered_set<Uuid>& ids) const {
    AnnotationsByID found;
    readAhead(std::vector(ids.begin(), ids.end()));
    for (const Uuid& id : ids) {
        MemoryAnnotation annotation{.manualTags = manualTags(id)};
        const auto usage = usageSignals_.find(id);
        if (usage != usageSignals_.end()) annotation.usage = usage->second;
        const auto date = bringBackDates_->find(id);
        if (date != bringBackDates_->end()) annotation.bringBack = date->second;
        const bool hasSomething =
            !annotation.manualTags.empty() || annotation.usage || annotation.bringBack;
        if (hasSomething) found.emplace(id, std::move(annotation));
    }
    return found;
}

void MemoryAnnotations::restore(const AnnotationsByID& annotations) {
    BringBackByID dates;
    std::vector<Uuid> ids;
    for (const auto& [id, annotation] : annotations) ids.push_back(id);
    readAhead(ids);
    for (const auto& [id, annotation] : annotations) {
        if (!annotation.manualTags.empty()) setManualTags(id, annotation.manualTags);
        if (annotation.bringBack) dates.emplace(id, annotation.bringBack);
        if (!annotation.usage) continue;
        usageSignals_[id] = *annotation.usage;
        unsaved_.record(usageDefaultsKey, id, encode(*annotation.usage));
    }
    if (!dates.empty()) setBringBack(dates);
}

void MemoryAnnotations::forget(const std::unordered_set<Uuid>& ids) {
    readAhead(std::vector(ids.begin(), ids.end()));
    bool datesChange = false;
    std::vector<Uuid> untagged;
    for (const Uuid& id : ids) {
        if (manualTagsByID_.erase(id) > 0) {
            unsaved_.record(manualTagsDefaultsKey, id, std::nullopt);
            untagged.push_back(id);
        }
        if (usageSignals_.erase(id) > 0) unsaved_.record(usageDefaultsKey, id, std::nullopt);
        if (!bringBackDates_->contains(id)) continue;
        unsaved_.record(bringBackDefaultsKey, id, std::nullopt);
        datesChange = true;
    }
    if (datesChange) {
        bringBackDates_.update([&](auto& dates) {
            for (const Uuid& id : ids) dates.erase(id);
        });
        refreshBroughtBack();
    }
    tellTagsChanged(std::move(untagged));
}

void MemoryAnnotations::forgetAll() {
    if (read_) adopt(loadAnnotations(platform_));
    std::vector<Uuid> untagged;
    for (const auto& [id, tags] : manualTagsByID_) {
        unsaved_.record(manualTagsDefaultsKey, id, std::nullopt);
        untagged.push_back(id);
    }
    for (const auto& [id, signal] : usageSignals_) {
        unsaved_.record(usageDefaultsKey, id, std::nullopt);
    }
    for (const auto& [id, date] : *bringBackDates_) {
        unsaved_.record(bringBackDefaultsKey, id, std::nullopt);
    }
    manualTagsByID_.clear();
    usageSignals_.clear();
    bringBackDates_.set({});
    broughtBackIDs_.set({});
    nextBringBack_.cancel();
    tellTagsChanged(std::move(untagged));
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

}  // namespace nookery
