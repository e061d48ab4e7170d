#include "support/FakeInboxWorld.h"

#include <algorithm>
#include <cerrno>

namespace nookery::testing {
namespace {

constexpr std::string_view placeholderSuffix = ".nextcloud";

}  // namespace

class FakeDirectoryEvents::Watch final : public DirectoryWatch {
  public:
    Watch(std::shared_ptr<std::list<Entry>> entries, std::list<Entry>::iterator entry)
        : entries_(std::move(entries)), entry_(entry) {}
    ~Watch() override { entries_->erase(entry_); }

  private:
    std::shared_ptr<std::list<Entry>> entries_;
    std::list<Entry>::iterator entry_;
};

std::unique_ptr<DirectoryWatch> FakeDirectoryEvents::watch(const Path& folder, WorkQueue& queue,
                                                           Handler handler) {
    files_.list(folder);
    entries_->push_back({folder, &queue, std::make_shared<const Handler>(std::move(handler))});
    return std::make_unique<Watch>(entries_, std::prev(entries_->end()));
}

void FakeDirectoryEvents::report(const Path& folder, const DirectoryReport& report) {
    for (const Entry& entry : *entries_) {
        if (entry.folder != folder) continue;
        entry.queue->async([handler = entry.handler, report] { (*handler)(report); });
    }
}

bool FakeDirectoryEvents::isWatched(const Path& folder) const {
    return std::any_of(entries_->begin(), entries_->end(),
                       [&](const Entry& entry) { return entry.folder == folder; });
}

CloudLookup FakeCloud::locate() const {
    if (available && files_.status(container_)) return {.container = container_};
    return {.reason = "The cloud folder is not there."};
}

CloudPresence FakeCloud::presence(const Path& file) const {
    if (whenAsked) whenAsked();
    if (files_.status(file)) return CloudPresence::local;
    return files_.status(file.native() + std::string(placeholderSuffix))
               ? CloudPresence::placeholder
               : CloudPresence::absent;
}

std::optional<Path> FakeCloud::nameBehindPlaceholder(const Path& name) const {
    const std::string text = name;
    if (!text.ends_with(placeholderSuffix)) return std::nullopt;
    return text.substr(0, text.size() - placeholderSuffix.size());
}

}  // namespace nookery::testing
