#include "mobilelink/PhoneLink.h"

#include <fmt/format.h>

#include <utility>

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
      edits_(std::make_shared<EditFolder>(platform)),
      publishing_(platform.log, {.kind = ProblemKind::phonePublish}),
      receiving_(platform.log, {.kind = ProblemKind::phoneEdits}) {}

PhoneLink::~PhoneLink() { stop(); }

void PhoneLink::start() {
    changes_ = store_.items().subscribe([this](const CrumbItemList&) { libraryChanged(); });
    libraryChanged();
    receiveInLoop();
}

OperationPointer<LinkOutcome> PhoneLink::publish() {
    automaticRun_.cancel();
    return add(LinkPurpose::publish);
}

OperationPointer<LinkOutcome> PhoneLink::receive() { return add(LinkPurpose::receive); }

void PhoneLink::stop() {
    isStopping_ = true;
    changes_.reset();
    automaticRun_.cancel();
    if (run_) run_->operation()->stop();
    for (const Job& job : std::exchange(jobs_, {})) {
        job.operation->finish(Outcome<LinkOutcome>::stopped());
    }
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
    add(LinkPurpose::publish)
        ->whenFinished(guard_.guarded([this](const Outcome<LinkOutcome>& outcome) {
            if (outcome.isDone()) {
                platform_.log.line(
                    fmt::format("NOOKERY: automatically published {} memories to iCloud",
                                outcome.get().publish.publishedCount));
                publishing_.wentWell();
            } else if (const auto failure = failureWorthTelling(outcome.failure())) {
                platform_.log.line("NOOKERY: automatic iPhone memory sync deferred: " + *failure);
                publishing_.happened(*failure, outcome.failure()->advice);
            } else if (!outcome.isStopped()) {
                publishing_.wentWell();
            }
        }));
}

void PhoneLink::receiveInLoop() {
    receive()->whenFinished(guard_.guarded(
        [this](const Outcome<LinkOutcome>& outcome) { scheduleReceiving(outcome); }));
}

void PhoneLink::scheduleReceiving(const Outcome<LinkOutcome>& last) {
    if (isStopping_) return;
    const std::string failure = failureWorthTelling(last.failure()).value_or("");
    // A drive that is away for hours is told of once.
    if (!failure.empty() && failure != lastReceiveFailure_) {
        platform_.log.line("NOOKERY: mobile edit receiver will retry: " + failure);
        receiving_.happened(failure, last.failure()->advice);
    }
    // Without a paired phone there is nothing to go wrong.
    if (failure.empty() && !last.isStopped()) receiving_.wentWell();
    lastReceiveFailure_ = failure;
    platform_.mainQueue.after(failure.empty() ? pauseBetweenLooks : pauseAfterFailure,
                              guard_.guarded([this] { receiveInLoop(); }));
}

OperationPointer<LinkOutcome> PhoneLink::add(LinkPurpose purpose) {
    if (isStopping_) {
        return Operation<LinkOutcome>::ended(platform_.mainQueue, Outcome<LinkOutcome>::stopped());
    }
    auto operation = Operation<LinkOutcome>::create(platform_.mainQueue);
    jobs_.push_back({purpose, operation});
    if (!run_) runNext();
    return operation;
}

void PhoneLink::runNext() {
    if (jobs_.empty()) return;
    const Job job = std::move(jobs_.front());
    jobs_.pop_front();
    auto revision = std::make_shared<std::optional<int>>();
    run_ = std::make_unique<LinkRun>(
        platform_, layout_, store_, edits_, job.purpose, job.operation,
        LinkRun::Callbacks{
            .aboutToPublish = [this, revision] { *revision = revision_; },
            .ended = [this, revision](
                         const Outcome<LinkOutcome>& outcome) { endRun(outcome, *revision); }});
    if (!*isBusy_) isBusy_.set(true);
    run_->start();
}

/// `revision` is the one that the run published, if it came to that.
void PhoneLink::endRun(const Outcome<LinkOutcome>& outcome, std::optional<int> revision) {
    const auto run = std::move(run_);  // idle, for whoever is told now
    if (outcome.isDone() && revision) publishedRevision_ = *revision;
    lastRun_.set(run->done());
    run->operation()->finish(outcome);
    if (!run_) runNext();
    if (!run_) isBusy_.set(false);
}

}  // namespace nookery
