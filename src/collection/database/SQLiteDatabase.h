#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "collection/database/KeptRows.h"
#include "collection/database/RecoveryPoint.h"
#include "foundation/SqliteConnection.h"
#include "records/CrumbItem.h"
#include "records/FaceRecords.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// All memories, with what their records do not hold.
struct LoadedItems {
    CrumbItemList items;  ///< newest first
    std::unordered_map<Uuid, std::vector<std::byte>> richTexts;
    std::unordered_set<Uuid> embedded;  ///< those with an embedding of the model asked about
};

/// The collection database: the durable home of memories, groups, embeddings, rich text and faces.
/// One method for each statement (CollectionStatements.h has their text). Every method throws
/// DatabaseError; what consists of several statements is one transaction and leaves the file as it
/// was when it fails. `now` becomes the time of modification. The store's thread only.
class SQLiteDatabase {
  public:
    /// Opens for writing: creates the folder and the file, sets the connection up, and creates the
    /// schema or upgrades it in place. Opening an up-to-date file changes nothing. Throws FileError
    /// when the folder cannot be made. At most one such connection may exist at a time, in any
    /// process.
    static SQLiteDatabase open(
        FileSystem& files, const LibraryLayout& layout,
        std::chrono::milliseconds busyTimeout = SqliteConnection::defaultBusyTimeout);
    /// Opens for reading beside a writer in this or another process; creates no database and never
    /// checkpoints. The writing methods then fail.
    static SQLiteDatabase openForReading(const LibraryLayout& layout);

    /// Makes all that was saved so far survive a power cut; without it a save survives the end of
    /// the process only. Call after each change that is reported to the user as done.
    void makeDurable() { connection_.makeDurable(); }
    /// "ok", or what SQLite's check complains about.
    std::string integrityReport() { return connection_.integrityReport(); }

    // Memories.
    std::int64_t itemCount();
    /// Newest first. Rows of an unknown kind, or whose id is no identifier, are left out and stay
    /// in the file.
    CrumbItemList loadItems();
    /// The same in one pass with what else lies in their rows; `model` is the embedding model that
    /// is asked about.
    LoadedItems loadItemsWithBodies(std::string_view model);
    /// Inserts, or updates all but the time of capture.
    void saveItem(const CrumbItem& item, Timestamp now);
    void saveItems(const CrumbItemList& items, Timestamp now);
    /// Faces, analysis marks and relationships go with the memory.
    void deleteItem(const Uuid& id, const RecoveryPoint& before);
    void deleteItems(std::span<const Uuid> ids, const RecoveryPoint& before);

    /// All rows that a memory consists of, with every column, so that `returnRows` makes it again.
    /// In pieces of about `pieceByteCount`; no memory is split.
    using KeptPieceVisitor = std::function<void(std::vector<KeptTable> piece)>;
    void keepRows(std::span<const Uuid> ids, std::size_t pieceByteCount,
                  const KeptPieceVisitor& visit);
    /// Puts the rows back. One that is there again stays as it is; a relationship whose other end
    /// is gone is left out.
    void returnRows(std::span<const KeptTable> tables);

    // Groups.
    std::vector<CrumbGroup> loadGroups();  ///< oldest first
    void saveGroup(const CrumbGroup& group, Timestamp now);
    /// The group's memories stay, ungrouped.
    void deleteGroup(const Uuid& id, const RecoveryPoint& before);

    // Text embeddings and rich text, columns of a memory's row: saving for an id that has no row
    // does nothing.
    using EmbeddingVisitor = std::function<void(const Uuid& id, std::span<const double> vector)>;
    void loadEmbeddings(const EmbeddingVisitor& visit);
    void saveEmbedding(const Uuid& id, std::string_view model, std::span<const double> vector,
                       Timestamp now);
    using Embeddings = std::vector<std::pair<Uuid, std::vector<double>>>;
    void saveEmbeddings(const Embeddings& embeddings, std::string_view model, Timestamp now);
    void saveRichText(const Uuid& id, std::span<const std::byte> rtf, Timestamp now);

    // Faces.
    std::vector<CrumbFace> loadFaces();  ///< oldest first, then by place in the image
    /// Inserts, or updates all but the memory and the time of creation.
    void saveFace(const CrumbFace& face);
    void replaceFaces(const Uuid& crumbID, std::span<const CrumbFace> faces);
    void assignFace(const Uuid& faceID, const std::optional<Uuid>& clusterID);
    void ignoreFace(const Uuid& faceID, Timestamp now);
    std::unordered_set<Uuid> loadIgnoredFaces();
    /// A memory that has faces counts as analysed, with or without a mark.
    std::unordered_set<Uuid> analysedItems();
    void markAnalysed(const Uuid& crumbID, Timestamp now);

    // Pools of faces.
    std::vector<CrumbFaceCluster> loadPools();  ///< oldest first
    /// `modifiedAt` is taken from `now`, not from the record.
    void savePool(const CrumbFaceCluster& pool, Timestamp now);
    /// The absorbed pool's faces move to the kept one, which forgets that it ever rejected them.
    /// A pool merged with itself stays as it is.
    void mergePools(const Uuid& kept, const Uuid& absorbed);
    void rejectFace(const CrumbFaceRejection& rejection, Timestamp now);
    void undoRejection(const CrumbFaceRejection& rejection);
    std::vector<CrumbFaceRejection> loadRejections();

    /// Empties every table, children before their parents.
    void clearLibrary(const RecoveryPoint& before);

  private:
    friend class ItemQueries;

    explicit SQLiteDatabase(SqliteConnection connection) : connection_(std::move(connection)) {}

    SqliteConnection connection_;
};

}  // namespace nookery
