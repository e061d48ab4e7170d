#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "collection/database/RecognisedPages.h"
#include "platform/Platform.h"
#include "records/CrumbItem.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// What the background read out of a memory's original.
struct ReadContents {
    std::string searchableText;            ///< what the memory's is to be from now on
    std::optional<std::string> problem{};  ///< why something is missing: one line for the person
    std::vector<EncodedPage> pages{};      ///< the words that were seen, and where
};

/// Reads a memory's original: text seen in an image or on pages without text, a document's words
/// where capture found none, facts about images, sounds and films; and puts a picture of it into
/// the cache. The original is not changed. Everything read replaces what an earlier reading left;
/// when the original cannot be opened at all, the searchable text is as it was. Throws Cancelled
/// when stop is requested, and nothing else. Any thread.
ReadContents readContents(const CrumbItem& item, const Platform& platform,
                          const LibraryLayout& layout, const std::stop_token& stop);

}  // namespace nookery
