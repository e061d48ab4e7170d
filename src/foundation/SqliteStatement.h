#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "foundation/SqliteConnection.h"
#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

struct sqlite3_stmt;

namespace nookery {

/// What any column may hold, for rows that are kept whole, whatever they mean.
using SqliteValue =
    std::variant<std::monostate, std::int64_t, double, std::string, std::vector<std::byte>>;

/// A prepared statement. Parameters count from 1, columns from 0. Identifiers are stored as
/// upper-case text, dates as seconds since 1970, absent values as NULL, text with its whole length
/// (NUL bytes included). Throws DatabaseError. Must not outlive its connection.
class SqliteStatement {
  public:
    SqliteStatement(SqliteConnection& connection, std::string_view sql);

    void bind(int parameter, std::string_view text);
    void bind(int parameter, const std::string& text) { bind(parameter, std::string_view(text)); }
    void bind(int parameter, const char* text) { bind(parameter, std::string_view(text)); }
    void bind(int parameter, double number);
    void bind(int parameter, std::int64_t number);
    void bind(int parameter, int number) { bind(parameter, std::int64_t{number}); }
    void bind(int parameter, Timestamp date) { bind(parameter, date.secondsSince1970); }
    void bind(int parameter, const Uuid& id) { bind(parameter, id.toString()); }
    void bind(int parameter, std::span<const std::byte> blob);
    template <typename T>
    void bind(int parameter, const std::optional<T>& value) {
        value ? bind(parameter, *value) : bindNull(parameter);
    }
    void bindNull(int parameter);
    void bindValue(int parameter, const SqliteValue& value);

    /// Binds the values to the parameters from 1 on.
    template <typename... Values>
    SqliteStatement& with(const Values&... values) {
        int parameter = 0;
        (bind(++parameter, values), ...);
        return *this;
    }

    /// Moves to the next row; false when there is none left.
    bool step();
    /// Runs a statement that gives no rows, and makes it ready for other values.
    void run();
    /// Makes a statement whose rows were read ready for other values.
    void reset();

    bool isNull(int column) const;
    /// None for NULL. Valid until the next step.
    std::optional<std::string_view> text(int column) const;
    std::optional<std::string> optionalString(int column) const;
    /// Empty for NULL.
    std::string string(int column) const;
    /// None for NULL and for text that is no identifier.
    std::optional<Uuid> uuid(int column) const;
    double number(int column) const;
    std::int64_t integer(int column) const;
    Timestamp date(int column) const { return Timestamp{number(column)}; }
    /// Empty for NULL. Valid until the next step.
    std::span<const std::byte> blob(int column) const;

    int columnCount() const;
    std::string columnName(int column) const;
    SqliteValue value(int column) const;

  private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };

    void checkBound(int code);

    sqlite3* connection_;
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

}  // namespace nookery
