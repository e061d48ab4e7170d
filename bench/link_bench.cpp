// The link with the phone: publishing a large library, sealing many attachments beside copying
// them, taking in many edits. Each figure is the median of three.
//   TMPDIR=FOLDER link_bench     FOLDER lies on the disk to be measured
#include <fmt/format.h>

#include <random>

#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "foundation/DurableFile.h"
#include "foundation/Json.h"
#include "mobilelink/LinkFolders.h"
#include "mobilelink/PhoneLink.h"
#include "platform/KeyStore.h"
#include "platform/KeyStoreServices.h"
#include "support/Benchmark.h"
#include "support/Waiting.h"

namespace nookery {
namespace {

constexpr int runCount = 3;
constexpr std::size_t memoryCount = 100'000;
constexpr std::size_t wordsPerMemory = 120;
constexpr std::size_t attachmentCount = 50;
constexpr std::size_t attachmentByteCount = 20'000'000;
constexpr std::size_t editCount = 1'000;

const std::string keyBytes(32, 'k');

/// A paired computer and its drive, both in one folder.
class World {
  public:
    explicit World(const Path& folder)
        : folder_(folder),
          layout_{folder / "data", folder / "cache"},
          system_({.configFolder = folder,
                   .userData = folder,
                   .programFolder = folder,
                   .cloudFolder = folder / "drive",
                   .keyStoreFile = folder / "keys.json"},
                  log_) {
        createDirectories(files(), folder / "drive" / cloudContainerName);
        createDirectories(files(), layout_.items());
        platform().keyStore.write(KeyStoreServices(platform().applicationIdentifier).pairedKey(),
                                  pairedKeyAccount, keyBytes);
    }

    const Platform& platform() const { return system_.platform(); }
    LoopQueue& mainLoop() { return system_.mainLoop(); }
    FileSystem& files() const { return platform().files; }
    const LibraryLayout& layout() const { return layout_; }
    Path folder() const { return folder_; }

    PublishReport publish(const CrumbItemList& items) const {
        auto records = LinkRecords::open(files(), layout_.linkRecords());
        return NookeryMemoryPublisher(platform())
            .publish(items, *EncryptionKey::fromBytes(keyBytes), records,
                     OperationControl(platform().mainQueue));
    }

    EditReport receive(CrumbStore& store) {
        PhoneLink link(platform(), layout_, store);
        return resultOf(mainLoop(), link.receive()).edits;
    }

