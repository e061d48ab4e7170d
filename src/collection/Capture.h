#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

#include "collection/CrumbItem.h"
#include "platform/ContentDigest.h"

namespace nookery {

struct CaptureFile {
    Path path;  ///< a file, or a folder that is taken recursively
};
struct CaptureLink {
    std::string url;
    bool fetch = false;  ///< the user asked for the page's text by name
};
struct CaptureText {
    std::string text;  ///< any bytes; the encoding is detected
    std::string sourceName;  ///< how to call it in a report, such as "standard input"
};
using CaptureSource = std::variant<CaptureFile, CaptureLink, CaptureText>;

struct CaptureRequest {
    std::vector<CaptureSource> sources;
    std::optional<std::string> title;  ///< for a single source; otherwise each finds its own
    std::string note;
    std::vector<std::string> tags;
    std::optional<Uuid> groupID;
};

struct CaptureDuplicate {
    std::string source;
    Uuid of;  ///< the memory that is already there
};
struct CaptureFailure {
    std::string source;
    std::string message;
};

/// Every source of the request is in exactly one of these lists.
struct CaptureReport {
    std::vector<Uuid> added;
    std::vector<CaptureDuplicate> duplicates;
    std::vector<CaptureFailure> failed;
    bool cancelled = false;  ///< what came after the cancellation is not in the lists
};

struct CaptureProgress {
    std::size_t done = 0;
    std::size_t found = 0;  ///< so far: folders are walked while files are taken
};

/// A memory made ready off the main thread: its original lies in `Items`, synced, under a
/// temporary name, and waits for the commit.
struct PreparedMemory {
    std::string source;
    CrumbItem item;  ///< complete but for the final file path
    std::vector<std::string> tags;
    std::optional<Path> temporaryOriginal;
    Path wishedName;  ///< in `Items`
    std::optional<Sha256Digest> digest;
};

}  // namespace nookery
