// What the recovery snapshot before a deletion costs when nothing has changed since the last:
// 10,000 originals, 1 GB. The databases are copied at a fixed pace, on purpose; what comes on top
// of that is measured beside "cp -al" of the same originals, which links without looking.
#include <fmt/format.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "collection/database/SQLiteDatabase.h"
#include "collection/database/Sidecar.h"
#include "collection/originals/FileDigest.h"
#include "collection/safety/SnapshotBuilder.h"
#include "collection/safety/SnapshotRepository.h"
#include "support/Benchmark.h"

namespace nookery {
namespace {

constexpr int originalCount = 10'000;
constexpr std::size_t originalByteCount = 100'000;
constexpr int repetitions = 5;

/// Fills a library, as capture would have left it.
void fill(const Platform& platform, const LibraryLayout& layout) {
    auto database = SQLiteDatabase::open(platform.files, layout);
    auto sidecar = Sidecar::open(platform.files, layout);
    createDirectories(platform.files, layout.items());
    std::mt19937_64 random(1);
    std::vector<std::uint64_t> words(originalByteCount / 8);
    CrumbItemList items;
    std::vector<OriginalFact> facts;
    for (int i = 0; i < originalCount; ++i) {
        std::generate(words.begin(), words.end(), std::ref(random));
        const Path name = fmt::format("Photo {:05}.jpg", i);
        const auto file = platform.files.createFile(layout.items() / name);
        file->write(std::as_bytes(std::span(words)));
        file->close();
        CrumbItem item;
        item.id = Uuid::random();
        item.title = name.native();
        item.kind = CrumbKind::image;
        item.filePath = (layout.items() / name).native();
        item.searchableText = std::string(1000, 'x');
        const auto status = platform.files.status(layout.items() / name).value();
        facts.push_back({Path("Items") / name, item.id,
                         digestOfFile(platform.files, platform.digester, layout.items() / name),
                         status.byteCount, status.modifiedNanoseconds});
        items.push_back(std::make_shared<CrumbItem>(std::move(item)));
    }
    database.saveItems(items, Timestamp{});
    sidecar.recordOriginals(facts);
    database.makeDurable();
    sidecar.makeDurable();
}

/// The databases alone, at the pace of a snapshot.
double databasePace(const Platform& platform, const LibraryLayout& layout, const Path& scratch) {
    SqliteBackupPace pace;
    pace.pagesPerStep = SnapshotBuilder::pagesPerStep;
    pace.pause = [] { pauseBackup(SnapshotBuilder::pauseBetweenSteps); };
    return secondsFor([&] {
        for (const Path& live : {layout.database(), layout.sidecar()}) {
            auto source = SqliteConnection::open(live, SqliteAccess::readOnly);
            const Path copy = scratch / live.filename();
            auto destination = SqliteConnection::open(copy, SqliteAccess::readWriteCreate);
            backUp(source, destination, pace);
            platform.files.removeFile(copy);
        }
    });
}

double linkingPeer(const Platform& platform, const LibraryLayout& layout, const Path& scratch) {
    const Path target = scratch / "linked";
    const std::string command =
        fmt::format("cp -al '{}' '{}'", layout.items().native(), target.native());
    const double seconds = secondsFor([&command] {
        if (std::system(command.c_str()) != 0) throw Error("cp -al failed.");
    });
    removeTree(platform.files, target);
    return seconds;
}

void run(const Path& folder) {
    StderrLog log;
    const SystemPlatform system({folder / "settings.json", folder, folder}, log);
    const Platform& platform = system.platform();
    const LibraryLayout layout{folder / "data", folder / "cache"};
    fill(platform, layout);
    SnapshotBuilder builder(platform, layout, &pauseBackup);
    const double first =
        secondsFor([&] { builder.build("launch", OperationControl(platform.mainQueue)); });
    std::vector<double> whole, pace, peer;
    for (int i = 0; i < repetitions; ++i) {
        pace.push_back(databasePace(platform, layout, folder));
        whole.push_back(secondsFor(
            [&] { builder.build("before-bulk-delete", OperationControl(platform.mainQueue)); }));
        peer.push_back(linkingPeer(platform, layout, folder));
    }
    const double beyond = median(whole) - median(pace);
    fmt::print("originals                        {} ({} MB)\n", originalCount,
               originalCount * originalByteCount / 1'000'000);
    fmt::print("first snapshot, all copied       {:7.3f} s\n", first);
    fmt::print("snapshot, nothing changed        {:7.3f} s (median of {})\n", median(whole),
               repetitions);
    fmt::print("  databases at their fixed pace  {:7.3f} s\n", median(pace));
    fmt::print("  beyond that pace               {:7.3f} s\n", beyond);
    fmt::print("cp -al of the originals          {:7.3f} s\n", median(peer));
    fmt::print("beyond the pace / cp -al         {:7.2f}\n", beyond / median(peer));
}

}  // namespace
}  // namespace nookery

int main() { return nookery::runInTemporaryFolder("snapshot_bench", nookery::run); }
