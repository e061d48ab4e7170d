#pragma once

#include <optional>
#include <string>
#include <vector>

#include "foundation/SqliteConnection.h"
#include "receipts/CrumbReceipt.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// A failure of the receipts' database.
class StoreError : public Error {
  public:
    static StoreError database(const std::string& message);

  private:
    using Error::Error;
};

/// The receipts' database, apart from the collection's: nothing here changes a memory. The store
/// has one open connection or none; without one, every operation but the opening ones throws
/// StoreError "Database unavailable". A failure of SQLite becomes a StoreError with its message and
/// leaves the database as it was. What a method has saved survives a power cut. Only one store may
/// write at a time, under the library's lock. One thread.
class CrumbReceiptStore {
  public:
    CrumbReceiptStore(FileSystem& files, LibraryLayout layout);

    /// Opens for writing: creates missing folders and a missing file, and brings an older database
    /// up to date. On failure (FileError, StoreError) the store has no connection.
    void open();
    /// Opens for reading beside a writer. False, and nothing opened, when there is no database yet,
    /// or one of an earlier version that only `open` can bring up to date.
    bool openForReading();

    /// Newest receipt date first, undated ones last; ties by import, newest first. Rows whose id is
    /// no identifier are left out. A date that no calendar has reads as absent.
    std::vector<CrumbReceipt> load();
    /// Inserts, or updates all but the time of import.
    void save(const CrumbReceipt& receipt);
    /// Removes the record; the preserved file stays.
    void remove(const Uuid& id);

    /// The user's own categories, in alphabetical order.
    std::vector<std::string> customCategories();
    /// Does not add a name that differs from a present one only in case.
    void addCategory(const std::string& name);
    /// In any case; receipts that have it keep it. Nothing there is fine.
    void removeCategory(const std::string& name);

  private:
    template <typename Work>
    auto withDatabase(const Work& work);

    FileSystem& files_;
    LibraryLayout layout_;
    std::optional<SqliteConnection> connection_;
};

}  // namespace nookery
