#include "collection/capture/CaptureWalk.h"

#include <algorithm>

namespace nookery {
namespace {

FoundSource failure(const FoundPlace& place, const std::string& message) {
    return {displayName(place.shown), LeftOut{namingShown(message, place), true}};
}

FoundSource skipped(const FoundPlace& place, const std::string& message) {
    return {displayName(place.shown), LeftOut{message, false}};
}

constexpr auto libraryMessage = "This is the library itself.";
constexpr auto linkMessage = "A symbolic link inside a folder is not followed.";
constexpr auto specialMessage = "Neither a file nor a folder.";

}  // namespace

std::string namingShown(std::string message, const FoundPlace& place) {
    const std::string name = displayName(place.path);
    const std::size_t position = message.find(name);
    if (position == std::string::npos) return message;
    return message.replace(position, name.size(), displayName(place.shown));
}

CaptureWalk::CaptureWalk(FileSystem& files, LibraryLayout layout,
                         std::vector<CaptureSource> sources)
    : files_(files),
      layout_(std::move(layout)),
      sources_(std::move(sources)),
      waiting_(sources_.size()) {
    std::reverse(sources_.begin(), sources_.end());
}

std::optional<FoundSource> CaptureWalk::next() {
    while (!levels_.empty() || !sources_.empty()) {
        auto found = advance();
        if (!found) continue;
        ++givenOut_;
        return found;
    }
    return std::nullopt;
}

/// One entry or source further; none when that was a folder, which gives what it holds later.
std::optional<FoundSource> CaptureWalk::advance() {
    if (levels_.empty()) {
        CaptureSource source = std::move(sources_.back());
        sources_.pop_back();
        --waiting_;
        return begin(std::move(source));
    }
    Level& level = levels_.back();
    if (level.entries.empty()) {
        levels_.pop_back();
        return std::nullopt;
    }
    const DirectoryEntry entry = std::move(level.entries.back());
    level.entries.pop_back();
    if (entry.type != FileType::directory) --waiting_;
    const FoundPlace folder = level.folder;  // a copy: entering a folder moves the levels
    return visit(folder, entry);
}

std::optional<FoundSource> CaptureWalk::begin(CaptureSource source) {
    if (const auto* file = std::get_if<CaptureFile>(&source)) return beginNamed(*file);
    if (auto* link = std::get_if<CaptureLink>(&source)) {
        return FoundSource{link->url, std::move(*link), true};
    }
    auto& text = std::get<CaptureText>(source);
    return FoundSource{text.sourceName, std::move(text), true};
}

std::optional<FoundSource> CaptureWalk::beginNamed(const CaptureFile& file) {
    const Path& path = file.path;
    const FoundPlace place{path, file.shownPath.empty() ? path : file.shownPath};
    try {
        const auto resolved = file.mayBeLink ? files_.resolve(path) : path;
        const auto status = resolved ? files_.status(*resolved) : std::nullopt;
        if (!status) return failure(place, "There is no such file or folder.");
        if (status->type == FileType::directory) return enter(place, true);
        if (status->type != FileType::regular) return failure(place, specialMessage);
        return FoundSource{displayName(place.shown), FoundFile{*resolved, path.filename()}, true};
    } catch (const FileError& error) {
        return failure(place, error.description());
    }
}

std::optional<FoundSource> CaptureWalk::visit(const FoundPlace& folder,
                                              const DirectoryEntry& entry) {
    const FoundPlace place{folder.path / entry.name, folder.shown / entry.name};
    switch (entry.type) {
        case FileType::regular:
            return FoundSource{displayName(place.shown), FoundFile{place.path, entry.name}};
        case FileType::directory:
            return enter(place, false);
        case FileType::symbolicLink:
            return skipped(place, linkMessage);
        case FileType::other:
            return skipped(place, specialMessage);
    }
    return skipped(place, specialMessage);
}

std::optional<FoundSource> CaptureWalk::enter(const FoundPlace& folder, bool named) try {
    if (isLibrary(folder.path)) {
        return named ? failure(folder, libraryMessage) : skipped(folder, libraryMessage);
    }
    auto entries = files_.list(folder.path);
    std::sort(entries.begin(), entries.end(), [](const auto& left, const auto& right) {
        return left.name.native() > right.name.native();
    });
    waiting_ += static_cast<std::size_t>(std::count_if(
        entries.begin(), entries.end(),
        [](const DirectoryEntry& entry) { return entry.type != FileType::directory; }));
    levels_.push_back({folder, std::move(entries)});
    return std::nullopt;
} catch (const FileError& error) {
    return failure(folder, error.description());
}

bool CaptureWalk::isLibrary(const Path& folder) const {
    const auto status = files_.statusFollowingLinks(folder);
    for (const Path& own : {layout_.library(), layout_.items()}) {
        const auto ownStatus = files_.statusFollowingLinks(own);
        if (status && ownStatus && status->device == ownStatus->device &&
            status->inode == ownStatus->inode) {
            return true;
        }
    }
    return false;
}

}  // namespace nookery
