#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/FileSystem.h"

namespace nookery {

/// The folder that the phone and this computer share, inside the user's own cloud drive.
inline constexpr std::string_view cloudContainerName = "iCloud.com.kestrel.Nookery";

/// The setting that names the cloud drive's folder on this computer.
inline constexpr std::string_view cloudFolderDefaultsKey = "NOOKERY.CloudFolder.v1";

struct CloudLookup {
    std::optional<Path> container{};  ///< an existing folder; none while it is unavailable
    std::string reason{};             ///< why it is unavailable, and what to do
    bool isWanted = true;             ///< false when no cloud folder was ever named
};

/// How much of a file a sync client has brought to this computer.
enum class CloudPresence {
    local,        ///< all of it
    placeholder,  ///< the client shows that it exists, without its content
    absent,       ///< nothing of it is here
};

/// The shared folder. It may be unavailable, appear later, and disappear at any time. An
/// unavailable or empty folder says nothing about what the user has. Any thread.
class CloudContainer {
  public:
    virtual ~CloudContainer() = default;

    /// Looked up anew each time. Throws Error only when the setting cannot be read.
    virtual CloudLookup locate() const = 0;

    /// How much of `file`, by its real name, is here. Throws FileError.
    virtual CloudPresence presence(const Path& file) const = 0;
    /// The real name behind a placeholder's; none when the name is not a placeholder's.
    virtual std::optional<Path> nameBehindPlaceholder(const Path& name) const = 0;
    /// Asks the sync client for the content of a file that is only a placeholder. Returns at once.
    /// Throws Error when the client cannot be asked; the text says what the person can do.
    virtual void requestDownload(const Path& file) = 0;
};

}  // namespace nookery
