#include <fmt/format.h>

#include <optional>
#include <variant>

#include "cli/commands/Commands.h"
#include "cli/context/CommandContext.h"
#include "cli/output/TextLayout.h"
#include "workspace/LibraryExport.h"

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
    co_await context.open(LibraryAccess::writing, LibraryExtent::records);
    const auto operation = context.workspace().edits().import(std::move(file));
    const ImportReport report = co_await context.resultOf(operation);
    answer(context, report);
    if (report.cancelled) co_return exitInterrupted;
    co_return report.failures.empty() ? exitDone : exitFailed;
}

Coroutine<> writeToOutput(CommandContext& context, std::shared_ptr<LibraryExport> lines) {
    while (true) {
        const auto operation = nextPiece(context.platform(), lines);
        const std::string piece = co_await context.resultOf(operation);
        if (piece.empty()) co_return;
        context.out().write(printableJson(piece));
    }
}

void tellLeftOut(CommandContext& context, const ExportReport& report) {
    if (report.leftOutCount == 0) return;
    context.say(counted(report.leftOutCount, "protected memory was", "protected memories were") +
                " left out: what is protected stays on this computer.");
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
    const auto lines = std::make_shared<LibraryExport>(store);
    if (name == "-") {
        co_await writeToOutput(context, lines);
        tellLeftOut(context, lines->report());
        co_return exitDone;
    }
    const auto operation = startExport(context.platform(), lines, path);
    const ExportReport report = co_await context.resultOf(operation);
    if (context.wantsJson()) {
        context.print({{"path", displayName(Path(name))},
                       {"records", report.writtenCount},
                       {"leftOut", report.leftOutCount}});
    } else {
        context.say(counted(report.writtenCount, "memory", "memories") + " written.");
        tellLeftOut(context, report);
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
             .notes = keys + " Originals are not part of it; a snapshot holds them. Protected "
                             "memories, and what was derived from them, are left out and counted.",
             .run = runExport}};
}

}  // namespace nookery::cli
