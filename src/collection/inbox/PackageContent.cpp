#include "collection/inbox/PackageContent.h"

#include <set>

#include "collection/originals/OriginalCopy.h"
#include "foundation/DurableFile.h"

namespace nookery {
namespace {

constexpr std::size_t chunkByteCount = 1 << 18;

/// A package is foreign: a link in the place of one of its folders would lead out of it.
void refuseLinks(FileSystem& files, const Path& package, const Path& relative) {
    Path folder = package;
    for (const Path& part : relative.parent_path()) {
        folder /= part;
        const auto status = files.status(folder);
        if (!status) throw FileError("find", folder, ENOENT);
        if (status->type != FileType::directory) {
            throw Error(displayName(folder) + " is not a folder of the package.");
        }
    }
}

PackageFile digestOne(const Platform& platform, const Path& package, const Path& relative,
                      const std::stop_token& stop) {
    refuseLinks(platform.files, package, relative);
    const auto opened = platform.files.openForReading(package / relative);
    const FileStatus before = opened->status();
    const auto digest = platform.digester.sha256();
    std::vector<std::byte> buffer(chunkByteCount);
    while (const std::size_t count = opened->read(buffer)) {
        if (stop.stop_requested()) throw Cancelled();
        digest->update(std::span<const std::byte>(buffer).first(count));
    }
    const FileStatus after = opened->status();
    if (!after.sameContentMarks(before)) {
        throw Error(displayName(package / relative) + " changes while it is being read.");
    }
    return {relative, digest->finish(), after};
}

/// Makes the folders above a file of the copy, and remembers them.
void makeFolders(FileSystem& files, const Path& place, const Path& relative,
                 std::set<Path>& folders) {
    Path folder = place;
    for (const Path& part : relative.parent_path()) {
        folder /= part;
        if (folders.insert(folder).second) files.createDirectory(folder);
    }
}

PackageFile copyOne(const Platform& platform, const Path& package, const PackageFile& file,
                    const Path& place, const std::stop_token& stop) {
    refuseLinks(platform.files, package, file.relative);
    const Path target = place / file.relative;
    OriginalCopier copier(platform, target.parent_path(), stop);
    OriginalCopy copy = copier.copy(package / file.relative, file.relative.filename());
    if (copy.digest != file.digest) {
        throw Error(displayName(package / file.relative) + " changes while it is being copied.");
    }
    copier.verify(copy);
    copy.file->sync();
    copy.file->close();
    platform.files.renameExclusive(copy.place, target);
    return {file.relative, file.digest, copy.marks};
}

}  // namespace

std::vector<PackageFile> digestPackage(const Platform& platform, const Path& package,
                                       const std::vector<Path>& relativePaths,
                                       std::stop_token stop) {
    std::vector<PackageFile> files;
    for (const Path& relative : relativePaths) {
        files.push_back(digestOne(platform, package, relative, stop));
    }
    return files;
}

std::string fingerprint(const ContentDigester& digester, const PackageFile& file) {
    const std::string text = file.relative.native() + '\0' + file.digest.toHex();
    const auto digest = digester.sha256();
    digest->update(std::as_bytes(std::span(text)));
    return digest->finish().toHex();
}

PackageCopy copyPackage(const Platform& platform, const LibraryLayout& layout, const Path& package,
                        const std::vector<PackageFile>& files, std::stop_token stop) {
    createDirectories(platform.files, layout.items());
    PackageCopy copy{.place = temporaryBeside(layout.items() / "package"), .files = {}};
    try {
        std::set<Path> folders{copy.place};
        platform.files.createDirectory(copy.place);
        for (const PackageFile& file : files) {
            makeFolders(platform.files, copy.place, file.relative, folders);
            copy.files.push_back(copyOne(platform, package, file, copy.place, stop));
        }
        for (const Path& folder : folders) platform.files.syncDirectory(folder);
        return copy;
    } catch (const std::exception&) {
        try {
            removeTree(platform.files, copy.place);
        } catch (const FileError&) {
            // The next start removes what bears a temporary name.
        }
        throw;
    }
}

}  // namespace nookery
