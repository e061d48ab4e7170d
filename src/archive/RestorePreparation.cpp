#include <cerrno>
#include <set>

#include "archive/ArchiveCheck.h"
#include "archive/ArchivePlaces.h"
#include "archive/ArchiveRestore.h"
#include "archive/RestorePlaces.h"

namespace nookery {
namespace {

/// What a restore has a use for. Whatever else an archive lists is checked and left there; so no
/// listed name can meet one of the restore's own.
bool isRestored(const std::string& name) {
    const auto liesIn = [&name](std::string_view folder) {
        return name.starts_with(std::string(folder) + "/");
    };
    return liesIn(archive::originalsName) || liesIn(archive::externalOriginalsName) ||
           liesIn(archive::receiptOriginalsName) || name == archive::databaseName ||
           name == archive::receiptsDatabaseName || name == archive::localStateName;
}

/// The copy of an archive that a restore will use.
class ArchiveCopy {
  public:
    ArchiveCopy(const Platform& platform, Path archive, Path preparing,
                const OperationControl& control)
        : files_(platform.files),
          archive_(std::move(archive)),
          preparing_(std::move(preparing)),
          digested_(platform.files, platform.digester, control) {}

    ArchiveSummary make() {
        files_.createDirectory(preparing_);
        // Read from our copy, then and at the restore: the archive's own may change in between.
        readArchiveManifest(files_, archive_);
        digested_.copy(archive_ / archive::manifestName, preparing_ / archive::manifestName);
        const ArchiveContents contents = readArchiveManifest(files_, preparing_);
        makeFolder(archive::originalsName);
        beginListed(digested_, ArchiveProgress::Phase::copying, contents);
        const auto summary = checkListedFiles(
            files_, archive_, contents,
            [this](const Path& place, const std::string& name) { return take(place, name); });
        checkArchivedDatabases(preparing_, contents);
        readLocalState(files_, preparing_, contents);
        if (listsFile(contents, archive::receiptsDatabaseName)) {
            makeFolder(archive::receiptOriginalsName);
        }
        files_.syncFileSystem(preparing_);
        return summary;
    }

  private:
    FileContent take(const Path& place, const std::string& name) {
        if (!isRestored(name)) return digested_.read(place);
        makeFolder(Path(name).parent_path());
        return digested_.copy(place, preparing_ / name);
    }

    void makeFolder(const Path& relative) {
        if (relative.empty() || !folders_.insert(relative).second) return;
        makeFolder(relative.parent_path());
        files_.createDirectory(preparing_ / relative);
    }

    FileSystem& files_;
    Path archive_;
    Path preparing_;
    DigestedFiles digested_;
    std::set<Path> folders_;
};

}  // namespace

ArchiveSummary prepareArchiveRestore(const Platform& platform, const LibraryLayout& layout,
                                     const Path& archiveFolder, const OperationControl& control) {
    FileSystem& files = platform.files;
    createDirectories(files, layout.library());
    ArchiveSummary summary;
    prepareRestore(files, archiveRestoreFolders(files, layout), [&](const Path& preparing) {
        const auto archive = files.resolve(archiveFolder);
        if (!archive) throw FileError("find", archiveFolder, ENOENT);
        summary = ArchiveCopy(platform, *archive, preparing, control).make();
    });
    return summary;
}

bool archiveRestoreWaits(FileSystem& files, const LibraryLayout& layout) {
    return files.status(layout.library() / restore::pendingName).has_value();
}

}  // namespace nookery
