#include "collection/inbox/InboxScanner.h"

#include <algorithm>
#include <set>
#include <utility>

#include "collection/inbox/MobileManifests.h"
#include "collection/originals/FileDigest.h"
#include "platform/Log.h"
#include "platform/Problem.h"

namespace nookery {
namespace {

bool isManifest(const InboxUnit& unit, const Path& file) {
    return std::any_of(unit.packages.begin(), unit.packages.end(),
                       [&](const InboxPackage& package) {
                           return file == package.path / manifestName(package.kind);
                       });
}

}  // namespace

InboxScanner::InboxScanner(const Platform& platform, std::string cleanupErrorPrefix,
                           Readiness whyNotReady)
    : platform_(platform),
      cleanupErrorPrefix_(std::move(cleanupErrorPrefix)),
      whyNotReady_(std::move(whyNotReady)) {}

StabilityTracker::Readiness InboxScanner::check(const Path& inbox) {
    auto units = scanInbox(platform_.files, platform_.cloud, inbox);
    tellWhatRemains(inbox, units);
    auto readiness = stability_.check(std::move(units));
    forgetWhatIsGone();
    holdBackUnready(readiness);
    return readiness;
}

void InboxScanner::holdBackUnready(StabilityTracker::Readiness& readiness) {
    for (InboxUnit& unit : readiness.stable) {
        std::string reason;
        std::erase_if(unit.packages, [&](InboxPackage& package) {
            package.incomplete = whyNotReady_(package);
            if (!package.incomplete) return false;
            reason = *package.incomplete;
            const Path manifest = package.path / manifestName(package.kind);
            return std::none_of(package.files.begin(), package.files.end(),
                                [&](const InboxFile& file) { return file.path == manifest; });
        });
        if (unit.hasSomethingToTake()) continue;
        stability_.fail(unit.path, reason, false);
        readiness.waiting.push_back({unit.path, reason});
    }
    std::erase_if(readiness.stable,
                  [](const InboxUnit& unit) { return !unit.hasSomethingToTake(); });
}

void InboxScanner::close(const std::vector<InboxUnit>& units, const InboxOutcome& outcome) {
    std::map<Path, const InboxUnit*> unitOf;
    for (const InboxUnit& unit : units) {
        unitOf[unit.path] = &unit;
        for (const InboxFile& file : unit.everything) unitOf[file.path] = &unit;
    }
    std::map<const InboxUnit*, Taken> takenOf;
    for (const InboxTaken& taken : outcome.taken) {
        if (const auto unit = unitOf.find(taken.path); unit != unitOf.end()) {
            takenOf[unit->second].push_back(taken);
        }
    }
    std::map<const InboxUnit*, InboxFailure> failureOf;
    for (const InboxFailure& failure : outcome.failures) {
        if (const auto unit = unitOf.find(failure.path); unit != unitOf.end()) {
            failureOf.emplace(unit->second, failure);
        }
    }
    for (const InboxUnit& unit : units) {
        const Taken& taken = takenOf[&unit];
        if (const auto problem = clean(unit, taken)) {
            leave(unit, problem->reason, false);
            if (problem->mayRetry) uncleaned_.insert_or_assign(unit.path, Uncleaned{unit, taken});
        } else if (const auto failure = failureOf.find(&unit); failure != failureOf.end()) {
            leave(unit, failure->second.reason, failure->second.mayRetry);
        } else {
            finish(unit.path);
        }
    }
}

void InboxScanner::leave(const InboxUnit& unit, const std::string& reason, bool mayRetry) {
    stability_.fail(unit.path, reason, mayRetry);
    reported_.insert(unit.path);
    platform_.log.report(
        {{ProblemKind::inbox, unit.path, {}},
         displayName(unit.path.filename()) + " stays in the inbox: " + reason,
         mayRetry ? "It is tried again by itself." : "Change it or take it out of the inbox."});
}

void InboxScanner::finish(const Path& unit) {
    stability_.finish(unit);
    reported_.erase(unit);
    platform_.log.mended({ProblemKind::inbox, unit, {}});
}

/// What an earlier session could not take may be gone since.
void InboxScanner::tellWhatRemains(const Path& inbox, const std::vector<InboxUnit>& units) {
    if (std::exchange(hasTold_, true)) return;
    ProblemSurvey survey{.kind = ProblemKind::inbox, .folder = inbox};
    for (const InboxUnit& unit : units) survey.remaining.push_back(unit.path);
    platform_.log.surveyed(survey);
}

/// Somebody took it out of the inbox.
void InboxScanner::forgetWhatIsGone() {
    std::erase_if(reported_, [this](const Path& unit) {
        if (platform_.files.status(unit)) return false;
        platform_.log.mended({ProblemKind::inbox, unit, {}});
        return true;
    });
}

std::optional<InboxFailure> InboxScanner::clean(const InboxUnit& unit, const Taken& taken) try {
    std::optional<InboxFailure> problem;
    std::set<Path> touched;
    for (const InboxTaken& file : taken) {
        if (isManifest(unit, file.path)) {
            // By it the rest is known again; so it goes after the rest, also in a power cut.
            if (problem) continue;
            for (const Path& folder : touched) platform_.files.syncDirectory(folder);
        }
        auto failure = remove(file);
        if (!failure) {
            touched.insert(file.path.parent_path());
            continue;
        }
        if (failure->mayRetry && !uncleaned_.contains(unit.path)) {
            recordCleanupError(file.path, failure->reason);
        }
        problem = std::move(failure);
    }
    for (const Path& folder : touched) platform_.files.syncDirectory(folder);
    if (!touched.empty()) removeEmptied(unit);
    return problem;
} catch (const Error& error) {
    recordCleanupError(unit.path, error.description());
    return std::nullopt;
}

void InboxScanner::recordCleanupError(const Path& path, const std::string& reason) {
    platform_.log.line(cleanupErrorPrefix_ + displayName(path.filename()) + ": " + reason);
}

/// None when the file is gone, or has become another one that is to be looked at afresh.
std::optional<InboxFailure> InboxScanner::remove(const InboxTaken& taken) try {
    const auto status = platform_.files.status(taken.path);
    if (!status || !status->sameContentMarks(taken.status) || status->inode != taken.status.inode) {
        return std::nullopt;
    }
    if (taken.known && !stillHolds(*taken.known)) {
        return InboxFailure{taken.path,
                            "The library has this already as " +
                                displayName(taken.known->place.filename()) +
                                ", but that original was changed; \"nookery verify\" tells more.",
                            false};
    }
    platform_.files.removeFile(taken.path);
    return std::nullopt;
} catch (const Error& error) {
    return InboxFailure{taken.path, "It is in the library. " + error.description()};
}

bool InboxScanner::stillHolds(const HeldOriginal& original) {
    try {
        return digestOfFile(platform_.files, platform_.digester, original.place) == original.digest;
    } catch (const FileError&) {
        return false;
    }
}

void InboxScanner::removeEmptied(const InboxUnit& unit) {
    for (const Path& folder : unit.folders) {
        if (!platform_.files.status(folder) || !platform_.files.list(folder).empty()) continue;
        platform_.files.removeDirectory(folder);
    }
}

void InboxScanner::retry() {
    stability_.retry();
    for (auto uncleaned = uncleaned_.begin(); uncleaned != uncleaned_.end();) {
        if (clean(uncleaned->second.unit, uncleaned->second.taken)) {
            ++uncleaned;
            continue;
        }
        finish(uncleaned->first);
        uncleaned = uncleaned_.erase(uncleaned);
    }
}

}  // namespace nookery
