#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/commands/Enrichment.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"
#include "platform/TextEmbedder.h"

namespace nookery::cli {

Coroutine<EnrichmentReport> finishEnrichment(CommandContext& context, CrumbStore& store) {
    co_return co_await context.resultOf(store.enrichment().workOff());
}

namespace {

OrderedJson failuresJson(const std::vector<EnrichmentFailure>& failures) {
    OrderedJson list = OrderedJson::array();
    for (const EnrichmentFailure& failure : failures) {
        list.push_back({{"id", failure.id.toString()},
                        {"message", failure.message},
                        {"givenUp", failure.isGivenUp}});
    }
    return list;
}

void sayFailures(CommandContext& context, const CrumbStore& store,
                 const std::vector<EnrichmentFailure>& failures) {
    std::vector<Uuid> ids;
    for (const EnrichmentFailure& failure : failures) ids.push_back(failure.id);
    const ShortIds shortIds = shortIdsOf(store, ids);
    for (const EnrichmentFailure& failure : failures) {
        context.say(fmt::format("not read: {} ({}): {}{}", shortIds(failure.id),
                                shownTitle(*store.item(failure.id)), printable(failure.message),
                                failure.isGivenUp ? "" : " It is tried again next time."));
    }
}

void sayWhatIsOff(CommandContext& context) {
    if (context.platform().embedder == nullptr) {
        context.say(
            "Finding by meaning is off: the sentence encoder is not installed. Everything else "
            "works.");
    }
    if (context.platform().textRecognizer == nullptr) {
        context.say(
            "Text in images is not read: Tesseract's English data is not installed. Everything "
            "else works.");
    }
}

Coroutine<int> runEnrich(CommandContext& context, const Arguments& arguments) {
    CrumbStore& store = *co_await context.open(LibraryAccess::writing, LibraryExtent::records);
    const auto ids = findMemories(store, arguments.positionals());
    if (!ids.empty()) store.enrichment().request(ids);
    const EnrichmentReport report = co_await finishEnrichment(context, store);
    const auto failures = store.enrichment().failures();
    if (context.wantsJson()) {
        context.print({{"done", report.doneCount},
                       {"pending", report.pendingCount},
                       {"failed", failuresJson(failures)}});
    } else {
        context.out().writeLine(
            fmt::format("{} worked through, {} left.",
                        counted(static_cast<std::size_t>(report.doneCount), "memory", "memories"),
                        report.pendingCount));
        sayFailures(context, store, failures);
    }
    sayWhatIsOff(context);
    co_return context.isInterrupted() ? exitInterrupted : exitDone;
}

}  // namespace

Command enrichCommand() {
    return {.name = "enrich",
            .summary = "Read what was taken in: text in images, documents, media, meaning",
            .examples = {{"enrich", "catch up after adding many files"}},
            .positionals = {{.name = "ID",
                             .help = "do these memories anew, also when they were done before",
                             .required = false,
                             .repeats = true}},
            .options = {{"wait", "", "until nothing waits, which is what happens anyway"}},
            .notes =
                "An original that cannot be read is tried again at the next runs, three times "
                "in all, and after that only when it is named here.",
            .run = runEnrich};
}

}  // namespace nookery::cli
