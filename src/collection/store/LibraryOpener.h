#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "collection/enrichment/EnrichmentBacklog.h"
#include "collection/safety/SnapshotRestore.h"
#include "collection/store/LibraryContents.h"
#include "platform/work/Operation.h"

namespace nookery {

/// What opening a library came to, beside its contents.
struct LibraryOpening {
    /// Why the library, or a part of it, could not be loaded; none when all is well.
    std::optional<std::string> failure{};
    /// What became of a restore that waited; none when none did.
    std::optional<RestoreNotice> restoreNotice{};
    EnrichmentBacklog backlog{};
    std::shared_ptr<struct OpenedDatabases> databases{};  ///< until they belong to the contents
};

/// The databases of a library while it is being opened: whoever works on them holds them.
struct OpenedDatabases {
    std::optional<LibraryLock> lock;
    std::optional<SQLiteDatabase> database;  ///< none when opening failed
    std::optional<Sidecar> sidecar;          ///< none when opening failed, and while reading
};

/// Opens a library in the order that a start has, away from the main thread, and puts what it
/// loaded into the contents on the main thread. In two steps, since what follows the first (the
/// launch snapshot) must not wait for the second. Once the owner of the contents is gone, a step
/// ends without touching them.
class LibraryOpener {
  public:
    /// Locks the library, finishes a restore that waits, opens the databases and upgrades them.
    /// Fails with LibraryInUse when another process owns the library, and with RestoreError when an
    /// interrupted restore can neither be finished nor undone. A database that cannot be opened is
    /// no failure of the operation: it is logged, and the library stays empty and refuses every
    /// save. With reading access nothing is created, locked or changed.
    static OperationPointer<LibraryOpening> openDatabases(const LibraryContents& contents);

    /// Migrates the legacy file, loads memories, groups, rich texts, settings and vectors, and
    /// builds the index, as far as the extent has them. A library with rows that are no memories,
    /// or with ids in another spelling, is never read on demand, but its records are loaded. What
    /// cannot be loaded is logged, named as the failure of `opening`, and left empty.
    static OperationPointer<LibraryOpening> load(LibraryContents& contents,
                                                 const CallbackGuard& owner, LibraryOpening opening,
                                                 LibraryExtent extent);
};

}  // namespace nookery
