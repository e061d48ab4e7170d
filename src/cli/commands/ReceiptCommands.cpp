#include <fmt/format.h>

#include <algorithm>

#include "cli/commands/Commands.h"
#include "cli/commands/Conflicts.h"
#include "cli/output/TextLayout.h"
#include "cli/views/ReceiptReading.h"
#include "cli/views/ReceiptView.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

Coroutine<int> runList(CommandContext& context, const Arguments& arguments) {
    ReceiptFilter filter{.query = arguments.text("query").value_or("")};
    if (const auto raw = arguments.value("class")) {
        filter.classification = classificationFromRawValue(*raw);
    }
    if (const auto raw = arguments.value("type")) filter.type = receiptTypeFromRawValue(*raw);
    auto receipts = co_await OpenReceipts::forReading(context);
    const ReceiptList shown = filtered(*receipts.service().receipts(), filter);
    if (context.wantsJson()) {
        OrderedJson list = OrderedJson::array();
        for (const auto& receipt : shown) list.push_back(receiptJson(*receipt));
        context.print({{"count", shown.size()}, {"receipts", std::move(list)}});
        co_return exitDone;
    }
    printReceiptTable(context, receipts.service(), shown);
    if (shown.empty()) context.say("No receipt to list.");
    co_return exitDone;
}

Coroutine<int> runShow(CommandContext& context, const Arguments& arguments) {
    auto receipts = co_await OpenReceipts::forReading(context);
    const CrumbReceipt receipt = receipts.find(arguments.positional(0));
    if (!arguments.has("reading")) co_return answerWith(context, receipts.service(), receipt.id);
    if (!receipt.originalFilePath) throw Error("The receipt has no original file to be read.");
    const ReceiptReading reading = co_await readReceipt(context, *receipt.originalFilePath);
    if (context.wantsJson()) {
        OrderedJson json = receiptJson(receipt);
        json["reading"] = readingJson(reading);
        context.print(json);
        co_return exitDone;
    }
    printReceipt(context, receipt);
    context.out().writeLine("");
    for (const std::string& line : readingLines(reading)) context.out().writeLine(line);
    co_return exitDone;
}

CalendarDay givenDay(const std::string& text) {
    const auto day = parseCalendarDay(text);
    if (!day) {
        throw UsageError(fmt::format("\"{}\" is no date: give one as 2027-03-01.", text));
    }
    return *day;
}

void refuseBoth(const Arguments& arguments, const std::string& one, const std::string& other) {
    if (arguments.has(one) && arguments.has(other)) {
        throw UsageError(fmt::format("--{} and --{} exclude each other.", one, other));
    }
}

void change(CrumbReceipt& receipt, const Arguments& arguments, const ReceiptEdits& edits) {
    if (const auto raw = arguments.value("type")) receipt.type = *receiptTypeFromRawValue(*raw);
    if (const auto raw = arguments.value("class")) {
        receipt.classification = *classificationFromRawValue(*raw);
    }
    if (auto merchant = arguments.text("merchant")) receipt.merchant = std::move(*merchant);
    if (const auto amount = arguments.text("amount")) {
        receipt.totalCents = parseAmountEntry(*amount);
    }
    if (arguments.has("no-amount")) receipt.totalCents.reset();
    if (const auto date = arguments.text("date")) receipt.purchaseDate = givenDay(*date);
    if (arguments.has("no-date")) receipt.purchaseDate.reset();
    if (const auto name = arguments.text("category")) {
        receipt.category = edits.knownCategory(*name);
    }
    if (arguments.has("no-category")) receipt.category.reset();
    if (auto note = arguments.text("note")) receipt.note = std::move(*note);
    if (arguments.has("flag")) receipt.needsReview = true;
    if (arguments.has("unflag")) receipt.needsReview = false;
}

const std::vector<Option>& editOptions() {
    static const std::vector<Option> options{
        {.name = "type",
         .value = "T",
         .help = "what kind of document it is",
         .offers = Offers::words,
         .words = receiptTypeWords()},
        {"merchant", "M", "merchant or provider; empty for none"},
        {"amount", "A", "the total in dollars, such as 1,234.50; empty for none"},
        {"no-amount", "", "the amount is not known"},
        {"date", "YYYY-MM-DD", "the date on the receipt"},
        {"no-date", "", "the date is not known"},
        {"category", "C", "one that \"receipts categories\" lists"},
        {"no-category", "", "no category"},
        {.name = "class",
         .value = "C",
         .help = "whose spending it is",
         .offers = Offers::words,
         .words = classificationWords()},
        {"note", "N", "the note"},
        {"flag", "", "flag it for review"},
        {"unflag", "", "it has been reviewed"}};
    return options;
}

