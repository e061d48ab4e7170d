#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "workspace/history/HistoryParts.h"
#include "workspace/history/KeptContents.h"

namespace nookery {

enum class Direction { undo, redo };

/// What undoing or redoing a step would do.
struct UndoPreview {
    std::int64_t number = 0;  ///< of the step
    std::string name;
    Timestamp at;
    std::int64_t changeCount = 0;
    /// What would be lost or cannot come back, a sentence each.
    std::vector<std::string> lost{};
    /// Nothing of it can be taken back; with consent the step is passed over.
    bool isImpossible = false;

    bool needsConsent() const { return !lost.empty(); }
};

/// What undoing or redoing came to.
struct UndoOutcome {
    std::string name;
    Timestamp at;
    std::int64_t changeCount = 0;    ///< what was really changed; 0 when the step was passed over
    std::size_t remainingCount = 0;  ///< steps that can be undone, or redone, after it
};

/// One step on its way back, or forth again. Only what the step changed is changed; what has
/// changed since is named before. Main thread.
class Transition : public std::enable_shared_from_this<Transition> {
  public:
    Transition(HistoryParts& parts, std::int64_t number, Direction direction)
        : parts_(parts), number_(number), direction_(direction) {}

    using Prepared = std::function<void(const Outcome<UndoPreview>&)>;
    using Ended = std::function<void(const Outcome<UndoOutcome>&)>;

    /// Finds out what it would do. Changes nothing.
    void prepare(Prepared prepared);
    /// Does it. After `prepare`. When it fails, the step is as it was before; what was changed
    /// already is met as such by the next attempt.
    void run(Ended ended);
    /// Tells how far it is. A stop is not heard: what was begun is finished.
    void follow(OperationControl control) { control_ = std::move(control); }
    /// The step says that the person agreed before the program ended.
    bool hasConsent() const { return step_->hasConsent; }

  private:
    struct Loaded;
    struct Returned;

    const Json& from(const Change& change) const;
    const Json& to(const Change& change) const;
    bool memoriesComeBack() const;
    bool memoriesGo() const;

    void plan(const std::vector<std::string>& missingOriginals);
    void planValues();
    void planValue(const ValueStore& values, Change& change, const Json& current);
    void planProtected();
    void planGroup(const Change& change);
    void planMemories(const std::vector<std::string>& missingOriginals);
    void planLeaving();

    void passOver();
    void bringOriginalsBack();
    void bringMemoriesBack(const Returned& returned);
    void setValues();
    void setValuesOf(std::size_t nextStore);
    void takeMemoriesAway();
    void rememberWhole();
    void finish();
    Outcome<UndoOutcome> outcome() const;
    void fail(const Failure& failure);
    void fail(const SaveFailure& failure) {
        fail(Failure{failure.message(), failure.advice(), {}});
    }
    /// Runs a part, and fails with what it throws.
    void attempt(const std::function<void()>& work);

    HistoryParts& parts_;
    std::int64_t number_;
    Direction direction_;
    std::shared_ptr<Step> step_ = std::make_shared<Step>();
    UndoPreview preview_;
    std::vector<Assignment> assignments_;
    std::vector<Uuid> leaving_;
    std::int64_t changedCount_ = 0;
    std::optional<OperationControl> control_;
    Subscription following_;
    bool isWritten_ = false;
    SaveFailure problem_;  ///< of something that is done, but not durable
    Ended ended_;
};

}  // namespace nookery
