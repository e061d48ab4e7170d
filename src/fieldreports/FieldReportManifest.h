#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

namespace nookery {

/// The names of what an uploaded report's folder holds, and so of its local copy's.
inline constexpr std::string_view fieldReportManifestName = "manifest.json";
inline constexpr std::string_view fieldReportAttachmentsName = "Attachments";

/// No honest manifest is larger; its notes are what a person typed on a phone.
inline constexpr std::size_t maximumReportManifestByteCount = std::size_t{8} << 20;

struct FieldReportManifest {
    struct Attachment {
        Uuid id;
        std::string originalName;
        std::string storedName;  ///< a plain file name, unlike any other of the report
        Timestamp addedAt;
    };

    Uuid id;
    std::string title;
    std::string clientProject;
    std::string location;
    Timestamp reportDate;
    Timestamp createdAt;
    Timestamp updatedAt;
    std::string notes;
    std::vector<Attachment> attachments;
};

/// Reads the manifest of the report `id`. It comes from outside: throws JsonError or
/// FieldReportError for anything but a whole manifest of this format and this report, whose files
/// lie in its own folder.
FieldReportManifest readFieldReportManifest(std::string_view json, const Uuid& id);

/// Whether the name stays in the folder that it is used in.
bool isPlainFileName(std::string_view name);

}  // namespace nookery
