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

void SQLiteDatabase::saveRichText(const Uuid& id, std::span<const std::byte> rtf, Timestamp now) {
    SqliteStatement save(connection_, sqlOf(CollectionStatement::saveRichText));
    save.with(rtf, now, id).run();
}

}  // namespace nookery
