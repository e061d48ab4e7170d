#pragma once

#include <span>
#include <string>
#include <vector>

#include "records/CrumbItem.h"

namespace nookery {

/// A machine-generated title and the proposal for it.
struct CrumbFilenameCleanupCandidate {
    Uuid id;
    std::string oldTitle;
    std::string newTitle;

    bool operator==(const CrumbFilenameCleanupCandidate&) const = default;
};

/// The title proposed for a memory with a file and a machine-generated title: the title without
/// UUIDs and long numbers. When nothing readable is left, a word for the kind of file and the day
/// of its capture ("Photo • May 1, 2024", in the form and time zone of this machine). Any thread.
std::string cleanedTitle(const CrumbItem& item);

/// The candidates among `items`, in that order: memories with a file and a machine-generated title
/// (MachineNames.h) for which the proposal differs from the title. Files keep their names.
std::vector<CrumbFilenameCleanupCandidate> filenameCleanupCandidates(
    std::span<const CrumbItemPointer> items);

}  // namespace nookery
