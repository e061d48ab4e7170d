#include "collection/database/CollectionStatements.h"
#include "collection/database/SQLiteDatabase.h"
#include "collection/database/VectorBlob.h"
#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

std::optional<CrumbFace> faceFromRow(const SqliteStatement& row) {
    const auto id = row.uuid(0);
    const auto crumbID = row.uuid(1);
    if (!id || !crumbID) return std::nullopt;
    CrumbFace face;
    face.id = *id;
    face.crumbID = *crumbID;
    face.clusterID = row.uuid(2);
    face.faceIndex = row.integer(3);
    face.x = row.number(4);
    face.y = row.number(5);
    face.width = row.number(6);
    face.height = row.number(7);
    face.confidence = row.number(8);
    face.featureModel = row.string(9);
    fromVectorBlob(row.blob(10), face.feature);
    face.createdAt = row.date(11);
    return face;
}

void runSave(SqliteStatement& save, const CrumbFace& face) {
    save.with(face.id, face.crumbID, face.clusterID, face.faceIndex, face.x, face.y, face.width,
              face.height, face.confidence, face.featureModel, toVectorBlob(face.feature),
              face.createdAt)
        .run();
}

/// Adds the identifiers in a statement's first column.
void collectIDs(SqliteConnection& connection, CollectionStatement statement,
                std::unordered_set<Uuid>& ids) {
    SqliteStatement rows(connection, sqlOf(statement));
    while (rows.step()) {
        if (const auto id = rows.uuid(0)) ids.insert(*id);
    }
}

}  // namespace

std::vector<CrumbFace> SQLiteDatabase::loadFaces() {
    std::vector<CrumbFace> faces;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadFaces));
    while (rows.step()) {
        if (auto face = faceFromRow(rows)) faces.push_back(std::move(*face));
    }
    return faces;
}

void SQLiteDatabase::saveFace(const CrumbFace& face) {
    SqliteStatement save(connection_, sqlOf(CollectionStatement::saveFace));
    runSave(save, face);
}

void SQLiteDatabase::replaceFaces(const Uuid& crumbID, std::span<const CrumbFace> faces) {
    SqliteTransaction transaction(connection_);
    SqliteStatement(connection_, sqlOf(CollectionStatement::deleteFacesOfItem)).with(crumbID).run();
    SqliteStatement save(connection_, sqlOf(CollectionStatement::saveFace));
    for (const CrumbFace& face : faces) runSave(save, face);
    transaction.commit();
}

void SQLiteDatabase::assignFace(const Uuid& faceID, const std::optional<Uuid>& clusterID) {
    SqliteStatement assign(connection_, sqlOf(CollectionStatement::assignFace));
    assign.with(clusterID, faceID).run();
}

void SQLiteDatabase::ignoreFace(const Uuid& faceID, Timestamp now) {
    SqliteStatement ignore(connection_, sqlOf(CollectionStatement::ignoreFace));
    ignore.with(faceID, now).run();
}

std::unordered_set<Uuid> SQLiteDatabase::loadIgnoredFaces() {
    std::unordered_set<Uuid> ids;
    collectIDs(connection_, CollectionStatement::loadIgnoredFaces, ids);
    return ids;
}

std::unordered_set<Uuid> SQLiteDatabase::analysedItems() {
    std::unordered_set<Uuid> ids;
    collectIDs(connection_, CollectionStatement::loadAnalysedItems, ids);
    collectIDs(connection_, CollectionStatement::loadItemsWithFaces, ids);
    return ids;
}

void SQLiteDatabase::markAnalysed(const Uuid& crumbID, Timestamp now) {
    SqliteStatement mark(connection_, sqlOf(CollectionStatement::markAnalysed));
    mark.with(crumbID, now).run();
}

std::vector<CrumbFaceCluster> SQLiteDatabase::loadPools() {
    std::vector<CrumbFaceCluster> pools;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadPools));
    while (rows.step()) {
        if (const auto id = rows.uuid(0)) {
            pools.push_back({*id, rows.optionalString(1), rows.date(2), rows.date(3)});
        }
    }
    return pools;
}

void SQLiteDatabase::savePool(const CrumbFaceCluster& pool, Timestamp now) {
    SqliteStatement save(connection_, sqlOf(CollectionStatement::savePool));
    save.with(pool.id, pool.name, pool.createdAt, now).run();
}

void SQLiteDatabase::mergePools(const Uuid& kept, const Uuid& absorbed) {
    if (kept == absorbed) return;
    SqliteTransaction transaction(connection_);
    const auto run = [this](CollectionStatement statement, const auto&... values) {
        SqliteStatement(connection_, sqlOf(statement)).with(values...).run();
    };
    run(CollectionStatement::dropRejectionsOfArrivals, kept, absorbed);
    run(CollectionStatement::moveFaces, kept, absorbed);
    run(CollectionStatement::deletePool, absorbed);
    transaction.commit();
}

void SQLiteDatabase::rejectFace(const CrumbFaceRejection& rejection, Timestamp now) {
    SqliteStatement reject(connection_, sqlOf(CollectionStatement::rejectFace));
    reject.with(rejection.faceID, rejection.clusterID, now).run();
}

void SQLiteDatabase::undoRejection(const CrumbFaceRejection& rejection) {
    SqliteStatement undo(connection_, sqlOf(CollectionStatement::undoRejection));
    undo.with(rejection.faceID, rejection.clusterID).run();
}

std::vector<CrumbFaceRejection> SQLiteDatabase::loadRejections() {
    std::vector<CrumbFaceRejection> rejections;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadRejections));
    while (rows.step()) {
        const auto faceID = rows.uuid(0);
        const auto clusterID = rows.uuid(1);
        if (faceID && clusterID) rejections.push_back({*faceID, *clusterID});
    }
    return rejections;
}

}  // namespace nookery
