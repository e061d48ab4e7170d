#pragma once

#include <functional>
#include <memory>

#include "collection/store/CrumbStore.h"
#include "mobilelink/EditFolder.h"
#include "mobilelink/NookeryMemoryPublisher.h"
#include "platform/work/Operation.h"

namespace nookery {

struct EditReport {
    bool isPaired = false;
    std::size_t appliedCount = 0;
    std::size_t conflictCount = 0;
    std::size_t missingCount = 0;
    std::size_t skippedCount = 0;  ///< files that are no request of the paired phone, or not yet

    void count(EditAnswer answer);
    std::string summary() const;  ///< one line for the person
    std::size_t answeredCount() const { return appliedCount + conflictCount + missingCount; }
};

/// What a run did.
struct LinkOutcome {
    EditReport edits{};
    PublishReport publish{};
};

enum class LinkPurpose { receive, publish };

/// One run of the link, the work of an operation. It takes in the phone's edits; then, if wanted,
/// it publishes the library, so that the index holds them. What is slow runs on the link's queue,
/// what touches the store on the main one, in turns. Without a paired phone there is nothing to
/// receive, and publishing fails with PublishError. A run that is asked to stop ends soon and well.
///
/// Lives on the main thread. Destroying it stops it soon, and ends its operation as stopped: edits
/// that were just saved may stay without a receipt.
class LinkRun {
  public:
    struct Callbacks {
        /// The library is published as it is now. May be empty.
        std::function<void()> aboutToPublish{};
        /// Called once, from the main queue. The operation has not ended yet.
        std::function<void(const Outcome<LinkOutcome>&)> ended{};
    };

    /// `folder` is used on the link's queue only.
    LinkRun(const Platform& platform, LibraryLayout layout, CrumbStore& store,
            std::shared_ptr<EditFolder> folder, LinkPurpose purpose,
            OperationPointer<LinkOutcome> operation, Callbacks callbacks);
    ~LinkRun();
    LinkRun(const LinkRun&) = delete;
    LinkRun& operator=(const LinkRun&) = delete;

    /// Returns at once.
    void start();
    const OperationPointer<LinkOutcome>& operation() const { return operation_; }
    /// What was done so far. Whatever becomes of the run, this stays done.
    const LinkOutcome& done() const { return done_; }

  private:
    struct Found {
        SharedKey key{};
        PendingEdits pending{};
    };

    template <typename Work, typename Then>
    void onLinkQueue(Work work, Then then);
    void take(Found found);
    void answerNext();
    void publish();
    void end(const Outcome<LinkOutcome>& outcome);

    Platform platform_;
    LibraryLayout layout_;
    CrumbStore& store_;
    std::shared_ptr<EditFolder> folder_;
    LinkPurpose purpose_;
    OperationPointer<LinkOutcome> operation_;
    Callbacks callbacks_;
    Found found_;
    std::size_t answeredCount_ = 0;  ///< of the pending edits
    LinkOutcome done_;
    CallbackGuard guard_;
};

}  // namespace nookery
