#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

namespace nookery {

/// The names in the folder of an uploaded report, and in that of its local copy.
inline constexpr std::string_view fieldReportManifestName = "manifest.json";
inline constexpr std::string_view fieldReportAttachmentsName = "Attachments";

/// Far more than a real manifest needs: its notes were typed on a phone.
inline constexpr std::size_t maximumReportManifestByteCount = std::size_t{8} << 20;

struct FieldReportManifest {
    struct Attachment {
        Uuid id;
        std::string originalName;
        std::string storedName;  ///< a plain file name, unique in the report
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

/// Reads the manifest of the report `id`, which comes from outside. Throws JsonError or
/// FieldReportError unless it is a whole manifest of this format and this report, and all its files
/// are in the report's own folder.
FieldReportManifest readFieldReportManifest(std::string_view json, const Uuid& id);

/// Whether a path of a folder and this name stays inside the folder.
bool isPlainFileName(std::string_view name);

}  // namespace nookery
