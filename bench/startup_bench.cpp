// How long a start takes until the first search is answered: 100,000 memories of about 1 kB. Peer:
// reading the same rows with the plain SQLite interface into strings, in the same run.

#include <fmt/format.h>
#include <sqlite3.h>

#include <chrono>
#include <ctime>
#include <filesystem>

#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "collection/store/CrumbStore.h"
#include "support/Benchmark.h"
#include "support/Waiting.h"
#include "support/WordSource.h"

namespace {

using namespace nookery;
using Seconds = std::chrono::duration<double>;

constexpr int memoryCount = 100'000;
constexpr int wordsPerNote = 150;

class Stopwatch {
  public:
    double seconds() const { return Seconds(std::chrono::steady_clock::now() - start_).count(); }
    /// Of the processor, which other programs' load does not lengthen.
    double processorSeconds() const {
        return static_cast<double>(std::clock() - processorStart_) / CLOCKS_PER_SEC;
    }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::clock_t processorStart_ = std::clock();
};

void fill(CrumbStore& store, LoopQueue& mainLoop) {
    WordSource source;
    for (int begun = 0; begun < memoryCount;) {
        CrumbItemList batch;
        for (; batch.size() < 10'000 && begun < memoryCount; ++begun) {
            CrumbItem item;
            item.id = Uuid::random();
            item.title = source.words(5);
            item.createdAt = Timestamp{1'700'000'000.0 + begun};
            item.text = source.words(wordsPerNote);
            batch.push_back(std::make_shared<const CrumbItem>(std::move(item)));
        }
        save(mainLoop, [&](Saved saved) { store.addRecords(batch, {}, std::move(saved)); });
    }
}

double readRows(const Path& database) {
    const Stopwatch stopwatch;
    sqlite3* connection = nullptr;
    sqlite3_stmt* statement = nullptr;
    sqlite3_open_v2(database.c_str(), &connection, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_prepare_v2(connection, "SELECT title, text_content, note FROM crumbs", -1, &statement,
                       nullptr);
    std::vector<std::string> texts;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        for (int column = 0; column < 3; ++column) {
            const auto* text = sqlite3_column_text(statement, column);
            texts.emplace_back(text == nullptr ? "" : reinterpret_cast<const char*>(text));
        }
    }
    sqlite3_finalize(statement);
    sqlite3_close(connection);
    return stopwatch.seconds();
}

void run(const Path& folder) {
    StderrLog log;
    SystemPlatform world({folder / "settings.json", folder, folder}, log);
    const LibraryLayout layout{folder / "data", folder / "cache"};
    {
        CrumbStore store(world.platform(), layout, LibraryAccess::writing);
        resultOf(world.mainLoop(), store.open(SessionLength::oneCommand));
        fill(store, world.mainLoop());
    }
    const Stopwatch stopwatch;
    CrumbStore store(world.platform(), layout, LibraryAccess::writing);
    resultOf(world.mainLoop(), store.open(SessionLength::oneCommand));
    const double started = stopwatch.seconds();
    store.search().setText("harbour photographs", 50, SearchDepth::lexical);
    const double answered = stopwatch.seconds();
    const double processor = stopwatch.processorSeconds();
    const double peer = readRows(layout.database());
    fmt::print(
        "start-up, {} memories of 1 kB: {:.2f} s, first answer after {:.2f} s "
        "({:.2f} s of processor time); reading the rows alone: {:.2f} s (ratio {:.1f})\n",
        memoryCount, started, answered, processor, peer, answered / peer);
}

}  // namespace

int main() { return nookery::runInTemporaryFolder("startup_bench", run); }
