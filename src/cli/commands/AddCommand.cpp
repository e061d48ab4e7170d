#include <fmt/format.h>

#include <algorithm>

#include "cli/commands/Commands.h"
#include "cli/commands/Enrichment.h"
#include "cli/output/TextLayout.h"
#include "cli/views/CaptureView.h"
#include "cli/views/MemoryView.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

Coroutine<CaptureSource> sourceFor(CommandContext& context, const Arguments& arguments,
                                   std::string word) {
    if (word == "-") {
        std::string text = co_await context.readInput();
        co_return CaptureText{std::move(text), "standard input"};
    }
    const std::string start = lowerCased(toValidUtf8(word.substr(0, 8)));
    if (start.starts_with("http://") || start == "https://") {
        co_return CaptureLink{word, arguments.has("fetch")};
    }
    co_return CaptureFile{.path = context.path(word), .shownPath = word};
}

Coroutine<CaptureRequest> requestFor(CommandContext& context, CrumbStore& store,
                                     const Arguments& arguments) {
    CaptureRequest request;
    for (const std::string& word : arguments.positionals()) {
        request.sources.push_back(co_await sourceFor(context, arguments, word));
    }
    if (const auto text = arguments.value("text")) {
        request.sources.push_back(CaptureText{*text, "the text given"});
    }
    request.title = arguments.text("title");
    request.note = arguments.text("note").value_or("");
    for (const std::string& tag : arguments.values("tag")) request.tags.push_back(toValidUtf8(tag));
    if (const auto group = arguments.text("group")) request.groupID = findGroup(store, *group).id;
    co_return request;
}

Coroutine<CaptureReport> captureAll(CommandContext& context, CaptureRequest request) {
    const auto operation = context.workspace().edits().add(std::move(request));
    co_await context.waitFor(operation);
    co_return reportOf(*operation->outcome());
}

Coroutine<int> runAdd(CommandContext& context, const Arguments& arguments) {
    if (arguments.positionals().empty() && !arguments.has("text")) {
        throw UsageError("add needs something to take in: files, folders, links, - or --text.");
    }
    // The background work is known only when all memories are.
    const LibraryExtent extent =
        arguments.has("wait") ? LibraryExtent::records : LibraryExtent::onDemand;
    CrumbStore& store = *co_await context.open(LibraryAccess::writing, extent);
    CaptureRequest request = co_await requestFor(context, store, arguments);
    const CaptureReport report = co_await captureAll(context, std::move(request));
    if (arguments.has("wait")) co_await finishEnrichment(context, store);
    if (context.wantsJson()) {
        context.print(captureReportJson(store, report));
    } else {
        printCaptureReport(context, store, report);
    }
    if (report.cancelled) {
        context.say("Interrupted; what was added is whole.");
        co_return exitInterrupted;
    }
    co_return report.failed.empty() ? exitDone : exitFailed;
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
