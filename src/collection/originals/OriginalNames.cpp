#include "collection/originals/OriginalNames.h"

#include <fmt/format.h>

#include "foundation/DurableFile.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::size_t maximumNameByteCount = 255;
/// A longer "extension" is a name with a dot in it, and is cut like one.
constexpr std::size_t maximumExtensionByteCount = 32;

struct NameParts {
    std::string stem;
    std::string extension;  ///< with its dot; may be empty
};

NameParts partsOf(const std::string& name) {
    std::string extension = Path(name).extension().native();
    if (extension.size() > maximumExtensionByteCount) extension.clear();
    return {name.substr(0, name.size() - extension.size()), extension};
}

bool isControl(char32_t codePoint) {
    return codePoint < 0x20 || (codePoint >= 0x7f && codePoint < 0xa0);
}

/// Control characters would garble lists and messages, and some archive formats refuse them.
std::string withoutControls(const std::string& text, std::string_view replacement) {
    std::string clean;
    for (std::size_t position = 0; position < text.size();) {
        const char32_t codePoint = nextCodePoint(text, position);
        if (isControl(codePoint)) {
            clean += replacement;
        } else {
            appendUtf8(clean, codePoint);
        }
    }
    return clean;
}

Path joined(const NameParts& parts, const std::string& suffix) {
    const std::size_t room = maximumNameByteCount - parts.extension.size() - suffix.size();
    return std::string(cutToBytes(parts.stem, room)) + suffix + parts.extension;
}

Path numbered(const NameParts& parts, std::uint64_t number) {
    return joined(parts, fmt::format(" ({})", number));
}

}  // namespace

Path originalName(const Path& sourceName) {
    std::string name = withoutControls(toValidUtf8(sourceName.filename().native()), "_");
    if (name.empty()) name = "Untitled";
    if (name.starts_with(temporaryPrefix)) name.insert(0, "_");
    return joined(partsOf(name), "");
}

Path freeName(const Path& wished, const std::function<bool(const Path&)>& isTaken) {
    if (!isTaken(wished)) return wished;
    const NameParts parts = partsOf(wished.native());
    std::uint64_t taken = 1;
    std::uint64_t free = 2;
    while (isTaken(numbered(parts, free))) {
        taken = free;
        free *= 2;
    }
    while (free - taken > 1) {
        const std::uint64_t middle = taken + (free - taken) / 2;
        (isTaken(numbered(parts, middle)) ? taken : free) = middle;
    }
    return numbered(parts, free);
}

std::string titleFromFileName(const Path& sourceName) {
    const std::string name = withoutControls(toValidUtf8(sourceName.filename().native()), " ");
    const std::string title(trimmed(partsOf(name).stem));
    return title.empty() ? "Untitled Memory" : title;
}

}  // namespace nookery
