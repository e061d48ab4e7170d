#include "workspace/Problems.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/Clock.h"

namespace nookery {
namespace {

constexpr std::size_t mostProblems = 500;

/// The same subject has the same id in every session: FNV-1a of its parts.
std::string idOf(const ProblemSubject& subject) {
    std::string text(rawValue(subject.kind));
    text += '\n' + subject.path.native() + '\n';
    if (subject.memoryID) text += subject.memoryID->toString();
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    for (const char byte : text) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3ULL;
    }
    return fmt::format("{:010x}", hash >> 24);
}

void sortBySight(ProblemList& problems) {
    std::stable_sort(problems.begin(), problems.end(), [](const auto& left, const auto& right) {
        return left.lastSeen > right.lastSeen;
    });
}

}  // namespace

Problems::Problems(const Platform& platform, LibraryLayout layout, ProblemLog& log,
                   CrumbStore& store)
    : platform_(platform), layout_(std::move(layout)), log_(log), store_(store) {
    memories_ = store.itemChanges().subscribe(
        [this](const MemoryListChange& change) { forgetRemoved(change); });
    log_.setListener([&mainQueue = platform.mainQueue,
                      take = WorkQueue::Work(guard_.guarded([this] { takeNews(); }))] {
        mainQueue.async(take);
    });
}

Problems::~Problems() {
    log_.setListener(nullptr);
    memories_.reset();
    if (isLoaded_) takeNews();
}

void Problems::load() {
    ProblemList stored;
    try {
        readStored(stored);
    } catch (const Error& error) {
        platform_.log.line("NOOKERY problems load error: " + error.description());
    }
    isLoaded_ = true;
    std::set<std::string> storedIDs;
    for (KnownProblem& known : stored) {
        storedIDs.insert(known.id);
        merge(std::move(known));
    }
    surveys_.clear();
    // What is mended and was never known is nothing to be written.
    std::erase_if(changedIDs_, [&](const std::string& id) {
        return !storedIDs.contains(id) && find(id) == nullptr;
    });
    // A library that is not whole says nothing about which memories are gone.
    if (!store_.startFailure()) forgetIf([this](const Uuid& id) { return !store_.item(id); });
    finishChange();
}

void Problems::readStored(ProblemList& stored) {
    if (!store_.refusal()) {
        store_.changeSidecar([&](Sidecar& sidecar) { stored = ProblemTable(sidecar).all(); });
    } else if (platform_.files.status(layout_.sidecar())) {
        Sidecar sidecar = Sidecar::openForReading(layout_.sidecar());
        stored = ProblemTable(sidecar).all();
    }
}

/// It may have happened again in this session already, or be mended.
void Problems::merge(KnownProblem stored) {
    KnownProblem* known = find(stored.id);
    if (known == nullptr) {
        const bool isCleared = std::any_of(
            surveys_.begin(), surveys_.end(),
            [&](const ProblemSurvey& survey) { return survey.clears(stored.problem.subject); });
        if (isCleared) changedIDs_.insert(stored.id);
        if (!changedIDs_.contains(stored.id)) problems_.push_back(std::move(stored));
        return;
    }
    known->firstSeen = stored.firstSeen;
    known->count += stored.count;
    changedIDs_.insert(known->id);
}

KnownProblem* Problems::find(std::string_view id) {
    const auto found = std::find_if(problems_.begin(), problems_.end(),
                                    [&](const KnownProblem& known) { return known.id == id; });
    return found == problems_.end() ? nullptr : &*found;
}

void Problems::takeNews() {
    for (const ProblemNews& news : log_.take()) {
        std::visit([this](const auto& each) { take(each); }, news);
    }
    finishChange();
}

void Problems::take(const Problem& problem) {
    const Timestamp now = platform_.clock.now();
    const std::string id = idOf(problem.subject);
    changedIDs_.insert(id);
    KnownProblem* known = find(id);
    if (known == nullptr) {
        problems_.push_back({id, problem, now, now});
        return;
    }
    known->problem = problem;
    known->lastSeen = now;
    ++known->count;
    known->isDismissed = false;
}

void Problems::take(const ProblemSubject& mended) {
    const std::string id = idOf(mended);
    const auto count = std::erase_if(problems_, [&](const auto& known) { return known.id == id; });
    if (count > 0 || !isLoaded_) changedIDs_.insert(id);
}

void Problems::take(const ProblemSurvey& survey) {
    if (!isLoaded_) surveys_.push_back(survey);
    std::erase_if(problems_, [&](const KnownProblem& known) {
        if (!survey.clears(known.problem.subject)) return false;
        changedIDs_.insert(known.id);
        return true;
    });
}

void Problems::forgetRemoved(const MemoryListChange& change) {
    if (change.removed.empty()) return;
    std::unordered_set<Uuid> removed;
    for (const auto& item : change.removed) removed.insert(item->id);
    forgetIf([&](const Uuid& id) { return removed.contains(id); });
    finishChange();
}

/// Those about memories that are gone.
template <typename IsGone>
void Problems::forgetIf(const IsGone& isGone) {
    std::erase_if(problems_, [&](const KnownProblem& known) {
        const auto& memory = known.problem.subject.memoryID;
        if (!memory || !isGone(*memory)) return false;
        changedIDs_.insert(known.id);
        return true;
    });
}

bool Problems::dismiss(std::string_view id) {
    KnownProblem* known = find(id);
    if (known == nullptr) return false;
    dismiss(*known);
    finishChange();
    return true;
}

void Problems::dismissAll() {
    for (KnownProblem& known : problems_) dismiss(known);
    finishChange();
}

void Problems::dismiss(KnownProblem& known) {
    if (std::exchange(known.isDismissed, true)) return;
    changedIDs_.insert(known.id);
}

void Problems::finishChange() {
    sortBySight(problems_);
    for (; problems_.size() > mostProblems; problems_.pop_back()) {
        changedIDs_.insert(problems_.back().id);
    }
    if (isLoaded_) writeChanges();
    if (problems_ != *all_) all_.set(problems_);
}

void Problems::writeChanges() {
    ProblemList saved;
    std::vector<std::string> removed;
    for (const std::string& id : std::exchange(changedIDs_, {})) {
        const KnownProblem* known = find(id);
        if (known != nullptr) saved.push_back(*known);
        if (known == nullptr) removed.push_back(id);
    }
    if (saved.empty() && removed.empty()) return;
    store_.changeSidecar([&](Sidecar& sidecar) { ProblemTable(sidecar).update(saved, removed); });
}

OrderedJson toJson(const KnownProblem& known) {
    const ProblemSubject& subject = known.problem.subject;
    OrderedJson json{{"id", known.id}, {"what", rawValue(subject.kind)}};
    if (!subject.path.empty()) json["path"] = displayName(subject.path);
    if (subject.memoryID) json["memory"] = subject.memoryID->toString();
    json["message"] = known.problem.message;
    json["advice"] = known.problem.advice;
    json["first"] = toIso8601(known.firstSeen);
    json["last"] = toIso8601(known.lastSeen);
    json["count"] = known.count;
    json["dismissed"] = known.isDismissed;
    return json;
}

}  // namespace nookery
