#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "collection/database/Library.h"
#include "foundation/FileSystem.h"
#include "platform/ContentDigest.h"
#include "platform/work/Outcome.h"
#include "records/CrumbItem.h"

namespace nookery {

/// A file, or a folder that is taken with all below it. A symbolic link named here is followed
/// unless forbidden; links found inside a folder are not.
struct CaptureFile {
    Path path;
    bool mayBeLink = true;
    /// What reports call it, and all below it; the path itself when this is empty.
    Path shownPath{};
};
struct CaptureLink {
    std::string url;     ///< http or https
    bool fetch = false;  ///< the user asked for the page's text by name
};
struct CaptureText {
    std::string text;        ///< any bytes; the encoding is detected
    std::string sourceName;  ///< how to call it in a report, such as "standard input"
};
using CaptureSource = std::variant<CaptureFile, CaptureLink, CaptureText>;

struct CaptureRequest {
    std::vector<CaptureSource> sources{};
    std::optional<std::string> title{};  ///< for a single source; otherwise each finds its own
    std::string note{};
    std::vector<std::string> tags{};
    std::optional<Uuid> groupID{};
    std::optional<Uuid> sourceItemID{};  ///< the memory that all of it belongs to
    BeforeCommit beforeCommit{};         ///< may be none
};

struct CaptureDuplicate {
    std::string source;
    Uuid of;  ///< the memory that is already there
};
/// A memory just added whose file looks like another version of one that was there.
struct CaptureVersion {
    Uuid id;
    Uuid of;
};
/// A source and one line about it for the person.
struct CaptureMessage {
    std::string source;
    std::string message;
};

/// A file whose content is now in the library, durably.
struct CaptureOrigin {
    Path path;
    FileStatus status;  ///< of the file that was read
    Sha256Digest digest;
    Uuid memoryID;          ///< the memory added, or the one that was there
    bool wasKnown = false;  ///< it is in the list of duplicates
};

/// Every source of the request, and every file below its folders, is in exactly one of the first
/// four lists.
struct CaptureReport {
    std::vector<Uuid> added{};
    std::vector<CaptureDuplicate> duplicates{};
    std::vector<CaptureMessage> failed{};
    /// Left out on purpose: links, pipes and devices met inside a folder, the library itself.
    std::vector<CaptureMessage> skipped{};
    std::vector<CaptureVersion> versions{};  ///< some of those added
    std::vector<CaptureOrigin> origins{};    ///< of all files added or already there
    /// About sources that were added all the same: a damaged document, a page not fetched.
    std::vector<CaptureMessage> warnings{};
    bool cancelled = false;  ///< what came after the cancellation is in no list
};

/// Adds what a further request came to.
void append(CaptureReport& whole, const CaptureReport& part);

/// What a capture came to as a report: one that failed as a whole names no source.
CaptureReport reportOf(const Outcome<CaptureReport>& outcome);

}  // namespace nookery
