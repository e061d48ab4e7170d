#include "collection/database/StepRecords.h"

#include <fmt/format.h>

#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

StepRecords::Bytes copyOf(std::span<const std::byte> bytes) { return {bytes.begin(), bytes.end()}; }

StepState stateFromColumn(std::int64_t value) {
    const auto last = static_cast<std::int64_t>(StepState::redoing);
    if (value >= 0 && value <= last) return static_cast<StepState>(value);
    throw DatabaseError(DatabaseFailure::stepFailed,
                        fmt::format("a step in sidecar.sqlite3 has the unknown state {}", value),
                        0);
}

}  // namespace

std::vector<StepSummary> StepRecords::summaries() {
    // The sizes stand before the changes, whose pages are not read.
    SqliteStatement rows(connection_,
                         "SELECT number, state, name, at, change_count, byte_count FROM steps "
                         "ORDER BY number;");
    std::vector<StepSummary> summaries;
    while (rows.step()) {
        summaries.push_back({.number = rows.integer(0),
                             .state = stateFromColumn(rows.integer(1)),
                             .name = rows.string(2),
                             .at = rows.date(3),
                             .changeCount = rows.integer(4),
                             .byteCount = rows.integer(5)});
    }
    return summaries;
}

std::int64_t StepRecords::add(const StepSummary& summary, std::span<const std::byte> changes) {
    SqliteTransaction transaction(connection_);
    SqliteStatement(connection_,
                    "INSERT INTO steps (state, name, at, change_count, byte_count, changes) "
                    "VALUES (?, ?, ?, ?, ?, ?);")
        .with(static_cast<int>(summary.state), summary.name, summary.at, summary.changeCount,
              static_cast<std::int64_t>(changes.size()), changes)
        .run();
    SqliteStatement number(connection_, "SELECT last_insert_rowid();");
    number.step();
    const std::int64_t added = number.integer(0);
    transaction.commit();
    return added;
}

void StepRecords::update(const StepSummary& summary, std::span<const std::byte> changes,
                         std::span<const std::int64_t> superseded) {
    SqliteTransaction transaction(connection_);
    removeRows(superseded);
    SqliteStatement(connection_,
                    "UPDATE steps SET state = ?2, name = ?3, change_count = ?4, changes = ?5, "
                    "byte_count = length(?5) + coalesce((SELECT sum(length(bytes)) FROM "
                    "step_contents WHERE step = ?1), 0) WHERE number = ?1;")
        .with(summary.number, static_cast<int>(summary.state), summary.name, summary.changeCount,
              changes)
        .run();
    transaction.commit();
}

void StepRecords::setState(std::int64_t number, StepState state) {
    SqliteStatement(connection_, "UPDATE steps SET state = ? WHERE number = ?;")
        .with(static_cast<int>(state), number)
        .run();
}

std::optional<StepRecords::Bytes> StepRecords::changes(std::int64_t number) {
    SqliteStatement rows(connection_, "SELECT changes FROM steps WHERE number = ?;");
    rows.with(number);
    return rows.step() ? std::optional(copyOf(rows.blob(0))) : std::nullopt;
}

void StepRecords::addContents(std::int64_t number, int part, std::span<const std::byte> bytes) {
    SqliteTransaction transaction(connection_);
    SqliteStatement(connection_, "INSERT INTO step_contents (step, part, bytes) VALUES (?, ?, ?);")
        .with(number, part, bytes)
        .run();
    SqliteStatement(connection_, "UPDATE steps SET byte_count = byte_count + ? WHERE number = ?;")
        .with(static_cast<std::int64_t>(bytes.size()), number)
        .run();
    transaction.commit();
}

std::vector<StepRecords::Bytes> StepRecords::contents(std::int64_t number) {
    SqliteStatement rows(connection_,
                         "SELECT bytes FROM step_contents WHERE step = ? ORDER BY part;");
    rows.with(number);
    std::vector<Bytes> parts;
    while (rows.step()) parts.push_back(copyOf(rows.blob(0)));
    return parts;
}

void StepRecords::removeContents(std::int64_t number) {
    SqliteTransaction transaction(connection_);
    SqliteStatement(connection_, "DELETE FROM step_contents WHERE step = ?;").with(number).run();
    SqliteStatement(connection_, "UPDATE steps SET byte_count = length(changes) WHERE number = ?;")
        .with(number)
        .run();
    transaction.commit();
}

bool StepRecords::removeFirstPart(std::int64_t number, int last) {
    SqliteStatement first(connection_,
                          "SELECT part, length(bytes) FROM step_contents WHERE step = ? AND "
                          "part <= ? ORDER BY part LIMIT 1;");
    if (!first.with(number, last).step()) return false;
    const std::int64_t part = first.integer(0);
    const std::int64_t byteCount = first.integer(1);
    first.reset();
    SqliteTransaction transaction(connection_);
    SqliteStatement(connection_, "DELETE FROM step_contents WHERE step = ? AND part = ?;")
        .with(number, part)
        .run();
    SqliteStatement(connection_, "UPDATE steps SET byte_count = byte_count - ? WHERE number = ?;")
        .with(byteCount, number)
        .run();
    transaction.commit();
    return true;
}

int StepRecords::lastPart(std::int64_t number) {
    SqliteStatement last(connection_,
                         "SELECT coalesce(max(part), 0) FROM step_contents WHERE step = ?;");
    last.with(number).step();
    return static_cast<int>(last.integer(0));
}

std::vector<std::int64_t> StepRecords::leftContents() {
    SqliteStatement rows(connection_,
                         "SELECT DISTINCT step FROM step_contents WHERE step NOT IN "
                         "(SELECT number FROM steps);");
    std::vector<std::int64_t> numbers;
    while (rows.step()) numbers.push_back(rows.integer(0));
    return numbers;
}

void StepRecords::remove(std::span<const std::int64_t> numbers) {
    SqliteTransaction transaction(connection_);
    removeRows(numbers);
    transaction.commit();
}

void StepRecords::removeRows(std::span<const std::int64_t> numbers) {
    SqliteStatement removal(connection_, "DELETE FROM steps WHERE number = ?;");
    for (const std::int64_t number : numbers) removal.with(number).run();
}

void StepRecords::removeAll() {
    SqliteTransaction transaction(connection_);
    connection_.execute("DELETE FROM step_contents;");
    connection_.execute("DELETE FROM steps;");
    transaction.commit();
}

}  // namespace nookery
