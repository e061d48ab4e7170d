#include "archive/RestoreWorld.h"

#include <gtest/gtest.h>

#include <ostream>

#include "collection/safety/CrumbRecoverySnapshots.h"
#include "collection/safety/SnapshotRestore.h"
#include "records/DefaultsKeys.h"

namespace nookery::testing {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t smallByteCount = 3;

bool contains(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

/// What the file tells of its library.
std::string contentOf(const std::string& name, const Path& path) {
    std::string content = readText(path);
    if (!name.ends_with(".sqlite3")) return content;
    for (const char* flavour : {"formerly", "lately"}) {
        if (contains(content, flavour)) return flavour;
    }
    return "database";
}

bool isOmitted(const std::string& name) {
    return contains(name, "Restore-Pending") || name == "Crumb/library.lock" ||
           name == "Crumb/last-restore.json" || name.starts_with("Crumb/.nookery-tmp-") ||
           name == "Crumb/Recovery/Before-Restore";
}

}  // namespace

void PrintTo(RestoreKind kind, std::ostream* out) {
    *out << (kind == RestoreKind::snapshot ? "snapshot" : "archive");
}

RestoreWorld::RestoreWorld(RestoreKind ofKind) : kind(ofKind) {
    makeSource();
    makeSampleLibrary(world, world.layout(), "formerly", smallByteCount);
    for (const char* name : {"crumb.sqlite3-wal", "Coffer/coffer.sqlite3-journal",
                             "sidecar.sqlite3", "sidecar.sqlite3-wal", "crumbs.json"}) {
        writeText(library / name, "formerly");
    }
    world.defaults.set(usageDefaultsKey, "formerly");
    formerly = everything();
    keepAs("unprepared");
    prepare();
    keepAs("prepared");
    world.files.arm(Fault::none, 0);
    EXPECT_TRUE(start().at(0).restored);
    operations = world.files.operationCount();
    lately = everything();
    heldLately = readLibrary(world, world.layout());
    putBack("prepared");
}

void RestoreWorld::makeSource() {
    if (kind == RestoreKind::archive) {
        TestPlatform source(Place::memory);
        makeSampleLibrary(source, source.layout(), "lately", smallByteCount);
        exportArchive(source, world.folder / "archive");
        return;
    }
    makeSampleLibrary(world, world.layout(), "lately", smallByteCount);
    CrumbRecoverySnapshots snapshots(platform, world.layout(), [](auto) {});
    snapshotName = world.resultOf(snapshots.take("requested"));
    for (const auto& entry : fs::directory_iterator(library)) {
        if (entry.path().filename() != "Recovery") fs::remove_all(entry.path());
    }
}

void RestoreWorld::prepare() {
    if (kind == RestoreKind::archive) {
        prepareArchiveRestore(platform, world.layout(), world.folder / "archive",
                              OperationControl(platform.mainQueue));
    } else {
        prepareSnapshotRestore(platform, world.layout(), snapshotName,
                               OperationControl(platform.mainQueue));
    }
}

Path RestoreWorld::pending() const {
    return library / (kind == RestoreKind::archive ? ".NOOKERY-Restore-Pending"
                                                   : ".NOOKERY-Snapshot-Restore-Pending");
}

Path RestoreWorld::journal() const {
    return pending() / (kind == RestoreKind::archive ? "restore-journal.json" : "journal.json");
}

Tree RestoreWorld::everything() const {
    const Path top = world.layout().dataHome;
    Tree found;
    for (const auto& entry : fs::recursive_directory_iterator(top)) {
        const std::string name = entry.path().lexically_relative(top);
        if (isOmitted(name)) continue;
        if (entry.is_directory()) found[name + "/"];
        if (entry.is_regular_file()) found[name] = contentOf(name, entry.path());
    }
    for (const auto key : {manualTagsDefaultsKey, usageDefaultsKey}) {
        found["settings " + std::string(key)] = world.defaults.get(key).value_or("(none)");
    }
    return found;
}

Tree RestoreWorld::filesOf(Tree tree) {
    std::erase_if(tree, [](const auto& entry) {
        return entry.first.ends_with("/") || contains(entry.first, "Restore-Finished-");
    });
    return tree;
}

void RestoreWorld::keepAs(const std::string& name) const {
    fs::copy(world.layout().dataHome, world.folder / name, fs::copy_options::recursive);
}

void RestoreWorld::putBack(const std::string& name) {
    fs::remove_all(world.layout().dataHome);
    fs::copy(world.folder / name, world.layout().dataHome, fs::copy_options::recursive);
    world.defaults.set(manualTagsDefaultsKey, "tags formerly");
    world.defaults.set(usageDefaultsKey, "formerly");
}

std::string RestoreWorld::differences(const Tree& found, const Tree& expected) {
    std::string lines;
    for (const auto& [name, content] : found) {
        const auto other = expected.find(name);
        if (other == expected.end()) lines += "too much: " + name + "\n";
        if (other != expected.end() && other->second != content) lines += "other: " + name + "\n";
    }
    for (const auto& [name, content] : expected) {
        if (!found.contains(name)) lines += "gone: " + name + "\n";
    }
    return lines;
}

RestoreWorld::Ending RestoreWorld::startWith(Fault fault, int k, Fault secondFault, int second) {
    std::vector<RestoreNotice> notices;
    Ending ending;
    world.files.arm(fault, k);
    world.files.armAlso(secondFault, second);
    try {
        notices = start();
        ending.isWhole = true;
    } catch (const SimulatedCrash&) {
        world.files.losePower();
    } catch (const Error&) {
        // The library is not opened; the next start goes on.
    }
    operationsMet = world.files.operationCount();
    world.files.disarm();
    if (ending.isWhole && !notices.empty()) {
        ending.toldFailure = !notices[0].restored;
        const Tree& expected = ending.toldFailure ? formerly : lately;
        EXPECT_EQ(differences(filesOf(everything()), filesOf(expected)), "");
        const bool waits = ending.toldFailure && kind == RestoreKind::archive;
        EXPECT_EQ(fs::exists(pending()), waits);
        // A library that is opened must not be exchanged in its middle later.
        EXPECT_NE(fs::exists(journal()) ? readJson(journal())["direction"] : "", "forward");
    }
    return ending;
}

int RestoreWorld::deepestFailure() {
    for (int k = operations; k > 0; --k) {
        putBack("prepared");
        if (startWith(Fault::fail, k).toldFailure) return k;
    }
    ADD_FAILURE() << "nothing is ever undone";
    return 0;
}

void RestoreWorld::expectEndsWell(const Ending& before) {
    const bool wentOn = !start().empty();
    EXPECT_TRUE(start().empty());
    EXPECT_FALSE(fs::exists(pending()));
    const Tree now = everything();
    // A crash may come after a restore was given up, and before that could be told.
    const bool wasGivenUp = kind == RestoreKind::snapshot &&
                            (before.toldFailure || (!before.isWhole && !wentOn && now == formerly));
    EXPECT_EQ(differences(now, wasGivenUp ? formerly : lately), "");
    if (!wasGivenUp) {
        EXPECT_EQ(readLibrary(world, world.layout()), heldLately);
    }
}

}  // namespace nookery::testing
