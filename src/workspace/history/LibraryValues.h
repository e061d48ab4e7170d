#pragma once

#include <vector>

#include "collection/store/CrumbStore.h"
#include "workspace/history/ValueStore.h"

namespace nookery {

// The values of a memory, as changes name them.
inline constexpr const char* titleField = "title";
inline constexpr const char* noteField = "note";
inline constexpr const char* textField = "text";
inline constexpr const char* groupField = "group";

/// A memory's title in a sentence, in quotation marks; a protected one is not named.
std::string shownName(const CrumbStore& store, const CrumbItem& item);
/// Whether its texts must not be written down anywhere else.
bool isProtected(const CrumbStore& store, const CrumbItem& item);

Json toJson(const std::optional<Timestamp>& date);
Json groupJson(const CrumbGroup& group);

/// The values of memories and groups in the library: fields of records, manual tags, bring-back
/// dates, groups. A group that goes is removed behind a recovery snapshot.
class LibraryValues final : public ValueStore {
  public:
    explicit LibraryValues(CrumbStore& store) : store_(store) {}

    bool holds(ChangedThing thing) const override;
    std::optional<Json> current(const Change& change) const override;
    std::string nameOf(const Change& change) const override;
    void set(std::vector<Assignment> assignments, SaveReason reason, Saved saved) override;
    void showUnsaved(const std::vector<Assignment>& assignments, SaveReason reason,
                     const SaveFailure& why) override;

  private:
    struct Batch;

    SaveFailure setGroups(const std::vector<Assignment>& assignments, SaveReason reason);
    SaveFailure setFields(const std::vector<Assignment>& assignments, SaveReason reason);
    CrumbItemList changedRecords(const std::vector<Assignment>& assignments) const;
    SaveFailure refusalForGroupsOf(const CrumbItemList& changed) const;
    void setTags(const std::shared_ptr<Batch>& batch);
    void setDates(const std::shared_ptr<Batch>& batch);
    void removeGroups(const std::shared_ptr<Batch>& batch, std::size_t next);

    CrumbStore& store_;
    CallbackGuard guard_;
};

}  // namespace nookery
