#include "collection/safety/SnapshotBuilder.h"

#include <array>

#include "collection/database/Sidecar.h"
#include "collection/safety/LibraryState.h"
#include "collection/safety/RecoveryError.h"
#include "collection/safety/SnapshotOriginals.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/DurableFile.h"
#include "foundation/SqliteConnection.h"
#include "platform/Clock.h"

namespace nookery {
namespace {

constexpr std::array originalFolders{snapshot::itemsName, snapshot::receiptOriginalsName};

/// Beside the folder of snapshots: how far the shared copies were checked.
constexpr std::string_view rotationMarkName = "checked-up-to";

SqliteConnection openForBackup(const Path& path, SqliteAccess access) {
    try {
        return SqliteConnection::open(path, access);
    } catch (const DatabaseError& error) {
        throw RecoveryError(RecoveryError::Case::sqliteOpen, error.message());
    }
}

}  // namespace

SnapshotBuilder::SnapshotBuilder(const Platform& platform, LibraryLayout layout, Pause pause)
    : platform_(platform), layout_(std::move(layout)), pause_(std::move(pause)) {}

std::string SnapshotBuilder::build(const std::string& reason, const OperationControl& control) {
    FileSystem& files = platform_.files;
    createDirectories(files, layout_.snapshots());
    SnapshotRepository shelf(files, layout_.snapshots());
    const Timestamp now = platform_.clock.now();
    const std::string name = shelf.freeName(now);
    const Path building = shelf.folder() / (std::string(snapshot::buildingPrefix) + name);
    files.createDirectory(building);
    fill(building, {.createdAt = now, .reason = reason}, control);
    files.renameExclusive(building, shelf.folder() / name);
    files.syncDirectory(shelf.folder());
    return name;
}

void SnapshotBuilder::fill(const Path& building, RecoveryManifest manifest,
                           const OperationControl& control) {
    FileSystem& files = platform_.files;
    copyDatabases(building, control);
    manifest.managedFileCount = copyOriginals(building, control);
    writeDurably(files, building / snapshot::stateName,
                 platform_.propertyLists.write(libraryState(platform_.defaults)));
    writeDurably(files, building / snapshot::manifestName, toJsonText(manifest));
}

void SnapshotBuilder::copyDatabases(const Path& building, const OperationControl& control) {
    FileSystem& files = platform_.files;
    copyDatabase(layout_.database(), building / snapshot::databaseName, control);
    if (files.status(layout_.sidecar())) {
        copyDatabase(layout_.sidecar(), building / snapshot::sidecarName, control);
    }
    if (files.status(layout_.receiptsDatabase())) {
        const Path copy = building / snapshot::receiptsDatabaseName;
        files.createDirectory(copy.parent_path());
        copyDatabase(layout_.receiptsDatabase(), copy, control);
        files.syncDirectory(copy.parent_path());
    }
}

void SnapshotBuilder::copyDatabase(const Path& live, const Path& copy,
                                   const OperationControl& control) {
    auto source = openForBackup(live, SqliteAccess::readOnly);
    platform_.files.createFile(copy)->close();  // as private as every other file
    auto destination = openForBackup(copy, SqliteAccess::readWriteCreate);
    SqliteBackupPace pace;
    pace.pagesPerStep = pagesPerStep;
    pace.pause = [this] { pause_(pauseBetweenSteps); };
    pace.stop = control.stopToken();
    pace.progress = [&control](int done, int total) {
        control.report({"recovery snapshot: database page", static_cast<std::uint64_t>(done),
                        static_cast<std::uint64_t>(total)});
    };
    try {
        backUp(source, destination, pace);
    } catch (const DatabaseError& error) {
        throw RecoveryError(RecoveryError::Case::sqliteBackup, error.message());
    }
}

std::int64_t SnapshotBuilder::copyOriginals(const Path& building, const OperationControl& control) {
    FileSystem& files = platform_.files;
    const SnapshotRepository shelf(files, layout_.snapshots());
    const auto newest = shelf.newest(platform_.clock.now());
    std::optional<Sidecar> facts;
    if (files.status(building / snapshot::sidecarName)) {
        facts = Sidecar::openForReading(building / snapshot::sidecarName);
    }
    SnapshotOriginals originals(
        platform_,
        {.library = layout_.library(),
         .base = newest ? std::optional(shelf.folder() / *newest) : std::nullopt,
         .facts = facts ? &*facts : nullptr,
         .rotationMark = shelf.folder().parent_path() / rotationMarkName},
        building);
    return originals.bringIn(originalFolders, control);
}

}  // namespace nookery
