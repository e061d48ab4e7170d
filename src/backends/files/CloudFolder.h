#pragma once

#include <memory>
#include <optional>

#include "foundation/FileSystem.h"
#include "platform/CloudContainer.h"
#include "platform/UserDefaults.h"

namespace nookery {

/// The container as a plain folder inside a cloud drive that a sync client keeps (Nextcloud,
/// Syncthing, Dropbox, rclone). The drive's folder is `given`, or else the setting's. The container
/// must exist there already. It is never created: an unmounted drive shows an empty folder, and a
/// container made there would hide the real one.
std::unique_ptr<CloudContainer> makeCloudFolder(FileSystem& files, const UserDefaults& defaults,
                                                std::optional<Path> given);

}  // namespace nookery
