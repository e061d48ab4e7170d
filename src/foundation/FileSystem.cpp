#include "foundation/FileSystem.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "foundation/DurableFile.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

std::string_view adviceFor(int errorNumber) {
    switch (errorNumber) {
        case ENOSPC:
        case EDQUOT:
            return " Free some space and try again.";
        case EACCES:
        case EPERM:
            return " Check who may read and write there.";
        case EROFS:
            return " Choose a place that can be written to.";
        default:
            return "";
    }
}

/// A message shows the folder of a temporary file: its name means nothing to the person.
std::string shownPlace(const Path& path) {
    if (!path.filename().native().starts_with(temporaryPrefix)) return displayName(path);
    const Path folder = path.parent_path();
    return "a file in " + (folder.empty() ? "the working folder" : displayName(folder));
}

std::string describe(std::string_view operation, const Path& path, int errorNumber) {
    return fmt::format("Could not {} {}: {}.{}", operation, shownPlace(path),
                       std::generic_category().message(errorNumber), adviceFor(errorNumber));
}

void walkBelow(FileSystem& files, const Path& root, const Path& relative,
               const std::function<void(const Path&, FileType)>& visit) {
    auto entries = files.list(root / relative);
    std::sort(entries.begin(), entries.end(), [](const auto& left, const auto& right) {
        return left.name.native() < right.name.native();
    });
    for (const DirectoryEntry& entry : entries) {
        const Path child = relative / entry.name;
        if (entry.type == FileType::directory) {
            walkBelow(files, root, child, visit);
        } else {
            visit(child, entry.type);
        }
    }
}

}  // namespace

std::string displayName(const Path& path) {
    std::string shown;
    std::string_view rest = path.native();
    while (!rest.empty()) {
        const std::size_t valid = validUtf8Prefix(rest);
        shown += rest.substr(0, valid);
        rest.remove_prefix(valid);
        if (rest.empty()) break;
        shown += fmt::format("\\x{:02X}", static_cast<unsigned char>(rest.front()));
        rest.remove_prefix(1);
    }
    return shown;
}

FileError::FileError(std::string_view operation, Path path, int errorNumber)
    : Error(describe(operation, path, errorNumber)),
      path_(std::move(path)),
      errorNumber_(errorNumber) {}

bool FileError::isNotFound() const { return errorNumber_ == ENOENT || errorNumber_ == ENOTDIR; }

bool FileError::isDiskFull() const { return errorNumber_ == ENOSPC || errorNumber_ == EDQUOT; }

void createDirectories(FileSystem& files, const Path& path) {
    if (path.empty()) return;
    const auto existing = files.statusFollowingLinks(path);
    if (existing && existing->type == FileType::directory) return;
    const Path parent = path.parent_path();
    if (parent != path) createDirectories(files, parent);
    files.createDirectory(path);
    files.syncDirectory(parent.empty() ? Path(".") : parent);
}

void removeTree(FileSystem& files, const Path& path) {
    const auto status = files.status(path);
    if (!status) return;
    if (status->type != FileType::directory) {
        files.removeFile(path);
        return;
    }
    for (const DirectoryEntry& entry : files.list(path)) removeTree(files, path / entry.name);
    files.removeDirectory(path);
}

std::string readWholeFile(FileSystem& files, const Path& path, std::size_t maximumByteCount) {
    const auto file = files.openForReading(path);
    std::string content;
    std::array<std::byte, 65536> buffer;
    while (const std::size_t count = file->read(buffer)) {
        if (content.size() + count > maximumByteCount) throw FileError("read", path, EFBIG);
        content.append(reinterpret_cast<const char*>(buffer.data()), count);
    }
    return content;
}

std::string readFileHead(FileSystem& files, const Path& path, std::size_t byteCount) {
    const auto file = files.openForReading(path);
    std::string head(byteCount, '\0');
    std::size_t size = 0;
    while (size < byteCount) {
        const std::size_t count = file->read(std::as_writable_bytes(std::span(head)).subspan(size));
        if (count == 0) break;
        size += count;
    }
    head.resize(size);
    return head;
}

void walkTree(FileSystem& files, const Path& directory,
              const std::function<void(const Path& relative, FileType type)>& visit) {
    walkBelow(files, directory, Path(), visit);
}

}  // namespace nookery
