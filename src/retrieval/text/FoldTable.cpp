#include "retrieval/text/FoldTable.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <array>
#include <utility>

#include "foundation/Error.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::u32string_view separator = U" ";

/// Letters without a Unicode decomposition that people type without the stroke or the ligature.
constexpr std::array<std::pair<char32_t, std::u32string_view>, 18> plainLetters{{
    {U'ß', U"ss"},
    {U'ø', U"o"},
    {U'ł', U"l"},
    {U'đ', U"d"},
    {U'ħ', U"h"},
    {U'ı', U"i"},
    {U'æ', U"ae"},
    {U'œ', U"oe"},
    {U'þ', U"th"},
    {U'ð', U"d"},
    {U'ŋ', U"n"},
    {U'ŧ', U"t"},
    {U'ſ', U"s"},
    {U'ƒ', U"f"},
    {U'ƙ', U"k"},
    {U'ɓ', U"b"},
    {U'ɗ', U"d"},
    {U'ς', U"σ"},
}};

const icu::Normalizer2& normalizer(const char* name, UNormalization2Mode mode) {
    UErrorCode status = U_ZERO_ERROR;
    const auto* instance = icu::Normalizer2::getInstance(nullptr, name, mode, status);
    if (U_FAILURE(status)) throw Error("The Unicode library has no normalisation data.");
    return *instance;
}

icu::UnicodeString normalized(const icu::Normalizer2& form, const icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString result = form.normalize(text, status);
    if (U_FAILURE(status)) throw Error("The Unicode library could not normalise a text.");
    return result;
}

bool isWidthVariant(char32_t codePoint) {
    const auto type =
        u_getIntPropertyValue(static_cast<UChar32>(codePoint), UCHAR_DECOMPOSITION_TYPE);
    return type == U_DT_WIDE || type == U_DT_NARROW;
}

char significant(char32_t codePoint) {
    const bool kept = (codePoint >= U'a' && codePoint <= U'z') ||
                      (codePoint >= U'0' && codePoint <= U'9') || codePoint == U'#' ||
                      codePoint == U':' || codePoint == U'/';
    if (kept) return static_cast<char>(codePoint);
    return isWhiteSpace(codePoint) ? ' ' : '.';
}

/// Lower case, then width, then canonical decomposition without its combining marks.
char foldNormal(char32_t codePoint) {
    icu::UnicodeString text(u_tolower(static_cast<UChar32>(codePoint)));
    if (isWidthVariant(static_cast<char32_t>(text.char32At(0)))) {
        text = normalized(normalizer("nfkc", UNORM2_DECOMPOSE), text);
    }
    text = normalized(normalizer("nfc", UNORM2_DECOMPOSE), text);
    for (std::int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 letter = text.char32At(i);
        if (u_charType(letter) != U_NON_SPACING_MARK) {
            return significant(static_cast<char32_t>(letter));
        }
    }
    return 0;
}

/// Whether a mark may be dropped: it decorates its letter. In other scripts marks are vowels, and
/// a word without them is another word.
bool isDecoration(UChar32 mark) {
    UErrorCode status = U_ZERO_ERROR;
    switch (uscript_getScript(mark, &status)) {
        case USCRIPT_INHERITED:
        case USCRIPT_COMMON:
        case USCRIPT_LATIN:
        case USCRIPT_GREEK:
        case USCRIPT_CYRILLIC:
        case USCRIPT_HEBREW:
        case USCRIPT_ARABIC:
        case USCRIPT_SYRIAC:
            return true;
        default:
            return false;
    }
}

void appendCombined(std::u32string& output, UChar32 codePoint) {
    const auto letter = static_cast<char32_t>(codePoint);
    const auto* plain = std::find_if(plainLetters.begin(), plainLetters.end(),
                                     [&](const auto& entry) { return entry.first == letter; });
    if (plain != plainLetters.end()) {
        output += plain->second;
        return;
    }
    const auto type = u_charType(codePoint);
    const bool mark = type == U_NON_SPACING_MARK || type == U_COMBINING_SPACING_MARK;
    if (mark && isDecoration(codePoint)) return;
    if (mark || u_isalpha(codePoint) || isIdeographic(letter) || letter == U'#' ||
        (U_GET_GC_MASK(codePoint) & U_GC_N_MASK) != 0) {
        output += letter;
    } else if (!u_hasBinaryProperty(codePoint, UCHAR_DEFAULT_IGNORABLE_CODE_POINT)) {
        output += U' ';
    }
}

