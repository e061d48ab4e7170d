#include "backends/SystemPlatform.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "backends/PropertyListXml.h"
#include "backends/contenttypes/MagicContentTypes.h"
#include "backends/cryptography/OpenSslDigest.h"
#include "backends/cryptography/OpenSslEncryption.h"
#include "backends/embedding/SentenceEncoder.h"
#include "backends/files/CloudFolder.h"
#include "backends/files/DesktopTrash.h"
#include "backends/files/InotifyDirectoryEvents.h"
#include "backends/keys/FileKeyStore.h"
#include "backends/keys/SecretServiceKeyStore.h"
#include "backends/reader/Isolated.h"
#include "backends/settings/DefaultsDatabase.h"
#include "backends/sockets/UnixSockets.h"

namespace nookery {
namespace {

/// The machine's clock, to the microsecond.
class SystemClock final : public Clock {
  public:
    Timestamp now() const override {
        using namespace std::chrono;
        const auto sinceEpoch = system_clock::now().time_since_epoch();
        return {static_cast<double>(duration_cast<microseconds>(sinceEpoch).count()) / 1e6};
    }
};

std::unique_ptr<TextEmbedder> openEmbedder(FileSystem& files, const Path& programFolder, Log& log) {
    const Path asset = sentenceEncoderAsset(programFolder);
    try {
        if (!files.statusFollowingLinks(asset)) return nullptr;
        return makeSentenceEncoder(files, asset, log);
    } catch (const Error& error) {
        log.line("NOOKERY sentence encoder error: " + error.description());
        return nullptr;
    }
}

std::unique_ptr<KeyStore> openKeyStore(FileSystem& files, const std::optional<Path>& file) {
    return file ? makeFileKeyStore(files, *file) : makeSecretServiceKeyStore();
}

/// Beside the program in a build tree, among the helpers of an installation.
std::vector<Path> readerPrograms(const Path& programFolder) {
    return {programFolder / "nookery-reader",
            programFolder.parent_path() / NOOKERY_HELPERS / "nookery-reader"};
}

/// Recognising a page takes a few hundred megabytes: more threads would take the memory from other
/// programs.
int enrichThreadCount() {
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U));
}

}  // namespace

struct SystemPlatform::Services {
    Services(const SystemPlaces& places, Log& programLog, LoopQueue* ownLoop,
             std::unique_ptr<WorkQueue> queueOfMain)
        : log(programLog),
          defaults(openDefaultsDatabase(*files, places.configFolder)),
          keyStore(openKeyStore(*files, places.keyStoreFile)),
          trash(makeDesktopTrash(*files, clock, places.userData)),
          readers({.programs = readerPrograms(places.programFolder)}),
          cloud(makeCloudFolder(*files, *defaults, places.cloudFolder)),
          embedder(openEmbedder(*files, places.programFolder, log)),
          mainLoop(ownLoop),
          mainQueue(std::move(queueOfMain)) {}

    Log& log;
    SystemClock clock;
    std::unique_ptr<FileSystem> files = makePosixFileSystem();
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<KeyStore> keyStore;
    std::unique_ptr<Trash> trash;
    std::unique_ptr<ContentDigester> digester = makeOpenSslDigester();
    std::unique_ptr<AuthenticatedEncryption> encryption = makeOpenSslEncryption();
    std::unique_ptr<ContentTypeDetector> contentTypes = makeContentTypeDetector();
    ReaderPool readers;
    std::unique_ptr<DocumentReader> documents = makeIsolatedDocuments(readers);
    std::unique_ptr<PageReader> pages = makeIsolatedPages(readers);
    std::unique_ptr<ImageReader> images = makeIsolatedImages(readers);
    std::unique_ptr<PictureEncoder> pictureEncoder = makeIsolatedPictureEncoder(readers);
    std::unique_ptr<MediaReader> media = makeIsolatedMedia(readers);
    std::unique_ptr<TextRecognizer> textRecognizer = makeIsolatedTextRecognizer(readers, *files);
    std::unique_ptr<PropertyListFormat> propertyLists = makeXmlPropertyLists();
    std::unique_ptr<PdfWriter> pdf = makeIsolatedPdfWriter(readers);
    std::unique_ptr<DirectoryEvents> directoryEvents = makeInotifyDirectoryEvents();
    std::unique_ptr<CloudContainer> cloud;
    std::unique_ptr<TextEmbedder> embedder;
    std::unique_ptr<WebFetcher> web = makeIsolatedWebFetcher(readers);

    // After the services, so that they stop before what their work uses is destroyed.
    LoopQueue* mainLoop;  ///< the same as the main queue; null when that was brought along
    std::unique_ptr<WorkQueue> mainQueue;
    std::unique_ptr<WorkQueue> snapshotQueue = makeThreadQueue("snapshots", log);
    std::unique_ptr<WorkQueue> captureQueue = makeThreadQueue("capture", log);
    std::unique_ptr<WorkQueue> inboxQueue = makeThreadQueue("inbox", log);
    std::unique_ptr<WorkQueue> searchQueue = makeThreadQueue("search", log);
    std::unique_ptr<WorkQueue> enrichQueue = makeBackgroundPool("enrich", enrichThreadCount(), log);
    std::unique_ptr<WorkQueue> linkQueue = makeThreadQueue("link", log);
    std::unique_ptr<WorkQueue> filesQueue = makeThreadQueue("files", log);
    UnixSockets localSockets{*mainQueue};

    Platform platform{.clock = clock,
                      .files = *files,
                      .defaults = *defaults,
                      .keyStore = *keyStore,
                      .trash = *trash,
                      .log = log,
                      .digester = *digester,
                      .encryption = *encryption,
                      .contentTypes = *contentTypes,
                      .documents = *documents,
                      .pages = *pages,
                      .images = *images,
                      .pictureEncoder = *pictureEncoder,
                      .media = *media,
                      .textRecognizer = textRecognizer.get(),
                      .propertyLists = *propertyLists,
                      .pdf = *pdf,
                      .directoryEvents = *directoryEvents,
                      .cloud = *cloud,
                      .localSockets = localSockets,
                      .embedder = embedder.get(),
                      .web = web.get(),
                      .mainQueue = *mainQueue,
                      .snapshotQueue = *snapshotQueue,
                      .captureQueue = *captureQueue,
                      .inboxQueue = *inboxQueue,
                      .searchQueue = *searchQueue,
                      .enrichQueue = *enrichQueue,
                      .linkQueue = *linkQueue,
                      .filesQueue = *filesQueue,
                      .enrichThreadCount = enrichThreadCount(),
                      .applicationIdentifier = NOOKERY_APPLICATION_IDENTIFIER};
};

SystemPlatform::SystemPlatform(const SystemPlaces& places, Log& log) {
    auto loop = makeLoopQueue(log);
    LoopQueue* own = loop.get();
    services_ = std::make_unique<Services>(places, log, own, std::move(loop));
}

SystemPlatform::SystemPlatform(const SystemPlaces& places, Log& log,
                               std::unique_ptr<WorkQueue> mainQueue)
    : services_(std::make_unique<Services>(places, log, nullptr, std::move(mainQueue))) {}

SystemPlatform::~SystemPlatform() = default;

const Platform& SystemPlatform::platform() const { return services_->platform; }

LoopQueue& SystemPlatform::mainLoop() { return *services_->mainLoop; }

}  // namespace nookery
