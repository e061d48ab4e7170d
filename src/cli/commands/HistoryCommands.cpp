#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/context/CommandContext.h"
#include "cli/output/TextLayout.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

std::string_view stateWord(StepState state) {
    switch (state) {
        case StepState::done:
            return "done";
        case StepState::undone:
            return "undone";
        default:
            return "under way";
    }
}

OrderedJson stepJson(const StepSummary& step) {
    return {{"name", step.name},
            {"at", toIso8601(step.at)},
            {"changes", step.changeCount},
            {"state", stateWord(step.state)}};
}

/// Newest first: the first that is done is the next to be undone.
void list(CommandContext& context, const std::vector<StepSummary>& steps) {
    OrderedJson documents = OrderedJson::array();
    for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
        documents.push_back(stepJson(*step));
        if (context.wantsJson()) continue;
        context.out().writeLine(fmt::format(
            "{}  {}{}", context.style().inDim(exactDate(step->at)), printable(step->name),
            step->state == StepState::undone ? context.style().inDim("  (undone)") : ""));
    }
    if (context.wantsJson()) {
        context.print({{"steps", std::move(documents)}});
    } else if (steps.empty()) {
        context.say("There is nothing to undo.");
    }
}

void answer(CommandContext& context, const UndoOutcome& outcome, const char* key) {
    if (context.wantsJson()) {
        context.print({{key,
                        {{"name", outcome.name},
                         {"at", toIso8601(outcome.at)},
                         {"changes", outcome.changeCount}}},
                       {"left", outcome.remainingCount}});
        return;
    }
    context.out().writeLine(fmt::format("{}: {}", key, printable(outcome.name)));
    context.say(fmt::format("{} left.", counted(outcome.remainingCount, "step", "steps")));
}

/// What would be lost, as one text to be agreed to.
std::string lossesOf(const UndoPreview& preview) {
    std::string text;
    for (const std::string& sentence : preview.lost) {
        text += (text.empty() ? "" : " ") + printable(sentence);
    }
    return text;
}

Coroutine<int> move(CommandContext& context, Direction direction) {
    History& history = context.workspace().history();
    const bool isUndo = direction == Direction::undo;
    OperationPointer<UndoPreview> previewing;
    previewing = isUndo ? history.previewUndo() : history.previewRedo();
    const UndoPreview preview = co_await context.resultOf(previewing);
    if (preview.needsConsent()) {
        const std::string title =
            fmt::format("{} \"{}\"?", isUndo ? "Undo" : "Redo", printable(preview.name));
        const std::string losses = lossesOf(preview);
        co_await context.demandConsent(title, losses);
    }
    OperationPointer<UndoOutcome> moving;
    moving = isUndo ? history.undo(preview) : history.redo(preview);
    const UndoOutcome outcome = co_await context.resultOf(moving);
    answer(context, outcome, isUndo ? "undone" : "redone");
    co_return exitDone;
}

Coroutine<int> runUndo(CommandContext& context, const Arguments& arguments) {
    co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    if (!arguments.has("list")) co_return co_await move(context, Direction::undo);
    const auto reading = context.workspace().history().recover();
    co_await context.resultOf(reading);
    list(context, context.workspace().history().steps());
    co_return exitDone;
}

Coroutine<int> runRedo(CommandContext& context, const Arguments&) {
    co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    co_return co_await move(context, Direction::redo);
}

}  // namespace

std::vector<Command> historyCommands() {
    const Option yes{"yes", "", "do not ask, also where something would be lost"};
    return {{.name = "undo",
             .summary = "Take back the last change that you made",
             .examples = {{"undo", "says what it took back"},
                          {"undo --list", "the changes that can be taken back, newest first"}},
             .options = {{"list", "", "only list the changes"}, yes},
             .notes = "Changes are kept for 30 days, 100 of them at most. What arrived by itself "
                      "stays. Where something has changed since, or is lost, undo names it and "
                      "asks first.",
             .run = runUndo},
            {.name = "redo",
             .summary = "Make the change again that was undone last",
             .examples = {{"redo", "as long as nothing else was changed"}},
             .options = {yes},
             .run = runRedo}};
}

}  // namespace nookery::cli
