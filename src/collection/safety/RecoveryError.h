#pragma once

#include <string>

#include "foundation/Error.h"

namespace nookery {

/// A snapshot whose databases could not be copied.
class RecoveryError : public Error {
  public:
    enum class Case { sqliteOpen, sqliteBackup };

    /// `message` is SQLite's own.
    RecoveryError(Case which, const std::string& message)
        : Error((which == Case::sqliteOpen ? "Could not open recovery database: "
                                           : "Could not snapshot NOOKERY database: ") +
                message),
          case_(which) {}

    Case which() const { return case_; }

  private:
    Case case_;
};

}  // namespace nookery
