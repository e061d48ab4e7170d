#include "records/InternalMarkers.h"

#include <algorithm>

namespace nookery {
namespace {

constexpr std::string_view noteMarker = "mobile-note-id:";
constexpr std::string_view markerOpening = "__crumb_";
constexpr std::string_view markerClosing = "__";

/// The length of the marker that a text begins with; 0 when it begins with none.
std::size_t markerLength(std::string_view text) {
    if (text.starts_with(noteMarker)) {
        const std::size_t end = text.find_first_of(" \t\r\n", noteMarker.size());
        return end == std::string_view::npos ? text.size() : end;
    }
    if (!text.starts_with(markerOpening)) return 0;
    const std::size_t nameEnd = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz_", 1);
    const std::string_view name = text.substr(0, nameEnd);
    const std::size_t closing = name.rfind(markerClosing);
    return closing >= markerOpening.size() ? closing + markerClosing.size() : 0;
}

std::size_t nextMarker(std::string_view text, std::size_t from) {
    return std::min(text.find(noteMarker, from), text.find(markerOpening, from));
}

}  // namespace

bool holdsInternalMarkers(std::string_view text) {
    return nextMarker(text, 0) != std::string_view::npos;
}

std::string withoutInternalMarkers(std::string_view text) {
    std::string kept;
    std::size_t position = 0;
    while (true) {
        const std::size_t marker = nextMarker(text, position);
        if (marker == std::string_view::npos) break;
        const std::size_t length = markerLength(text.substr(marker));
        kept += text.substr(position, marker - position);
        if (length == 0) kept += text[marker];
        position = marker + std::max<std::size_t>(length, 1);
    }
    kept += text.substr(position);
    return kept;
}

}  // namespace nookery
