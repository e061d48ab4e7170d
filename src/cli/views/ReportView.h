#pragma once

#include <string>
#include <vector>

#include "cli/context/CommandContext.h"
#include "fieldreports/NookeryReportWorkingDraft.h"
#include "foundation/Json.h"
#include "records/NookeryReceivedFieldReport.h"

/// How field reports are found, shown and written as JSON.
namespace nookery::cli {

/// What the library holds of them. Throws Error when that cannot be read.
std::vector<NookeryReceivedFieldReport> receivedReports(CommandContext& context);

/// Opens the library for a change of a report.
Coroutine<ReportEdits*> openReportEdits(CommandContext& context);

/// The report whose id begins with `prefix`. Throws Error when there is none, or more than one.
NookeryReceivedFieldReport findReport(CommandContext& context, const std::string& prefix);

OrderedJson reportJson(const NookeryReceivedFieldReport& report);
OrderedJson draftJson(const NookeryReceivedFieldReport& report,
                      const NookeryReportWorkingDraft& draft);

void printReportTable(CommandContext& context,
                      const std::vector<NookeryReceivedFieldReport>& reports);
void printReport(CommandContext& context, const NookeryReceivedFieldReport& report);
void printDraft(CommandContext& context, const NookeryReportWorkingDraft& draft);

}  // namespace nookery::cli
