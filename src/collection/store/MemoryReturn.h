#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "collection/store/LibraryWriter.h"

namespace nookery {

class TextEmbedder;

/// Removed memories with all that belonged to them, ready to come back.
struct ReturningMemories {
    std::vector<KeptTable> tables;
    AnnotationsByID annotations{};
    /// Of originals that lie in their places again.
    std::vector<OriginalFact> facts{};

    // What the tables say of them, for lists and index; `prepare` reads it.
    CrumbItemList items{};
    std::unordered_map<Uuid, std::vector<double>> vectors{};
    RichTexts richTexts{};
};

/// The records that the rows stand for. Rows that are no memory are left out, as when a library is
/// loaded. Any thread.
CrumbItemList itemsOf(const std::vector<KeptTable>& tables);

/// Reads from the tables what lists and index need; vectors of the embedder's model only. Any
/// thread.
void prepare(ReturningMemories& memories, const TextEmbedder* embedder);

/// Brings removed memories back. Their originals are the caller's to put in place before. Main
/// thread.
class MemoryReturn {
  public:
    MemoryReturn(LibraryContents& contents, LibraryWriter& writer)
        : contents_(contents), writer_(writer) {}

    /// Saves all that was prepared in one transaction and makes it durable, then puts the memories
    /// into the lists, the index and the settings. One that is in the library already stays as it
    /// is, and gets what was attached to it when nothing is. `ended` hears when all of it is
    /// durable; when nothing is kept, nothing has changed.
    void bringBack(const ReturningMemories& memories, Library::CommitEnded ended);

  private:
    void takeUp(const ReturningMemories& memories, const std::unordered_set<Uuid>& back);

    LibraryContents& contents_;
    LibraryWriter& writer_;
};

}  // namespace nookery
