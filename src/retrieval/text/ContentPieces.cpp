#include "retrieval/text/ContentPieces.h"

#include <array>

#include "foundation/Text.h"
#include "records/InternalMarkers.h"

namespace nookery {
namespace {

struct PieceMarker {
    std::string_view marker;
    std::string ContentPieces::*piece;
};

/// In the order of storage. An enriched memory always has the last marker.
constexpr std::array<PieceMarker, 4> pieceMarkers{{
    {"__crumb_document__", &ContentPieces::document},
    {"__crumb_recognised__", &ContentPieces::recognised},
    {"__crumb_description__", &ContentPieces::description},
    {"__crumb_facts__", &ContentPieces::facts},
}};

constexpr std::string_view lastMarker = pieceMarkers.back().marker;

/// The position of the last such marker that fills a line; npos when there is none.
std::size_t findMarkerLine(std::string_view text, std::string_view marker) {
    std::size_t place = text.rfind(marker);
    while (place != std::string_view::npos) {
        const std::size_t end = place + marker.size();
        const bool begins = place == 0 || text[place - 1] == '\n';
        if (begins && (end == text.size() || text[end] == '\n')) return place;
        if (place == 0) break;
        place = text.rfind(marker, place - 1);
    }
    return std::string_view::npos;
}

void addLines(std::string& text, std::string_view lines) {
    if (lines.empty()) return;
    if (!text.empty()) text += '\n';
    text += lines;
}

}  // namespace

bool isEnriched(std::string_view searchableText) {
    return findMarkerLine(searchableText, lastMarker) != std::string_view::npos;
}

std::string_view factsIn(std::string_view searchableText) {
    const std::size_t place = findMarkerLine(searchableText, lastMarker);
    if (place == std::string_view::npos) return {};
    return trimmed(searchableText.substr(place + lastMarker.size()));
}

ContentPieces parseContentPieces(std::string_view searchableText) {
    ContentPieces pieces;
    pieces.isEnriched = isEnriched(searchableText);
    std::string_view rest = searchableText;
    // Parsed from the end, so that nothing in the captured text can pass for a marker.
    for (auto known = pieceMarkers.rbegin(); pieces.isEnriched && known != pieceMarkers.rend();
         ++known) {
        const std::size_t place = findMarkerLine(rest, known->marker);
        if (place == std::string_view::npos) continue;
        pieces.*(known->piece) = trimmed(rest.substr(place + known->marker.size()));
        rest = rest.substr(0, place == 0 ? 0 : place - 1);
    }
    pieces.captured = rest;
    return pieces;
}

std::string toSearchableText(const ContentPieces& pieces) {
    std::string text = pieces.captured;
    if (!pieces.isEnriched) return text;
    for (const PieceMarker& known : pieceMarkers) {
        const std::string piece = withoutInternalMarkers(pieces.*(known.piece));
        if (trimmed(piece).empty() && known.marker != lastMarker) continue;
        if (!text.empty()) text += '\n';
        text += known.marker;
        if (!trimmed(piece).empty()) text += '\n';
        text += trimmed(piece);
    }
    return text;
}

std::string joinedPieces(std::string_view searchableText) {
    const ContentPieces pieces = parseContentPieces(searchableText);
    std::string text = pieces.captured;
    for (const PieceMarker& known : pieceMarkers) addLines(text, pieces.*(known.piece));
    return text;
}

std::string readableContents(std::string_view searchableText) {
    const ContentPieces pieces = parseContentPieces(searchableText);
    std::string contents = withoutInternalMarkers(pieces.captured);
    for (const auto* piece : {&pieces.document, &pieces.recognised, &pieces.description}) {
        addLines(contents, *piece);
    }
    return contents;
}

}  // namespace nookery
