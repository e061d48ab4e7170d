#pragma once

#include <optional>
#include <string>
#include <vector>

#include "foundation/Json.h"
#include "foundation/Uuid.h"
#include "support/TemporaryDirectory.h"

namespace nookery::testing {

/// Where reports are uploaded to, below a test's folder.
inline const Path uploadedReports =
    "drive/iCloud.com.kestrel.Nookery/Documents/NookeryFieldReports";

/// A report as the phone uploads it, to be spoilt in any way before it is written.
struct UploadedReport {
    explicit UploadedReport(const Uuid& reportID, const std::string& title = "Roof survey");

    /// Lists a file; its content is written unless there is none yet.
    UploadedReport& attach(const std::string& storedName, std::optional<std::string> content);

    Uuid id;
    Json manifest;
    std::vector<std::pair<std::string, std::string>> files{};

    /// Writes the folder into the container of the cloud drive "drive" below `home`.
    void upload(const TemporaryDirectory& home) const;
    /// The folder, below `home`.
    Path folder() const { return uploadedReports / id.toString(); }
};

/// Every file below the folder with its whole content, and every link and folder: equal only when
/// nothing was touched.
std::string everythingBelow(FileSystem& files, const Path& folder);

}  // namespace nookery::testing
