#include "receipts/ReceiptDate.h"

#include <re2/re2.h>

namespace nookery {
namespace {

const RE2& datePattern() {
    static const RE2 pattern(
        R"(\b(?:(\d{1,2})([/-])(\d{1,2})([/-])(\d{2,4})|(\d{4})([/-])(\d{1,2})([/-])(\d{1,2}))\b)");
    return pattern;
}

int number(const re2::StringPiece& digits) {
    int value = 0;
    for (const char digit : digits) value = value * 10 + (digit - '0');
    return value;
}

/// None for a year of three digits, which nobody writes.
std::optional<int> fullYear(const re2::StringPiece& digits) {
    const int year = number(digits);
    if (digits.size() == 4) return year;
    if (digits.size() != 2) return std::nullopt;
    return year < 70 ? 2000 + year : 1900 + year;
}

struct WrittenDay {
    re2::StringPiece month, day, year;
    char firstMark = 0, secondMark = 0;
};

std::optional<CalendarDay> read(const WrittenDay& written) {
    const auto year = fullYear(written.year);
    if (!year || written.firstMark != written.secondMark) return std::nullopt;
    const CalendarDay day{*year, number(written.month), number(written.day)};
    return exists(day) ? std::optional(day) : std::nullopt;
}

}  // namespace

std::optional<CalendarDay> receiptDateIn(std::string_view line) {
    if (line.find_first_of("/-") == std::string_view::npos) return std::nullopt;
    const re2::StringPiece text(line.data(), line.size());
    std::size_t from = 0;
    re2::StringPiece part[11];
    while (datePattern().Match(text, from, text.size(), RE2::UNANCHORED, part, 11)) {
        const bool yearFirst = !part[6].empty();
        const auto day = yearFirst ? read({part[8], part[10], part[6], part[7][0], part[9][0]})
                                   : read({part[1], part[3], part[5], part[2][0], part[4][0]});
        if (day) return day;
        from = static_cast<std::size_t>(part[0].data() - text.data()) + part[0].size();
    }
    return std::nullopt;
}

}  // namespace nookery
