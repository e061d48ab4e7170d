#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "collection/database/UnsavedAnnotations.h"
#include "foundation/Published.h"
#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"
#include "platform/Platform.h"
#include "platform/work/WorkQueue.h"
#include "records/UsageSignal.h"

namespace nookery {

/// Memories that have just come back on their date.
struct BringBackNotice {
    std::vector<Uuid> memoryIDs;
};

/// What the user attached to memories outside their records: manual tags, the history of
/// selections, bring-back dates. Each map lives under its own user-defaults key as a JSON object
/// keyed by memory id, and a change touches the entries of its memories only. Main thread.
///
/// A stored value that cannot be read, or holds entries that cannot, is logged; the map starts with
/// the entries that can be read. Before the first change the value is kept as it was under its key
/// with ".unreadable" added, and nothing is lost.
class MemoryAnnotations {
  public:
    explicit MemoryAnnotations(const Platform& platform);

    void load();

    /// In the user's spelling, sorted; empty when there are none.
    const std::vector<std::string>& manualTags(const Uuid& id) const;
    const UsageSignals& usageSignals() const { return usageSignals_; }
    const Published<std::map<Uuid, Timestamp>>& bringBackDates() const { return bringBackDates_; }
    /// The memories whose bring-back date has come.
    const Published<std::set<Uuid>>& broughtBackIDs() const { return broughtBackIDs_; }
    /// The latest such memories; none before the first.
    const Published<std::optional<BringBackNotice>>& bringBackNotice() const {
        return bringBackNotice_;
    }

    // Each change is durable when it returns. On failure throws DefaultsError or FileError: the
    // change is kept in memory, not on disk, and the next one that is saved takes it along.
    /// Trims each tag, takes a leading "#" off, drops empty ones and those that differ only in case
    /// from an earlier one.
    void setManualTags(const Uuid& id, const std::vector<std::string>& tags);
    void setManualTags(const std::unordered_map<Uuid, std::vector<std::string>>& tagsByID);
    void recordSelection(const Uuid& id);
    void setBringBack(const Uuid& id, std::optional<Timestamp> date);
    void forget(const std::unordered_set<Uuid>& ids);
    void forgetAll();

    /// Looks which dates have come, and again when the next one comes.
    void refreshBroughtBack();

  private:
    template <typename Map>
    Map loadMap(std::string_view key);
    template <typename Map>
    void loadEntry(std::string_view key, const DefaultsEntry& entry, Map& map);
    void tellUnreadable(std::string_view key, std::string_view why, Unreadable extent);
    void publishBroughtBack(std::set<Uuid> due);

    template <typename Map>
    void noteRemovals(std::string_view key, const Map& map);
    /// On failure throws, and what is unsaved stays so.
    void save();

    const Platform& platform_;
    std::unordered_map<Uuid, std::vector<std::string>> manualTagsByID_;
    UsageSignals usageSignals_;
    Published<std::map<Uuid, Timestamp>> bringBackDates_;
    Published<std::set<Uuid>> broughtBackIDs_;
    Published<std::optional<BringBackNotice>> bringBackNotice_;
    UnsavedAnnotations unsaved_;
    CallbackGuard guard_;
    DelayedWork nextBringBack_;
};

}  // namespace nookery
