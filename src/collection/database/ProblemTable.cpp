#include "collection/database/ProblemTable.h"

#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

std::string stringOf(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool hasTable(SqliteConnection& connection) {
    SqliteStatement table(
        connection, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'problems';");
    return table.step();
}

}  // namespace

std::vector<KnownProblem> ProblemTable::all() {
    std::vector<KnownProblem> problems;
    if (!hasTable(connection_)) return problems;
    SqliteStatement rows(connection_,
                         "SELECT id, kind, path, memory_id, message, advice, first_seen, "
                         "last_seen, count, dismissed FROM problems ORDER BY last_seen DESC, id;");
    while (rows.step()) {
        // One that a newer program would understand is left alone.
        const auto kind = problemKindFromRawValue(rows.string(1));
        if (!kind) continue;
        problems.push_back({.id = rows.string(0),
                            .problem = {.subject = {.kind = *kind,
                                                    .path = Path(stringOf(rows.blob(2))),
                                                    .memoryID = rows.uuid(3)},
                                        .message = rows.string(4),
                                        .advice = rows.string(5)},
                            .firstSeen = rows.date(6),
                            .lastSeen = rows.date(7),
                            .count = rows.integer(8),
                            .isDismissed = rows.integer(9) != 0});
    }
    return problems;
}

void ProblemTable::update(std::span<const KnownProblem> saved,
                          std::span<const std::string> removedIDs) {
    SqliteTransaction transaction(connection_);
    SqliteStatement save(connection_,
                         "INSERT OR REPLACE INTO problems (id, kind, path, memory_id, message, "
                         "advice, first_seen, last_seen, count, dismissed) "
                         "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?);");
    for (const KnownProblem& known : saved) {
        const ProblemSubject& subject = known.problem.subject;
        save.with(known.id, rawValue(subject.kind), std::as_bytes(std::span(subject.path.native())),
                  subject.memoryID, known.problem.message, known.problem.advice, known.firstSeen,
                  known.lastSeen, known.count, known.isDismissed ? 1 : 0);
        save.run();
    }
    SqliteStatement remove(connection_, "DELETE FROM problems WHERE id = ?;");
    for (const std::string& id : removedIDs) remove.with(id).run();
    transaction.commit();
}

}  // namespace nookery
