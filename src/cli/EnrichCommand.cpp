#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/Enrichment.h"
#include "cli/MemoryView.h"
#include "cli/TextLayout.h"
#include "collection/Sidecar.h"
#include "platform/TextEmbedder.h"

namespace nookery::cli {

EnrichmentOutcome finishEnrichment(Session& session, CrumbStore& store) {
    const int waiting = *store.indexingCount();
    if (session.platform().embedder == nullptr) return {.done = 0, .pending = waiting};
    store.startBackgroundWork();
    const auto subscription = store.indexingCount().subscribe([&](int left) {
        session.messages().progress(fmt::format("reading for meaning: {} left", left));
    });
    session.waitUntil([&] { return session.isInterrupted() || *store.indexingCount() == 0; });
    store.pauseBackgroundWork();
    return {.done = waiting - *store.indexingCount(), .pending = *store.indexingCount()};
}

namespace {

OrderedJson failures(const LibraryLayout& layout) {
    OrderedJson failed = OrderedJson::array();
    for (const PendingWork& work : Sidecar::openForReading(layout.sidecar()).pendingWork()) {
        if (!work.lastFailure) continue;
        failed.push_back({{"id", work.memoryID.toString()},
                          {"task", work.task},
                          {"message", *work.lastFailure}});
    }
    return failed;
}

int runEnrich(Session& session, const Arguments& arguments) {
    CrumbStore& store = session.open(LibraryAccess::writing);
    const auto ids = findMemories(store, arguments.positionals());
    if (!ids.empty()) store.requestEnrichment(ids);
    const EnrichmentOutcome outcome = finishEnrichment(session, store);
    if (session.wantsJson()) {
        session.print({{"done", outcome.done},
                       {"pending", outcome.pending},
                       {"failed", failures(session.layout())}});
    } else {
        session.out().writeLine(
            fmt::format("{} read for meaning, {} left.",
                        counted(static_cast<std::size_t>(outcome.done), "memory", "memories"),
                        outcome.pending));
    }
    if (session.platform().embedder == nullptr) {
        session.say(
            "Finding by meaning is off: the sentence encoder is not installed. Everything else "
            "works.");
    }
    return session.isInterrupted() ? exitInterrupted : exitDone;
}

}  // namespace

Command enrichCommand() {
    return {.name = "enrich",
            .summary = "Do the background work that waits, such as reading for meaning",
            .examples = {{"enrich", "catch up after adding many files"}},
            .positionals = {{.name = "ID",
                             .help = "do these memories anew, also when they were done before",
                             .required = false,
                             .repeats = true}},
            .options = {{"wait", "", "until nothing waits, which is what happens anyway"}},
            .run = runEnrich};
}

}  // namespace nookery::cli
