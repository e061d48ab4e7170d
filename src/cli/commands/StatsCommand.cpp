#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <map>

#include "cli/commands/Commands.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"
#include "collection/inbox/CloudInboxWatcher.h"
#include "collection/inbox/InboxScan.h"
#include "collection/safety/SnapshotRepository.h"
#include "platform/CloudContainer.h"
#include "platform/TextEmbedder.h"

namespace nookery::cli {
namespace {

struct FolderSize {
    std::size_t fileCount = 0;
    std::int64_t byteCount = 0;
};

FolderSize sizeOf(FileSystem& files, const Path& folder) {
    FolderSize size;
    if (!files.statusFollowingLinks(folder)) return size;
    walkTree(files, folder, [&](const Path& relative, FileType) {
        const auto status = files.status(folder / relative);
        if (!status) return;
        ++size.fileCount;
        size.byteCount += status->byteCount;
    });
    return size;
}

std::int64_t databaseByteCount(FileSystem& files, const LibraryLayout& layout) {
    std::int64_t byteCount = 0;
    for (const char* suffix : {"", "-wal"}) {
        const auto status = files.status(layout.database().native() + suffix);
        if (status) byteCount += status->byteCount;
    }
    return byteCount;
}

OrderedJson kindCounts(const CrumbStore& store) {
    OrderedJson counts = OrderedJson::object();
    for (const CrumbKind kind : {CrumbKind::text, CrumbKind::url, CrumbKind::image, CrumbKind::file,
                                 CrumbKind::activity}) {
        counts[std::string(rawValue(kind))] = 0;
    }
    for (const auto& item : *store.items()) {
        auto& count = counts[std::string(rawValue(item->kind))];
        count = count.get<std::size_t>() + 1;
    }
    return counts;
}

OrderedJson newestSnapshot(CommandContext& context) {
    const SnapshotRepository shelf(context.platform().files, context.layout().snapshots());
    const auto name = shelf.newest(context.now());
    return name ? OrderedJson(*name) : OrderedJson();
}

/// What lies in both inboxes; an inbox that cannot be looked at is told as such.
OrderedJson inboxWaiting(CommandContext& context) {
    const Platform& platform = context.platform();
    std::vector<Path> inboxes{context.layout().inbox()};
    const auto container = platform.cloud.locate().container;
    if (container) inboxes.push_back(cloudInboxFolder(*container));
    OrderedJson list = OrderedJson::array();
    const auto add = [&](const Path& path, const std::string& message) {
        list.push_back({{"source", displayName(path)}, {"message", message}});
    };
    for (const Path& inbox : inboxes) {
        try {
            if (inbox != inboxes.front()) usableCloudInbox(platform.files, *container);
            for (const auto& entry : waitingInInbox(platform.files, platform.cloud, inbox)) {
                add(entry.path, entry.reason);
            }
        } catch (const Error& error) {
            add(inbox, error.description());
        }
    }
    return list;
}

/// Those that nobody has dismissed.
std::size_t openProblemCount(CommandContext& context) {
    const ProblemList& all = *context.workspace().problems().all();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [](const KnownProblem& known) { return !known.isDismissed; }));
}

Coroutine<OrderedJson> gather(CommandContext& context) {
    const auto start = std::chrono::steady_clock::now();
    CrumbStore& store = *co_await context.open(LibraryAccess::reading);
    const std::chrono::duration<double, std::milli> elapsed =
        std::chrono::steady_clock::now() - start;
    FileSystem& files = context.platform().files;
    const auto measuring =
        startOperation(context.platform().filesQueue, context.platform().mainQueue,
                       [&files, items = context.layout().items()](const OperationControl&) {
                           return sizeOf(files, items);
                       });
    const FolderSize originals = co_await context.resultOf(measuring);
    const TextEmbedder* embedder = context.platform().embedder;
    co_return {{"library", displayName(context.layout().library())},
               {"memories", store.items()->size()},
               {"kinds", kindCounts(store)},
               {"groups", store.groups()->size()},
               {"originals", originals.fileCount},
               {"originalsByteCount", originals.byteCount},
               {"databaseByteCount", databaseByteCount(files, context.layout())},
               {"newestSnapshot", newestSnapshot(context)},
               {"indexByteCount", store.retrieval().indexByteCount()},
               {"startMillis", elapsed.count()},
               {"inboxWaiting", inboxWaiting(context)},
               {"waiting", *store.indexingCount()},
               {"unreadable", store.enrichment().failures().size()},
               {"problems", openProblemCount(context)},
               {"meaning", embedder ? OrderedJson(embedder->modelName()) : OrderedJson()}};
}

void printRow(CommandContext& context, std::string_view label, const std::string& value) {
    context.out().writeLine(context.style().inDim(padded(label, 18)) + value);
}

Coroutine<int> runStats(CommandContext& context, const Arguments&) {
    const OrderedJson stats = co_await gather(context);
    if (context.wantsJson()) {
        context.print(stats);
        co_return exitDone;
    }
    const auto bytes = [&](const char* key) { return spokenByteCount(stats[key].get<double>()); };
    std::string kinds;
    for (const auto& [kind, count] : stats["kinds"].items()) {
        if (count == 0) continue;
        kinds += fmt::format("{}{} {}", kinds.empty() ? "" : ", ", count.get<std::size_t>(), kind);
    }
    printRow(context, "library", printable(stats["library"].get<std::string>()));
    printRow(context, "memories",
             fmt::format("{}{}", stats["memories"].get<std::size_t>(),
                         kinds.empty() ? "" : " (" + kinds + ")"));
    printRow(context, "groups", stats["groups"].dump());
    printRow(
        context, "originals",
        fmt::format("{}, {}", stats["originals"].get<std::size_t>(), bytes("originalsByteCount")));
    printRow(context, "database", bytes("databaseByteCount"));
    printRow(
        context, "newest snapshot",
        stats["newestSnapshot"].is_null() ? "none" : stats["newestSnapshot"].get<std::string>());
    printRow(context, "index in memory", bytes("indexByteCount"));
    printRow(context, "start-up", fmt::format("{:.1f} ms", stats["startMillis"].get<double>()));
    printRow(context, "in the inboxes", counted(stats["inboxWaiting"].size(), "entry", "entries"));
    for (const auto& entry : stats["inboxWaiting"]) {
        context.say(printable(entry["source"].get<std::string>() + ": " +
                              entry["message"].get<std::string>()));
    }
    printRow(context, "waiting",
             counted(stats["waiting"].get<std::size_t>(), "memory", "memories") +
                 " to be read (nookery enrich)");
    if (stats["unreadable"] != 0) {
        printRow(context, "unreadable",
                 counted(stats["unreadable"].get<std::size_t>(), "original", "originals"));
    }
    if (stats["problems"] != 0) {
        printRow(context, "problems", stats["problems"].dump() + " (nookery problems)");
    }
    printRow(context, "meaning",
             stats["meaning"].is_null() ? "off: the sentence encoder is not installed"
                                        : stats["meaning"].get<std::string>());
    co_return exitDone;
}

}  // namespace

Command statsCommand() {
    return {.name = "stats",
            .summary = "Show how much the library holds, and what it takes",
            .examples = {{"stats", "counts, sizes, newest snapshot, start-up time"}},
            .run = runStats};
}

}  // namespace nookery::cli
