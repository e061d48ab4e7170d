#pragma once

#include <memory>

#include "foundation/FileSystem.h"
#include "platform/UserDefaults.h"

namespace nookery {

/// The user defaults in `folder`, as the SQLite file defaults.sqlite3, for its owner alone;
/// docs/formats/defaults.md describes it. Nothing there is an empty store. Reading creates nothing.
///
/// The first change of all makes the folder and the file, with what a defaults.json of an earlier
/// version holds; until then that is what is read. Afterwards it stays as defaults.json.migrated.
///
/// Throws DefaultsError or FileError naming the file that cannot be read: a damaged one is neither
/// overwritten nor taken for an empty one.
std::unique_ptr<UserDefaults> openDefaultsDatabase(FileSystem& files, const Path& folder);

}  // namespace nookery
