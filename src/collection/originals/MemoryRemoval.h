#pragma once

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/Platform.h"
#include "records/CrumbItem.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// What becomes of the originals of removed memories.
enum class OriginalDisposal { moveToTrash, removeForGood };

/// The managed originals that only `removed` memories use, however their paths are spelled: a file
/// that several memories share goes with the last of them, a folder with the last of those that
/// have it or something in it. What lies behind a link in `Items` is not one. Throws FileError. Any
/// thread.
std::vector<Path> originalsUsedOnlyBy(const CrumbItemList& all,
                                      const std::unordered_set<Uuid>& removed,
                                      const LibraryLayout& layout, FileSystem& files);

/// Where an original is that was moved to the trash.
struct TrashedOriginal {
    Path relativePath;  ///< below the library folder, where it was
    Path place;         ///< where it is now
};

/// Disposes of an original whose records are already gone from the database, and says where in the
/// trash it is; none when it went for good. What cannot be disposed of stays, and its failure is
/// logged; `verify` lists it later. Any thread.
std::optional<Path> disposeOfOriginal(const Path& original, OriginalDisposal disposal,
                                      const Platform& platform);

/// Those of the originals that are not there any more; one that cannot be looked at counts as
/// there. Any thread.
std::vector<Path> originalsThatAreGone(const std::vector<Path>& originals,
                                       const Platform& platform);

/// Deletes the secure values of removed memories from the key store; `someAreSecure` says whether
/// one of them had such a value. Where the key store is unavailable that is logged then; the
/// memories are removed all the same. Any thread.
void removeSecureValues(const std::unordered_set<Uuid>& removed, bool someAreSecure,
                        const Platform& platform);

/// Removes the thumbnails of the given memories. Any thread.
void removeThumbnails(const std::unordered_set<Uuid>& ids, const LibraryLayout& layout,
                      const Platform& platform);

/// The same on the files queue, some time soon.
void removeThumbnailsLater(std::unordered_set<Uuid> ids, const LibraryLayout& layout,
                           const Platform& platform);

}  // namespace nookery
