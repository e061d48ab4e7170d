#include "archive/CrumbCompleteArchive.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "archive/ArchiveDatabase.h"
#include "archive/ArchiveDestination.h"
#include "archive/ArchiveError.h"
#include "archive/ArchivePlaces.h"
#include "archive/ArchivePlan.h"
#include "foundation/Base64.h"
#include "foundation/DurableFile.h"
#include "foundation/Json.h"
#include "foundation/SqliteConnection.h"
#include "foundation/SqliteStatement.h"
#include "platform/Clock.h"

namespace nookery {
namespace {

using Source = CrumbCompleteArchive::Source;

/// One export, in its hidden folder. Its methods are called in the order in which they stand.
class ArchiveBuilder {
  public:
    ArchiveBuilder(const Platform& platform, const LibraryLayout& layout, Path staging,
                   const OperationControl& control)
        : files_(platform.files),
          layout_(layout),
          staging_(std::move(staging)),
          control_(control),
          digested_(platform.files, platform.digester, control) {}

    void copyOriginals(const ArchivePlan& plan) {
        const auto fileCount = static_cast<std::int64_t>(plan.copies().size());
        digested_.begin(ArchiveProgress::Phase::copying, fileCount);
        files_.createDirectory(staging_);
        for (const std::string& folder : plan.folders()) files_.createDirectory(staging_ / folder);
        for (const ArchivePlan::Copy& copy : plan.copies()) {
            manifest_.files.push_back(
                {copy.relativePath, digested_.copy(copy.source, staging_ / copy.relativePath)});
        }
    }

    void copyDatabases(const CrumbItemList& items) {
        files_.createDirectory(staging_ / archive::dataName);
        copyDatabase(layout_.database(), archive::databaseName);
        demandSameMemories(items);
        if (!files_.status(layout_.receiptsDatabase())) return;
        files_.createDirectory((staging_ / archive::receiptsDatabaseName).parent_path());
        copyDatabase(layout_.receiptsDatabase(), archive::receiptsDatabaseName);
    }

    void writeLocalState(const std::map<std::string, std::string>& state) {
        Json object = Json::object();
        for (const auto& [key, bytes] : state) object[key] = toBase64(bytes);
        writeDurably(files_, staging_ / archive::localStateName, toPrettyJsonText(object));
        addToManifest(archive::localStateName);
    }

    void writeManifestAndReadMe(const Source& source, const ArchivePlan& plan, Timestamp now) {
        std::sort(manifest_.files.begin(), manifest_.files.end(),
                  [](const FileRecord& left, const FileRecord& right) {
                      return left.relativePath < right.relativePath;
                  });
        manifest_.exportedAt = now;
        manifest_.groups = source.groups;
        manifest_.records = plan.records();
        writeManifest(files_, staging_ / archive::manifestName, manifest_);
        writeDurably(files_, staging_ / archive::readMeName, archive::readMeText);
        files_.syncFileSystem(staging_);
    }

    /// Reads everything back, and holds it against the manifest.
    ArchiveSummary verify() {
        ArchiveSummary summary{.recordCount = static_cast<std::int64_t>(manifest_.records.size()),
                               .fileCount = static_cast<std::int64_t>(manifest_.files.size())};
        for (const FileRecord& file : manifest_.files) summary.byteCount += file.content.byteCount;
        digested_.begin(ArchiveProgress::Phase::checking, summary.fileCount);
        for (const FileRecord& file : manifest_.files) verify(file);
        return summary;
    }

    void moveTo(const Path& destination) {
        files_.rename(staging_, destination);
        try {
            files_.syncDirectory(destination.parent_path());
        } catch (const FileError&) {
            // What might be gone after a power cut is not reported as an archive.
            files_.rename(destination, staging_);
            throw;
        }
    }

  private:
    void copyDatabase(const Path& live, std::string_view place) {
        snapshotDatabase(files_, live, staging_ / place, control_.stopToken());
        addToManifest(place);
    }

    void addToManifest(std::string_view place) {
        manifest_.files.push_back({std::string(place), digested_.read(staging_ / place)});
    }

    /// The records were gathered before the database was copied. A memory that came or went in
    /// between would be in one of the two only.
    void demandSameMemories(const CrumbItemList& items) {
        std::set<Uuid> gathered;
        for (const CrumbItemPointer& item : items) gathered.insert(item->id);
        auto copy =
            SqliteConnection::open(staging_ / archive::databaseName, SqliteAccess::immutable);
        SqliteStatement rows(copy, "SELECT id, kind FROM crumbs;");
        std::size_t count = 0;
        while (rows.step()) {
            const auto id = rows.uuid(0);
            if (!id || !kindFromRawValue(rows.string(1))) continue;
            if (!gathered.contains(*id)) throwChanged();
            ++count;
        }
        if (count != gathered.size()) throwChanged();
    }

    [[noreturn]] static void throwChanged() {
        throw ArchiveError::verificationFailed(
            "The collection changed while it was being archived. Export it again.");
    }

    void verify(const FileRecord& file) {
        const auto status = files_.status(staging_ / file.relativePath);
        if (!status || status->type != FileType::regular ||
            status->byteCount != file.content.byteCount ||
            digested_.read(staging_ / file.relativePath) != file.content) {
            throw ArchiveError::verificationFailed(file.relativePath);
        }
    }

    FileSystem& files_;
    LibraryLayout layout_;
    Path staging_;
    OperationControl control_;
    DigestedFiles digested_;
    ArchiveManifest manifest_;
};

void removeQuietly(FileSystem& files, const Path& path) {
    try {
        removeTree(files, path);
    } catch (const Error&) {
        // The failure that led here is the one to report.
    }
}

}  // namespace

ArchiveSummary CrumbCompleteArchive::write(const Platform& platform, const LibraryLayout& layout,
                                           const Source& source, const Path& destination,
                                           const OperationControl& control) {
    FileSystem& files = platform.files;
    const Path target = checkedArchiveDestination(files, layout, destination);
    ArchivePlan plan(files, layout);
    plan.addManagedOriginals(source.items);
    plan.addRecords(source.items);
    plan.addReceiptOriginals();
    if (!plan.missingOriginals().empty()) {
        throw ArchiveError::missingOriginals(plan.missingOriginals());
    }
    const Path staging =
        target.parent_path() / (std::string(archive::stagingPrefix) + Uuid::random().toString());
    ArchiveBuilder builder(platform, layout, staging, control);
    try {
        builder.copyOriginals(plan);
        builder.copyDatabases(source.items);
        builder.writeLocalState(source.localState);
        builder.writeManifestAndReadMe(source, plan, platform.clock.now());
        const ArchiveSummary summary = builder.verify();
        builder.moveTo(target);
        return summary;
    } catch (const std::exception&) {
        removeQuietly(files, staging);
        throw;
    }
}

std::string CrumbCompleteArchive::proposedName(Timestamp today) {
    const CalendarFields fields = localFields(today);
    return fmt::format("NOOKERY-Complete-Archive-{:04}-{:02}-{:02}", fields.year, fields.month,
                       fields.day);
}

}  // namespace nookery
