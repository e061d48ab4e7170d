#include "mobilelink/LinkFolders.h"

#include "foundation/DurableFile.h"
#include "foundation/Uuid.h"

namespace nookery {
namespace {

constexpr double dayInSeconds = 86'400;

bool isTemporaryName(std::string_view name) {
    return name.starts_with(temporaryPrefix) && Uuid::parse(name.substr(temporaryPrefix.size()));
}

}  // namespace

void removeInterruptedWrites(FileSystem& files, const Path& folder, Timestamp now) {
    for (const DirectoryEntry& entry : files.list(folder)) {
        if (entry.type != FileType::regular || !isTemporaryName(entry.name.native())) continue;
        const auto status = files.status(folder / entry.name);
        if (!status) continue;
        const Timestamp modified{static_cast<double>(status->modifiedNanoseconds) / 1e9};
        if (secondsBetween(modified, now) > dayInSeconds) files.removeFile(folder / entry.name);
    }
}

}  // namespace nookery
