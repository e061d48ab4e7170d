#pragma once

#include <memory>
#include <optional>

#include "foundation/FileSystem.h"
#include "platform/CloudContainer.h"
#include "platform/UserDefaults.h"

namespace nookery {

/// The container as a plain folder inside a cloud drive that some sync client keeps (Nextcloud,
/// Syncthing, Dropbox, rclone). The drive's folder is `given`, else what the setting names. The
/// container must exist there already: a drive that is not mounted shows an empty folder, and
/// nothing may be made in its place.
std::unique_ptr<CloudContainer> makeCloudFolder(FileSystem& files, const UserDefaults& defaults,
                                                std::optional<Path> given);

}  // namespace nookery
