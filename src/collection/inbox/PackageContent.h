#pragma once

#include <stop_token>
#include <string>
#include <vector>

#include "collection/inbox/InboxScan.h"
#include "platform/ContentDigest.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

struct PackageFile {
    Path relative;  ///< below the package
    Sha256Digest digest;
    FileStatus status;  ///< of the file that was read
};

/// Reads the named files of a package. Throws FileError, Cancelled, or Error for one that changes
/// meanwhile; a file behind a link is refused.
std::vector<PackageFile> digestPackage(const Platform& platform, const Path& package,
                                       const std::vector<Path>& relativePaths,
                                       std::stop_token stop);

/// One digest for a file's name in its package and its content, in hexadecimal.
std::string fingerprint(const ContentDigester& digester, const PackageFile& file);

/// A package folder copied into `Items` under a temporary name, verified and synced.
struct PackageCopy {
    Path place;
    std::vector<PackageFile> files;  ///< as they lie in the copy
};

/// Copies the files, which were digested before, with the folders that they need. Throws as
/// digestPackage, or Error when a file is not the one that was digested; leaves no copy then.
PackageCopy copyPackage(const Platform& platform, const LibraryLayout& layout, const Path& package,
                        const std::vector<PackageFile>& files, std::stop_token stop);

}  // namespace nookery
