#include "cli/views/ReportView.h"

#include <fmt/format.h>

#include "cli/output/TextLayout.h"
#include "cli/views/Ids.h"
#include "fieldreports/FieldReportRepository.h"

namespace nookery::cli {
namespace {

ShortIds shortIdsOf(const NookeryReportWorkingDraft& draft) {
    std::vector<Uuid> ids;
    for (const auto& media : draft.media) ids.push_back(media.id);
    return ShortIds(std::move(ids));
}

void printField(CommandContext& context, std::string_view name, const std::string& value) {
    if (value.empty()) return;
    context.out().writeLine(context.style().inDim(padded(name, 18)) + printable(value));
}

void printNotes(CommandContext& context, const std::string& notes) {
    if (notes.empty()) return;
    context.out().writeLine("");
    context.out().writeLine(printableLines(notes));
}

}  // namespace

std::vector<NookeryReceivedFieldReport> receivedReports(CommandContext& context) {
    return FieldReportRepository(context.platform(), context.layout()).load();
}

Coroutine<ReportEdits*> openReportEdits(CommandContext& context) {
    co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    co_return &context.workspace().reportEdits();
}

NookeryReceivedFieldReport findReport(CommandContext& context, const std::string& prefix) {
    return onlyOne(receivedReports(context), prefix, "field report",
                   [](const auto& report) { return report.id; });
}

OrderedJson reportJson(const NookeryReceivedFieldReport& report) {
    OrderedJson attachments = OrderedJson::array();
    for (const FieldReportAttachment& attachment : report.attachments) {
        attachments.push_back({{"id", attachment.id.toString()},
                               {"name", attachment.name},
                               {"caption", attachment.caption},
                               {"path", displayName(attachment.url)}});
    }
    return {{"id", report.id.toString()},
            {"title", report.title},
            {"clientProject", report.clientProject},
            {"location", report.location},
            {"reportDate", toIso8601(report.reportDate)},
            {"createdAt", toIso8601(report.createdAt)},
            {"updatedAt", toIso8601(report.updatedAt)},
            {"notes", report.notes},
            {"attachments", std::move(attachments)},
            {"folder", displayName(report.folderURL)}};
}

OrderedJson draftJson(const NookeryReceivedFieldReport& report,
                      const NookeryReportWorkingDraft& draft) {
    OrderedJson media = OrderedJson::array();
    for (const auto& item : draft.media) {
        OrderedJson document{{"id", item.id.toString()},
                             {"displayName", item.displayName},
                             {"isIncluded", item.isIncluded},
                             {"caption", item.caption}};
        if (item.addedFileName) document["addedFileName"] = *item.addedFileName;
        media.push_back(std::move(document));
    }
    return {{"id", report.id.toString()},
            {"title", draft.title},
            {"clientProject", draft.clientProject},
            {"location", draft.location},
            {"reportDate", toIso8601(draft.reportDate)},
            {"notes", draft.notes},
            {"media", std::move(media)}};
}

void printReportTable(CommandContext& context,
                      const std::vector<NookeryReceivedFieldReport>& reports) {
    std::vector<Uuid> ids;
    for (const auto& report : reports) ids.push_back(report.id);
    const ShortIds shortIds(std::move(ids));
    for (const auto& report : reports) {
        context.out().writeLine(fmt::format(
            "{}  {}  {}  {}", context.style().inDim(shortIds(report.id)),
            exactDate(report.reportDate), context.style().inTitle(printable(report.shownTitle())),
            context.style().inDim(
                counted(report.attachments.size(), "attachment", "attachments"))));
    }
}

void printReport(CommandContext& context, const NookeryReceivedFieldReport& report) {
    context.out().writeLine(context.style().inTitle(printable(report.shownTitle())));
    printField(context, "Client / Project", report.clientProject);
    printField(context, "Location", report.location);
    printField(context, "Date", exactDate(report.reportDate));
    printField(context, "Received", displayName(report.folderURL));
    printNotes(context, report.notes);
    if (!report.attachments.empty()) context.out().writeLine("");
    for (const FieldReportAttachment& attachment : report.attachments) {
        context.out().writeLine(
            fmt::format("{}  {}", printable(attachment.name),
                        context.style().inDim(printable(displayName(attachment.url)))));
    }
}

void printDraft(CommandContext& context, const NookeryReportWorkingDraft& draft) {
    const Style& style = context.style();
    context.out().writeLine(
        style.inTitle(draft.title.empty() ? "Untitled Field Report" : printable(draft.title)));
    printField(context, "Client / Project", draft.clientProject);
    printField(context, "Location", draft.location);
    printField(context, "Date", exactDate(draft.reportDate));
    printNotes(context, draft.notes);
    if (!draft.media.empty()) context.out().writeLine("");
    const ShortIds shortIds = shortIdsOf(draft);
    for (const auto& media : draft.media) {
        context.out().writeLine(
            fmt::format("{} {}  {}{}", media.isIncluded ? "[x]" : "[ ]",
                        style.inDim(shortIds(media.id)), printable(media.displayName),
                        media.caption.empty() ? "" : "  " + style.inDim(printable(media.caption))));
    }
}

}  // namespace nookery::cli
