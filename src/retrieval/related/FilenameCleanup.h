#pragma once

#include <span>
#include <string>
#include <vector>

#include "records/CrumbItem.h"

namespace nookery {

/// One row of the list of titles to be cleaned up.
struct CrumbFilenameCleanupCandidate {
    Uuid id;
    std::string oldTitle;
    std::string newTitle;

    bool operator==(const CrumbFilenameCleanupCandidate&) const = default;
};

/// The title proposed for a memory with a file whose title is machine-generated: what is left of it
/// without UUIDs and long numbers, or else a word for the kind of file and the day it was taken in
/// ("Photo • May 1, 2024", in the form and time zone of this machine). Any thread.
std::string cleanedTitle(const CrumbItem& item);

/// The memories with a file whose title is machine-generated (MachineNames.h) and whose proposal
/// differs from it, in the order given. Files keep their names.
std::vector<CrumbFilenameCleanupCandidate> filenameCleanupCandidates(
    std::span<const CrumbItemPointer> items);

}  // namespace nookery
