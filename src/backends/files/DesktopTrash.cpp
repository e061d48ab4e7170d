#include "backends/files/DesktopTrash.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <functional>
#include <map>

namespace nookery {
namespace {

constexpr std::string_view infoSuffix = ".trashinfo";
constexpr std::size_t maximumNameByteCount = 255;
constexpr std::size_t maximumInfoByteCount = std::size_t{64} << 10;

/// A trash folder. The paths in its info files are relative to `top`; absolute when `top` is empty.
struct TrashFolder {
    Path folder;
    Path top;
};

std::string percentEncoded(const Path& path) {
    std::string text;
    for (const char c : path.native()) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 &&
            (std::isalnum(byte) || std::string_view("/-._~").find(c) != std::string_view::npos)) {
            text += c;
        } else {
            text += fmt::format("%{:02X}", byte);
        }
    }
    return text;
}

/// "NAME", "NAME.2", ..., short enough that the name of the info file fits too.
std::string trashName(const Path& name, int attempt) {
    const std::string suffix = attempt == 1 ? "" : fmt::format(".{}", attempt);
    const std::size_t room = maximumNameByteCount - infoSuffix.size() - suffix.size();
    return name.native().substr(0, room) + suffix;
}

class DesktopTrash final : public Trash {
  public:
    DesktopTrash(FileSystem& files, const Clock& clock, Path userData)
        : files_(files), clock_(clock), userData_(std::move(userData)) {}

    Path moveToTrash(const Path& path) override {
        const auto status = files_.status(path);
        if (!status) throw FileError("move to the trash", path, ENOENT);
        const TrashFolder trash = folderFor(path, status->device);
        for (int attempt = 1;; ++attempt) {
            if (const auto place = tryName(trash, path, trashName(path.filename(), attempt))) {
                return *place;
            }
        }
    }

    std::vector<Path> placesOf(const Path& original) override {
        const auto parent = files_.statusFollowingLinks(original.parent_path());
        if (!parent) return {};
        const TrashFolder trash = folderFor(original, parent->device);
        const Path infos = trash.folder / "info";
        if (!files_.status(infos)) return {};
        const std::string wanted =
            "\nPath=" + percentEncoded(pathIn(trash, original)) + "\nDeletionDate=";
        std::multimap<std::string, Path, std::greater<>> places;  // by their date
        for (const DirectoryEntry& entry : files_.list(infos)) {
            const std::string text = textOf(infos / entry.name);
            const std::size_t found = text.find(wanted);
            const Path place = trash.folder / "files" / entry.name.stem();
            if (found == std::string::npos || !files_.status(place)) continue;
            places.emplace(text.substr(found + wanted.size()), place);
        }
        std::vector<Path> ordered;
        for (const auto& [date, place] : places) ordered.push_back(place);
        return ordered;
    }

    /// Without its info file a name in the trash is free again.
    void putBack(const Path& place, const Path& destination) override {
        files_.renameExclusive(place, destination);
        removeQuietly(place.parent_path().parent_path() / "info" /
                      (place.filename().native() + std::string(infoSuffix)));
    }

  private:
    TrashFolder folderFor(const Path& path, std::uint64_t device) {
        createDirectories(files_, userData_);
        const auto home = files_.statusFollowingLinks(userData_);
        if (home && home->device == device) return {userData_ / "Trash", {}};
        Path top = path.parent_path();
        for (Path above = top.parent_path(); above != top && isOn(above, device);
             above = top.parent_path()) {
            top = above;
        }
        const Path folder = top / fmt::format(".Trash-{}", ::getuid());
        // On a disk that others may write to, a link could lead anywhere.
        const auto found = files_.status(folder);
        if (found && found->type != FileType::directory) {
            throw FileError("move to the trash", folder, ENOTDIR);
        }
        return {folder, top};
    }

    static Path pathIn(const TrashFolder& trash, const Path& path) {
        return trash.top.empty() ? path : path.lexically_relative(trash.top);
    }

    /// Of an info file; empty when it cannot be read.
    std::string textOf(const Path& info) {
        try {
            return readWholeFile(files_, info, maximumInfoByteCount);
        } catch (const FileError&) {
            return {};
        }
    }

    bool isOn(const Path& folder, std::uint64_t device) {
        const auto status = files_.statusFollowingLinks(folder);
        return status && status->device == device;
    }

    /// Writes the info file before the move: every file in the trash can be put back. None when the
    /// name is taken.
    std::optional<Path> tryName(const TrashFolder& trash, const Path& path,
                                const std::string& name) {
        const Path place = trash.folder / "files" / name;
        const Path info = trash.folder / "info" / (name + std::string(infoSuffix));
        createDirectories(files_, place.parent_path());
        createDirectories(files_, info.parent_path());
        if (files_.status(place) || files_.status(info)) return std::nullopt;
        try {
            writeInfo(info, pathIn(trash, path));
            files_.renameExclusive(path, place);
        } catch (const FileError& error) {
            const bool taken = error.errorNumber() == EEXIST;
            if (!(taken && error.path() == info)) removeQuietly(info);
            if (taken) return std::nullopt;
            throw;
        }
        files_.syncDirectory(place.parent_path());
        return place;
    }

    void writeInfo(const Path& info, const Path& original) {
        const CalendarFields now = localFields(clock_.now());
        const std::string text =
            fmt::format("[Trash Info]\nPath={}\nDeletionDate={:04}-{:02}-{:02}T{:02}:{:02}:{:02}\n",
                        percentEncoded(original), now.year, now.month, now.day, now.hour,
                        now.minute, now.second);
        const auto file = files_.createFile(info);
        file->write(std::as_bytes(std::span(text)));
        file->sync();
        file->close();
        files_.syncDirectory(info.parent_path());
    }

    void removeQuietly(const Path& info) {
        try {
            files_.removeFile(info);
        } catch (const FileError&) {
            // Desktops ignore an info file without its file.
        }
    }

    FileSystem& files_;
    const Clock& clock_;
    Path userData_;
};

}  // namespace

std::unique_ptr<Trash> makeDesktopTrash(FileSystem& files, const Clock& clock, Path userData) {
    return std::make_unique<DesktopTrash>(files, clock, std::move(userData));
}

}  // namespace nookery
