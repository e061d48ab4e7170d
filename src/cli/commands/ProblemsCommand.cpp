#include <fmt/format.h>

#include <algorithm>

#include "cli/commands/Commands.h"
#include "cli/context/CommandContext.h"
#include "cli/output/TextLayout.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

ProblemList notDismissed(const ProblemList& all) {
    ProblemList shown;
    std::copy_if(all.begin(), all.end(), std::back_inserter(shown),
                 [](const KnownProblem& known) { return !known.isDismissed; });
    return shown;
}

void print(CommandContext& context, const KnownProblem& known) {
    const Style& style = context.style();
    const Problem& problem = known.problem;
    context.out().writeLine(
        fmt::format("{}  {}", style.inDim(known.id), style.inTitle(printable(problem.message))));
    const std::string since =
        known.count == 1 ? exactDate(known.lastSeen)
                         : fmt::format("{} times from {} to {}", known.count,
                                       exactDate(known.firstSeen), exactDate(known.lastSeen));
    std::string where = since;
    if (!problem.subject.path.empty()) {
        where += " · " + printable(displayName(problem.subject.path));
    }
    context.out().writeLine("            " + style.inDim(where));
    if (!problem.advice.empty()) {
        context.out().writeLine("            " + printable(problem.advice));
    }
}

void answer(CommandContext& context, const ProblemList& shown) {
    OrderedJson documents = OrderedJson::array();
    for (const KnownProblem& known : shown) {
        documents.push_back(toJson(known));
        if (!context.wantsJson()) print(context, known);
    }
    if (context.wantsJson()) {
        context.print({{"problems", std::move(documents)}});
    } else if (shown.empty()) {
        context.say("There is no problem.");
    }
}

Coroutine<int> runProblems(CommandContext& context, const Arguments& arguments) {
    const auto ids = arguments.values("dismiss");
    const LibraryAccess access = ids.empty() ? LibraryAccess::reading : LibraryAccess::writing;
    co_await context.open(access, LibraryExtent::onDemand);
    Problems& problems = context.workspace().problems();
    for (const std::string& id : ids) {
        if (!problems.dismiss(id)) {
            throw Error(fmt::format("There is no problem \"{}\"; nookery problems lists them.",
                                    printable(id)));
        }
    }
    answer(context, notDismissed(*problems.all()));
    co_return exitDone;
}

}  // namespace

Command problemsCommand() {
    return {.name = "problems",
            .summary = "List what went wrong in the background, and what to do about it",
            .examples = {{"problems", "those that are not mended yet"},
                         {"problems --dismiss 1f2e3d4c5b", "not to be told of it again"}},
            .options = {{"dismiss", "ID", "leave it out until it happens again", true}},
            .run = runProblems};
}

}  // namespace nookery::cli
