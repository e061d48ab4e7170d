// An activity session: its whole folder is preserved in `Items` as one memory.

#include <fmt/format.h>

#include <algorithm>

#include "collection/database/Sidecar.h"
#include "collection/inbox/PackageIntake.h"
#include "collection/inbox/PackageJob.h"
#include "collection/originals/OriginalNames.h"
#include "foundation/Text.h"
#include "platform/Clock.h"
#include "platform/Log.h"

namespace nookery {
namespace {

constexpr auto notPreserved = "Crumb could not preserve Activity package at ";

std::string spokenTime(const std::optional<std::string>& text, Timestamp now) {
    if (!text) return {};
    const auto date = parseMobileDate(*text, now);
    if (!date) return std::string(trimmed(*text));
    const CalendarFields fields = localFields(*date);
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", fields.year, fields.month, fields.day,
                       fields.hour, fields.minute);
}

void addLine(std::string& text, std::string_view label, std::string_view value) {
    if (trimmed(value).empty()) return;
    text += fmt::format("{}{}{}", text.empty() ? "" : "\n", label, trimmed(value));
}

std::string activityText(const MobileActivityManifest& activity, Timestamp now) {
    std::string text;
    addLine(text, "", activity.summary.value_or(""));
    addLine(text, "", activity.notes.value_or(""));
    addLine(text, "Activity: ", activity.activityType.value_or(""));
    addLine(text, activityPlaceLabel, activity.locationSummary.value_or(""));
    const std::string start = spokenTime(activity.startedAt, now);
    const std::string end = spokenTime(activity.endedAt, now);
    addLine(text, "Time: ", start.empty() || end.empty() ? start + end : start + " to " + end);
    if (activity.captureCount)
        addLine(text, "Captures: ", fmt::format("{}", *activity.captureCount));
    addLine(text, "Source: ", "Crumb Mobile Activity");
    return text;
}

std::string activityTitle(const MobileActivityManifest& activity) {
    for (const auto* candidate : {&activity.title, &activity.activityType}) {
        const std::string_view text = *candidate ? trimmed(**candidate) : std::string_view();
        if (!text.empty()) return std::string(firstCharacters(splitLines(text).front(), 200));
    }
    return "Activity";
}

std::vector<Path> factPaths(const std::vector<PackageFile>& files, const Path& name) {
    std::vector<Path> paths;
    for (const PackageFile& file : files) paths.push_back(Path("Items") / name / file.relative);
    return paths;
}

}  // namespace

void PackageIntake::readActivity(const JobPointer& job) {
    inBackground(
        job,
        [job, platform = platform_] {
            const Path& package = job->package.path;
            const Path manifest = manifestName(PackageKind::activity);
            job->activity = activityManifestFromJson(
                readWholeFile(platform.files, package / manifest, maximumManifestByteCount));
            std::vector<Path> relative{manifest};
            for (const InboxFile& file : job->package.files) {
                Path path = file.path.lexically_relative(package);
                if (path != manifest) relative.push_back(std::move(path));
            }
            readFiles(platform, *job, std::move(relative));
        },
        [this, job] { decideActivity(job); });
}

void PackageIntake::decideActivity(const JobPointer& job) try {
    if (job->problem) return withdrawActivity(job, job->problem->reason);
    if (isSettledByLedger(job)) return;
    if (job->package.incomplete) return leaveWaiting(job);
    if (const auto known = activityWithContent(*job)) {
        job->memoryID = *known;
        job->outcome.report.duplicates.push_back({job->source(), *known});
        return finishActivity(job);
    }
    inBackground(
        job,
        [job, platform = platform_, layout = layout_] {
            job->copy = copyPackage(platform, layout, job->package.path, job->files, job->stop);
        },
        [this, job] { nameActivity(job); });
} catch (const Error& error) {
    withdrawActivity(job, error.description());
}

/// A memory that was committed before its taking was interrupted.
std::optional<Uuid> PackageIntake::activityWithContent(const Job& job) const {
    for (const OriginalFact& fact : sidecar_.originalsWithDigest(job.files.front().digest)) {
        const auto item = library_.find(fact.memoryID);
        if (!item || item->kind != CrumbKind::activity || library_.isClosed(item->id)) continue;
        const Path folder = fact.relativePath.parent_path();
        const bool holdsAll =
            std::all_of(job.files.begin(), job.files.end(), [&](const PackageFile& file) {
                const auto held = sidecar_.original(folder / file.relative);
                return held && held->memoryID == fact.memoryID && held->digest == file.digest;
            });
        if (holdsAll) return fact.memoryID;
    }
    return std::nullopt;
}

