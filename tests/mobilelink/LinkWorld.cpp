#include "mobilelink/LinkWorld.h"

#include <filesystem>
#include <stdexcept>

#include "collection/database/SQLiteDatabase.h"
#include "mobilelink/SealedBox.h"
#include "platform/KeyStoreServices.h"
#include "support/StoreChanges.h"

namespace nookery::testing {
namespace {

constexpr const char* pairingService = "com.kestrel.Nookery.Mac.SecurePairing.v1";

CrumbItem newMemory(const TestPlatform& world, const std::string& title) {
    CrumbItem item;
    item.id = Uuid::random();
    item.title = title;
    item.createdAt = world.time.now();
    return item;
}

}  // namespace

LinkWorld::LinkWorld() : shared(world.cloud.container() / "Documents" / "NookerySecureSyncV1") {
    connect();
    pair(keyBytes);
    open(LibraryAccess::writing);
}

void LinkWorld::open(LibraryAccess access) {
    link.reset();
    store.reset();
    store = std::make_unique<CrumbStore>(world.platform(), world.layout(), access);
    world.resultOf(store->open(SessionLength::oneCommand));
    link = std::make_unique<PhoneLink>(world.platform(), world.layout(), *store);
}

void LinkWorld::pair(const std::string& key) {
    keyBytes = key;
    world.keyStore.write(pairingService, pairedKeyAccount, key);
}

void LinkWorld::unpair() { world.keyStore.remove(pairingService, {std::string(pairedKeyAccount)}); }

void LinkWorld::connect() {
    std::filesystem::create_directories(world.cloud.container());
    world.cloud.available = true;
}

CrumbItem LinkWorld::note(const std::string& title, const std::string& body) {
    CrumbItem item = newMemory(world, title);
    item.text = body;
    add(item);
    return item;
}

CrumbItem LinkWorld::picture(const std::string& title, const std::string& content) {
    CrumbItem item = newMemory(world, title);
    item.kind = CrumbKind::image;
    item.filePath = world.folder.write("data/Crumb/Items/" + item.id.toString() + ".png", content);
    add(item);
    return item;
}

void LinkWorld::add(const CrumbItem& item) {
    store->addRecords({std::make_shared<const CrumbItem>(item)}, {},
                      [](const SaveFailure& failure) { failure.throwIfFailed(); });
}

void LinkWorld::change(const CrumbItem& item) { testing::change(*store, item).throwIfFailed(); }

void LinkWorld::remove(const Uuid& id) { world.resultOf(store->remover().deleteMemories({id})); }

void LinkWorld::makeFormatted(const Uuid& id) {
    link.reset();
    store.reset();
    const std::string rtf = "{\\rtf1 body}";
    SQLiteDatabase::open(world.files, world.layout())
        .saveRichText(id, std::as_bytes(std::span(rtf)), world.time.now());
    open(LibraryAccess::writing);
}

PublishReport LinkWorld::publish() { return world.resultOf(link->publish()).publish; }

EditReport LinkWorld::receive() { return world.resultOf(link->receive()).edits; }

std::string LinkWorld::opened(const Path& file) const {
    return openBox(world.encryption, *EncryptionKey::fromBytes(keyBytes), world.folder.read(file));
}

Json LinkWorld::index() const { return parseJson(opened(memories() / "memories-index-v1.enc")); }

std::vector<std::string> LinkWorld::indexTitles() const {
    std::vector<std::string> titles;
    for (const Json& memory : index()) titles.push_back(memory.at("title"));
    return titles;
}

std::map<std::string, std::string> LinkWorld::everything() const {
    std::map<std::string, std::string> contents;
    for (const std::string& name : world.folder.filesBelow("drive")) {
        contents[name] = world.folder.read(Path("drive") / name);
    }
    return contents;
}

Json LinkWorld::requestFor(const CrumbItem& item, const Uuid& id) const {
    return {{"id", id.toString()},
            {"memoryID", item.id.toString()},
            {"createdAt", world.time.now().secondsSince2001()},
            {"baseTitle", item.title},
            {"baseDetails", item.note},
            {"baseBody", item.text.value_or("")}};
}

void LinkWorld::putSealed(const Path& file, const std::string& plain) {
    world.folder.write(file, sealBox(world.encryption, *EncryptionKey::fromBytes(keyBytes), plain));
}

Uuid LinkWorld::ask(const CrumbItem& item, const Json& changes) {
    const Uuid id = Uuid::random();
    Json request = requestFor(item, id);
    request.update(changes);
    putSealed(edits() / ("edit-" + id.toString() + ".enc"), toJsonText(request));
    return id;
}

std::optional<Json> LinkWorld::receipt(const Uuid& request) const {
    const Path file = edits() / ("edit-result-" + request.toString() + ".enc");
    if (!std::filesystem::exists(file)) return std::nullopt;
    return parseJson(opened(file));
}

std::string LinkWorld::result(const Uuid& request) const {
    const auto found = receipt(request);
    return found ? found->at("result").get<std::string>() : "";
}

}  // namespace nookery::testing
