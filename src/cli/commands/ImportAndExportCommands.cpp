#include <fmt/format.h>

#include <optional>
#include <variant>

#include "cli/commands/Commands.h"
#include "cli/context/CommandContext.h"
#include "cli/output/TextLayout.h"
#include "collection/capture/JsonLines.h"
#include "foundation/DurableFile.h"

namespace nookery::cli {
namespace {

Coroutine<std::unique_ptr<ReadableFile>> openImport(CommandContext& context, std::string name) {
    if (name == "-") co_return co_await context.inputFile();
    FileSystem& files = context.platform().files;
    const auto real = files.resolve(context.path(name));
    if (!real) throw FileError("read", name, ENOENT);
    co_return files.openForReading(*real);
}

void answer(CommandContext& context, const ImportReport& report) {
    if (context.wantsJson()) {
        OrderedJson failed = OrderedJson::array();
        for (const ImportFailure& failure : report.failures) {
            failed.push_back({{"line", failure.line}, {"message", failure.message}});
        }
        context.print({{"added", report.addedCount}, {"failed", std::move(failed)}});
        return;
    }
    for (const ImportFailure& failure : report.failures) {
        context.say(printable(fmt::format("line {}: {}", failure.line, failure.message)));
    }
    context.out().writeLine(fmt::format("{} added, {} failed.",
                                        counted(report.addedCount, "memory", "memories"),
                                        counted(report.failures.size(), "line", "lines")));
}

Coroutine<int> runImport(CommandContext& context, const Arguments& arguments) {
    auto opening = openImport(context, arguments.positional(0));
    auto file = co_await opening;
    co_await context.open(LibraryAccess::writing);
    const auto operation = context.workspace().edits().import(std::move(file));
    const ImportReport report = co_await context.resultOf(operation);
    answer(context, report);
    if (report.cancelled) co_return exitInterrupted;
    co_return report.failures.empty() ? exitDone : exitFailed;
}

/// Writes each line of the library and counts them.
std::size_t writeLines(CommandContext& context, const CrumbStore& store,
                       const std::function<void(std::string_view)>& write) {
    std::size_t count = 0;
    for (const auto& item : *store.items()) {
        if (context.isInterrupted()) throw Cancelled();
        write(jsonLineOf(*item, store.tagsOf(item->id)) + "\n");
        context.messages().progress(fmt::format("{} memories out", ++count));
    }
    context.messages().endProgress();
    return count;
}

/// Beside the wished place first, so that the file is whole or not there.
std::size_t exportToFile(CommandContext& context, const CrumbStore& store, const Path& path) {
    FileSystem& files = context.platform().files;
    const Path temporary = temporaryBeside(path);
    const auto file = files.createFile(temporary);
    try {
        std::string buffer;
        const auto flush = [&] {
            file->write(std::as_bytes(std::span(buffer)));
            buffer.clear();
        };
        const std::size_t count = writeLines(context, store, [&](std::string_view line) {
            buffer += line;
            if (buffer.size() > (1u << 20)) flush();
        });
        flush();
        file->sync();
        file->close();
        files.rename(temporary, path);
        files.syncDirectory(path.parent_path().empty() ? Path(".") : path.parent_path());
        return count;
    } catch (...) {
        removeTree(files, temporary);
        throw;
    }
}

Coroutine<int> runExport(CommandContext& context, const Arguments& arguments) {
    const std::string name = arguments.positional(0);
    if (name == "-" && context.wantsJson()) {
        throw UsageError("export to standard output is JSON lines already: leave --json out.");
    }
    const Path path = context.path(name);
    const bool exists = name != "-" && context.platform().files.status(path).has_value();
    if (exists && !arguments.has("replace")) {
        throw Error(
            fmt::format("{} is there already; --replace writes over it.", displayName(Path(name))));
    }
    const CrumbStore& store = *co_await context.open(LibraryAccess::reading);
    if (name == "-") {
        writeLines(context, store, [&](std::string_view line) { context.out().write(line); });
        co_return exitDone;
    }
    const std::size_t count = exportToFile(context, store, path);
    if (context.wantsJson()) {
        context.print({{"path", displayName(Path(name))}, {"records", count}});
    } else {
        context.say(counted(count, "memory", "memories") + " written.");
    }
    co_return exitDone;
}

}  // namespace

std::vector<Command> importAndExportCommands() {
    const std::string keys =
        "One JSON object a line, with the keys title, note, text, tags, url, created (ISO 8601) "
        "and kind.";
    return {{.name = "import",
             .summary = "Take in memories from a file of JSON lines",
             .examples = {{"import notes.jsonl", "a memory a line"}},
             .positionals = {{.name = "FILE",
                              .help = "the file; - for standard input",
                              .offers = Offers::files}},
             .notes = keys + " Every key may be missing, others are ignored. A line that cannot be "
                             "read is named by its number, and the others are taken in.",
             .run = runImport},
            {.name = "export",
             .summary = "Write all memories into a file of JSON lines",
             .examples = {{"export notes.jsonl", "for other programs, or for import"},
                          {"export - | grep cake", "to another program"}},
             .positionals = {{.name = "FILE",
                              .help = "the file; - for standard output",
                              .offers = Offers::files}},
             .options = {{"replace", "", "write over a file that is there"}},
             .notes = keys + " Originals are not part of it; a snapshot holds them.",
             .run = runExport}};
}

}  // namespace nookery::cli
