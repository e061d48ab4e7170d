#include "mobilelink/PhoneLink.h"

#include <fmt/format.h>

#include "mobilelink/LinkErrors.h"
#include "platform/Log.h"

namespace nookery {
namespace {

using Seconds = WorkQueue::Delay;

/// A burst of changes makes one run.
constexpr Seconds quietBeforePublishing{3};
constexpr Seconds pauseAfterFailure{12};
constexpr Seconds pauseBetweenLooks{5};

}  // namespace

PhoneLink::PhoneLink(const Platform& platform, LibraryLayout layout, CrumbStore& store)
    : platform_(platform),
      layout_(std::move(layout)),
      store_(store),
      edits_(std::make_shared<EditFolder>(platform)) {}

void PhoneLink::start(Finished observer) {
    observer_ = std::move(observer);
    changes_ = store_.items().subscribe([this](const CrumbItemList&) { libraryChanged(); });
    libraryChanged();
    receiveInLoop();
}

void PhoneLink::publish(Finished finished) {
    automaticRun_.cancel();
    add({LinkPurpose::publish, std::move(finished)});
}

void PhoneLink::receive(Finished finished) { add({LinkPurpose::receive, std::move(finished)}); }

void PhoneLink::stop() {
    isStopping_ = true;
    jobs_.clear();
    changes_.reset();
    automaticRun_.cancel();
    if (run_) run_->requestStop();
}

void PhoneLink::libraryChanged() {
    ++revision_;
    automaticRun_.cancel();
    automaticRun_ = platform_.mainQueue.after(quietBeforePublishing,
                                              guard_.guarded([this] { publishAutomatically(); }));
}

void PhoneLink::publishAutomatically() {
    // A run may have taken in the phone's edits, which changed the library, and published them.
    if (publishedRevision_ == revision_) return;
    add({LinkPurpose::publish, [this](const LinkOutcome& outcome) {
             if (!outcome.failure) {
                 platform_.log.line(
                     fmt::format("NOOKERY: automatically published {} memories to iCloud",
                                 outcome.publish.publishedCount));
             } else if (const auto failure = failureWorthTelling(outcome.failure)) {
                 platform_.log.line("NOOKERY: automatic iPhone memory sync deferred: " + *failure);
             }
         }});
}

void PhoneLink::receiveInLoop() {
    receive([this](const LinkOutcome& outcome) { scheduleReceiving(outcome); });
}

void PhoneLink::scheduleReceiving(const LinkOutcome& last) {
    const std::string failure = failureWorthTelling(last.failure).value_or("");
    // A drive that is away for hours is told of once.
    if (!failure.empty() && failure != lastReceiveFailure_) {
        platform_.log.line("NOOKERY: mobile edit receiver will retry: " + failure);
    }
    lastReceiveFailure_ = failure;
    platform_.mainQueue.after(failure.empty() ? pauseBetweenLooks : pauseAfterFailure,
                              guard_.guarded([this] { receiveInLoop(); }));
}

void PhoneLink::add(Job job) {
    if (isStopping_) return;
    jobs_.push_back(std::move(job));
    if (!run_) runNext();
}

void PhoneLink::runNext() {
    if (jobs_.empty()) return;
    const Job job = std::move(jobs_.front());
    jobs_.pop_front();
    auto revision = std::make_shared<std::optional<int>>();
    run_ = std::make_unique<LinkRun>(
        platform_, layout_, store_, edits_, job.purpose,
        LinkRun::Callbacks{
            .aboutToPublish = [this, revision] { *revision = revision_; },
            .finished =
                [this, revision, finished = job.finished](const LinkOutcome& outcome) {
                    run_.reset();
                    if (!outcome.failure && *revision) publishedRevision_ = **revision;
                    tellObserver(outcome);
                    finished(outcome);
                    if (!run_) runNext();
                }});
    run_->start();
}

void PhoneLink::tellObserver(const LinkOutcome& outcome) const {
    const bool didSomething =
        outcome.edits.answeredCount() > 0 || outcome.publish.publishedCount > 0;
    if (observer_ && didSomething) observer_(outcome);
}

}  // namespace nookery
