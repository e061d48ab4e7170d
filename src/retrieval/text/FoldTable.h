#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace nookery {

/// What single code points become when texts are compared. Both foldings work code point by code
/// point, so that a place in a folded text can be traced back to the original. Built once, at
/// first use, from the Unicode library's data. Any thread.
class FoldTable {
  public:
    static const FoldTable& shared();

    /// Lower case, width and diacritics folded, and then what matters of it: an ASCII letter,
    /// digit, '#', ':' or '/' as itself, white space as ' ', anything else as '.', and 0 for what
    /// folding drops (combining marks).
    char normal(char32_t codePoint) const {
        return codePoint < tableSize ? normal_[codePoint] : beyondTable(codePoint);
    }

    /// The wider folding for all scripts: lower case, compatibility forms, diacritics (but not
    /// the vowel signs of the scripts of India and South-East Asia), letters such as "ø" and "ß".
    /// The answer is empty for what folding drops, and " " for what separates words; it may be a
    /// view of `codePoint` itself.
    std::u32string_view combined(const char32_t& codePoint) const;
    std::u32string_view combined(char32_t&&) const = delete;

    FoldTable(const FoldTable&) = delete;
    FoldTable& operator=(const FoldTable&) = delete;

  private:
    FoldTable();
    static char beyondTable(char32_t codePoint);
    void setCombined(char32_t codePoint, std::u32string_view folded);

    static constexpr char32_t tableSize = 0x20000;  // the planes that have letters and marks

    std::string normal_;
    // One place in `folded_` a code point: the offset above the lowest four bits, the length in
    // them.
    std::u32string combinedPlaces_;
    std::u32string folded_;
};

/// Chinese, Japanese and Korean characters and pictographs: written without spaces between words,
/// each of them a word or nearly one.
bool isIdeographic(char32_t codePoint);

}  // namespace nookery
