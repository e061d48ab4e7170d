#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "foundation/SqliteConnection.h"
#include "foundation/Timestamp.h"

namespace nookery {

/// How far a change of the person's is, or the taking back of one.
enum class StepState {
    begun = 0,    ///< it may have been made or not
    done = 1,     ///< it is made, and can be undone
    undoing = 2,  ///< it is being taken back
    undone = 3,   ///< it is taken back, and can be made again
    redoing = 4,  ///< it is being made again
};

/// What a list of steps shows of each.
struct StepSummary {
    std::int64_t number = 0;  ///< later ones have greater numbers
    StepState state = StepState::begun;
    std::string name;
    Timestamp at;
    std::int64_t changeCount = 0;
    std::int64_t byteCount = 0;  ///< of all that is kept for it

    bool operator==(const StepSummary&) const = default;
};

/// The steps of the history, in the sidecar. What a step changed is bytes to this class. Each
/// method is one transaction, and throws DatabaseError. Must not outlive its connection.
class StepRecords {
  public:
    using Bytes = std::vector<std::byte>;

    explicit StepRecords(SqliteConnection& connection) : connection_(connection) {}

    /// Oldest first.
    std::vector<StepSummary> summaries();
    /// Answers the new step's number. The summary's own number and size do not count.
    std::int64_t add(const StepSummary& summary, std::span<const std::byte> changes);
    /// Replaces all that is known of a step but its contents and its time. A step that is gone
    /// stays gone. The superseded ones are removed with it.
    void update(const StepSummary& summary, std::span<const std::byte> changes,
                std::span<const std::int64_t> superseded = {});
    void setState(std::int64_t number, StepState state);
    /// None when there is no such step.
    std::optional<Bytes> changes(std::int64_t number);

    // What a step took away, in numbered parts.
    void addContents(std::int64_t number, int part, std::span<const std::byte> bytes);
    std::vector<Bytes> contents(std::int64_t number);
    void removeContents(std::int64_t number);
    /// Steps that are gone, with contents that are not yet.
    std::vector<std::int64_t> leftContents();
    /// Removes the first of the parts up to `last`; false when there is none.
    bool removeFirstPart(std::int64_t number, int last);
    /// The greatest number of a part; 0 when there is none.
    int lastPart(std::int64_t number);

    /// Their contents stay, to be removed part by part.
    void remove(std::span<const std::int64_t> numbers);
    void removeAll();

  private:
    void removeRows(std::span<const std::int64_t> numbers);

    SqliteConnection& connection_;
};

}  // namespace nookery
