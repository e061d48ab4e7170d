#include "archive/ArchiveError.h"

namespace nookery {

ArchiveError ArchiveError::missingOriginals(const std::vector<std::string>& paths) {
    std::string description = "Archive not completed. Missing originals:";
    for (const std::string& path : paths) description += "\n" + path;
    return {Case::missingOriginals, description};
}

ArchiveError ArchiveError::sqlite(const std::string& message) {
    return {Case::sqlite, "SQLite backup error: " + message};
}

ArchiveError ArchiveError::verificationFailed(const std::string& message) {
    return {Case::verificationFailed, "Archive verification failed: " + message};
}

ArchiveError ArchiveError::invalidLocation() {
    return {Case::invalidLocation, "Choose a new archive folder outside NOOKERY's live storage."};
}

}  // namespace nookery
