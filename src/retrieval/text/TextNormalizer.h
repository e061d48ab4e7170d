#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// The two forms in which texts are compared. Any thread.

/// The normal form, made of ASCII letters, digits, "#" and single spaces: lower case, diacritics
/// and width folded, web addresses ("https?://\S+") and all else turned into spaces. It is never
/// longer in bytes than the text. Text in other scripts leaves nothing.
std::string normalForm(std::string_view text);

/// The same in a buffer that keeps its memory.
void writeNormalForm(std::string_view text, std::string& output);

/// The form that keeps all scripts: lower case, compatibility forms and diacritics folded (vowel
/// signs of Indic and South-East Asian scripts stay), words separated by single spaces, web
/// addresses left out. Runs of Chinese, Japanese and Korean characters, and of pictographs, are
/// separated from other letters. For ASCII text it equals the normal form.
std::string combinedForm(std::string_view text);
void writeCombinedForm(std::string_view text, std::string& output);

/// Whether a text is all ASCII, so that both forms of it are the same.
bool isAsciiText(std::string_view text);

/// Calls `use` for each token of a text in either form: its pieces between spaces, and each run
/// of ideographs "c1 c2 c3" as c1, c1c2, c2, c2c3, c3, so that a shorter run stands in it exactly
/// when its own tokens follow one another there.
template <typename Use>
void forEachToken(std::string_view form, Use&& use);

std::vector<std::string_view> tokensOf(std::string_view form);

/// The tokens of a run of ideographs, each a part of the run.
std::vector<std::string_view> ideographTokens(std::string_view run);

/// Whether a piece of a combined form is a run of ideographs.
bool isIdeographRun(std::string_view piece);

/// A form whose bytes can be traced back: the byte at `i` comes from the original's bytes that
/// begin at `starts[i]` and end before `ends[i]`.
struct TracedForm {
    std::string text;
    std::vector<std::uint32_t> starts;
    std::vector<std::uint32_t> ends;
};

/// As normalForm and combinedForm; slower, for the few texts that are shown.
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
