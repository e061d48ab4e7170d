#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "foundation/FileSystem.h"

namespace nookery {

class WorkQueue;

/// What happened in a watched folder since the last report.
struct DirectoryReport {
    /// Entries that appeared, were written and closed, or changed their attributes; exact names.
    std::vector<Path> names{};
    bool overflowed = false;  ///< events were lost: look at everything
    bool isGone = false;      ///< the folder was removed, moved or unmounted; the last report
};

/// Watches while it lives. After its destruction nothing more is handed to the queue; a report that
/// was handed to it before may still run.
class DirectoryWatch {
  public:
    virtual ~DirectoryWatch() = default;
};

/// Reports changes in a folder, not below it. Network and user-space file systems may report
/// nothing of what others do there: a caller that must not miss anything also looks by itself.
class DirectoryEvents {
  public:
    virtual ~DirectoryEvents() = default;

    using Handler = std::function<void(const DirectoryReport&)>;
    /// The handler runs on `queue`, which outlives the watch. Throws FileError when the folder
    /// cannot be watched. Any thread.
    [[nodiscard]] virtual std::unique_ptr<DirectoryWatch> watch(const Path& folder,
                                                                WorkQueue& queue,
                                                                Handler handler) = 0;
};

}  // namespace nookery
