#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "collection/database/SQLiteDatabase.h"
#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

/// Where the rows of one memory lie, parents before their children.
struct MemoryTable {
    const char* table;
    const char* condition;  ///< with the memory's id as its one parameter
};

constexpr std::array memoryTables{
    MemoryTable{"crumb_face_clusters",
                "id IN (SELECT cluster_id FROM crumb_faces WHERE crumb_id = ?1 UNION "
                "SELECT cluster_id FROM crumb_face_rejections WHERE face_id IN "
                "(SELECT id FROM crumb_faces WHERE crumb_id = ?1))"},
    MemoryTable{"crumbs", "id = ?1"},
    MemoryTable{"crumb_faces", "crumb_id = ?1"},
    MemoryTable{"crumb_face_analysis", "crumb_id = ?1"},
    MemoryTable{"crumb_face_rejections",
                "face_id IN (SELECT id FROM crumb_faces WHERE crumb_id = ?1)"},
    MemoryTable{"crumb_face_ignores",
                "face_id IN (SELECT id FROM crumb_faces WHERE crumb_id = ?1)"},
    MemoryTable{"crumb_relationships", "source_id = ?1 OR target_id = ?1"},
};

std::size_t sizeOf(const SqliteValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) return text->size();
    if (const auto* blob = std::get_if<std::vector<std::byte>>(&value)) return blob->size();
    return sizeof(double);
}

/// Collects rows until somebody takes them.
class Piece {
  public:
    explicit Piece(SqliteConnection& connection) {
        for (const MemoryTable& each : memoryTables) {
            statements_.emplace_back(
                connection, fmt::format("SELECT * FROM {} WHERE {};", each.table, each.condition));
        }
        reset();
    }

    void add(const Uuid& id) {
        for (std::size_t i = 0; i < memoryTables.size(); ++i) {
            SqliteStatement& rows = statements_[i].with(id);
            while (rows.step()) addRow(tables_[i], rows);
            rows.reset();
        }
    }
    std::size_t byteCount() const { return byteCount_; }
    std::vector<KeptTable> take() {
        std::vector<KeptTable> taken = std::move(tables_);
        std::erase_if(taken, [](const KeptTable& each) { return each.rows.empty(); });
        reset();
        return taken;
    }

  private:
    void reset() {
        byteCount_ = 0;
        tables_.clear();
        for (std::size_t i = 0; i < memoryTables.size(); ++i) {
            KeptTable& each = tables_.emplace_back();
            each.table = memoryTables[i].table;
            for (int column = 0; column < statements_[i].columnCount(); ++column) {
                each.columns.push_back(statements_[i].columnName(column));
            }
        }
    }

    void addRow(KeptTable& table, const SqliteStatement& row) {
        auto& values = table.rows.emplace_back();
        for (int column = 0; column < row.columnCount(); ++column) {
            values.push_back(row.value(column));
            byteCount_ += sizeOf(values.back());
        }
    }

    std::vector<SqliteStatement> statements_;
    std::vector<KeptTable> tables_;
    std::size_t byteCount_ = 0;
};

std::string quoted(const std::string& name) {
    std::string text = "\"";
    for (const char c : name) text += c == '"' ? std::string("\"\"") : std::string(1, c);
    return text + '"';
}

std::string insertionInto(const KeptTable& kept) {
    std::string columns;
    std::string marks;
    for (const std::string& column : kept.columns) {
        columns += (columns.empty() ? "" : ", ") + quoted(column);
        marks += marks.empty() ? "?" : ", ?";
    }
    return fmt::format("INSERT OR IGNORE INTO {} ({}) VALUES ({});", quoted(kept.table), columns,
                       marks);
}

/// Whether what a relationship names is there.
class Ends {
  public:
    explicit Ends(SqliteConnection& connection)
        : memory_(connection, "SELECT count(*) FROM crumbs WHERE id IN (?, ?);") {}

    bool exist(const KeptTable& kept, const std::vector<SqliteValue>& row) {
        if (kept.table != "crumb_relationships") return true;
        const auto source = valueOf(kept, row, "source_id");
        const auto target = valueOf(kept, row, "target_id");
        memory_.bindValue(1, source);
        memory_.bindValue(2, target);
        memory_.step();
        const std::int64_t found = memory_.integer(0);
        memory_.reset();
        return found == (source == target ? 1 : 2);
    }

  private:
    static SqliteValue valueOf(const KeptTable& kept, const std::vector<SqliteValue>& row,
                               std::string_view column) {
        const auto place = std::find(kept.columns.begin(), kept.columns.end(), column);
        const auto index = static_cast<std::size_t>(place - kept.columns.begin());
        return index < row.size() ? row[index] : SqliteValue();
    }

    SqliteStatement memory_;
};

void insertRows(SqliteConnection& connection, const KeptTable& kept) {
    SqliteStatement insertion(connection, insertionInto(kept));
    Ends ends(connection);
    for (const auto& row : kept.rows) {
        if (!ends.exist(kept, row)) continue;
        int parameter = 0;
        for (const SqliteValue& value : row) insertion.bindValue(++parameter, value);
        insertion.run();
    }
}

}  // namespace

void SQLiteDatabase::keepRows(std::span<const Uuid> ids, std::size_t pieceByteCount,
                              const KeptPieceVisitor& visit) {
    Piece piece(connection_);
    for (const Uuid& id : ids) {
        piece.add(id);
        if (piece.byteCount() >= pieceByteCount) visit(piece.take());
    }
    if (auto rest = piece.take(); !rest.empty()) visit(std::move(rest));
}

/// By table, so that a row follows those it depends on, whichever piece they came in.
void SQLiteDatabase::returnRows(std::span<const KeptTable> tables) {
    SqliteTransaction transaction(connection_);
    for (const MemoryTable& each : memoryTables) {
        for (const KeptTable& kept : tables) {
            if (kept.table == each.table) insertRows(connection_, kept);
        }
    }
    transaction.commit();
}

}  // namespace nookery
