#pragma once

#include <optional>
#include <string>
#include <vector>

#include "collection/inbox/InboxNames.h"
#include "foundation/FileSystem.h"
#include "platform/CloudContainer.h"

namespace nookery {

struct InboxFile {
    Path path;
    FileStatus status;  ///< as it was when it was looked at
};

struct InboxPackage {
    Path path;
    PackageKind kind = PackageKind::note;
    std::vector<InboxFile> files{};  ///< every regular file below it, in a fixed order
    std::vector<Path> unfinished{};  ///< what below it is still on its way
    /// Says what it lacks. Such a package is never taken in, but may be what is left of one that
    /// was.
    std::optional<std::string> incomplete{};
};

/// Something that stays in an inbox, and one line about why.
struct InboxWaiting {
    Path path;
    std::string reason;
};

/// One entry of an inbox with all below it: a file, a package, or a folder of these. It comes to
/// rest as a whole, so that nothing is taken from under a program that still writes into it.
struct InboxUnit {
    Path path;
    std::vector<InboxFile> files{};        ///< to be taken in, each as a memory
    std::vector<InboxPackage> packages{};  ///< to be taken in, each as one
    std::vector<Path> folders{};           ///< its folders, deeper ones first
    std::vector<InboxWaiting> waiting{};   ///< what is left alone
    std::vector<InboxFile> everything{};   ///< all that was met, for telling whether it changed

    bool hasSomethingToTake() const { return !files.empty() || !packages.empty(); }
    /// Size, time and identity of everything are what they were.
    bool isUnchangedSince(const InboxUnit& earlier) const;
};

/// What lies in an inbox folder, names in byte order. Links are never followed. A folder further
/// down that cannot be listed is part of what waits; throws FileError when the inbox itself cannot
/// be.
std::vector<InboxUnit> scanInbox(FileSystem& files, const CloudContainer& cloud, const Path& inbox);

/// What a package lacks to be taken: its manifest and what that names, as far as they are not here
/// whole. Throws FileError or PackageError for a manifest that cannot be used.
std::vector<Path> filesMissingFrom(FileSystem& files, const CloudContainer& cloud,
                                   const InboxPackage& package);
std::string reasonToWaitFor(const Path& missing, const InboxPackage& package);

/// All that an inbox holds, what is to be taken and what is left alone, for showing it. Nothing in
/// an inbox that is not there; throws as surveyInbox.
std::vector<InboxWaiting> waitingInInbox(FileSystem& files, const CloudContainer& cloud,
                                         const Path& inbox);

}  // namespace nookery
