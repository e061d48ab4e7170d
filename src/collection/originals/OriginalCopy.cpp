#include "collection/originals/OriginalCopy.h"

#include <optional>

#include "foundation/DurableBatch.h"
#include "foundation/DurableFile.h"

namespace nookery {
namespace {

constexpr std::size_t chunkByteCount = 1 << 18;
constexpr std::size_t headByteCount = 1 << 16;
constexpr int copyAttempts = 2;

/// The copy keeps the time that the person knows the file by. Some network file systems refuse
/// that; a copy with a new time is still a whole copy.
void setModifiedQuietly(FileSystem& files, const Path& path, std::int64_t nanoseconds) {
    try {
        files.setModified(path, nanoseconds);
    } catch (const FileError&) {
    }
}

}  // namespace

bool removeQuietly(FileSystem& files, const Path& path) {
    try {
        files.removeFile(path);
        return true;
    } catch (const FileError& error) {
        return error.isNotFound();
    }
}

OriginalCopier::OriginalCopier(const Platform& platform, Path folder, std::stop_token stop)
    : platform_(platform),
      folder_(std::move(folder)),
      stop_(std::move(stop)),
      buffer_(chunkByteCount) {}

OriginalCopy OriginalCopier::copy(const Path& source, const Path& name) {
    for (int attempt = 0; attempt < copyAttempts; ++attempt) {
        const auto opened = platform_.files.openForReading(source);
        if (auto copy = copyUnlessChanging(*opened, name)) return std::move(*copy);
    }
    throw Error("It changes while it is being copied. Add it again when it is at rest.");
}

std::optional<OriginalCopy> OriginalCopier::copyUnlessChanging(ReadableFile& source,
                                                               const Path& name) {
    const FileStatus before = source.status();
    const auto digest = platform_.digester.sha256();
    OriginalCopy copy;
    copy.place = temporaryBeside(folder_ / "original");
    copy.file = platform_.files.createFile(copy.place);
    try {
        const std::int64_t byteCount = pump(source, *digest, copy, name);
        const FileStatus after = source.status();
        if (!after.sameContentMarks(before) || byteCount != after.byteCount) {
            removeQuietly(platform_.files, copy.place);
            return std::nullopt;
        }
        copy.digest = digest->finish();
        copy.source = after;
        setModifiedQuietly(platform_.files, copy.place, before.modifiedNanoseconds);
        const auto marks = platform_.files.status(copy.place);
        if (!marks) throw FileError("find", copy.place, ENOENT);
        copy.marks = *marks;
        return copy;
    } catch (const FileError& error) {
        removeQuietly(platform_.files, copy.place);
        // The temporary name would mean nothing to the reader.
        if (error.path() != copy.place) throw;
        throw FileError("copy into", folder_.parent_path(), error.errorNumber());
    } catch (const std::exception&) {
        removeQuietly(platform_.files, copy.place);
        throw;
    }
}

std::int64_t OriginalCopier::pump(ReadableFile& source, Sha256Stream& digest, OriginalCopy& copy,
                                  const Path& name) {
    std::int64_t byteCount = 0;
    while (const std::size_t count = source.read(buffer_)) {
        if (stop_.stop_requested()) throw Cancelled();
        const auto chunk = std::span<const std::byte>(buffer_).first(count);
        if (byteCount == 0) {
            const auto head = chunk.first(std::min(count, headByteCount));
            copy.type = platform_.contentTypes.detect(
                {reinterpret_cast<const char*>(head.data()), head.size()}, name);
        }
        digest.update(chunk);
        copy.file->write(chunk);
        byteCount += static_cast<std::int64_t>(count);
    }
    if (byteCount == 0) copy.type = platform_.contentTypes.detect({}, name);
    return byteCount;
}

/// What is read back comes from the system's cache, so this finds a copy that was cut short,
/// mangled by a file system or written to by another program, not a bad sector: that would take a
/// second pass over the device, minutes for a large folder. The digest is kept, and `verify`
/// holds the file on the device against it later.
void OriginalCopier::verify(const OriginalCopy& copy) {
    const auto digest = platform_.digester.sha256();
    const auto opened = platform_.files.openForReading(copy.place);
    while (const std::size_t count = opened->read(buffer_)) {
        if (stop_.stop_requested()) throw Cancelled();
        digest->update(std::span<const std::byte>(buffer_).first(count));
    }
    if (digest->finish() != copy.digest) {
        throw Error("The copy in the library does not match the file. Add it again.");
    }
}

void syncTogether(std::span<OriginalCopy* const> copies) {
    std::vector<WritableFile*> files;
    for (OriginalCopy* copy : copies) files.push_back(copy->file.get());
    syncTogether(std::span<WritableFile* const>(files));
}

}  // namespace nookery
