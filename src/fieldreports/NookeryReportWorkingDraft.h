#pragma once

#include <optional>
#include <string>
#include <vector>

#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"
#include "records/NookeryReceivedFieldReport.h"

namespace nookery {

/// A received report as the person has edited it. Edits change nothing else.
struct NookeryReportWorkingDraft {
    struct Media {
        Uuid id;  ///< the attachment's, or a new one for a file that was added
        std::string displayName;
        bool isIncluded = true;  ///< an item left out stays in the list
        std::string caption{};
        std::optional<std::string> addedFileName{};  ///< in the working copy's folder

        bool operator==(const Media&) const = default;
    };

    std::string title;
    std::string clientProject;
    std::string location;
    Timestamp reportDate;
    std::string notes;
    std::vector<Media> media;

    bool operator==(const NookeryReportWorkingDraft&) const = default;
};

enum class MoveDirection { up, down };

/// A new working copy: the report's fields, then its attachments, all included.
NookeryReportWorkingDraft draftOf(const NookeryReceivedFieldReport& report);

/// Moves one item by one place, unless it is at the end. The id must be one of the draft's.
void moveMedia(NookeryReportWorkingDraft& draft, const Uuid& id, MoveDirection direction);

/// The item with this id; null when the draft has none.
NookeryReportWorkingDraft::Media* findMedia(NookeryReportWorkingDraft& draft, const Uuid& id);

/// The keys are the field names, dates are ISO 8601.
std::string toJsonText(const NookeryReportWorkingDraft& draft);
/// Throws JsonError or FieldReportError unless the text is a whole draft.
NookeryReportWorkingDraft draftFromJson(const std::string& text);

}  // namespace nookery
