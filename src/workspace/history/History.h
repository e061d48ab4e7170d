#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "workspace/history/Consent.h"
#include "workspace/history/HistoryParts.h"
#include "workspace/history/LibraryValues.h"
#include "workspace/history/Transition.h"

namespace nookery {

/// What a window shows of the history.
struct HistoryState {
    std::optional<std::string> undoName{};  ///< of the step that would be undone; none when none
    std::optional<std::string> redoName{};
    std::size_t undoCount = 0;
    std::size_t redoCount = 0;

    bool operator==(const HistoryState&) const = default;
};

/// One field that keeps the focus while it is edited: its saves are one step.
using EditingToken = Uuid;

/// Every change that a person makes, as a named step that can be taken back and made again, for the
/// last 100 steps, 30 days or 64 MB, whichever is least. A step is written down durably before its
/// change and as done after it. What arrives by itself is no step, and is respected: only what a
/// step changed is changed by its undoing, and where that has changed since, the person is asked.
/// The steps lie in the library's sidecar: they survive the end of the program, and a restored
/// snapshot brings those of its time back. Main thread.
class History {
  public:
    /// The store must be open when anything but the state is asked for.
    History(const Platform& platform, const LibraryLayout& layout, CrumbStore& store);

    /// Values beside the library's own that steps may change; they outlive the history.
    void add(ValueStore& values) { parts_.values.push_back(&values); }

    /// Empty until `recover`.
    const Published<HistoryState>& state() const { return state_; }
    /// Oldest first. Empty until `recover`.
    const std::vector<StepSummary>& steps() const { return *parts_.log.summaries(); }

    /// Reads the steps, and finishes or drops what a killed process left: a change that was made is
    /// done, one that was not is no step, an undoing or redoing is finished where it can be. Later
    /// calls answer the first one's operation. Whatever else is asked for waits for it.
    OperationPointer<Nothing> recover();

    OperationPointer<UndoPreview> previewUndo() { return preview(Direction::undo); }
    OperationPointer<UndoPreview> previewRedo() { return preview(Direction::redo); }
    /// Fails with ConsentNeeded where the preview would name something, and no consent is given.
    OperationPointer<UndoOutcome> undo(Consent consent) {
        return run(Direction::undo, consentCheck(consent));
    }
    OperationPointer<UndoOutcome> redo(Consent consent) {
        return run(Direction::redo, consentCheck(consent));
    }
    /// The person has agreed to this preview. Fails, and changes nothing, where another step would
    /// be undone by now, or something else would be lost.
    OperationPointer<UndoOutcome> undo(const UndoPreview& agreed) {
        return run(Direction::undo, consentCheck(agreed));
    }
    OperationPointer<UndoOutcome> redo(const UndoPreview& agreed) {
        return run(Direction::redo, consentCheck(agreed));
    }

    // For those who carry out what the person asks.
    /// Makes the changes of a step, from `before` to `after`, and those of its protected memories,
    /// which are not written down. With a token it goes into the newest step where that was made
    /// under the same one and changed the same values. What a person wrote and could not be saved
    /// is shown until the next start, and is a step like any other.
    void make(StepDraft draft, std::optional<EditingToken> token, Saved made);
    /// What keeps a removal of the step's memories, or of what `complete` adds to the step.
    RemovalRecordPointer recordRemoval(Step step, std::function<void(Step&)> complete = {});
    /// For what is added little by little: writes down what comes next, durably, before it comes
    /// in. The number is none at first, and then the step's.
    SaveFailure recordAddition(Step& step, std::optional<std::int64_t>& number);
    /// It is all in; what is not there now never came in.
    void finishAddition(Step step, std::int64_t number, std::function<void()> ended);

    Timestamp now() const;
    /// Calls back once the steps of earlier runs are settled.
    void whenReady(Saved ready);

  private:
    OperationPointer<UndoPreview> preview(Direction direction);
    OperationPointer<UndoOutcome> run(Direction direction, const ConsentCheck& check);
    std::shared_ptr<Transition> next(Direction direction);
    void recoverNext();
    void settleBegun(const StepSummary& summary);
    void finishInterrupted(const StepSummary& summary);
    void settle(std::int64_t number, Step step);
    bool wasMade(Step& step) const;
    std::optional<std::int64_t> mergeInto(Step& step, const std::optional<EditingToken>& token);
    void apply(std::int64_t number, const StepDraft& draft, const Saved& made);
    void giveUpMaking(std::optional<std::int64_t> number, const StepDraft& draft,
                      const SaveFailure& why);
    void settleMade(std::int64_t number, const Step& step);
    void settleFailed(std::int64_t number, const Step& step);
    void settleUnsettled();
    void dropQuietly(std::int64_t number);
    void refreshState();

    HistoryParts parts_;
    LibraryValues libraryValues_;
    Published<HistoryState> state_;
    Subscription summaries_;
    OperationPointer<Nothing> recovery_;
    struct Focus {
        EditingToken token;
        std::int64_t number;
    };
    std::optional<Focus> focus_;              ///< the newest step, while its field keeps the focus
    std::map<std::int64_t, Step> unsettled_;  ///< made, but not written down as such
    bool isMoving_ = false;                   ///< an undoing or redoing is under way
};

}  // namespace nookery
