#include "support/VirtualWorld.h"

#include <algorithm>

#include "foundation/Json.h"
#include "support/FaultyFileSystem.h"

namespace nookery::testing {

void VirtualTime::advance(double seconds) {
    const double end = elapsed_ + seconds;
    while (!pieces_.empty() && pieces_.begin()->first <= end) {
        auto node = pieces_.extract(pieces_.begin());
        wallClock_.secondsSince1970 += node.key() - elapsed_;
        elapsed_ = node.key();
        if (!*node.mapped().cancelled) node.mapped().work();
        if (hasCrashed && hasCrashed()) throw SimulatedCrash{};
    }
    wallClock_.secondsSince1970 += end - elapsed_;
    elapsed_ = end;
}

DelayedWork VirtualQueue::after(Delay delay, Work work) {
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    time_.pieces_.emplace(time_.elapsed_ + delay.count(),
                          VirtualTime::Piece{std::move(work), cancelled});
    return DelayedWork(cancelled);
}

namespace {

Json objectUnder(std::string_view key, const std::optional<std::string>& value) try {
    Json object = value ? parseJson(*value) : Json::object();
    if (!object.is_object()) throw NoEntriesError(key);
    return object;
} catch (const JsonError&) {
    throw NoEntriesError(key);
}

}  // namespace

std::optional<std::string> MemoryDefaults::get(std::string_view key) const {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    if (found == values_.end()) return std::nullopt;
    return found->second;
}

void MemoryDefaults::set(std::string_view key, std::string_view value) {
    const std::lock_guard lock(mutex_);
    checkChangeable();
    values_[std::string(key)] = value;
}

void MemoryDefaults::remove(std::string_view key) {
    const std::lock_guard lock(mutex_);
    checkChangeable();
    values_.erase(std::string(key));
}

std::vector<std::string> MemoryDefaults::keys() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> found;
    for (const auto& [key, value] : values_) found.push_back(key);
    return found;
}

std::vector<DefaultsEntry> MemoryDefaults::entries(std::string_view key) const {
    const std::lock_guard lock(mutex_);
    std::vector<DefaultsEntry> found;
    const Json object = objectUnder(key, get(key));
    for (const auto& [name, entry] : object.items()) {
        found.push_back({name, toJsonText(entry)});
    }
    return found;
}

std::vector<DefaultsEntry> MemoryDefaults::entries(std::string_view key,
                                                   const std::vector<std::string>& names) const {
    auto found = entries(key);
    std::erase_if(found, [&](const DefaultsEntry& entry) {
        return std::find(names.begin(), names.end(), entry.name) == names.end();
    });
    return found;
}

void MemoryDefaults::changeEntries(const DefaultsChanges& changes) {
    const std::lock_guard lock(mutex_);
    if (changes.empty()) return;
    checkChangeable();
    auto changed = values_;
    for (const auto& [key, each] : changes) {
        Json object = objectUnder(key, get(key));
        for (const auto& [name, json] : each) {
            if (json) {
                object[name] = parseJson(*json);
            } else {
                object.erase(name);
            }
        }
        changed[key] = toJsonText(object);
    }
    values_ = std::move(changed);
}

void MemoryDefaults::checkChangeable() const {
    if (refusesChanges) throw DefaultsError("The settings cannot be changed.");
}

std::optional<std::string> MemoryKeyStore::read(std::string_view service,
                                                std::string_view account) {
    if (!available) throw KeyStoreUnavailable("The key store is locked.");
    const auto found = secrets_.find({std::string(service), std::string(account)});
    if (found == secrets_.end()) return std::nullopt;
    return found->second;
}

void MemoryKeyStore::write(std::string_view service, std::string_view account,
                           std::string_view secret) {
    if (!available) throw KeyStoreUnavailable("The key store is locked.");
    secrets_[{std::string(service), std::string(account)}] = secret;
}

void MemoryKeyStore::remove(std::string_view service, const std::vector<std::string>& accounts) {
    if (!available) throw KeyStoreUnavailable("The key store is locked.");
    for (const std::string& account : accounts) secrets_.erase({std::string(service), account});
}

void RecordingLog::report(const Problem& problem) {
    const std::lock_guard lock(mutex_);
    forget(problem.subject);
    problems.push_back(problem);
    if (problemLog != nullptr) problemLog->report(problem);
}

void RecordingLog::mended(const ProblemSubject& subject) {
    const std::lock_guard lock(mutex_);
    forget(subject);
    if (problemLog != nullptr) problemLog->mended(subject);
}

void RecordingLog::surveyed(const ProblemSurvey& survey) {
    const std::lock_guard lock(mutex_);
    std::erase_if(problems, [&](const Problem& known) { return survey.clears(known.subject); });
    if (problemLog != nullptr) problemLog->surveyed(survey);
}

void RecordingLog::forget(const ProblemSubject& subject) {
    std::erase_if(problems, [&](const Problem& known) { return known.subject == subject; });
}

bool RecordingLog::contains(std::string_view part) const {
    return std::any_of(lines.begin(), lines.end(), [part](const std::string& line) {
        return line.find(part) != std::string::npos;
    });
}

}  // namespace nookery::testing
