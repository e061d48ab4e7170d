#pragma once

#include <optional>
#include <string>

#include "collection/inbox/PackageIntake.h"
#include "platform/work/Task.h"

namespace nookery {

/// One package on its way. Touched by the main thread, and by the capture queue while it works.
struct PackageIntake::Job {
    InboxPackage package;
    std::stop_token stop;
    Finished finished;
    PackageOutcome outcome{};

    std::optional<MobileNoteManifest> note{};
    std::optional<MobileActivityManifest> activity{};
    std::vector<PackageFile> files{};         ///< of the package, the manifest first
    std::vector<std::string> fingerprints{};  ///< of these
    std::optional<PackageCopy> copy{};
    Path name{};      ///< of the copy in `Items`, once it has one
    Uuid memoryID{};  ///< the memory that it became
    /// What the background met; `isForeign`: the package's own fault, so that only a change helps.
    struct Problem {
        std::string reason;
        bool isForeign = false;
        bool isNameTaken = false;
    };
    std::optional<Problem> problem{};

    /// Takes over what a piece of background work came to.
    void setProblemOf(const Outcome<Nothing>& result);

    std::string source() const { return displayName(package.path); }
    std::string ledgerKey() const {
        return note ? "package.note." + note->noteID
                    : "package.activity." + files.front().digest.toHex();
    }
};

/// Runs the work on the capture queue; what it meets becomes the job's problem. The reply runs on
/// the main thread, unless the intake is gone by then.
template <typename Work, typename Reply>
void PackageIntake::inBackground(const JobPointer& job, Work work, Reply reply) {
    Task::run(platform_.captureQueue, platform_.mainQueue, guard_, std::move(work),
              [job, reply = std::move(reply)](const Outcome<Nothing>& outcome) mutable {
                  job->setProblemOf(outcome);
                  reply();
              });
}

}  // namespace nookery
