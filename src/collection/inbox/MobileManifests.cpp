#include "collection/inbox/MobileManifests.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>

#include "foundation/Json.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::size_t maximumIdentifierByteCount = 200;
constexpr std::size_t maximumPathByteCount = 1024;
constexpr std::size_t mostFilesNamed = 10'000;
constexpr Timestamp earliestDate{631152000};  // 1990-01-01
constexpr double secondsPerDay = 86400;

Json parseObject(std::string_view json) {
    Json object = parseJson(json, {.maximumByteCount = maximumManifestByteCount});
    if (!object.is_object()) throw PackageError("Its list of contents is not a JSON object.");
    return object;
}

/// Texts come with any line ends and may hold NUL, which no database text can.
std::string cleanText(const std::string& text) { return toValidUtf8(text); }

std::optional<std::string> optionalText(const Json& object, std::string_view key) {
    const auto text = optionalString(object, key);
    return text ? std::optional(cleanText(*text)) : std::nullopt;
}

/// A time is text by the book; a bare number is what other encoders write.
std::optional<std::string> optionalTime(const Json& object, std::string_view key) {
    const auto found = object.find(key);
    if (found != object.end() && found->is_number()) {
        return fmt::format("{:.3f}", found->get<double>());
    }
    return optionalText(object, key);
}

std::optional<std::int64_t> optionalCount(const Json& object, std::string_view key) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) return std::nullopt;
    if (!found->is_number_integer()) {
        throw JsonError(fmt::format("JSON key \"{}\" must be a whole number.", key));
    }
    return found->get<std::int64_t>();
}

/// A path as a package names its files: relative, without ".", ".." or empty parts.
Path safeRelativePath(const std::string& text) {
    const auto refuse = [&](std::string_view why) {
        throw PackageError(
            fmt::format("It names a file that {}: \"{}\".", why, displayName(Path(text))));
    };
    if (text.empty() || text.size() > maximumPathByteCount) refuse("cannot be");
    if (text.find('\0') != std::string::npos) refuse("cannot be");
    if (text.front() == '/' || text.back() == '/') refuse("lies outside the package");
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('/', begin), text.size());
        const std::string_view part = std::string_view(text).substr(begin, end - begin);
        if (part.empty() || part == "." || part == "..") refuse("lies outside the package");
        begin = end + 1;
    }
    return text;
}

void checkIdentifier(const std::string& text, std::string_view key) {
    const bool isPlain = std::none_of(
        text.begin(), text.end(), [](unsigned char byte) { return byte <= ' ' || byte == 0x7f; });
    if (text.empty() || text.size() > maximumIdentifierByteCount || !isPlain ||
        !isValidUtf8(text)) {
        throw PackageError(fmt::format("Its \"{}\" is not an identifier.", key));
    }
}

std::vector<Path> attachmentsOf(const Json& object) {
    const auto list = object.find("attachments");
    if (list == object.end() || !list->is_array()) {
        throw PackageError("Its \"attachments\" are not a list.");
    }
    if (list->size() > mostFilesNamed) throw PackageError("It names too many files.");
    std::vector<Path> paths;
    std::set<Path> seen;
    for (const Json& entry : *list) {
        if (!entry.is_string()) throw PackageError("Its \"attachments\" are not all texts.");
        const std::string text = entry.get<std::string>();
        Path path = safeRelativePath(text);
        if (!text.starts_with("media/")) {
            throw PackageError(fmt::format("It names a file that is not below \"media/\": \"{}\".",
                                           displayName(path)));
        }
        if (seen.insert(path).second) paths.push_back(std::move(path));
    }
    return paths;
}

std::vector<Path> eventFilesOf(const Json& object) {
    std::vector<Path> paths;
    const auto events = object.find("events");
    if (events == object.end() || events->is_null()) return paths;
    if (!events->is_array()) throw PackageError("Its \"events\" are not a list.");
    if (events->size() > mostFilesNamed) throw PackageError("It names too many files.");
    for (const Json& event : *events) {
        if (!event.is_object()) throw PackageError("Its \"events\" are not all objects.");
        const auto path = optionalString(event, "relativePath");
        if (path) paths.push_back(safeRelativePath(*path));
    }
    return paths;
}

