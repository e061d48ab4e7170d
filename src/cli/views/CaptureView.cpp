#include "cli/views/CaptureView.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"

namespace nookery::cli {
namespace {

constexpr std::size_t mostLinesShown = 20;

/// Says the first few lines, and how many more there are.
void sayLines(CommandContext& context, const std::vector<std::string>& lines) {
    for (std::size_t i = 0; i < std::min(lines.size(), mostLinesShown); ++i) {
        context.say(printable(lines[i]));
    }
    if (lines.size() > mostLinesShown) {
        context.say(fmt::format("and {} more like this (--json names them all)",
                                lines.size() - mostLinesShown));
    }
}

void sayMessages(CommandContext& context, std::string_view label,
                 const std::vector<CaptureMessage>& messages) {
    std::vector<std::string> lines;
    for (const CaptureMessage& message : messages) {
        lines.push_back(fmt::format("{}: {}: {}", label, message.source, message.message));
    }
    sayLines(context, lines);
}

void sayTwins(CommandContext& context, const CrumbStore& store, const CaptureReport& report) {
    std::vector<Uuid> ids;
    for (const CaptureDuplicate& duplicate : report.duplicates) ids.push_back(duplicate.of);
    for (const CaptureVersion& version : report.versions) {
        ids.insert(ids.end(), {version.id, version.of});
    }
    const ShortIds shortIds = shortIdsOf(store, ids);
    std::vector<std::string> lines;
    for (const CaptureDuplicate& duplicate : report.duplicates) {
        lines.push_back(
            fmt::format("Already in NOOKERY: {} is {}", duplicate.source, shortIds(duplicate.of)));
    }
    sayLines(context, lines);
    lines.clear();
    for (const CaptureVersion& version : report.versions) {
        lines.push_back(fmt::format("Looks like another version: {} of {}", shortIds(version.id),
                                    shortIds(version.of)));
    }
    sayLines(context, lines);
}

}  // namespace

OrderedJson captureMessagesJson(const std::vector<CaptureMessage>& messages) {
    OrderedJson list = OrderedJson::array();
    for (const CaptureMessage& message : messages) {
        list.push_back({{"source", message.source}, {"message", message.message}});
    }
    return list;
}

OrderedJson captureReportJson(const CrumbStore& store, const CaptureReport& report) {
    OrderedJson added = OrderedJson::array();
    for (const Uuid& id : report.added) {
        if (const auto item = store.item(id)) added.push_back(memoryJson(store, *item));
    }
    OrderedJson duplicates = OrderedJson::array();
    for (const CaptureDuplicate& duplicate : report.duplicates) {
        duplicates.push_back({{"source", duplicate.source}, {"of", duplicate.of.toString()}});
    }
    OrderedJson versions = OrderedJson::array();
    for (const CaptureVersion& version : report.versions) {
        versions.push_back({{"id", version.id.toString()}, {"of", version.of.toString()}});
    }
    return {{"added", std::move(added)},
            {"duplicates", std::move(duplicates)},
            {"failed", captureMessagesJson(report.failed)},
            {"skipped", captureMessagesJson(report.skipped)},
            {"versions", std::move(versions)},
            {"warnings", captureMessagesJson(report.warnings)},
            {"cancelled", report.cancelled}};
}

void printCaptureReport(CommandContext& context, const CrumbStore& store,
                        const CaptureReport& report) {
    CrumbItemList added;
    for (const Uuid& id : report.added) {
        if (added.size() == mostLinesShown) break;
        if (const auto item = store.item(id)) added.push_back(item);
    }
    printMemoryTable(context, store, added);
    if (report.added.size() > added.size()) {
        context.out().writeLine(fmt::format("and {} more", report.added.size() - added.size()));
    }
    sayTwins(context, store, report);
    sayMessages(context, "skipped", report.skipped);
    sayMessages(context, "taken in, but", report.warnings);
    sayMessages(context, "not taken in", report.failed);
    context.say(fmt::format("{} added, {} already there, {} failed.",
                            counted(report.added.size(), "memory", "memories"),
                            report.duplicates.size(), report.failed.size()));
}

}  // namespace nookery::cli
