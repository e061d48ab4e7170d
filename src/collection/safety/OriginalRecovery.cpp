#include "collection/safety/OriginalRecovery.h"

#include <fmt/format.h>

#include <algorithm>

#include "collection/originals/FileDigest.h"
#include "collection/originals/OriginalNames.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/DatabaseError.h"
#include "foundation/DurableFile.h"
#include "platform/Log.h"
#include "platform/Trash.h"

namespace nookery {
namespace {

/// Where a file of the original lies when the original itself is at `place`.
Path fileAt(const Path& place, const RemovedOriginal& original, const OriginalFact& fact) {
    if (fact.relativePath == original.relativePath) return place;
    return place / fact.relativePath.lexically_relative(original.relativePath);
}

/// Where a whole original lies of which one file, that of the fact, lies at `file`; none where that
/// file lies in no such folder.
std::optional<Path> topOf(const Path& file, const RemovedOriginal& original,
                          const OriginalFact& fact) {
    if (fact.relativePath == original.relativePath) return file;
    const std::string tail =
        "/" + fact.relativePath.lexically_relative(original.relativePath).native();
    const std::string& whole = file.native();
    if (!whole.ends_with(tail)) return std::nullopt;
    return Path(whole.substr(0, whole.size() - tail.size()));
}

}  // namespace

OriginalRecovery::OriginalRecovery(const Platform& platform, const LibraryLayout& layout)
    : platform_(platform), layout_(layout) {}

bool OriginalRecovery::isAsKnown(const Path& file, const OriginalFact& fact, Trust trust) const {
    const auto status = platform_.files.status(file);
    if (!status || status->type != FileType::regular) return false;
    if (status->byteCount != fact.byteCount) return false;
    const bool hasItsTime = status->modifiedNanoseconds == fact.modifiedNanoseconds;
    if (hasItsTime && trust == Trust::marks) return true;
    return digestOfFile(platform_.files, platform_.digester, file) == fact.digest;
}

bool OriginalRecovery::holds(const Path& place, const RemovedOriginal& original,
                             Trust trust) const {
    if (original.facts.empty()) return platform_.files.status(place).has_value();
    return std::all_of(original.facts.begin(), original.facts.end(), [&](const OriginalFact& fact) {
        return isAsKnown(fileAt(place, original, fact), fact, trust);
    });
}

/// The newest snapshot that has it.
std::optional<Path> OriginalRecovery::inSnapshots(const RemovedOriginal& original) const {
    auto names = SnapshotRepository(platform_.files, layout_.snapshots()).names();
    std::reverse(names.begin(), names.end());
    for (const std::string& name : names) {
        for (const Path& place : placesIn(layout_.snapshots() / name, original)) {
            if (holds(place, original, Trust::digestOnly)) return place;
        }
    }
    return std::nullopt;
}

/// Where a snapshot may have it: in its own place, and wherever the snapshot knows its content.
std::vector<Path> OriginalRecovery::placesIn(const Path& snapshot,
                                             const RemovedOriginal& original) const {
    std::vector<Path> places{snapshot / original.relativePath};
    const Path sidecar = snapshot / snapshot::sidecarName;
    if (original.facts.empty() || !platform_.files.status(sidecar)) return places;
    const OriginalFact& first = original.facts.front();
    try {
        auto known = Sidecar::openForReading(sidecar, SqliteAccess::immutable);
        for (const OriginalFact& same : known.originalsWithDigest(first.digest)) {
            const auto top = topOf(same.relativePath, original, first);
            if (top && *top != original.relativePath) places.push_back(snapshot / *top);
        }
    } catch (const DatabaseError& error) {
        platform_.log.line("Crumb recovery snapshot error: " + error.description());
    }
    return places;
}

/// The trash knows it, too, when its place was never noted.
std::optional<Path> OriginalRecovery::inTrash(const RemovedOriginal& original) const {
    if (original.trashPlace && holds(*original.trashPlace, original, Trust::marks)) {
        return original.trashPlace;
    }
    if (original.facts.empty()) return std::nullopt;  // any file of that name would do
    for (const Path& place : platform_.trash.placesOf(layout_.library() / original.relativePath)) {
        if (holds(place, original, Trust::marks)) return place;
    }
    return std::nullopt;
}

bool OriginalRecovery::canBringBack(const RemovedOriginal& original) const {
    return holds(layout_.library() / original.relativePath, original, Trust::marks) ||
           inTrash(original) || inSnapshots(original);
}

Path OriginalRecovery::freePlace(const RemovedOriginal& original) const {
    const Path name = freeName(original.relativePath.filename(), [&](const Path& taken) {
        return platform_.files.status(layout_.items() / taken).has_value();
    });
    return layout_.items() / name;
}

Path OriginalRecovery::bringBack(const RemovedOriginal& original) const {
    const Path own = layout_.library() / original.relativePath;
    if (holds(own, original, Trust::marks)) return original.relativePath;
    const auto trashed = inTrash(original);
    const auto copy = trashed ? std::nullopt : inSnapshots(original);
    if (!trashed && !copy) {
        throw Error(fmt::format("\"{}\" is neither in the trash nor in a snapshot.",
                                displayName(original.relativePath.filename())));
    }
    createDirectories(platform_.files, layout_.items());
    const Path place = freePlace(original);
    if (trashed) {
        platform_.trash.putBack(*trashed, place);
    } else {
        copyFrom(*copy, place);
    }
    return place.lexically_relative(layout_.library());
}

/// Under a temporary name first: an interrupted copy is removed at the next start.
void OriginalRecovery::copyFrom(const Path& source, const Path& place) const {
    FileSystem& files = platform_.files;
    const Path temporary = temporaryBeside(place);
    const auto copyOne = [&](const Path& from, const Path& to) {
        const auto status = files.status(from);
        copyNewFile(files, from, to, {});
        if (status) files.setModified(to, status->modifiedNanoseconds);
    };
    const auto status = files.status(source);
    if (status && status->type == FileType::directory) {
        files.createDirectory(temporary);
        walkTree(files, source, [&](const Path& relative, FileType) {
            createDirectories(files, (temporary / relative).parent_path());
            copyOne(source / relative, temporary / relative);
        });
    } else {
        copyOne(source, temporary);
    }
    files.renameExclusive(temporary, place);
}

void OriginalRecovery::settle() const {
    if (!platform_.files.status(layout_.items())) return;
    platform_.files.syncFileSystem(layout_.items());
    platform_.files.syncDirectory(layout_.items());
}

}  // namespace nookery
