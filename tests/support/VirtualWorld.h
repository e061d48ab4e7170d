#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/KeyStore.h"
#include "platform/Log.h"
#include "platform/Problem.h"
#include "platform/Trash.h"
#include "platform/UserDefaults.h"
#include "platform/work/Caller.h"
#include "platform/work/WorkQueue.h"

namespace nookery::testing {

class VirtualQueue;

/// Time that passes only when a test says so, for a clock and any number of queues that share it.
class VirtualTime final : public Clock {
  public:
    Timestamp now() const override { return wallClock_; }
    /// Moves the wall clock alone, as a user or a time server may.
    void setWallClock(Timestamp date) { wallClock_ = date; }

    /// Runs all that is due on any queue, then lets time pass to each next piece, until `seconds`
    /// have gone by.
    void advance(double seconds);
    /// Asked after each piece of work: once it answers true, the process counts as killed, nothing
    /// further runs, and `advance` throws SimulatedCrash. Whatever the work itself made of it.
    std::function<bool()> hasCrashed;
    /// Runs what is due now, and what that makes due.
    void settle() { advance(0); }

  private:
    friend class VirtualQueue;
    struct Piece {
        WorkQueue::Work work;
        std::shared_ptr<std::atomic<bool>> cancelled;
    };

    Timestamp wallClock_{1'800'000'000.0};
    double elapsed_ = 0;
    std::multimap<double, Piece> pieces_;
};

/// A queue on virtual time; its work runs inside `advance`, on the test's thread.
class VirtualQueue final : public WorkQueue {
  public:
    explicit VirtualQueue(VirtualTime& time) : time_(time) {}
    void async(Work work) override { after(Delay(0), forCurrentCaller(std::move(work))); }
    DelayedWork after(Delay delay, Work work) override;
    void sync(const Work& work) override { work(); }

  private:
    VirtualTime& time_;
};

class MemoryDefaults final : public UserDefaults {
  public:
    std::optional<std::string> get(std::string_view key) const override;
    void set(std::string_view key, std::string_view value) override;
    void remove(std::string_view key) override;
    std::vector<std::string> keys() const override;
    std::vector<DefaultsEntry> entries(std::string_view key) const override;
    std::vector<DefaultsEntry> entries(std::string_view key,
                                       const std::vector<std::string>& names) const override;
    void changeEntries(const DefaultsChanges& changes) override;

    /// While true, every change throws DefaultsError.
    bool refusesChanges = false;

  private:
    void checkChangeable() const;

    mutable std::recursive_mutex mutex_;
    std::map<std::string, std::string, std::less<>> values_;
};

class MemoryKeyStore final : public KeyStore {
  public:
    /// While false, every call throws KeyStoreUnavailable.
    bool available = true;

    std::string place() const override { return "the test's memory"; }
    std::optional<std::string> read(std::string_view service, std::string_view account) override;
    void write(std::string_view service, std::string_view account,
               std::string_view secret) override;
    void remove(std::string_view service, const std::vector<std::string>& accounts) override;

  private:
    std::map<std::pair<std::string, std::string>, std::string> secrets_;
};

class RecordingLog final : public Log {
  public:
    void line(std::string_view text) override {
        const std::lock_guard lock(mutex_);
        lines.emplace_back(text);
    }
    bool contains(std::string_view part) const;
    std::vector<std::string> lines;

    void report(const Problem& problem) override;
    void mended(const ProblemSubject& subject) override;
    void surveyed(const ProblemSurvey& survey) override;
    /// What was reported last about each subject, and is not mended.
    std::vector<Problem> problems;
    /// Hears of problems, too; none for nobody.
    Log* problemLog = nullptr;

  private:
    void forget(const ProblemSubject& subject);

    std::mutex mutex_;
};

}  // namespace nookery::testing
