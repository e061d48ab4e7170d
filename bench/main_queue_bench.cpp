// How long one piece of work holds the main thread up while the program does what takes long, and
// how long a million records take to come in.

#include <fmt/format.h>

#include <cmath>
#include <fstream>
#include <random>

#include "archive/ArchiveOperations.h"
#include "archive/CrumbCompleteArchive.h"
#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "collection/store/CrumbStore.h"
#include "foundation/FileSystem.h"
#include "mobilelink/PhoneLink.h"
#include "platform/KeyStore.h"
#include "platform/KeyStoreServices.h"
#include "support/Benchmark.h"
#include "support/Waiting.h"

namespace nookery {
namespace {

constexpr std::size_t libraryCount = 100'000;
constexpr int fileCount = 10'000;
constexpr double enrichmentSeconds = 20;
constexpr std::size_t removedCount = 1'000;

double milliseconds(std::chrono::nanoseconds duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

/// Words that repeat as words in notes do.
class Words {
  public:
    std::string some(int count) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            const auto which = static_cast<int>(std::pow(uniform_(random_), 3) * 20'000);
            text += fmt::format("{}w{:x}", text.empty() ? "" : " ", which * 2654435761u >> 12);
        }
        return text;
    }

  private:
    std::mt19937 random_{7};
    std::uniform_real_distribution<double> uniform_{0, 1};
};

class Journeys {
  public:
    explicit Journeys(const Path& folder)
        : folder_(folder),
          system_({.configFolder = folder / "config",
                   .userData = folder,
                   .programFolder = NOOKERY_PROGRAM_FOLDER,
                   .cloudFolder = folder / "drive",
                   .keyStoreFile = folder / "keys.json"},
                  log_) {
        createDirectories(platform().files, folder / "drive" / cloudContainerName);
        platform().keyStore.write(KeyStoreServices(platform().applicationIdentifier).pairedKey(),
                                  pairedKeyAccount, std::string(32, 'k'));
        open();
    }

    LoopQueue& mainLoop() { return system_.mainLoop(); }
    CrumbStore& store() { return *store_; }
    const Platform& platform() const { return system_.platform(); }
    LibraryLayout layout() const { return {folder_ / "data", folder_ / "cache"}; }
    const Path& folder() const { return folder_; }

    void open() {
        store_.reset();
        store_ = std::make_unique<CrumbStore>(system_.platform(), layout(), LibraryAccess::writing);
        resultOf(mainLoop(), store_->open(SessionLength::oneCommand));
    }

    /// Prints the longest piece of work on the main queue meanwhile.
    template <typename Journey>
    void measure(std::string_view name, const Journey& journey) {
        mainLoop().takeLongestPiece();
        mainLoop().takeLongestTransactions();
        const double seconds = secondsFor(journey);
        fmt::print("{:34} longest piece {:7.2f} ms, transactions {:7.2f} ms, in {:7.2f} s\n", name,
                   milliseconds(mainLoop().takeLongestPiece()),
                   milliseconds(mainLoop().takeLongestTransactions()), seconds);
        std::fflush(stdout);
    }

    /// Imports so many records with tags, of so many words each.
    std::size_t import(std::size_t count, int wordCount) {
        const Path file = folder_ / "import.jsonl";
        {
            Words words;
            std::ofstream out(file);
            for (std::size_t i = 0; i < count; ++i) {
                out << fmt::format(
                           R"({{"title":"{}","text":"{}","tags":["t{}","import"],"created":"2020-01-01T00:00:00Z"}})",
                           words.some(4), words.some(wordCount), i % 500)
                    << '\n';
            }
        }
        return resultOf(mainLoop(), store_->import(platform().files.openForReading(file)))
            .addedCount;
    }

  private:
    Path folder_;
    StderrLog log_;
    SystemPlatform system_;
    std::unique_ptr<CrumbStore> store_;
};

Path makeFiles(const Path& folder) {
    const Path source = folder / "source";
    makePosixFileSystem()->createDirectory(source);
    Words words;
    for (int i = 0; i < fileCount; ++i) {
        std::ofstream(source / fmt::format("note {}.txt", i)) << words.some(200);
    }
    return source;
}

void measureJourneys(const Path& folder) {
    makePosixFileSystem()->createDirectory(folder);
    Journeys world(folder);
    world.measure(fmt::format("import of {} memories of 1 kB", libraryCount),
                  [&] { world.import(libraryCount, 160); });
    world.measure("start", [&] { world.open(); });
    const Path source = makeFiles(folder);
    world.measure(fmt::format("capture of {} files", fileCount), [&] {
        resultOf(world.mainLoop(), world.store().capture({.sources = {CaptureFile{source}}}));
    });
    const Uuid tagged = world.store().items()->front()->id;
    world.measure("one tag", [&] {
        save(world.mainLoop(), [&](Saved saved) {
            world.store().memoryEdits().setManualTags(tagged, {"kitchen"}, std::move(saved));
        });
    });
    PhoneLink link(world.platform(), world.layout(), world.store());
    world.measure("publish to the phone", [&] { resultOf(world.mainLoop(), link.publish()); });
    world.measure(fmt::format("{} seconds of enrichment", enrichmentSeconds), [&] {
        const auto reading = world.store().enrichment().workOff();
        const auto stop = world.platform().mainQueue.after(WorkQueue::Delay{enrichmentSeconds},
                                                           [reading] { reading->stop(); });
        world.mainLoop().runUntil([&] { return reading->isFinished(); });
    });
    world.measure("complete archive", [&] {
        resultOf(world.mainLoop(), beginArchiveExport(world.platform(), world.layout(),
                                                      CrumbCompleteArchive::gather(
                                                          world.store(), world.platform().defaults),
                                                      folder / "archive"));
    });
    std::vector<Uuid> removed;
    for (const auto& item : world.store().items().get()) {
        if (item->filePath && removed.size() < removedCount) removed.push_back(item->id);
    }
    world.measure(fmt::format("deletion of {} memories", removed.size()), [&] {
        resultOf(world.mainLoop(), world.store().remover().deleteMemories(removed));
    });
}

void measureImport(const Path& folder, std::size_t count) {
    makePosixFileSystem()->createDirectory(folder);
    Journeys world(folder);
    world.measure(fmt::format("import of {} short records", count),
                  [&] { world.import(count, 8); });
}

void run(const Path& folder) {
    measureJourneys(folder / "journeys");
    measureImport(folder / "250000", 250'000);
    measureImport(folder / "1000000", 1'000'000);
}

}  // namespace
}  // namespace nookery

int main() { return nookery::runInTemporaryFolder("main_queue_bench", nookery::run); }
