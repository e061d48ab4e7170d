#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "cli/commands/Commands.h"
#include "cli/commands/Conflicts.h"
#include "cli/views/Ids.h"
#include "cli/views/ReportView.h"
#include "fieldreports/FieldReportWorkingCopy.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

using Draft = NookeryReportWorkingDraft;

/// "LEFT=RIGHT" at its first sign of equality, as valid UTF-8.
std::pair<std::string, std::string> splitPair(const std::string& option, const std::string& given) {
    const std::string text = toValidUtf8(given);
    const std::size_t sign = text.find('=');
    if (sign == std::string::npos) {
        throw UsageError(fmt::format("--{} needs \"=\": \"{}\".", option, text));
    }
    return {text.substr(0, sign), text.substr(sign + 1)};
}

void setField(Draft& draft, const std::string& field, const std::string& value) {
    if (field == "reportDate") {
        const auto date = parseIso8601(value);
        if (!date) throw UsageError(fmt::format("\"{}\" is no date: 2026-03-01 is.", value));
        draft.reportDate = *date;
        return;
    }
    const std::pair<std::string_view, std::string Draft::*> fields[]{
        {"title", &Draft::title},
        {"clientProject", &Draft::clientProject},
        {"location", &Draft::location},
        {"notes", &Draft::notes}};
    for (const auto& [name, member] : fields) {
        if (field != name) continue;
        draft.*member = value;
        return;
    }
    throw UsageError(fmt::format(
        "There is no field \"{}\": title, clientProject, location, reportDate, notes.", field));
}

Draft::Media& mediaIn(Draft& draft, const std::string& prefix) {
    const auto found = onlyOne(draft.media, prefix, "attachment",
                               [](const Draft::Media& media) { return media.id; });
    return *findMedia(draft, found.id);
}

void change(Draft& draft, const Arguments& arguments) {
    for (const std::string& given : arguments.values("set")) {
        const auto [field, value] = splitPair("set", given);
        setField(draft, field, value);
    }
    for (const auto& media : arguments.values("include")) mediaIn(draft, media).isIncluded = true;
    for (const auto& media : arguments.values("exclude")) mediaIn(draft, media).isIncluded = false;
    for (const std::string& given : arguments.values("caption")) {
        const auto [media, caption] = splitPair("caption", given);
        mediaIn(draft, media).caption = caption;
    }
    for (const std::string& given : arguments.values("move")) {
        const auto [media, direction] = splitPair("move", given);
        if (direction != "up" && direction != "down") {
            throw UsageError("--move needs MEDIA=up or MEDIA=down.");
        }
        moveMedia(draft, mediaIn(draft, media).id,
                  direction == "up" ? MoveDirection::up : MoveDirection::down);
    }
}

bool isEdit(const Arguments& arguments) {
    const auto options = {"set", "include", "exclude", "caption", "move", "add"};
    return std::any_of(options.begin(), options.end(),
                       [&](const char* option) { return arguments.has(option); });
}

Coroutine<> addFiles(CommandContext& context, const FieldReportWorkingCopy& workingCopy,
                     Draft& draft, const std::vector<std::string>& named) {
    std::vector<Path> files;
    for (const std::string& file : named) files.push_back(context.path(file));
    auto added =
        co_await context.resultOf(nookery::addFiles(context.platform(), workingCopy, files));
    for (auto& media : added) {
        draft.media.push_back(std::move(media));
    }
}

Coroutine<Draft> edited(CommandContext& context, const NookeryReceivedFieldReport& report,
                        const Arguments& arguments) {
    FieldReportWorkingCopy workingCopy(context.platform().files, context.layout(), report);
    Draft draft = workingCopy.draft();
    if (!isEdit(arguments)) co_return draft;
    ReportEdits* edits = co_await openReportEdits(context);
    const Draft base = workingCopy.draft();
    draft = base;
    change(draft, arguments);
    if (arguments.has("add"))
        co_await addFiles(context, workingCopy, draft, arguments.values("add"));
    const auto saving = edits->saveDraft(report.id, base, draft);
    const PatchOutcome outcome = co_await context.resultOf(saving);
    refuseConflicts(outcome);
    co_return draft;
}

Coroutine<int> runDraft(CommandContext& context, const Arguments& arguments) {
    const auto report = findReport(context, arguments.positional(0));
    const Draft draft = co_await edited(context, report, arguments);
    if (context.wantsJson()) {
        context.print(draftJson(report, draft));
    } else {
        printDraft(context, draft);
        context.say("Working copy · Original field evidence preserved");
    }
    co_return exitDone;
}

}  // namespace

Command reportDraftCommand() {
    return {
        .name = "reports draft",
        .summary = "Show or change a report's working copy",
        .examples = {{"reports draft 3F2A91C4", "what is in it"},
                     {"reports draft 3F2A91C4 --set notes='All tight.' --exclude 77B0E1D2",
                      "other notes, one photograph less"},
                     {"reports draft 3F2A91C4 --add plan.pdf --move 0A1B2C3D=up",
                      "one more file, another order"}},
        .positionals = {{"ID", "the report's id, or its beginning"}},
        .options = {{"set", "FIELD=VALUE", "title, clientProject, location, reportDate or notes",
                     true},
                    {"include", "MEDIA", "take an attachment into the report again", true},
                    {"exclude", "MEDIA", "leave an attachment out; the original is preserved",
                     true},
                    {"caption", "MEDIA=TEXT", "caption or observation", true},
                    {"move", "MEDIA=up|down", "by one place", true},
                    {"add", "FILE", "copy a photograph or file into the working copy", true,
                     Offers::files}},
        .notes = "MEDIA is an attachment's id or its beginning. What was received never changes.",
        .run = runDraft};
}

}  // namespace nookery::cli
