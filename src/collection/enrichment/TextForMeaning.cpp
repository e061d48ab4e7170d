#include "collection/enrichment/TextForMeaning.h"

#include "foundation/Text.h"
#include "records/InternalMarkers.h"
#include "retrieval/text/ContentPieces.h"

namespace nookery {
namespace {

/// More than any embedder reads. It also bounds what is copied to the background.
constexpr std::size_t longestPart = 64 << 10;

std::string bounded(std::string_view text) {
    return withoutInternalMarkers(cutToBytes(text, longestPart));
}

/// A page's text is kept in two fields, and a title is often a text's first line: saying a thing
/// twice would weigh it twice.
void addUnlessSaid(std::string& text, std::string_view part) {
    part = trimmed(part);
    if (text.ends_with(part)) return;
    if (!text.empty()) text += '\n';
    text += part;
}

}  // namespace

std::string textForMeaning(const CrumbItem& item) {
    std::string body;
    addUnlessSaid(body, bounded(item.note));
    if (item.text) addUnlessSaid(body, bounded(*item.text));
    addUnlessSaid(body, bounded(readableContents(item.searchableText)));
    const std::string_view title = trimmed(item.title);
    if (body.starts_with(title)) return body;
    return std::string(title) + '\n' + body;
}

}  // namespace nookery
