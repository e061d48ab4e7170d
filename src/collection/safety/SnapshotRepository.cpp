#include "collection/safety/SnapshotRepository.h"

#include <algorithm>

#include "collection/safety/RecoveryManifest.h"

namespace nookery {
namespace {

constexpr std::string_view removingPrefix = ".removing-";
constexpr std::size_t maximumManifestByteCount = 1 << 20;

Timestamp dateOf(const std::string& name) {
    return parseFolderTimestamp(name).value_or(Timestamp{});
}

std::int64_t bytesBelow(FileSystem& files, const Path& folder) {
    std::int64_t byteCount = 0;
    walkTree(files, folder, [&](const Path& relative, FileType) {
        if (const auto status = files.status(folder / relative)) byteCount += status->byteCount;
    });
    return byteCount;
}

}  // namespace

std::vector<std::string> SnapshotRepository::names() const {
    std::vector<std::string> found;
    if (!files_.statusFollowingLinks(folder_)) return found;
    for (const DirectoryEntry& entry : files_.list(folder_)) {
        const bool isSnapshot = entry.type == FileType::directory &&
                                parseFolderTimestamp(entry.name.native()).has_value();
        if (isSnapshot) found.push_back(entry.name.native());
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::optional<std::string> SnapshotRepository::newest(Timestamp now) const {
    const auto all = names();
    const auto found = std::find_if(all.rbegin(), all.rend(),
                                    [now](const std::string& name) { return dateOf(name) <= now; });
    return found == all.rend() ? std::nullopt : std::optional(*found);
}

std::optional<double> SnapshotRepository::ageOfNewest(Timestamp now) const {
    const auto name = newest(now);
    return name ? std::optional(secondsBetween(dateOf(*name), now)) : std::nullopt;
}

std::vector<SnapshotSummary> SnapshotRepository::summaries() const {
    std::vector<SnapshotSummary> found;
    for (const std::string& name : names()) found.push_back(summaryOf(name));
    return found;
}

SnapshotSummary SnapshotRepository::summaryOf(const std::string& name) const {
    SnapshotSummary summary;
    summary.name = name;
    summary.createdAt = dateOf(name);
    try {
        const auto manifest = recoveryManifestFromJson(readWholeFile(
            files_, folder_ / name / snapshot::manifestName, maximumManifestByteCount));
        summary.createdAt = manifest.createdAt;
        summary.reason = manifest.reason;
        summary.managedFileCount = manifest.managedFileCount;
        summary.byteCount = bytesBelow(files_, folder_ / name);
    } catch (const Error& error) {
        summary.problem = error.description();
    }
    return summary;
}

std::string SnapshotRepository::freeName(Timestamp now) const {
    std::string name = toFolderTimestamp(now);
    while (files_.status(folder_ / name)) {
        now.secondsSince1970 += 0.001;
        name = toFolderTimestamp(now);
    }
    return name;
}

void SnapshotRepository::sweep() {
    if (!files_.statusFollowingLinks(folder_)) return;
    for (const DirectoryEntry& entry : files_.list(folder_)) {
        const std::string& name = entry.name.native();
        if (name.starts_with(snapshot::buildingPrefix) || name.starts_with(removingPrefix)) {
            removeTree(files_, folder_ / entry.name);
        }
    }
}

void SnapshotRepository::prune(std::size_t maximumCount, const std::string& kept, Timestamp now) {
    auto all = names();
    std::stable_partition(all.begin(), all.end(),
                          [now](const std::string& name) { return dateOf(name) > now; });
    std::erase(all, kept);
    for (std::size_t i = 0; all.size() - i + 1 > maximumCount && i < all.size(); ++i) {
        remove(all[i]);
    }
}

void SnapshotRepository::remove(const std::string& name) {
    // A half-removed snapshot must not look like a whole one.
    const Path leaving = folder_ / (std::string(removingPrefix) + name);
    files_.rename(folder_ / name, leaving);
    removeTree(files_, leaving);
}

}  // namespace nookery
