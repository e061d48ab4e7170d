#include "archive/RestorePlaces.h"

#include <cerrno>

namespace nookery {
namespace {

constexpr RestoreNames names{.pending = restore::pendingName,
                             .preparingPrefix = restore::preparingPrefix,
                             .finishedPrefix = restore::finishedPrefix,
                             .journal = restore::journalName};

}  // namespace

RestoreFolders archiveRestoreFolders(FileSystem& files, const LibraryLayout& layout) {
    const auto library = files.resolve(layout.library());
    const auto status = library ? files.status(*library) : std::nullopt;
    if (!status) throw FileError("find", layout.library(), ENOENT);
    const Path parent = library->parent_path();
    const auto above = files.status(parent);
    const bool isTop = !above || above->device != status->device;
    return {.names = names,
            .library = *library,
            .root = isTop ? *library : parent,
            .libraryPrefix = isTop ? "" : library->filename().native() + "/",
            .safety = restore::safetyName};
}

}  // namespace nookery
