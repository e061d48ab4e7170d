#include "platform/CloudPaths.h"

namespace nookery {
namespace {

void demandNoLink(FileSystem& files, const Path& folder) {
    const auto status = files.status(folder);
    if (status && status->type == FileType::symbolicLink) throw CloudFolderIsLink(folder);
}

}  // namespace

CloudFolderIsLink::CloudFolderIsLink(const Path& link)
    : Error(displayName(link) + " is a link, so nothing is read or written through it.",
            "Put a real folder in its place; only the cloud folder itself may be a link.") {}

Path sharedFolder(FileSystem& files, const Path& container, const Path& below) {
    Path folder = container;
    demandNoLink(files, folder);
    for (const Path& name : below) demandNoLink(files, folder /= name);
    return folder;
}

}  // namespace nookery
