#pragma once

#include <sqlite3.h>

#include <map>
#include <set>

#include "support/FaultyFileSystem.h"

namespace nookery::testing {

/// SQLite's own file layer while this lives, for databases opened meanwhile: with a fault at the
/// k-th changing operation, as FaultyFileSystem has it for all other files. One at a time, and one
/// thread.
class FaultyDatabaseFiles {
  public:
    FaultyDatabaseFiles();
    ~FaultyDatabaseFiles();
    FaultyDatabaseFiles(const FaultyDatabaseFiles&) = delete;
    FaultyDatabaseFiles& operator=(const FaultyDatabaseFiles&) = delete;

    /// Starts counting anew; operation number `k` (from 1) meets the fault. A crash ends the
    /// process there and then, so it wants one of its own.
    void arm(Fault fault, int k);
    void disarm() { arm(Fault::none, 0); }
    /// Whether a power cut now would lose nothing: neither bytes nor the going of a file.
    bool isAllSynced() const { return unsynced_.empty(); }
    /// From now on files can be opened for reading only, as on a medium that is read-only.
    void refuseWriting();

  private:
    /// A file's own methods, with ours in front.
    struct Methods {
        sqlite3_io_methods ours;  ///< first: it is what SQLite points at
        const sqlite3_io_methods* real;
    };

    static FaultyDatabaseFiles& current();
    static const sqlite3_io_methods& realMethods(sqlite3_file* file);
    static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags);
    static int remove(sqlite3_vfs*, const char* name, int syncsFolder);
    static int write(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset);
    static int truncate(sqlite3_file* file, sqlite3_int64 size);
    static int sync(sqlite3_file* file, int how);

    bool meetsFault(bool needsSpace = false);
    void wrap(sqlite3_file* file);

    sqlite3_vfs* real_;
    sqlite3_vfs layer_;
    std::map<const sqlite3_io_methods*, Methods> methods_;
    std::set<const void*> unsynced_;
    int count_ = 0;
    int faultAt_ = 0;
    Fault fault_ = Fault::none;
};

}  // namespace nookery::testing
