#pragma once

#include <memory>
#include <span>
#include <vector>

#include "foundation/FileSystem.h"

namespace nookery {

/// Makes the contents of these new files survive a power cut, in the order in which they were
/// opened: one by one while they are few, else by one sync of their file system.
void syncTogether(std::span<WritableFile* const> files);

/// Writes several files of one folder as `writeDurably` writes one, at about the cost of one. Each
/// file takes its place whole or not at all. After a failure some may be in place and others not.
class DurableBatch {
  public:
    explicit DurableBatch(FileSystem& files) : files_(files) {}
    /// Gives up what was not committed.
    ~DurableBatch();
    DurableBatch(const DurableBatch&) = delete;
    DurableBatch& operator=(const DurableBatch&) = delete;

    /// A new file, to be written now, that takes the place of `path` at the commit.
    WritableFile& add(const Path& path);
    /// Gives up the file that was added last.
    void dropLast();
    std::size_t size() const { return entries_.size(); }
    /// Puts all in place; the batch is then empty. On failure the rest stays in the batch, and is
    /// given up with it.
    void commit();

  private:
    struct Entry {
        Path path;
        Path temporary;
        std::unique_ptr<WritableFile> file;
    };
    void giveUp(const Entry& entry) noexcept;

    FileSystem& files_;
    std::vector<Entry> entries_;
};

}  // namespace nookery
