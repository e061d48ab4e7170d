#include "fieldreports/FieldReportManifest.h"

#include <fmt/format.h>

#include <set>

#include "fieldreports/FieldReportError.h"
#include "foundation/Json.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::string_view manifestFormat = "nookery.fieldreport";
constexpr int manifestVersion = 1;
constexpr std::size_t maximumDepth = 16;
constexpr std::size_t maximumNameByteCount = 255;

/// The object's member. A missing one reads as null, which every reader of a value refuses.
const Json& member(const Json& object, std::string_view key) {
    static const Json missing;
    if (!object.is_object()) throw JsonError("The manifest must be a JSON object.");
    const auto found = object.find(key);
    return found == object.end() ? missing : *found;
}

Timestamp requiredDate(const Json& object, std::string_view key) {
    const auto date = parseIso8601(requiredString(object, key));
    if (!date) throw FieldReportError(fmt::format("\"{}\" in the manifest is no date.", key));
    return *date;
}

Uuid requiredUuid(const Json& object, std::string_view key) {
    const auto id = Uuid::parse(requiredString(object, key));
    if (!id) throw FieldReportError(fmt::format("\"{}\" in the manifest is no identifier.", key));
    return *id;
}

void checkFormat(const Json& document) {
    if (requiredString(document, "format") != manifestFormat) {
        throw FieldReportError("The manifest is not one of a field report.");
    }
    const Json& version = member(document, "version");
    if (!version.is_number_integer() || version != manifestVersion) {
        throw FieldReportError("The manifest has a version that this program does not know.");
    }
}

FieldReportManifest::Attachment attachmentFrom(const Json& object) {
    FieldReportManifest::Attachment attachment{
        .id = requiredUuid(object, "id"),
        .originalName = requiredString(object, "originalName"),
        .storedName = requiredString(object, "storedName"),
        .addedAt = requiredDate(object, "addedAt")};
    if (!isPlainFileName(attachment.storedName)) {
        throw FieldReportError(
            fmt::format("The attachment \"{}\" is not stored under a plain file name.",
                        attachment.originalName));
    }
    return attachment;
}

std::vector<FieldReportManifest::Attachment> attachmentsFrom(const Json& list) {
    if (!list.is_array()) throw JsonError("JSON key \"attachments\" must be a list.");
    std::vector<FieldReportManifest::Attachment> attachments;
    std::set<Uuid> ids;
    std::set<std::string> names;
    for (const Json& object : list) {
        attachments.push_back(attachmentFrom(object));
        const bool isNew = ids.insert(attachments.back().id).second &&
                           names.insert(composed(attachments.back().storedName)).second;
        if (!isNew) throw FieldReportError("The manifest lists an attachment twice.");
    }
    return attachments;
}

}  // namespace

bool isPlainFileName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.size() <= maximumNameByteCount &&
           name.find_first_of(std::string_view("/\\\0", 3)) == std::string_view::npos;
}

FieldReportManifest readFieldReportManifest(std::string_view json, const Uuid& id) {
    const Json document = parseJson(
        json, {.maximumByteCount = maximumReportManifestByteCount, .maximumDepth = maximumDepth});
    checkFormat(document);
    const Json& report = member(document, "report");
    if (requiredUuid(report, "id") != id) {
        throw FieldReportError("The manifest belongs to another report.");
    }
    return {.id = id,
            .title = requiredString(report, "title"),
            .clientProject = requiredString(report, "clientProject"),
            .location = requiredString(report, "location"),
            .reportDate = requiredDate(report, "reportDate"),
            .createdAt = requiredDate(report, "createdAt"),
            .updatedAt = requiredDate(report, "updatedAt"),
            .notes = requiredString(report, "notes"),
            .attachments = attachmentsFrom(member(report, "attachments"))};
}

}  // namespace nookery
