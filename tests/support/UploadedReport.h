#pragma once

#include <string>
#include <vector>

#include "foundation/Json.h"
#include "foundation/Uuid.h"
#include "support/TestPlatform.h"

namespace nookery::testing {

/// A report as the phone uploads it, to be spoilt in any way before it is written.
struct UploadedReport {
    explicit UploadedReport(const Uuid& reportID, const std::string& title = "Roof survey");

    /// Lists a file; its content is written unless there is none yet.
    UploadedReport& attach(const std::string& storedName, std::optional<std::string> content);

    Uuid id;
    Json manifest;
    std::vector<std::pair<std::string, std::string>> files{};

    /// Writes the folder below the platform's cloud container.
    void upload(const TestPlatform& world) const;
    Path folder() const { return Path("Documents/NookeryFieldReports") / id.toString(); }
};

/// Every file below the folder with its whole content, and every link and folder: equal only when
/// nothing was touched.
std::string everythingBelow(FileSystem& files, const Path& folder);

}  // namespace nookery::testing
