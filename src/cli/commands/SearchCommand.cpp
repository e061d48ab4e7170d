#include <fmt/format.h>

#include "cli/commands/Commands.h"
#include "cli/output/TextLayout.h"
#include "cli/views/MemoryView.h"
#include "foundation/Text.h"
#include "platform/TextEmbedder.h"

namespace nookery::cli {
namespace {

constexpr std::size_t defaultLimit = 20;
constexpr std::size_t mostPrefixCharacters = 4096;
/// Around each match where nothing else can set it off.
constexpr std::string_view openMark = "«";
constexpr std::string_view closeMark = "»";
/// Stand for the marks while the excerpt is made fit for the terminal; never in a text.
constexpr std::string_view openStandIn = "\xEE\x80\x80";
constexpr std::string_view closeStandIn = "\xEE\x80\x81";

struct Query {
    std::string text;
    std::size_t limit = defaultLimit;
    SearchDepth depth = SearchDepth::deep;
};

/// Runs one search to its final order, with an excerpt of each hit.
Coroutine<SearchResultPointer> finalResult(CommandContext& context, SearchSession& session,
                                           Query query) {
    session.wantExcerpts(query.limit);
    session.setText(query.text, query.limit, query.depth);
    const std::function<bool(const SearchResultPointer&)> isFinal = [](const auto& result) {
        return result->isFinal;
    };
    co_await context.until(session.result(), isFinal);
    if (!(*session.result())->isFinal) throw Cancelled();
    co_return *session.result();
}

OrderedJson resultJson(const CrumbStore& store, const SearchResult& result, const Query& query) {
    OrderedJson hits = OrderedJson::array();
    for (std::size_t i = 0; i < result.hits.size(); ++i) {
        const SearchHit& hit = result.hits[i];
        OrderedJson document = memoryJson(store, *hit.item);
        document["score"] = hit.score;
        document["hint"] = hit.hint;
        document["excerpt"] = withMarks(result.excerpts.at(i), openMark, closeMark);
        hits.push_back(std::move(document));
    }
    return {{"query", query.text},
            {"total", result.totalCount},
            {"elapsedMicros", result.lexicalMicroseconds},
            {"deepMicros", result.deepMicroseconds},
            {"hits", std::move(hits)}};
}

std::string replaced(std::string text, std::string_view what, const std::string& with) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
    return text;
}

std::string shownExcerpt(CommandContext& context, const std::string& excerpt) {
    const Style& style = context.style();
    const std::string open(style.mark.empty() ? openMark : style.mark);
    const std::string close(style.mark.empty() ? closeMark : style.reset);
    return replaced(replaced(printable(excerpt), openStandIn, open), closeStandIn, close);
}

void printHit(CommandContext& context, const CrumbStore& store, const SearchHit& hit,
              const Excerpt& passage, const std::string& id) {
    const Style& style = context.style();
    const CrumbItem& item = *hit.item;
    constexpr std::string_view indent = "          ";
    context.out().writeLine(fmt::format("{}  {}", style.inDim(padded(id, indent.size() - 2)),
                                        style.inTitle(shownTitle(item))));
    std::string line = memoryLine(store, item, context.now());
    if (!hit.hint.empty()) line += " · " + printable(hit.hint);
    context.out().writeLine(fmt::format("{}{}", indent, style.inDim(line)));
    const std::string excerpt = withMarks(passage, openStandIn, closeStandIn);
    if (excerpt.empty()) return;
    const std::size_t columns = context.columns().value_or(100);
    for (const std::string& text : wrapped(printable(excerpt), columns - indent.size())) {
        context.out().writeLine(fmt::format("{}{}", indent, shownExcerpt(context, text)));
    }
}

void printResult(CommandContext& context, const CrumbStore& store, const SearchResult& result) {
    CrumbItemList items;
    for (const SearchHit& hit : result.hits) items.push_back(hit.item);
    const ShortIds shortIds = shortIdsOf(store, items);
    for (std::size_t i = 0; i < result.hits.size(); ++i) {
        if (i > 0) context.out().writeLine("");
        const SearchHit& hit = result.hits[i];
        printHit(context, store, hit, result.excerpts.at(i), shortIds(hit.item->id));
    }
    if (result.totalCount == 0) {
        context.say("Nothing found. Fewer or other words may find it.");
        return;
    }
    const auto microseconds = result.lexicalMicroseconds + result.deepMicroseconds;
    context.say(fmt::format("\n{} of {} in {:.1f} ms.", result.hits.size(),
                            counted(result.totalCount, "memory", "memories"),
                            static_cast<double>(microseconds) / 1000));
}

/// Every beginning of the query, as somebody types it, then the whole.
std::vector<std::string> beginnings(const std::string& text) {
    std::vector<std::string> result;
    for (std::size_t count = 1; count <= mostPrefixCharacters; ++count) {
        const std::string_view beginning = firstCharacters(text, count);
        if (beginning.size() == text.size()) break;
        result.emplace_back(beginning);
    }
    result.push_back(text);
    return result;
}

Coroutine<int> runBatch(CommandContext& context, CrumbStore& store, const Arguments& arguments,
                        Query query) {
    const auto session = store.newSearchSession();
    while (const auto line = co_await context.nextLine()) {
        const std::string text = toValidUtf8(*line);
        const auto texts = arguments.has("as-typed") ? beginnings(text) : std::vector{text};
        for (const std::string& typed : texts) {
            query.text = typed;
            const SearchResultPointer result = co_await finalResult(context, *session, query);
            context.print(resultJson(store, *result, query));
        }
        context.out().flush();
    }
    co_return exitDone;
}

Query queryFrom(const Arguments& arguments) {
    return {.text = toValidUtf8(fmt::format("{}", fmt::join(arguments.positionals(), " "))),
            .limit = arguments.count("limit", defaultLimit),
            .depth = arguments.has("lexical") ? SearchDepth::lexical : SearchDepth::deep};
}

Coroutine<int> runSearch(CommandContext& context, const Arguments& arguments) {
    const Query query = queryFrom(arguments);
    if (arguments.has("batch") != arguments.positionals().empty()) {
        throw UsageError("search needs a query, or --batch and queries on standard input.");
    }
    CrumbStore& store = *co_await context.open(LibraryAccess::reading, LibraryExtent::fewSearches);
    if (arguments.has("batch")) co_return co_await runBatch(context, store, arguments, query);
    const std::string explanation =
        arguments.has("explain") ? store.retrieval().explain(query.text) : "";
    const auto session = store.newSearchSession();
    const SearchResultPointer found = co_await finalResult(context, *session, query);
    const SearchResult& result = *found;
    if (context.wantsJson()) {
        OrderedJson document = resultJson(store, result, query);
        if (arguments.has("explain")) document["explanation"] = explanation;
        context.print(document);
        co_return exitDone;
    }
    if (!explanation.empty()) context.out().writeLine(printableLines(explanation));
    if (!session->browsingText().empty()) {
        context.say(session->browsingText() + " " + session->statusText());
    }
    printResult(context, store, result);
    co_return exitDone;
}

}  // namespace

Command searchCommand() {
    return {
        .name = "search",
        .summary = "Find memories from whatever you remember",
        .examples = {{"search lemon cake", "every memory that holds these words, best first"},
                     {"search '#baking'", "exactly the memories with this tag"},
                     {"search --explain lemn cake", "what each stage made of the query"},
                     {"search --batch < queries.txt", "a query a line, an answer a line"}},
        .positionals = {{.name = "QUERY",
                         .help = "words in any order, parts of words, #tags; an empty one lists "
                                 "the newest",
                         .required = false,
                         .repeats = true}},
        .options = {{"limit", "N", "at most so many hits (20 when not said)"},
                    {"lexical", "", "by words only, without the deep stage"},
                    {"explain", "", "also show what each stage made of the query"},
                    {"batch", "", "read queries from standard input, answer in JSON lines"},
                    {"as-typed", "", "with --batch: also every beginning of each query"}},
        .notes = "Matches stand between « and » in excerpts where no colour can mark them.",
        .run = runSearch};
}

}  // namespace nookery::cli