bool isPictograph(char32_t codePoint) {
    const bool possible = codePoint == U'©' || codePoint == U'®' ||
                          (codePoint >= 0x2000 && codePoint < 0x3300) || codePoint >= 0x1F000;
    return possible &&
           u_hasBinaryProperty(static_cast<UChar32>(codePoint), UCHAR_EXTENDED_PICTOGRAPHIC) != 0;
}

bool isSyllableOrHan(char32_t codePoint) {
    return (codePoint >= 0x3400 && codePoint <= 0x9FFF) ||
           (codePoint >= 0xAC00 && codePoint <= 0xD7A3);
}

std::u32string foldCombined(char32_t codePoint) {
    if (isSyllableOrHan(codePoint)) return {codePoint};
    const icu::UnicodeString cased = normalized(
        normalizer("nfkc_cf", UNORM2_COMPOSE), icu::UnicodeString(static_cast<UChar32>(codePoint)));
    const icu::UnicodeString text = normalized(normalizer("nfc", UNORM2_DECOMPOSE), cased);
    std::u32string folded;
    for (std::int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        appendCombined(folded, text.char32At(i));
    }
    // A code point that folds to blanks alone separates words.
    if (folded.find_first_not_of(U' ') == std::u32string::npos && !folded.empty()) return U" ";
    return folded;
}

bool isSurrogateOrUnassigned(char32_t codePoint) {
    const auto type = u_charType(static_cast<UChar32>(codePoint));
    return type == U_SURROGATE || type == U_UNASSIGNED || type == U_PRIVATE_USE_CHAR;
}

}  // namespace

bool isIdeographic(char32_t codePoint) {
    if (codePoint < 0xA9) return false;
    return (codePoint >= 0x1100 && codePoint <= 0x11FF) ||  // Korean letters
           (codePoint >= 0x2E80 && codePoint <= 0x2FDF) ||  // radicals
           (codePoint >= 0x3005 && codePoint <= 0x3007) ||
           (codePoint >= 0x3041 && codePoint <= 0x318F) ||  // kana, Bopomofo, Korean letters
           (codePoint >= 0x31A0 && codePoint <= 0x31FF) || isSyllableOrHan(codePoint) ||
           (codePoint >= 0xF900 && codePoint <= 0xFAFF) ||
           (codePoint >= 0x1B000 && codePoint <= 0x1B16F) ||
           (codePoint >= 0x20000 && codePoint <= 0x3FFFF) || isPictograph(codePoint);
}

const FoldTable& FoldTable::shared() {
    static const FoldTable table;
    return table;
}

FoldTable::FoldTable()
    : normal_(tableSize, '.'), combinedPlaces_(tableSize, U'\0'), folded_(separator) {
    const char32_t separatorPlace = separator.size();  // offset 0
    for (char32_t codePoint = 0; codePoint < tableSize; ++codePoint) {
        if (isSurrogateOrUnassigned(codePoint)) {
            combinedPlaces_[codePoint] = separatorPlace;
            continue;
        }
        if (!isSyllableOrHan(codePoint)) normal_[codePoint] = foldNormal(codePoint);
        setCombined(codePoint, foldCombined(codePoint));
    }
}

void FoldTable::setCombined(char32_t codePoint, std::u32string_view folded) {
    folded = folded.substr(0, 15);
    if (folded == separator) {
        combinedPlaces_[codePoint] = separator.size();
        return;
    }
    combinedPlaces_[codePoint] = static_cast<char32_t>(folded_.size() << 4 | folded.size());
    folded_ += folded;
}

char FoldTable::beyondTable(char32_t codePoint) {
    return u_charType(static_cast<UChar32>(codePoint)) == U_NON_SPACING_MARK ? '\0' : '.';
}

std::u32string_view FoldTable::combined(const char32_t& codePoint) const {
    if (codePoint < tableSize) {
        const char32_t place = combinedPlaces_[codePoint];
        return std::u32string_view(folded_).substr(place >> 4, place & 15);
    }
    if (!isIdeographic(codePoint)) {
        return u_charType(static_cast<UChar32>(codePoint)) == U_NON_SPACING_MARK
                   ? std::u32string_view{}
                   : separator;
    }
    return {&codePoint, 1};
}

}  // namespace nookery
