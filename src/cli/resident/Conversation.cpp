#include "cli/resident/Conversation.h"

#include <cstdint>
#include <cstring>
#include <span>

#include "foundation/Base64.h"
#include "foundation/Json.h"
#include "records/LibraryLayout.h"

namespace nookery::cli {
namespace {

constexpr std::size_t headerByteCount = sizeof(std::uint32_t) + 1;

/// Words, names and messages need not be valid text: they travel as their bytes.
OrderedJson bytesJson(const std::string& bytes) { return toBase64(bytes); }

OrderedJson pathJson(const std::optional<Path>& path) {
    return path ? bytesJson(path->native()) : OrderedJson();
}

std::string bytesOf(const Json& json) {
    auto bytes = json.is_string() ? fromBase64(json.get<std::string>()) : std::nullopt;
    if (!bytes) throw JsonError("The message holds something other than bytes.");
    return std::move(*bytes);
}

std::optional<Path> pathOf(const Json& json) {
    if (json.is_null()) return std::nullopt;
    return Path(bytesOf(json));
}

OrderedJson listJson(const std::vector<std::string>& texts) {
    OrderedJson list = OrderedJson::array();
    for (const std::string& text : texts) list.push_back(bytesJson(text));
    return list;
}

std::vector<std::string> listOf(const Json& json) {
    std::vector<std::string> texts;
    for (const Json& text : json) texts.push_back(bytesOf(text));
    return texts;
}

/// Anything that another program sends in a field's place ends as a JsonError.
template <typename Read>
auto reading(const std::string& text, Read read) {
    const Json document = parseJson(text);
    try {
        return read(document);
    } catch (const Json::exception&) {
        throw JsonError("The message is not what was expected.");
    }
}

OrderedJson placesJson(const Places& places) {
    return {{"dataHome", pathJson(places.dataHome)},
            {"configHome", pathJson(places.configHome)},
            {"cacheHome", pathJson(places.cacheHome)},
            {"userData", pathJson(places.userData)},
            {"keyStoreFile", pathJson(places.keyStoreFile)},
            {"cloudHome", pathJson(places.cloudHome)},
            {"runtimeHome", pathJson(places.runtimeHome)}};
}

Places placesOf(const Json& json) {
    const auto path = [&](const char* name) { return Path(bytesOf(json.at(name))); };
    return {.dataHome = path("dataHome"),
            .configHome = path("configHome"),
            .cacheHome = path("cacheHome"),
            .userData = path("userData"),
            .keyStoreFile = pathOf(json.at("keyStoreFile")),
            .cloudHome = pathOf(json.at("cloudHome")),
            .runtimeHome = path("runtimeHome")};
}

OrderedJson traitsJson(const ConsoleTraits& traits) {
    return {{"hasColour", traits.hasColour},
            {"columns", traits.columns ? OrderedJson(*traits.columns) : OrderedJson()},
            {"showsProgress", traits.showsProgress},
            {"canAsk", traits.canAsk},
            {"workingFolder", pathJson(traits.workingFolder)}};
}

ConsoleTraits traitsOf(const Json& json) {
    ConsoleTraits traits{.hasColour = json.at("hasColour").get<bool>(),
                         .showsProgress = json.at("showsProgress").get<bool>(),
                         .canAsk = json.at("canAsk").get<bool>(),
                         .workingFolder = bytesOf(json.at("workingFolder"))};
    if (const Json& columns = json.at("columns"); !columns.is_null()) {
        traits.columns = columns.get<std::size_t>();
    }
    return traits;
}

Path resolvedPath(const Path& path, FileSystem& files) {
    if (const auto real = files.resolve(path)) return *real;
    if (path == path.parent_path()) return path;
    return resolvedPath(path.parent_path(), files) / path.filename();
}

}  // namespace

std::string encoded(MessageKind kind, std::string_view content) {
    const auto length = static_cast<std::uint32_t>(content.size());
    std::string bytes(headerByteCount, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    bytes[sizeof length] = static_cast<char>(kind);
    bytes += content;
    return bytes;
}

void MessageSplitter::add(std::string_view bytes) {
    held_.erase(0, position_);
    position_ = 0;
    held_ += bytes;
}

std::optional<Message> MessageSplitter::next() {
    if (held_.size() - position_ < headerByteCount) return std::nullopt;
    std::uint32_t length = 0;
    std::memcpy(&length, held_.data() + position_, sizeof length);
    if (length > maximumContentByteCount) throw Error("A message is too long to be taken.");
    if (held_.size() - position_ - headerByteCount < length) return std::nullopt;
    Message message{static_cast<MessageKind>(held_[position_ + sizeof length]),
                    held_.substr(position_ + headerByteCount, length)};
    position_ += headerByteCount + length;
    return message;
}

std::string greetingText() {
    return toJsonText(OrderedJson{{"program", "nookery"}, {"version", NOOKERY_VERSION}});
}

bool isOfThisVersion(const std::string& greeting) { return greeting == greetingText(); }

std::string toText(const CommandRequest& request) {
    return toJsonText(OrderedJson{{"words", listJson(request.words)},
                                  {"places", placesJson(request.places)},
                                  {"timeZone", bytesJson(request.region.timeZone)},
                                  {"locale", bytesJson(request.region.locale)},
                                  {"console", traitsJson(request.traits)}});
}

CommandRequest parseCommandRequest(const std::string& text) {
    return reading(text, [](const Json& json) {
        return CommandRequest{.words = listOf(json.at("words")),
                              .places = placesOf(json.at("places")),
                              .region = {bytesOf(json.at("timeZone")), bytesOf(json.at("locale"))},
                              .traits = traitsOf(json.at("console"))};
    });
}

std::string toText(const CommandEnding& ending) {
    return toJsonText(OrderedJson{{"status", ending.ending.status},
                                  {"failure", bytesJson(ending.ending.failure)},
                                  {"log", listJson(ending.log)}});
}

CommandEnding parseCommandEnding(const std::string& text) {
    return reading(text, [](const Json& json) {
        return CommandEnding{{json.at("status").get<int>(), bytesOf(json.at("failure"))},
                             listOf(json.at("log"))};
    });
}

std::string toText(const Question& question) {
    return toJsonText(
        OrderedJson{{"title", bytesJson(question.title)}, {"text", bytesJson(question.text)}});
}

Question parseQuestion(const std::string& text) {
    return reading(text, [](const Json& json) {
        return Question{bytesOf(json.at("title")), bytesOf(json.at("text"))};
    });
}

Path residentSocket(const Places& places, FileSystem& files, const ContentDigester& digester) {
    constexpr std::size_t digitCount = 32;
    const Path library =
        resolvedPath(LibraryLayout{places.dataHome, places.cacheHome}.library(), files);
    const auto digest = digester.sha256();
    digest->update(std::as_bytes(std::span(library.native())));
    return places.runtimeHome / digest->finish().toHex().substr(0, digitCount);
}

Places resolved(Places places, FileSystem& files) {
    for (Path* path : {&places.dataHome, &places.configHome, &places.cacheHome, &places.userData}) {
        *path = resolvedPath(*path, files);
    }
    for (auto* path : {&places.keyStoreFile, &places.cloudHome}) {
        if (*path) **path = resolvedPath(**path, files);
    }
    return places;
}

}  // namespace nookery::cli
