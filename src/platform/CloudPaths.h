#pragma once

#include "foundation/Error.h"
#include "foundation/FileSystem.h"

namespace nookery {

/// A link lies where a folder that the phone and this computer share should be.
class CloudFolderIsLink : public Error {
  public:
    explicit CloudFolderIsLink(const Path& link);
};

/// The folder `below` the shared container, which need not be there. Whoever can change the cloud
/// drive could put a link in its place, or on the way to it, and have the person's own folders
/// read, emptied or written to; so every use of a shared folder asks here first. Throws
/// CloudFolderIsLink when the container or a folder below it is a link (the cloud folder that holds
/// the container may be one), and FileError.
Path sharedFolder(FileSystem& files, const Path& container, const Path& below);

}  // namespace nookery
