// Writing, checking and preparing a complete archive, beside `cp -r` followed by `sha256sum` of the
// same tree.
//   archive_bench [FOLDER [RUNS [MEGABYTES]]]     FOLDER lies on the disk to be measured
#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "archive/ArchiveCheck.h"
#include "archive/ArchiveRestore.h"
#include "archive/CrumbCompleteArchive.h"
#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "collection/database/SQLiteDatabase.h"
#include "foundation/DurableFile.h"
#include "support/Benchmark.h"

namespace nookery {
namespace {

void runShell(const std::string& command) {
    if (std::system(command.c_str()) != 0) throw Error("Failed: " + command);
}

/// What was written before is out of the way.
void settle(const Path& folder) { runShell("sync -f '" + folder.native() + "'"); }

CrumbItemPointer memoryOf(const Path& original) {
    CrumbItem item;
    item.id = Uuid::random();
    item.title = original.stem();
    item.kind = CrumbKind::file;
    item.searchableText = std::string(500, 'x');
    item.filePath = original.native();
    return std::make_shared<const CrumbItem>(std::move(item));
}

/// A library of so many originals of so many bytes each.
CrumbCompleteArchive::Source makeLibrary(FileSystem& files, const LibraryLayout& layout, int count,
                                         std::size_t byteCount) {
    createDirectories(files, layout.items());
    std::mt19937_64 random(7);
    std::string content(std::min<std::size_t>(byteCount, 1 << 20), '\0');
    CrumbCompleteArchive::Source source;
    for (int i = 0; i < count; ++i) {
        for (std::size_t at = 0; at + 8 <= content.size(); at += 8) {
            const std::uint64_t value = random();
            std::copy_n(reinterpret_cast<const char*>(&value), 8,
                        content.begin() + static_cast<long>(at));
        }
        const Path original = layout.items() / fmt::format("original {:05}.bin", i);
        const auto file = files.createFile(original);
        for (std::size_t written = 0; written < byteCount; written += content.size()) {
            file->write(std::as_bytes(std::span(content)));
        }
        file->close();
        source.items.push_back(memoryOf(original));
    }
    auto database = SQLiteDatabase::open(files, layout);
    database.saveItems(source.items, Timestamp{});
    database.makeDurable();
    return source;
}

struct Figures {
    std::vector<double> peer, written, checked, prepared;
};

void measure(const char* what, const Path& folder, int count, std::size_t byteCount, int runs) {
    const auto files = makePosixFileSystem();
    const Path root = temporaryBeside(folder / "archive-bench");
    createDirectories(*files, root);
    StderrLog log;
    SystemPlatform world({root / "settings.json", root, root}, log);
    const LibraryLayout layout{root / "data", root / "cache"};
    const auto source = makeLibrary(*files, layout, count, byteCount);
    Figures figures;
    const OperationControl nobodyFollows(world.platform().mainQueue);
    for (int run = 0; run < runs; ++run) {
        const std::string tree = layout.library().native();
        settle(root);
        figures.peer.push_back(secondsFor([&] {
            runShell(
                fmt::format("cp -r '{0}' '{1}' && cd '{1}' && find . -type f -print0 | "
                            "xargs -0 sha256sum > '{2}'",
                            tree, (root / "copy").native(), (root / "sums").native()));
        }));
        removeTree(*files, root / "copy");
        settle(root);
        figures.written.push_back(secondsFor([&] {
            CrumbCompleteArchive::write(world.platform(), layout, source, root / "archive",
                                        nobodyFollows);
        }));
        figures.checked.push_back(
            secondsFor([&] { checkArchive(world.platform(), root / "archive", nobodyFollows); }));
        figures.prepared.push_back(secondsFor([&] {
            prepareArchiveRestore(world.platform(), {root / "other", root / "cache"},
                                  root / "archive", nobodyFollows);
        }));
        removeTree(*files, root / "archive");
        removeTree(*files, root / "other");
        fmt::print(
            "{}, run {}: cp -r and sha256sum {:.2f} s, archive {:.2f} s, check {:.2f} s, "
            "prepare {:.2f} s\n",
            what, run + 1, figures.peer.back(), figures.written.back(), figures.checked.back(),
            figures.prepared.back());
    }
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    fmt::print(
        "{}: medians of {}: cp -r and sha256sum {:.2f} s, archive {:.2f} s, ratio {:.2f}; "
        "check {:.2f} s, prepare {:.2f} s; most memory {} MB\n",
        what, runs, median(figures.peer), median(figures.written),
        median(figures.written) / median(figures.peer), median(figures.checked),
        median(figures.prepared), usage.ru_maxrss / 1024);
    removeTree(*files, root);
}

}  // namespace
}  // namespace nookery

int main(int argumentCount, char** arguments) try {
    const nookery::Path folder = argumentCount > 1 ? arguments[1] : "/var/tmp";
    const int runs = argumentCount > 2 ? std::atoi(arguments[2]) : 3;
    const int megabytes = argumentCount > 3 ? std::atoi(arguments[3]) : 2000;
    nookery::measure("10,000 small files", folder, 10'000, 4'000, runs);
    nookery::measure("8 large files", folder, 8,
                     static_cast<std::size_t>(megabytes) * 1'000'000 / 8, runs);
    return 0;
} catch (const std::exception& error) {
    fmt::print(stderr, "archive_bench: {}\n", error.what());
    return 1;
}
