#pragma once

#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
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

/// What is read of the settings, before it belongs to the main thread.
struct LoadedAnnotations {
    std::unordered_map<Uuid, std::vector<std::string>> manualTags;
    UsageSignals usageSignals;
    std::map<Uuid, Timestamp> bringBackDates;
    UnsavedAnnotations unsaved;  ///< what the reading wants to have changed, with the next change
    bool areTagsAndUsageLeftOut = false;
};

/// All that the user attached to one memory.
struct MemoryAnnotation {
    std::vector<std::string> manualTags{};
    std::optional<UsageSignal> usage{};
    std::optional<Timestamp> bringBack{};
};
using AnnotationsByID = std::unordered_map<Uuid, MemoryAnnotation>;
using BringBackByID = std::map<Uuid, std::optional<Timestamp>>;

/// Manual tags as they are kept: each trimmed and without a leading "#"; empty ones and those that
/// differ only in case from an earlier one left out; sorted.
std::vector<std::string> tidiedTags(const std::vector<std::string>& tags);

/// Reads all of it and changes nothing. A stored value that cannot be read, or holds entries that
/// cannot, is logged; the map begins with the entries that can be read. Before the first change the
/// value is kept as it was under its key with ".unreadable" added, and nothing is lost. Throws
/// DefaultsError when the settings cannot be read at all. Any thread.
LoadedAnnotations loadAnnotations(const Platform& platform);
/// The same without tags and usage, which are then read memory by memory.
LoadedAnnotations loadBringBackDates(const Platform& platform);

/// What the user attached to memories outside their records: manual tags, the history of
/// selections, bring-back dates. Each map lives under its own user-defaults key as a JSON object
/// keyed by memory id, and a change touches the entries of its memories only. A change is made in
/// memory at once; its owner takes what is unsaved, and writes it. Main thread.
class MemoryAnnotations {
  public:
    explicit MemoryAnnotations(const Platform& platform);

    /// Begins with what was loaded. What was left out of it is read when somebody asks for a
    /// memory's; all but `takeUnsaved` and `keepUnsaved` then throw as `loadAnnotations`.
    void adopt(LoadedAnnotations loaded);
    /// Reads in one go what would be read for each of these memories.
    void readAhead(std::span<const Uuid> ids) const;

    /// In the user's spelling, sorted; empty when there are none.
    const std::vector<std::string>& manualTags(const Uuid& id) const;
    /// The memories whose manual tags have just changed; empty between two changes.
    const Published<std::vector<Uuid>>& manualTagChanges() const { return manualTagChanges_; }
    /// Of all memories. Throws std::logic_error while they are read memory by memory.
    const UsageSignals& usageSignals() const;
    const Published<std::map<Uuid, Timestamp>>& bringBackDates() const { return bringBackDates_; }
    /// The memories whose bring-back date has come.
    const Published<std::set<Uuid>>& broughtBackIDs() const { return broughtBackIDs_; }
    /// The latest such memories; none before the first.
    const Published<std::optional<BringBackNotice>>& bringBackNotice() const {
        return bringBackNotice_;
    }

    /// Keeps them tidied.
    void setManualTags(const Uuid& id, const std::vector<std::string>& tags);
    void setManualTags(const std::unordered_map<Uuid, std::vector<std::string>>& tagsByID);
    void recordSelection(const Uuid& id);
    void setBringBack(const Uuid& id, std::optional<Timestamp> date);
    void setBringBack(const BringBackByID& dates);
    /// What is attached to these memories; those that have nothing are left out.
    AnnotationsByID of(const std::unordered_set<Uuid>& ids) const;
    /// Attaches again what was attached to memories that are back.
    void restore(const AnnotationsByID& annotations);
    void forget(const std::unordered_set<Uuid>& ids);
    void forgetAll();

    /// What memory says and the disk does not: to be written with `save`, as one change.
    UnsavedAnnotations takeUnsaved() { return std::exchange(unsaved_, {}); }
    /// This could not be written, and goes with the next change; what has changed since stands.
    void keepUnsaved(const UnsavedAnnotations& unsaved) { unsaved_.addOlder(unsaved); }

  private:
    /// Looks which dates have come, and again when the next one comes.
    void refreshBroughtBack();
    void publishBroughtBack(std::set<Uuid> due);
    void tellTagsChanged(std::vector<Uuid> ids);
    void readRest() const;

    const Platform& platform_;
    /// Those whose tags and usage were read; none when all were.
    mutable std::optional<std::unordered_set<Uuid>> read_;
    mutable std::unordered_map<Uuid, std::vector<std::string>> manualTagsByID_;
    Published<std::vector<Uuid>> manualTagChanges_;
    mutable UsageSignals usageSignals_;
    Published<std::map<Uuid, Timestamp>> bringBackDates_;
    Published<std::set<Uuid>> broughtBackIDs_;
    Published<std::optional<BringBackNotice>> bringBackNotice_;
    mutable UnsavedAnnotations unsaved_;
    CallbackGuard guard_;
    DelayedWork nextBringBack_;
};

}  // namespace nookery
