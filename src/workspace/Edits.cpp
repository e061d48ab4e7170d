#include "workspace/Edits.h"

#include <fmt/format.h>

#include <algorithm>

#include "foundation/Text.h"
#include "workspace/Relay.h"
#include "workspace/StepMaking.h"
#include "workspace/TagRules.h"

namespace nookery {
namespace {

std::string counted(std::size_t count, const char* one, const char* many) {
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

}  // namespace

CrumbItemPointer Edits::demand(const Uuid& id) const {
    auto item = store_.item(id);
    if (!item) throw Error("The memory is not in the library any more.");
    return item;
}

const CrumbGroup& Edits::demandGroup(const Uuid& id) const {
    const auto& groups = *store_.groups();
    const auto found = std::find_if(groups.begin(), groups.end(),
                                    [&](const CrumbGroup& group) { return group.id == id; });
    if (found == groups.end()) throw Error("There is no such group.");
    return *found;
}

std::string Edits::freeGroupName(const std::string& given) const {
    const std::string valid = toValidUtf8(given);
    const std::string name(trimmed(valid));
    if (name.empty()) throw InvalidInput("A group needs a name.");
    for (const CrumbGroup& group : *store_.groups()) {
        if (group.name == name) throw Error(fmt::format("There is a group \"{}\" already.", name));
    }
    return name;
}

/// One memory by its title, several by their number.
std::string Edits::namesOf(const std::vector<Uuid>& ids) const {
    if (ids.size() != 1) return counted(ids.size(), "memory", "memories");
    return shownName(store_, *demand(ids.front()));
}

/// The texts of a protected memory are changed, and stand nowhere else.
void Edits::change(StepDraft& step, ChangedThing thing, const CrumbItem& item,
                   const std::string& field, Json before, Json after) {
    if (before == after) return;
    const bool isText =
        thing == ChangedThing::tags || (thing == ChangedThing::memory && field != groupField);
    Change change{.thing = thing, .id = item.id.toString(), .field = field};
    if (!isText || !isProtected(store_, item)) {
        change.before = std::move(before);
        change.after = std::move(after);
        return step.step.changes.push_back(std::move(change));
    }
    auto& protectedOnes = step.step.protectedMemories;
    const bool isNew =
        std::find(protectedOnes.begin(), protectedOnes.end(), item.id) == protectedOnes.end();
    if (isNew) protectedOnes.push_back(item.id);
    step.unrecorded.push_back({std::move(change), std::move(after)});
}

template <typename Result>
OperationPointer<Result> Edits::making(std::function<Result(StepDraft&)> draft,
                                       std::optional<EditingToken> token) {
    const auto allowed = [this, draft = std::move(draft)](StepDraft& drafted) {
        store_.refusal().throwIfFailed();
        return draft(drafted);
    };
    return makeStep<Result>(history_, platform_.mainQueue, guard_, allowed, token);
}

PatchOutcome Edits::draftPatch(StepDraft& step, const CrumbItem& item, const MemoryPatch& patch) {
    if (patch.text && item.kind != CrumbKind::text) {
        throw Error(fmt::format("Only a note's text can be edited; \"{}\" is not one.",
                                item.title.empty() ? "(no title)" : item.title));
    }
    PatchOutcome outcome;
    const auto apply = [&](const char* field, const std::optional<TextPatch>& wanted,
                           const std::optional<std::string>& current) {
        if (!wanted || current == wanted->value) return;
        if (current.value_or("") != wanted->base) {
            return outcome.conflicts.push_back({field, current.value_or("")});
        }
        change(step, ChangedThing::memory, item, field, current ? Json(*current) : Json(),
               toValidUtf8(wanted->value));
    };
    apply(titleField, patch.title, item.title);
    apply(noteField, patch.note, item.note);
    apply(textField, patch.text, item.text);
    return outcome;
}

OperationPointer<PatchOutcome> Edits::edit(const Uuid& id, MemoryPatch patch,
                                           std::optional<EditingToken> token) {
    return making<PatchOutcome>(
        [this, id, patch = std::move(patch)](StepDraft& step) {
            const auto item = demand(id);
            step.step.name = fmt::format("Edit {}", shownName(store_, *item));
            return draftPatch(step, *item, patch);
        },
        token);
}

/// A hashtag of title or note is theirs.
void Edits::checkRemovable(const std::vector<Uuid>& ids, const std::string& tag) const {
    const auto someHave = [&](const auto& tagsOf) {
        return std::any_of(ids.begin(), ids.end(),
                           [&](const Uuid& id) { return holdsTag(tagsOf(id), tag); });
    };
    if (someHave([&](const Uuid& id) { return store_.annotations().manualTags(id); })) return;
    if (someHave([&](const Uuid& id) { return store_.tagsOf(id); })) {
        throw Error(fmt::format("#{} stands in the memory's title or note: edit that.", tag));
    }
    throw Error(fmt::format("The memory has no tag #{}.", tag));
}

OperationPointer<Nothing> Edits::tag(std::vector<Uuid> ids, TagPatch patch) {
    return making<Nothing>([this, ids = std::move(ids),
                            patch = std::move(patch)](StepDraft& draft) {
        const TagPatch plain = plainTags(patch);
        for (const std::string& removed : plain.removed) checkRemovable(ids, removed);
        for (const Uuid& id : ids) {
            const auto& before = store_.annotations().manualTags(id);
            change(draft, ChangedThing::tags, *demand(id), "", before, patchedTags(before, plain));
        }
        draft.step.name = tagStepName(plain, namesOf(ids), !draft.step.changes.empty());
        return Nothing();
    });
}

OperationPointer<Nothing> Edits::setBringBack(std::vector<Uuid> ids,
                                              std::optional<Timestamp> date) {
    return making<Nothing>([this, ids = std::move(ids), date](StepDraft& step) {
        const std::string whose = namesOf(ids);
        step.step.name = date ? fmt::format("Bring {} back on {}", whose, toText(localDay(*date)))
                              : fmt::format("Do not bring {} back", whose);
        const auto& dates = *store_.bringBackDates();
        for (const Uuid& id : ids) {
            const auto item = demand(id);
            const auto before = dates.find(id);
            change(step, ChangedThing::bringBack, *item, "",
                   before == dates.end() ? Json() : toJson(before->second), toJson(date));
        }
        return Nothing();
    });
}

OperationPointer<std::size_t> Edits::cleanUpNames(
    std::vector<CrumbFilenameCleanupCandidate> candidates) {
    return making<std::size_t>([this, candidates = std::move(candidates)](StepDraft& step) {
        step.reason = SaveReason::filenameCleanup;
        std::size_t count = 0;
        for (const auto& candidate : candidates) {
            const auto item = store_.item(candidate.id);
            if (!item || item->title != candidate.oldTitle) continue;
            change(step, ChangedThing::memory, *item, titleField, item->title, candidate.newTitle);
            ++count;
        }
        step.step.name = fmt::format("Clean up {}", counted(count, "name", "names"));
        return count;
    });
}

OperationPointer<Uuid> Edits::createGroup(std::string name) {
    return making<Uuid>([this, name = std::move(name)](StepDraft& step) {
        const CrumbGroup group{Uuid::random(), freeGroupName(name), history_.now()};
        step.step.name = fmt::format("Create group \"{}\"", group.name);
        step.step.changes.push_back({.thing = ChangedThing::group,
                                     .id = group.id.toString(),
                                     .field = {},
                                     .before = {},
                                     .after = groupJson(group)});
        return group.id;
    });
}

OperationPointer<Nothing> Edits::renameGroup(const Uuid& id, std::string name) {
    return making<Nothing>([this, id, name = std::move(name)](StepDraft& step) {
        const CrumbGroup group = demandGroup(id);
        CrumbGroup renamed = group;
        renamed.name = freeGroupName(name);
        step.step.name = fmt::format("Rename group \"{}\"", group.name);
        step.step.changes.push_back({.thing = ChangedThing::group,
                                     .id = group.id.toString(),
                                     .field = {},
                                     .before = groupJson(group),
                                     .after = groupJson(renamed)});
        return Nothing();
    });
}

OperationPointer<Nothing> Edits::assign(std::vector<Uuid> ids, std::optional<Uuid> groupID) {
    return making<Nothing>([this, ids = std::move(ids), groupID](StepDraft& step) {
        const std::string whose = namesOf(ids);
        step.step.name =
            groupID ? fmt::format("Put {} into group \"{}\"", whose, demandGroup(*groupID).name)
                    : fmt::format("Take {} out of a group", whose);
        for (const Uuid& id : ids) {
            const auto item = demand(id);
            change(step, ChangedThing::memory, *item, groupField,
                   item->groupID ? Json(item->groupID->toString()) : Json(),
                   groupID ? Json(groupID->toString()) : Json());
        }
        return Nothing();
    });
}

/// Begins a removal once the history is ready.
template <typename Begin>
OperationPointer<DestructiveOutcome> Edits::removing(const Begin& begin) {
    auto operation = Operation<DestructiveOutcome>::create(platform_.mainQueue);
    history_.whenReady(guard_.guarded([operation, begin](const SaveFailure& unready) {
        try {
            unready.throwIfFailed();
            relay(begin(), operation);
        } catch (...) {
            operation->finish(Outcome<DestructiveOutcome>::of(std::current_exception()));
        }
    }));
    return operation;
}

void Edits::fillGroupRemoval(Step& step, const CrumbGroup& group) const {
    step.changes.clear();
    step.changes.push_back({.thing = ChangedThing::group,
                            .id = group.id.toString(),
                            .field = {},
                            .before = groupJson(group),
                            .after = {}});
    for (const Uuid& member : store_.queries().membersOf(group.id)) {
        step.changes.push_back({.thing = ChangedThing::memory,
                                .id = member.toString(),
                                .field = groupField,
                                .before = group.id.toString(),
                                .after = {}});
    }
}

OperationPointer<DestructiveOutcome> Edits::deleteGroup(const Uuid& id) {
    return removing([this, id] {
        const CrumbGroup group = demandGroup(id);
        Step step{.name = fmt::format("Delete group \"{}\"", group.name), .at = history_.now()};
        return store_.remover().deleteGroup(
            id, history_.recordRemoval(std::move(step), [this, group](Step& whole) {
                fillGroupRemoval(whole, group);
            }));
    });
}

OperationPointer<DestructiveOutcome> Edits::deleteMemories(std::vector<Uuid> ids) {
    return removing([this, ids = std::move(ids)] {
        std::vector<Uuid> present;
        for (const Uuid& id : ids) {
            if (store_.item(id)) present.push_back(id);
        }
        if (present.empty()) throw Error("The memory is not in the library any more.");
        Step step{.name = fmt::format("Delete {}", namesOf(present)), .at = history_.now()};
        step.membership = Membership::removed;
        step.memories = present;
        return store_.remover().deleteMemories(present, history_.recordRemoval(std::move(step)));
    });
}

OperationPointer<DestructiveOutcome> Edits::clearLibrary() {
    return removing([this] {
        Step step{.name = "Clear the library", .at = history_.now()};
        step.clearsLibrary = true;
        return store_.remover().clearLibrary(history_.recordRemoval(std::move(step)));
    });
}

/// What comes in, as far as it is known.
struct Edits::Addition {
    Step step;
    std::optional<std::int64_t> number{};
};

void Edits::nameAddition(Step& step, const char* verb) const {
    std::erase_if(step.memories, [&](const Uuid& id) { return !store_.item(id); });
    if (step.memories.empty()) return;
    const bool areFiles =
        step.memories.size() > 1 &&
        std::all_of(step.memories.begin(), step.memories.end(),
                    [&](const Uuid& id) { return store_.item(id)->filePath.has_value(); });
    step.name = fmt::format(
        "{} {}", verb,
        areFiles ? counted(step.memories.size(), "file", "files") : namesOf(step.memories));
}

/// Each part is written down before it comes in.
template <typename Report, typename Begin>
OperationPointer<Report> Edits::adding(const char* verb, Begin begin) {
    auto operation = Operation<Report>::create(platform_.mainQueue);
    auto addition = std::make_shared<Addition>(
        Addition{.step = {.name = fmt::format("{} memories", verb), .at = history_.now()}});
    addition->step.membership = Membership::added;
    const BeforeCommit note = [this, addition, verb](const std::vector<Uuid>& ids) {
        auto& memories = addition->step.memories;
        memories.insert(memories.end(), ids.begin(), ids.end());
        addition->step.name =
            fmt::format("{} {}", verb, counted(memories.size(), "memory", "memories"));
        return history_.recordAddition(addition->step, addition->number);
    };
    const auto finish = [this, addition, verb, operation](const Outcome<Report>& outcome) {
        if (!addition->number) return operation->finish(outcome);
        nameAddition(addition->step, verb);
        history_.finishAddition(addition->step, *addition->number,
                                [operation, outcome] { operation->finish(outcome); });
    };
    history_.whenReady(guard_.guarded([this, operation, begin = std::move(begin), note,
                                       finish](const SaveFailure& unready) mutable {
        try {
            unready.throwIfFailed();
            relay(begin(note), operation, guard_.guarded(finish));
        } catch (...) {
            operation->finish(Outcome<Report>::of(std::current_exception()));
        }
    }));
    return operation;
}

OperationPointer<CaptureReport> Edits::add(CaptureRequest request) {
    return adding<CaptureReport>(
        "Add", [this, request = std::move(request)](const BeforeCommit& note) mutable {
            request.beforeCommit = note;
            return store_.capture(std::move(request));
        });
}

OperationPointer<ImportReport> Edits::import(std::unique_ptr<ReadableFile> file) {
    return adding<ImportReport>(
        "Import", [this, held = std::make_shared<std::unique_ptr<ReadableFile>>(std::move(file))](
                      const BeforeCommit& note) { return store_.import(std::move(*held), note); });
}

}  // namespace nookery
