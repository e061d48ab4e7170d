#include "archive/ArchiveHarness.h"

#include <fstream>

#include "collection/database/SQLiteDatabase.h"
#include "collection/originals/FileDigest.h"
#include "receipts/CrumbReceiptStore.h"
#include "records/DefaultsKeys.h"

namespace nookery::testing {
namespace {

namespace fs = std::filesystem;

/// Long or binary content by size and hash, so that a failed comparison stays readable.
std::string shown(const std::string& content) {
    const bool isBinary = content.find('\0') != std::string::npos;
    if (!isBinary && content.size() < 5000) return content;
    return std::to_string(content.size()) + " bytes, " +
           std::to_string(std::hash<std::string>()(content));
}

CrumbItemPointer memory(const std::string& title, const std::optional<Path>& original) {
    CrumbItem item;
    item.id = Uuid::random();
    item.title = title;
    item.kind = original ? CrumbKind::file : CrumbKind::text;
    item.createdAt = Timestamp{1'700'000'000.25};
    item.searchableText = "text of " + title + " \"quoted\"\nÄ";
    if (original) item.filePath = original->native();
    return std::make_shared<const CrumbItem>(std::move(item));
}

void makeReceipts(TestPlatform& world, const LibraryLayout& layout, const std::string& flavour) {
    const Path original = layout.receiptOriginals() / "5D1F.jpg";
    writeText(original, "receipt " + flavour);
    CrumbReceiptStore receipts(world.files, layout);
    receipts.open();
    CrumbReceipt receipt;
    receipt.id = Uuid::random();
    receipt.merchant = flavour;
    receipt.originalFilePath = original.native();
    receipts.save(receipt);
}

std::string originalContent(const std::optional<std::string>& path) {
    if (!path) return "(none)";
    return fs::exists(*path) ? readText(*path) : "(gone)";
}

}  // namespace

std::string readText(const Path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Tree treeOf(const Path& folder) {
    Tree tree;
    if (!fs::exists(folder)) return tree;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().lexically_relative(folder);
        if (name.ends_with("-wal") || name.ends_with("-shm")) continue;
        if (entry.is_directory()) tree[name + "/"];
        if (entry.is_regular_file()) tree[name] = shown(readText(entry.path()));
    }
    return tree;
}

void writeText(const Path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

void makeSampleLibrary(TestPlatform& world, const LibraryLayout& layout, const std::string& flavour,
                       std::size_t largestByteCount) {
    const Path items = layout.items();
    const Path linked = world.folder / "linked" / "plan.pdf";
    writeText(items / "photo.png", "photo " + flavour);
    writeText(items / "trip/day one.txt", "day " + flavour);
    writeText(items / "empty.txt", "");
    writeText(items / "shared.bin", std::string(largestByteCount, flavour.front()));
    writeText(linked, "linked " + flavour);
    writeText(items / "plan.pdf", "managed plan " + flavour);
    {
        auto database = SQLiteDatabase::open(world.files, layout);
        const CrumbGroup group{Uuid::random(), "Group " + flavour, Timestamp{1'600'000'000}};
        database.saveGroup(group, Timestamp{});
        database.saveItems(
            {memory("note " + flavour, std::nullopt), memory("photo", items / "photo.png"),
             memory("day", items / "trip/day one.txt"), memory("empty", items / "empty.txt"),
             memory("shared 1", items / "shared.bin"), memory("shared 2", items / "shared.bin"),
             memory("plan", items / "plan.pdf"), memory("linked 1", linked),
             memory("linked 2", linked)},
            Timestamp{});
    }
    makeReceipts(world, layout, flavour);
    world.defaults.set(manualTagsDefaultsKey, "tags " + flavour);
}

CrumbCompleteArchive::Source sourceOf(TestPlatform& world, const LibraryLayout& layout) {
    auto database = SQLiteDatabase::openForReading(layout);
    CrumbCompleteArchive::Source source{database.loadItems(), database.loadGroups(), {}};
    for (const auto key : libraryDefaultsKeys) {
        if (const auto value = world.defaults.get(key))
            source.localState[std::string(key)] = *value;
    }
    return source;
}

ArchiveSummary exportArchive(TestPlatform& world, const CrumbCompleteArchive::Source& source,
                             const Path& destination) {
    return world.resultOf(
        beginArchiveExport(world.platform(), world.layout(), source, destination));
}

ArchiveSummary exportArchive(TestPlatform& world, const Path& destination) {
    return exportArchive(world, sourceOf(world, world.layout()), destination);
}

ArchiveSummary checkArchive(TestPlatform& world, const Path& folder) {
    return world.resultOf(beginArchiveCheck(world.platform(), folder));
}

ArchiveSummary prepareRestore(TestPlatform& world, const LibraryLayout& layout,
                              const Path& archive) {
    return world.resultOf(beginRestorePreparation(world.platform(), layout, archive));
}

std::map<std::string, std::string> readLibrary(TestPlatform& world, const LibraryLayout& layout) {
    std::map<std::string, std::string> held;
    if (fs::exists(layout.database())) {
        auto database = SQLiteDatabase::openForReading(layout);
        for (const auto& item : database.loadItems()) {
            held[item->title] = originalContent(item->filePath);
        }
    }
    if (fs::exists(layout.receiptsDatabase())) {
        CrumbReceiptStore receipts(world.files, layout);
        receipts.openForReading();
        for (const CrumbReceipt& receipt : receipts.load()) {
            held["receipt"] = originalContent(receipt.originalFilePath);
        }
    }
    held["tags"] = world.defaults.get(manualTagsDefaultsKey).value_or("(none)");
    return held;
}

Json readJson(const Path& path) { return parseJson(readText(path)); }

void editManifest(const Path& archive, const std::function<void(Json&)>& edit) {
    Json manifest = readJson(archive / "Collection.json");
    edit(manifest);
    writeText(archive / "Collection.json", toPrettyJsonText(manifest));
}

void relist(TestPlatform& world, const Path& archive, const std::string& name) {
    editManifest(archive, [&](Json& manifest) {
        for (Json& file : manifest["files"]) {
            if (file["relativePath"] != name) continue;
            file["byteCount"] = fs::file_size(archive / name);
            file["sha256"] = digestOfFile(*world.realFiles, world.digester, archive / name).toHex();
        }
    });
}

}  // namespace nookery::testing
