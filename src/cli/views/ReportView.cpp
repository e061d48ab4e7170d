#include "cli/views/ReportView.h"

#include <fmt/format.h>

#include "cli/output/TextLayout.h"
#include "cli/views/Ids.h"
#include "fieldreports/FieldReportShelf.h"

namespace nookery::cli {
namespace {

ShortIds shortIdsOf(const NookeryReportWorkingDraft& draft) {
    std::vector<Uuid> ids;
    for (const auto& media : draft.media) ids.push_back(media.id);
    return ShortIds(std::move(ids));
}

void printField(Session& session, std::string_view name, const std::string& value) {
    if (value.empty()) return;
    session.out().writeLine(session.style().inDim(padded(name, 18)) + printable(value));
}

void printNotes(Session& session, const std::string& notes) {
    if (notes.empty()) return;
    session.out().writeLine("");
    session.out().writeLine(printableLines(notes));
}

}  // namespace

std::vector<NookeryReceivedFieldReport> receivedReports(Session& session) {
    return FieldReportShelf(session.platform(), session.layout()).load();
}

NookeryReceivedFieldReport findReport(Session& session, const std::string& prefix) {
    return onlyOne(receivedReports(session), prefix, "field report",
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

void printReportTable(Session& session, const std::vector<NookeryReceivedFieldReport>& reports) {
    std::vector<Uuid> ids;
    for (const auto& report : reports) ids.push_back(report.id);
    const ShortIds shortIds(std::move(ids));
    for (const auto& report : reports) {
        session.out().writeLine(fmt::format(
            "{}  {}  {}  {}", session.style().inDim(shortIds(report.id)),
            exactDate(report.reportDate), session.style().inTitle(printable(report.shownTitle())),
            session.style().inDim(
                counted(report.attachments.size(), "attachment", "attachments"))));
    }
}

void printReport(Session& session, const NookeryReceivedFieldReport& report) {
    session.out().writeLine(session.style().inTitle(printable(report.shownTitle())));
    printField(session, "Client / Project", report.clientProject);
    printField(session, "Location", report.location);
    printField(session, "Date", exactDate(report.reportDate));
    printField(session, "Received", displayName(report.folderURL));
    printNotes(session, report.notes);
    if (!report.attachments.empty()) session.out().writeLine("");
    for (const FieldReportAttachment& attachment : report.attachments) {
        session.out().writeLine(
            fmt::format("{}  {}", printable(attachment.name),
                        session.style().inDim(printable(displayName(attachment.url)))));
    }
}

void printDraft(Session& session, const NookeryReportWorkingDraft& draft) {
    const Style& style = session.style();
    session.out().writeLine(
        style.inTitle(draft.title.empty() ? "Untitled Field Report" : printable(draft.title)));
    printField(session, "Client / Project", draft.clientProject);
    printField(session, "Location", draft.location);
    printField(session, "Date", exactDate(draft.reportDate));
    printNotes(session, draft.notes);
    if (!draft.media.empty()) session.out().writeLine("");
    const ShortIds shortIds = shortIdsOf(draft);
    for (const auto& media : draft.media) {
        session.out().writeLine(
            fmt::format("{} {}  {}{}", media.isIncluded ? "[x]" : "[ ]",
                        style.inDim(shortIds(media.id)), printable(media.displayName),
                        media.caption.empty() ? "" : "  " + style.inDim(printable(media.caption))));
    }
}

}  // namespace nookery::cli
