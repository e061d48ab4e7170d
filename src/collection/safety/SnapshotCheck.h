#pragma once

#include "collection/safety/RecoveryManifest.h"
#include "foundation/FileSystem.h"
#include "platform/PropertyListFormat.h"

namespace nookery {

/// Whether a snapshot's folder is fit to be restored: its databases pass SQLite's check, it has as
/// many originals as its manifest says, and its library state can be read. Returns the manifest;
/// throws RestoreError naming what is wrong. Changes nothing.
RecoveryManifest checkSnapshot(FileSystem& files, const PropertyListFormat& propertyLists,
                               const Path& folder);

/// The library state of a snapshot or a safety copy. Throws Error when it cannot be read.
PropertyList readLibraryState(FileSystem& files, const PropertyListFormat& propertyLists,
                              const Path& folder);

}  // namespace nookery
