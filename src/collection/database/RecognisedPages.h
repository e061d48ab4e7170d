#pragma once

#include <span>
#include <string>
#include <vector>

#include "collection/database/Sidecar.h"
#include "platform/RecognisedPage.h"

namespace nookery {

/// A page's words in the compact form in which they are kept (docs/formats/sidecar.md).
struct EncodedPage {
    int page = 0;
    std::string content;
};

/// Boxes are kept to a 65,535th of the page's side. Any thread.
EncodedPage encode(const RecognisedPage& page);
/// Throws DatabaseError when the content is damaged.
RecognisedPage decode(const EncodedPage& encoded);

/// The words that were seen on the pages and in the pictures of memories, in a table of their own
/// in the sidecar. They can be made again by reading the originals anew. Throws DatabaseError. Main
/// thread, except `load`.
class RecognisedPages {
  public:
    explicit RecognisedPages(Sidecar& sidecar) : connection_(sidecar.connection_) {}

    /// In place of what is kept of the memory; no pages remove it.
    void replace(const Uuid& memoryID, std::span<const EncodedPage> pages);

    /// The pages of a memory on which words were seen, over a connection of its own. Empty when
    /// none are kept, or when another version of the program's reading kept them. Any thread.
    static std::vector<RecognisedPage> load(const LibraryLayout& layout, const Uuid& memoryID);

  private:
    SqliteConnection& connection_;
};

}  // namespace nookery
