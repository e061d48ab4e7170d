#include "cli/context/CommandContext.h"

#include <fmt/format.h>

#include "platform/Clock.h"

namespace nookery::cli {
CommandContext::CommandContext(const Platform& platform, ProblemLog& problems, const Places& places,
                               Console& console, const Arguments& arguments, Workspace* lent)
    : Dialogue(platform, places.cacheHome, console, arguments),
      Waiting(platform.mainQueue, static_cast<Dialogue&>(*this)),
      platform_(platform),
      problemLog_(problems),
      places_(places),
      layout_{places.dataHome, places.cacheHome},
      workspace_(lent) {}

Path CommandContext::path(const std::string& given) const {
    return given.empty() ? Path() : console().traits().workingFolder / given;
}

Coroutine<CrumbStore*> CommandContext::open(LibraryAccess access, SessionLength length,
                                            LibraryExtent extent) {
    if (access == LibraryAccess::reading) demandLibrary();
    if (workspace_ == nullptr) {
        auto own = std::make_unique<Workspace>(platform_, layout_, problemLog_);
        const auto opening = own->open(access, length, extent);
        co_await resultOf(opening);
        tell(own->store().restoreNotice());
        ownWorkspace_ = std::move(own);
        workspace_ = ownWorkspace_.get();
    }
    CrumbStore& store = workspace_->store();
    if (store.startFailure()) throw Error(*store.startFailure());
    co_return &store;
}

Coroutine<> CommandContext::closeLibrary() {
    const auto closing = workspace_->close();
    co_await resultOf(closing);
    workspace_ = nullptr;
    ownWorkspace_.reset();
}

void CommandContext::demandLibrary() const {
    FileSystem& files = platform_.files;
    if (files.statusFollowingLinks(layout_.database())) return;
    if (files.statusFollowingLinks(layout_.legacyFile())) return;
    throw Error(fmt::format("There is no library in {} yet; \"nookery add\" makes one.",
                            displayName(layout_.library())));
}

void CommandContext::tell(const std::optional<RestoreNotice>& notice) {
    if (notice) say(fmt::format("{} {}", notice->title, notice->detail));
}

Timestamp CommandContext::now() const { return platform_.clock.now(); }

}  // namespace nookery::cli
