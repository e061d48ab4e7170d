#include "support/TestPlatform.h"

#include <array>
#include <cmath>
#include <cstring>

#include "foundation/Json.h"
#include "foundation/Text.h"

namespace nookery::testing {
namespace {

class FakeDigestStream final : public Sha256Stream {
  public:
    void update(std::span<const std::byte> bytes) override {
        for (const std::byte byte : bytes) {
            for (std::size_t i = 0; i < sums_.size(); ++i) {
                sums_[i] =
                    (sums_[i] ^ std::to_integer<std::uint64_t>(byte)) * (0x100000001b3 + 2 * i);
            }
        }
    }
    Sha256Digest finish() override {
        Sha256Digest digest;
        std::memcpy(digest.bytes.data(), sums_.data(), digest.bytes.size());
        return digest;
    }

  private:
    std::array<std::uint64_t, 4> sums_{0xcbf29ce484222325, 1, 2, 3};
};

constexpr std::array stems{"dog", "travel", "money", "garden", "music"};
constexpr std::array synonyms{"puppy", "trip", "invoice", "plant", "song"};

}  // namespace

std::unique_ptr<Sha256Stream> FakeDigester::sha256() const {
    if (beforeDigesting) beforeDigesting();
    return std::make_unique<FakeDigestStream>();
}

ContentType FakeContentTypes::detect(std::string_view head, const Path& name) const {
    if (beforeDetecting) beforeDetecting();
    const std::string extension = name.extension();
    if (head.starts_with("\x89PNG")) return {"image/png"};
    if (extension == ".testdoc") return {"application/x-test-document"};
    if (extension == ".pdf") return {"application/pdf"};
    if (extension == ".mp4") return {"video/mp4"};
    if (extension == ".html") return {"text/html"};
    if (extension == ".md") return {"text/markdown"};
    if (isValidUtf8(head)) return {"text/plain"};
    return {};
}

bool FakeDocuments::canRead(const ContentType& type) const {
    return type.mediaType == "application/x-test-document";
}

DocumentText FakeDocuments::read(const Path& path, const ContentType&, const DocumentLimits&,
                                 std::stop_token stop) const {
    if (stop.stop_requested()) throw Cancelled();
    const auto files = makePosixFileSystem();
    std::string text = readWholeFile(*files, path, 1 << 20);
    if (text == "damaged") throw DocumentError("The document is damaged.");
    return {.title = "", .text = std::move(text)};
}

std::string FakePropertyLists::write(const PropertyList& list) const {
    Json object = Json::object();
    for (const auto& [key, value] : list) {
        std::visit([&object, &name = key](const auto& held) { object[name] = held; }, value);
    }
    return toJsonText(object);
}

PropertyList FakePropertyLists::read(const std::string& xml) const {
    PropertyList list;
    const Json object = parseJson(xml);
    for (const auto& [key, value] : object.items()) {
        if (value.is_string()) list[key] = value.get<std::string>();
        if (value.is_number()) list[key] = value.get<long>();
        if (value.is_array()) list[key] = value.get<std::vector<unsigned char>>();
    }
    return list;
}

Path FolderTrash::moveToTrash(const Path& path) {
    if (isFull) throw FileError("move to the trash", path, ENOSPC);
    if (beforeMoving) beforeMoving();
    std::filesystem::create_directories(folder_);
    Path target = folder_ / path.filename();
    while (std::filesystem::exists(target)) target += " again";
    std::filesystem::rename(path, target);
    moved_.emplace_back(path, target);
    return target;
}

std::vector<Path> FolderTrash::placesOf(const Path& original) {
    std::vector<Path> places;
    for (const auto& [from, to] : moved_) {
        if (from == original && std::filesystem::exists(to)) places.insert(places.begin(), to);
    }
    return places;
}

void FolderTrash::putBack(const Path& place, const Path& destination) {
    if (beforeMoving) beforeMoving();
    if (std::filesystem::exists(destination)) throw FileError("put back", destination, EEXIST);
    if (!std::filesystem::exists(place)) throw FileError("put back", place, ENOENT);
    std::filesystem::rename(place, destination);
}

std::size_t FakeEmbedder::dimension() const { return stems.size(); }

std::optional<std::vector<float>> FakeEmbedder::embedMemory(std::string_view text) const {
    std::vector<float> vector(stems.size(), 0);
    float squares = 0;
    for (std::size_t i = 0; i < stems.size(); ++i) {
        const bool present = text.find(stems[i]) != std::string_view::npos ||
                             text.find(synonyms[i]) != std::string_view::npos;
        if (present) vector[i] = 1;
        squares += vector[i];
    }
    if (squares == 0) return std::nullopt;
    for (float& value : vector) value /= std::sqrt(squares);
    return vector;
}

TestPlatform::TestPlatform(Place place)
    : folder(place), trash(folder / "trash"), cloud(files, folder / "drive" / cloudContainerName) {
    time.hasCrashed = [this] { return files.hasCrashed(); };
}

Platform TestPlatform::platform() {
    return platformOn({mainQueue, snapshotQueue, captureQueue, inboxQueue, searchQueue, enrichQueue,
                       linkQueue, filesQueue},
                      files);
}

Platform TestPlatform::platformOn(const TestQueues& queues) {
    return platformOn(queues, *realFiles);
}

Platform TestPlatform::platformOn(const TestQueues& queues, FileSystem& fileSystem) {
    return {.clock = time,
            .files = fileSystem,
            .defaults = defaults,
            .keyStore = keyStore,
            .trash = trash,
            .log = log,
            .digester = digester,
            .encryption = encryption,
            .contentTypes = contentTypes,
            .documents = documents,
            .pages = pages,
            .images = images,
            .pictureEncoder = pictureEncoder,
            .media = media,
            .textRecognizer = &textRecognizer,
            .propertyLists = propertyLists,
            .pdf = pdf,
            .directoryEvents = directoryEvents,
            .cloud = cloud,
            .localSockets = localSockets,
            .embedder = embedder,
            .web = web,
            .mainQueue = queues.main,
            .snapshotQueue = queues.snapshots,
            .captureQueue = queues.capture,
            .inboxQueue = queues.inbox,
            .searchQueue = queues.search,
            .enrichQueue = queues.enrich,
            .linkQueue = queues.link,
            .filesQueue = queues.files,
            .enrichThreadCount = 2,
            .applicationIdentifier = "com.kestrelhq.nookery"};
}

}  // namespace nookery::testing
