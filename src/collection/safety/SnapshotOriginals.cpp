#include "collection/safety/SnapshotOriginals.h"

#include <algorithm>
#include <cerrno>

#include "collection/originals/FileDigest.h"
#include "foundation/DurableFile.h"
#include "platform/Log.h"

namespace nookery {
namespace {

constexpr std::size_t maximumMarkByteCount = 1 << 16;

/// Where the last snapshot stopped checking; empty at the beginning.
Path readMark(FileSystem& files, const Path& mark) {
    if (!files.status(mark)) return {};
    return readWholeFile(files, mark, maximumMarkByteCount);
}

}  // namespace

SnapshotOriginals::SnapshotOriginals(const Platform& platform, Source source, Path building)
    : platform_(platform),
      files_(platform.files),
      source_(std::move(source)),
      building_(std::move(building)) {}

std::int64_t SnapshotOriginals::bringIn(std::span<const std::string_view> folders,
                                        const OperationControl& control) {
    Originals originals;
    for (const std::string_view folder : folders) survey(folder, originals);
    checkSome(originals);
    for (std::size_t i = 0; i < originals.size(); ++i) {
        control.throwIfStopped();
        control.report({"recovery snapshot: original", i, originals.size()});
        bringIn(originals[i]);
    }
    syncFolders();
    return count_;
}

void SnapshotOriginals::survey(const Path& folder, Originals& originals) const {
    const Path live = source_.library / folder;
    if (!files_.statusFollowingLinks(live)) {
        if (baseHasFilesIn(folder)) throw FileError("find", live, ENOENT);
        return;
    }
    walkTree(files_, live, [&](const Path& relative, FileType type) {
        // Links and unfinished files are nobody's originals.
        const bool unfinished = relative.filename().native().starts_with(temporaryPrefix);
        if (type != FileType::regular || unfinished) return;
        const auto status = files_.status(live / relative);
        if (!status) return;
        Original original{folder / relative, *status};
        original.shareable = unchangedSinceBase(original);
        originals.push_back(std::move(original));
    });
}

bool SnapshotOriginals::baseHasFilesIn(const Path& folder) const {
    if (!source_.base || !files_.status(*source_.base / folder)) return false;
    bool found = false;
    walkTree(files_, *source_.base / folder, [&found](const Path&, FileType) { found = true; });
    return found;
}

bool SnapshotOriginals::unchangedSinceBase(const Original& original) const {
    if (!source_.base) return false;
    const auto copy = files_.status(*source_.base / original.relative);
    return copy && copy->type == FileType::regular && copy->sameContentMarks(original.live);
}

void SnapshotOriginals::checkSome(Originals& originals) {
    const Path mark = readMark(files_, source_.rotationMark);
    // Folder by folder as surveyed; the mark may name a file that is gone by now.
    const auto marked =
        std::find_if(originals.begin(), originals.end(),
                     [&mark](const Original& original) { return original.relative == mark; });
    const auto start = marked == originals.end() ? originals.begin() : marked + 1;
    std::rotate(originals.begin(), start, originals.end());
    std::int64_t left = verifiedByteCount;
    Path checkedUpTo = mark;
    for (Original& original : originals) {
        if (left <= 0) break;
        if (!original.shareable) continue;
        left -= original.live.byteCount;
        checkedUpTo = original.relative;
        if (baseCopyIsSound(original)) continue;
        original.shareable = false;
        platform_.log.line("Crumb recovery snapshot: the copy of " +
                           displayName(original.relative) +
                           " in the last snapshot is damaged; a fresh one is made.");
    }
    if (checkedUpTo != mark) writeDurably(files_, source_.rotationMark, checkedUpTo.native());
}

bool SnapshotOriginals::baseCopyIsSound(const Original& original) const {
    try {
        return digestOfFile(files_, platform_.digester, *source_.base / original.relative) ==
               expectedDigest(original);
    } catch (const FileError&) {
        return false;  // the live file is copied instead, and its own failure is reported
    }
}

Sha256Digest SnapshotOriginals::expectedDigest(const Original& original) const {
    if (source_.facts != nullptr) {
        const auto fact = source_.facts->original(original.relative);
        if (fact && fact->byteCount == original.live.byteCount &&
            fact->modifiedNanoseconds == original.live.modifiedNanoseconds) {
            return fact->digest;
        }
    }
    return digestOfFile(files_, platform_.digester, source_.library / original.relative);
}

void SnapshotOriginals::bringIn(const Original& original) {
    makeFolder(original.relative.parent_path());
    const bool broughtIn = (original.shareable && linkFromBase(original)) || copyFromLive(original);
    if (broughtIn) ++count_;
}

bool SnapshotOriginals::linkFromBase(const Original& original) const {
    try {
        files_.hardLink(*source_.base / original.relative, building_ / original.relative);
        return true;
    } catch (const FileError& error) {
        const int reason = error.errorNumber();
        // A file system without hard links, or a file that has as many as it can.
        if (reason == EMLINK || reason == EPERM || reason == EOPNOTSUPP) return false;
        throw;
    }
}

/// False when the live file is gone by now: it was removed while the snapshot was taken.
bool SnapshotOriginals::copyFromLive(const Original& original) {
    const Path live = source_.library / original.relative;
    const Path copy = building_ / original.relative;
    try {
        canClone_ = canClone_ && files_.cloneFile(live, copy);
        if (!canClone_) copyNewFile(files_, live, copy, {});
    } catch (const FileError& error) {
        if (error.isNotFound() && !files_.status(live)) return false;
        throw;
    }
    files_.setModified(copy, original.live.modifiedNanoseconds);
    return true;
}

void SnapshotOriginals::makeFolder(const Path& relative) {
    if (relative.empty() || folders_.contains(relative)) return;
    makeFolder(relative.parent_path());
    files_.createDirectory(building_ / relative);
    folders_.insert(relative);
}

void SnapshotOriginals::syncFolders() const {
    for (const Path& folder : folders_) files_.syncDirectory(building_ / folder);
}

}  // namespace nookery
