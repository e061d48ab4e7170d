#include <fmt/format.h>

#include <algorithm>

#include "cli/Commands.h"
#include "cli/Enrichment.h"
#include "cli/Input.h"
#include "cli/MemoryView.h"
#include "cli/TextLayout.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr std::size_t maximumTextByteCount = std::size_t{64} << 20;
constexpr std::size_t mostLinesShown = 10;

CaptureSource sourceFor(Session& session, const Arguments& arguments, const std::string& word) {
    if (word == "-") {
        return CaptureText{
            readAll(standardInput(session.interruptDescriptor()), maximumTextByteCount),
            "standard input"};
    }
    const std::string start = lowerCased(toValidUtf8(word.substr(0, 8)));
    if (start.starts_with("http://") || start == "https://") {
        return CaptureLink{word, arguments.has("fetch")};
    }
    return CaptureFile{Path(word)};
}

CaptureRequest requestFor(Session& session, CrumbStore& store, const Arguments& arguments) {
    CaptureRequest request;
    for (const std::string& word : arguments.positionals()) {
        request.sources.push_back(sourceFor(session, arguments, word));
    }
    if (const auto text = arguments.value("text")) {
        request.sources.push_back(CaptureText{*text, "the text given"});
    }
    request.title = arguments.text("title");
    request.note = arguments.text("note").value_or("");
    for (const std::string& tag : arguments.values("tag")) request.tags.push_back(toValidUtf8(tag));
    if (const auto group = arguments.text("group")) request.groupID = findGroup(store, *group).id;
    return request;
}

OrderedJson messagesJson(const std::vector<CaptureMessage>& messages) {
    OrderedJson list = OrderedJson::array();
    for (const CaptureMessage& message : messages) {
        list.push_back({{"source", message.source}, {"message", message.message}});
    }
    return list;
}

OrderedJson reportJson(const CrumbStore& store, const CaptureReport& report) {
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
            {"failed", messagesJson(report.failed)},
            {"skipped", messagesJson(report.skipped)},
            {"versions", std::move(versions)},
            {"warnings", messagesJson(report.warnings)},
            {"cancelled", report.cancelled}};
}

/// Says the first few lines, and how many more there are.
void sayLines(Session& session, const std::vector<std::string>& lines) {
    for (std::size_t i = 0; i < std::min(lines.size(), mostLinesShown); ++i) {
        session.say(printable(lines[i]));
    }
    if (lines.size() > mostLinesShown) {
        session.say(fmt::format("and {} more like this (--json names them all)",
                                lines.size() - mostLinesShown));
    }
}

void sayMessages(Session& session, std::string_view label,
                 const std::vector<CaptureMessage>& messages) {
    std::vector<std::string> lines;
    for (const CaptureMessage& message : messages) {
        lines.push_back(fmt::format("{}: {}: {}", label, message.source, message.message));
    }
    sayLines(session, lines);
}

void sayTwins(Session& session, const CrumbStore& store, const CaptureReport& report) {
    const ShortIds shortIds = shortIdsOf(store);
    std::vector<std::string> lines;
    for (const CaptureDuplicate& duplicate : report.duplicates) {
        lines.push_back(
            fmt::format("Already in NOOKERY: {} is {}", duplicate.source, shortIds(duplicate.of)));
    }
    sayLines(session, lines);
    lines.clear();
    for (const CaptureVersion& version : report.versions) {
        lines.push_back(fmt::format("Looks like another version: {} of {}", shortIds(version.id),
                                    shortIds(version.of)));
    }
    sayLines(session, lines);
}

void printReport(Session& session, const CrumbStore& store, const CaptureReport& report) {
    CrumbItemList added;
    for (const Uuid& id : report.added) {
        if (added.size() == mostLinesShown) break;
        if (const auto item = store.item(id)) added.push_back(item);
    }
    printMemoryTable(session, store, added);
    if (report.added.size() > added.size()) {
        session.out().writeLine(fmt::format("and {} more", report.added.size() - added.size()));
    }
    sayTwins(session, store, report);
    sayMessages(session, "skipped", report.skipped);
    sayMessages(session, "taken in, but", report.warnings);
    sayMessages(session, "not taken in", report.failed);
    session.say(fmt::format("{} added, {} already there, {} failed.",
                            counted(report.added.size(), "memory", "memories"),
                            report.duplicates.size(), report.failed.size()));
}

CaptureReport captureAll(Session& session, CrumbStore& store, CaptureRequest request) {
    std::optional<CaptureReport> report;
    store.capture(
        std::move(request), session.stop(),
        [&](const CaptureProgress& progress) {
            session.messages().progress(
                fmt::format("taking in: {} of {} found so far", progress.done, progress.found));
        },
        [&](const CaptureReport& finished) { report = finished; });
    session.waitUntil([&] { return report.has_value(); });
    return *report;
}

int runAdd(Session& session, const Arguments& arguments) {
    if (arguments.positionals().empty() && !arguments.has("text")) {
        throw UsageError("add needs something to take in: files, folders, links, - or --text.");
    }
    CrumbStore& store = session.open(LibraryAccess::writing);
    const CaptureReport report = captureAll(session, store, requestFor(session, store, arguments));
    if (arguments.has("wait")) finishEnrichment(session, store);
    if (session.wantsJson()) {
        session.print(reportJson(store, report));
    } else {
        printReport(session, store, report);
    }
    if (report.cancelled) {
        session.say("Interrupted; what was added is whole.");
        return exitInterrupted;
    }
    return report.failed.empty() ? exitDone : exitFailed;
}

}  // namespace

Command addCommand() {
    return {
        .name = "add",
        .summary = "Take in files, folders, links and text",
        .examples = {{"add ~/Documents/letters", "take in a folder and all below it"},
                     {"add https://example.org/recipe --tag baking", "keep a link"},
                     {"add --text \"Spare key is under the blue pot\"", "write a note"},
                     {"add - < minutes.txt", "take in what comes from another program"}},
        .positionals = {{.name = "PATH|URL|-",
                         .help = "a file, a folder, a web address, or - for standard input; the "
                                 "originals are copied and stay as they are",
                         .required = false,
                         .repeats = true,
                         .offers = Offers::files}},
        .options = {{"text", "TEXT", "write a note"},
                    {"title", "TITLE", "call it this (for a single thing)"},
                    {"note", "NOTE", "a note of your own about it"},
                    {"group", "GROUP", "put it into this group"},
                    {"tag", "TAG", "give it a tag", true},
                    {"fetch", "", "read the pages of links from the network"},
                    {"wait", "", "also do the background work now (finding by meaning)"}},
        .run = runAdd};
}

}  // namespace nookery::cli
