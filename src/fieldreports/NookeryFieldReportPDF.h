#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "fieldreports/FieldReportWorkingCopy.h"
#include "fieldreports/NookeryReportWorkingDraft.h"
#include "platform/Platform.h"

namespace nookery {

struct FieldReportPdfOutcome {
    std::size_t pageCount = 0;
    /// Pictures that could not be decoded, by their names; their pages name them as documents.
    std::vector<std::string> undecodable;
};

struct FieldReportPdfFollower {
    std::function<void(std::size_t done, std::size_t total)>
        progress;  ///< attachments; may be empty
    std::stop_token stop;
};

/// Writes the draft as a PDF to `destination`, in place of a file that is there: whole, or not at
/// all. Photographs are decoded one at a time. Throws PdfError, FieldReportError or
/// Cancelled. Main thread.
FieldReportPdfOutcome writeFieldReportPdf(const Platform& platform,
                                          const FieldReportWorkingCopy& workingCopy,
                                          const NookeryReportWorkingDraft& draft,
                                          const Path& destination,
                                          const FieldReportPdfFollower& follower);

}  // namespace nookery
