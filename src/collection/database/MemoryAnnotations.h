#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

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
/// keyed by memory id. Main thread.
///
/// A stored value that cannot be read is kept under its key with ".unreadable" added and logged;
/// the map starts empty then, and nothing is lost.
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

    // Each change is durable when it returns. On failure throws FileError: the change is kept in
    // memory, not on disk.
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
    void publishBroughtBack(std::set<Uuid> due);
    void saveTags() const;
    void saveUsage() const;
    void saveBringBack() const;

    const Platform& platform_;
    std::unordered_map<Uuid, std::vector<std::string>> manualTagsByID_;
    UsageSignals usageSignals_;
    Published<std::map<Uuid, Timestamp>> bringBackDates_;
    Published<std::set<Uuid>> broughtBackIDs_;
    Published<std::optional<BringBackNotice>> bringBackNotice_;
    CallbackGuard guard_;
    DelayedWork nextBringBack_;
};

}  // namespace nookery
