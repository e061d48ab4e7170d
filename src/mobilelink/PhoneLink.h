#pragma once

#include <deque>
#include <functional>
#include <memory>

#include "foundation/Published.h"
#include "mobilelink/LinkRun.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

/// The link with the paired phone while the library is open: runs never overlap, whoever wanted
/// them. Lives on the main thread, and no longer than the store, which was opened for writing.
class PhoneLink {
  public:
    using Finished = std::function<void(const LinkOutcome&)>;

    PhoneLink(const Platform& platform, LibraryLayout layout, CrumbStore& store);

    /// From now on publishes three seconds after the last change of the library (and once now, for
    /// what changed before), and looks for the phone's edits every few seconds. Silent while no
    /// phone is paired. `observer` hears of every run that did something. Call once.
    void start(Finished observer);

    /// Publishes now, in place of the automatic run that waits.
    void publish(Finished finished);
    /// Takes in the phone's edits now.
    void receive(Finished finished);

    /// Begins nothing more, and lets a run that is under way end soon and well. The link may go
    /// once it is idle; earlier, edits that were just saved may stay without a receipt.
    void stop();
    bool isIdle() const { return !run_; }

  private:
    struct Job {
        LinkPurpose purpose;
        Finished finished;
    };

    void libraryChanged();
    void publishAutomatically();
    void receiveInLoop();
    void scheduleReceiving(const LinkOutcome& last);
    void add(Job job);
    void runNext();
    void tellObserver(const LinkOutcome& outcome) const;

    Platform platform_;
    LibraryLayout layout_;
    CrumbStore& store_;
    std::shared_ptr<EditFolder> edits_;
    Finished observer_;
    Subscription changes_;
    int revision_ = 0;            ///< counts the library's changes
    int publishedRevision_ = -1;  ///< what the last run that succeeded has published
    DelayedWork automaticRun_;
    std::string lastReceiveFailure_;
    bool isStopping_ = false;
    std::deque<Job> jobs_;
    std::unique_ptr<LinkRun> run_;
    CallbackGuard guard_;
};

}  // namespace nookery
