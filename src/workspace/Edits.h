#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "collection/store/CrumbStore.h"
#include "retrieval/related/FilenameCleanup.h"
#include "workspace/InvalidInput.h"
#include "workspace/MemoryPatch.h"
#include "workspace/history/History.h"

namespace nookery {

/// Every change that a person makes to memories and groups. Each is one step of the history, which
/// names it; what changes several memories is one change, and one step. A change fails with
/// InvalidInput where it makes no sense whatever the library holds, and with Error for all else;
/// what has failed has changed nothing on disk, unless a header says so. Texts, titles and groups
/// that a person changed and that could not be saved stay shown until the next start. Changes that
/// arrive by themselves do not go through here. Main thread.
class Edits {
  public:
    Edits(const Platform& platform, CrumbStore& store, History& history)
        : platform_(platform), store_(store), history_(history) {}

    /// Changes the fields of the patch that still say what they were based on. Patches with the
    /// same token that change the same fields are one step: those of a field while it keeps the
    /// focus.
    OperationPointer<PatchOutcome> edit(const Uuid& id, MemoryPatch patch,
                                        std::optional<EditingToken> token = {});
    /// Gives memories tags, and takes manual ones away. A tag to be taken away that none of them
    /// has is an error.
    OperationPointer<Nothing> tag(std::vector<Uuid> ids, TagPatch patch);
    /// Lets memories come back on a date; none takes the date away.
    OperationPointer<Nothing> setBringBack(std::vector<Uuid> ids, std::optional<Timestamp> date);
    /// Gives memories their proposed titles, and answers how many. One whose title is no longer the
    /// old one is left alone.
    OperationPointer<std::size_t> cleanUpNames(
        std::vector<CrumbFilenameCleanupCandidate> candidates);

    /// A name is trimmed, and there is one group of a name. Answers the group's id.
    OperationPointer<Uuid> createGroup(std::string name);
    OperationPointer<Nothing> renameGroup(const Uuid& id, std::string name);
    /// Puts memories into a group, or into none.
    OperationPointer<Nothing> assign(std::vector<Uuid> ids, std::optional<Uuid> groupID);

    // These take what is there away, behind a recovery snapshot.
    OperationPointer<DestructiveOutcome> deleteGroup(const Uuid& id);
    OperationPointer<DestructiveOutcome> deleteMemories(std::vector<Uuid> ids);
    /// The history is emptied with it: only the snapshot takes it back.
    OperationPointer<DestructiveOutcome> clearLibrary();

    /// As CrumbStore::capture, and CrumbStore::import.
    OperationPointer<CaptureReport> add(CaptureRequest request);
    OperationPointer<ImportReport> import(std::unique_ptr<ReadableFile> file);

  private:
    struct Addition;

    CrumbItemPointer demand(const Uuid& id) const;
    std::string freeGroupName(const std::string& given) const;
    const CrumbGroup& demandGroup(const Uuid& id) const;
    std::string namesOf(const std::vector<Uuid>& ids) const;
    void change(StepDraft& step, ChangedThing thing, const CrumbItem& item,
                const std::string& field, Json before, Json after);
    PatchOutcome draftPatch(StepDraft& step, const CrumbItem& item, const MemoryPatch& patch);
    void checkRemovable(const std::vector<Uuid>& ids, const std::string& tag) const;
    template <typename Result>
    OperationPointer<Result> making(std::function<Result(StepDraft&)> draft,
                                    std::optional<EditingToken> token = {});
    template <typename Begin>
    OperationPointer<DestructiveOutcome> removing(const Begin& begin);
    template <typename Report, typename Begin>
    OperationPointer<Report> adding(const char* verb, Begin begin);
    void nameAddition(Step& step, const char* verb) const;
    void fillGroupRemoval(Step& step, const CrumbGroup& group) const;

    const Platform& platform_;
    CrumbStore& store_;
    History& history_;
    CallbackGuard guard_;
};

}  // namespace nookery
