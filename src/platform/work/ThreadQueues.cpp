#include "platform/work/ThreadQueues.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <future>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/SqliteConnection.h"
#include "platform/work/Caller.h"

namespace nookery {
namespace {

using SteadyClock = std::chrono::steady_clock;

/// Work ordered by the time from which it may run; equal times keep their order.
class WorkList {
  public:
    void add(SteadyClock::time_point due, WorkQueue::Work work) {
        {
            const std::lock_guard lock(mutex_);
            work_.emplace(due, std::move(work));
        }
        changed_.notify_one();
    }

    void stop() {
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        changed_.notify_all();
    }

    /// Waits for the next due piece; an empty one means that the list was stopped.
    WorkQueue::Work take() {
        std::unique_lock lock(mutex_);
        while (!stopped_) {
            if (work_.empty()) {
                changed_.wait(lock);
            } else if (work_.begin()->first > SteadyClock::now()) {
                changed_.wait_until(lock, work_.begin()->first);
            } else {
                auto taken = std::move(work_.extract(work_.begin()).mapped());
                return taken;
            }
        }
        return {};
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<SteadyClock::time_point, WorkQueue::Work> work_;
    bool stopped_ = false;
};

template <typename Interface>
class ListQueue : public Interface {
  public:
    explicit ListQueue(Log& log) : log_(log) {}

    void async(WorkQueue::Work work) override {
        list_.add(SteadyClock::now(), forCurrentCaller(std::move(work)));
    }

    DelayedWork after(WorkQueue::Delay delay, WorkQueue::Work work) override {
        auto cancelled = std::make_shared<std::atomic<bool>>(false);
        DelayedWork handle(cancelled);
        const auto due =
            SteadyClock::now() + std::chrono::duration_cast<SteadyClock::duration>(delay);
        list_.add(due, [cancelled, work = std::move(work)] {
            if (!*cancelled) work();
        });
        return handle;
    }

    void sync(const WorkQueue::Work& work) override {
        std::promise<void> done;
        async([&] {
            try {
                work();
                done.set_value();
            } catch (...) {
                done.set_exception(std::current_exception());
            }
        });
        done.get_future().get();
    }

  protected:
    Log& log_;
    WorkList list_;
};

/// Lowers the calling thread's priority. Where the system refuses, the priority stays.
void lowerOwnPriority() {
    constexpr int lowest = 19;
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), lowest);
}

enum class Priority { normal, background };

class ThreadQueue final : public ListQueue<WorkQueue> {
  public:
    ThreadQueue(const std::string& name, int threadCount, Priority priority, Log& log)
        : ListQueue(log) {
        for (int i = 0; i < threadCount; ++i) {
            threads_.emplace_back([this, priority, shortName = name.substr(0, 15)] {
                ::pthread_setname_np(::pthread_self(), shortName.c_str());
                if (priority == Priority::background) lowerOwnPriority();
                while (const Work work = list_.take()) runLogged(work, log_);
            });
        }
    }

    ~ThreadQueue() override {
        list_.stop();
        for (std::thread& thread : threads_) thread.join();
    }

  private:
    std::vector<std::thread> threads_;
};

class MainLoopQueue final : public ListQueue<LoopQueue> {
  public:
    using ListQueue::ListQueue;

    void runUntil(const std::function<bool()>& finished) override {
        while (!finished()) runMeasured(list_.take());
    }

    std::chrono::nanoseconds takeLongestPiece() override {
        return std::exchange(longestPiece_, std::chrono::nanoseconds(0));
    }
    std::chrono::nanoseconds takeLongestTransactions() override {
        return std::exchange(longestTransactions_, std::chrono::nanoseconds(0));
    }

  private:
    void runMeasured(const WorkQueue::Work& work) {
        const auto begun = SteadyClock::now();
        const auto before = timeInTransactions();
        runLogged(work, log_);
        const auto transactions = timeInTransactions() - before;
        longestPiece_ = std::max<std::chrono::nanoseconds>(
            longestPiece_, SteadyClock::now() - begun - transactions);
        longestTransactions_ = std::max(longestTransactions_, transactions);
    }

    std::chrono::nanoseconds longestPiece_{0};
    std::chrono::nanoseconds longestTransactions_{0};
};

}  // namespace

void runLogged(const WorkQueue::Work& work, Log& log) {
    try {
        work();
    } catch (const std::exception& error) {
        log.line(std::string("NOOKERY background work failed: ") + error.what());
    } catch (...) {
        log.line("NOOKERY background work failed.");
    }
}

std::unique_ptr<WorkQueue> makeThreadQueue(const std::string& name, Log& log) {
    return std::make_unique<ThreadQueue>(name, 1, Priority::normal, log);
}

std::unique_ptr<WorkQueue> makeBackgroundPool(const std::string& name, int threadCount, Log& log) {
    return std::make_unique<ThreadQueue>(name, threadCount, Priority::background, log);
}

std::unique_ptr<LoopQueue> makeLoopQueue(Log& log) { return std::make_unique<MainLoopQueue>(log); }

}  // namespace nookery
