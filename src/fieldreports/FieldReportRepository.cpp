#include "fieldreports/FieldReportRepository.h"

#include <fmt/format.h>

#include <algorithm>

#include "fieldreports/FieldReportError.h"
#include "fieldreports/FieldReportWorkingCopy.h"
#include "foundation/DurableFile.h"
#include "foundation/Json.h"
#include "foundation/Text.h"
#include "platform/CloudContainer.h"
#include "platform/Log.h"
#include "platform/Trash.h"

namespace nookery {
namespace {

constexpr std::string_view stagingPrefix = ".staging-";
constexpr std::size_t maximumListByteCount = std::size_t{16} << 20;

}  // namespace

Path uploadedFile(const Platform& platform, const Path& folder, const std::string& storedName) {
    const Path exact = folder / storedName;
    const bool hasOneSpelling = codePointCount(storedName) == storedName.size();  // ASCII
    if (hasOneSpelling || platform.cloud.presence(exact) != CloudPresence::absent) return exact;
    if (!platform.files.status(folder)) return exact;
    const std::string wanted = composed(storedName);
    for (const DirectoryEntry& entry : platform.files.list(folder)) {
        const Path name = platform.cloud.nameBehindPlaceholder(entry.name).value_or(entry.name);
        if (composed(toValidUtf8(name.native())) == wanted) return folder / name;
    }
    return exact;
}

FieldReportRepository::FieldReportRepository(const Platform& platform, LibraryLayout layout)
    : platform_(platform), files_(platform.files), layout_(std::move(layout)) {}

std::vector<NookeryReceivedFieldReport> FieldReportRepository::load() const {
    std::vector<NookeryReceivedFieldReport> reports;
    if (!files_.status(layout_.fieldReports())) return reports;
    for (const DirectoryEntry& entry : files_.list(layout_.fieldReports())) {
        const auto id = Uuid::parse(entry.name.native());
        if (!id || entry.type != FileType::directory || entry.name != id->toString()) continue;
        try {
            reports.push_back(loadOne(*id));
        } catch (const Error& error) {
            logLoadError(*id, error);
        }
    }
    std::sort(reports.begin(), reports.end(), [](const auto& left, const auto& right) {
        return std::tie(right.reportDate, left.id) < std::tie(left.reportDate, right.id);
    });
    return reports;
}

NookeryReceivedFieldReport FieldReportRepository::loadOne(const Uuid& id) const {
    const Path folder = layout_.fieldReports() / id.toString();
    const FieldReportManifest manifest = readFieldReportManifest(
        readWholeFile(files_, folder / fieldReportManifestName, maximumReportManifestByteCount),
        id);
    NookeryReceivedFieldReport report{.id = id,
                                      .title = manifest.title,
                                      .clientProject = manifest.clientProject,
                                      .location = manifest.location,
                                      .reportDate = manifest.reportDate,
                                      .createdAt = manifest.createdAt,
                                      .updatedAt = manifest.updatedAt,
                                      .notes = manifest.notes,
                                      .attachments = {},
                                      .folderURL = folder};
    for (const auto& attachment : manifest.attachments) {
        report.attachments.push_back(
            {.id = attachment.id,
             .name = attachment.originalName,
             .caption = {},
             .url = folder / fieldReportAttachmentsName / attachment.storedName});
    }
    showEdits(report);
    return report;
}

/// Catches all errors: a damaged working copy must not hide the received report.
void FieldReportRepository::showEdits(NookeryReceivedFieldReport& report) const try {
    auto draft = FieldReportWorkingCopy(files_, layout_, report).saved();
    if (!draft) return;
    report.title = draft->title;
    for (FieldReportAttachment& attachment : report.attachments) {
        if (const auto* media = findMedia(*draft, attachment.id))
            attachment.caption = media->caption;
    }
} catch (const Error& error) {
    logLoadError(report.id, error);
}

void FieldReportRepository::logLoadError(const Uuid& id, const Error& error) const {
    platform_.log.line(fmt::format("NOOKERY Field Report load error ({}): {}", id.toString(),
                                   error.description()));
}

bool FieldReportRepository::holds(const Uuid& id) const {
    return files_.status(layout_.fieldReports() / id.toString()).has_value();
}

std::optional<NookeryReceivedFieldReport> FieldReportRepository::find(const Uuid& id) const {
    return holds(id) ? std::optional(loadOne(id)) : std::nullopt;
}

bool FieldReportRepository::isDeleted(const Uuid& id) const {
    const auto ids = deletedIDs();
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

std::vector<Uuid> FieldReportRepository::deletedIDs() const {
    std::vector<Uuid> ids;
    const Path list = layout_.deletedFieldReports();
    if (!files_.status(list)) return ids;
    const Json entries = readJsonFile(files_, list, {.maximumByteCount = maximumListByteCount});
    const auto damaged = [&] {
        return FieldReportError(fmt::format("{} is no list of ids.", displayName(list)));
    };
    if (!entries.is_array()) throw damaged();
    for (const Json& entry : entries) {
        const auto id = entry.is_string() ? Uuid::parse(entry.get<std::string>()) : std::nullopt;
        if (!id) throw damaged();
        ids.push_back(*id);
    }
    return ids;
}

void FieldReportRepository::saveDeletedIDs(const std::vector<Uuid>& ids) {
    Json entries = Json::array();
    for (const Uuid& id : ids) entries.push_back(id.toString());
    writeDurably(files_, layout_.deletedFieldReports(), toPrettyJsonText(entries));
}

void FieldReportRepository::receive(const Path& upload, std::string_view manifestText,
                                    const FieldReportManifest& manifest) {
    createDirectories(files_, layout_.fieldReports());
    const Path staging =
        layout_.fieldReports() / (std::string(stagingPrefix) + Uuid::random().toString());
    try {
        copyInto(staging, upload, manifestText, manifest);
        files_.renameExclusive(staging, layout_.fieldReports() / manifest.id.toString());
    } catch (const Error&) {
        try {
            removeTree(files_, staging);
        } catch (const FileError&) {
            // The next start removes the folder. The person needs to hear of the first failure.
        }
        throw;
    }
    files_.syncDirectory(layout_.fieldReports());
}

void FieldReportRepository::copyInto(const Path& staging, const Path& upload,
                                     std::string_view manifestText,
                                     const FieldReportManifest& manifest) {
    const Path attachments = staging / fieldReportAttachmentsName;
    files_.createDirectory(staging);
    files_.createDirectory(attachments);
    for (const auto& attachment : manifest.attachments) {
        copyUnchanging(
            uploadedFile(platform_, upload / fieldReportAttachmentsName, attachment.storedName),
            attachments / attachment.storedName);
    }
    writeDurably(files_, staging / fieldReportManifestName, manifestText);
    files_.syncDirectory(attachments);
}

void FieldReportRepository::copyUnchanging(const Path& from, const Path& to) {
    const auto before = files_.status(from);
    copyNewFile(files_, from, to, {});
    const auto after = files_.status(from);
    const auto copied = files_.status(to);
    if (!before || !after || !copied || !after->sameContentMarks(*before) ||
        copied->byteCount != after->byteCount) {
        throw FieldReportError(
            fmt::format("\"{}\" changed while it was copied.", displayName(from.filename())));
    }
}

void FieldReportRepository::checkPlace(const NookeryReceivedFieldReport& report) const {
    const auto shelf = files_.resolve(layout_.fieldReports());
    const auto folder = files_.resolve(report.folderURL);
    if (!shelf || !folder || *folder != *shelf / report.id.toString()) {
        throw FieldReportError("Unexpected Field Report location.");
    }
}

void FieldReportRepository::rename(const NookeryReceivedFieldReport& report,
                                   const std::string& title) {
    NookeryReportWorkingDraft draft = FieldReportWorkingCopy(files_, layout_, report).draft();
    draft.title = title;
    save(report, draft);
}

void FieldReportRepository::save(const NookeryReceivedFieldReport& report,
                                 const NookeryReportWorkingDraft& draft) {
    checkPlace(report);
    FieldReportWorkingCopy(files_, layout_, report).save(draft);
}

TrashedReport FieldReportRepository::remove(const NookeryReceivedFieldReport& report) {
    checkPlace(report);
    // First, so that no scan takes the report in again even if this process ends here.
    auto ids = deletedIDs();
    if (std::find(ids.begin(), ids.end(), report.id) == ids.end()) {
        ids.push_back(report.id);
        saveDeletedIDs(ids);
    }
    // With its folder the report is gone: what is cut off after that can be taken back.
    TrashedReport trashed{.folder = platform_.trash.moveToTrash(report.folderURL)};
    const Path edits = FieldReportWorkingCopy::folderOf(layout_, report.id);
    try {
        if (files_.status(edits)) trashed.workingCopy = platform_.trash.moveToTrash(edits);
    } catch (const Error&) {
        putFolderBack(report.id, trashed.folder);
        throw;
    }
    return trashed;
}

std::optional<TrashedReport> FieldReportRepository::inTrash(
    const Uuid& id, const std::optional<TrashedReport>& noted) const {
    const auto isReport = [this](const Path& folder) {
        return files_.status(folder / fieldReportManifestName).has_value();
    };
    if (noted && isReport(noted->folder)) return noted;
    const auto folders = platform_.trash.placesOf(layout_.fieldReports() / id.toString());
    const auto folder = std::find_if(folders.begin(), folders.end(), isReport);
    if (folder == folders.end()) return std::nullopt;
    TrashedReport found{.folder = *folder};
    const auto edits = platform_.trash.placesOf(FieldReportWorkingCopy::folderOf(layout_, id));
    if (!edits.empty()) found.workingCopy = edits.front();
    return found;
}

/// The report last: it is back when its folder is. Edits that never went to the trash stay.
void FieldReportRepository::bringBack(const Uuid& id, const TrashedReport& trashed) {
    const Path edits = FieldReportWorkingCopy::folderOf(layout_, id);
    const bool isTrashed = trashed.workingCopy && files_.status(*trashed.workingCopy);
    if (isTrashed && !files_.status(edits)) {
        createDirectories(files_, edits.parent_path());
        platform_.trash.putBack(*trashed.workingCopy, edits);
        files_.syncDirectory(edits.parent_path());
    }
    putFolderBack(id, trashed.folder);
}

void FieldReportRepository::putFolderBack(const Uuid& id, const Path& trashed) {
    platform_.trash.putBack(trashed, layout_.fieldReports() / id.toString());
    files_.syncDirectory(layout_.fieldReports());
    auto ids = deletedIDs();
    if (std::erase(ids, id) > 0) saveDeletedIDs(ids);
}

void FieldReportRepository::removeLeftovers() {
    if (!files_.status(layout_.fieldReports())) return;
    for (const DirectoryEntry& entry : files_.list(layout_.fieldReports())) {
        if (entry.name.native().starts_with(stagingPrefix)) {
            removeTree(files_, layout_.fieldReports() / entry.name);
        }
    }
}

}  // namespace nookery
