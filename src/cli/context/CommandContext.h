#pragma once

#include <memory>
#include <optional>
#include <string>

#include "cli/context/Dialogue.h"
#include "cli/context/Places.h"
#include "cli/context/Waiting.h"
#include "cli/line/Arguments.h"
#include "platform/Platform.h"
#include "platform/work/Coroutine.h"
#include "records/LibraryLayout.h"
#include "workspace/Workspace.h"

namespace nookery::cli {

/// What a command works with: the world, the library once it is opened, and the person who called.
/// A command is a coroutine: it awaits what takes long, and holds up nobody meanwhile. Main thread.
class CommandContext : public Dialogue, public Waiting {
  public:
    /// `problems` is the platform's log. `lent` is a library that is open already, which the
    /// command works in; null: it opens its own.
    CommandContext(const Platform& platform, ProblemLog& problems, const Places& places,
                   Console& console, const Arguments& arguments, Workspace* lent = nullptr);
    const Platform& platform() const { return platform_; }
    ProblemLog& problemLog() { return problemLog_; }
    const Places& places() const { return places_; }
    const LibraryLayout& layout() const { return layout_; }
    /// A path as the person gave it, meant from where they are.
    Path path(const std::string& given) const;

    /// Opens the library, or as much of it as the command needs. Throws LibraryInUse, or Error when
    /// it cannot be read, or when there is none and reading was asked for. Once, until
    /// `closeLibrary`.
    Coroutine<CrumbStore*> open(LibraryAccess access,
                                SessionLength length = SessionLength::oneCommand,
                                LibraryExtent extent = LibraryExtent::index);
    Coroutine<CrumbStore*> open(LibraryAccess access, LibraryExtent extent) {
        return open(access, SessionLength::oneCommand, extent);
    }
    /// The library that was opened, with all that can be done with it.
    Workspace& workspace() { return *workspace_; }
    /// Ends what goes on in the library, and lets go of it.
    Coroutine<> closeLibrary();
    /// Throws Error when there is no library yet.
    void demandLibrary() const;

    Timestamp now() const;

  private:
    void tell(const std::optional<RestoreNotice>& notice);

    const Platform& platform_;
    ProblemLog& problemLog_;
    Places places_;
    LibraryLayout layout_;
    std::unique_ptr<Workspace> ownWorkspace_;
    Workspace* workspace_;  ///< the own one, or a lent one; null until the library is open
};

}  // namespace nookery::cli
