#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace nookery {

/// The foldings of single code points that make texts comparable. Both work code point by code
/// point, so that a place in a folded text can be traced back to the original. The table is built
/// at first use from the Unicode library's data. Any thread.
class FoldTable {
  public:
    static const FoldTable& shared();

    /// Folds case, width and diacritics to one ASCII character: a letter, a digit, '#', ':' or '/';
    /// ' ' for white space, '.' for anything else, and 0 for a combining mark, which folding drops.
    char normal(char32_t codePoint) const {
        return codePoint < tableSize ? normal_[codePoint] : beyondTable(codePoint);
    }

    /// The folding for all scripts: case, compatibility forms, letters such as "ø" and "ß", and
    /// diacritics, except the vowel signs of the scripts of India and South-East Asia. Empty for a
    /// code point that folding drops, " " for one that separates words. The answer may be a view of
    /// `codePoint` itself.
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
    // For each code point its place in `folded_`: the length in the lowest four bits, the offset
    // above them.
    std::u32string combinedPlaces_;
    std::u32string folded_;
};

/// Chinese, Japanese and Korean characters, and pictographs: they are written without spaces, and
/// nearly every one is a word.
bool isIdeographic(char32_t codePoint);

}  // namespace nookery
