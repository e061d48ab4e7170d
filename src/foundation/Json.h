#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/Error.h"
#include "foundation/FileSystem.h"
#include "foundation/Timestamp.h"

namespace nookery {

using Json = nlohmann::json;
/// Keeps the order in which keys were added: for documents that people read.
using OrderedJson = nlohmann::ordered_json;

/// A text is not the JSON document that was expected.
class JsonError : public Error {
  public:
    using Error::Error;
};

struct JsonLimits {
    std::size_t maximumByteCount = 256u << 20;
    std::size_t maximumDepth = 64;
};

/// Reads one JSON document of foreign origin. Throws JsonError when it is larger or deeper than the
/// limits, malformed, not UTF-8, or followed by anything. Deep nesting does not use up the stack.
Json parseJson(std::string_view text, const JsonLimits& limits = {});

/// The same for a whole file, which JsonError then names. Also throws FileError.
Json readJsonFile(FileSystem& files, const Path& path, const JsonLimits& limits = {});

/// One line, no escapes but the necessary ones; text that is not UTF-8 is written with U+FFFD.
std::string toJsonText(const Json& json);
std::string toJsonText(const OrderedJson& json);

/// Pretty-printed with two blanks and a final line feed.
std::string toPrettyJsonText(const Json& json);

// Typed fields of an object. Each throws JsonError naming the key when it is missing (unless
// optional) or of another type.
std::string requiredString(const Json& object, std::string_view key);
double requiredNumber(const Json& object, std::string_view key);
std::optional<std::string> optionalString(const Json& object, std::string_view key);

}  // namespace nookery
