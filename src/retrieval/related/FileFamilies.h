#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "records/CrumbItem.h"

namespace nookery {

/// The memories with files, by what their names have in common. Names are looked at when first
/// asked for, or ahead of it, so that loading a library does not wait for it. Main thread.
class FileFamilies {
  public:
    /// Adds a memory or replaces what is known of it.
    void put(const CrumbItemPointer& item);
    void remove(const Uuid& id);
    void clear();

    /// Looks at up to so many names ahead of being asked; answers whether some are left.
    bool readNames(std::size_t limit);

    /// The other versions of a memory's file, newest first: same key, same extension.
    CrumbItemList versionsOf(const Uuid& id);
    bool areVersions(const Uuid& id, const Uuid& other);
    /// Files of the same name in other formats: same key, other extension; in no order.
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

    void take(const Uuid& id);
    CrumbItemList membersLike(const Uuid& id, bool sameExtension);

    std::unordered_map<Uuid, CrumbItemPointer> unread_;
    std::unordered_map<std::string, Members> families_;  // by key
    std::unordered_map<Uuid, Name> names_;
};

}  // namespace nookery
