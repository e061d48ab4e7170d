#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collection/inbox/InboxNames.h"
#include "foundation/Error.h"
#include "foundation/FileSystem.h"
#include "foundation/Timestamp.h"

namespace nookery {

/// A package whose list of contents cannot be used; the description says why.
class PackageError : public Error {
  public:
    using Error::Error;
};

/// "note.json" of a note with photos.
struct MobileNoteManifest {
    int schemaVersion = 0;
    std::string kind;
    std::string noteID;     ///< no white space, at most 200 bytes: it becomes part of a marker
    std::string createdAt;  ///< as the phone wrote it; see parseMobileDate
    std::string text;
    std::vector<Path> attachments;  ///< each lies below "media/", named once
};

/// Before the place in the text of an activity's memory.
inline constexpr std::string_view activityPlaceLabel = "Place: ";

/// "activity.json" of an activity session. Every field may be missing.
struct MobileActivityManifest {
    std::optional<std::string> activityID;
    std::optional<std::string> title;
    std::optional<std::string> activityType;
    std::optional<std::string> startedAt;
    std::optional<std::string> endedAt;
    std::optional<std::string> summary;
    std::optional<std::string> notes;
    std::optional<std::string> locationSummary;
    std::optional<std::int64_t> captureCount;
};

inline constexpr std::size_t maximumManifestByteCount = std::size_t{16} << 20;

Path manifestName(PackageKind kind);

// What a package holds is foreign: anything not as described, nested deeply or leading out of the
// package throws PackageError.
MobileNoteManifest noteManifestFromJson(std::string_view json);
MobileActivityManifest activityManifestFromJson(std::string_view json);

/// The files that must be there, besides the manifest, before a package may be taken: the
/// attachments of a note, the files of an activity's events. Throws as above.
std::vector<Path> filesNeededBy(PackageKind kind, std::string_view json);

/// The phone's times as text: ISO 8601, "2026-03-01 09:30:00 +0000", or seconds since 1970 or 2001
/// (or milliseconds since 1970) as a positive number, whichever lies nearest to the present. None
/// for anything else, before 1990, or more than a day after `now`.
std::optional<Timestamp> parseMobileDate(std::string_view text, Timestamp now);

}  // namespace nookery
