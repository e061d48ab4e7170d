#pragma once

#include <string>

#include "foundation/Error.h"

namespace nookery {

/// The step at which a database failed.
enum class DatabaseFailure {
    openFailed,     ///< the file cannot be opened
    prepareFailed,  ///< a statement cannot be compiled
    stepFailed,     ///< stepping a prepared statement does not end as expected
    executeFailed,  ///< a one-shot statement fails
};

/// A failure of SQLite. The description is a fixed sentence for the failed step, then SQLite's own
/// message.
class DatabaseError : public Error {
  public:
    /// `code` is SQLite's extended result code.
    DatabaseError(DatabaseFailure failure, const std::string& message, int code);

    DatabaseFailure failure() const { return failure_; }
    /// SQLite's message alone.
    const std::string& message() const { return message_; }
    /// SQLite's extended result code.
    int code() const { return code_; }

    bool isBusy() const;      ///< another program holds the database
    bool isDiskFull() const;  ///< no room left
    bool isDamaged() const;   ///< not a database, or a damaged one
    bool isReadOnly() const;  ///< the file or its folder may not be written to

    std::string advice() const override;

  private:
    DatabaseFailure failure_;
    std::string message_;
    int code_;
};

}  // namespace nookery
