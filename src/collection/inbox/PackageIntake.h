#pragma once

#include <functional>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "collection/capture/CaptureService.h"
#include "collection/inbox/InboxBatch.h"
#include "collection/inbox/MobileManifests.h"
#include "collection/inbox/PackageContent.h"
#include "platform/Platform.h"
#include "platform/work/WorkQueue.h"
#include "records/LibraryLayout.h"

namespace nookery {

class Sidecar;

/// The markers by which memories from the phone are known again, in their searchable text.
inline constexpr std::string_view noteMarkerPrefix = "mobile-note-id:";
inline constexpr std::string_view activityMarker = "__crumb_activity__";

/// What became of one package: what is in the library now, and why the rest is not.
struct PackageOutcome {
    std::vector<InboxTaken> taken{};
    std::optional<InboxFailure> failure{};
    CaptureReport report{};
};

/// Turns packages from the phone into memories, one package at a time. A package that was taken in
/// before, by what identifies it, is not taken again; the sidecar remembers. Slow work runs on the
/// capture queue. Main thread.
class PackageIntake {
  public:
    using Finished = std::function<void(PackageOutcome)>;

    PackageIntake(const Platform& platform, LibraryLayout layout, Sidecar& sidecar,
                  Library& library, CaptureService& capture);

    /// `finished` is called on the main thread, once and last. Nothing of the package itself is
    /// changed.
    void take(const InboxPackage& package, std::stop_token stop, Finished finished);

  private:
    struct Job;
    using JobPointer = std::shared_ptr<Job>;

    void readNote(const JobPointer& job);
    void decideNote(const JobPointer& job);
    void commitNote(const JobPointer& job);
    void finishNoteCommit(const JobPointer& job, const Uuid& id,
                          const Library::Committed& committed);
    void captureAttachments(const JobPointer& job);
    void finishNote(const JobPointer& job, const CaptureReport& report);
    CrumbItemPointer noteWithMarker(const std::string& marker) const;
    CrumbItem noteItem(const Job& job) const;

    void readActivity(const JobPointer& job);
    void decideActivity(const JobPointer& job);
    void nameActivity(const JobPointer& job);
    void placeActivity(const JobPointer& job);
    void commitActivity(const JobPointer& job);
    void finishActivityCommit(const JobPointer& job, const Library::Committed& committed);
    void withdrawActivity(const JobPointer& job, const std::string& reason);
    void finishActivity(const JobPointer& job);
    std::optional<Uuid> activityWithContent(const Job& job) const;
    CrumbItem activityItem(const Job& job) const;

    /// Whether the ledger knows this package; if so, the job is finished.
    bool isSettledByLedger(const JobPointer& job);
    void recordInLedger(const Job& job);
    static void readFiles(const Platform& platform, Job& job, std::vector<Path> relativePaths);
    void takeAll(Job& job) const;
    void fail(const JobPointer& job, const std::string& reason, bool mayRetry);
    /// Leaves a package that is not whole yet where it is, which is no failure.
    void leaveWaiting(const JobPointer& job);
    /// What is tried again and again is told once.
    void logOnce(const std::string& line);
    void announce(const Job& job, const std::string& title);
    template <typename Work, typename Reply>
    void inBackground(const JobPointer& job, Work work, Reply reply);

    Platform platform_;
    LibraryLayout layout_;
    Sidecar& sidecar_;
    Library& library_;
    CaptureService& capture_;
    std::set<std::string> logged_;
    CallbackGuard guard_;
};

}  // namespace nookery
