#pragma once

#include <functional>
#include <stop_token>

#include "platform/Platform.h"
#include "receipts/ReceiptPackage.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// The accountant package could not be made; nothing of it remains.
class ReceiptExportError : public Error {
  public:
    using Error::Error;
};

/// How whoever asked for an export follows it.
struct ReceiptExportFollower {
    std::function<void(std::size_t done, std::size_t total)> progress{};  ///< records, as copied
    std::stop_token stop{};
};

/// Writes "everything your accountant needs, organized in one folder".
namespace CrumbReceiptExporter {

struct Exported {
    Path folder;
    ReceiptPackage package;
};

/// Makes a new folder in `chosenFolder` with copies of the originals, the spreadsheets, the summary
/// and the report, of all receipts given. It is put together under a hidden name and appears when
/// it is whole and on the disk. Neither records nor their files change. A preserved file that is
/// gone makes its record one to review; any other failure throws (ReceiptExportError, FileError,
/// Error or Cancelled) and leaves nothing. Any thread; takes as long as the copies take.
Exported write(const Platform& platform, const LibraryLayout& layout, const ReceiptList& receipts,
               const Path& chosenFolder, const ReceiptExportFollower& follower);

}  // namespace CrumbReceiptExporter

}  // namespace nookery
