#include "receipts/ReceiptOriginals.h"

#include "collection/originals/OriginalCopy.h"
#include "collection/originals/OriginalNames.h"
#include "foundation/DurableFile.h"
#include "foundation/Uuid.h"

namespace nookery {
namespace {

/// The file itself, when `source` is a link to it.
Path realFile(FileSystem& files, const Path& source) {
    const auto real = files.resolve(source);
    if (!real) throw FileError("find", source, ENOENT);
    const auto status = files.status(*real);
    if (status && status->type == FileType::directory) {
        throw Error(displayName(source) + " is a folder. Choose the receipts in it.");
    }
    const bool isFile = status && status->type == FileType::regular;
    if (isFile && status->byteCount == 0) throw Error(displayName(source) + " is empty.");
    return *real;
}

/// The extension in a spelling that every file system takes; empty when it is too long for one.
std::string plainExtension(const Path& source) {
    constexpr std::size_t longest = 16;
    const std::string extension = originalName(source.filename()).extension();
    return extension.size() <= longest ? extension : "";
}

/// Syncs the content before the name, so that a name that survives a power cut has a whole file.
void placeDurably(const Platform& platform, OriginalCopy& copy, const Path& place) {
    OriginalCopy* const copies[] = {&copy};
    syncTogether(copies);
    copy.file->close();
    copy.file.reset();
    platform.files.renameExclusive(copy.place, place);
    copy.place = place;
    platform.files.syncDirectory(place.parent_path());
}

}  // namespace

PreservedReceipt preserveReceipt(const Platform& platform, const LibraryLayout& layout,
                                 const Path& source, std::stop_token stop) {
    const Path real = realFile(platform.files, source);
    createDirectories(platform.files, layout.receiptOriginals());
    OriginalCopier copier(platform, layout.receiptOriginals(), std::move(stop));
    OriginalCopy copy = copier.copy(real, source.filename());
    const Path name = Uuid::random().toString() + plainExtension(source);
    try {
        copier.verify(copy);
        placeDurably(platform, copy, layout.receiptOriginals() / name);
    } catch (const std::exception&) {
        copy.file.reset();
        removeQuietly(platform.files, copy.place);
        throw;
    }
    const Path relative = copy.place.lexically_relative(layout.library());
    return {copy.place,
            {.relativePath = relative,
             .memoryID = {},
             .digest = copy.digest,
             .byteCount = copy.marks.byteCount,
             .modifiedNanoseconds = copy.marks.modifiedNanoseconds}};
}

void removeInterruptedCopies(FileSystem& files, const LibraryLayout& layout) {
    if (!files.statusFollowingLinks(layout.receiptOriginals())) return;
    for (const DirectoryEntry& entry : files.list(layout.receiptOriginals())) {
        if (!entry.name.native().starts_with(temporaryPrefix)) continue;
        removeQuietly(files, layout.receiptOriginals() / entry.name);
    }
}

}  // namespace nookery
