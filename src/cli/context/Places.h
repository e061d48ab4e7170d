#pragma once

#include <functional>
#include <optional>
#include <string>

#include "foundation/FileSystem.h"

namespace nookery::cli {

/// Where things lie for this run, all absolute.
struct Places {
    Path dataHome;    ///< the application-support folder; the library is "Crumb" in it
    Path configHome;  ///< the folder of the settings
    Path cacheHome;   ///< what can be made again
    Path userData;    ///< the desktop's own data folder, whatever is overridden
    std::optional<Path> keyStoreFile{};  ///< in place of the desktop's keyring
    std::optional<Path> cloudHome{};     ///< the cloud drive's folder, in place of the setting
    Path runtimeHome{};  ///< where processes of this user meet, until the machine is restarted

    bool operator==(const Places&) const = default;
};

/// Reads one environment variable; none when it is unset or empty.
using Environment = std::function<std::optional<std::string>(const char*)>;

/// The defaults follow the desktop's base folders. NOOKERY_DATA_HOME or `dataHome` (--data-home,
/// which wins) put the library elsewhere, with its settings and its cache inside that folder;
/// NOOKERY_CONFIG_HOME puts the settings elsewhere again. NOOKERY_KEYSTORE=file:PATH
/// names a key store; "secret-service" is the usual one. Throws Error when there is no home, or the
/// key store is of another kind.
Places findPlaces(const Environment& environment, const std::optional<std::string>& dataHome,
                  const Path& workingFolder);

/// The process's own environment; HOME falls back to what the system knows of the user.
Environment processEnvironment();

}  // namespace nookery::cli
