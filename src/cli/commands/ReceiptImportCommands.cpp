#include <fmt/format.h>

#include <algorithm>

#include "cli/commands/Commands.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"
#include "cli/views/ReceiptReading.h"
#include "cli/views/ReceiptView.h"
#include "foundation/Text.h"
#include "receipts/CrumbReceiptExporter.h"
#include "receipts/ReceiptSummary.h"

namespace nookery::cli {
namespace {

using Failures = std::vector<ReceiptImport::Failure>;

/// How many of the added receipts are still being read; others may have some read, too.
std::size_t countBeingRead(const ReceiptImport& outcome, const std::set<Uuid>& beingRead) {
    const auto isBeingRead = [&](const auto& receipt) { return beingRead.contains(receipt->id); };
    return static_cast<std::size_t>(
        std::count_if(outcome.added.begin(), outcome.added.end(), isBeingRead));
}

/// Takes the files in and waits until they are read, unless interrupted.
Coroutine<ReceiptImport> import(CommandContext& context, std::vector<ReceiptSource> sources) {
    Receipts& receipts = context.workspace().receipts();
    const auto& beingRead = receipts.service().beingRead();
    const auto operation = receipts.edits().import(std::move(sources));
    ReceiptImport outcome = co_await context.resultOf(operation);
    const auto tell = [&](const std::set<Uuid>& ids) {
        const std::size_t left = countBeingRead(outcome, ids);
        if (left == 0) return;
        context.messages().progress(fmt::format("Reading receipt… {} left", left));
    };
    tell(*beingRead);
    const auto progress = beingRead.subscribe(tell);
    const std::function<bool(const std::set<Uuid>&)> areRead = [&outcome](const auto& ids) {
        return countBeingRead(outcome, ids) == 0;
    };
    co_await context.until<std::set<Uuid>>(beingRead, areRead);
    co_return outcome;
}

/// The added receipts as they are now, without those that somebody has removed meanwhile.
ReceiptList addedNow(const ReceiptService& service, const ReceiptImport& outcome) {
    ReceiptList added;
    for (const auto& receipt : outcome.added) {
        if (auto now = service.find(receipt->id)) added.push_back(std::move(now));
    }
    return added;
}

void answerAsJson(CommandContext& context, const ReceiptService& service,
                  const ReceiptImport& outcome) {
    OrderedJson added = OrderedJson::array();
    for (const auto& receipt : addedNow(service, outcome)) {
        OrderedJson json = receiptJson(*receipt);
        const auto message = service.recognitionMessages()->find(receipt->id);
        if (message != service.recognitionMessages()->end()) {
            json["recognitionMessage"] = message->second;
        }
        const auto same = outcome.sameFileAs.find(receipt->id);
        if (same != outcome.sameFileAs.end()) json["sameFileAs"] = same->second.toString();
        added.push_back(std::move(json));
    }
    OrderedJson failed = OrderedJson::array();
    for (const auto& failure : outcome.failed) {
        failed.push_back({{"source", displayName(failure.source)}, {"message", failure.message}});
    }
    context.print({{"added", std::move(added)}, {"failed", std::move(failed)}});
}

int answer(CommandContext& context, const ReceiptService& service, const ReceiptImport& outcome) {
    if (context.wantsJson()) {
        answerAsJson(context, service, outcome);
    } else {
        printReceiptTable(context, service, addedNow(service, outcome));
        for (const auto& failure : outcome.failed) {
            context.say(printable(displayName(failure.source) + ": " + failure.message));
        }
        context.say(counted(outcome.added.size(), "receipt", "receipts") +
                    " added, flagged for review.");
        const ShortIds shortIds = shortIdsOf(service);
        for (const auto& [id, earlier] : outcome.sameFileAs) {
            if (!service.find(id) || !service.find(earlier)) continue;
            context.say(fmt::format("{} has the same file as {}: totals count both.", shortIds(id),
                                    shortIds(earlier)));
        }
    }
    if (context.isInterrupted()) return exitInterrupted;
    return outcome.failed.empty() ? exitDone : exitFailed;
}

Coroutine<int> runImport(CommandContext& context, const Arguments& arguments) {
    std::vector<ReceiptSource> sources;
    for (const std::string& file : arguments.positionals())
        sources.push_back({context.path(file), file});
    auto receipts = co_await OpenReceipts::forWriting(context);
    const ReceiptImport outcome = co_await import(context, std::move(sources));
    co_return answer(context, receipts.service(), outcome);
}

Coroutine<int> runFromMemory(CommandContext& context, const Arguments& arguments) {
    context.demandLibrary();
    auto receipts = co_await OpenReceipts::forWriting(context);
    const CrumbStore& store = context.workspace().store();
    std::vector<ReceiptSource> sources;
    Failures unselected;
    for (const std::string& prefix : arguments.positionals()) {
        try {
            sources.push_back(receiptSourceOf(*findMemory(store, prefix), context.platform()));
        } catch (const Error& error) {
            unselected.push_back({prefix, error.description()});
        }
    }
    ReceiptImport outcome = co_await import(context, std::move(sources));
    outcome.failed.insert(outcome.failed.begin(), unselected.begin(), unselected.end());
    co_return answer(context, receipts.service(), outcome);
}

Coroutine<int> runRecognize(CommandContext& context, const Arguments& arguments) {
    const Path file = context.path(arguments.positional(0));
    const ReceiptReading reading = co_await readReceipt(context, file);
    if (context.wantsJson()) {
        context.print(readingJson(reading));
        co_return exitDone;
    }
    for (const OCRLine& line : reading.lines) context.out().writeLine(printable(line.text));
    for (const std::string& line : readingLines(reading)) context.say(line);
    co_return exitDone;
}

void answer(CommandContext& context, const CrumbReceiptExporter::Exported& exported) {
    const ReceiptPackage& package = exported.package;
    if (context.wantsJson()) {
        context.print({{"path", displayName(exported.folder)},
                       {"originalsCopied", package.originalsCopied},
                       {"originalsMissing", package.originalsMissing},
                       {"needReview", package.needReview}});
        return;
    }
    const ReceiptExportNotice notice = receiptExportNotice(package);
    context.out().writeLine(printable(displayName(exported.folder)));
    context.say(notice.title + ": " + notice.text);
}

Coroutine<int> runExport(CommandContext& context, const Arguments& arguments) {
    auto receipts = co_await OpenReceipts::forReading(context);
    try {
        const auto operation = CrumbReceiptExporter::exportTo(
            context.platform(), context.layout(), *receipts.service().receipts(),
            context.path(arguments.positional(0)));
        const CrumbReceiptExporter::Exported exported = co_await context.resultOf(operation);
        answer(context, exported);
        co_return exitDone;
    } catch (const Cancelled&) {
        throw;
    } catch (const Error& error) {
        throw Error("Unable to Export Receipts: " + error.description());
    }
}

}  // namespace

std::vector<Command> receiptImportCommands() {
    return {
        {.name = "receipts import",
         .summary = "Take receipts in and read merchant, date and total",
         .examples = {{"receipts import lunch.jpg hotel.pdf", "two at once"}},
         .positionals = {{.name = "FILE",
                          .help = "images and PDFs; they are copied, never changed",
                          .repeats = true,
                          .offers = Offers::files}},
         .notes = "What was read is a proposal: every receipt stays flagged for review.",
         .run = runImport},
        {.name = "receipts from-memory",
         .summary = "Take receipts from memories that are images or PDFs",
         .examples = {{"receipts from-memory 3F2A91C4", "the memory stays as it is"}},
         .positionals = {{.name = "ID",
                          .help = "ids of memories, or their beginnings",
                          .repeats = true}},
         .notes = "NOOKERY preserves your saved memory. Receipts keeps its own unchanged copy for "
                  "records and reports.",
         .run = runFromMemory},
        {.name = "receipts recognize",
         .summary = "Print the lines read from a file, and what they say; keeps nothing",
         .examples = {{"receipts recognize lunch.jpg", "why a total was or was not found"}},
         .positionals = {{.name = "FILE", .help = "an image or a PDF", .offers = Offers::files}},
         .run = runRecognize},
        {.name = "receipts export",
         .summary = "Everything your accountant needs, organized in one folder",
         .examples = {{"receipts export ~/Documents", "makes a new folder in it"}},
         .positionals = {{.name = "FOLDER",
                          .help = "a folder that exists",
                          .offers = Offers::files}},
         .notes = "Your saved receipts remain unchanged. All records are included.",
         .run = runExport},
    };
}

}  // namespace nookery::cli
