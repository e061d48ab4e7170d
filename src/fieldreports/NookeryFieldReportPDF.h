#pragma once

#include <string>
#include <vector>

#include "fieldreports/FieldReportWorkingCopy.h"
#include "fieldreports/NookeryReportWorkingDraft.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"

namespace nookery {

struct FieldReportPdfOutcome {
    std::size_t pageCount = 0;
    /// Pictures that could not be decoded, by their names; their pages name them as documents.
    std::vector<std::string> undecodable;
};

/// Writes the draft as a PDF to `destination`, in place of a file that is there: whole, or not at
/// all. Photographs are decoded one at a time. Works on the capture queue. Fails with PdfError or
/// FieldReportError. Main thread.
OperationPointer<FieldReportPdfOutcome> writeFieldReportPdf(
    const Platform& platform, const FieldReportWorkingCopy& workingCopy,
    const NookeryReportWorkingDraft& draft, const Path& destination);

}  // namespace nookery
