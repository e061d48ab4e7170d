#include "collection/database/LibraryLoader.h"

#include "collection/database/SQLiteDatabase.h"
#include "foundation/DurableFile.h"
#include "foundation/Json.h"
#include "platform/Clock.h"
#include "platform/Log.h"

namespace nookery {
namespace {

constexpr std::size_t largestLegacyFile = std::size_t{4} << 30;

CrumbItemList readLegacyFile(FileSystem& files, const Path& path) {
    const Json list = readJsonFile(files, path, {.maximumByteCount = largestLegacyFile});
    if (!list.is_array()) throw JsonError("Not a list of memories: " + displayName(path));
    CrumbItemList items;
    items.reserve(list.size());
    for (const Json& object : list) {
        items.push_back(std::make_shared<const CrumbItem>(
            itemFromKeyedForm(object, KeyedDates::secondsSince2001)));
    }
    return items;
}

void moveAside(const LibraryLayout& layout, const Platform& platform) {
    try {
        platform.files.rename(layout.legacyFile(), layout.migratedLegacyFile());
        platform.files.syncDirectory(layout.library());
    } catch (const Error& error) {
        platform.log.line("Crumb legacy JSON archive error: " + error.description());
    }
}

}  // namespace

void migrateLegacyFile(SQLiteDatabase& database, const LibraryLayout& layout,
                       const Platform& platform) {
    if (!platform.files.status(layout.legacyFile()) || database.itemCount() > 0) return;
    database.saveItems(readLegacyFile(platform.files, layout.legacyFile()), platform.clock.now());
    database.makeDurable();
    moveAside(layout, platform);
}

void removeInterruptedWrites(const LibraryLayout& layout, const Platform& platform) {
    for (const Path& folder : {layout.library(), layout.items()}) {
        try {
            if (!platform.files.statusFollowingLinks(folder)) continue;
            for (const DirectoryEntry& entry : platform.files.list(folder)) {
                if (!entry.name.native().starts_with(temporaryPrefix)) continue;
                removeTree(platform.files, folder / entry.name);
            }
        } catch (const Error& error) {
            platform.log.line("NOOKERY leftover cleanup error: " + error.description());
        }
    }
}

}  // namespace nookery
