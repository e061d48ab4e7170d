// A note with photos: the note becomes a text memory, each photo a memory derived from it.

#include <fmt/format.h>

#include <algorithm>

#include "collection/database/Sidecar.h"
#include "collection/inbox/PackageIntake.h"
#include "collection/inbox/PackageJob.h"
#include "collection/text/TextExtraction.h"
#include "foundation/Text.h"
#include "platform/Clock.h"

namespace nookery {
namespace {

constexpr auto otherNoteMessage =
    "A memory of this note is there already, with another text. Rename the package aside, or add "
    "its files by hand.";

}  // namespace

void PackageIntake::readNote(const JobPointer& job) {
    inBackground(
        job,
        [job, platform = platform_] {
            const Path name = manifestName(PackageKind::note);
            job->note = noteManifestFromJson(
                readWholeFile(platform.files, job->package.path / name, maximumManifestByteCount));
            std::vector<Path> files{name};
            files.insert(files.end(), job->note->attachments.begin(), job->note->attachments.end());
            readFiles(platform, *job, std::move(files));
        },
        [this, job] { decideNote(job); });
}

void PackageIntake::decideNote(const JobPointer& job) try {
    if (job->problem) {
        if (job->problem->isForeign) {
            logOnce("Crumb note package manifest invalid: " + job->problem->reason);
        }
        return fail(job, job->problem->reason, !job->problem->isForeign);
    }
    if (isSettledByLedger(job)) return;
    if (job->package.incomplete) return leaveWaiting(job);
    const auto known = noteWithMarker(std::string(noteMarkerPrefix) + job->note->noteID);
    if (!known) return commitNote(job);
    if (known->text.value_or("") != job->note->text) return fail(job, otherNoteMessage, false);
    // Its taking was interrupted, or the ledger is younger than the memory.
    job->memoryID = known->id;
    captureAttachments(job);
} catch (const Error& error) {
    fail(job, error.description(), true);
}

CrumbItemPointer PackageIntake::noteWithMarker(const std::string& marker) const {
    const auto& all = library_.all();
    const auto found = std::find_if(all.begin(), all.end(), [&](const CrumbItemPointer& item) {
        const std::string& text = item->searchableText;
        return !library_.isClosed(item->id) && text.starts_with(marker) &&
               (text.size() == marker.size() || text[marker.size()] == '\n');
    });
    return found == all.end() ? nullptr : *found;
}

CrumbItem PackageIntake::noteItem(const Job& job) const {
    const MobileNoteManifest& note = *job.note;
    CrumbItem item;
    item.id = Uuid::random();
    item.kind = CrumbKind::text;
    const Timestamp now = platform_.clock.now();
    item.createdAt = parseMobileDate(note.createdAt, now).value_or(now);
    item.title = trimmed(note.text).empty() ? "Photo Note" : titleFromText(note.text);
    item.text = note.text;
    item.searchableText = std::string(noteMarkerPrefix) + note.noteID;
    if (!note.attachments.empty()) {
        item.searchableText += fmt::format("\n{} attached photos", note.attachments.size());
    }
    return item;
}

void PackageIntake::commitNote(const JobPointer& job) {
    const NewMemory memory{.item = noteItem(*job), .tags = {}};
    library_.add({memory}, guard_.guarded([this, job, id = memory.item.id](const auto& committed) {
        finishNoteCommit(job, id, committed);
    }));
}

void PackageIntake::finishNoteCommit(const JobPointer& job, const Uuid& id,
                                     const Library::Committed& committed) {
    if (!committed.isKept || committed.problem) return fail(job, committed.problem.text(), true);
    job->memoryID = id;
    job->outcome.report.added.push_back(id);
    captureAttachments(job);
}

void PackageIntake::captureAttachments(const JobPointer& job) {
    if (job->note->attachments.empty()) return finishNote(job, {});
    CaptureRequest request{.sourceItemID = job->memoryID};
    for (const Path& attachment : job->note->attachments) {
        request.sources.push_back(
            CaptureFile{.path = job->package.path / attachment, .mayBeLink = false});
    }
    const auto operation = capture_.capture(std::move(request));
    operation->stopWith(job->stop);
    operation->whenFinished(guard_.guarded([this, job](const Outcome<CaptureReport>& outcome) {
        finishNote(job, reportOf(outcome));
    }));
}

void PackageIntake::finishNote(const JobPointer& job, const CaptureReport& report) try {
    CaptureReport& whole = job->outcome.report;
    const auto append = [](auto& to, const auto& from) {
        to.insert(to.end(), from.begin(), from.end());
    };
    append(whole.added, report.added);
    append(whole.duplicates, report.duplicates);
    append(whole.warnings, report.warnings);
    if (report.origins.size() != job->note->attachments.size()) {
        return fail(job,
                    report.failed.empty() ? "Not all of its photos could be taken in."
                                          : report.failed.front().message,
                    true);
    }
    recordInLedger(*job);
    takeAll(*job);
    for (const CaptureOrigin& origin : report.origins) {
        const auto item = library_.find(origin.memoryID);
        if (!origin.wasKnown || !item || !item->filePath) continue;
        for (InboxTaken& taken : job->outcome.taken) {
            if (taken.path == origin.path) {
                taken.known = HeldOriginal{*item->filePath, origin.digest};
            }
        }
    }
    announce(*job, "Note with photos received");
    job->finished(std::move(job->outcome));
} catch (const Error& error) {
    fail(job, error.description(), true);
}

}  // namespace nookery
