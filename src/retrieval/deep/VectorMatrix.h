#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <unordered_map>
#include <vector>

#include "foundation/Uuid.h"
#include "records/CrumbItem.h"

namespace nookery {

struct VectorBlock;

/// A memory found by its vector.
struct VectorMatch {
    CrumbItemPointer item;
    double cosine = 0;
};

/// The vectors as they were when the view was made. Shares the matrix's memory; later changes of
/// the matrix never reach it. Any thread.
class VectorView {
  public:
    std::size_t rowCount() const { return rowCount_; }

    /// The at most `limit` vectors most like the query, of those with a cosine of at least
    /// `leastCosine`; highest cosine first. Empty when the query's length is not the vectors' or
    /// its norm is 0. Throws Cancelled when stop is requested.
    std::vector<VectorMatch> mostSimilar(std::span<const float> query, double leastCosine,
                                         std::size_t limit, std::stop_token stop) const;

    /// One row's vector, as given. Valid while the view lives.
    std::span<const float> row(std::size_t row) const;

    /// The exact cosine of one row's vector; none when there is nothing to compare.
    std::optional<double> cosineOfRow(std::size_t row, std::span<const float> query) const;

  private:
    friend class VectorMatrix;
    std::vector<std::shared_ptr<const VectorBlock>> blocks_;
    std::size_t rowCount_ = 0;
    std::size_t dimension_ = 0;
};

/// The vectors of all memories: as 8-bit integers for scanning, and as given (in float32) for exact
/// cosines, each beside its memory's record, so that a search on another thread can tell what it
/// found. Rows lie without gaps in blocks; a block that a view shares is copied before it is
/// changed. Main thread; 2.5 KB a vector of 512.
class VectorMatrix {
  public:
    /// Stores or replaces a memory's vector. The first vector of an empty matrix sets the length.
    /// A vector of another length, with a value that is not finite, or without direction (all 0)
    /// is not kept, nor is what the memory had before.
    void set(const CrumbItemPointer& item, std::span<const double> vector);
    /// The memory's record was replaced; its vector stays.
    void setRecord(const CrumbItemPointer& item);
    void remove(const Uuid& id);
    void clear();

    std::size_t size() const { return rowCount_; }
    /// Where the memory's vector stands in a view made now; none when it has no vector.
    std::optional<std::size_t> rowOf(const Uuid& id) const;

    /// A few microseconds per 100,000 vectors.
    VectorView view() const;

  private:
    /// The memory's row, a new one at the end when it has none.
    std::size_t rowFor(const Uuid& id);
    VectorBlock& writableBlockOf(std::size_t row);
    void moveLastRowTo(std::size_t row);

    std::vector<std::shared_ptr<VectorBlock>> blocks_;
    /// A block is shared from the first view that holds it on. It is then replaced, never written.
    mutable std::vector<bool> isShared_;
    std::unordered_map<Uuid, std::uint32_t> rows_;
    std::size_t rowCount_ = 0;
    std::size_t dimension_ = 0;
};

}  // namespace nookery