Coroutine<int> runEdit(CommandContext& context, const Arguments& arguments) {
    const auto& options = editOptions();
    const bool changesSomething = std::any_of(
        options.begin(), options.end(), [&](const Option& own) { return arguments.has(own.name); });
    if (!changesSomething) throw UsageError("receipts edit needs to be told what to change.");
    refuseBoth(arguments, "amount", "no-amount");
    refuseBoth(arguments, "date", "no-date");
    refuseBoth(arguments, "category", "no-category");
    refuseBoth(arguments, "flag", "unflag");
    auto receipts = co_await OpenReceipts::forWriting(context);
    ReceiptEdits& edits = context.workspace().receipts().edits();
    const CrumbReceipt base = receipts.find(arguments.positional(0));
    CrumbReceipt edited = base;
    change(edited, arguments, edits);
    const auto operation = edits.edit(base, edited);
    const PatchOutcome outcome = co_await context.resultOf(operation);
    refuseConflicts(outcome);
    co_return answerWith(context, receipts.service(), base.id);
}

Coroutine<int> runRemove(CommandContext& context, const Arguments& arguments) {
    auto receipts = co_await OpenReceipts::forWriting(context);
    const CrumbReceipt receipt = receipts.find(arguments.positional(0));
    const std::string title =
        fmt::format("Remove the record of \"{}\", {}?", printable(shownMerchant(receipt, false)),
                    shownAmount(receipt));
    const std::string text = "The receipt record will be removed. Original receipt files are kept.";
    const bool isTrial = arguments.has("dry-run");
    if (!isTrial) {
        co_await context.demandConsent(title, text);
        const auto removal = context.workspace().receipts().edits().remove(receipt.id);
        co_await context.resultOf(removal);
    }
    if (context.wantsJson()) {
        context.print({{"deleted", isTrial ? 0 : 1}, {"receipt", receiptJson(receipt)}});
    } else {
        context.out().writeLine(isTrial ? "This would be asked and done: " + title
                                        : "The receipt record was removed.");
    }
    co_return exitDone;
}

Coroutine<> addCategory(CommandContext& context, std::string name) {
    co_await OpenReceipts::forWriting(context);
    const auto operation = context.workspace().receipts().edits().addCategory(name);
    co_await context.resultOf(operation);
}

Coroutine<int> runCategories(CommandContext& context, const Arguments& arguments) {
    if (const auto added = arguments.text("add")) co_await addCategory(context, *added);
    auto receipts = co_await OpenReceipts::forReading(context);
    const auto names = receipts.service().categories();
    if (context.wantsJson()) {
        context.print({{"categories", names}});
    } else {
        for (const std::string& name : names) context.out().writeLine(printable(name));
    }
    co_return exitDone;
}

}  // namespace

std::vector<Command> receiptCommands() {
    const Positional id{"ID", "the receipt's id, or its beginning"};
    return {
        {.name = "receipts list",
         .summary = "List the receipts, newest first",
         .examples = {{"receipts list --class business", "business receipts"},
                      {"receipts list --query \"hotel 2027-03\"", "hotels in March"}},
         .options = {{.name = "class",
                      .value = "C",
                      .help = "of this classification only",
                      .offers = Offers::words,
                      .words = classificationWords()},
                     {.name = "type",
                      .value = "T",
                      .help = "of this type only",
                      .offers = Offers::words,
                      .words = receiptTypeWords()},
                     {"query", "Q", "words in merchant, category, note, date or amount"}},
         .run = runList},
        {.name = "receipts show",
         .summary = "Show all that is known of a receipt",
         .examples = {{"receipts show 3F2A91C4", "its details, and where its copy lies"},
                      {"receipts show 3F2A91C4 --reading", "whether its total can be trusted"}},
         .positionals = {id},
         .options = {{"reading", "", "read its copy again: what each value came from, and doubts"}},
         .run = runShow},
        {.name = "receipts edit",
         .summary = "Correct a receipt's details",
         .examples = {{"receipts edit 3F2A91C4 --amount 12.50 --class business --unflag",
                       "reviewed and put to business"}},
         .positionals = {id},
         .options = editOptions(),
         .notes = "Check the original receipt while correcting the details. The preserved copy is "
                  "never changed.",
         .run = runEdit},
        {.name = "receipts remove",
         .summary = "Remove a receipt's record; its original is kept",
         .examples = {{"receipts remove 3F2A91C4", "asks first"}},
         .positionals = {id},
         .options = {{"yes", "", "do not ask"}, {"dry-run", "", "only say what would happen"}},
         .run = runRemove},
        {.name = "receipts categories",
         .summary = "List the categories, or add one",
         .examples = {{"receipts categories --add Garden", "a category of your own"}},
         .options = {{"add", "NAME", "add this one"}},
         .run = runCategories},
    };
}

}  // namespace nookery::cli
