#include "foundation/DatabaseError.h"

#include <sqlite3.h>

namespace nookery {
namespace {

std::string prefixOf(DatabaseFailure failure) {
    switch (failure) {
        case DatabaseFailure::openFailed:
            return "Could not open NOOKERY database: ";
        case DatabaseFailure::prepareFailed:
            return "Could not prepare NOOKERY database command: ";
        case DatabaseFailure::stepFailed:
            return "Could not complete NOOKERY database command: ";
        case DatabaseFailure::executeFailed:
            break;
    }
    return "Could not execute NOOKERY database command: ";
}

constexpr int primaryCode(int extendedCode) { return extendedCode & 0xff; }

}  // namespace

DatabaseError::DatabaseError(DatabaseFailure failure, const std::string& message, int code)
    : Error(prefixOf(failure) + message), failure_(failure), message_(message), code_(code) {}

bool DatabaseError::isBusy() const {
    return primaryCode(code_) == SQLITE_BUSY || primaryCode(code_) == SQLITE_LOCKED;
}

bool DatabaseError::isDiskFull() const { return primaryCode(code_) == SQLITE_FULL; }

bool DatabaseError::isDamaged() const {
    return primaryCode(code_) == SQLITE_CORRUPT || primaryCode(code_) == SQLITE_NOTADB;
}

bool DatabaseError::isReadOnly() const {
    return primaryCode(code_) == SQLITE_READONLY || primaryCode(code_) == SQLITE_PERM;
}

std::string DatabaseError::advice() const {
    if (isBusy()) return "Another program holds the database; close it and try again.";
    if (isDiskFull()) return "Free some space and try again.";
    if (isDamaged()) return "It is damaged; a recovery snapshot can take its place.";
    if (isReadOnly() || primaryCode(code_) == SQLITE_CANTOPEN) {
        return "Check that the library folder is there and may be written to.";
    }
    return {};
}

}  // namespace nookery
