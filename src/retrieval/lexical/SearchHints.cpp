#include "retrieval/lexical/SearchHints.h"

#include <algorithm>

#include "foundation/Text.h"

namespace nookery {
namespace {

/// The reasons a memory has, of which the one with the greatest worth is kept.
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

/// For a term that is in none of the three fields by their normal forms, or is not typed so.
std::string hintBySection(std::uint32_t sections, const std::string& contentsHint) {
    if (isIn(sections, Section::title) || isIn(sections, Section::titleAllScripts)) {
        return "Matched title";
    }
    if (isIn(sections, Section::note) || isIn(sections, Section::noteAllScripts)) {
        return "Matched note";
    }
    return contentsHint;
}

std::string termHint(const TermMatches& term, Cell cell, TokenStream stream,
                     const std::string& contentsHint) {
    const FieldMask bits = bitsOf(cell);
    if ((bits & fieldBit(SearchField::title)) != 0) return "Matched title";
    if ((bits & fieldBit(SearchField::note)) != 0) return "Matched note";
    if ((bits & fieldBit(SearchField::contents)) != 0) return contentsHint;
    return hintBySection(term.sectionsIn(stream), contentsHint);
}

/// The words of people's names in which a term was found.
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
    for (const TokenId word : words) hint += " " + capitalised(index.tokenText(word));
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
        const Cell cell = term->cells().at(ordinal);
        if (cell == 0) continue;
        bits |= bitsOf(cell);
        // Relevance breaks the tie between terms that weigh nothing by themselves.
        reasons.offer(term->weight(cell) + term->relevance(cell) * 1e-3,
                      termHint(*term, cell, index.stream(ordinal), contentsHint));
    }
    if ((bits & peopleBit) != 0) {
        reasons.offer(index.weights().people, peopleHint(index, terms, index.stream(ordinal)));
    }
    return reasons.best();
}

}  // namespace nookery
