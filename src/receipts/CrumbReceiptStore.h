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

/// The receipts' own database, beside the collection's and apart from it: nothing here changes a
/// memory. Holds one open connection, or none: every operation but the opening ones then throws
/// StoreError "Database unavailable". All failures of SQLite become StoreError with its message,
/// and leave the database as it was. What a method has saved survives a power cut. One writing
/// store at a time, under the library's lock. One thread.
class CrumbReceiptStore {
  public:
    CrumbReceiptStore(FileSystem& files, LibraryLayout layout);

    /// Opens for writing: creates the folders and the file where they are missing, and brings an
    /// older database up to date. On failure (FileError, StoreError) the store holds none.
    void open();
    /// Opens for reading beside a writer. False, and nothing opened, when there is no database yet,
    /// or one of an earlier version that only `open` can bring up to date.
    bool openForReading();

    /// Newest receipt date first, undated ones last; ties by import, newest first. Rows whose id is
    /// no identifier are left out. A date that no calendar has reads as absent.
    std::vector<CrumbReceipt> load();
    /// Inserts, or updates all but the time of import.
    void save(const CrumbReceipt& receipt);
    /// The preserved file stays.
    void remove(const Uuid& id);

    /// The user's own categories, in alphabetical order.
    std::vector<std::string> customCategories();
    /// A name that differs from one that is there in case only is not added again.
    void addCategory(const std::string& name);

  private:
    template <typename Work>
    auto withDatabase(const Work& work);

    FileSystem& files_;
    LibraryLayout layout_;
    std::optional<SqliteConnection> connection_;
};

}  // namespace nookery
