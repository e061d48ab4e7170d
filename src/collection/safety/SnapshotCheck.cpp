#include "collection/safety/SnapshotCheck.h"

#include <fmt/format.h>

#include "collection/safety/LibraryState.h"
#include "collection/safety/RestoreError.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/Json.h"
#include "foundation/SqliteConnection.h"

namespace nookery {
namespace {

constexpr std::size_t maximumManifestByteCount = 1 << 20;
constexpr std::size_t maximumStateByteCount = 512u << 20;

void checkDatabase(const Path& path) {
    std::string report;
    try {
        report = SqliteConnection::open(path, SqliteAccess::immutable).integrityReport();
    } catch (const DatabaseError& error) {
        report = error.message();
    }
    if (report == "ok") return;
    throw RestoreError(
        fmt::format("The snapshot's database {} is damaged: {}", displayName(path), report));
}

RecoveryManifest readManifest(FileSystem& files, const Path& path) {
    const std::string text = readWholeFile(files, path, maximumManifestByteCount);
    try {
        return recoveryManifestFromJson(text);
    } catch (const JsonError& error) {
        throw RestoreError(fmt::format("The snapshot's manifest {} cannot be understood: {}",
                                       displayName(path), error.description()));
    }
}

std::int64_t fileCountBelow(FileSystem& files, const Path& folder) {
    std::int64_t count = 0;
    if (!files.status(folder)) return count;
    walkTree(files, folder, [&count](const Path&, FileType) { ++count; });
    return count;
}

}  // namespace

RecoveryManifest checkSnapshot(FileSystem& files, const PropertyListFormat& propertyLists,
                               const Path& folder) {
    const RecoveryManifest manifest = readManifest(files, folder / snapshot::manifestName);
    checkDatabase(folder / snapshot::databaseName);
    for (const auto name : {snapshot::sidecarName, snapshot::receiptsDatabaseName}) {
        if (files.status(folder / name)) checkDatabase(folder / name);
    }
    const std::int64_t count = fileCountBelow(files, folder / snapshot::itemsName) +
                               fileCountBelow(files, folder / snapshot::receiptOriginalsName);
    if (count != manifest.managedFileCount) {
        throw RestoreError(fmt::format("The snapshot {} should hold {} originals and holds {}.",
                                       displayName(folder), manifest.managedFileCount, count));
    }
    readLibraryState(files, propertyLists, folder);
    return manifest;
}

PropertyList readLibraryState(FileSystem& files, const PropertyListFormat& propertyLists,
                              const Path& folder) {
    PropertyList state = propertyLists.read(
        readWholeFile(files, folder / snapshot::stateName, maximumStateByteCount));
    checkLibraryState(state);
    return state;
}

}  // namespace nookery
