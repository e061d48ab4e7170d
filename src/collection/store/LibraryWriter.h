#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "collection/database/Library.h"
#include "collection/store/ChangeGate.h"
#include "collection/store/LibraryContents.h"
#include "collection/store/LibraryEvents.h"
#include "collection/store/SaveReason.h"
#include "platform/RecurringProblem.h"

namespace nookery {

using TagsByID = std::unordered_map<Uuid, std::vector<std::string>>;

/// Everything that is written to an open library goes through here: it is refused while the library
/// may not be changed, saved, made durable, put in step with the lists and the index, and
/// announced. A failure is logged behind the operation's prefix and told; nothing is thrown. Main
/// thread.
class LibraryWriter final : public Library {
  public:
    LibraryWriter(LibraryContents& contents, LibraryEvents& events);

    /// What may be changed now; closed until the library is open.
    ChangeGate& gate() { return gate_; }
    SaveFailure refusal() const override { return gate_.refusal(); }
    bool isClosed(const Uuid& id) const override { return gate_.isClosed(id); }

    // The databases.
    /// Runs a change of the collection database and makes it durable.
    SaveFailure save(std::string_view logPrefix,
                     const std::function<void(SQLiteDatabase&)>& change);
    /// The same on behalf of a removal, which closed the library for everybody else.
    SaveFailure saveForRemoval(std::string_view logPrefix,
                               const std::function<void(SQLiteDatabase&)>& change);
    /// Runs a change of the sidecar; what it holds can be made again, so a failure is only logged.
    void changeSidecar(const std::function<void(Sidecar&)>& change);
    using AnnotationChange = std::function<void(MemoryAnnotations&)>;
    /// Changes what lies in the settings about memories: at once in memory; `saved` is called
    /// later, when it is durable or has failed. Answers whether it was changed at all, which it is
    /// not when one of them is closed for changes.
    bool annotate(const std::vector<Uuid>& ids, const AnnotationChange& change, Saved saved);
    /// The same for what goes with removed memories.
    void annotateForRemoval(const AnnotationChange& change, Saved saved);
    /// What a change answers where there is no database: it is logged.
    SaveFailure unavailable() const;

    // Records.
    CrumbItemPointer find(const Uuid& id) const override { return contents_.memories.find(id); }
    const CrumbItemList& all() const override { return *contents_.memories.all(); }
    ReadAll allReader() const override { return contents_.allReader(); }
    /// Complete records from elsewhere, with their tags. Those that are found already while others
    /// are still indexed are whole.
    void addRecords(const CrumbItemList& records, const TagsByID& tagsByID, CommitEnded ended);
    /// What comes into the library as one.
    struct Incoming {
        CrumbItemList records;  ///< complete
        /// One transaction that saves all of them.
        std::function<void(SQLiteDatabase&)> save;
        /// What goes into the settings with them; none when nothing does.
        AnnotationChange annotate{};
        /// They were here before, with these vectors of the present model.
        bool areBack = false;
        std::unordered_map<Uuid, std::vector<double>> vectors{};
    };
    /// As `addRecords`.
    void bringIn(Incoming incoming, CommitEnded ended);
    /// Saves changed records in one transaction and publishes them, which after a failure the
    /// reason decides. A memory that is closed for changes is a failure, and nothing happens.
    SaveFailure replace(const CrumbItemList& changed, SaveReason reason);
    /// Publishes what a person changed though it was not saved, and logs why.
    void showUnsaved(const CrumbItemList& changed, SaveReason reason, const SaveFailure& why);
    /// Puts records into the lists and the index.
    void publish(const CrumbItemList& records);
    /// Does nothing where there is no index.
    void index(const CrumbItemPointer& item);
    /// Indexes what these memories are now, many of them a few at a time, and ends with
    /// `recordChange`.
    void indexAgain(std::vector<Uuid> ids);
    /// What every change of the library ends with.
    void recordChange();
    /// A person changed the texts of these.
    void tellEdited(const std::vector<Uuid>& ids) { events_.memoriesEdited(ids); }

  private:
    // For those who know it as the library.
    SaveFailure makeDurable() override;
    void add(const std::vector<NewMemory>& memories, CommitEnded ended) override;
    SaveFailure saveReadings(const CrumbItemList& changed,
                             const SQLiteDatabase::Embeddings& vectors,
                             const std::string& embeddingModel) override;
    void announceChanges() override;
    void announce(const IntakeNotice& notice) override { events_.intakeNoticed(notice); }
    void setIntakeCount(IntakeRoad road, int count) override { events_.intakeCounted(road, count); }

    struct Arrival;

    void setVector(const Uuid& id, std::span<const double> vector);
    void indexArrival(const std::shared_ptr<Arrival>& arrival);
    void tellArrived(const Arrival& arrival);
    SaveFailure run(std::string_view logPrefix, const std::function<void(SQLiteDatabase&)>& change);
    SaveFailure refusalForAny(const CrumbItemList& records) const;
    void publishEdited(const CrumbItemList& changed);
    SaveFailure failed(RecurringProblem& problem, std::string_view logPrefix, const Error& error);
    void saveAnnotations(Saved saved);
    void saveUnsavedAnnotations();
    void answerLater(SaveFailure failure, Saved saved);

    LibraryContents& contents_;
    LibraryEvents& events_;
    ChangeGate gate_;
    RecurringProblem saving_;
    RecurringProblem settingsSaving_;
    std::vector<Saved> awaitingSave_;  ///< of changes that are not handed to the files queue yet
    bool annotationsAreBeingSaved_ = false;
    CallbackGuard guard_;
};

/// A copy of the record in another group, or in none.
CrumbItemPointer inGroup(const CrumbItem& item, std::optional<Uuid> groupID);

}  // namespace nookery
