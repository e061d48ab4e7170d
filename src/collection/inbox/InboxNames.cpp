#include "collection/inbox/InboxNames.h"

#include <algorithm>
#include <array>

#include "foundation/Text.h"

namespace nookery {
namespace {

/// What browsers, downloaders, editors and sync clients call a file that is not finished.
constexpr std::array<std::string_view, 12> temporaryEndings{
    ".part",     ".partial", ".tmp", ".temp", ".crdownload", ".download",
    ".filepart", ".aria2",   ".!qb", ".!ut",  ".opdownload", "~"};
constexpr std::array<std::string_view, 3> temporaryBeginnings{"~$", "~syncthing~", "~lock."};
constexpr std::array<std::string_view, 3> systemNames{"thumbs.db", "desktop.ini", "icon\r"};

bool isTemporary(const std::string& name) {
    return std::any_of(temporaryEndings.begin(), temporaryEndings.end(),
                       [&](std::string_view ending) { return name.ends_with(ending); }) ||
           std::any_of(temporaryBeginnings.begin(), temporaryBeginnings.end(),
                       [&](std::string_view beginning) { return name.starts_with(beginning); });
}

bool hasDigitAfter(const std::string& name, std::string_view part) {
    const std::size_t at = name.find(part);
    return at != std::string::npos && at + part.size() < name.size() &&
           name[at + part.size()] >= '0' && name[at + part.size()] <= '9';
}

/// "a.sync-conflict-20260301-093000-ABCDEFG.txt", "a (conflicted copy 2026-03-01 093000).txt",
/// "a (Ann's conflicted copy).txt", "a_conflict-20260301-093000.txt".
bool isConflictCopy(const std::string& name) {
    const std::size_t words = name.find("conflicted copy");
    if (words != std::string::npos && name.rfind('(', words) != std::string::npos) return true;
    return hasDigitAfter(name, ".sync-conflict-") || hasDigitAfter(name, "_conflict-");
}

}  // namespace

std::optional<PackageKind> packageKind(const Path& folderName) {
    const std::string name = lowerCased(toValidUtf8(folderName.native()));
    if (name.ends_with(".crumbnote")) return PackageKind::note;
    if (name.ends_with(".crumbactivity")) return PackageKind::activity;
    return std::nullopt;
}

bool isNobodysMaterial(const Path& name, const CloudContainer& cloud) {
    if (cloud.nameBehindPlaceholder(name)) return false;
    if (name.native().starts_with('.')) return true;
    const std::string lower = lowerCased(toValidUtf8(name.native()));
    return std::find(systemNames.begin(), systemNames.end(), lower) != systemNames.end();
}

bool isUnfinished(const Path& name, const CloudContainer& cloud) {
    return cloud.nameBehindPlaceholder(name) || isTemporary(lowerCased(toValidUtf8(name.native())));
}

std::optional<std::string> reasonToLeaveAlone(const Path& name, const CloudContainer& cloud) {
    if (cloud.nameBehindPlaceholder(name)) {
        return "A sync client's placeholder: its content is not on this computer yet.";
    }
    const std::string lower = lowerCased(toValidUtf8(name.native()));
    if (isTemporary(lower)) return "By its name it is not finished yet.";
    if (isConflictCopy(lower)) {
        return "A sync client's conflict copy. Rename it to have it taken in.";
    }
    return std::nullopt;
}

}  // namespace nookery
