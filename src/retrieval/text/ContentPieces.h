#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// The pieces of a memory's searchable text. Enrichment reads them out of the original in the
/// background. Each piece follows a marker on a line of its own, so that a second reading can
/// replace it. The markers never reach index, excerpt or embedding.
struct ContentPieces {
    std::string captured{};     ///< the text before all markers, captured with the memory
    std::string document{};     ///< the words of a document
    std::string recognised{};   ///< text seen in an image or on the pages of a document
    std::string description{};  ///< what media files say of themselves: title, artist, album
    std::string facts{};        ///< size, camera, duration, place: searched, but never embedded
    bool isEnriched = false;    ///< the original was read, even if it gave nothing

    bool operator==(const ContentPieces&) const = default;
};

ContentPieces parseContentPieces(std::string_view searchableText);

/// The pieces as stored. Markers inside the pieces are taken out, except in `captured`; a memory
/// that is not enriched has no other piece.
std::string toSearchableText(const ContentPieces& pieces);

/// The facts alone; empty when the memory is not enriched. Costs less than parsing.
std::string_view factsIn(std::string_view searchableText);

/// Whether the original was read in the background. Costs less than parsing.
bool isEnriched(std::string_view searchableText);

/// All pieces, facts too, one below the other and without the markers: for exports. The searchable
/// text of a memory that is not enriched comes back as it is.
std::string joinedPieces(std::string_view searchableText);

/// The words of the original: all pieces but the facts, without markers.
std::string readableContents(std::string_view searchableText);

}  // namespace nookery
