#include "Uploads.h"

namespace companion {
namespace {

Json written(const Path& folder, const char* manifestName, const Json& manifest,
             const std::string& identifier) {
    writeFile(folder / manifestName, manifest.dump(2) + "\n");
    return {{"id", identifier}, {"path", folder.native()}};
}

}  // namespace

Json uploadNote(const Container& container, const std::string& text,
                const std::vector<Path>& photos) {
    const std::string id = newIdentifier();
    const Path folder = container.inbox() / (id + ".crumbnote");
    Json attachments = Json::array();
    for (const Path& photo : photos) {
        const Path relative = Path("media") / photo.filename();
        copyFile(photo, folder / relative);
        attachments.push_back(relative.native());
    }
    return written(folder, "note.json",
                   {{"schemaVersion", 1},
                    {"kind", "note"},
                    {"noteID", id},
                    {"createdAt", iso8601Now()},
                    {"text", text},
                    {"attachments", attachments}},
                   id);
}

Json uploadActivity(const Container& container, const Path& manifest) {
    Json activity = readJson(manifest);
    const std::string id = activity.value("activityID", newIdentifier());
    const Path folder = container.inbox() / (id + ".crumbactivity");
    for (const Json& event : activity.value("events", Json::array())) {
        if (!event.contains("relativePath")) continue;
        const std::string relative = event.at("relativePath");
        copyFile(manifest.parent_path() / relative, folder / relative);
    }
    return written(folder, "activity.json", activity, id);
}

Json uploadReport(const Container& container, const Path& report,
                  const std::vector<Path>& attachments) {
    const std::string id = newIdentifier(), now = iso8601Now();
    const Path folder = container.fieldReports() / id;
    Json fields{{"id", id},         {"title", ""},       {"clientProject", ""},
                {"location", ""},   {"reportDate", now}, {"createdAt", now},
                {"updatedAt", now}, {"notes", ""},       {"attachments", Json::array()}};
    fields.update(readJson(report));
    std::filesystem::create_directories(folder / "Attachments");
    for (const Path& attachment : attachments) {
        const std::string attachmentID = newIdentifier();
        const std::string stored = attachmentID + attachment.extension().native();
        copyFile(attachment, folder / "Attachments" / stored);
        fields["attachments"].push_back({{"id", attachmentID},
                                         {"originalName", attachment.filename().native()},
                                         {"storedName", stored},
                                         {"addedAt", now}});
    }
    return written(folder, "manifest.json",
                   {{"format", "nookery.fieldreport"}, {"version", 1}, {"report", fields}}, id);
}

}  // namespace companion
