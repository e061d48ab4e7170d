#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "collection/store/CrumbStore.h"
#include "foundation/Published.h"
#include "workspace/history/Step.h"

namespace nookery {

/// The steps as they are written down, and the bounds to which they are kept. Methods that write
/// throw DatabaseError, or Error while the library is not open for writing; nothing has changed
/// then. Main thread.
class StepLog {
  public:
    static constexpr std::size_t mostSteps = 100;
    static constexpr double longestAgeSeconds = 30.0 * 86400;
    static constexpr std::int64_t mostBytes = std::int64_t{64} << 20;

    StepLog(const Platform& platform, CrumbStore& store) : platform_(platform), store_(store) {}

    /// Reads what there is: the summaries alone. Does nothing the second time.
    void load();

    /// Oldest first.
    const Published<std::vector<StepSummary>>& summaries() const { return summaries_; }
    /// The newest that is made and not taken back, and the oldest that is taken back; none when
    /// there is none.
    std::optional<StepSummary> undoable() const;
    std::optional<StepSummary> redoable() const;
    /// None when there is no such step.
    std::optional<StepSummary> find(std::int64_t number) const;
    /// Throws JsonError, too.
    Step read(std::int64_t number);

    /// Writes a step down before its change is made. It is durable after `makeDurable`.
    std::int64_t begin(const Step& step);
    /// Replaces what is known of a step.
    void write(std::int64_t number, const Step& step, StepState state);
    void setState(std::int64_t number, StepState state);
    /// Keeps what a step takes away, in slices between whatever else the main thread has to do,
    /// then makes everything durable and calls `kept`.
    void keep(std::int64_t number, std::vector<StepRecords::Bytes> parts, Saved kept);
    /// What it took away is there again: its contents go, in slices. What is not removed when the
    /// program ends goes with the step, or before other contents come.
    void forgetContents(std::int64_t number);
    void makeDurable() { store_.sidecar().makeDurable(); }

    /// The change is made. What could be redone is dropped, and what lies beyond the bounds.
    void finish(std::int64_t number, const Step& step);
    /// The change was not made.
    void drop(std::int64_t number);
    void clear();

  private:
    void write(std::int64_t number, const Step& step, StepState state,
               const std::vector<std::int64_t>& superseded);
    StepRecords records() { return store_.sidecar().steps(); }
    void keepPart(std::int64_t number,
                  const std::shared_ptr<std::vector<StepRecords::Bytes>>& parts, std::size_t next,
                  const Saved& kept);
    void forgetParts(std::int64_t number, int last);
    std::vector<std::int64_t> beyondBounds() const;
    void remove(const std::vector<std::int64_t>& numbers);
    void reload();

    const Platform& platform_;
    CrumbStore& store_;
    bool isLoaded_ = false;
    /// Parts get new numbers, so that those that are on their way out are never mistaken.
    int nextPart_ = 1;
    Published<std::vector<StepSummary>> summaries_;
    CallbackGuard guard_;
};

}  // namespace nookery
