#include "support/SnapshotWorld.h"

#include <algorithm>

#include "collection/originals/FileDigest.h"
#include "records/DefaultsKeys.h"

namespace nookery::testing {

SnapshotWorld::SnapshotWorld() {
    database = SQLiteDatabase::open(*world.realFiles, world.layout());
    sidecar = Sidecar::open(*world.realFiles, world.layout());
    std::filesystem::create_directories(world.layout().items());
    world.defaults.set(manualTagsDefaultsKey, "{\"tags\":1}");
    snapshots.emplace(platform, world.layout(), [this](auto) {
        ++pauseCount;
        if (duringPause) duringPause();
    });
}

void SnapshotWorld::capture(const std::string& name, const std::string& content) {
    const Path path = world.folder.write(Path("data/Crumb/Items") / name, content);
    CrumbItem item;
    item.id = Uuid::random();
    item.title = name;
    item.kind = CrumbKind::file;
    item.filePath = path;
    database->saveItem(item, world.time.now());
    const auto status = world.realFiles->status(path).value();
    const OriginalFact fact{Path("Items") / name, item.id,
                            digestOfFile(*world.realFiles, world.digester, path), status.byteCount,
                            status.modifiedNanoseconds};
    sidecar->recordOriginals(std::span(&fact, 1));
}

std::string SnapshotWorld::librarySays() {
    std::vector<std::string> lines;
    auto reader = SQLiteDatabase::openForReading(world.layout());
    for (const auto& item : reader.loadItems()) lines.push_back("memory " + item->title);
    for (const auto& fact : Sidecar::openForReading(world.layout().sidecar()).originals()) {
        lines.push_back("fact " + fact.relativePath.native());
    }
    for (const auto& file : world.folder.filesBelow("data/Crumb/Items")) {
        lines.push_back("file " + file + " " + world.folder.read("data/Crumb/Items/" + file));
    }
    std::sort(lines.begin(), lines.end());
    lines.push_back("tags " + world.defaults.get(manualTagsDefaultsKey).value_or("none"));
    std::string all;
    for (const std::string& line : lines) all += line + "\n";
    return all;
}

std::string SnapshotWorld::take() { return world.resultOf(snapshots->take("requested")); }

std::vector<std::string> SnapshotWorld::everythingOnShelf() const {
    std::vector<std::string> found;
    for (const auto& entry : world.realFiles->list(world.layout().snapshots())) {
        found.push_back(entry.name.native());
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace nookery::testing
