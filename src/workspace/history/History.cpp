#include "workspace/history/History.h"

#include <algorithm>

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/work/Task.h"
#include "workspace/history/AddedTexts.h"
#include "workspace/history/KeptRemoval.h"

namespace nookery {
namespace {

bool isUnderWay(const StepSummary& step) {
    return step.state != StepState::done && step.state != StepState::undone;
}

template <typename Result>
Outcome<Result> failedWith(const Outcome<Nothing>& outcome) {
    const Failure* failure = outcome.failure();
    return failure == nullptr ? Outcome<Result>::stopped() : Outcome<Result>::failed(*failure);
}

}  // namespace

History::History(const Platform& platform, const LibraryLayout& layout, CrumbStore& store)
    : parts_(platform, layout, store), libraryValues_(store) {
    parts_.values.push_back(&libraryValues_);
    summaries_ = parts_.log.summaries().subscribe([this](const auto&) { refreshState(); });
}

void History::refreshState() {
    HistoryState state;
    for (const StepSummary& step : steps()) {
        if (step.state == StepState::done) ++state.undoCount;
        if (step.state == StepState::undone) ++state.redoCount;
    }
    if (const auto step = parts_.log.undoable()) state.undoName = step->name;
    if (const auto step = parts_.log.redoable()) state.redoName = step->name;
    if (state != *state_) state_.set(std::move(state));
}

Timestamp History::now() const { return parts_.platform.clock.now(); }

OperationPointer<Nothing> History::recover() {
    if (recovery_) return recovery_;
    recovery_ = Operation<Nothing>::create(parts_.platform.mainQueue);
    const auto operation = recovery_;
    try {
        parts_.log.load();
        recoverNext();
    } catch (...) {
        recovery_.reset();  // the next caller tries again
        operation->finish(Outcome<Nothing>::of(std::current_exception()));
    }
    return operation;
}

/// One after the other, the oldest first: a later step may stand on an earlier one.
void History::recoverNext() {
    const auto& all = steps();
    const auto found = std::find_if(all.begin(), all.end(), isUnderWay);
    if (found == all.end()) return recovery_->finish(Outcome<Nothing>::done({}));
    const StepSummary summary = *found;
    if (summary.state != StepState::begun) return finishInterrupted(summary);
    settleBegun(summary);
    recoverNext();
}

/// A step that cannot be read must not stand in the way of all that come after it.
void History::settleBegun(const StepSummary& summary) {
    try {
        settle(summary.number, parts_.log.read(summary.number));
    } catch (const DatabaseError&) {
        throw;
    } catch (const Error& error) {
        parts_.platform.log.line("NOOKERY history recovery error: " + error.description());
        parts_.log.drop(summary.number);
    }
    parts_.log.makeDurable();
}

/// What the values say decides.
void History::settle(std::int64_t number, Step step) {
    const bool isMade = wasMade(step);
    const bool changesNothing =
        !step.changes.empty() &&
        std::all_of(step.changes.begin(), step.changes.end(),
                    [](const Change& change) { return change.before == change.after; });
    if (isMade && step.clearsLibrary) {
        parts_.log.clear();
    } else if (isMade && !changesNothing) {
        parts_.log.finish(number, step);
    } else {
        parts_.log.drop(number);
    }
}

/// Whether the change of a step that was only begun has reached the stores. Each of its parts is
/// one transaction, so one value that has arrived stands for all of it.
bool History::wasMade(Step& step) const {
    const auto isThere = [this](const Uuid& id) { return parts_.store.item(id) != nullptr; };
    if (step.clearsLibrary) return parts_.store.queries().count() == 0;
    if (step.membership == Membership::added) {
        std::erase_if(step.memories, [&](const Uuid& id) { return !isThere(id); });
        return !step.memories.empty();
    }
    if (step.membership == Membership::removed) {
        return std::none_of(step.memories.begin(), step.memories.end(), isThere) &&
               std::none_of(step.protectedMemories.begin(), step.protectedMemories.end(), isThere);
    }
    // Nothing of it is written down that could be compared, and nothing can be taken back.
    if (step.changes.empty()) return !step.protectedMemories.empty();
    bool isMade = false;
    bool wasMadeBefore = false;
    for (Change& change : step.changes) {
        const ValueStore& values = parts_.valuesOf(change.thing);
        const auto current = values.current(change);
        const bool differs = change.interim || change.after != change.before;
        const bool arrived =
            current && differs && isSameValue(values, change, *current, change.after);
        if (arrived && values.isWhole(change)) {
            Json& there = change.after.is_null() ? change.before : change.after;
            there = values.remembered(change, there);
        }
        isMade = isMade || arrived;
        wasMadeBefore = wasMadeBefore || change.interim.has_value();
    }
    for (Change& change : step.changes) {
        if (change.interim && !isMade) change.after = *change.interim;
        change.interim.reset();
    }
    return isMade || wasMadeBefore;
}

/// The person asked for it, and agreed to what was lost by it.
void History::finishInterrupted(const StepSummary& summary) {
    const bool isUndo = summary.state == StepState::undoing;
    const auto transition = std::make_shared<Transition>(
        parts_, summary.number, isUndo ? Direction::undo : Direction::redo);
    const auto giveUp = [this, summary, isUndo](const Failure* failure) {
        if (failure != nullptr) {
            parts_.platform.log.line("NOOKERY history recovery error: " + failure->message);
        }
        try {
            parts_.log.setState(summary.number, isUndo ? StepState::done : StepState::undone);
            recoverNext();
        } catch (...) {
            recovery_->finish(Outcome<Nothing>::of(std::current_exception()));
        }
    };
    transition->prepare([this, transition, giveUp](const Outcome<UndoPreview>& outcome) {
        if (!outcome.isDone()) return giveUp(outcome.failure());
        const UndoPreview& preview = outcome.get();
        if (preview.isImpossible || (preview.needsConsent() && !transition->hasConsent())) {
            return giveUp(nullptr);
        }
        transition->run([this, giveUp](const Outcome<UndoOutcome>& ended) {
            if (!ended.isDone()) return giveUp(ended.failure());
            recoverNext();
        });
    });
}

void History::whenReady(Saved ready) {
    recover()->whenFinished(
        parts_.guard.guarded([this, ready = std::move(ready)](const Outcome<Nothing>& outcome) {
            if (const Failure* failure = outcome.failure()) {
                return ready(SaveFailure(failure->message, failure->advice));
            }
            ready(isMoving_ ? SaveFailure("A change is being taken back just now.",
                                          "Try again in a moment.")
                            : SaveFailure());
        }));
}

std::shared_ptr<Transition> History::next(Direction direction) {
    settleUnsettled();
    if (isMoving_ || std::any_of(steps().begin(), steps().end(), isUnderWay)) {
        throw Error("Another change is still under way. Try again in a moment.");
    }
    const bool isUndo = direction == Direction::undo;
    const auto step = isUndo ? parts_.log.undoable() : parts_.log.redoable();
    if (!step) throw Error(isUndo ? "There is nothing to undo." : "There is nothing to redo.");
    return std::make_shared<Transition>(parts_, step->number, direction);
}

OperationPointer<UndoPreview> History::preview(Direction direction) {
    auto operation = Operation<UndoPreview>::create(parts_.platform.mainQueue);
    recover()->whenFinished(
        parts_.guard.guarded([this, direction, operation](const Outcome<Nothing>& recovered) {
            if (!recovered.isDone()) return operation->finish(failedWith<UndoPreview>(recovered));
            try {
                next(direction)->prepare([operation](const Outcome<UndoPreview>& outcome) {
                    operation->finish(outcome);
                });
            } catch (...) {
                operation->finish(Outcome<UndoPreview>::of(std::current_exception()));
            }
        }));
    return operation;
}

OperationPointer<UndoOutcome> History::run(Direction direction, const ConsentCheck& check) {
    auto operation = Operation<UndoOutcome>::create(parts_.platform.mainQueue);
    const auto end = [this, direction, operation](Outcome<UndoOutcome> outcome) {
        isMoving_ = false;
        if (outcome.isDone()) {
            outcome.get().remainingCount =
                direction == Direction::undo ? state_->undoCount : state_->redoCount;
        }
        operation->finish(std::move(outcome));
    };
    recover()->whenFinished(
        parts_.guard.guarded([this, direction, check, operation, end](const auto& recovered) {
            if (!recovered.isDone()) return operation->finish(failedWith<UndoOutcome>(recovered));
            try {
                const auto transition = next(direction);
                transition->follow(operation->control());
                isMoving_ = true;
                focus_.reset();
                transition->prepare([transition, check, end](const auto& outcome) {
                    try {
                        check(outcome.get());
                    } catch (...) {
                        return end(Outcome<UndoOutcome>::of(std::current_exception()));
                    }
                    transition->run(end);
                });
            } catch (...) {
                operation->finish(Outcome<UndoOutcome>::of(std::current_exception()));
            }
        }));
    return operation;
}

void History::make(StepDraft draft, std::optional<EditingToken> token, Saved made) {
    whenReady([this, draft = std::move(draft), token,
               made = std::move(made)](const SaveFailure& unready) mutable {
        if (unready) return made(unready);
        std::optional<std::int64_t> number;
        try {
            number = mergeInto(draft.step, token);
            if (!number) number = parts_.log.begin(draft.step);
            parts_.log.makeDurable();
        } catch (const Error& error) {
            giveUpMaking(number, draft, SaveFailure(error));
            return made(SaveFailure(error));
        }
        focus_ = token ? std::optional(Focus{*token, *number}) : std::nullopt;
        apply(*number, draft, made);
    });
}

/// The step could not be written down: nothing is saved, and what the person wrote stays shown.
void History::giveUpMaking(std::optional<std::int64_t> number, const StepDraft& draft,
                           const SaveFailure& why) {
    if (number) settleFailed(*number, draft.step);
    const auto assignments = draft.assignments();
    parts_.valuesOf(assignments.at(0).change.thing).showUnsaved(assignments, draft.reason, why);
}

/// The newest step, if this change goes into it: then `step` becomes both.
std::optional<std::int64_t> History::mergeInto(Step& step,
                                               const std::optional<EditingToken>& token) {
    if (!token || !focus_ || focus_->token != *token || steps().empty()) return std::nullopt;
    const StepSummary newest = steps().back();
    if (newest.number != focus_->number || newest.state != StepState::done) return std::nullopt;
    Step merged = parts_.log.read(newest.number);
    if (merged.protectedMemories != step.protectedMemories) return std::nullopt;
    for (const Change& change : step.changes) {
        const auto same =
            std::find_if(merged.changes.begin(), merged.changes.end(),
                         [&](const Change& earlier) { return earlier.isSameValue(change); });
        // Another value, or one that somebody else changed in between, is a step of its own.
        if (same == merged.changes.end() || same->after != change.before) return std::nullopt;
        same->interim = same->after;
        same->after = change.after;
    }
    merged.at = step.at;
    step = std::move(merged);
    parts_.log.write(newest.number, step, StepState::begun);
    return newest.number;
}

void History::apply(std::int64_t number, const StepDraft& draft, const Saved& made) {
    std::vector<Assignment> assignments = draft.assignments();
    // One store at a time: all or nothing of a deed is in reach of one transaction.
    ValueStore& values = parts_.valuesOf(assignments.at(0).change.thing);
    values.set(
        std::move(assignments), draft.reason,
        parts_.guard.guarded([this, number, step = draft.step, made](const SaveFailure& failure) {
            failure ? settleFailed(number, step) : settleMade(number, step);
            made(failure);
        }));
}

/// A failed save may have changed some of it all the same, and what is shown unsaved counts.
void History::settleFailed(std::int64_t number, const Step& step) {
    step.changes.empty() ? dropQuietly(number) : settleMade(number, step);
}

void History::settleMade(std::int64_t number, const Step& step) {
    try {
        unsettled_.erase(number);
        settle(number, step);
    } catch (const Error& error) {
        // It is made all the same: that is found out by the next change, or at the next start.
        unsettled_.emplace(number, step);
        parts_.platform.log.line("NOOKERY history save error: " + error.description());
    }
}

/// What could not be written down when it was made.
void History::settleUnsettled() {
    const auto left = unsettled_;
    for (const auto& [number, step] : left) settleMade(number, step);
}

void History::dropQuietly(std::int64_t number) {
    try {
        parts_.log.drop(number);
    } catch (const Error& error) {
        parts_.platform.log.line("NOOKERY history save error: " + error.description());
    }
}

RemovalRecordPointer History::recordRemoval(Step step, std::function<void(Step&)> complete) {
    focus_.reset();
    return std::make_shared<KeptRemoval>(parts_, std::make_shared<Step>(std::move(step)),
                                         std::move(complete));
}

SaveFailure History::recordAddition(Step& step, std::optional<std::int64_t>& number) {
    try {
        if (!number) {
            number = parts_.log.begin(step);
        } else {
            parts_.log.write(*number, step, StepState::begun);
        }
        parts_.log.makeDurable();
        return {};
    } catch (const Error& error) {
        return SaveFailure(error);
    }
}

/// What the memories say is digested away from the main thread.
void History::finishAddition(Step step, std::int64_t number, std::function<void()> ended) {
    focus_.reset();
    CrumbItemList added;
    for (const Uuid& id : step.memories) {
        if (auto item = parts_.store.item(id)) added.push_back(std::move(item));
    }
    Task::run(
        parts_.platform.filesQueue, parts_.platform.mainQueue, parts_.guard,
        [platform = parts_.platform, added] {
            std::map<Uuid, Sha256Digest> texts;
            for (const auto& item : added) texts.emplace(item->id, digestOfTexts(platform, *item));
            return texts;
        },
        [this, step = std::move(step), number,
         ended = std::move(ended)](const auto& outcome) mutable {
            if (outcome.isDone()) step.addedTexts = outcome.get();
            settleMade(number, std::move(step));
            ended();
        });
}

}  // namespace nookery
