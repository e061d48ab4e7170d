#include "backends/SystemPlatform.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "backends/CurlWebFetcher.h"
#include "backends/PropertyListXml.h"
#include "backends/contenttypes/MagicContentTypes.h"
#include "backends/cryptography/OpenSslDigest.h"
#include "backends/cryptography/OpenSslEncryption.h"
#include "backends/documents/DocumentFormats.h"
#include "backends/documents/IsolatedPdf.h"
#include "backends/documents/PdfPages.h"
#include "backends/embedding/SentenceEncoder.h"
#include "backends/files/CloudFolder.h"
#include "backends/files/DesktopTrash.h"
#include "backends/files/InotifyDirectoryEvents.h"
#include "backends/images/ImageFiles.h"
#include "backends/images/QtPictures.h"
#include "backends/keys/FileKeyStore.h"
#include "backends/keys/SecretServiceKeyStore.h"
#include "backends/media/AvMediaReader.h"
#include "backends/pdf/QtPdfWriter.h"
#include "backends/recognition/TesseractTextRecognizer.h"
#include "backends/settings/DefaultsDatabase.h"

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
        return openSentenceEncoder(files, asset);
    } catch (const Error& error) {
        log.line("NOOKERY sentence encoder error: " + error.description());
        return nullptr;
    }
}

std::unique_ptr<KeyStore> openKeyStore(FileSystem& files, const std::optional<Path>& file) {
    return file ? makeFileKeyStore(files, *file) : makeSecretServiceKeyStore();
}

std::unique_ptr<DocumentReader> documentReader(const std::optional<Path>& pdfProgram) {
    auto reader = makeDocumentReader();
    return pdfProgram ? makeIsolatedDocuments(std::move(reader), *pdfProgram) : std::move(reader);
}

std::unique_ptr<PageReader> pageReader(const std::optional<Path>& pdfProgram) {
    return pdfProgram ? makeIsolatedPages(*pdfProgram) : makePdfPages();
}

/// Recognising a page takes a few hundred megabytes: more threads would take the memory from other
/// programs.
int enrichThreadCount() {
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U));
}

}  // namespace

struct SystemPlatform::Services {
    Services(const SystemPlaces& places, Log& programLog)
        : log(programLog),
          defaults(openDefaultsDatabase(*files, places.configFolder)),
          keyStore(openKeyStore(*files, places.keyStoreFile)),
          trash(makeDesktopTrash(*files, clock, places.userData)),
          documents(documentReader(places.pdfProgram)),
          pages(pageReader(places.pdfProgram)),
          cloud(makeCloudFolder(*files, *defaults, places.cloudFolder)),
          embedder(openEmbedder(*files, places.programFolder, log)) {}

    Log& log;
    SystemClock clock;
    std::unique_ptr<FileSystem> files = makePosixFileSystem();
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<KeyStore> keyStore;
    std::unique_ptr<Trash> trash;
    std::unique_ptr<ContentDigester> digester = makeOpenSslDigester();
    std::unique_ptr<AuthenticatedEncryption> encryption = makeOpenSslEncryption();
    std::unique_ptr<ContentTypeDetector> contentTypes = makeContentTypeDetector();
    std::unique_ptr<DocumentReader> documents;
    std::unique_ptr<PageReader> pages;
    std::unique_ptr<ImageReader> images = makeImageReader(*files);
    std::unique_ptr<PictureEncoder> pictureEncoder = makePictureEncoder();
    std::unique_ptr<MediaReader> media = makeMediaReader();
    std::unique_ptr<TextRecognizer> textRecognizer = makeTextRecognizer(*files);
    std::unique_ptr<PropertyListFormat> propertyLists = makeXmlPropertyLists();
    std::unique_ptr<PdfWriter> pdf = makePdfWriter();
    std::unique_ptr<DirectoryEvents> directoryEvents = makeInotifyDirectoryEvents();
    std::unique_ptr<CloudContainer> cloud;
    std::unique_ptr<TextEmbedder> embedder;
    std::unique_ptr<WebFetcher> web = makeCurlWebFetcher();

    // Last, so that they stop before the services that their work uses are destroyed.
    std::unique_ptr<LoopQueue> mainLoop = makeLoopQueue(log);
    std::unique_ptr<WorkQueue> snapshotQueue = makeThreadQueue("snapshots", log);
    std::unique_ptr<WorkQueue> captureQueue = makeThreadQueue("capture", log);
    std::unique_ptr<WorkQueue> inboxQueue = makeThreadQueue("inbox", log);
    std::unique_ptr<WorkQueue> searchQueue = makeThreadQueue("search", log);
    std::unique_ptr<WorkQueue> enrichQueue = makeBackgroundPool("enrich", enrichThreadCount(), log);
    std::unique_ptr<WorkQueue> linkQueue = makeThreadQueue("link", log);
    std::unique_ptr<WorkQueue> filesQueue = makeThreadQueue("files", log);

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
                      .embedder = embedder.get(),
                      .web = web.get(),
                      .mainQueue = *mainLoop,
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

SystemPlatform::SystemPlatform(const SystemPlaces& places, Log& log)
    : services_(std::make_unique<Services>(places, log)) {}

SystemPlatform::~SystemPlatform() = default;

const Platform& SystemPlatform::platform() const { return services_->platform; }

LoopQueue& SystemPlatform::mainLoop() { return *services_->mainLoop; }

}  // namespace nookery
