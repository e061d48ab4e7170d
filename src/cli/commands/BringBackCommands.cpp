#include <fmt/format.h>

#include <charconv>

#include "cli/commands/Commands.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"
#include "foundation/Text.h"

namespace nookery::cli {
namespace {

constexpr double secondsPerDay = 86400;

/// The same fields on the machine's clock as the moment has in UTC.
Timestamp asLocal(Timestamp utc) {
    // Two steps, since the offset at the guess may differ from the offset at the result.
    Timestamp local = utc;
    for (int step = 0; step < 2; ++step) {
        const auto shown = dateFromUtc(localFields(local));
        if (!shown) return utc;
        local.secondsSince1970 += secondsBetween(*shown, utc);
    }
    return local;
}

bool namesZone(std::string_view text) {
    return text.size() > 16 && text.find_first_of("Zz+-", 16) != std::string_view::npos;
}

std::optional<Timestamp> inDays(const std::string& word, Timestamp now) {
    if (word == "tomorrow") return Timestamp{now.secondsSince1970 + secondsPerDay};
    if (!word.starts_with('+') || word.size() < 3) return std::nullopt;
    const double unit = word.back() == 'w' ? 7 : word.back() == 'd' ? 1 : 0;
    int count = 0;
    const char* last = word.data() + word.size() - 1;
    const auto [end, error] = std::from_chars(word.data() + 1, last, count);
    if (unit == 0 || error != std::errc() || end != last || count < 1) return std::nullopt;
    return Timestamp{now.secondsSince1970 + count * unit * secondsPerDay};
}

Timestamp parseDate(const std::string& given, Timestamp now) {
    const std::string word = lowerCased(toValidUtf8(given));
    if (const auto date = inDays(word, now)) return *date;
    if (const auto date = parseIso8601(toValidUtf8(given))) {
        return namesZone(given) ? *date : asLocal(*date);
    }
    throw UsageError(
        fmt::format("\"{}\" is no date: give 2027-03-01, 2027-03-01T09:30, tomorrow, +10d or +2w.",
                    toValidUtf8(given)));
}

Coroutine<int> runSet(CommandContext& context, const Arguments& arguments) {
    const bool clears = arguments.has("clear");
    if (clears == (arguments.positionals().size() == 2)) {
        throw UsageError("bring-back needs an id, and either a date or --clear.");
    }
    std::optional<Timestamp> date;
    if (!clears) date = parseDate(arguments.positional(1), context.now());
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::writing, LibraryExtent::onDemand);
    const auto item = findMemory(store, arguments.positional(0));
    const auto change = context.workspace().edits().setBringBack({item->id}, date);
    co_await context.resultOf(change);
    if (context.wantsJson()) {
        OrderedJson document = memoryJson(store, *item);
        document["bringBackDate"] = date ? OrderedJson(toIso8601(*date)) : OrderedJson();
        context.print(document);
    } else {
        context.out().writeLine(
            date ? fmt::format("\"{}\" comes back on {}.", shownTitle(*item), exactDate(*date))
                 : fmt::format("\"{}\" does not come back any more.", shownTitle(*item)));
    }
    co_return exitDone;
}

Coroutine<int> runList(CommandContext& context, const Arguments&) {
    const CrumbStore& store =
        *co_await context.open(LibraryAccess::reading, LibraryExtent::onDemand);
    std::vector<std::pair<Timestamp, CrumbItemPointer>> sorted;
    for (const auto& [id, date] : *store.bringBackDates()) {
        if (const auto item = store.item(id)) sorted.emplace_back(date, item);
    }
    std::sort(sorted.begin(), sorted.end(),
              [](const auto& left, const auto& right) { return left.first < right.first; });
    std::vector<Uuid> ids;
    for (const auto& [date, item] : sorted) ids.push_back(item->id);
    const ShortIds shortIds = shortIdsOf(store, ids);
    OrderedJson items = OrderedJson::array();
    for (const auto& [date, item] : sorted) {
        if (context.wantsJson()) {
            OrderedJson document = memoryJson(store, *item);
            document["bringBackDate"] = toIso8601(date);
            document["hasComeBack"] = date <= context.now();
            items.push_back(std::move(document));
        } else {
            context.out().writeLine(
                fmt::format("{}  {}  {}{}", context.style().inDim(shortIds(item->id)),
                            exactDate(date), context.style().inTitle(shownTitle(*item)),
                            date <= context.now() ? "  (back)" : ""));
        }
    }
    if (context.wantsJson()) {
        context.print({{"count", sorted.size()}, {"items", std::move(items)}});
    } else if (sorted.empty()) {
        context.say("No memory is to come back.");
    }
    co_return exitDone;
}

}  // namespace

std::vector<Command> bringBackCommands() {
    return {{.name = "bring-back",
             .summary = "Let a memory come back on a date",
             .examples = {{"bring-back 3F2A91C4 2027-03-01", "on the first of March"},
                          {"bring-back 3F2A91C4 +2w", "in two weeks"},
                          {"bring-back 3F2A91C4 --clear", "not any more"}},
             .positionals = {{"ID", "the memory's id, or its beginning"},
                             {.name = "DATE",
                              .help = "a day, a day and time (local, or with a zone), tomorrow, or "
                                      "+N with d or w for days or weeks",
                              .required = false}},
             .options = {{"clear", "", "take the date away"}},
             .run = runSet},
            {.name = "bring-back list",
             .summary = "List the memories that come back, soonest first",
             .examples = {{"bring-back list", "those whose day has come are marked"}},
             .run = runList}};
}

}  // namespace nookery::cli
