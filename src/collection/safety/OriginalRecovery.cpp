#include "collection/safety/OriginalRecovery.h"

#include <fmt/format.h>

#include <algorithm>

#include "collection/originals/FileDigest.h"
#include "collection/originals/OriginalNames.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/DurableFile.h"
#include "platform/Trash.h"

namespace nookery {
namespace {

/// Where a file of the original lies when the original itself is at `place`.
Path fileAt(const Path& place, const RemovedOriginal& original, const OriginalFact& fact) {
    if (fact.relativePath == original.relativePath) return place;
    return place / fact.relativePath.lexically_relative(original.relativePath);
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
        const Path place = layout_.snapshots() / name / original.relativePath;
        if (holds(place, original, Trust::digestOnly)) return place;
    }
    return std::nullopt;
}

bool OriginalRecovery::isInTrash(const RemovedOriginal& original) const {
    return original.trashPlace && holds(*original.trashPlace, original, Trust::marks);
}

bool OriginalRecovery::canBringBack(const RemovedOriginal& original) const {
    return holds(layout_.library() / original.relativePath, original, Trust::marks) ||
           isInTrash(original) || inSnapshots(original);
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
    const bool isTrashed = isInTrash(original);
    const auto copy = isTrashed ? std::nullopt : inSnapshots(original);
    if (!isTrashed && !copy) {
        throw Error(fmt::format("\"{}\" is neither in the trash nor in a snapshot.",
                                displayName(original.relativePath.filename())));
    }
    createDirectories(platform_.files, layout_.items());
    const Path place = freePlace(original);
    if (isTrashed) {
        platform_.trash.putBack(*original.trashPlace, place);
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
