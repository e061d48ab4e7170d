#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <stop_token>

#include "collection/store/CrumbStore.h"
#include "mobilelink/EditFolder.h"
#include "mobilelink/NookeryMemoryPublisher.h"

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

/// What a run came to. With a failure the counts say what was done before it.
struct LinkOutcome {
    EditReport edits{};
    PublishReport publish{};
    std::exception_ptr failure{};
};

enum class LinkPurpose { receive, publish };

/// One run of the link: the phone's edits are taken in, then, if wanted, the library is published,
/// so that the index holds them. What is slow runs on the link's queue, what touches the store on
/// the main one, in turns. Without a paired phone there is nothing to receive, and publishing fails
/// with PublishError. Lives on the main thread; destroying it stops it soon, and nothing is
/// reported then: edits that were just saved may stay without a receipt.
class LinkRun {
  public:
    struct Callbacks {
        /// The library is published as it is now. May be empty.
        std::function<void()> aboutToPublish{};
        std::function<void(const LinkOutcome&)> finished{};
    };

    /// `folder` is used on the link's queue only.
    LinkRun(const Platform& platform, LibraryLayout layout, CrumbStore& store,
            std::shared_ptr<EditFolder> folder, LinkPurpose purpose, Callbacks callbacks);
    ~LinkRun() { stop_.request_stop(); }

    /// Returns at once; `finished` is called from the main queue, once.
    void start();
    /// What is under way comes to a good end soon; the run then fails with Cancelled, unless it was
    /// through.
    void requestStop() { stop_.request_stop(); }

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
    void finish(std::exception_ptr failure);

    Platform platform_;
    LibraryLayout layout_;
    CrumbStore& store_;
    std::shared_ptr<EditFolder> folder_;
    LinkPurpose purpose_;
    Callbacks callbacks_;
    Found found_;
    std::size_t doneCount_ = 0;  ///< of the pending edits
    LinkOutcome outcome_;
    std::stop_source stop_;
    CallbackGuard guard_;
};

}  // namespace nookery
