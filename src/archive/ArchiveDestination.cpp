#include "archive/ArchiveDestination.h"

#include <array>
#include <cerrno>

#include "archive/ArchiveError.h"

namespace nookery {
namespace {

Path withoutTrailingSlash(const Path& path) {
    return path.has_filename() ? path : path.parent_path();
}

Path absolutePath(FileSystem& files, const Path& path) {
    if (path.is_absolute()) return withoutTrailingSlash(path);
    const auto here = files.resolve(".");
    if (!here) throw FileError("find", ".", ENOENT);
    return withoutTrailingSlash(*here / path);
}

/// The path itself or the nearest folder above it that exists, with links resolved.
Path nearestExisting(FileSystem& files, Path path) {
    while (true) {
        if (const auto resolved = files.resolve(path)) return *resolved;
        path = path.parent_path();
    }
}

bool isSameFile(const FileStatus& left, const FileStatus& right) {
    return left.device == right.device && left.inode == right.inode;
}

/// Compares the folders themselves and not their names, so that another name of live storage (a
/// link, a bind mount, another case) does not pass.
bool liesInside(FileSystem& files, Path resolved, const Path& folder) {
    const auto wanted = files.statusFollowingLinks(folder);
    if (!wanted) return false;
    while (true) {
        const auto status = files.status(resolved);
        if (status && isSameFile(*status, *wanted)) return true;
        if (resolved == resolved.root_path()) return false;
        resolved = resolved.parent_path();
    }
}

void refuseLiveStorage(FileSystem& files, const LibraryLayout& layout, const Path& absolute) {
    const Path nearest = nearestExisting(files, absolute);
    for (const Path& live : {layout.library(), layout.items(), layout.receiptOriginals()}) {
        if (liesInside(files, nearest, live)) throw ArchiveError::invalidLocation();
    }
}

void checkExisting(FileSystem& files, const Path& destination) {
    const auto status = files.status(destination);
    if (!status) return;
    if (status->type != FileType::directory) throw FileError("create", destination, EEXIST);
    if (!files.list(destination).empty()) throw FileError("create", destination, ENOTEMPTY);
    const auto parent = files.status(destination.parent_path());
    if (parent && parent->device != status->device) {
        throw FileError("move onto", destination, EBUSY);
    }
}

}  // namespace

Path checkedArchiveDestination(FileSystem& files, const LibraryLayout& layout,
                               const Path& destination) {
    const Path absolute = absolutePath(files, destination);
    refuseLiveStorage(files, layout, absolute);
    // Where Items is a link, "Items/.." is one place to the user and another to the system. Both
    // are checked.
    refuseLiveStorage(files, layout, absolute.lexically_normal());
    if (const auto resolved = files.resolve(absolute)) {
        checkExisting(files, *resolved);
        return *resolved;
    }
    const auto parent = files.resolve(absolute.parent_path());
    if (!parent) throw FileError("find", absolute.parent_path(), ENOENT);
    const Path target = *parent / absolute.filename();
    checkExisting(files, target);  // a dangling link exists too
    return target;
}

}  // namespace nookery
