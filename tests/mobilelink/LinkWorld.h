#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "collection/store/CrumbStore.h"
#include "foundation/Json.h"
#include "mobilelink/PhoneLink.h"
#include "support/TestPlatform.h"

namespace nookery::testing {

/// A library, a shared folder and a paired phone, on virtual time.
class LinkWorld {
  public:
    LinkWorld();

    /// Closes the library and opens it again.
    void open(LibraryAccess access);
    /// The key store holds this key, or these bytes that are none.
    void pair(const std::string& key);
    void unpair();
    /// The cloud drive is there.
    void connect();

    CrumbItem note(const std::string& title, const std::string& body = "body of it");
    /// A memory of a file with this content, in `Items`.
    CrumbItem picture(const std::string& title, const std::string& content);
    void add(const CrumbItem& item);
    void change(const CrumbItem& item);
    void remove(const Uuid& id);
    /// Gives the memory a formatted body.
    void makeFormatted(const Uuid& id);
    CrumbItem read(const Uuid& id) const { return *store->item(id); }

    /// Throws what the run failed with.
    PublishReport publish();
    EditReport receive();

    // The phone's side.
    Json index() const;
    std::vector<std::string> indexTitles() const;
    std::string opened(const Path& file) const;
    Path memories() const { return shared / "MemoriesV1"; }
    Path edits() const { return shared / "EditsV1"; }
    Path attachment(const Uuid& id) const {
        return memories() / ("memory-" + id.toString() + ".enc");
    }
    /// Names and contents of everything in the shared folder.
    std::map<std::string, std::string> everything() const;
    /// A request as the phone writes it, with `item` as the base; returns its id.
    Uuid ask(const CrumbItem& item, const Json& changes);
    void putSealed(const Path& file, const std::string& plain);
    Json requestFor(const CrumbItem& item, const Uuid& id) const;
    std::optional<Json> receipt(const Uuid& request) const;
    /// "applied", "conflict" or "missing"; empty when there is no receipt.
    std::string result(const Uuid& request) const;

    TestPlatform world{Place::memory};
    std::string keyBytes = std::string(32, 'k');
    Path shared;
    std::unique_ptr<CrumbStore> store;
    std::unique_ptr<PhoneLink> link;
};

}  // namespace nookery::testing
