#include "support/UploadedReport.h"

namespace nookery::testing {

UploadedReport::UploadedReport(const Uuid& reportID, const std::string& title) : id(reportID) {
    manifest = {{"format", "nookery.fieldreport"},
                {"version", 1},
                {"report",
                 {{"id", id.toString()},
                  {"title", title},
                  {"clientProject", "Harbour Office"},
                  {"location", "Pier 4"},
                  {"reportDate", "2026-03-01T09:30:00Z"},
                  {"createdAt", "2026-03-01T09:31:00Z"},
                  {"updatedAt", "2026-03-01T10:00:00.5Z"},
                  {"notes", "Two tiles are loose."},
                  {"attachments", Json::array()}}}};
}

UploadedReport& UploadedReport::attach(const std::string& storedName,
                                       std::optional<std::string> content) {
    manifest["report"]["attachments"].push_back({{"id", Uuid::random().toString()},
                                                 {"originalName", "Original " + storedName},
                                                 {"storedName", storedName},
                                                 {"addedAt", "2026-03-01T09:40:00Z"}});
    if (content) files.emplace_back(storedName, *content);
    return *this;
}

void UploadedReport::upload(const TemporaryDirectory& home) const {
    home.write(folder() / "manifest.json", manifest.dump());
    for (const auto& [name, content] : files) home.write(folder() / "Attachments" / name, content);
}

std::string everythingBelow(FileSystem& files, const Path& folder) {
    std::string all;
    walkTree(files, folder, [&](const Path& relative, FileType type) {
        const auto status = files.status(folder / relative);
        all += relative.native() + " " + std::to_string(status->modifiedNanoseconds) + " ";
        if (type == FileType::regular) all += readWholeFile(files, folder / relative, 1 << 24);
        all += "\n";
    });
    return all;
}

}  // namespace nookery::testing
