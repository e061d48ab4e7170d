#include "workspace/MemoryPlace.h"

#include <fmt/format.h>

#include <charconv>

#include "collection/enrichment/FactLines.h"
#include "collection/inbox/MobileManifests.h"
#include "foundation/Text.h"
#include "retrieval/text/ContentPieces.h"

namespace nookery {
namespace {

/// What follows the label in the last line that begins with it.
std::optional<std::string_view> lastLabelled(std::string_view text, std::string_view label) {
    for (std::size_t at = text.rfind(label); at != std::string_view::npos;
         at = text.rfind(label, at - 1)) {
        const bool begins = at == 0 || text[at - 1] == '\n';
        if (begins) {
            const std::size_t start = at + label.size();
            return trimmed(text.substr(start, text.find('\n', start) - start));
        }
    }
    return std::nullopt;
}

/// One coordinate as it stands at the beginning of the text, which loses it: "48.85837 N".
std::optional<std::string> takeRounded(std::string_view& text, std::string_view directions) {
    double degrees = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), degrees);
    const auto length = static_cast<std::size_t>(end - text.data());
    if (error != std::errc() || length + 1 >= text.size() || text[length] != ' ') {
        return std::nullopt;
    }
    const char direction = text[length + 1];
    if (directions.find(direction) == std::string_view::npos) return std::nullopt;
    text = trimmed(text.substr(length + 2));
    return fmt::format("{:.1f} {}", degrees, direction);
}

std::string surroundings(std::string_view place) {
    std::string_view rest = place;
    const auto latitude = takeRounded(rest, "NS");
    const auto longitude = latitude ? takeRounded(rest, "EW") : std::nullopt;
    if (!longitude || !rest.empty()) return std::string(place);
    return *latitude + " " + *longitude;
}

}  // namespace

std::optional<std::string> placeOf(const CrumbItem& item) {
    std::optional<std::string_view> place;
    if (item.kind == CrumbKind::activity && item.text) {
        place = lastLabelled(*item.text, activityPlaceLabel);
    } else if (item.kind == CrumbKind::image || item.kind == CrumbKind::file) {
        place = lastLabelled(factsIn(item.searchableText), placeFactLabel);
    }
    if (!place || place->empty()) return std::nullopt;
    return surroundings(*place);
}

}  // namespace nookery
