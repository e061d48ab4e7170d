#include "platform/work/Operation.h"

namespace nookery {

/// What the work and the main thread share. Only the main thread touches the operation itself.
struct OperationControl::Shared {
    explicit Shared(WorkQueue& queue) : mainQueue(queue) {}

    WorkQueue& mainQueue;
    std::stop_source stop;
    std::mutex mutex;
    std::optional<OperationProgress> undelivered;
    std::weak_ptr<OperationBase> operation;  ///< set before the work begins
};

OperationControl::OperationControl(WorkQueue& mainQueue)
    : shared_(std::make_shared<Shared>(mainQueue)) {}

std::stop_token OperationControl::stopToken() const { return shared_->stop.get_token(); }

void OperationControl::requestStop() const { shared_->stop.request_stop(); }

void OperationControl::throwIfStopped() const {
    if (isStopRequested()) throw Cancelled();
}

void OperationControl::report(OperationProgress progress) const {
    {
        const std::lock_guard lock(shared_->mutex);
        const bool isOnItsWay = shared_->undelivered.has_value();
        shared_->undelivered = std::move(progress);
        if (isOnItsWay) return;
    }
    shared_->mainQueue.async([shared = shared_] {
        std::optional<OperationProgress> latest;
        {
            const std::lock_guard lock(shared->mutex);
            latest.swap(shared->undelivered);
        }
        const auto operation = shared->operation.lock();
        if (operation && !operation->isFinished()) operation->progress_.set(std::move(latest));
    });
}

OperationBase::OperationBase(WorkQueue& mainQueue) : control_(mainQueue) {}

OperationBase::~OperationBase() = default;

void OperationBase::connect() { control_.shared_->operation = weak_from_this(); }

void OperationBase::stop() { control_.requestStop(); }

void OperationBase::stopWith(std::stop_token token) {
    // The state is shared, so that a stop from another thread never meets a dying operation.
    relay_.emplace(std::move(token), [shared = control_.shared_] { shared->stop.request_stop(); });
}

void OperationBase::whenEnded(std::function<void()> ended) {
    if (isFinished()) return ended();
    ended_.push_back(std::move(ended));
}

void OperationBase::announceEnd() {
    // A callback may drop the last other reference to this operation.
    const auto self = shared_from_this();
    for (const auto& ended : std::exchange(ended_, {})) ended();
}

}  // namespace nookery
