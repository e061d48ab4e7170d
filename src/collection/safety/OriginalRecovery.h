#pragma once

#include <optional>
#include <vector>

#include "collection/database/Sidecar.h"
#include "foundation/FileSystem.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// A managed original that went with its memories. One that is a folder has a fact for each file
/// in it; one of which nothing is known has none.
struct RemovedOriginal {
    Path relativePath;                 ///< below the library folder
    std::optional<Path> trashPlace{};  ///< where it was put; none when that was never noted
    std::vector<OriginalFact> facts{};
};

/// Finds removed originals: in their own place, where they may still be, in the trash, or in a
/// recovery snapshot, there also under another name. What is found holds what was taken in, as far
/// as its size and time say, or its digest where they differ; a snapshot's copy is always held
/// against its digest. The files queue.
class OriginalRecovery {
  public:
    OriginalRecovery(const Platform& platform, const LibraryLayout& layout);

    /// Whether it can be had. Throws FileError when that cannot be found out.
    bool canBringBack(const RemovedOriginal& original) const;
    /// Puts it back into `Items`, under another name where its own is taken, and says where, below
    /// the library. `settle` makes it durable. Throws FileError, and Error when it is nowhere; then
    /// nothing is in its place.
    Path bringBack(const RemovedOriginal& original) const;
    /// Makes all that was brought back survive a power cut.
    void settle() const;

  private:
    enum class Trust { marks, digestOnly };

    bool holds(const Path& place, const RemovedOriginal& original, Trust trust) const;
    bool isAsKnown(const Path& file, const OriginalFact& fact, Trust trust) const;
    std::optional<Path> inTrash(const RemovedOriginal& original) const;
    std::optional<Path> inSnapshots(const RemovedOriginal& original) const;
    std::vector<Path> placesIn(const Path& snapshot, const RemovedOriginal& original) const;
    Path freePlace(const RemovedOriginal& original) const;
    void copyFrom(const Path& source, const Path& place) const;

    Platform platform_;
    LibraryLayout layout_;
};

}  // namespace nookery
