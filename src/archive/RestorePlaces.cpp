#include "archive/RestorePlaces.h"

#include <cerrno>

namespace nookery {

RestorePlaces RestorePlaces::find(FileSystem& files, const LibraryLayout& layout) {
    const auto library = files.resolve(layout.library());
    const auto status = library ? files.status(*library) : std::nullopt;
    if (!status) throw FileError("find", layout.library(), ENOENT);
    const Path parent = library->parent_path();
    const auto above = files.status(parent);
    if (!above || above->device != status->device) {
        return {.root = *library, .libraryPrefix = "", .library = *library};
    }
    return {
        .root = parent, .libraryPrefix = library->filename().native() + "/", .library = *library};
}

std::vector<Path> restoreLeftovers(FileSystem& files, const LibraryLayout& layout) {
    std::vector<Path> leftovers;
    if (!files.statusFollowingLinks(layout.library())) return leftovers;
    for (const DirectoryEntry& entry : files.list(layout.library())) {
        const std::string& name = entry.name.native();
        if (name.starts_with(restore::preparingPrefix) ||
            name.starts_with(restore::finishedPrefix)) {
            leftovers.push_back(layout.library() / entry.name);
        }
    }
    return leftovers;
}

void sweepRestoreLeftovers(FileSystem& files, const LibraryLayout& layout) {
    for (const Path& leftover : restoreLeftovers(files, layout)) {
        try {
            removeTree(files, leftover);
        } catch (const Error&) {
            // Hidden, and nobody's; it costs room and nothing else.
        }
    }
}

}  // namespace nookery
