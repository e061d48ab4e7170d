#include "retrieval/related/VersionFamily.h"

#include <re2/re2.h>

#include <array>

#include "foundation/Text.h"

namespace nookery {
namespace {

struct VersionMarker {
    std::string_view trigger;  ///< in every match; searched for first, since that is much faster
    RE2 pattern;

    VersionMarker(std::string_view neededText, const std::string& expression)
        : trigger(neededText), pattern("(?i)" + expression) {}
};

/// Unicode white space; RE2's own \s is ASCII only.
#define SPACE "[\\s\\x{0B}\\x{85}\\p{Z}]"

/// The order matters: in "revision2" the eighth marker takes "rev" and leaves "ision2".
const std::array<VersionMarker, 14>& versionMarkers() {
    static const std::array<VersionMarker, 14> markers{{
        {"final", "final"},
        {"fnl", "fnl"},
        {"absolute", "absolute"},
        {"this", "this" SPACE "*is" SPACE "*the" SPACE "*one"},
        {"thisistheone", "thisistheone"},
        {"copy", "copy"},
        {"draft", "draft\\p{Nd}*"},
        {"rev", "rev\\p{Nd}*"},
        {"revision", "revision\\p{Nd}*"},
        {"version", "version\\p{Nd}*"},
        {"ver", "ver\\p{Nd}*"},
        {"v", "v\\p{Nd}+"},
        {"(", "\\(\\p{Nd}+\\)"},
        {"", "(?:[_\\-]|" SPACE ")+\\p{Nd}+$"},
    }};
    return markers;
}

/// The last marker, a number at the end, has no trigger: a name that it matches ends in a digit, of
/// ASCII or of another script.
bool couldMatch(const VersionMarker& marker, const std::string& name) {
    if (!marker.trigger.empty()) return name.find(marker.trigger) != std::string::npos;
    const char last = name.empty() ? ' ' : name.back();
    return (last >= '0' && last <= '9') || static_cast<unsigned char>(last) >= 0x80;
}

struct TitlePatterns {
    std::array<RE2, 5> markers{
        {RE2("(?i)\\b(final|fnl|absolute|draft|copy|revision|rev|version|ver)\\b"),
         RE2("(?i)\\b(v|r)" SPACE "*\\p{Nd}+\\b"),
         RE2("(?i)\\b(this" SPACE "*is" SPACE "*the" SPACE "*one|thisistheone)\\b"),
         RE2("\\(\\p{Nd}+\\)"), RE2("[_\\-.]+")}};
};

#undef SPACE

std::string lowerCasedStem(const Path& file) {
    return lowerCased(toValidUtf8(file.stem().native()));
}

}  // namespace

std::optional<std::string> versionFamilyKey(const Path& file) {
    std::string name = lowerCasedStem(file);
    for (const VersionMarker& marker : versionMarkers()) {
        if (!couldMatch(marker, name)) continue;
        RE2::GlobalReplace(&name, marker.pattern, " ");
    }
    std::erase_if(name, [](char character) {
        return !(character >= 'a' && character <= 'z') && !(character >= '0' && character <= '9');
    });
    if (name.size() < 3) return std::nullopt;
    return name;
}

std::optional<std::string> versionFamily(const Path& file) {
    auto key = versionFamilyKey(file);
    if (!key) return std::nullopt;
    return *key + lowerCased(toValidUtf8(file.extension().native()));
}

std::vector<std::string> versionFreeWords(const Path& file) {
    static const TitlePatterns patterns;
    std::string name = lowerCasedStem(file);
    for (const RE2& marker : patterns.markers) RE2::GlobalReplace(&name, marker, " ");
    std::vector<std::string> words;
    for (const std::string_view word : splitWhiteSpace(name)) {
        if (codePointCount(word) > 1) words.emplace_back(word);
    }
    return words;
}

}  // namespace nookery
