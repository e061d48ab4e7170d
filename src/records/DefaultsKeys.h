#pragma once

#include <array>
#include <string_view>

namespace nookery {

/// The user-defaults keys under which state about memories lives outside the database. Snapshots
/// and archives carry all of them.
inline constexpr std::string_view manualTagsDefaultsKey = "Crumb.ManualTags.v1";
inline constexpr std::string_view usageDefaultsKey = "Crumb.UsageSignals.v1";
inline constexpr std::string_view bringBackDefaultsKey = "Crumb.BringBack.v1";
inline constexpr std::string_view personTimelineDefaultsKey = "Crumb.PersonTimeline.Edits.v1";
inline constexpr std::string_view confirmedPetsDefaultsKey = "NOOKERY.Pets.Confirmed.v1";

inline constexpr std::array libraryDefaultsKeys{manualTagsDefaultsKey, bringBackDefaultsKey,
                                                usageDefaultsKey, personTimelineDefaultsKey,
                                                confirmedPetsDefaultsKey};

}  // namespace nookery
