#pragma once

#include <vector>

#include "cli/context/CommandContext.h"
#include "collection/capture/Capture.h"
#include "foundation/Json.h"

/// What came of taking something in, as every command that does so answers it.
namespace nookery::cli {

OrderedJson captureMessagesJson(const std::vector<CaptureMessage>& messages);
OrderedJson captureReportJson(const CrumbStore& store, const CaptureReport& report);
void printCaptureReport(CommandContext& context, const CrumbStore& store,
                        const CaptureReport& report);

}  // namespace nookery::cli
