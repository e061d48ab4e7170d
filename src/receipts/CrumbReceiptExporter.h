#pragma once

#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "receipts/ReceiptPackage.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// The accountant package could not be made; nothing of it remains.
class ReceiptExportError : public Error {
  public:
    using Error::Error;
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
/// gone makes its record one to review; after any other failure (ReceiptExportError, FileError or
/// Error), and when it is stopped, nothing is left. Works on the capture queue. Main thread.
OperationPointer<Exported> exportTo(const Platform& platform, const LibraryLayout& layout,
                                    const ReceiptList& receipts, const Path& chosenFolder);

}  // namespace CrumbReceiptExporter

}  // namespace nookery
