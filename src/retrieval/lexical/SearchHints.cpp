#include "retrieval/lexical/SearchHints.h"

#include <algorithm>

#include "foundation/Text.h"

namespace nookery {
namespace {

/// Keeps the reason with the greatest worth.
class Reasons {
  public:
    void offer(double worth, std::string hint) {
        if (worth <= worth_ || hint.empty()) return;
        worth_ = worth;
        hint_ = std::move(hint);
    }
    std::string best() { return std::move(hint_); }

  private:
    double worth_ = 0;
    std::string hint_;
};

bool isIn(std::uint32_t sections, Section section) {
    return (sections >> static_cast<unsigned>(section) & 1) != 0;
}

/// The hint for a match in the all-scripts form of a field, or of a word that was not typed.
std::string hintBySection(std::uint32_t sections, const std::string& contentsHint) {
    if (isIn(sections, Section::title) || isIn(sections, Section::titleAllScripts)) {
        return "Matched title";
    }
    if (isIn(sections, Section::note) || isIn(sections, Section::noteAllScripts)) {
        return "Matched note";
    }
    return contentsHint;
}

std::string termHint(const TermMatches& term, MatchScore score, TokenStream stream,
                     const std::string& contentsHint) {
    const FieldMask bits = bitsOf(score);
    if ((bits & fieldBit(SearchField::title)) != 0) return "Matched title";
    if ((bits & fieldBit(SearchField::note)) != 0) return "Matched note";
    if ((bits & fieldBit(SearchField::contents)) != 0) return contentsHint;
    return hintBySection(term.sectionsIn(stream), contentsHint);
}

/// Names the words in people's names that match a term.
std::string peopleHint(const LexicalIndex& index, const std::vector<const TermMatches*>& terms,
                       TokenStream stream) {
    std::vector<TokenId> words;
    while (stream.next()) {
        if (!stream.atToken() || stream.section() != Section::people) continue;
        const bool found = std::any_of(terms.begin(), terms.end(), [&](const TermMatches* term) {
            return std::binary_search(term->tokens().begin(), term->tokens().end(), stream.token());
        });
        const bool isNew = std::find(words.begin(), words.end(), stream.token()) == words.end();
        if (found && isNew) words.push_back(stream.token());
    }
    if (words.empty()) return {};
    std::string hint = "Contains";
    for (const TokenId word : words) hint += " " + capitalised(index.vocabulary().text(word));
    return hint;
}

}  // namespace

std::string hintFor(const LexicalIndex& index, const Query& query,
                    const std::vector<const TermMatches*>& terms, Ordinal ordinal) {
    Reasons reasons;
    for (const std::string& tag : index.tagsOf(ordinal)) {
        if (query.requestedTags.contains(tag)) {
            reasons.offer(index.weights().requestedTag, "Matched #" + tag);
        }
        const auto typed = std::find_if(query.terms.begin(), query.terms.end(),
                                        [&](const QueryTerm& term) { return term.typed == tag; });
        if (typed != query.terms.end()) reasons.offer(index.weights().plainTag, "Matched #" + tag);
    }
    const bool isImage = index.item(ordinal)->kind == CrumbKind::image;
    const std::string contentsHint = isImage ? "Found in image" : "Found in contents";
    FieldMask bits = 0;
    for (const TermMatches* term : terms) {
        const MatchScore score = term->accumulator().at(ordinal);
        if (score == 0) continue;
        bits |= bitsOf(score);
        // Relevance breaks ties between terms whose weight is 0.
        reasons.offer(term->weight(score) + term->relevance(score) * 1e-3,
                      termHint(*term, score, index.stream(ordinal), contentsHint));
    }
    if ((bits & peopleBit) != 0) {
        reasons.offer(index.weights().people, peopleHint(index, terms, index.stream(ordinal)));
    }
    return reasons.best();
}

}  // namespace nookery
