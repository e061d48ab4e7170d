#include "collection/capture/CaptureWalk.h"

#include <algorithm>

namespace nookery {
namespace {

FoundSource failure(const Path& path, const std::string& message) {
    return {displayName(path), LeftOut{message, true}};
}

FoundSource skipped(const Path& path, const std::string& message) {
    return {displayName(path), LeftOut{message, false}};
}

constexpr auto libraryMessage = "This is the library itself.";
constexpr auto linkMessage = "A symbolic link inside a folder is not followed.";
constexpr auto specialMessage = "Neither a file nor a folder.";

}  // namespace

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
    const Path folder = level.folder;  // a copy: entering a folder moves the levels
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

std::optional<FoundSource> CaptureWalk::beginNamed(const CaptureFile& file) try {
    const Path& path = file.path;
    const auto resolved = file.mayBeLink ? files_.resolve(path) : path;
    const auto status = resolved ? files_.status(*resolved) : std::nullopt;
    if (!status) return failure(path, "There is no such file or folder.");
    switch (status->type) {
        case FileType::regular:
            return FoundSource{displayName(path), FoundFile{*resolved, path.filename()}, true};
        case FileType::directory:
            return enter(path, true);
        default:
            return failure(path, specialMessage);
    }
} catch (const FileError& error) {
    return failure(file.path, error.description());
}

std::optional<FoundSource> CaptureWalk::visit(const Path& folder, const DirectoryEntry& entry) {
    const Path path = folder / entry.name;
    switch (entry.type) {
        case FileType::regular:
            return FoundSource{displayName(path), FoundFile{path, entry.name}};
        case FileType::directory:
            return enter(path, false);
        case FileType::symbolicLink:
            return skipped(path, linkMessage);
        case FileType::other:
            return skipped(path, specialMessage);
    }
    return skipped(path, specialMessage);
}

std::optional<FoundSource> CaptureWalk::enter(const Path& folder, bool named) try {
    if (isLibrary(folder)) {
        return named ? failure(folder, libraryMessage) : skipped(folder, libraryMessage);
    }
    auto entries = files_.list(folder);
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
