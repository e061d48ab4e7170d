#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "collection/database/ItemQueries.h"
#include "collection/database/LibraryLock.h"
#include "collection/database/MemoryAnnotations.h"
#include "collection/database/SQLiteDatabase.h"
#include "collection/database/Sidecar.h"
#include "collection/store/MemoryList.h"
#include "foundation/Published.h"
#include "records/LibraryLayout.h"
#include "retrieval/RetrievalEngine.h"

namespace nookery {

/// Whether a process may change the library. Exactly one at a time may; any number may read.
enum class LibraryAccess { reading, writing };

/// How much of an open library is held in memory.
enum class LibraryExtent {
    onDemand,     ///< groups and dates; memories and what is attached to them when asked for
    fewSearches,  ///< all memories, and an index that is quickly made, for a few searches
    records,      ///< all memories, all that is attached to them, and the background's backlog
    index,        ///< the same as `records`, and the index
};

using RichTexts = std::unordered_map<Uuid, std::vector<std::byte>>;

/// An opened library: what lies on disk and what is held of it in memory. The store owns it; the
/// classes beside it work on it, each by its own contract. Main thread, except that nobody but the
/// opener touches the databases until the library is open.
struct LibraryContents {
    LibraryContents(const Platform& services, LibraryLayout places, LibraryAccess allowed)
        : platform(services),
          layout(std::move(places)),
          access(allowed),
          annotations(platform),
          retrieval(std::make_unique<RetrievalEngine>()) {}

    Platform platform;
    LibraryLayout layout;
    LibraryAccess access;
    LibraryExtent extent = LibraryExtent::index;

    std::optional<LibraryLock> lock;
    std::optional<SQLiteDatabase> database;  ///< none when opening failed
    std::optional<Sidecar> sidecar;          ///< none when opening failed, and while reading

    MemoryList memories;
    Published<std::vector<CrumbGroup>> groups;
    Published<RichTexts> richTextByID;  ///< empty when the extent leaves it out
    MemoryAnnotations annotations;
    std::unique_ptr<RetrievalEngine> retrieval;  ///< none when the extent leaves the index out
    /// Changes each time the library has changed and its lists are up to date.
    Published<std::uint64_t> revision{0};

    /// Whether the extent has it; before the library is open, all that there is.
    bool hasRecords() const {
        return extent == LibraryExtent::records || extent == LibraryExtent::index;
    }
    /// Throws Error when the library is not open.
    ItemQueries itemQueries();
    /// A function that gives every memory, newest first, on any thread: as they are now, or as they
    /// are when it is called.
    std::function<CrumbItemList()> allReader() const;
    /// Empty when there is no such group, or none is asked for.
    std::string groupName(const std::optional<Uuid>& groupID) const;
    /// What search reads of a memory beside its record.
    MemoryAttributes attributesOf(const CrumbItem& item) const;
};

}  // namespace nookery
