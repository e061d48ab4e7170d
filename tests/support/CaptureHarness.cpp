#include "support/CaptureHarness.h"

namespace nookery::testing {
namespace {

Sidecar openSidecar(FileSystem& files, const LibraryLayout& layout) {
    createDirectories(files, layout.library());
    return Sidecar::open(files, layout);
}

}  // namespace

CaptureHarness::CaptureHarness(TestPlatform& testWorld, const LibraryLayout& libraryLayout)
    : world(testWorld),
      layout(libraryLayout),
      platform(world.platform()),
      sidecar(openSidecar(*world.realFiles, layout)),
      service(platform, layout, sidecar, *this) {}

const CrumbItemList& CaptureHarness::all() const {
    if (beforeLook) beforeLook();
    return *records.all();
}

void CaptureHarness::add(const std::vector<NewMemory>& memories, CommitEnded ended) {
    if (beforeCommit) {
        if (SaveFailure refused = beforeCommit()) return ended({false, refused});
    }
    for (const NewMemory& memory : memories) {
        const auto record = std::make_shared<const CrumbItem>(memory.item);
        records.add(std::span(&record, 1));
        tags[memory.item.id] = memory.tags;
    }
    if (afterCommit) afterCommit();
    ended({true, {}});
}

CaptureReport CaptureHarness::run(CaptureRequest request, std::stop_token stop) {
    const auto operation = service.capture(std::move(request));
    operation->stopWith(std::move(stop));
    return world.resultOf(operation);
}

std::set<std::string> CaptureHarness::namesInItems() const {
    std::set<std::string> names;
    if (!world.realFiles->status(layout.items())) return names;
    for (const auto& entry : world.realFiles->list(layout.items())) {
        names.insert(entry.name.native());
    }
    return names;
}

std::string CaptureHarness::disorder() {
    std::set<std::string> owned;
    for (const auto& record : *records.all()) {
        if (!record->filePath) continue;
        const Path path(*record->filePath);
        owned.insert(path.filename().native());
        const auto fact = sidecar.original(Path("Items") / path.filename());
        const auto status = world.realFiles->status(path);
        if (!status) return "missing: " + path.native();
        if (!fact || fact->memoryID != record->id) return "no fact: " + path.native();
        if (fact->byteCount != status->byteCount) return "not whole: " + path.native();
    }
    for (const std::string& name : namesInItems()) {
        if (!owned.contains(name)) return "nobody's: " + name;
    }
    if (!sidecar.pendingOriginals().empty()) {
        return "pending: " + sidecar.pendingOriginals().front().native();
    }
    if (sidecar.originals().size() != owned.size())
        return "facts about originals that are not there";
    return "";
}

}  // namespace nookery::testing
