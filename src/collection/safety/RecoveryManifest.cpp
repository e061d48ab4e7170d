#include "collection/safety/RecoveryManifest.h"

#include <fmt/format.h>

#include "foundation/Json.h"

namespace nookery {
namespace {

std::int64_t requiredInteger(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number_integer()) {
        throw JsonError(fmt::format("JSON key \"{}\" must be a whole number.", key));
    }
    return found->get<std::int64_t>();
}

bool requiredBoolean(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_boolean()) {
        throw JsonError(fmt::format("JSON key \"{}\" must be true or false.", key));
    }
    return found->get<bool>();
}

Timestamp requiredDate(const Json& object, const char* key) {
    const auto date = parseIso8601(requiredString(object, key));
    if (!date) throw JsonError(fmt::format("JSON key \"{}\" must be a date.", key));
    return *date;
}

}  // namespace

std::string toJsonText(const RecoveryManifest& manifest) {
    return toPrettyJsonText(Json{{"version", manifest.version},
                                 {"createdAt", toIso8601(manifest.createdAt)},
                                 {"reason", manifest.reason},
                                 {"managedFileCount", manifest.managedFileCount},
                                 {"secureValuesIncluded", manifest.secureValuesIncluded}});
}

RecoveryManifest recoveryManifestFromJson(const std::string& text) {
    const Json object = parseJson(text);
    RecoveryManifest manifest;
    manifest.reason = requiredString(object, "reason");
    const std::int64_t version = requiredInteger(object, "version");
    if (version < 1 || version > RecoveryManifest::currentVersion) {
        throw JsonError(
            fmt::format("The snapshot has format {}, which this program does not know.", version));
    }
    manifest.version = static_cast<int>(version);
    manifest.createdAt = requiredDate(object, "createdAt");
    manifest.managedFileCount = requiredInteger(object, "managedFileCount");
    manifest.secureValuesIncluded = requiredBoolean(object, "secureValuesIncluded");
    return manifest;
}

}  // namespace nookery
