#include "collection/database/CollectionStatements.h"
#include "collection/database/ItemRows.h"
#include "collection/database/SQLiteDatabase.h"

namespace nookery {

CrumbItemPointer itemFromRow(const SqliteStatement& row) {
    const auto id = row.uuid(0);
    const auto title = row.text(1);
    const auto rawKind = row.text(2);
    const auto kind = rawKind ? kindFromRawValue(*rawKind) : std::nullopt;
    if (!id || !title || !kind) return nullptr;
    auto item = std::make_shared<CrumbItem>();
    item->id = *id;
    item->title = *title;
    item->kind = *kind;
    item->createdAt = row.date(3);
    item->text = row.optionalString(4);
    item->urlString = row.optionalString(5);
    item->filePath = row.optionalString(6);
    item->searchableText = row.string(7);
    item->note = row.string(8);
    item->groupID = row.uuid(9);
    item->sourceItemID = row.uuid(10);
    return item;
}

namespace {

void runSave(SqliteStatement& save, const CrumbItem& item, Timestamp now) {
    save.with(item.id, item.title, rawValue(item.kind), item.createdAt, now, item.text,
              item.urlString, item.filePath, item.searchableText, item.note, item.groupID,
              item.sourceItemID)
        .run();
}

}  // namespace

std::int64_t SQLiteDatabase::itemCount() {
    SqliteStatement count(connection_, sqlOf(CollectionStatement::countItems));
    count.step();
    return count.integer(0);
}

CrumbItemList SQLiteDatabase::loadItems() {
    CrumbItemList items;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadItems));
    while (rows.step()) {
        if (auto item = itemFromRow(rows)) items.push_back(std::move(item));
    }
    return items;
}

LoadedItems SQLiteDatabase::loadItemsWithBodies(std::string_view model) {
    LoadedItems loaded;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadItemsWithBodies));
    while (rows.step()) {
        if (auto item = itemFromRow(rows)) loaded.items.push_back(std::move(item));
        const bool isEmbedded = !rows.isNull(11);
        const bool hasRichText = !rows.isNull(12);
        const auto id = isEmbedded || hasRichText ? rows.uuid(0) : std::nullopt;
        if (!id) continue;
        if (isEmbedded && rows.text(11) == model) loaded.embedded.insert(*id);
        if (!hasRichText) continue;
        const auto rtf = rows.blob(12);
        loaded.richTexts[*id].assign(rtf.begin(), rtf.end());
    }
    return loaded;
}

void SQLiteDatabase::saveItem(const CrumbItem& item, Timestamp now) {
    SqliteStatement save(connection_, sqlOf(CollectionStatement::saveItem));
    runSave(save, item, now);
}

void SQLiteDatabase::saveItems(const CrumbItemList& items, Timestamp now) {
    SqliteTransaction transaction(connection_);
    SqliteStatement save(connection_, sqlOf(CollectionStatement::saveItem));
    for (const CrumbItemPointer& item : items) runSave(save, *item, now);
    transaction.commit();
}

void SQLiteDatabase::deleteItem(const Uuid& id, const RecoveryPoint&) {
    SqliteStatement remove(connection_, sqlOf(CollectionStatement::deleteItem));
    remove.with(id).run();
}

void SQLiteDatabase::deleteItems(std::span<const Uuid> ids, const RecoveryPoint&) {
    SqliteTransaction transaction(connection_);
    SqliteStatement remove(connection_, sqlOf(CollectionStatement::deleteItem));
    for (const Uuid& id : ids) remove.with(id).run();
    transaction.commit();
}

}  // namespace nookery
