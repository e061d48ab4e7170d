#include "workspace/history/Transition.h"

#include <fmt/format.h>

#include <algorithm>

#include "foundation/Text.h"
#include "platform/Log.h"
#include "platform/work/Task.h"
#include "workspace/history/AddedTexts.h"
#include "workspace/history/KeptRemoval.h"
#include "workspace/history/LibraryValues.h"

namespace nookery {
namespace {

std::string counted(std::size_t count, const char* one, const char* many) {
    return count == 1 ? fmt::format("1 {}", one) : fmt::format("{} {}", count, many);
}

Step readStep(const LibraryLayout& layout, std::int64_t number) {
    auto sidecar = Sidecar::openForReading(layout.sidecar());
    const auto bytes = sidecar.steps().changes(number);
    if (!bytes) throw Error("The step is not in the history any more.");
    return decodeStep(*bytes);
}

/// Rows with the paths that their originals have now.
void moveOriginals(std::vector<KeptTable>& tables, const std::map<Path, Path>& newPlaces,
                   const LibraryLayout& layout) {
    for (KeptTable& table : tables) {
        const auto column = std::find(table.columns.begin(), table.columns.end(), "file_path");
        if (table.table != "crumbs" || column == table.columns.end()) continue;
        for (auto& row : table.rows) {
            auto* path = std::get_if<std::string>(
                &row[static_cast<std::size_t>(column - table.columns.begin())]);
            if (path == nullptr) continue;
            const std::string plain = Path(*path).lexically_normal().native();
            for (const auto& [old, place] : newPlaces) {
                if (plain.ends_with("/" + old.native()))
                    *path = (layout.library() / place).native();
            }
        }
    }
}

std::vector<OriginalFact> movedFacts(const RemovedOriginal& original, const Path& place) {
    std::vector<OriginalFact> facts = original.facts;
    for (OriginalFact& fact : facts) {
        if (fact.relativePath == original.relativePath) {
            fact.relativePath = place;
        } else {
            fact.relativePath = place / fact.relativePath.lexically_relative(original.relativePath);
        }
    }
    return facts;
}

}  // namespace

/// What was found out away from the main thread.
struct Transition::Loaded {
    Step step;
    std::vector<std::string> missingOriginals;  ///< their names
};

struct Transition::Returned {
    ReturningMemories memories;
};

const Json& Transition::from(const Change& change) const {
    return direction_ == Direction::undo ? change.after : change.before;
}

const Json& Transition::to(const Change& change) const {
    return direction_ == Direction::undo ? change.before : change.after;
}

bool Transition::memoriesComeBack() const {
    const auto whenBack = direction_ == Direction::undo ? Membership::removed : Membership::added;
    return step_->membership == whenBack;
}

bool Transition::memoriesGo() const {
    return step_->membership != Membership::none && !memoriesComeBack();
}

void Transition::prepare(Prepared prepared) {
    Task::run(
        parts_.platform.filesQueue, parts_.platform.mainQueue, parts_.guard,
        [platform = parts_.platform, layout = parts_.layout, number = number_] {
            Loaded loaded{.step = readStep(layout, number), .missingOriginals = {}};
            const OriginalRecovery recovery(platform, layout);
            for (const RemovedOriginal& original : loaded.step.originals) {
                if (recovery.canBringBack(original)) continue;
                loaded.missingOriginals.push_back(displayName(original.relativePath.filename()));
            }
            return loaded;
        },
        [self = shared_from_this(), prepared](const Outcome<Loaded>& outcome) {
            if (const Failure* failure = outcome.failure()) {
                return prepared(Outcome<UndoPreview>::failed(*failure));
            }
            prepared(outcomeOf([&] {
                *self->step_ = outcome.get().step;
                self->plan(outcome.get().missingOriginals);
                return self->preview_;
            }));
        });
}

void Transition::plan(const std::vector<std::string>& missingOriginals) {
    preview_ = {.number = number_,
                .name = step_->name,
                .at = step_->at,
                .changeCount = changeCountOf(*step_)};
    if (memoriesComeBack()) planMemories(missingOriginals);
    if (memoriesGo()) planLeaving();
    planValues();
    if (step_->membership == Membership::none) planProtected();
}

void Transition::planProtected() {
    if (step_->protectedMemories.empty()) return;
    preview_.isImpossible = step_->changes.empty();
    preview_.lost.push_back(fmt::format(
        "What was changed of {} stays: the history never holds what is protected.",
        counted(step_->protectedMemories.size(), "protected memory", "protected memories")));
}

void Transition::planValues() {
    std::size_t goneCount = 0;
    for (Change& change : step_->changes) {
        const ValueStore& values = parts_.valuesOf(change.thing);
        const auto current = values.current(change);
        if (current) {
            planValue(values, change, *current);
        } else {
            ++goneCount;
        }
    }
    if (goneCount == 0) return;
    preview_.lost.push_back(fmt::format("{} that this changed {} gone, and stay{} so.",
                                        counted(goneCount, "thing", "things"),
                                        goneCount == 1 ? "is" : "are", goneCount == 1 ? "s" : ""));
}

void Transition::planValue(const ValueStore& values, Change& change, const Json& current) {
    if (isSameValue(values, change, current, to(change))) return;
    if (std::string obstacle = values.obstacle(change, to(change)); !obstacle.empty()) {
        preview_.lost.push_back(std::move(obstacle));
        preview_.isImpossible = step_->changes.size() == 1;
        return;
    }
    if (!isSameValue(values, change, current, from(change))) {
        preview_.lost.push_back(fmt::format("{} has changed since; as it is now, it would be lost.",
                                            capitalised(values.nameOf(change))));
    }
    if (change.thing == ChangedThing::group && to(change).is_null()) planGroup(change);
    assignments_.push_back({change, to(change)});
}

void Transition::planGroup(const Change& change) {
    const auto all = parts_.store.queries().membersOf(Uuid::parse(change.id).value_or(Uuid()));
    const auto members = std::count_if(all.begin(), all.end(), [&](const Uuid& id) {
        return std::none_of(step_->changes.begin(), step_->changes.end(), [&](const auto& each) {
            return each.field == groupField && each.id == id.toString();
        });
    });
    if (members == 0) return;
    preview_.lost.push_back(
        fmt::format("{} stay without a group.",
                    counted(static_cast<std::size_t>(members), "memory that is in it now would",
                            "memories that are in it now would")));
}

void Transition::planMemories(const std::vector<std::string>& missingOriginals) {
    const std::string bySnapshot =
        step_->snapshotName
            ? fmt::format("Only the recovery snapshot {} has it.", *step_->snapshotName)
            : "No recovery snapshot could be taken before, either.";
    if (step_->isTooLarge) {
        preview_.isImpossible = true;
        preview_.lost.push_back("What was removed is more than the history keeps. " + bySnapshot);
        return;
    }
    for (const std::string& name : missingOriginals) {
        preview_.lost.push_back(
            fmt::format("The original \"{}\" is neither in the trash nor in a recovery snapshot; "
                        "its memory would come back without it.",
                        name));
    }
    if (step_->protectedMemories.empty()) return;
    preview_.isImpossible = step_->memories.empty();
    preview_.lost.push_back(fmt::format(
        "{} removed for good: the history never holds what is protected, and the protected value "
        "went with it. {}",
        counted(step_->protectedMemories.size(), "protected memory is", "protected memories are"),
        bySnapshot));
}

void Transition::planLeaving() {
    for (const Uuid& id : step_->memories) {
        const auto item = parts_.store.item(id);
        if (!item) continue;
        leaving_.push_back(id);
        const auto added = step_->addedTexts.find(id);
        const bool hasChanged = direction_ == Direction::undo && added != step_->addedTexts.end() &&
                                added->second != digestOfTexts(parts_.platform, *item);
        if (!hasChanged) continue;
        preview_.lost.push_back(
            fmt::format("{} has changed since it was added; it would be removed as it is now.",
                        capitalised(shownName(parts_.store, *item))));
    }
}

void Transition::attempt(const std::function<void()>& work) {
    try {
        work();
    } catch (const Error& error) {
        fail(Failure{error.description(), error.advice(), std::current_exception()});
    }
}

/// Written down first, so that a start goes on with what a killed process did not finish.
void Transition::run(Ended ended) {
    ended_ = std::move(ended);
    if (preview_.isImpossible) return passOver();
    attempt([&] {
        step_->hasConsent = preview_.needsConsent();
        const bool isUndo = direction_ == Direction::undo;
        parts_.log.write(number_, *step_, isUndo ? StepState::undoing : StepState::redoing);
        parts_.log.makeDurable();
        if (memoriesComeBack()) return bringOriginalsBack();
        setValues();
    });
}

void Transition::passOver() {
    attempt([&] {
        parts_.log.drop(number_);
        parts_.log.makeDurable();
        isWritten_ = true;
    });
    if (isWritten_) ended_(outcome());
}

Outcome<UndoOutcome> Transition::outcome() const {
    if (problem_) {
        return Outcome<UndoOutcome>::failed({problem_.message(), problem_.advice(), {}});
    }
    return Outcome<UndoOutcome>::done(
        {.name = step_->name, .at = step_->at, .changeCount = changedCount_});
}

void Transition::bringOriginalsBack() {
    Task::run(
        parts_.platform.filesQueue, parts_.platform.mainQueue, parts_.guard,
        [platform = parts_.platform, layout = parts_.layout, number = number_, control = control_,
         originals = step_->originals] {
            const OriginalRecovery recovery(platform, layout);
            std::map<Path, Path> places;
            std::vector<OriginalFact> facts;
            for (std::size_t i = 0; i < originals.size(); ++i) {
                const RemovedOriginal& original = originals[i];
                if (control) control->report({"bringing originals back", i, originals.size()});
                if (!recovery.canBringBack(original)) continue;
                const Path place = recovery.bringBack(original);
                for (auto& fact : movedFacts(original, place)) facts.push_back(std::move(fact));
                if (place != original.relativePath) places.emplace(original.relativePath, place);
            }
            recovery.settle();
            auto sidecar = Sidecar::openForReading(layout.sidecar());
            Returned returned{decodeContents(sidecar.steps().contents(number))};
            returned.memories.facts = std::move(facts);
            moveOriginals(returned.memories.tables, places, layout);
            nookery::prepare(returned.memories, platform.embedder);
            return returned;
        },
        [self = shared_from_this()](const Outcome<Returned>& outcome) {
            if (const Failure* failure = outcome.failure()) return self->fail(*failure);
            self->attempt([&] { self->bringMemoriesBack(outcome.get()); });
        });
}

void Transition::bringMemoriesBack(const Returned& returned) {
    const auto ended = [self = shared_from_this()](const Library::Committed& committed) {
        if (!committed.isKept) return self->fail(committed.problem);
        self->problem_ = committed.problem;
        self->changedCount_ += static_cast<std::int64_t>(self->step_->memories.size());
        self->attempt([&] { self->setValues(); });
    };
    parts_.store.memoryReturn().bringBack(returned.memories, parts_.guard.guarded(ended));
}

void Transition::setValues() { setValuesOf(0); }

void Transition::setValuesOf(std::size_t nextStore) {
    if (nextStore == parts_.values.size()) return takeMemoriesAway();
    ValueStore& values = *parts_.values[nextStore];
    std::vector<Assignment> own;
    for (const Assignment& assignment : assignments_) {
        if (values.holds(assignment.change.thing)) own.push_back(assignment);
    }
    if (own.empty()) return setValuesOf(nextStore + 1);
    const auto count = static_cast<std::int64_t>(own.size());
    const auto saved = [self = shared_from_this(), nextStore, count](const SaveFailure& failure) {
        if (failure) return self->fail(failure);
        self->changedCount_ += count;
        self->attempt([&] { self->setValuesOf(nextStore + 1); });
    };
    values.set(std::move(own), SaveReason::undo, parts_.guard.guarded(saved));
}

void Transition::takeMemoriesAway() {
    if (leaving_.empty()) return finish();
    step_->memories = leaving_;
    const auto record = std::make_shared<KeptRemoval>(parts_, step_, number_);
    parts_.store.remover()
        .deleteMemories(leaving_, record)
        ->whenFinished(parts_.guard.guarded(
            [self = shared_from_this()](const Outcome<DestructiveOutcome>& outcome) {
                if (outcome.isStopped()) return self->fail(SaveFailure("It was stopped."));
                if (const Failure* failure = outcome.failure()) return self->fail(*failure);
                self->changedCount_ += static_cast<std::int64_t>(outcome.get().count);
                self->finish();
            }));
}

/// Of records that have gone, for the way back.
void Transition::rememberWhole() {
    for (Change& change : step_->changes) {
        const ValueStore& values = parts_.valuesOf(change.thing);
        if (!values.isWhole(change) || !to(change).is_null()) continue;
        Json& there = direction_ == Direction::undo ? change.after : change.before;
        there = values.remembered(change, there);
    }
}

void Transition::finish() {
    attempt([&] {
        rememberWhole();
        step_->hasConsent = false;
        if (memoriesComeBack()) step_->originals.clear();
        const bool isUndo = direction_ == Direction::undo;
        parts_.log.write(number_, *step_, isUndo ? StepState::undone : StepState::done);
        parts_.log.makeDurable();
        if (memoriesComeBack()) parts_.log.forgetContents(number_);
        isWritten_ = true;
    });
    if (isWritten_) ended_(outcome());
}

void Transition::fail(const Failure& failure) {
    try {
        step_->hasConsent = false;
        parts_.log.write(number_, *step_,
                         direction_ == Direction::undo ? StepState::done : StepState::undone);
    } catch (const Error& error) {
        parts_.platform.log.line("NOOKERY history save error: " + error.description());
    }
    ended_(Outcome<UndoOutcome>::failed(failure));
}

}  // namespace nookery
