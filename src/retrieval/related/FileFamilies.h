#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "records/CrumbItem.h"

namespace nookery {

/// Groups the memories with files by version family (VersionFamily.h). The names are read at the
/// first question or in portions before it, so that loading a library does not wait for them. Main
/// thread.
class FileFamilies {
  public:
    /// Adds a memory or replaces what is known of it.
    void put(const CrumbItemPointer& item);
    void remove(const Uuid& id);
    void clear();

    /// Reads at most `limit` names in advance; answers whether any are left.
    bool readNames(std::size_t limit);

    /// The other versions of a memory's file, with the same key and extension, newest first.
    CrumbItemList versionsOf(const Uuid& id);
    /// Whether two different memories' files are versions of one file.
    bool areVersions(const Uuid& id, const Uuid& other);
    /// The memories whose files have the same key and another extension, in no particular order.
    CrumbItemList otherFormatsOf(const Uuid& id);

  private:
    struct Member {
        CrumbItemPointer item;
        std::string extension;  ///< lower case
    };
    using Members = std::vector<Member>;
    struct Name {
        std::string key;
        std::string extension;

        bool operator==(const Name&) const = default;
    };

    void removeFromFamily(const Uuid& id);
    CrumbItemList membersLike(const Uuid& id, bool sameExtension);

    std::unordered_map<Uuid, CrumbItemPointer> unread_;
    std::unordered_map<std::string, Members> families_;  // by key
    std::unordered_map<Uuid, Name> names_;
};

}  // namespace nookery
