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

/// The vectors as they were when the view was made. A view shares the matrix's memory but never
/// sees a later change. Any thread.
class VectorView {
  public:
    std::size_t rowCount() const { return rowCount_; }

    /// The memories most similar to the query: at most `limit`, with a cosine of at least
    /// `leastCosine`, highest cosine first; ties: newer first, then by id. Empty when the query has
    /// another length than the vectors or a norm of 0. Throws Cancelled when stop is requested.
    std::vector<VectorMatch> mostSimilar(std::span<const float> query, double leastCosine,
                                         std::size_t limit, std::stop_token stop) const;

    /// One row's vector, as given. Valid while the view lives.
    std::span<const float> row(std::size_t row) const;

    /// The exact cosine of one row's vector and the query; none when it is not defined.
    std::optional<double> cosineOfRow(std::size_t row, std::span<const float> query) const;

  private:
    friend class VectorMatrix;
    std::vector<std::shared_ptr<const VectorBlock>> blocks_;
    std::size_t rowCount_ = 0;
    std::size_t dimension_ = 0;
};

/// The vectors of all memories: as 8-bit integers for scanning, and as given (in float32) for exact
/// cosines. Each row also has its memory's record, so that a search on another thread can name what
/// it found. Rows lie in blocks, without gaps; a block that a view shares is copied before it
/// changes. Main thread. A vector of 512 numbers takes 2.5 KB.
class VectorMatrix {
  public:
    /// Stores or replaces a memory's vector. The first vector of an empty matrix sets the length.
    /// A vector of another length, with a value that is not finite, or of all zeros removes what
    /// the memory had before and is not kept itself.
    void set(const CrumbItemPointer& item, std::span<const double> vector);
    /// Replaces the record of a memory that has a vector.
    void setRecord(const CrumbItemPointer& item);
    void remove(const Uuid& id);
    void clear();

    std::size_t size() const { return rowCount_; }
    /// The row of a memory's vector in a view made now; none when it has no vector.
    std::optional<std::size_t> rowOf(const Uuid& id) const;

    /// Takes a few microseconds for 100,000 vectors.
    VectorView view() const;

  private:
    /// The memory's row, a new one at the end when it has none.
    std::size_t rowFor(const Uuid& id);
    VectorBlock& writableBlockOf(std::size_t row);
    void moveLastRowTo(std::size_t row);

    std::vector<std::shared_ptr<VectorBlock>> blocks_;
    /// By block: whether a view holds it. Such a block is replaced, never written.
    mutable std::vector<bool> isShared_;
    std::unordered_map<Uuid, std::uint32_t> rows_;
    std::size_t rowCount_ = 0;
    std::size_t dimension_ = 0;
};

}  // namespace nookery
