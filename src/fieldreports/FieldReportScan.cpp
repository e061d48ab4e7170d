#include "fieldreports/FieldReportScan.h"

#include <fmt/format.h>

#include <optional>

#include "fieldreports/FieldReportError.h"
#include "platform/CloudContainer.h"
#include "platform/CloudPaths.h"
#include "platform/Log.h"

namespace nookery {
namespace {

/// Whether all of a file is here; asks for it when only its name is. What is no file at all, but a
/// link or a folder, throws FieldReportError.
bool isHere(const Platform& platform, const Path& file) {
    const auto status = platform.files.status(file);
    if (status && status->type != FileType::regular) {
        throw FieldReportError(
            fmt::format("\"{}\" is not a regular file.", displayName(file.filename())));
    }
    const CloudPresence presence = platform.cloud.presence(file);
    if (presence == CloudPresence::placeholder) platform.cloud.requestDownload(file);
    return presence == CloudPresence::local;
}

bool attachmentsAreHere(const Platform& platform, const Path& upload,
                        const FieldReportManifest& manifest) {
    const Path folder = upload / fieldReportAttachmentsName;
    const auto status = platform.files.status(folder);
    if (status && status->type != FileType::directory) {
        throw FieldReportError("\"Attachments\" is not a folder.");
    }
    bool allAreHere = true;
    for (const auto& attachment : manifest.attachments) {
        allAreHere &= isHere(platform, uploadedFile(platform, folder, attachment.storedName));
    }
    return allAreHere;
}

enum class Taking { received, waits, absent };

Taking takeOne(const Platform& platform, FieldReportRepository& reports, const Path& upload,
               const Uuid& id) {
    const Path file = upload / fieldReportManifestName;
    if (!isHere(platform, file)) {
        return platform.cloud.presence(file) == CloudPresence::absent ? Taking::absent
                                                                      : Taking::waits;
    }
    const std::string text = readWholeFile(platform.files, file, maximumReportManifestByteCount);
    const FieldReportManifest manifest = readFieldReportManifest(text, id);
    if (!attachmentsAreHere(platform, upload, manifest)) return Taking::waits;
    reports.receive(upload, text, manifest);
    platform.log.line("NOOKERY Field Report received: " + manifest.title);
    return Taking::received;
}

FieldReportScan scan(const Platform& platform, FieldReportRepository& reports,
                     const OperationControl& control) {
    FieldReportScan found;
    const CloudLookup lookup = platform.cloud.locate();
    if (!lookup.container) {
        found.unavailable = lookup.reason;
        return found;
    }
    const Path uploads =
        sharedFolder(platform.files, *lookup.container, "Documents/NookeryFieldReports");
    if (!platform.files.status(uploads)) return found;
    for (const DirectoryEntry& entry : platform.files.list(uploads)) {
        control.throwIfStopped();
        const auto id = Uuid::parse(entry.name.native());
        // A report leaves the repository only once it is listed as deleted: asked in this order, a
        // deletion meanwhile cannot be missed.
        if (!id || entry.type != FileType::directory || reports.holds(*id)) continue;
        if (reports.isDeleted(*id)) continue;
        try {
            const Taking taking = takeOne(platform, reports, uploads / entry.name, *id);
            if (taking == Taking::received) found.received.push_back(*id);
            if (taking == Taking::waits) ++found.waitingCount;
        } catch (const Error& error) {
            found.failed.push_back({entry.name.native(), error.description()});
        }
    }
    return found;
}

}  // namespace

OperationPointer<FieldReportScan> scanFieldReports(const Platform& platform,
                                                   std::shared_ptr<FieldReportRepository> reports) {
    return startOperation(
        platform.linkQueue, platform.mainQueue,
        [platform, reports = std::move(reports)](const OperationControl& control) {
            return scan(platform, *reports, control);
        });
}

}  // namespace nookery
