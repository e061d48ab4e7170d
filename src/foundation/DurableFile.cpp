#include "foundation/DurableFile.h"

#include <vector>

#include "foundation/Uuid.h"

namespace nookery {
namespace {

constexpr std::size_t chunkByteCount = 1 << 18;

/// Removes an unfinished file when its making fails. That removal may fail too (the disk is gone,
/// the folder turned read-only); the first failure is the one to report.
void removeQuietly(FileSystem& files, const Path& path) noexcept {
    try {
        files.removeFile(path);
    } catch (const Error&) {
    }
}

}  // namespace

Path temporaryBeside(const Path& path) {
    return path.parent_path() / (std::string(temporaryPrefix) + Uuid::random().toString());
}

void replaceDurably(FileSystem& files, const Path& path,
                    const std::function<void(WritableFile&)>& write) {
    const Path temporary = temporaryBeside(path);
    const auto file = files.createFile(temporary);
    try {
        write(*file);
        file->sync();
        file->close();
        files.rename(temporary, path);
    } catch (const std::exception&) {
        removeQuietly(files, temporary);
        throw;
    }
    files.syncDirectory(path.has_parent_path() ? path.parent_path() : Path("."));
}

void writeDurably(FileSystem& files, const Path& path, std::string_view content) {
    replaceDurably(files, path,
                   [&](WritableFile& file) { file.write(std::as_bytes(std::span(content))); });
}

void copyNewFile(FileSystem& files, const Path& from, const Path& to,
                 const std::function<void(std::span<const std::byte>)>& observe) {
    const auto source = files.openForReading(from);
    const auto target = files.createFile(to);
    try {
        std::vector<std::byte> buffer(chunkByteCount);
        while (const std::size_t count = source->read(buffer)) {
            const auto chunk = std::span<const std::byte>(buffer).first(count);
            if (observe) observe(chunk);
            target->write(chunk);
        }
        target->sync();
        target->close();
    } catch (const Error&) {
        removeQuietly(files, to);
        throw;
    }
}

}  // namespace nookery
