#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "foundation/Published.h"
#include "mobilelink/LinkRun.h"
#include "platform/RecurringProblem.h"
#include "platform/work/Operation.h"

namespace nookery {

/// The link with the paired phone while the library is open: runs never overlap, whoever wanted
/// them. Lives on the main thread, and no longer than the store, which was opened for writing.
class PhoneLink {
  public:
    PhoneLink(const Platform& platform, LibraryLayout layout, CrumbStore& store);
    ~PhoneLink();

    /// From now on publishes three seconds after the last change of the library (and once now, for
    /// what changed before), and looks for the phone's edits every few seconds. Silent while no
    /// phone is paired. Call once.
    void start();

    /// Takes in the phone's edits and publishes, after the runs that were wanted before. Takes the
    /// place of the automatic run that waits.
    OperationPointer<LinkOutcome> publish();
    /// Takes in the phone's edits, after the runs that were wanted before.
    OperationPointer<LinkOutcome> receive();

    /// What the last run did, also one that failed or was stopped after it. Set for every run,
    /// just before its operation ends.
    const Published<LinkOutcome>& lastRun() const { return lastRun_; }

    /// Begins nothing more: runs that wait end as stopped, one that is under way ends soon and
    /// well. The link may go once it is idle; earlier, edits that were just saved may stay without
    /// a receipt.
    void stop();
    bool isIdle() const { return !*isBusy_; }
    const Published<bool>& isBusy() const { return isBusy_; }

  private:
    struct Job {
        LinkPurpose purpose;
        OperationPointer<LinkOutcome> operation;
    };

    void libraryChanged();
    void publishAutomatically();
    void receiveInLoop();
    void scheduleReceiving(const Outcome<LinkOutcome>& last);
    OperationPointer<LinkOutcome> add(LinkPurpose purpose);
    void runNext();
    void endRun(const Outcome<LinkOutcome>& outcome, std::optional<int> revision);

    Platform platform_;
    LibraryLayout layout_;
    CrumbStore& store_;
    std::shared_ptr<EditFolder> edits_;
    Published<LinkOutcome> lastRun_;
    Subscription changes_;
    int revision_ = 0;            ///< counts the library's changes
    int publishedRevision_ = -1;  ///< what the last run that succeeded has published
    DelayedWork automaticRun_;
    std::string lastReceiveFailure_;
    RecurringProblem publishing_;
    RecurringProblem receiving_;
    bool isStopping_ = false;
    std::deque<Job> jobs_;
    std::unique_ptr<LinkRun> run_;
    Published<bool> isBusy_{false};
    CallbackGuard guard_;
};

}  // namespace nookery