/// The name is noted, durably, before the folder bears it: a folder without a record is known.
void PackageIntake::nameActivity(const JobPointer& job) try {
    if (job->problem) return withdrawActivity(job, job->problem->reason);
    const Path manifest = manifestName(PackageKind::activity);
    job->memoryID = Uuid::random();
    const Path name =
        freeName(originalName(job->package.path.filename()), [&](const Path& candidate) {
            return platform_.files.status(layout_.items() / candidate) ||
                   sidecar_.original(Path("Items") / candidate) ||
                   sidecar_.original(Path("Items") / candidate / manifest);
        });
    std::vector<OriginalFact> facts;
    for (const PackageFile& file : job->copy->files) {
        facts.push_back({Path("Items") / name / file.relative, job->memoryID, file.digest,
                         file.status.byteCount, file.status.modifiedNanoseconds});
    }
    const Path pending = Path("Items") / name;
    job->name = name;
    sidecar_.addPendingOriginals({&pending, 1});
    sidecar_.recordOriginals(facts);
    sidecar_.makeDurable();
    placeActivity(job);
} catch (const Error& error) {
    withdrawActivity(job, error.description());
}

void PackageIntake::placeActivity(const JobPointer& job) {
    inBackground(
        job,
        [job, platform = platform_, items = layout_.items()] {
            platform.files.renameExclusive(job->copy->place, items / job->name);
            job->copy->place = items / job->name;
            platform.files.syncDirectory(items);
        },
        [this, job] { commitActivity(job); });
}

CrumbItem PackageIntake::activityItem(const Job& job) const {
    const Timestamp now = platform_.clock.now();
    CrumbItem item;
    item.id = job.memoryID;
    item.kind = CrumbKind::activity;
    item.title = activityTitle(*job.activity);
    item.text = activityText(*job.activity, now);
    item.searchableText = activityMarker;
    item.filePath = (layout_.items() / job.name).native();
    const auto& start = job.activity->startedAt;
    item.createdAt = (start ? parseMobileDate(*start, now) : std::nullopt).value_or(now);
    return item;
}

void PackageIntake::commitActivity(const JobPointer& job) {
    if (job->problem) {
        return withdrawActivity(job, job->problem->isNameTaken
                                         ? "Its name in the library was taken just now."
                                         : job->problem->reason);
    }
    const NewMemory memory{.item = activityItem(*job), .tags = {}};
    library_.add({memory}, guard_.guarded([this, job](const Library::Committed& committed) {
        finishActivityCommit(job, committed);
    }));
}

void PackageIntake::finishActivityCommit(const JobPointer& job,
                                         const Library::Committed& committed) try {
    if (!committed.isKept) return withdrawActivity(job, committed.problem.text());
    // The note of its name stays, in case that the record does not survive a power cut.
    if (committed.problem) return fail(job, committed.problem.text(), true);
    const Path pending = Path("Items") / job->name;
    sidecar_.removePendingOriginals({&pending, 1});
    job->outcome.report.added.push_back(job->memoryID);
    finishActivity(job);
} catch (const Error& error) {
    fail(job, error.description(), true);
}

/// Takes the copy away again, then its name, and fails.
void PackageIntake::withdrawActivity(const JobPointer& job, const std::string& reason) {
    const bool mayRetry = !(job->problem && job->problem->isForeign);
    inBackground(
        job,
        [job, platform = platform_] {
            if (job->copy) removeTree(platform.files, job->copy->place);
        },
        [this, job, reason, mayRetry] {
            const Path pending = Path("Items") / job->name;
            try {
                // A copy that is still there keeps its note, and the next start removes it.
                if (!job->problem && !job->name.empty()) {
                    sidecar_.forgetOriginals(factPaths(job->files, job->name));
                    sidecar_.removePendingOriginals({&pending, 1});
                }
            } catch (const Error& error) {
                platform_.log.line("NOOKERY capture note error: " + error.description());
            }
            logOnce(notPreserved + job->source() + ": " + reason);
            fail(job, reason, mayRetry);
        });
}

void PackageIntake::finishActivity(const JobPointer& job) try {
    recordInLedger(*job);
    takeAll(*job);
    announce(*job, "Activity received");
    job->finished(std::move(job->outcome));
} catch (const Error& error) {
    fail(job, error.description(), true);
}

}  // namespace nookery
