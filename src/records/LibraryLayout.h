#pragma once

#include "foundation/FileSystem.h"

namespace nookery {

/// Where things lie. The library folder is "Crumb" in the user's application-support folder.
struct LibraryLayout {
    Path dataHome;   ///< the application-support folder
    Path cacheHome;  ///< for files that the program can make again

    Path library() const { return dataHome / "Crumb"; }
    Path database() const { return library() / "crumb.sqlite3"; }
    Path sidecar() const { return library() / "sidecar.sqlite3"; }
    Path linkRecords() const { return library() / "phone-link.sqlite3"; }
    Path lockFile() const { return library() / "library.lock"; }
    Path legacyFile() const { return library() / "crumbs.json"; }
    Path migratedLegacyFile() const { return library() / "crumbs-migrated.json"; }
    Path items() const { return library() / "Items"; }
    Path inbox() const { return library() / "Inbox"; }
    Path snapshots() const { return library() / "Recovery" / "Snapshots"; }
    Path thumbnails() const { return cacheHome / "Thumbnails"; }
    Path receipts() const { return library() / "Coffer"; }
    Path receiptsDatabase() const { return receipts() / "coffer.sqlite3"; }
    Path fieldReports() const { return library() / "FieldReports"; }
    Path fieldReportEdits() const { return fieldReports() / ".FieldReportEdits"; }
    Path deletedFieldReports() const { return fieldReports() / ".DeletedFieldReports.json"; }
    Path receiptOriginals() const { return receipts() / "Originals"; }
};

}  // namespace nookery
