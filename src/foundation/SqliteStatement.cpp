#include "foundation/SqliteStatement.h"

#include <sqlite3.h>

namespace nookery {

void SqliteStatement::Finalize::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

SqliteStatement::SqliteStatement(SqliteConnection& connection, std::string_view sql)
    : connection_(connection.handle()) {
    sqlite3_stmt* raw = nullptr;
    const int code =
        sqlite3_prepare_v2(connection_, sql.data(), static_cast<int>(sql.size()), &raw, nullptr);
    statement_.reset(raw);
    if (code != SQLITE_OK) throwDatabaseError(DatabaseFailure::prepareFailed, connection_, code);
}

void SqliteStatement::checkBound(int code) {
    if (code != SQLITE_OK) throwDatabaseError(DatabaseFailure::stepFailed, connection_, code);
}

void SqliteStatement::bind(int parameter, std::string_view text) {
    // A null pointer would bind NULL; empty text is not absent text.
    const char* bytes = text.data() == nullptr ? "" : text.data();
    checkBound(sqlite3_bind_text64(statement_.get(), parameter, bytes, text.size(),
                                   SQLITE_TRANSIENT, SQLITE_UTF8));
}

void SqliteStatement::bind(int parameter, double number) {
    checkBound(sqlite3_bind_double(statement_.get(), parameter, number));
}

void SqliteStatement::bind(int parameter, std::int64_t number) {
    checkBound(sqlite3_bind_int64(statement_.get(), parameter, number));
}

void SqliteStatement::bind(int parameter, std::span<const std::byte> blob) {
    checkBound(blob.empty() ? sqlite3_bind_zeroblob(statement_.get(), parameter, 0)
                            : sqlite3_bind_blob64(statement_.get(), parameter, blob.data(),
                                                  blob.size(), SQLITE_TRANSIENT));
}

void SqliteStatement::bindNull(int parameter) {
    checkBound(sqlite3_bind_null(statement_.get(), parameter));
}

bool SqliteStatement::step() {
    const int code = sqlite3_step(statement_.get());
    if (code == SQLITE_ROW) return true;
    if (code != SQLITE_DONE) throwDatabaseError(DatabaseFailure::stepFailed, connection_, code);
    return false;
}

void SqliteStatement::run() {
    if (step()) {
        throw DatabaseError(DatabaseFailure::stepFailed, "unexpected row", SQLITE_ROW);
    }
    reset();
}

void SqliteStatement::reset() { sqlite3_reset(statement_.get()); }

bool SqliteStatement::isNull(int column) const {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

std::optional<std::string_view> SqliteStatement::text(int column) const {
    if (isNull(column)) return std::nullopt;
    const auto* bytes = sqlite3_column_text(statement_.get(), column);
    if (bytes == nullptr) {
        throwDatabaseError(DatabaseFailure::stepFailed, connection_, SQLITE_NOMEM);
    }
    const int byteCount = sqlite3_column_bytes(statement_.get(), column);
    return std::string_view(reinterpret_cast<const char*>(bytes),
                            static_cast<std::size_t>(byteCount));
}

std::optional<std::string> SqliteStatement::optionalString(int column) const {
    const auto found = text(column);
    return found ? std::optional<std::string>(*found) : std::nullopt;
}

std::string SqliteStatement::string(int column) const {
    return std::string(text(column).value_or(std::string_view()));
}

std::optional<Uuid> SqliteStatement::uuid(int column) const {
    const auto found = text(column);
    return found ? Uuid::parse(*found) : std::nullopt;
}

double SqliteStatement::number(int column) const {
    return sqlite3_column_double(statement_.get(), column);
}

std::int64_t SqliteStatement::integer(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

std::span<const std::byte> SqliteStatement::blob(int column) const {
    const auto* bytes =
        static_cast<const std::byte*>(sqlite3_column_blob(statement_.get(), column));
    if (bytes == nullptr) return {};
    const int byteCount = sqlite3_column_bytes(statement_.get(), column);
    return {bytes, static_cast<std::size_t>(byteCount)};
}

namespace {

struct ValueBinder {
    SqliteStatement& statement;
    int parameter;

    void operator()(std::monostate) const { statement.bindNull(parameter); }
    void operator()(const std::vector<std::byte>& blob) const {
        statement.bind(parameter, std::span<const std::byte>(blob));
    }
    template <typename Value>
    void operator()(const Value& held) const {
        statement.bind(parameter, held);
    }
};

}  // namespace

void SqliteStatement::bindValue(int parameter, const SqliteValue& value) {
    std::visit(ValueBinder{*this, parameter}, value);
}

int SqliteStatement::columnCount() const { return sqlite3_column_count(statement_.get()); }

std::string SqliteStatement::columnName(int column) const {
    const char* name = sqlite3_column_name(statement_.get(), column);
    return name == nullptr ? std::string() : name;
}

SqliteValue SqliteStatement::value(int column) const {
    switch (sqlite3_column_type(statement_.get(), column)) {
        case SQLITE_INTEGER:
            return integer(column);
        case SQLITE_FLOAT:
            return number(column);
        case SQLITE_TEXT:
            return string(column);
        case SQLITE_BLOB: {
            const auto bytes = blob(column);
            return std::vector<std::byte>(bytes.begin(), bytes.end());
        }
        default:
            return std::monostate();
    }
}

}  // namespace nookery
