#pragma once

#include <cstdint>
#include <string>

#include "foundation/FileSystem.h"
#include "foundation/Timestamp.h"

namespace nookery {

/// What a recovery snapshot says about itself, in its "manifest.json". The keys of the JSON object
/// are the field names; the date is ISO 8601.
struct RecoveryManifest {
    static constexpr int currentVersion = 1;

    int version = currentVersion;
    Timestamp createdAt;
    std::string reason;
    std::int64_t managedFileCount = 0;
    bool secureValuesIncluded = false;  ///< a snapshot carries no value of the key store

    bool operator==(const RecoveryManifest&) const = default;
};

std::string toJsonText(const RecoveryManifest& manifest);
/// Throws JsonError for a missing key, a wrong type or a version of a newer program.
RecoveryManifest recoveryManifestFromJson(const std::string& text);

}  // namespace nookery
