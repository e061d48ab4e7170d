#pragma once

#include <map>
#include <string>
#include <vector>

#include "archive/ArchiveProgress.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/CrumbItem.h"
#include "records/LibraryLayout.h"

namespace nookery {

class CrumbStore;
class UserDefaults;

/// The complete archive: a folder, readable with ordinary tools and without this program, that
/// holds every original, a JSON description of all memories and groups, copies of the databases,
/// and the small local state of the library. docs/formats/archive.md describes it.
class CrumbCompleteArchive {
  public:
    /// What the store and the defaults contribute.
    struct Source {
        CrumbItemList items;
        std::vector<CrumbGroup> groups;
        std::map<std::string, std::string> localState;  ///< by defaults key
    };

    /// Main thread.
    static Source gather(const CrumbStore& store, const UserDefaults& defaults);

    /// Writes the archive of the library that `source` was gathered from, reading the databases
    /// through connections of its own; the library may be in use. The archive is built in a hidden
    /// folder beside `destination`, made durable, read back and held against its own manifest, and
    /// then moved into place, so that `destination` is there whole or not at all. An empty folder
    /// that is there is replaced. Links are never followed or copied. The work of
    /// `beginArchiveExport`; any one thread.
    ///
    /// Throws ArchiveError, FileError or Cancelled; then nothing is left behind, and the library is
    /// untouched.
    static ArchiveSummary write(const Platform& platform, const LibraryLayout& layout,
                                const Source& source, const Path& destination,
                                const OperationControl& control);

    /// "NOOKERY-Complete-Archive-2026-03-01": what a new archive is called unless somebody knows
    /// better.
    static std::string proposedName(Timestamp today);
};

}  // namespace nookery
