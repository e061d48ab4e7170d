#pragma once

#include <span>
#include <unordered_set>
#include <vector>

#include "collection/database/Library.h"

namespace nookery {

/// Who hears what happens to an open library, before the change is announced. Main thread.
class LibraryEvents {
  public:
    virtual ~LibraryEvents() = default;

    virtual void memoriesAdded(const CrumbItemList& added) = 0;
    /// Removed memories are back; these of them with a vector of the present model.
    virtual void memoriesReturned(const CrumbItemList& returned,
                                  const std::unordered_set<Uuid>& embedded) = 0;
    /// A person changed their texts.
    virtual void memoriesEdited(const std::vector<Uuid>& ids) = 0;
    virtual void memoriesRemoved(const std::unordered_set<Uuid>& ids) = 0;
    virtual void libraryCleared() = 0;
    /// No memory is closed for changes any more by the removal that has just ended or failed.
    virtual void removalEnded() = 0;
    virtual void intakeNoticed(const IntakeNotice& notice) = 0;
    virtual void intakeCounted(IntakeRoad road, int count) = 0;
};

}  // namespace nookery