/// Failures of reading JSON are failures of the manifest.
template <typename Read>
auto asManifest(Read read) {
    try {
        return read();
    } catch (const JsonError& error) {
        throw PackageError(error.description());
    }
}

bool isPlausible(Timestamp date, Timestamp now) {
    return date >= earliestDate && secondsBetween(now, date) <= secondsPerDay;
}

std::optional<Timestamp> nearestPlausible(double number, Timestamp now) {
    if (number <= 0) return std::nullopt;
    std::optional<Timestamp> best;
    for (const Timestamp date :
         {Timestamp{number}, Timestamp::since2001(number), Timestamp{number / 1000}}) {
        if (!isPlausible(date, now)) continue;
        if (!best || std::abs(secondsBetween(date, now)) < std::abs(secondsBetween(*best, now))) {
            best = date;
        }
    }
    return best;
}

/// "2026-03-01 09:30:00 +0000" has a blank where ISO 8601 has none.
std::string withoutBlankBeforeZone(std::string_view text) {
    std::string joined(text);
    const std::size_t blank = joined.rfind(' ');
    if (blank != std::string::npos && blank + 1 < joined.size() && blank > 10 &&
        (joined[blank + 1] == '+' || joined[blank + 1] == '-')) {
        joined.erase(blank, 1);
    }
    return joined;
}

}  // namespace

Path manifestName(PackageKind kind) {
    return kind == PackageKind::note ? "note.json" : "activity.json";
}

MobileNoteManifest noteManifestFromJson(std::string_view json) {
    return asManifest([&] {
        const Json object = parseObject(json);
        MobileNoteManifest manifest;
        const auto version = optionalCount(object, "schemaVersion");
        if (!version || *version < 1) throw PackageError("It has no \"schemaVersion\".");
        manifest.schemaVersion = static_cast<int>(std::min<std::int64_t>(*version, 1'000'000));
        manifest.kind = cleanText(requiredString(object, "kind"));
        manifest.noteID = requiredString(object, "noteID");
        checkIdentifier(manifest.noteID, "noteID");
        const auto created = optionalTime(object, "createdAt");
        if (!created) throw PackageError("It has no \"createdAt\".");
        manifest.createdAt = *created;
        manifest.text = cleanText(requiredString(object, "text"));
        manifest.attachments = attachmentsOf(object);
        return manifest;
    });
}

MobileActivityManifest activityManifestFromJson(std::string_view json) {
    return asManifest([&] {
        const Json object = parseObject(json);
        MobileActivityManifest manifest;
        manifest.activityID = optionalText(object, "activityID");
        manifest.title = optionalText(object, "title");
        manifest.activityType = optionalText(object, "activityType");
        manifest.startedAt = optionalTime(object, "startedAt");
        manifest.endedAt = optionalTime(object, "endedAt");
        manifest.summary = optionalText(object, "summary");
        manifest.notes = optionalText(object, "notes");
        manifest.locationSummary = optionalText(object, "locationSummary");
        manifest.captureCount = optionalCount(object, "captureCount");
        return manifest;
    });
}

std::vector<Path> filesNeededBy(PackageKind kind, std::string_view json) {
    return asManifest([&] {
        const Json object = parseObject(json);
        return kind == PackageKind::note ? attachmentsOf(object) : eventFilesOf(object);
    });
}

std::optional<Timestamp> parseMobileDate(std::string_view text, Timestamp now) {
    const std::string_view bare = trimmed(text);
    if (const auto date = parseIso8601(withoutBlankBeforeZone(bare))) {
        return isPlausible(*date, now) ? date : std::nullopt;
    }
    double number = 0;
    const auto result = std::from_chars(bare.data(), bare.data() + bare.size(), number);
    const bool isNumber = !bare.empty() && result.ec == std::errc() &&
                          result.ptr == bare.data() + bare.size() && std::isfinite(number);
    return isNumber ? nearestPlausible(number, now) : std::nullopt;
}

}  // namespace nookery
