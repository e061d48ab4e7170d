#include "retrieval/show/Excerpt.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "foundation/Text.h"
#include "records/InternalMarkers.h"
#include "retrieval/index/SearchRecord.h"
#include "retrieval/text/TextNormalizer.h"

namespace nookery {
namespace {

/// The bytes of a passage, and how many of them may precede the first match.
constexpr std::size_t passageByteCount = 160;
constexpr std::size_t leadByteCount = 40;

/// Long texts are searched in portions of this many bytes, until one holds all terms.
constexpr std::size_t portionByteCount = 16 * 1024;

/// A match in the original text.
struct Match {
    std::size_t start = 0;
    std::size_t end = 0;
    std::size_t term = 0;
};

/// A string to search for in one form of the text.
struct Needle {
    std::string form;
    bool wholeTokens = false;
    std::size_t term = 0;
};

struct Needles {
    std::vector<Needle> normal;
    std::vector<Needle> allScripts;
};

bool isWholeTokenOnly(const std::string& form) {
    const auto pieces = piecesOf(form);
    return pieces.size() == 1 && pieces.front().match == PieceMatch::whole && !isIdeographRun(form);
}

Needles needlesOf(const ExcerptTerms& query) {
    Needles needles;
    std::size_t term = 0;
    for (; term < query.terms.size(); ++term) {
        const QueryTerm& typed = query.terms[term];
        if (!typed.normal.empty()) {
            needles.normal.push_back({typed.normal, isWholeTokenOnly(typed.normal), term});
        }
        const std::string& other = typed.allScripts.empty() ? typed.normal : typed.allScripts;
        if (!other.empty()) needles.allScripts.push_back({other, isWholeTokenOnly(other), term});
    }
    for (const std::string& word : query.expanded) {
        needles.normal.push_back({word, true, term});
        needles.allScripts.push_back({word, true, term++});
    }
    return needles;
}

bool standsAsTokens(std::string_view form, std::size_t start, std::size_t length) {
    const bool begins = start == 0 || form[start - 1] == ' ';
    const std::size_t end = start + length;
    return begins && (end == form.size() || form[end] == ' ');
}

void findNeedles(const TracedForm& form, const std::vector<Needle>& needles,
                 std::vector<Match>& matches) {
    for (const Needle& needle : needles) {
        std::size_t position = 0;
        while ((position = form.text.find(needle.form, position)) != std::string::npos) {
            const std::size_t end = position + needle.form.size();
            if (!needle.wholeTokens || standsAsTokens(form.text, position, needle.form.size())) {
                matches.push_back({form.starts[position], form.ends[end - 1], needle.term});
            }
            position = end;
        }
    }
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

/// The matches by position. Of matches that overlap, only the first and longest stays.
std::vector<Match> matchesIn(std::string_view text, const Needles& needles) {
    std::vector<Match> matches;
    findNeedles(tracedNormalForm(text), needles.normal, matches);
    if (!isAscii(text)) findNeedles(tracedCombinedForm(text), needles.allScripts, matches);
    std::sort(matches.begin(), matches.end(), [](const Match& a, const Match& b) {
        return std::tuple(a.start, b.end, a.term) < std::tuple(b.start, a.end, b.term);
    });
    std::vector<Match> apart;
    for (const Match& match : matches) {
        if (apart.empty() || match.start >= apart.back().end) apart.push_back(match);
    }
    return apart;
}

struct Passage {
    std::string_view text;  ///< the portion in which it lies
    std::vector<Match> matches;
    std::size_t first = 0;  ///< the index of its first match
    std::size_t termCount = 0;
    std::size_t matchCount = 0;
};

/// The window with the most different terms; of these, with the most matches.
Passage bestWindow(std::string_view text, std::vector<Match> matches) {
    Passage best{text, std::move(matches)};
    for (std::size_t first = 0; first < best.matches.size(); ++first) {
        std::set<std::size_t> terms;
        std::size_t count = 0;
        const std::size_t limit = best.matches[first].start + passageByteCount - leadByteCount;
        for (std::size_t i = first; i < best.matches.size() && best.matches[i].end <= limit; ++i) {
            terms.insert(best.matches[i].term);
            ++count;
        }
        if (std::pair(terms.size(), count) <= std::pair(best.termCount, best.matchCount)) continue;
        best.first = first;
        best.termCount = terms.size();
        best.matchCount = count;
    }
    return best;
}

std::size_t portionEnd(std::string_view text) {
    if (text.size() <= portionByteCount) return text.size();
    const std::size_t space = text.find_last_of(" \n\t", portionByteCount);
    if (space != std::string_view::npos && space > portionByteCount / 2) return space + 1;
    return cutToBytes(text, portionByteCount).size();
}

/// A position near `position` at which a passage may begin without cutting a word, or at least
/// without cutting a character.
std::size_t wordStart(std::string_view text, std::size_t position) {
    if (position == 0 || position >= text.size()) return std::min(position, text.size());
    const std::size_t space = text.find_first_of(" \n\t", position - 1);
    if (space != std::string_view::npos && space < position + leadByteCount / 2) return space + 1;
    return characterStart(text, position);
}

/// The same for the end of a passage.
std::size_t wordEnd(std::string_view text, std::size_t position) {
    if (position >= text.size()) return text.size();
    const std::size_t space = text.find_last_of(" \n\t", position);
    if (space != std::string_view::npos && space + leadByteCount / 2 > position) return space;
    return characterStart(text, position);
}

/// Appends text with runs of white space as single spaces.
void appendTidied(std::string& output, std::string_view text, bool& afterSpace) {
    for (const char byte : text) {
        const bool space = byte == ' ' || (byte >= 9 && byte <= 13);
        if (!space || !afterSpace) output += space ? ' ' : byte;
        afterSpace = space;
    }
}

Excerpt cutOut(const Passage& passage) {
    const std::string_view text = passage.text;
    std::size_t start = 0;
    std::size_t reach = passageByteCount;
    if (!passage.matches.empty()) {
        const Match& first = passage.matches[passage.first];
        if (first.start > leadByteCount) {
            start = std::min(wordStart(text, first.start - leadByteCount), first.start);
        }
        reach = std::max(start + passageByteCount, first.end);
    }
    std::size_t end = wordEnd(text, reach);
    if (!passage.matches.empty()) end = std::max(end, passage.matches[passage.first].end);
    for (const Match& match : passage.matches) {
        if (match.start < end && match.end > end) end = match.end;
    }
    Excerpt excerpt{start > 0 ? "…" : "", {}};
    std::string& output = excerpt.text;
    bool afterSpace = true;
    std::size_t position = start;
    for (const Match& match : passage.matches) {
        if (match.start < start || match.end > end) continue;
        appendTidied(output, text.substr(position, match.start - position), afterSpace);
        const std::size_t matchStart = output.size();
        appendTidied(output, text.substr(match.start, match.end - match.start), afterSpace);
        excerpt.matches.push_back({matchStart, output.size() - matchStart});
        position = match.end;
    }
    appendTidied(output, text.substr(position, end - position), afterSpace);
    while (!output.empty() && output.back() == ' ') output.pop_back();
    if (end < text.size()) output += "…";
    return excerpt;
}

}  // namespace

ExcerptTerms excerptTermsOf(const LexicalSnapshot& snapshot) {
    ExcerptTerms terms{parseQuery(snapshot.query).terms, {}};
    const std::size_t typedCount =
        std::min(snapshot.literalTerms.size(), snapshot.expandedTerms.size());
    terms.expanded.assign(snapshot.expandedTerms.begin() + static_cast<std::ptrdiff_t>(typedCount),
                          snapshot.expandedTerms.end());
    return terms;
}

Excerpt bestPassage(const std::vector<std::string_view>& texts, const ExcerptTerms& query) {
    const Needles needles = needlesOf(query);
    std::vector<std::string> kept;
    kept.reserve(texts.size());
    Passage best;
    for (const std::string_view original : texts) {
        kept.push_back(withoutInternalMarkers(original));
        std::string_view rest = trimmed(kept.back());
        if (best.text.empty()) best.text = rest;
        while (!rest.empty() && best.termCount < query.terms.size()) {
            const std::string_view portion = rest.substr(0, portionEnd(rest));
            rest.remove_prefix(portion.size());
            Passage found = bestWindow(portion, matchesIn(portion, needles));
            if (found.termCount > best.termCount) best = std::move(found);
        }
    }
    return cutOut(best);
}

std::string withMarks(const Excerpt& excerpt, std::string_view open, std::string_view close) {
    const std::string_view text = excerpt.text;
    std::string marked;
    std::size_t position = 0;
    for (const TextRange& match : excerpt.matches) {
        marked += text.substr(position, match.start - position);
        marked += open;
        marked += text.substr(match.start, match.length);
        marked += close;
        position = match.start + match.length;
    }
    marked += text.substr(position);
    return marked;
}

}  // namespace nookery
