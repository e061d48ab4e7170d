#pragma once

#include <string_view>
#include <variant>

namespace nookery {

/// Every statement that the collection database runs, in one table.
enum class CollectionStatement {
    countItems,
    countItemsOfKind,
    countItemsInGroup,
    countItemsByGroup,
    hasRowOfUnknownKind,
    hasUnusualID,
    loadItems,
    loadItemsWithBodies,
    loadItem,
    loadNewestItems,
    loadIDs,
    loadIDsFrom,
    loadIDBefore,
    loadIDAfter,
    loadIDsInGroup,
    saveItem,
    deleteItem,
    loadGroups,
    saveGroup,
    ungroupItems,
    deleteGroup,
    loadEmbeddings,
    saveEmbedding,
    saveRichText,
    loadFaces,
    saveFace,
    deleteFacesOfItem,
    assignFace,
    ignoreFace,
    loadIgnoredFaces,
    loadAnalysedItems,
    loadItemsWithFaces,
    markAnalysed,
    loadPools,
    savePool,
    dropRejectionsOfArrivals,
    moveFaces,
    deletePool,
    rejectFace,
    undoRejection,
    loadRejections,
};

struct CollectionStatementText {
    CollectionStatement statement;
    std::string_view sql;
};

/// In the order of the enumeration.
inline constexpr CollectionStatementText collectionStatements[] = {
    {CollectionStatement::countItems, "SELECT COUNT(*) FROM crumbs;"},
    {CollectionStatement::countItemsOfKind, "SELECT COUNT(*) FROM crumbs WHERE kind = ?;"},
    {CollectionStatement::countItemsInGroup,
     "SELECT COUNT(*) FROM crumbs WHERE upper(group_id) = ?1 AND (?2 IS NULL OR kind = ?2);"},
    {CollectionStatement::countItemsByGroup,
     "SELECT group_id, COUNT(*) FROM crumbs WHERE group_id IS NOT NULL GROUP BY group_id;"},
    // The gaps between the known kinds, each one step in the index of kinds.
    {CollectionStatement::hasRowOfUnknownKind,
     "SELECT EXISTS (SELECT 1 FROM crumbs WHERE kind < 'activity') "
     "OR EXISTS (SELECT 1 FROM crumbs WHERE kind > 'activity' AND kind < 'file') "
     "OR EXISTS (SELECT 1 FROM crumbs WHERE kind > 'file' AND kind < 'image') "
     "OR EXISTS (SELECT 1 FROM crumbs WHERE kind > 'image' AND kind < 'text') "
     "OR EXISTS (SELECT 1 FROM crumbs WHERE kind > 'text' AND kind < 'url') "
     "OR EXISTS (SELECT 1 FROM crumbs WHERE kind > 'url');"},
    {CollectionStatement::hasUnusualID,
     "SELECT EXISTS (SELECT 1 FROM crumbs WHERE id <> upper(id) "
     "OR id NOT LIKE '________-____-____-____-____________');"},
    {CollectionStatement::loadItems,
     "SELECT id, title, kind, created_at, text_content, url_string, file_path, searchable_text, "
     "note, group_id, source_item_id FROM crumbs ORDER BY created_at DESC;"},
    {CollectionStatement::loadItemsWithBodies,
     "SELECT id, title, kind, created_at, text_content, url_string, file_path, searchable_text, "
     "note, group_id, source_item_id, iif(embedding_blob IS NULL, NULL, embedding_model), "
     "rich_text_rtf FROM crumbs ORDER BY created_at DESC;"},
    {CollectionStatement::loadItem,
     "SELECT id, title, kind, created_at, text_content, url_string, file_path, searchable_text, "
     "note, group_id, source_item_id FROM crumbs WHERE id = ?;"},
    {CollectionStatement::loadNewestItems,
     "SELECT id, title, kind, created_at, text_content, url_string, file_path, searchable_text, "
     "note, group_id, source_item_id FROM crumbs "
     "WHERE (?1 IS NULL OR kind = ?1) AND (?2 IS NULL OR upper(group_id) = ?2) "
     "ORDER BY created_at DESC, id ASC LIMIT ?3;"},
    {CollectionStatement::loadIDs, "SELECT id FROM crumbs ORDER BY id ASC;"},
    {CollectionStatement::loadIDsFrom,
     "SELECT id FROM crumbs WHERE id >= ? ORDER BY id ASC LIMIT ?;"},
    {CollectionStatement::loadIDBefore,
     "SELECT id FROM crumbs WHERE id < ? ORDER BY id DESC LIMIT 1;"},
    {CollectionStatement::loadIDAfter,
     "SELECT id FROM crumbs WHERE id > ? ORDER BY id ASC LIMIT 1;"},
    {CollectionStatement::loadIDsInGroup,
     "SELECT id FROM crumbs WHERE upper(group_id) = ? ORDER BY created_at DESC, id ASC;"},
    {CollectionStatement::saveItem,
     "INSERT INTO crumbs (id, title, kind, created_at, modified_at, text_content, url_string, "
     "file_path, searchable_text, note, group_id, source_item_id) "
     "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) "
     "ON CONFLICT(id) DO UPDATE SET title = excluded.title, kind = excluded.kind, "
     "modified_at = excluded.modified_at, text_content = excluded.text_content, "
     "url_string = excluded.url_string, file_path = excluded.file_path, "
     "searchable_text = excluded.searchable_text, note = excluded.note, "
     "group_id = excluded.group_id, source_item_id = excluded.source_item_id;"},
    {CollectionStatement::deleteItem, "DELETE FROM crumbs WHERE id = ?;"},
    {CollectionStatement::loadGroups,
     "SELECT id, name, created_at FROM crumb_groups ORDER BY created_at ASC;"},
    {CollectionStatement::saveGroup,
     "INSERT INTO crumb_groups (id, name, created_at, modified_at) VALUES (?, ?, ?, ?) "
     "ON CONFLICT(id) DO UPDATE SET name = excluded.name, modified_at = excluded.modified_at;"},
    {CollectionStatement::ungroupItems, "UPDATE crumbs SET group_id = NULL WHERE group_id = ?;"},
    {CollectionStatement::deleteGroup, "DELETE FROM crumb_groups WHERE id = ?;"},
    {CollectionStatement::loadEmbeddings,
     "SELECT id, embedding_blob FROM crumbs WHERE embedding_blob IS NOT NULL;"},
    {CollectionStatement::saveEmbedding,
     "UPDATE crumbs SET embedding_model = ?, embedding_blob = ?, modified_at = ? WHERE id = ?;"},
    {CollectionStatement::saveRichText,
     "UPDATE crumbs SET rich_text_rtf = ?, modified_at = ? WHERE id = ?;"},
    {CollectionStatement::loadFaces,
     "SELECT id, crumb_id, cluster_id, face_index, x, y, width, height, confidence, "
     "feature_model, feature_blob, created_at FROM crumb_faces "
     "ORDER BY created_at ASC, face_index ASC;"},
    {CollectionStatement::saveFace,
     "INSERT INTO crumb_faces (id, crumb_id, cluster_id, face_index, x, y, width, height, "
     "confidence, feature_model, feature_blob, created_at) "
     "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) "
     "ON CONFLICT(id) DO UPDATE SET cluster_id = excluded.cluster_id, "
     "face_index = excluded.face_index, x = excluded.x, y = excluded.y, width = excluded.width, "
     "height = excluded.height, confidence = excluded.confidence, "
     "feature_model = excluded.feature_model, feature_blob = excluded.feature_blob;"},
    {CollectionStatement::deleteFacesOfItem, "DELETE FROM crumb_faces WHERE crumb_id = ?;"},
    {CollectionStatement::assignFace, "UPDATE crumb_faces SET cluster_id = ? WHERE id = ?;"},
    {CollectionStatement::ignoreFace,
     "INSERT OR IGNORE INTO crumb_face_ignores (face_id, created_at) VALUES (?, ?);"},
    {CollectionStatement::loadIgnoredFaces, "SELECT face_id FROM crumb_face_ignores;"},
    {CollectionStatement::loadAnalysedItems, "SELECT crumb_id FROM crumb_face_analysis;"},
    {CollectionStatement::loadItemsWithFaces, "SELECT DISTINCT crumb_id FROM crumb_faces;"},
    {CollectionStatement::markAnalysed,
     "INSERT INTO crumb_face_analysis (crumb_id, analyzed_at) VALUES (?, ?) "
     "ON CONFLICT(crumb_id) DO UPDATE SET analyzed_at = excluded.analyzed_at;"},
    {CollectionStatement::loadPools,
     "SELECT id, name, created_at, modified_at FROM crumb_face_clusters ORDER BY created_at ASC;"},
    {CollectionStatement::savePool,
     "INSERT INTO crumb_face_clusters (id, name, created_at, modified_at) VALUES (?, ?, ?, ?) "
     "ON CONFLICT(id) DO UPDATE SET name = excluded.name, modified_at = excluded.modified_at;"},
    {CollectionStatement::dropRejectionsOfArrivals,
     "DELETE FROM crumb_face_rejections WHERE cluster_id = ? AND face_id IN "
     "(SELECT id FROM crumb_faces WHERE cluster_id = ?);"},
    {CollectionStatement::moveFaces, "UPDATE crumb_faces SET cluster_id = ? WHERE cluster_id = ?;"},
    {CollectionStatement::deletePool, "DELETE FROM crumb_face_clusters WHERE id = ?;"},
    {CollectionStatement::rejectFace,
     "INSERT OR IGNORE INTO crumb_face_rejections (face_id, cluster_id, created_at) "
     "VALUES (?, ?, ?);"},
    {CollectionStatement::undoRejection,
     "DELETE FROM crumb_face_rejections WHERE face_id = ? AND cluster_id = ?;"},
    {CollectionStatement::loadRejections, "SELECT face_id, cluster_id FROM crumb_face_rejections;"},
};

constexpr std::string_view sqlOf(CollectionStatement statement) {
    return collectionStatements[static_cast<std::size_t>(statement)].sql;
}

static_assert(
    [] {
        std::size_t index = 0;
        for (const auto& entry : collectionStatements) {
            if (static_cast<std::size_t>(entry.statement) != index++) return false;
        }
        return index == static_cast<std::size_t>(CollectionStatement::loadRejections) + 1;
    }(),
    "the table of statements follows its enumeration");

/// Emptying the library: children before their parents, in one transaction.
inline constexpr std::string_view clearLibraryStatements[] = {
    "DELETE FROM crumb_relationships;",
    "DELETE FROM crumb_face_rejections;",
    "DELETE FROM crumb_face_ignores;",
    "DELETE FROM crumb_face_analysis;",
    "DELETE FROM crumb_faces;",
    "DELETE FROM crumb_face_clusters;",
    "DELETE FROM crumbs;",
    "DELETE FROM crumb_groups;",
};

/// A column that a file of an older program may lack.
struct EnsureColumn {
    std::string_view table;
    std::string_view column;
    std::string_view type;
};

/// One step in making or upgrading the schema: a statement, or a column to be added.
using SchemaStep = std::variant<std::string_view, EnsureColumn>;

/// All steps, in order. Identifiers are upper-case UUID text, times are seconds since 1970 UTC,
/// vectors are consecutive little-endian 8-byte floating-point numbers. `ocr_text`,
/// `metadata_json`, `visual_description` and `crumb_relationships` are reserved.
inline constexpr SchemaStep collectionSchema[] = {
    std::string_view(R"sql(CREATE TABLE IF NOT EXISTS crumbs (
    id TEXT PRIMARY KEY NOT NULL,
    title TEXT NOT NULL,
    kind TEXT NOT NULL,
    created_at REAL NOT NULL,
    modified_at REAL NOT NULL,
    text_content TEXT,
    url_string TEXT,
    file_path TEXT,
    searchable_text TEXT NOT NULL DEFAULT '',
    note TEXT NOT NULL DEFAULT '',
    group_id TEXT,
    source_item_id TEXT,

    ocr_text TEXT,
    metadata_json TEXT,
    visual_description TEXT,
    embedding_model TEXT,
    embedding_blob BLOB,
    rich_text_rtf BLOB
);)sql"),
    EnsureColumn{"crumbs", "rich_text_rtf", "BLOB"},
    EnsureColumn{"crumbs", "group_id", "TEXT"},
    EnsureColumn{"crumbs", "source_item_id", "TEXT"},
    std::string_view(
        "CREATE INDEX IF NOT EXISTS idx_crumbs_created_at ON crumbs(created_at DESC);"),
    std::string_view("CREATE INDEX IF NOT EXISTS idx_crumbs_kind ON crumbs(kind);"),
    std::string_view(R"sql(CREATE TABLE IF NOT EXISTS crumb_groups (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT NOT NULL,
    created_at REAL NOT NULL,
    modified_at REAL NOT NULL
);)sql"),
    std::string_view("CREATE INDEX IF NOT EXISTS idx_crumb_groups_name "
                     "ON crumb_groups(name COLLATE NOCASE);"),
    std::string_view(R"sql(CREATE TABLE IF NOT EXISTS crumb_face_clusters (
    id TEXT PRIMARY KEY NOT NULL,
    name TEXT,
    created_at REAL NOT NULL,
    modified_at REAL NOT NULL
);)sql"),
    std::string_view(R"sql(CREATE TABLE IF NOT EXISTS crumb_faces (
    id TEXT PRIMARY KEY NOT NULL,
    crumb_id TEXT NOT NULL,
    cluster_id TEXT,
    face_index INTEGER NOT NULL,
    x REAL NOT NULL,
    y REAL NOT NULL,
    width REAL NOT NULL,
    height REAL NOT NULL,
    confidence REAL NOT NULL DEFAULT 0,
    feature_model TEXT NOT NULL,
    feature_blob BLOB NOT NULL,
    created_at REAL NOT NULL,
    FOREIGN KEY (crumb_id) REFERENCES crumbs(id) ON DELETE CASCADE,
    FOREIGN KEY (cluster_id) REFERENCES crumb_face_clusters(id) ON DELETE SET NULL
);)sql"),
    std::string_view(
        "CREATE INDEX IF NOT EXISTS idx_crumb_faces_crumb_id ON crumb_faces(crumb_id);"),
    std::string_view(
        "CREATE INDEX IF NOT EXISTS idx_crumb_faces_cluster_id ON crumb_faces(cluster_id);"),
    std::string_view(R"sql(CREATE TABLE IF NOT EXISTS crumb_face_rejections (
    face_id TEXT NOT NULL,
    cluster_id TEXT NOT NULL,
    created_at REAL NOT NULL,
    PRIMARY KEY (face_id, cluster_id),
    FOREIGN KEY (face_id) REFERENCES crumb_faces(id) ON DELETE CASCADE,
    FOREIGN KEY (cluster_id) REFERENCES crumb_face_clusters(id) ON DELETE CASCADE
);)sql"),
    std::string_view("CREATE INDEX IF NOT EXISTS idx_crumb_face_rejections_cluster_id "
                     "ON crumb_face_rejections(cluster_id);"),
    std::string_view(R"sql(CREATE TABLE IF NOT EXISTS crumb_face_ignores (
    face_id TEXT PRIMARY KEY NOT NULL,
    created_at REAL NOT NULL,
    FOREIGN KEY (face_id) REFERENCES crumb_faces(id) ON DELETE CASCADE
);)sql"),
    std::string_view(R"sql(CREATE TABLE IF NOT EXISTS crumb_face_analysis (
    crumb_id TEXT PRIMARY KEY NOT NULL,
    analyzed_at REAL NOT NULL,
    FOREIGN KEY (crumb_id) REFERENCES crumbs(id) ON DELETE CASCADE
);)sql"),
    std::string_view(R"sql(CREATE TABLE IF NOT EXISTS crumb_relationships (
    source_id TEXT NOT NULL,
    target_id TEXT NOT NULL,
    relation_type TEXT NOT NULL,
    strength REAL NOT NULL DEFAULT 0,
    created_at REAL NOT NULL,
    PRIMARY KEY (source_id, target_id, relation_type),
    FOREIGN KEY (source_id) REFERENCES crumbs(id) ON DELETE CASCADE,
    FOREIGN KEY (target_id) REFERENCES crumbs(id) ON DELETE CASCADE
);)sql"),
};

}  // namespace nookery
