#pragma once

#include <span>
#include <stop_token>
#include <vector>

#include "collection/capture/CaptureBatch.h"
#include "collection/capture/CaptureWalk.h"
#include "collection/originals/OriginalCopy.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

struct FetchedPage;

/// Where originals lie before they get their names: a hidden folder in `Items`, so that a rename
/// is enough. It is there only while a capture runs.
Path incomingFolder(const LibraryLayout& layout);

/// The slow half of a request: everything that reads and writes files. Runs on the capture queue;
/// a failure becomes part of the entry it concerns.
class CaptureWork {
  public:
    CaptureWork(const Platform& platform, LibraryLayout layout, CaptureRequest request,
                std::stop_token stop);

    /// Takes the next sources and copies their originals, as many as make a batch of bounded size;
    /// fewer when stop is requested.
    CaptureBatch gather();

    /// Brings accepted entries as far as `ready`: reads the copy back, takes its text, syncs it,
    /// gives it its name. Leaves some accepted when their texts together grow large. Removes the
    /// copies of entries that have ended; when stop is requested, also of those not ready.
    void settle(CaptureBatch& batch);

    /// Removes the originals of all entries that are not added.
    void discard(CaptureBatch& batch);

    /// Takes the incoming folder away.
    void finish();

  private:
    std::optional<CaptureEntry> begin(FoundSource found);
    void beginContent(CaptureEntry& entry, FoundSource& found);
    void beginFile(CaptureEntry& entry, const FoundFile& file);
    void beginLink(CaptureEntry& entry, const CaptureLink& link);
    void beginText(CaptureEntry& entry, const CaptureText& text);
    void makeIncomingFolder();

    std::vector<CaptureEntry*> readAccepted(CaptureBatch& batch);
    void read(CaptureEntry& entry);
    void place(std::span<CaptureEntry* const> entries);
    void readText(CaptureEntry& entry);
    void fetchPage(CaptureEntry& entry);
    void readPage(CaptureEntry& entry, const FetchedPage& fetched);
    void giveName(CaptureEntry& entry);
    bool moveTo(const Path& place, OriginalCopy& original);
    void syncItems(std::span<CaptureEntry* const> entries);
    void discardOriginal(CaptureEntry& entry);

    Platform platform_;  ///< its own: the work may outlive the library that asked for it
    LibraryLayout layout_;
    CaptureRequest request_;
    std::stop_token stop_;
    CaptureWalk walk_;
    OriginalCopier copier_;
    bool incomingMade_ = false;
};

}  // namespace nookery