  private:
    Path folder_;
    LibraryLayout layout_;
    StderrLog log_;
    SystemPlatform system_;
};

double medianOf(const std::function<double()>& measure) {
    std::vector<double> seconds;
    for (int run = 0; run < runCount; ++run) seconds.push_back(measure());
    return median(seconds);
}

void demand(std::size_t found, std::size_t expected) {
    if (found != expected) throw Error(fmt::format("{} in place of {}", found, expected));
}

CrumbItem someMemory(std::mt19937& random) {
    CrumbItem item;
    item.id = Uuid::random();
    item.title = fmt::format("memory {}", random() % 100'000);
    item.createdAt = Timestamp{1.7e9 + static_cast<double>(random() % 10'000'000)};
    std::string text;
    for (std::size_t word = 0; word < wordsPerMemory; ++word) {
        text += fmt::format("{}word{}", word % 12 == 11 ? '\n' : ' ', random() % 20'000);
    }
    item.text = text;
    item.searchableText = std::move(text);
    return item;
}

void measurePublishing(const World& world) {
    std::mt19937 random(1);
    CrumbItemList items;
    for (std::size_t i = 0; i < memoryCount; ++i) {
        items.push_back(std::make_shared<const CrumbItem>(someMemory(random)));
    }
    const double seconds = medianOf([&] {
        return secondsFor([&] { demand(world.publish(items).publishedCount, memoryCount); });
    });
    fmt::print("publish of {} memories             {:7.3f} s   (bar 3 s)\n", memoryCount, seconds);
}

CrumbItemList withAttachments(const World& world, std::mt19937& random) {
    std::string content(attachmentByteCount, '\0');
    for (char& byte : content) byte = static_cast<char>(random());
    CrumbItemList items;
    for (std::size_t i = 0; i < attachmentCount; ++i) {
        CrumbItem item = someMemory(random);
        item.kind = CrumbKind::file;
        item.filePath = world.layout().items() / fmt::format("original {}", i);
        content[0] = static_cast<char>(i);
        writeDurably(world.files(), *item.filePath, content);
        items.push_back(std::make_shared<const CrumbItem>(std::move(item)));
    }
    return items;
}

double secondsToCopy(const World& world, const CrumbItemList& items) {
    const Path copies = world.folder() / "copies";
    world.files().createDirectory(copies);
    const double seconds = secondsFor([&] {
        for (const auto& item : items) {
            copyNewFile(world.files(), *item->filePath, copies / item->id.toString(), {});
        }
        world.files().syncDirectory(copies);
    });
    removeTree(world.files(), copies);
    return seconds;
}

void measureSealing(const World& world) {
    std::mt19937 random(2);
    CrumbItemList items = withAttachments(world, random);
    const double copying = medianOf([&] { return secondsToCopy(world, items); });
    const Path published = world.folder() / "drive" / cloudContainerName / "Documents";
    const double sealing = medianOf([&] {
        removeTree(world.files(), published);
        return secondsFor(
            [&] { demand(world.publish(items).attachmentsWritten, attachmentCount); });
    });
    fmt::print("copying 1 GB in {} files              {:7.3f} s\n", attachmentCount, copying);
    fmt::print("publishing them sealed                {:7.3f} s   {:.2f} times copying (bar 1.5)\n",
               sealing, sealing / copying);
    const double again = medianOf([&] {
        CrumbItem edited = *items.front();
        edited.title += "!";
        items.front() = std::make_shared<const CrumbItem>(std::move(edited));
        return secondsFor(
            [&] { demand(world.publish(items).attachmentsUnchanged, attachmentCount); });
    });
    fmt::print("once more after one edit              {:7.3f} s   no attachment written\n", again);
}

void putRequest(const World& world, const CrumbItem& item, const std::string& title) {
    const Uuid id = Uuid::random();
    const Json request{{"id", id.toString()},
                       {"memoryID", item.id.toString()},
                       {"createdAt", 8e8},
                       {"baseTitle", item.title},
                       {"baseDetails", item.note},
                       {"baseBody", item.text.value_or("")},
                       {"title", title}};
    const Path folder =
        NookerySecurePairingTransport(world.platform()).sharedFolder(editsFolderName);
    createDirectories(world.files(), folder);
    writeDurably(world.files(), folder / ("edit-" + id.toString() + ".enc"),
                 sealBox(world.platform().encryption, *EncryptionKey::fromBytes(keyBytes),
                         toJsonText(request)));
}

void measureEdits(World& world) {
    std::mt19937 random(3);
    CrumbItemList items;
    for (std::size_t i = 0; i < 10 * editCount; ++i) {
        items.push_back(std::make_shared<const CrumbItem>(someMemory(random)));
    }
    CrumbStore store(world.platform(), world.layout(), LibraryAccess::writing);
    resultOf(world.mainLoop(), store.open(SessionLength::oneCommand));
    save(world.mainLoop(), [&](Saved saved) { store.addRecords(items, {}, std::move(saved)); });
    int round = 0;
    const double seconds = medianOf([&] {
        const std::string title = fmt::format("edited {}", ++round);
        for (std::size_t i = 0; i < editCount; ++i) {
            putRequest(world, *store.item(items[i]->id), title);
        }
        return secondsFor([&] { demand(world.receive(store).appliedCount, editCount); });
    });
    fmt::print("{} pending edits                   {:7.3f} s   (bar 2 s)\n", editCount, seconds);
}

}  // namespace
}  // namespace nookery

int main() {
    return nookery::runInTemporaryFolder("link_bench", [](const std::string& folder) {
        nookery::World world(folder);
        nookery::measurePublishing(world);
        nookery::measureSealing(world);
        nookery::measureEdits(world);
    });
}
