// Saving and loading 100,000 memories of 1 kB through the collection database, beside a loop over
// the bare SQLite rows that makes no records.
#include <fmt/format.h>

#include <algorithm>
#include <functional>

#include "collection/database/CollectionStatements.h"
#include "collection/database/SQLiteDatabase.h"
#include "foundation/SqliteStatement.h"
#include "support/Benchmark.h"

namespace nookery {
namespace {

constexpr int memoryCount = 100'000;
constexpr int repetitions = 5;

double bestSecondsFor(int count, const std::function<void()>& work) {
    double best = 1e9;
    for (int i = 0; i < count; ++i) {
        best = std::min(best, secondsFor(work));
    }
    return best;
}

CrumbItemList makeMemories() {
    CrumbItemList items;
    for (int i = 0; i < memoryCount; ++i) {
        CrumbItem item;
        item.id = Uuid::random();
        item.title = fmt::format("Memory number {}", i);
        item.createdAt = Timestamp{1e9 + i * 37 % memoryCount};
        item.searchableText = std::string(900, static_cast<char>('a' + i % 26));
        item.note = "a short note";
        items.push_back(std::make_shared<CrumbItem>(std::move(item)));
    }
    return items;
}

void run(const Path& folder) {
    const auto files = makePosixFileSystem();
    const LibraryLayout layout{folder / "data", folder / "cache"};
    auto database = SQLiteDatabase::open(*files, layout);
    const auto memories = makeMemories();
    const double save = bestSecondsFor(1, [&] {
        database.saveItems(memories, Timestamp{});
        database.makeDurable();
    });
    std::size_t loaded = 0;
    const double load = bestSecondsFor(repetitions, [&] { loaded = database.loadItems().size(); });
    std::int64_t byteCount = 0;
    const double bare = bestSecondsFor(repetitions, [&] {
        auto connection = SqliteConnection::open(layout.database(), SqliteAccess::readOnly);
        SqliteStatement rows(connection, sqlOf(CollectionStatement::loadItems));
        while (rows.step()) {
            for (const int column : {0, 1, 2, 7, 8}) {
                byteCount += static_cast<std::int64_t>(rows.text(column)->size());
            }
        }
    });
    fmt::print("memories loaded                  {}\n", loaded);
    fmt::print("saved in one transaction         {:7.3f} s\n", save);
    fmt::print("loaded as records                {:7.3f} s (best of {})\n", load, repetitions);
    fmt::print("rows read without making records {:7.3f} s ({} MB)\n", bare,
               byteCount / repetitions / 1'000'000);
    fmt::print("records / rows                   {:7.2f}\n", load / bare);
}

}  // namespace
}  // namespace nookery

int main() { return nookery::runInTemporaryFolder("database_bench", nookery::run); }
