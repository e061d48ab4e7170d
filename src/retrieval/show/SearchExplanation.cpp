#include "retrieval/show/SearchExplanation.h"

#include <fmt/format.h>

#include <iterator>

#include "retrieval/lexical/SearchHints.h"

namespace nookery {
namespace {

constexpr std::size_t explainedHitCount = 5;
constexpr std::size_t namedTokenCount = 12;

std::string fieldNames(std::uint8_t bits) {
    constexpr std::array<const char*, 7> names{"title",  "note",      "contents", "elsewhere",
                                               "people", "corrected", "expansion"};
    std::string text;
    for (std::size_t bit = 0; bit < names.size(); ++bit) {
        if ((bits >> bit & 1) == 0) continue;
        if (!text.empty()) text += ", ";
        text += names[bit];
    }
    return text;
}

/// Writes the explanation line by line.
class Explanation {
  public:
    Explanation(const LexicalIndex& index, const LexicalSearch::Matches& matches)
        : index_(index), matches_(matches) {}

    std::string write() {
        line("Query     \"{}\" over {} memories", matches_.query.text, index_.size());
        for (const QueryTerm& term : matches_.query.terms) {
            line("Term      {} -> \"{}\"{}", term.typed, term.normal,
                 term.allScripts.empty() ? ""
                                         : fmt::format(", all scripts \"{}\"", term.allScripts));
        }
        for (const std::string& tag : matches_.query.requestedTags) {
            const auto* tagged = index_.taggedWith(tag);
            line("Tag       #{}: {}", tag, tagged == nullptr ? "no memory has it" : "requested");
        }
        for (const std::string& tag : matches_.plainTags)
            line("Tag       {}: a plain word that equals a tag", tag);
        for (const TermMatches* term : matches_.terms) writeMatches(*term);
        writeHits();
        return std::move(text_);
    }

  private:
    template <typename... Values>
    void line(fmt::format_string<Values...> format, Values&&... values) {
        fmt::format_to(std::back_inserter(text_), format, std::forward<Values>(values)...);
        text_ += '\n';
    }

    void writeMatches(const TermMatches& term) {
        line("Matches   {} memories, rarity {:.2f}", term.hitCount(), term.rarity());
        for (const TermMatch& match : term.matches()) {
            line("            {}: {} tokens in {} places, worth {:.2f}", match.description,
                 match.tokenCount, match.memoryCount, match.factor);
        }
        std::string named;
        for (std::size_t i = 0; i < std::min(namedTokenCount, term.tokens().size()); ++i) {
            named += fmt::format(" {}", index_.vocabulary().text(term.tokens()[i]));
        }
        if (term.tokens().size() > namedTokenCount) named += " …";
        line("            tokens:{}", named);
    }

    void writeHits() {
        const LexicalScorer scorer(index_, matches_.terms,
                                   matches_.tags ? &*matches_.tags : nullptr);
        const LexicalRanking ranking = scorer.rank(explainedHitCount);
        line("Hits      {}", ranking.totalCount);
        for (const ScoredMemory& hit : ranking.best) {
            line("  {:8.3f}  {}  [{}]", hit.score, index_.item(hit.ordinal)->title,
                 hintFor(index_, matches_.query, matches_.terms, hit.ordinal));
            writeContributions(hit.ordinal);
        }
    }

    void writeContributions(Ordinal ordinal) {
        for (const TermMatches* term : matches_.terms) {
            const MatchScore score = term->accumulator().at(ordinal);
            if (score == 0) continue;
            line("              {} (strength {}/255): {:.2f} by field, {:.2f} by relevance",
                 fieldNames(bitsOf(score)), strengthOf(score), term->weight(score),
                 term->relevance(score));
        }
    }

    const LexicalIndex& index_;
    const LexicalSearch::Matches& matches_;
    std::string text_;
};

}  // namespace

std::string explainSearch(const LexicalIndex& index, LexicalSearch& search,
                          std::string_view searchText) {
    const LexicalSearch::Matches matches = search.match(searchText);
    if (matches.query.isEmpty()) return "Nothing to search for.\n";
    return Explanation(index, matches).write();
}

}  // namespace nookery
