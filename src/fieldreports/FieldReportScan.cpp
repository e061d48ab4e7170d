#include "fieldreports/FieldReportScan.h"

#include <fmt/format.h>

#include <optional>

#include "fieldreports/FieldReportError.h"
#include "platform/CloudContainer.h"
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

enum class Outcome { received, waits, absent };

Outcome takeOne(const Platform& platform, FieldReportRepository& shelf, const Path& upload,
                const Uuid& id) {
    const Path file = upload / fieldReportManifestName;
    if (!isHere(platform, file)) {
        return platform.cloud.presence(file) == CloudPresence::absent ? Outcome::absent
                                                                      : Outcome::waits;
    }
    const std::string text = readWholeFile(platform.files, file, maximumReportManifestByteCount);
    const FieldReportManifest manifest = readFieldReportManifest(text, id);
    if (!attachmentsAreHere(platform, upload, manifest)) return Outcome::waits;
    shelf.receive(upload, text, manifest);
    platform.log.line("NOOKERY Field Report received: " + manifest.title);
    return Outcome::received;
}

}  // namespace

FieldReportScan scanFieldReports(const Platform& platform, FieldReportRepository& shelf) {
    FieldReportScan scan;
    const CloudLookup lookup = platform.cloud.locate();
    if (!lookup.container) {
        scan.unavailable = lookup.reason;
        return scan;
    }
    const Path uploads = *lookup.container / "Documents" / "NookeryFieldReports";
    if (!platform.files.status(uploads)) return scan;
    for (const DirectoryEntry& entry : platform.files.list(uploads)) {
        const auto id = Uuid::parse(entry.name.native());
        // A report leaves the shelf only once it is listed as deleted: asked in this order, a
        // deletion meanwhile cannot be missed.
        if (!id || entry.type != FileType::directory || shelf.holds(*id)) continue;
        if (shelf.isDeleted(*id)) continue;
        try {
            const Outcome outcome = takeOne(platform, shelf, uploads / entry.name, *id);
            if (outcome == Outcome::received) scan.received.push_back(*id);
            if (outcome == Outcome::waits) ++scan.waitingCount;
        } catch (const Error& error) {
            scan.failed.push_back({entry.name.native(), error.description()});
        }
    }
    return scan;
}

}  // namespace nookery
