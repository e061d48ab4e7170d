#include "archive/ArchivePlan.h"

#include <algorithm>
#include <cerrno>

#include "archive/ArchiveError.h"
#include "archive/ArchivePlaces.h"
#include "collection/originals/ManagedOriginal.h"
#include "collection/originals/OriginalNames.h"
#include "foundation/DurableFile.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

std::vector<DirectoryEntry> listOrRefuse(FileSystem& files, const Path& folder,
                                         const std::string& refusal) {
    try {
        auto entries = files.list(folder);
        std::sort(entries.begin(), entries.end(), [](const auto& left, const auto& right) {
            return left.name.native() < right.name.native();
        });
        return entries;
    } catch (const FileError& error) {
        throw ArchiveError::verificationFailed(refusal + ": " + error.description());
    }
}

}  // namespace

void ArchivePlan::addManagedOriginals(const CrumbItemList& items) {
    folders_.emplace_back(archive::originalsName);
    const bool someAreManaged =
        std::any_of(items.begin(), items.end(), [this](const CrumbItemPointer& item) {
            return item->filePath && nookery::managedOriginal(layout_, *item->filePath);
        });
    if (!someAreManaged && !files_.statusFollowingLinks(layout_.items())) return;
    addTree(
        layout_.items(), std::string(archive::originalsName),
        {.list = "Cannot enumerate Items", .link = "Symbolic link in Items: ", .other = nullptr});
}

void ArchivePlan::addReceiptOriginals() {
    if (!files_.statusFollowingLinks(layout_.receiptOriginals())) return;
    const std::string target(archive::receiptOriginalsName);
    folders_.emplace_back(Path(target).parent_path().native());
    folders_.push_back(target);
    addTree(layout_.receiptOriginals(), target,
            {.list = "Cannot enumerate receipt originals",
             .link = "Receipt original is a symbolic link: ",
             .other = "Unsupported receipt original: "});
}

void ArchivePlan::addTree(const Path& source, const std::string& target, const Refusals& refusals) {
    for (const DirectoryEntry& entry : listOrRefuse(files_, source, refusals.list)) {
        addEntry(source / entry.name, entry, target, refusals);
    }
}

void ArchivePlan::addEntry(const Path& source, const DirectoryEntry& entry,
                           const std::string& target, const Refusals& refusals) {
    // What interrupted writes left behind is nobody's original.
    if (entry.name.native().starts_with(temporaryPrefix)) return;
    if (entry.type == FileType::symbolicLink) {
        throw ArchiveError::verificationFailed(refusals.link + displayName(source));
    }
    const bool isFolder = entry.type == FileType::directory;
    if (!isFolder && entry.type != FileType::regular) {
        if (refusals.other == nullptr) return;
        throw ArchiveError::verificationFailed(refusals.other + displayName(source));
    }
    const std::string path = freePath(target, entry.name);
    bySource_[source.native()] = path;
    if (isFolder) {
        folders_.push_back(path);
        addTree(source, path, refusals);
        return;
    }
    if (!files_.status(source)) throw FileError("find", source, ENOENT);
    copies_.push_back({source, path});
}

/// The entry's own name wherever the manifest can say it; names that are not UTF-8 are given one
/// that is.
std::string ArchivePlan::freePath(const std::string& folder, const Path& name) {
    const Path wished = isValidUtf8(name.native()) ? name : originalName(name);
    const Path free = freeName(wished, [&](const Path& candidate) {
        return taken_.contains(folder + "/" + candidate.native());
    });
    std::string path = folder + "/" + free.native();
    taken_.insert(path);
    return path;
}

void ArchivePlan::addRecords(const CrumbItemList& items) {
    for (const CrumbItemPointer& item : items) {
        records_.push_back({item, std::nullopt});
        if (!item->filePath) continue;
        records_.back().exportedOriginal = exportedOriginal(*item->filePath);
        if (!records_.back().exportedOriginal) addMissing(displayName(*item->filePath));
    }
}

/// Once for each original, however many memories share it.
void ArchivePlan::addMissing(const std::string& original) {
    const bool known = std::find(missing_.begin(), missing_.end(), original) != missing_.end();
    if (!known) missing_.push_back(original);
}

/// None when the original is not there.
std::optional<std::string> ArchivePlan::exportedOriginal(const Path& original) {
    if (!original.is_absolute() || original.native().find('\0') != std::string::npos) {
        return std::nullopt;
    }
    const auto inItems = pathInItems(original);
    return inItems ? managedOriginal(*inItems) : linkedOriginal(original);
}

/// Below `Items`, whether the record spells the folder as we do or by way of a link.
std::optional<Path> ArchivePlan::pathInItems(const Path& original) const {
    const Path normal = original.lexically_normal();
    if (const auto managed = nookery::managedOriginal(layout_, original)) {
        return managed->lexically_relative(layout_.items());
    }
    const auto items = files_.resolve(layout_.items());
    const auto folder = files_.resolve(normal.parent_path());
    if (!items || !folder) return std::nullopt;
    const Path relative = (*folder / normal.filename()).lexically_relative(*items);
    const bool isBelow = !relative.empty() && *relative.begin() != "..";
    return isBelow ? std::optional(relative) : std::nullopt;
}

std::optional<std::string> ArchivePlan::managedOriginal(const Path& original) const {
    const auto found = bySource_.find((layout_.items() / original).native());
    return found == bySource_.end() ? std::nullopt : std::optional(found->second);
}

/// Copies a linked original once, however many memories share it.
std::optional<std::string> ArchivePlan::linkedOriginal(const Path& original) {
    const std::string source = original.lexically_normal().native();
    if (const auto known = bySource_.find(source); known != bySource_.end()) return known->second;
    const auto status = files_.status(original);
    const bool isFolder = status && status->type == FileType::directory;
    if (!isFolder && (!status || status->type != FileType::regular)) return std::nullopt;
    const std::string target(archive::externalOriginalsName);
    if (taken_.insert(target).second) folders_.push_back(target);
    addEntry(source, {original.lexically_normal().filename(), status->type}, target,
             {.list = "Cannot enumerate a linked original",
              .link = "Symbolic link in a linked original: ",
              .other = nullptr});
    return bySource_.at(source);
}

}  // namespace nookery
