#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <unordered_set>
#include <vector>

#include "collection/store/RemovalRecord.h"
#include "workspace/history/HistoryParts.h"

namespace nookery {

/// Writes down in a step what a removal takes away: the memories with all that belongs to them, but
/// the protected ones; and where their originals went.
class KeptRemoval final : public RemovalRecord {
  public:
    /// A step of its own, written when the removal has read what goes. `complete` is called then,
    /// to add what only that moment knows.
    KeptRemoval(HistoryParts& parts, std::shared_ptr<Step> step,
                std::function<void(Step&)> complete = {});
    /// For a step that is being taken back or made again.
    KeptRemoval(HistoryParts& parts, std::shared_ptr<Step> step, std::int64_t number);

    void read(SQLiteDatabase& database, const std::unordered_set<Uuid>& memories,
              const std::vector<Path>& originals) override;
    void keep(const std::optional<std::string>& snapshotName,
              std::function<void(const SaveFailure&)> kept) override;
    void removed(const std::vector<TrashedOriginal>& trashed) override;
    void abandoned() override;

  private:
    void readOriginals(const std::set<Path>& own, const std::vector<Path>& originals);
    void add(StepRecords::Bytes part);
    void logged(const std::function<void()>& change) const;

    HistoryParts& parts_;
    LibraryLayout layout_;
    std::shared_ptr<Step> step_;
    std::function<void(Step&)> complete_;
    std::optional<std::int64_t> number_;
    bool isOwnStep_;
    std::unordered_set<Uuid> protected_;
    std::vector<StepRecords::Bytes> contents_;
    std::int64_t byteCount_ = 0;
};

}  // namespace nookery
