#include "collection/database/CollectionStatements.h"
#include "collection/database/SQLiteDatabase.h"
#include "collection/database/VectorBlob.h"
#include "foundation/SqliteStatement.h"

namespace nookery {

void SQLiteDatabase::loadEmbeddings(const EmbeddingVisitor& visit) {
    std::vector<double> vector;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadEmbeddings));
    while (rows.step()) {
        const auto id = rows.uuid(0);
        if (!id) continue;
        fromVectorBlob(rows.blob(1), vector);
        visit(*id, vector);
    }
}

std::unordered_set<Uuid> SQLiteDatabase::itemsEmbeddedBy(std::string_view model) {
    std::unordered_set<Uuid> ids;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadItemsEmbeddedBy));
    rows.with(model);
    while (rows.step()) {
        if (const auto id = rows.uuid(0)) ids.insert(*id);
    }
    return ids;
}

void SQLiteDatabase::saveEmbedding(const Uuid& id, std::string_view model,
                                   std::span<const double> vector, Timestamp now) {
    SqliteStatement save(connection_, sqlOf(CollectionStatement::saveEmbedding));
    save.with(model, toVectorBlob(vector), now, id).run();
}

void SQLiteDatabase::saveEmbeddings(const Embeddings& embeddings, std::string_view model,
                                    Timestamp now) {
    SqliteTransaction transaction(connection_);
    SqliteStatement save(connection_, sqlOf(CollectionStatement::saveEmbedding));
    for (const auto& [id, vector] : embeddings) {
        save.with(model, toVectorBlob(vector), now, id).run();
    }
    transaction.commit();
}

std::unordered_map<Uuid, std::vector<std::byte>> SQLiteDatabase::loadRichTexts() {
    std::unordered_map<Uuid, std::vector<std::byte>> richTexts;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadRichTexts));
    while (rows.step()) {
        const auto rtf = rows.blob(1);
        if (const auto id = rows.uuid(0)) richTexts[*id].assign(rtf.begin(), rtf.end());
    }
    return richTexts;
}

void SQLiteDatabase::saveRichText(const Uuid& id, std::span<const std::byte> rtf, Timestamp now) {
    SqliteStatement save(connection_, sqlOf(CollectionStatement::saveRichText));
    save.with(rtf, now, id).run();
}

}  // namespace nookery
