#include "platform/work/Caller.h"

#include <utility>

namespace nookery {
namespace {

thread_local std::shared_ptr<const Caller> currentCaller;

const Region* regionOf(const Caller* caller) {
    return caller != nullptr && caller->region ? &*caller->region : nullptr;
}

}  // namespace

CallerScope::CallerScope(std::shared_ptr<const Caller> caller)
    : before_(std::exchange(currentCaller, std::move(caller))),
      region_(regionOf(currentCaller.get())) {}

CallerScope::~CallerScope() { currentCaller = std::move(before_); }

const std::shared_ptr<const Caller>& CallerScope::current() { return currentCaller; }

WorkQueue::Work forCurrentCaller(WorkQueue::Work work) {
    if (!currentCaller) return work;
    return [caller = currentCaller, work = std::move(work)] {
        const CallerScope scope(caller);
        work();
    };
}

}  // namespace nookery
