#include "backends/settings/DefaultsJson.h"

#include <fmt/format.h>

#include "foundation/Base64.h"
#include "foundation/Json.h"
#include "platform/UserDefaults.h"

namespace nookery {
namespace {

constexpr int formatVersion = 1;
constexpr std::size_t maximumByteCount = std::size_t{1} << 30;

using Values = std::map<std::string, std::string, std::less<>>;

Values parse(const std::string& text) {
    const Json document = parseJson(text, {.maximumByteCount = maximumByteCount});
    if (requiredNumber(document, "version") != formatVersion) {
        throw JsonError("It was written by a newer program.");
    }
    const auto values = document.find("values");
    if (values == document.end() || !values->is_object()) {
        throw JsonError("It holds no \"values\".");
    }
    Values result;
    for (const auto& [key, unused] : values->items()) {
        auto bytes = fromBase64(requiredString(*values, key));
        if (!bytes) throw JsonError("A value is not base64.");
        result.emplace(key, std::move(*bytes));
    }
    return result;
}

}  // namespace

Values readDefaultsJson(FileSystem& files, const Path& path) {
    if (!files.statusFollowingLinks(path)) return {};
    try {
        return parse(readWholeFile(files, path, maximumByteCount));
    } catch (const JsonError& error) {
        throw DefaultsError(fmt::format("The settings in {} cannot be read: {}", displayName(path),
                                        error.description()));
    }
}

}  // namespace nookery
