#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// The two forms in which texts are compared. Any thread.

/// The normal form, made of lower-case ASCII letters, digits, "#" and single spaces. Diacritics and
/// width are folded; web addresses ("https?://\S+") and all other characters become spaces. It is
/// never longer in bytes than the text, and empty for text in other scripts.
std::string normalForm(std::string_view text);

/// The same into a buffer, whose memory is used again.
void writeNormalForm(std::string_view text, std::string& output);

/// The form that keeps all scripts. Case, compatibility forms and diacritics are folded (vowel
/// signs of Indic and South-East Asian scripts stay), web addresses are left out, and single spaces
/// separate the words. Runs of Chinese, Japanese and Korean characters, and of pictographs, become
/// words of their own. For ASCII text it equals the normal form.
std::string combinedForm(std::string_view text);
void writeCombinedForm(std::string_view text, std::string& output);

/// Whether a text is all ASCII, so that both forms of it are the same.
bool isAsciiText(std::string_view text);

/// Calls `use` for each token of a text in either form. Spaces separate tokens. A run of ideographs
/// c1 c2 c3 becomes the tokens c1, c1c2, c2, c2c3, c3 (unigrams and bigrams), so that a longer run
/// contains a shorter one exactly when it contains the shorter one's tokens in sequence.
template <typename Use>
void forEachToken(std::string_view form, Use&& use);

std::vector<std::string_view> tokensOf(std::string_view form);

/// The tokens of a run of ideographs, each a part of the run.
std::vector<std::string_view> ideographTokens(std::string_view run);

/// Whether a piece of a combined form is a run of ideographs.
bool isIdeographRun(std::string_view piece);

/// A form with the origin of each byte: byte `i` comes from the original's bytes `starts[i]` up to,
/// but without, `ends[i]`.
struct TracedForm {
    std::string text;
    std::vector<std::uint32_t> starts;
    std::vector<std::uint32_t> ends;
};

/// As normalForm and combinedForm, but slower: for the few texts that are shown.
TracedForm tracedNormalForm(std::string_view text);
TracedForm tracedCombinedForm(std::string_view text);

// ---------------------------------------------------------------------------------------------

template <typename Use>
void forEachToken(std::string_view form, Use&& use) {
    std::size_t start = 0;
    while (start < form.size()) {
        std::size_t end = form.find(' ', start);
        if (end == std::string_view::npos) end = form.size();
        const std::string_view piece = form.substr(start, end - start);
        if (piece.empty()) {
            // Only single spaces separate pieces; an empty form has no piece.
        } else if (static_cast<unsigned char>(piece.front()) >= 0x80 && isIdeographRun(piece)) {
            for (const std::string_view token : ideographTokens(piece)) use(token);
        } else {
            use(piece);
        }
        start = end + 1;
    }
}

}  // namespace nookery
