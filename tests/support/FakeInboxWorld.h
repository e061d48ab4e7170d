#pragma once

#include <list>
#include <string>
#include <vector>

#include "platform/CloudContainer.h"
#include "platform/DirectoryEvents.h"
#include "platform/work/WorkQueue.h"

namespace nookery::testing {

/// Reports what a test says has happened.
class FakeDirectoryEvents final : public DirectoryEvents {
  public:
    explicit FakeDirectoryEvents(FileSystem& files) : files_(files) {}

    /// Fails, as the kernel does, for a folder that is not there or cannot be read.
    std::unique_ptr<DirectoryWatch> watch(const Path& folder, WorkQueue& queue,
                                          Handler handler) override;
    /// Tells all who watch the folder.
    void report(const Path& folder, const DirectoryReport& report);
    bool isWatched(const Path& folder) const;

  private:
    class Watch;
    struct Entry {
        Path folder;
        WorkQueue* queue;
        std::shared_ptr<const Handler> handler;
    };

    FileSystem& files_;
    std::shared_ptr<std::list<Entry>> entries_ = std::make_shared<std::list<Entry>>();
};

/// A container whose placeholders are named "NAME.nextcloud".
class FakeCloud final : public CloudContainer {
  public:
    FakeCloud(FileSystem& files, Path container)
        : files_(files), container_(std::move(container)) {}

    bool available = false;
    std::vector<Path> requested;  ///< downloads asked for
    /// Runs when somebody asks for a file, and so in the middle of a look at what was uploaded.
    std::function<void()> whenAsked;

    const Path& container() const { return container_; }
    Path inbox() const { return container_ / "Documents" / "Inbox"; }

    CloudLookup locate() const override;
    CloudPresence presence(const Path& file) const override;
    std::optional<Path> nameBehindPlaceholder(const Path& name) const override;
    void requestDownload(const Path& file) override { requested.push_back(file); }

  private:
    FileSystem& files_;
    Path container_;
};

}  // namespace nookery::testing
