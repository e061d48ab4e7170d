#include "collection/database/MemoryAnnotations.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>

#include "foundation/Json.h"
#include "foundation/Text.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/UserDefaults.h"
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

template <typename Map>
std::string encode(const Map& map) {
    Json object = Json::object();
    for (const auto& [id, value] : map) object[id.toString()] = toJson(value);
    return toJsonText(object);
}

template <typename Map>
Map decode(std::string_view bytes) {
    Map map;
    const Json object = parseJson(bytes);
    if (!object.is_object()) throw JsonError("Expected a JSON object.");
    for (const auto& [key, value] : object.items()) {
        const auto id = Uuid::parse(key);
        if (!id) throw JsonError(fmt::format("Not a memory id: {}", key));
        fromJson(value, map[*id]);
    }
    return map;
}

template <typename Map>
Map loadMap(const Platform& platform, std::string_view key) {
    const auto bytes = platform.defaults.get(key);
    if (!bytes) return {};
    try {
        return decode<Map>(*bytes);
    } catch (const std::exception& error) {
        // nlohmann's own type errors are no nookery::Error.
        const std::string keptUnder = std::string(key) + ".unreadable";
        platform.log.line(fmt::format("NOOKERY settings could not be read: {}: {} Kept under {}.",
                                      key, error.what(), keptUnder));
        platform.defaults.set(keptUnder, *bytes);
        return {};
    }
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

template <typename Map>
bool eraseAll(Map& map, const std::unordered_set<Uuid>& ids) {
    return std::erase_if(map, [&](const auto& entry) { return ids.contains(entry.first); }) > 0;
}

}  // namespace

MemoryAnnotations::MemoryAnnotations(const Platform& platform) : platform_(platform) {}

void MemoryAnnotations::load() {
    manualTagsByID_ = loadMap<decltype(manualTagsByID_)>(platform_, manualTagsDefaultsKey);
    usageSignals_ = loadMap<UsageSignals>(platform_, usageDefaultsKey);
    bringBackDates_.set(loadMap<std::map<Uuid, Timestamp>>(platform_, bringBackDefaultsKey));
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
        } else {
            manualTagsByID_[id] = std::move(tidy);
        }
    }
    saveTags();
}

void MemoryAnnotations::recordSelection(const Uuid& id) {
    UsageSignal& signal = usageSignals_[id];
    ++signal.selectionCount;
    signal.lastSelectedAt = platform_.clock.now();
    saveUsage();
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
    saveBringBack();
}

void MemoryAnnotations::forget(const std::unordered_set<Uuid>& ids) {
    const bool tagsChanged = eraseAll(manualTagsByID_, ids);
    const bool usageChanged = eraseAll(usageSignals_, ids);
    const auto& dates = bringBackDates_.get();
    const bool datesChanged = std::any_of(
        dates.begin(), dates.end(), [&](const auto& entry) { return ids.contains(entry.first); });
    if (datesChanged) {
        bringBackDates_.update([&](auto& kept) { eraseAll(kept, ids); });
        refreshBroughtBack();
    }
    if (tagsChanged) saveTags();
    if (usageChanged) saveUsage();
    if (datesChanged) saveBringBack();
}

void MemoryAnnotations::forgetAll() {
    manualTagsByID_.clear();
    usageSignals_.clear();
    bringBackDates_.set({});
    broughtBackIDs_.set({});
    nextBringBack_.cancel();
    for (const auto key : {manualTagsDefaultsKey, usageDefaultsKey, bringBackDefaultsKey}) {
        platform_.defaults.remove(key);
    }
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

void MemoryAnnotations::saveTags() const {
    platform_.defaults.set(manualTagsDefaultsKey, encode(manualTagsByID_));
}

void MemoryAnnotations::saveUsage() const {
    platform_.defaults.set(usageDefaultsKey, encode(usageSignals_));
}

void MemoryAnnotations::saveBringBack() const {
    platform_.defaults.set(bringBackDefaultsKey, encode(bringBackDates_.get()));
}

}  // namespace nookery
