#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// What a memory's searchable text is made of. Each piece that the background reads out of an
/// original stands behind a marker on a line of its own, so that reading it again replaces the
/// piece; the markers are among those that never reach index, excerpt or embedding.
struct ContentPieces {
    std::string captured{};     ///< what stands before all markers: taken in with the memory
    std::string document{};     ///< the words of a document
    std::string recognised{};   ///< text seen in an image or on the pages of a document
    std::string description{};  ///< what media files say of themselves: title, artist, album
    std::string facts{};      ///< size, camera, duration, place: found, but no part of the meaning
    bool isEnriched = false;  ///< the original was read in the background, whatever it gave

    bool operator==(const ContentPieces&) const = default;
};

ContentPieces parseContentPieces(std::string_view searchableText);

/// The pieces as stored. Markers inside the pieces are taken out, except in `captured`; a memory
/// that is not enriched has no other piece.
std::string toSearchableText(const ContentPieces& pieces);

/// Whether the original was read in the background. Costs less than parsing.
bool isEnriched(std::string_view searchableText);

/// All pieces, facts too, one below the other without the markers between them: for those who take
/// a memory elsewhere. A memory that is not enriched gives its searchable text as it is.
std::string joinedPieces(std::string_view searchableText);

/// All that was written or said in the original, without facts and markers.
std::string readableContents(std::string_view searchableText);

}  // namespace nookery
