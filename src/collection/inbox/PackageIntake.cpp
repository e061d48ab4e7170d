#include "collection/inbox/PackageIntake.h"

#include <algorithm>

#include "collection/database/Sidecar.h"
#include "collection/inbox/PackageJob.h"
#include "platform/Log.h"

namespace nookery {

void PackageIntake::Job::setProblemOf(const Outcome<Nothing>& result) try {
    problem.reset();
    static_cast<void>(result.get());
} catch (const PackageError& error) {
    problem = Problem{error.description(), true};
} catch (const FileError& error) {
    problem = Problem{error.description(), false, error.errorNumber() == EEXIST};
} catch (const std::exception& error) {
    problem = Problem{describe(error)};
}

PackageIntake::PackageIntake(const Platform& platform, LibraryLayout layout, Sidecar& sidecar,
                             Library& library, CaptureService& capture)
    : platform_(platform),
      layout_(std::move(layout)),
      sidecar_(sidecar),
      library_(library),
      capture_(capture) {}

void PackageIntake::take(const InboxPackage& package, std::stop_token stop, Finished finished) {
    const auto job = std::make_shared<Job>(Job{package, std::move(stop), std::move(finished)});
    if (package.kind == PackageKind::note) {
        readNote(job);
    } else {
        readActivity(job);
    }
}

/// The ledger holds a line for the memory's id and one for each file's fingerprint. The memory may
/// be gone by now: what the person removed does not come back. Files may be gone, too: an inbox
/// whose cleaning was interrupted, or a sync client that brought some back.
bool PackageIntake::isSettledByLedger(const JobPointer& job) {
    const auto entry = sidecar_.state(job->ledgerKey());
    if (!entry) return false;
    const auto isKnown = [&](const std::string& print) {
        return entry->find("\n" + print) != std::string::npos;
    };
    if (!std::all_of(job->fingerprints.begin(), job->fingerprints.end(), isKnown)) {
        fail(job,
             "It was taken in before with another content. Rename it aside, or add its files by "
             "hand.",
             false);
        return true;
    }
    takeAll(*job);
    const auto id = Uuid::parse(entry->substr(0, entry->find('\n')));
    if (id && library_.find(*id)) {
        job->outcome.report.duplicates.push_back({job->source(), *id});
    } else {
        job->outcome.report.skipped.push_back(
            {job->source(), "It was taken in before, and its memory was removed since."});
    }
    job->finished(std::move(job->outcome));
    return true;
}

void PackageIntake::recordInLedger(const Job& job) {
    std::string entry = job.memoryID.toString();
    for (const std::string& print : job.fingerprints) entry += "\n" + print;
    sidecar_.setState(job.ledgerKey(), entry);
    sidecar_.makeDurable();
}

/// Of a package that is incomplete, what there is.
void PackageIntake::readFiles(const Platform& platform, Job& job, std::vector<Path> relativePaths) {
    if (job.package.incomplete) {
        std::erase_if(relativePaths, [&](const Path& path) {
            return !platform.files.status(job.package.path / path);
        });
    }
    job.files = digestPackage(platform, job.package.path, relativePaths, job.stop);
    for (const PackageFile& file : job.files) {
        job.fingerprints.push_back(fingerprint(platform.digester, file));
    }
}

/// The manifest goes last: by it the rest is known again when the cleaning is interrupted.
void PackageIntake::takeAll(Job& job) const {
    job.outcome.taken.clear();
    for (auto file = job.files.rbegin(); file != job.files.rend(); ++file) {
        job.outcome.taken.push_back({job.package.path / file->relative, file->status});
    }
}

void PackageIntake::leaveWaiting(const JobPointer& job) {
    job->outcome.failure = InboxFailure{job->package.path, *job->package.incomplete, false};
    job->finished(std::move(job->outcome));
}

void PackageIntake::fail(const JobPointer& job, const std::string& reason, bool mayRetry) {
    job->outcome.taken.clear();
    job->outcome.failure = InboxFailure{job->package.path, reason, mayRetry};
    job->outcome.report.failed.push_back({job->source(), reason});
    job->finished(std::move(job->outcome));
}

void PackageIntake::logOnce(const std::string& line) {
    if (logged_.insert(line).second) platform_.log.line(line);
}

void PackageIntake::announce(const Job& job, const std::string& title) {
    const auto item = library_.find(job.memoryID);
    library_.announce(
        {IntakeNoticeKind::captured, title, item ? item->title : std::string(), job.memoryID});
}

}  // namespace nookery
