#include "collection/inbox/InboxScan.h"

#include <algorithm>

#include "collection/inbox/MobileManifests.h"

namespace nookery {
namespace {

/// A deeper tree is no one's folder of memories.
constexpr std::size_t mostLevels = 64;

std::vector<DirectoryEntry> sortedEntries(FileSystem& files, const Path& folder) {
    auto entries = files.list(folder);
    std::sort(entries.begin(), entries.end(), [](const auto& left, const auto& right) {
        return left.name.native() < right.name.native();
    });
    return entries;
}

bool isSame(const InboxFile& left, const InboxFile& right) {
    return left.path == right.path && left.status.sameContentMarks(right.status) &&
           left.status.inode == right.status.inode && left.status.type == right.status.type;
}

/// An empty file is one whose content is still to come.
bool isHere(FileSystem& files, const CloudContainer& cloud, const Path& file) {
    if (cloud.presence(file) != CloudPresence::local) return false;
    const auto status = files.status(file);
    return status && status->byteCount > 0;
}

std::string reasonToWait(FileSystem& files, const CloudContainer& cloud,
                         const InboxPackage& package) {
    try {
        const auto missing = filesMissingFrom(files, cloud, package);
        return missing.empty() ? "It waits to be taken in."
                               : reasonToWaitFor(missing.back(), package);
    } catch (const Error& error) {
        return error.description();
    }
}

/// Gathers one unit.
class UnitSurvey {
  public:
    UnitSurvey(FileSystem& files, const CloudContainer& cloud, Path path)
        : files_(files), cloud_(cloud) {
        unit_.path = std::move(path);
    }

    InboxUnit run() {
        visit(unit_.path, nullptr, 0);
        std::reverse(unit_.folders.begin(), unit_.folders.end());
        return std::move(unit_);
    }

  private:
    /// `package` is the one that the entry lies in; null outside of any.
    void visit(const Path& path, InboxPackage* package, std::size_t level) try {
        const auto status = files_.status(path);
        if (!status) return;  // it has just gone
        unit_.everything.push_back({path, *status});
        if (isNobodysMaterial(path.filename(), cloud_)) return;
        const auto reason = reasonToLeaveAlone(path.filename(), cloud_);
        if (reason) {
            const bool isPart = package != nullptr && isUnfinished(path.filename(), cloud_);
            if (isPart) package->unfinished.push_back(path);
            return leave(path, *reason);
        }
        switch (status->type) {
            case FileType::regular:
                return visitFile({path, *status}, package);
            case FileType::directory:
                return enter(path, package, level);
            default:
                return leave(path, "Links and devices are left alone.");
        }
    } catch (const FileError& error) {
        leave(path, error.description());
    }

    void visitFile(const InboxFile& file, InboxPackage* package) {
        if (package != nullptr) {
            package->files.push_back(file);
        } else if (file.status.byteCount == 0) {
            leave(file.path, "It is still empty.");
        } else {
            unit_.files.push_back(file);
        }
    }

    void enter(const Path& folder, InboxPackage* package, std::size_t level) {
        if (level == mostLevels) return leave(folder, "Its folders are nested too deep.");
        const auto entries = sortedEntries(files_, folder);
        unit_.folders.push_back(folder);
        const auto kind = package == nullptr ? packageKind(folder.filename()) : std::nullopt;
        InboxPackage own{folder, kind.value_or(PackageKind::note)};
        for (const DirectoryEntry& entry : entries) {
            visit(folder / entry.name, kind ? &own : package, level + 1);
        }
        if (kind) unit_.packages.push_back(std::move(own));
        if (entries.empty()) leave(folder, "The folder is empty.");
    }

    void leave(const Path& path, std::string reason) {
        unit_.waiting.push_back({path, std::move(reason)});
    }

    FileSystem& files_;
    const CloudContainer& cloud_;
    InboxUnit unit_;
};

}  // namespace

bool InboxUnit::isUnchangedSince(const InboxUnit& earlier) const {
    return std::equal(everything.begin(), everything.end(), earlier.everything.begin(),
                      earlier.everything.end(), isSame);
}

std::vector<InboxUnit> scanInbox(FileSystem& files, const CloudContainer& cloud,
                                 const Path& inbox) {
    std::vector<InboxUnit> units;
    for (const DirectoryEntry& entry : sortedEntries(files, inbox)) {
        units.push_back(UnitSurvey(files, cloud, inbox / entry.name).run());
    }
    return units;
}

std::vector<Path> filesMissingFrom(FileSystem& files, const CloudContainer& cloud,
                                   const InboxPackage& package) {
    const Path manifest = package.path / manifestName(package.kind);
    std::vector<Path> needed{manifest};
    if (isHere(files, cloud, manifest)) {
        const std::string json = readWholeFile(files, manifest, maximumManifestByteCount);
        for (const Path& file : filesNeededBy(package.kind, json)) {
            needed.push_back(package.path / file);
        }
    }
    std::vector<Path> missing = package.unfinished;
    std::copy_if(needed.begin(), needed.end(), std::back_inserter(missing),
                 [&](const Path& file) { return !isHere(files, cloud, file); });
    return missing;
}

std::string reasonToWaitFor(const Path& missing, const InboxPackage& package) {
    return "It waits for its file " + displayName(missing.lexically_relative(package.path)) + ".";
}

std::vector<InboxWaiting> waitingInInbox(FileSystem& files, const CloudContainer& cloud,
                                         const Path& inbox) {
    std::vector<InboxWaiting> waiting;
    if (!files.statusFollowingLinks(inbox)) return waiting;
    for (const InboxUnit& unit : scanInbox(files, cloud, inbox)) {
        for (const InboxFile& file : unit.files) {
            waiting.push_back({file.path, "It waits to be taken in."});
        }
        for (const InboxPackage& package : unit.packages) {
            waiting.push_back({package.path, reasonToWait(files, cloud, package)});
        }
        waiting.insert(waiting.end(), unit.waiting.begin(), unit.waiting.end());
    }
    return waiting;
}

}  // namespace nookery
