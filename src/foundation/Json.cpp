#include "foundation/Json.h"

#include <fmt/format.h>

namespace nookery {
namespace {

/// Refuses a text that nests deeper than allowed before the parser builds anything.
void checkDepth(std::string_view text, std::size_t maximumDepth) {
    std::size_t depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') ++i;
            if (c == '"') inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > maximumDepth) {
                throw JsonError(fmt::format("JSON nests deeper than {} levels.", maximumDepth));
            }
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
}

const Json* find(const Json& object, std::string_view key) {
    if (!object.is_object()) throw JsonError("Expected a JSON object.");
    const auto found = object.find(key);
    return found == object.end() || found->is_null() ? nullptr : &*found;
}

[[noreturn]] void throwWrongField(std::string_view key, std::string_view wanted) {
    throw JsonError(fmt::format("JSON key \"{}\" must be a {}.", key, wanted));
}

}  // namespace

Json parseJson(std::string_view text, const JsonLimits& limits) {
    if (text.size() > limits.maximumByteCount) {
        throw JsonError(fmt::format("JSON is larger than {} bytes.", limits.maximumByteCount));
    }
    checkDepth(text, limits.maximumDepth);
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        // The library's own message quotes the text, which may be private.
        throw JsonError(fmt::format("Not valid JSON: it is malformed or ends too early at byte {}.",
                                    error.byte));
    } catch (const Json::exception&) {
        throw JsonError("Not valid JSON: a number is too large.");
    }
}

Json readJsonFile(FileSystem& files, const Path& path, const JsonLimits& limits) {
    const std::string text = readWholeFile(files, path, limits.maximumByteCount);
    try {
        return parseJson(text, limits);
    } catch (const JsonError& error) {
        throw JsonError(
            fmt::format("{} cannot be understood: {}", displayName(path), error.description()));
    }
}

std::string toJsonText(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string toJsonText(const OrderedJson& json) {
    return json.dump(-1, ' ', false, OrderedJson::error_handler_t::replace);
}

std::string toPrettyJsonText(const Json& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string requiredString(const Json& object, std::string_view key) {
    const Json* value = find(object, key);
    if (value == nullptr || !value->is_string()) throwWrongField(key, "string");
    return value->get<std::string>();
}

double requiredNumber(const Json& object, std::string_view key) {
    const Json* value = find(object, key);
    if (value == nullptr || !value->is_number()) throwWrongField(key, "number");
    return value->get<double>();
}

std::optional<std::string> optionalString(const Json& object, std::string_view key) {
    const Json* value = find(object, key);
    if (value == nullptr) return std::nullopt;
    if (!value->is_string()) throwWrongField(key, "string");
    return value->get<std::string>();
}

}  // namespace nookery
