#pragma once

#include <optional>
#include <string>
#include <vector>

#include "collection/capture/Capture.h"
#include "collection/database/Library.h"
#include "collection/originals/OriginalCopy.h"

namespace nookery {

/// One source on its way into the library. The stages follow one another downwards; the last five
/// are ends.
struct CaptureEntry {
    enum class Stage {
        gathered,   ///< record begun, original copied; not yet compared with what is known
        accepted,   ///< new, its final name noted in the sidecar
        ready,      ///< to be committed
        nameTaken,  ///< another program took the name: to be accepted again under the next one
        added,
        duplicate,
        failed,
        skipped,
        dropped,  ///< the request was stopped before its turn
    };

    Stage stage = Stage::gathered;
    std::string source;  ///< how a report calls it
    NewMemory memory;
    std::optional<OriginalCopy> original;
    std::optional<CaptureOrigin> origin;
    Path wishedName;                ///< in `Items`
    std::optional<Path> finalName;  ///< in `Items`; noted in the sidecar while it is set
    int namesTried = 0;
    std::string linkIdentity;  ///< empty unless it is a link
    bool fetch = false;
    bool hasGivenTitle = false;  ///< the person's title stands above what the content says
    std::string message;         ///< of a failure, a skip, or (when it was added) a warning
    Uuid duplicateOf;
    std::optional<Uuid> otherVersion;
    /// A file that could not be removed again still lies under the final name.
    bool leftBehind = false;

    bool isOpen() const { return stage < Stage::added; }
    void fail(const std::string& why) {
        stage = Stage::failed;
        message = why;
    }
};

/// Some sources that go through the stages together. It belongs to the thread that works on it.
struct CaptureBatch {
    std::vector<CaptureEntry> entries;
    std::size_t foundCount = 0;  ///< sources found so far in the whole request
    bool isLast = false;
};

}  // namespace nookery
